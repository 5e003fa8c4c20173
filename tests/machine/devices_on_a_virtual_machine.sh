#!/usr/bin/env bash
# The machine full of devices is a virtual one. Behind all that goes in any silent run, every display device that is left
# goes too, whoever has made it, so that the displays are set up anew; packages, drivers' files and services of the others
# stay, and the run takes place without a restart into safe mode, although one is asked for.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/devices.sh"

start_case
information='HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\SystemInformation'
plant_devices "value	$information	SystemProductName	Virtual Machine"
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent safemode\n' | run_session

expect_recorded "exit	0"
begin_outcomes silent
mapfile -t displays < <(awk -F'\t' '$1 == "device" && $3 == "Display" { print $2 }' "$devices_data/devices.tsv")
set_outcome gone device "${displays[@]}"
expect_devices silent

# What an ordinary silent run asks for, and then the displays of the others, in the order of the machine's tree.
{
    cat "$case_here/expected/device_calls_silent.txt"
    cat <<'CALLS'
SetupDiRemoveDevice PCI\VEN_7A11&DEV_6600&SUBSYS_66007A11&REV_00\4&1B2C3D4E&0&0010 -> 0
SetupDiRemoveDevice PCI\VEN_10FF&DEV_1111&SUBSYS_111110FF&REV_A1\4&1B2C3D4E&0&0018 -> 0
SetupDiRemoveDevice ROOT\BASICRENDER\0000 -> 0
CM_Reenumerate_DevNode HTREE\ROOT\0 -> 0
CALLS
} >"$work/calls_expected.txt"
expect_calls "$work/calls_expected.txt"
expect_device_log "$case_here/expected/device_log_silent.txt"
sed -e '/run silently/a ---------------------CleanUp will run in safe mode--------------------' \
    -e '/Parsing JSON/a ------------------ VM Detected -----------------' \
    "$case_here/expected/stages_devices_and_packages.txt" >"$work/stages_expected.txt"
expect_device_stages "$work/stages_expected.txt"
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	1"
expect_log_form
end_case
