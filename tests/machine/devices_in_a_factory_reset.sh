#!/usr/bin/env bash
# A factory reset on a machine full of devices: display devices and their packages stay, and so do the extensions that
# belong to them, the display package's key and service, and every driver file; the rest goes as in any run.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/devices.sh"

start_case
plant_devices 'package	oem43.inf	Extension	Orvane Devices, Inc.	orvdispext.cat'
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent launchedForFactoryReset\n' | run_session

expect_recorded "exit	0"
begin_outcomes factory-reset
set_outcome stays package oem43.inf
expect_devices factory-reset
expect_calls "$case_here/expected/device_calls_factory_reset.txt"
expect_device_log "$case_here/expected/device_log_factory_reset.txt"
# No device that went asks for a restart.
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	absent"
expect_log_form
end_case
