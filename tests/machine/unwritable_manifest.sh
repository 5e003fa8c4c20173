#!/usr/bin/env bash
# The manifest can't be extracted, since a folder has its name: the run ends before anything is removed, says so in the
# log, and its exit code is 0 as ever.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
    printf 'folder\t%s\\Temp\\CleanUp\\ScrubList.JSON\n' "$user_folder"
} | plant
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
expect_all_rows_present "$work/rows.tsv"
expect_nothing_gone
expect_only_allowed_changes
expect_marked </dev/null
expect_log_form
printf '%s\n' '---------------------CleanUp will run silently--------------------' \
    '------------------Parsing JSON -----------------' >"$work/stages_expected.txt"
expect_stages "$work/stages_expected.txt"
expect_logged 'Loading ScrubList.JSON File Failed!!!'
expect_logged 'CleanUp:: No such node (Generic.ScheduledTasks)'
end_case
