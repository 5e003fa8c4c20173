#!/usr/bin/env bash
# `silent reboot`: the run restarts the machine at its end, without a question. Every program ends with the machine, the one
# that has started the run among them; what was marked for the restart goes, and so does the word that one is due.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

held='C:\Program Files\ORV\KO\held.dll'
neighbour='C:\Program Files\Other\held.dll'

start_case
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
    printf 'file\t%s\n' "$held" "$neighbour"
} | plant

# A line behind the run is only come to when the machine does not restart.
{
    printf 'start-process\tC:\\bench\\waiting_program.exe\n'
    printf 'hold-file\t%s\n' "$held" "$neighbour"
    printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent reboot\n'
    printf '%s\n' record-processes record-pending
} | run_session_until_restart

expect_empty "the sitting has gone on behind the run" "$work/record.tsv"

# The file that was held and its folder were marked, and have gone with all else. Nothing is left for another start.
expect_all_rows_present "$work/rows.tsv"
expect_gone_exactly "$work/rows.tsv"
expect_only_allowed_changes
grep -aF 'PendingFileRenameOperations' "$work/after.tsv" >"$work/pending.txt" || true
expect_empty "the restart has left pending work" "$work/pending.txt"
restart
expect_gone_at_restart </dev/null

# What tells other programs that a restart is due is gone with it.
printf 'record-value\tHKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility\tRebootRequired\n' >"$work/session.tsv"
session_hold "$machine" "$work/session.tsv" "$work/record.tsv"
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	absent"

expect_log_form
sed '/run silently/a ---------------------CleanUp will restart the machine after running--------------------' \
    "$case_here/expected/stages_everything_listed.txt" >"$work/stages_expected.txt"
expect_stages "$work/stages_expected.txt"
expect_logged_code "FileOperation::Delete - Mark File[$held] as deleted until reboot, Error Code["
log_messages | tail -n 1 >"$work/last_message.txt"
echo 'Reboot is required to finish cleanup.' >"$work/last_expected.txt"
expect_same "the log's last message" "$work/last_expected.txt" "$work/last_message.txt"
end_case
