#!/usr/bin/env bash
# Two silent runs at once are both carried out: neither refuses, both end well, and the machine is as clean as after one.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
} | plant
printf 'run-twice\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

printf 'exit\t0\nexit\t0\n' >"$work/exits_expected.txt"
grep -a '^exit' "$work/record.tsv" >"$work/exits_found.txt" || true
expect_same "the exit codes of the two runs" "$work/exits_expected.txt" "$work/exits_found.txt"
expect_gone_exactly "$work/rows.tsv"
# When one meets a folder that the other has removed under its hands, its run ends there, and what it has switched off stays so.
expect_only_allowed_changes \
    'changed	value	HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\DriverSearching	SearchOrderConfig'
end_case
