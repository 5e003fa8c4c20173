#!/usr/bin/env bash
# A whole run as a user sees it, on a screen: the question about safe mode, the consent, the splash window, the finish
# dialog with the report, the question about the restart. The windows come in this order, and the machine is clean behind
# them. BENCH_KEEP=1 keeps a picture of each window in the case's folder.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_root/bench/screen.sh"

start_case
trap 'screen_close; leave_case' EXIT
screen_open "$work"
screen_connect "$machine"
# The program that belongs to the report's type writes down how it was called.
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
    printf 'value\tHKEY_CLASSES_ROOT\\.xml\t\tBenchReport\n'
    printf 'value\tHKEY_CLASSES_ROOT\\BenchReport\\shell\\open\\command\t\t"C:\\bench\\recorder.exe" "%%1"\n'
} | plant

cat >"$drive/bench/windows.tsv" <<'WINDOWS'
window	safe-mode	6,7
picture	1_safe_mode
press	7
gone
window	consent	1,2
picture	2_consent
press	1
gone
window	splash	1013,1005
changes	1005
picture	3_splash
window	finish	1,1000,1001
picture	4_finish
press	1000
file	C:\bench\commands.log
stays
press	1
gone
window	restart	6,7
picture	5_restart
press	7
gone
WINDOWS
screen_pictures "$machine" "$work/pictures"
{
    printf 'start-process\tC:\\bench\\window_driver.exe\n'
    printf 'run\tC:\\bench\\ORVCleanupUtility.exe\n'
} | run_session

expect_recorded "exit	0"

cat >"$work/windows_expected.tsv" <<'RECORD'
window	safe-mode	ORV Cleanup Utility
control	6	&Yes
control	7	&No
control	-1	ORV Cleanup Utility has detected that your system is not currently in safe mode. Would you like to reboot and run in safe mode?
gone
window	consent	ORV Cleanup Utility
control	1	OK
control	2	Cancel
control	-1	This process will remove ORV drivers and applications such as graphics drivers, audio drivers, and ORV Software. This process will not remove or modify ORV chipset drivers.
gone
window	splash	ORV Cleanup Utility
control	1004	Removing Drivers, Applications, Utilities
control	1013	Cleanup Utility
control	1005	◉ ○ ○
control	1014	—
changed	1005
window	finish	ORV Cleanup Utility
control	1	Finish
control	1000	View Report
control	1001	The ORV Cleanup Utility has successfully completed.
stays	yes
gone
window	restart	ORV Cleanup Utility
control	6	&Yes
control	7	&No
control	-1	Actions taken by ORV Cleanup Utility require a system reboot. Would you like to reboot now?
gone
RECORD
expect_same "the windows and what they show" "$work/windows_expected.tsv" "$drive/bench/windows_record.tsv"

report=$user_folder\\Temp\\CleanUp\\report.xml
printf '"C:\\bench\\recorder.exe" "%s"\n' "$report" >"$work/commands_expected.txt"
cut -f2- "$drive/bench/commands.log" >"$work/commands_found.txt"
expect_same "how the report was opened" "$work/commands_expected.txt" "$work/commands_found.txt"

expect_all_rows_present "$work/rows.tsv"
expect_gone_exactly "$work/rows.tsv"
expect_only_allowed_changes
listed_folders_that_stay | expect_marked
expect_log_form

# Every picture shows something: more than the empty desktop.
for picture in 1_safe_mode 2_consent 3_splash 4_finish 5_restart; do
    identify -format '%k\n' "$work/pictures/$picture.png" >"$work/colours.txt"
    [ "$(cat "$work/colours.txt")" -gt 20 ] && check_passed || check_failed "the picture $picture is empty" "$work/colours.txt"
done
end_case
