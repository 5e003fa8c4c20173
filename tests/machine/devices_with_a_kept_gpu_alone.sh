#!/usr/bin/env bash
# `gpu` names one graphics card, and Windows refuses nothing: the call that takes a package out of the driver store is
# documented to take it off the devices that have it in use, too. So the named card stays, with the files that only display
# drivers have and with the key of the installed packages, but not its package: it goes on with the next driver that fits,
# which is Windows' own. All else goes as beside a refused package.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/devices.sh"

start_case
packages='HKEY_LOCAL_MACHINE\SOFTWARE\KTL Systems\Install\Packages'
plant_devices "value	$packages\\Graphics	Version	24.10"
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent gpu "7A11&7550"@"7A11&9999"\n' | run_session

expect_recorded "exit	0"
begin_outcomes gpu
set_outcome gone package oem10.inf
expect_devices gpu

# The other run's two refused calls are one that works.
grep -vxF 'SetupUninstallOEMInfW oem10.inf -> 0xE000023D' "$case_here/expected/device_calls_gpu.txt" |
    sed 's/\(oem10\.inf -> \)0xE000023D$/\10/' >"$work/calls_expected.txt"
expect_calls "$work/calls_expected.txt"
grep -v '^CleanDriverStore::SetupUninstallOEMInf Failed for INF: oem10\.inf' "$case_here/expected/device_log_gpu.txt" |
    sed 's/^Uninstall of driver failed with .*/Uninstall successful/' >"$work/device_log_expected.txt"
expect_device_log "$work/device_log_expected.txt"
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	absent"
expect_log_form
expect_section "-----------Excluding GPU's-------------" <<'PAIRS'
7A11-7550
7A11-9999
PAIRS
end_case
