#!/usr/bin/env bash
# What lies behind a link in a listed folder stays; names that a listed folder can hold on a real machine
# (blanks, percent signs, umlauts, other scripts, paths beyond 260 characters) go like any other.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
listed='C:\Program Files\ORV\KO'
long=$listed
for _ in 1 2 3 4 5 6 7; do
    long="$long\\a folder with a name of fifty characters, no fewer..x"
done
plant <<PLANTED
file	C:\\Outside\\important.txt
file	C:\\Outside\\deeper\\important too.txt
read-only-file	C:\\Outside\\read only.txt
file	C:\\Outside the second\\important.txt
file	C:\\Program Files\\ORV\\not listed.txt
file	$listed\\two  blanks.txt
file	$listed\\%PATH% and 100%.txt
file	$listed\\Größe\\Übersicht.txt
file	$listed\\日本語\\設定.dat
file	$listed\\😀\\party 🎉.bin
file	$listed\\(brackets) [and] {braces} & 'quotes' ^ ~ #.txt
read-only-file	$listed\\Größe\\schreibgeschützt 只读.txt
file	$long\\at the end.txt
PLANTED

# A link in the middle of a listed folder, and a listed folder that is a link.
ln -s ../../../Outside "$drive/Program Files/ORV/KO/way out"
ln -s "../../Outside the second" "$drive/Program Files/ORV/LM"

printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
# Wine refuses to remove a link to a folder that is not empty, where Windows removes the link; so here the links stay, and
# with them the folders that hold them, and are marked. Not one file behind them may have gone.
{
    cat "$work/rows.tsv"
    printf 'kept\tfile\tC:\\Program Files\\ORV\\%s\n' 'KO\way out' LM
} >"$work/rows_with_links.tsv"
expect_gone_exactly "$work/rows_with_links.tsv"
{
    listed folder
    printf '%s\n' "$listed\\way out"
} | expect_marked
expect_only_allowed_changes
restart
expect_gone_at_restart <<'GONE'
value	HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager	PendingFileRenameOperations
GONE
expect_log_form
expect_stages "$case_here/expected/stages_nothing_present.txt"
end_case
