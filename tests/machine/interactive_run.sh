#!/usr/bin/env bash
# A whole run as a user sees it, on a screen: the question about safe mode, the consent, the splash window, the finish
# dialog with the report and the About box, the question about the restart. The windows come in this order, and the machine
# is clean behind them. BENCH_KEEP=1 keeps a picture of each window in the case's folder.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/interactive_case.sh"

start_case
open_screen
{
    cat "$leftovers_data/program_leftovers.tsv" "$leftovers_data/report_viewer.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
} | plant

run_with_user "$leftovers_data/windows_whole_run.tsv"

expect_user_done
# The dots are on the move: which of them is filled when the user looks is chance.
sed -i -E 's/^(control\t1005\t)(○ ◉ ○|○ ○ ◉)$/\1◉ ○ ○/' "$work/windows_found.tsv"
success="The ORV Cleanup Utility has successfully completed."
{
    windows_until_consent
    echo gone
    cat <<'WINDOWS'
window	splash	ORV Cleanup Utility
control	1004	Removing Drivers, Applications, Utilities
control	1013	Cleanup Utility
control	1005	◉ ○ ○
control	1014	—
changed	1005
WINDOWS
    window_finish "$success"
    cat <<'WINDOWS'
stays	yes
window	about	About
control	-1	ORVCleanupUtility Version 1.0
control	-1	Copyright (C) 2026 Orvane Devices, Inc.
control	1	OK
gone
WINDOWS
    window_finish "$success"
    echo gone
    window_restart
} | expect_windows
expect_pictures safe_mode consent splash finish about restart

report=$user_folder\\Temp\\CleanUp\\report.xml
printf '"C:\\bench\\recorder.exe" "%s"\n' "$report" >"$work/commands_expected.txt"
cut -f2- "$drive/bench/commands.log" >"$work/commands_found.txt"
expect_same "how the report was opened" "$work/commands_expected.txt" "$work/commands_found.txt"

expect_all_rows_present "$work/rows.tsv"
expect_gone_exactly "$work/rows.tsv"
expect_only_allowed_changes
listed_folders_that_stay | expect_marked
expect_log_form
end_case
