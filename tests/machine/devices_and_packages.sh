#!/usr/bin/env bash
# A machine full of devices and driver packages, the maker's and others'. A silent run takes exactly those that a package of
# the manifest or the driver store cleaner means, with their driver files, in a fixed order; everything else stays bit for
# bit, and the restart that one device asks for is due.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/devices.sh"

start_case
plant_devices
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
expect_devices silent
expect_calls "$case_here/expected/device_calls_silent.txt"
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	1"

expect_log_form
expect_device_stages "$case_here/expected/stages_devices_and_packages.txt"
expect_device_log "$case_here/expected/device_log_silent.txt"
expect_section '-----------Failed Deletion of Driver Files ---------------' </dev/null
end_case
