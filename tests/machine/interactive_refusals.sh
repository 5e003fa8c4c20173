#!/usr/bin/env bash
# Runs that are refused: while Windows Update is at work, and while another one runs; the user then takes the consent to
# that one back. The boxes say why, and nothing of the machine goes.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/interactive_case.sh"

# expect_changes_exactly - what standard input says, and nothing else, has come or has other details; of values also which.
expect_changes_exactly() {
    LC_ALL=C sort >"$work/changes_expected.tsv"
    {
        snapshot_added "$work/before.tsv" "$work/after.tsv" | sed 's/^/added\t/'
        snapshot_changed "$work/before.tsv" "$work/after.tsv" | sed 's/^/changed\t/'
    } | awk 'BEGIN { FS = OFS = "\t" } $2 == "value" { print; next } { print $1, $2, $3 }' |
        LC_ALL=C sort >"$work/changes_found.tsv"
    expect_same "what has come or has other details" "$work/changes_expected.tsv" "$work/changes_found.tsv"
}

start_case
open_screen
# There is something to be removed.
leftovers_plant_list "$work/manifest_rows.tsv" | plant
session_put "$BENCH_PROGRAMS/waiting_program.exe" "$drive/bench/wuauclt.exe"

run_with_user "$leftovers_data/windows_update_runs.tsv" 'start-process	C:\bench\wuauclt.exe'

expect_user_done
expect_windows <<'WINDOWS'
window	update	ORV Cleanup Utility
control	1	OK
control	-1	ORV Cleanup Utility cannot complete while Windows Update is running. Please finish or exit Windows Update and re-launch ORV Cleanup Utility.
gone
WINDOWS
expect_pictures windows_update
expect_recorded 'process	C:\bench\wuauclt.exe	running'
expect_nothing_gone
cleanup=$user_folder\\Temp\\CleanUp
printf 'added\tfolder\t%s\nadded\tfile\t%s\\ORVCleanup.log\n' "$cleanup" "$cleanup" | expect_changes_exactly
expect_log_form

run_with_user "$leftovers_data/windows_second_instance.tsv"

expect_user_done
{
    windows_until_consent
    printf '%s\n' 'window	refusal	ORV Cleanup Utility' 'control	1	OK' 'control	-1	Another instance is running.' 'gone' 'ended	0'
    window_consent
    echo gone
} | expect_windows
expect_pictures second_instance
expect_nothing_gone
# The manifest and the switched-off search for drivers are put back at the end of a run that the user has agreed to.
expect_changes_exactly <<CHANGES
added	file	$cleanup\\ScrubList.JSON
changed	file	$cleanup\\ORVCleanup.log
changed	value	HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\DriverSearching	SearchOrderConfig	dword:00000000
CHANGES
# The second one has left the first one's log alone.
expect_log_form
end_case
