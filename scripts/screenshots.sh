#!/usr/bin/env bash
# screenshots.sh [languages [LOCALE...]] - takes pictures of the running program's windows.
#
# Without an argument: splash.png, finish_dialog.png and report.png in docs/pictures, for the README. With `languages`: each window in
# German, Japanese and Thai, or in the languages of the locales, at 96, 120, 144 and 192 DPI, in build/pictures, for a look
# at texts that are cut.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${bench_packages[@]}" imagemagick fonts-dejavu-core fonts-wqy-microhei fonts-tlwg-loma wkhtmltopdf
if [ -z "${ORV_PROGRAM:-}" ]; then
    "$root/scripts/build.sh" release ORVCleanupUtility bench_programs
fi
: "${ORV_PROGRAM:=$root/build/release/ORVCleanupUtility.exe}"
: "${BENCH_PROGRAMS:=$root/build/release/bench}"
make_bench_template
for part in screen session snapshot leftovers; do
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

# take LOCALE DPI FOLDER - one run by a user of that locale, a picture of each window.
take() {
    local locale=$1 dpi=$2 folder=$3 picture
    say "A run in $locale at $dpi DPI"
    machine_clone "$root/build/bench/template" "$machine"
    session_prepare "$machine" "$ORV_PROGRAM"
    leftovers_rows "$root/src/resources/ScrubList.JSON" "$work/rows.tsv"
    {
        plant_fonts_and_dpi "$locale" "$dpi"
        # Work for the run, so that the splash window stays for a while, and devices for the report.
        leftovers_plant_list "$work/rows.tsv"
        cat "$leftovers_data/devices.tsv"
    } >"$work/list.tsv"
    session_plant "$machine" "$work/list.tsv"
    screen_connect "$machine"
    cat >"$(machine_drive "$machine")/bench/windows.tsv" <<'WINDOWS'
window	safe-mode	6,7
picture	safe_mode
press	7
gone
window	consent	1,2
picture	consent
press	1
gone
window	splash	1013,1005
changes	1005
picture	splash
window	finish	1,1000,1001
picture	finish_dialog
press	1
gone
window	restart	6,7
picture	restart
press	7
WINDOWS
    printf 'start-process\tC:\\bench\\window_driver.exe\nrun\tC:\\bench\\ORVCleanupUtility.exe\n' >"$work/session.tsv"
    screen_pictures "$machine" "$work/pictures"
    BENCH_LOCALE=$locale session_hold "$machine" "$work/session.tsv" "$work/record.tsv" >"$work/output.txt" ||
        fail "the run in $locale did not come to its end" "look at $work/record.tsv"
    kill "$screen_photographer"
    mkdir -p "$folder"
    for picture in "$work"/pictures/*.png; do
        # The window without the desktop around it.
        convert "$picture" -trim +repage "$folder/${picture##*/}"
    done
    rm -r "$work/pictures"
    cp "$(machine_drive "$machine")/users/$(id -un)/Temp/CleanUp/report.xml" "$folder"
    machine_remove "$machine"
}

screen_open "$work"
if [ "${1:-}" = languages ]; then
    shift
    [ $# -gt 0 ] || set -- de_DE.UTF-8 ja_JP.UTF-8 th_TH.UTF-8
    for locale in "$@"; do
        for dpi in 96 120 144 192; do
            take "$locale" "$dpi" "$root/build/pictures/${locale%%.*}_$dpi"
        done
    done
    say "The pictures are in build/pictures"
else
    take C.UTF-8 96 "$work/windows"
    mkdir -p "$root/docs/pictures"
    cp "$work/windows/splash.png" "$work/windows/finish_dialog.png" "$root/docs/pictures"
    xsltproc --nonet "$work/windows/report.xml" >"$work/report.html"
    DISPLAY=$BENCH_DISPLAY wkhtmltoimage --quiet --width 900 "$work/report.html" "$work/report.png"
    convert "$work/report.png" -flatten -colors 64 -strip "$root/docs/pictures/report.png"
    say "The pictures are in docs/pictures"
fi
