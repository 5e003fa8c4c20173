# machine.sh - bench machines: throwaway Windows machines under Wine, each a folder of its own.
# Sourced by the scripts and tests that need one; nothing here touches anything outside the machine's folder.
#
#   machine_template DIR           makes the template that all machines are cloned from, unless it stands
#   machine_clone TEMPLATE DIR     makes a new machine
#   machine_wine DIR COMMAND...    runs a Windows command on the machine; its output goes to this shell's output
#   machine_settle DIR             waits until every program of the machine has ended and its registry is on disk
#   machine_has_ended DIR          waits likewise; fails when a program does not end
#   machine_stop DIR               ends every program of the machine
#   machine_remove DIR             ends what still runs on the machine and deletes it
#   machine_drive DIR              the folder that is the machine's drive C:

# A machine sees none of the host's settings but these: its own home, file names in UTF-8, and a screen only when it is
# given one (bench/screen.sh). BENCH_LOCALE is its user's locale.
machine_env() {
    local dir=$1
    shift
    env -i PATH="$PATH" HOME="$dir" LC_ALL="${BENCH_LOCALE:-C.UTF-8}" ${BENCH_DISPLAY:+DISPLAY="$BENCH_DISPLAY"} \
        WINEPREFIX="$dir" WINEDEBUG="${BENCH_WINEDEBUG:--all}" \
        WINEDLLOVERRIDES="${BENCH_DLL_OVERRIDES:-mscoree=;mshtml=;winemenubuilder.exe=}" "$@"
}

machine_drive() { printf '%s/drive_c' "$1"; }

# The output goes through a file: services that the machine starts keep a pipe open long after the command has ended.
machine_wine() {
    local dir=$1 out status=0
    shift
    out=$(mktemp)
    (cd "$(machine_drive "$dir")" && machine_env "$dir" timeout "${BENCH_TIMEOUT:-120}" wine "$@") \
        >"$out" 2>&1 </dev/null || status=$?
    cat "$out"
    rm -f "$out"
    if [ "$status" -eq 124 ]; then
        echo "bench: '$*' did not end within ${BENCH_TIMEOUT:-120} seconds" >&2
    fi
    return "$status"
}

machine_settle() {
    machine_env "$1" timeout "${BENCH_TIMEOUT:-120}" wineserver -w >/dev/null 2>&1 || true
}

machine_has_ended() {
    local status=0
    machine_env "$1" timeout "${BENCH_TIMEOUT:-120}" wineserver -w >/dev/null 2>&1 || status=$?
    [ "$status" -ne 124 ]
}

machine_stop() { machine_env "$1" wineserver -k >/dev/null 2>&1 || true; }

machine_remove() {
    machine_stop "$1"
    machine_settle "$1"
    rm -rf "$1"
}

machine_clone() { cp -a "$1" "$2"; }

machine_template() {
    local dir=$1
    [ -f "$dir/complete" ] && return 0
    machine_remove "$dir"
    mkdir -p "$dir"
    machine_env "$dir" timeout 300 wineboot --init >/dev/null 2>&1 </dev/null || {
        echo "bench: Wine could not make a machine in $dir" >&2
        return 1
    }
    machine_settle "$dir"
    machine_plant_settings "$dir" || return 1
    machine_close_doors "$dir"
    machine_slim "$dir"
    touch "$dir/complete"
}

# Windows 10; no screen; a crashed program ends at once with an error instead of waiting for a debugger.
machine_plant_settings() {
    local dir=$1
    cat >"$dir/settings.reg" <<'REG'
REGEDIT4

[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion\AeDebug]
"Debugger"="cmd /c exit"
"Auto"="1"

[HKEY_CURRENT_USER\Software\Wine\Drivers]
"Graphics"="null"
"Audio"=""
REG
    machine_wine "$dir" winecfg -v win10 && machine_wine "$dir" regedit /S "$dir/settings.reg" || return 1
    machine_settle "$dir"
}

# A new machine has ways out of its folder: a drive Z: that is the host's root, and user folders that are links into the
# host's home. A program that deletes files must not find them.
machine_close_doors() {
    local dir=$1 link
    find "$dir/dosdevices" -mindepth 1 ! -name 'c:' -delete
    find "$dir/drive_c/users" -type l | while read -r link; do
        rm "$link"
        mkdir "$link"
    done
}

# System files that equal Wine's own become links to them, so that a clone is small and takes a moment.
machine_slim() {
    local dir=$1 own file
    own=$(machine_builtin_folder) || return 0
    find "$dir/drive_c/windows/system32" -maxdepth 1 -type f | while read -r file; do
        if cmp -s "$file" "$own/${file##*/}"; then
            ln -sf "$own/${file##*/}" "$file"
        fi
    done
}

machine_builtin_folder() {
    local folder
    for folder in /usr/lib/x86_64-linux-gnu/wine/x86_64-windows /usr/lib/wine/x86_64-windows \
                  /usr/lib64/wine/x86_64-windows; do
        if [ -d "$folder" ]; then
            printf '%s' "$folder"
            return 0
        fi
    done
    return 1
}
