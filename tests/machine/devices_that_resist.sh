#!/usr/bin/env bash
# A device that can be removed in neither way, one that goes in the second way only, and a package that is refused: the
# first two stay and are told, everything else goes as in any silent run.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/devices.sh"

start_case
stuck='HDAUDIO\FUNC_01&VEN_7A2E&DEV_0100&SUBSYS_01007A2E&REV_1000\7&5F607182&0&0001'
second_way='PCI\VEN_7A11&DEV_15B6&SUBSYS_15B61022&REV_00\4&0A1B2C3D&0&0341'
plant_devices "device-fails	$stuck	DIF_REMOVE	5" "device-fails	$stuck	DiUninstallDevice	5" \
    "device-fails	$second_way	DIF_REMOVE	0xE0000235" \
    'package-fails	oem12.inf	DiUninstallDriverW	5' 'package-fails	oem12.inf	SetupUninstallOEMInfW	0xE000023D'
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
begin_outcomes silent
set_outcome stays device "$stuck"
# Its package is asked for after the device only, and its files are told before.
set_outcome stays package oem28.inf oem12.inf
expect_devices silent
expect_calls "$case_here/expected/device_calls_resisting.txt"
expect_device_log "$case_here/expected/device_log_resisting.txt"
expect_log_form
expect_section '-----------Failed Deletions of Drivers---------------' <<<DisplayAudioDriver64
end_case
