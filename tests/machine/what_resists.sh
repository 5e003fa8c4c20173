#!/usr/bin/env bash
# A full machine on which some things can't be removed at once: files that are held open, a registry key that refuses
# deletion, a service that does not stop. Each lands where it must, everything else goes, and the next restart takes what
# is marked for it.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

held='C:\Program Files\ORV\KO\held.dll'
held_log='C:\Program Files\ORV\LM\held.log'
held_cache="C:\\users\\$(id -un)\\AppData\\Local\\ORV\\ShaderCache\\held.bin"
refusing_key='HKEY_LOCAL_MACHINE\SOFTWARE\ORV\HLX'

start_case
service=$(first_listed service)
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv" | grep -avxF "service	$service	C:\\bench\\service_program.exe"
    printf 'service\t%s\tC:\\bench\\service_program.exe hang\n' "$service"
    printf 'file\t%s\n' "$held" "$held_log" "$held_cache"
} | plant

{
    printf 'start-service\t%s\n' "$service"
    printf 'hold-file\t%s\n' "$held" "$held_log" "$held_cache"
    printf 'refuse-delete\t%s\n' "$refusing_key"
    printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n'
} | run_session

expect_recorded "exit	0"
{
    cat "$work/rows.tsv"
    printf 'kept\tfile\t%s\n' "$held" "$held_log" "$held_cache"
    printf 'kept\tkey\t%s\n' "$refusing_key"
} >"$work/resisting_rows.tsv"
expect_all_rows_present "$work/rows.tsv"
expect_gone_exactly "$work/resisting_rows.tsv"
expect_only_allowed_changes

# A log that can't be deleted is spared; the others are marked, and with them the folders that they are in.
{
    listed_folders_that_stay
    printf '%s\n' "$held" "$held_cache"
} | expect_marked
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	1"

restart
expect_gone_at_restart <<GONE
file	$held	
file	$held_cache	
folder	${held%\\*}	
folder	${held_cache%\\*}	
value	HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Control\\Session Manager	PendingFileRenameOperations
GONE

expect_log_form
expect_stages "$case_here/expected/stages_what_resists.txt"
{ echo "$service"; absent_driver_services; } | expect_section '-----------Failed Stopping Services---------------'
expect_section '-----------Failed Deletion of Registry Keys---------------' <<<"$refusing_key"
expect_logged "FileOperation::Delete - Skip deletion of log file [$held_log], Error Code[32]"
expect_logged_code "FileOperation::Delete - Mark File[$held] as deleted until reboot, Error Code["
expect_logged_code "FileOperation::Delete - Mark File[$held_cache] as deleted until reboot, Error Code["
expect_logged "	 is a temp file"
expect_logged "Reboot is required to finish cleanup."
end_case
