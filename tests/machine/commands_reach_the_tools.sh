#!/usr/bin/env bash
# The system tools that the run calls get exactly these command lines: PowerShell one for each store app of the manifest,
# the task scheduler's tool one for each listed task. A recording program stands in their places.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

manifest=$case_root/src/resources/ScrubList.JSON
start_case
# A machine takes its own schtasks instead of the file unless it is told not to.
{
    listed task | sed 's/^/task\t/'
    printf 'value\tHKEY_CURRENT_USER\\Software\\Wine\\DllOverrides\tschtasks.exe\tnative\n'
} | plant
system32=$drive/windows/system32
for tool in WindowsPowerShell/v1.0/powershell.exe schtasks.exe; do
    cp --remove-destination "$BENCH_PROGRAMS/recorder.exe" "$system32/$tool"
done

printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
# What is recorded was not carried out: the tasks stay, and nothing else had to go.
expect_nothing_gone
expect_only_allowed_changes

# The tasks' deletions are not waited for, so their lines come in any order.
commands() { grep -aF "\\$1	" "$drive/bench/commands.log" | cut -f2-; }
powershell='C:\windows\System32\WindowsPowerShell\v1.0\powershell.exe'
jq -r --arg tool "$powershell" '.InclusionList.UWP[]
    | "\($tool) \"Get-AppxPackage -AllUsers \"\(.)\" | Remove-AppxPackage -AllUsers\""' "$manifest" \
    >"$work/commands_expected.txt"
commands powershell.exe >"$work/commands_found.txt"
expect_same "the commands for PowerShell" "$work/commands_expected.txt" "$work/commands_found.txt"
listed task | sed 's/.*/schtasks \/delete \/TN "&" \/F/' | LC_ALL=C sort >"$work/commands_expected.txt"
commands schtasks.exe | LC_ALL=C sort >"$work/commands_found.txt"
expect_same "the commands for the task scheduler" "$work/commands_expected.txt" "$work/commands_found.txt"

# The support type's task is asked for in a folder whose name nothing expands: it is not reached, and counts as reached.
run='schtasks /Run /TN "ORVScoSupportTypeUpdate"'
printf '%s\n' "Failed Applications uninstall : cmd: $run ,error code	:	267" \
    "Able to run ORVScoSupportTypeUpdate  : $run " | expect_section '-----------HandleScheduledTasks Getting all data-------------'
expect_log_form
end_case
