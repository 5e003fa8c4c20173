#!/usr/bin/env bash
# A package of the maker's display extension: when it goes, every display device goes, whoever has made it and whether or
# not `gpu` names it, so that Windows sets the displays up anew. Packages and files of the others stay.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/devices.sh"

start_case
plant_devices 'package	oem43.inf	Extension	Orvane Devices, Inc.	orvdispext.cat'
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent gpu "7A11&7550"\n' | run_session

expect_recorded "exit	0"
begin_outcomes gpu
set_outcome gone package oem43.inf oem10.inf
mapfile -t displays < <(awk -F'\t' '$1 == "device" && $3 == "Display" { print $2 }' "$devices_data/devices.tsv")
set_outcome gone device "${displays[@]}"
expect_devices gpu
expect_calls "$case_here/expected/device_calls_display_extension.txt"
expect_log_form
end_case
