#!/usr/bin/env bash
# screenshots.sh [languages [LOCALE...]] - takes pictures of the running program's windows.
#
# Without an argument: splash.png, finish_dialog.png and report.png in docs/pictures, for the README. With `languages`: each
# window in German, Japanese and Thai, or in the languages of the locales, at 96, 120, 144 and 192 DPI, in build/pictures,
# for a look at texts that are cut. Languages can be taken at the same time, each by a call of its own. PICTURES_DPI takes
# other DPIs.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${bench_packages[@]}" imagemagick fonts-dejavu-core fonts-wqy-microhei fonts-tlwg-loma wkhtmltopdf
if [ -z "${ORV_PROGRAM:-}" ]; then
    "$root/scripts/build.sh" release ORVCleanupUtility bench_programs
fi
: "${ORV_PROGRAM:=$root/build/release/ORVCleanupUtility.exe}"
: "${BENCH_PROGRAMS:=$root/build/release/bench}"
make_bench_template
for part in screen session snapshot leftovers products; do
    # shellcheck source=/dev/null
    . "$root/bench/$part.sh"
done
# Room for the finish dialog at 192 DPI.
screen_size=1600x1000

work=$(mktemp -d "$root/build/bench/pictures-XXXXXX")
machine=$work/machine
leave() {
    screen_close
    machine_remove "$machine"
    rm -rf "$work"
}
trap leave EXIT

# plant_fonts_and_dpi LOCALE DPI - one font for all windows, whatever else the host has, and others for the letters that it
# lacks. Thai letters are not taken from another font, so that its users have one that holds them.
plant_fonts_and_dpi() {
    local font own='DejaVu Sans'
    case $1 in th*) own=Loma ;; esac
    for font in 'DejaVu Sans' 'DejaVu Sans Bold' Loma; do
        printf 'texts\tHKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion\\FontLink\\SystemLink\t%s\t%s\n' \
            "$font" 'wqy-microhei.ttc,WenQuanYi Micro Hei|DejaVuSans.ttf,DejaVu Sans'
    done
    for font in Tahoma 'Segoe UI' 'Segoe MDL2 Assets' 'MS Shell Dlg'; do
        printf 'value\tHKEY_CURRENT_USER\\Software\\Wine\\Fonts\\Replacements\t%s\t%s\n' "$font" "$own"
    done
    printf 'number\tHKEY_CURRENT_USER\\Control Panel\\Desktop\tLogPixels\t%s\n' "$2"
}

# start_machine LOCALE DPI - a machine whose user has that locale, with a screen.
start_machine() {
    machine_clone "$root/build/bench/template" "$machine"
    session_prepare "$machine" "$ORV_PROGRAM"
    leftovers_rows "$root/src/resources/ScrubList.JSON" "$work/rows.tsv"
    {
        plant_fonts_and_dpi "$1" "$2"
        # Work for the run, so that the splash window stays for a while, and devices for the report.
        leftovers_plant_list "$work/rows.tsv"
        cat "$leftovers_data/devices.tsv" "$leftovers_data/report_viewer.tsv"
    } >"$work/list.tsv"
    session_plant "$machine" "$work/list.tsv"
    screen_connect "$machine"
}

# take LOCALE FOLDER WINDOWS [LINE]... - a run by a user of that locale who does what the list WINDOWS says, after the
# further lines of a sitting; the pictures that the list names.
take() {
    local locale=$1 folder=$2 picture name
    cp "$3" "$(machine_drive "$machine")/bench/windows.tsv"
    shift 3
    {
        [ $# -eq 0 ] || printf '%s\n' "$@"
        printf 'start-driver\tC:\\bench\\window_driver.exe\n'
        printf 'run\tC:\\bench\\ORVCleanupUtility.exe\n'
        printf 'wait-process\tC:\\bench\\window_driver.exe\n'
    } >"$work/session.tsv"
    screen_pictures "$machine" "$work/pictures"
    BENCH_LOCALE=$locale session_hold "$machine" "$work/session.tsv" "$work/record.tsv" >"$work/output.txt" 2>&1 ||
        { cat "$work/output.txt" >&2; fail "the run in $locale did not come to its end" "look at the lines above"; }
    screen_pictures_end
    mkdir -p "$folder"
    for picture in "$work"/pictures/*.png; do
        name=$(basename "$picture" .png)
        screen_crop "$work/pictures" "$name" 1 "$folder/$name.png"
    done
    rm -r "$work/pictures"
}

# take_whole_run LOCALE FOLDER
take_whole_run() {
    take "$1" "$2" "$leftovers_data/windows_whole_run.tsv"
    cp "$(machine_drive "$machine")/users/$(id -un)/Temp/CleanUp/report.xml" "$2"
}

# take_other_outcomes LOCALE FOLDER - the finish dialog with warnings, then with a failure.
take_other_outcomes() {
    products_list=$leftovers_data/product_that_resists.tsv
    [ -d "$work/packages" ] || products_make "$root/src/resources/ScrubList.JSON" "$work/packages"
    products_install "$machine" "$work/packages" maker
    sed 's/^picture\t.*/picture\tfinish_warnings/' "$leftovers_data/windows_outcome.tsv" >"$work/windows.tsv"
    take "$1" "$2" "$work/windows.tsv"
    session_plant "$machine" "$leftovers_data/device_that_resists.tsv"
    sed 's/^picture\t.*/picture\tfinish_failure/' "$leftovers_data/windows_outcome.tsv" >"$work/windows.tsv"
    take "$1" "$2" "$work/windows.tsv"
}

# take_refusals LOCALE FOLDER
take_refusals() {
    session_put "$BENCH_PROGRAMS/waiting_program.exe" "$(machine_drive "$machine")/bench/wuauclt.exe"
    take "$1" "$2" "$leftovers_data/windows_update_runs.tsv" 'start-process	C:\bench\wuauclt.exe'
    take "$1" "$2" "$leftovers_data/windows_second_instance.tsv"
}

screen_open "$work"
if [ "${1:-}" = languages ]; then
    shift
    [ $# -gt 0 ] || set -- de_DE.UTF-8 ja_JP.UTF-8 th_TH.UTF-8
    for locale in "$@"; do
        for dpi in ${PICTURES_DPI:-96 120 144 192}; do
            say "The windows in $locale at $dpi DPI"
            folder=$root/build/pictures/${locale%%.*}_$dpi
            rm -rf "$folder"
            start_machine "$locale" "$dpi"
            take_whole_run "$locale" "$folder"
            take_other_outcomes "$locale" "$folder"
            take_refusals "$locale" "$folder"
            machine_remove "$machine"
        done
    done
    say "The pictures are in build/pictures"
else
    say "A run for the README"
    start_machine C.UTF-8 96
    take_whole_run C.UTF-8 "$work/windows"
    mkdir -p "$root/docs/pictures"
    cp "$work/windows/splash.png" "$root/docs/pictures"
    cp "$work/windows/finish.png" "$root/docs/pictures/finish_dialog.png"
    xsltproc --nonet "$work/windows/report.xml" >"$work/report.html"
    DISPLAY=$BENCH_DISPLAY wkhtmltoimage --quiet --width 900 "$work/report.html" "$work/report.png"
    convert "$work/report.png" -flatten -colors 64 -strip "$root/docs/pictures/report.png"
    say "The pictures are in docs/pictures"
fi
