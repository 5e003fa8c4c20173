#!/usr/bin/env bash
# What stands around the removal: the install manager's tracker file with commands and rows of every kind, the folders of
# old installers, and the update cache with a driver package in it. Everything listed goes, every neighbour stays.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
# shellcheck source=/dev/null
. "$case_root/bench/around.sh"

start_case
around_plant_list "$work/around_rows.tsv" | plant
around_give_expand "$machine"
around_put "$machine"

{
    printf 'start-process\tC:\\bench\\running\\%s\n' tracked.exe xtracked.exe
    printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n'
} | run_session

expect_recorded "exit	0"
expect_recorded "process	C:\\bench\\running\\tracked.exe	ended"
expect_recorded "process	C:\\bench\\running\\xtracked.exe	running"

# The commands, in their order: one has ended and left its mark, one has outlived its time of a second and was left alone
# until the processes' turn, one is missing and cost nothing but its line.
host='C:\Program Files\Tracker Host'
printf '%s\n' "$host\\stop.exe	\"$host\\stop.exe\" -quiet \"two words\"" >"$work/commands_expected.txt"
grep -aF 'stop.exe' "$drive/bench/commands.log" >"$work/commands_found.txt" || true
expect_same "the command that ran" "$work/commands_expected.txt" "$work/commands_found.txt"
expect_section '-----------HandleCommands Getting all data-------------' <<LINES
handlePKMTrackerBinaries -- launch process $host\\stop.exe -- -quiet "two words" -- 2 
Process $host\\stop.exe -quiet "two words" completed with exit code 0
handlePKMTrackerBinaries -- launch process $host\\hang.exe --  -- 2 
Process $host\\hang.exe  completed with exit code 259
handlePKMTrackerBinaries -- launch process $host\\missing.exe -- -x -- 2 
LINES

expect_logged "Found an ORV driver in the Windows Update Cache: $around_cache\\driver.cab"
expect_logged "Excluding C:\\ORV\\Packages\\registered"

cat "$work/rows.tsv" "$work/around_rows.tsv" >"$work/all_rows.tsv"
expect_all_rows_present "$work/around_rows.tsv"
expect_gone_exactly "$work/all_rows.tsv"
expect_only_allowed_changes
end_case
