#!/usr/bin/env bash
# Listed folders hold names that a plain path cannot mean: they end in dots or blanks, or are those of devices. What such
# a path would mean instead is a link to somebody's own files. The odd names go, and nothing behind the links does.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
listed='C:\Program Files\ORV\KO'
package='C:\ORV\Packages\linked'
mkdir -p "$drive/Outside/deeper"
for name in file.dll inner deeper/file.dll; do
    echo precious >"$drive/Outside/$name"
done

# plant_odd_names FOLDER NAME... - folders with such names in a folder of the drive, and odd names in each.
plant_odd_names() {
    local name folder=$drive/$1
    shift
    for name in "$@"; do
        mkdir -p "$folder/$name/inner. "
        echo x >"$folder/$name/file.dll"
        echo x >"$folder/$name/file.dll."
        echo x >"$folder/$name/inner. /LPT1"
    done
    echo x >"$folder/Case.txt"
    echo x >"$folder/CASE.TXT"
}
plant_odd_names 'Program Files/ORV/KO' 'sub.' 'blank ' 'dots...' 'mixed. .' NUL COM1 'aux.txt'
plant_odd_names 'ORV/Packages/setup' 'sub.' 'blank ' 'dots...' 'mixed. .' NUL COM1 'aux.txt'
plant_odd_names 'ORV/Packages/linked' 'sub.'
# What plain paths of these names would mean.
for link in "Program Files/ORV/KO/"{sub,blank,dots,mixed} ORV/Packages/linked/sub; do
    ln -s "$drive/Outside" "$drive/$link"
done

printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
# Wine refuses to remove a link to a folder that is not empty, where Windows removes the link; so here the links stay, and
# with them the folders that hold them.
{
    cat "$work/rows.tsv"
    printf 'listed\tfolder\tC:\\ORV\n'
    printf 'kept\tfile\t%s\n' "$listed\\"{sub,blank,dots,mixed} "$package\\sub"
} >"$work/rows_with_links.tsv"
expect_gone_exactly "$work/rows_with_links.tsv"
{
    listed folder
    printf '%s\n' "$listed\\"{sub,blank,dots,mixed}
} | expect_marked
expect_only_allowed_changes
expect_logged "Deleting file: $package\\sub.\\file.dll."
expect_logged "$listed\\NUL\\inner. \\LPT1"
expect_log_form
end_case
