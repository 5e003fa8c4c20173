#!/usr/bin/env bash
# The maker's folders of all users, its Start Menu folder and the place of old installers are links into a user's own
# folders. Rows below them are not carried out: each has one line in the log and stands among what failed, and not one of
# the user's files goes. Everything else that is listed does.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
own="users/$(id -un)/Documents"
programs='C:\ProgramData\Microsoft\Windows\Start Menu\Programs'
plant <<'PLANTED'
file	C:\Program Files\ORV\KO\goes.dll
file	C:\ProgramData\KTL\LM\goes.dat
PLANTED

# link_to_own PLACE NAME - a link in a place of the maker's, to a folder of the user's own.
link_to_own() {
    mkdir -p "$drive/$own/$2"
    ln -s "$drive/$own/$2" "$drive/$1"
}
mkdir -p "$drive/$own"
link_to_own ProgramData/Brimwood films
mkdir -p "$drive/$own/films/Downloads/holiday"
echo precious >"$drive/$own/films/Downloads/thesis.txt"
echo precious >"$drive/$own/films/Downloads/holiday/film.bin"
link_to_own ProgramData/ORV letters
mkdir -p "$drive/$own/letters/Telemetry" "$drive/$own/letters/PKM/empty"
echo precious >"$drive/$own/letters/orv-inventory-2025.dat"
echo precious >"$drive/$own/letters/Telemetry/letter.txt"
link_to_own "ProgramData/Microsoft/Windows/Start Menu/Programs/Brimwood Install Manager" shortcuts
echo precious >"$drive/$own/shortcuts/Brimwood Install Manager.lnk"
link_to_own ORV games
mkdir -p "$drive/$own/games/Packages/save" "$drive/$own/games/ORV-Brimwood-1"
echo precious >"$drive/$own/games/Packages/save/game.bin"
echo precious >"$drive/$own/games/ORV-Brimwood-1/game.bin"

printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
{
    cat "$work/rows.tsv"
    printf 'kept\tfile\t%s\n' "$programs\\Brimwood Install Manager"
} >"$work/rows_with_links.tsv"
expect_gone_exactly "$work/rows_with_links.tsv"
expect_only_allowed_changes

# below_links KIND - the listed rows of a kind that lie below one of the links.
below_links() { listed "$1" | grep -iE '^C:\\ProgramData\\(Brimwood|ORV)\\'; }
below_links folder >"$work/refused_folders.txt"
below_links file >"$work/refused_files.txt"
listed folder | grep -vxFf "$work/refused_folders.txt" | while IFS= read -r folder; do
    # What could be removed at once needs no mark.
    grep -qxF -- "folder	$folder	" "$work/gone_found.tsv" || printf '%s\n' "$folder"
done | expect_marked
expect_section '-----------Failed Deletion of Directories---------------' <"$work/refused_folders.txt"
expect_section '-----------Failed Deletion of Files---------------' <"$work/refused_files.txt"
{
    cat "$work/refused_folders.txt" "$work/refused_files.txt"
    printf '%s\n' "$programs\\Brimwood Install Manager\\Brimwood Install Manager.lnk"
} | sed 's/.*/Row[&] leads to another place through a link and is not carried out/' | LC_ALL=C sort \
    >"$work/refusals_expected.txt"
log_messages | grep -a '^Row\[' | LC_ALL=C sort >"$work/refusals_found.txt" || true
expect_same "the rows that are not carried out, each with one line" "$work/refusals_expected.txt" \
    "$work/refusals_found.txt"
expect_log_form
end_case
