# screen.sh - a screen for a bench machine, so that its windows can be looked at. Sourced after machine.sh.
#
#   screen_open FOLDER           starts a screen of its own, 1100 by 700 pixels; its files go to FOLDER
#   screen_connect MACHINE       has the machine use it, with a desktop that draws the windows' frames
#   screen_pictures MACHINE OUT  takes the pictures that window_driver asks for, into the folder OUT, until it is told to
#                                stop: NAME.png, the whole screen, and NAME.places, where the window is on it, in a second
#                                line the area within its frame, and then each control with a text: its place and number
#   screen_pictures_end          stops that
#   screen_crop OUT NAME LINE [GEOMETRY] FILE   cuts the place in that line of NAME.places out of a picture; with a
#                                GEOMETRY, that part of it
#   screen_close                 ends what the two have started
#
# Needs Xvfb and ImageMagick's import.

screen_size=1100x700

screen_open() {
    local folder=$1 wait
    # The server picks a free number itself and writes it when it is ready.
    Xvfb -displayfd 3 -screen 0 "${screen_size}x24" -nolisten tcp 3>"$folder/display" >"$folder/screen.txt" 2>&1 &
    screen_server=$!
    for wait in $(seq 200); do
        [ -s "$folder/display" ] && break
        kill -0 "$screen_server" 2>/dev/null || break
        sleep 0.05
    done
    [ -s "$folder/display" ] || { cat "$folder/screen.txt" >&2; return 1; }
    BENCH_DISPLAY=:$(cat "$folder/display")
}

screen_connect() {
    local machine=$1
    mkdir -p "$(machine_drive "$machine")/bench/pictures"
    cat >"$(machine_drive "$machine")/bench/screen.reg" <<REG
REGEDIT4

[HKEY_CURRENT_USER\\Software\\Wine\\Drivers]
"Graphics"="x11"

[HKEY_CURRENT_USER\\Software\\Wine\\Explorer]
"Desktop"="Bench"

[HKEY_CURRENT_USER\\Software\\Wine\\Explorer\\Desktops]
"Bench"="$screen_size"
REG
    machine_wine "$machine" regedit /S 'C:\bench\screen.reg' || return 1
    # A first program with a window leaves what a machine notes down about its screen.
    machine_wine "$machine" reg query 'HKCU\Software\Wine\Drivers' >/dev/null && machine_settle "$machine"
}

screen_pictures() {
    local wishes=$(machine_drive "$1")/bench/pictures out=$2
    mkdir -p "$out"
    (
        while sleep 0.05; do
            for wish in "$wishes"/*.wanted; do
                [ -e "$wish" ] || continue
                screen_take "$out/$(basename "$wish" .wanted).png"
                mv "$wish" "$out/$(basename "$wish" .wanted).places"
            done
        done
    ) &
    screen_photographer=$!
}

# screen_take FILE - two pictures in a row that are the same: everything is drawn.
screen_take() {
    local try
    import -display "$BENCH_DISPLAY" -window root "$1"
    for try in $(seq 10); do
        mv "$1" "$1.before"
        import -display "$BENCH_DISPLAY" -window root "$1"
        cmp -s "$1" "$1.before" && break
    done
    rm -f "$1.before"
}

screen_pictures_end() {
    [ -z "${screen_photographer:-}" ] || kill "$screen_photographer" 2>/dev/null || true
    screen_photographer=
}

screen_crop() {
    local picture=$1/$2.png place part=()
    place=$(sed -n "$3p" "$1/$2.places" | cut -f1)
    [ $# -eq 4 ] || part=(-crop "$4" +repage)
    convert "$picture" -crop "$place" +repage "${part[@]}" "${@: -1}"
}

screen_close() {
    screen_pictures_end
    [ -z "${screen_server:-}" ] || kill "$screen_server" 2>/dev/null || true
    screen_server= BENCH_DISPLAY=
}
