#!/usr/bin/env bash
# The whole road through safe mode: the first run leaves the command that brings the program back, asks for the restart and
# removes nothing but tasks; the start of the machine carries that command out, and the run cleans the machine and takes safe
# mode out of the boot settings. A bench machine knows no safe boot, and a second run in a normal boot would ask for the
# restart again. So it is a virtual machine from its restart on: there the same command line goes in place.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
run_once='HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\RunOnce'
information='HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\SystemInformation'
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
    printf 'value\tHKEY_CURRENT_USER\\Software\\Wine\\DllOverrides\tshutdown.exe\tnative\n'
    printf 'value\t%s\tSystemProductName\tWorkstation\n' "$information"
    printf 'key\t%s\n' "$run_once"
} | plant
for tool in bcdedit.exe shutdown.exe; do
    cp --remove-destination "$BENCH_PROGRAMS/recorder.exe" "$drive/windows/system32/$tool"
done

# recorded TOOL - the command lines that it was called with.
recorded() { grep -aiF "\\$1.exe	" "$drive/bench/commands.log" | cut -f2-; }

printf '%s\t' run-until 'C:\bench\commands.log' 'shutdown' >"$work/first.tsv"
printf 'C:\\bench\\ORVCleanupUtility.exe silent safemode\n' >>"$work/first.tsv"
printf 'record-value\t%s\t*ORV CLEANUP UTILITY\n' "$run_once" >>"$work/first.tsv"
# For the run after the restart.
printf 'run\treg.exe add "%s" /v SystemProductName /d "Virtual Machine" /f\n' "${information/HKEY_LOCAL_MACHINE/HKLM}" \
    >>"$work/first.tsv"
run_session <"$work/first.tsv"

expect_recorded "value	$run_once	*ORV CLEANUP UTILITY	\"C:\\bench\\ORVCleanupUtility.exe\" silent safemode"
printf '@echo off\r\nbcdedit /set {current} safeboot network\r\nshutdown -r -f -t 0\r\n' >"$work/batch_expected.txt"
cp "$drive/users/$(id -un)/Temp/safemode.bat" "$work/batch_found.txt"
expect_same "the batch file" "$work/batch_expected.txt" "$work/batch_found.txt"
printf '%s\n' 'bcdedit /set {current} safeboot network' >"$work/commands_expected.txt"
recorded bcdedit >"$work/commands_found.txt"
expect_same "what the boot settings are asked for" "$work/commands_expected.txt" "$work/commands_found.txt"
printf '%s\n' 'shutdown -r -f -t 0' >"$work/commands_expected.txt"
recorded shutdown >"$work/commands_found.txt"
expect_same "the restart" "$work/commands_expected.txt" "$work/commands_found.txt"
grep "^listed	task" "$work/manifest_rows.tsv" >"$work/task_rows.tsv"
expect_gone_exactly "$work/task_rows.tsv"
log_messages | grep -axF -- '-----------Deletion of Preuninstall Registries Values Started-------------' \
    >"$work/sequence.txt" || true
expect_empty "the sequence is for the second run" "$work/sequence.txt"

# The machine starts the program from what the first run has left behind, before anything else, and waits for its end.
rm "$drive/bench/commands.log"
restart
tr -d '\r' <"$log" >"$work/log.txt"

cat "$work/after_restart.tsv" >"$work/after.tsv"
expect_gone_exactly "$work/rows.tsv"
grep -F '*ORV CLEANUP UTILITY' "$work/after_restart.tsv" >"$work/run_once.txt" || true
expect_empty "the command is carried out once" "$work/run_once.txt"
sed -e '/run silently/a ---------------------CleanUp will run in safe mode--------------------' \
    -e '/Parsing JSON/a ------------------ VM Detected -----------------' \
    "$case_here/expected/stages_everything_listed.txt" >"$work/stages_expected.txt"
expect_stages "$work/stages_expected.txt"
printf '%s\n' 'bcdedit /deletevalue {current} safeboot' >"$work/commands_expected.txt"
recorded bcdedit >"$work/commands_found.txt"
expect_same "safe mode goes out of the boot settings" "$work/commands_expected.txt" "$work/commands_found.txt"
recorded shutdown >"$work/commands_found.txt" || true
expect_empty "no second restart is asked for" "$work/commands_found.txt"
end_case
