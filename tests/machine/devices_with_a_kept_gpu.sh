#!/usr/bin/env bash
# `gpu` names one graphics card: it stays, and so do its package, which Windows refuses to take, and the files of all display
# drivers. The other graphics devices go, and so does everything else that goes in a silent run.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/devices.sh"

start_case
# Both ways are refused, the second with the code for a package in use.
in_use=0xE000023D
plant_devices "package-fails	oem10.inf	DiUninstallDriverW	$in_use" \
    "package-fails	oem10.inf	SetupUninstallOEMInfW	$in_use"
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent gpu "7A11&7550"@"7A11&9999"\n' | run_session

expect_recorded "exit	0"
expect_devices gpu
expect_calls "$case_here/expected/device_calls_gpu.txt"
expect_device_log "$case_here/expected/device_log_gpu.txt"
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	absent"
expect_log_form
expect_section "-----------Excluding GPU's-------------" <<'PAIRS'
7A11-7550
7A11-9999
PAIRS
end_case
