#!/usr/bin/env bash
# A machine without anything of the maker's but its devices: the run ends well, and nothing has changed but what every run
# leaves. Rows that mean nothing here are listed as failed where that is how their kind is told.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
expect_nothing_gone
expect_only_allowed_changes
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	absent"

# A folder that is not there is marked for the restart like one that can't be removed.
listed folder | expect_marked
restart
expect_gone_at_restart <<'GONE'
value	HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager	PendingFileRenameOperations
GONE

expect_log_form
expect_stages "$case_here/expected/stages_nothing_present.txt"
{ listed service; absent_driver_services; } | expect_section '-----------Failed Stopping Services---------------'
{
    listed key
    listed empty-key
    printf 'HKEY_USERS\\%s\\Software\\%s\n' .Default ORV .Default KTL \
        S-1-5-21-0-0-0-1000 ORV S-1-5-21-0-0-0-1000 KTL
} | expect_section '-----------Failed Deletion of Registry Keys---------------'
listed value | expect_section '-----------Failed Deletion of Registry Values---------------'
expect_section '-----------Failed Deletion of PreUninstall Registry Values---------------' <<'FAILED'
HKEY_LOCAL_MACHINE\SOFTWARE\QBX\UmaCarveoutModePreserved
HKEY_LOCAL_MACHINE\SOFTWARE\QBX
HKEY_CURRENT_USER\SOFTWARE\ORV\LM\Audio
FAILED
end_case
