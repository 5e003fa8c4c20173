#!/usr/bin/env bash
# Another program of the user tries to have its own files taken for those that the run writes and then uses. A manifest that
# it holds in the place of the extracted one is not obeyed; a link in that place is not written through; and the batch file
# of the restart stays as it is while it runs.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
information='HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\SystemInformation'
temp=$drive/users/$(id -un)/Temp
manifest="$user_folder\\Temp\\CleanUp\\ScrubList.JSON"
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
    printf 'file\tC:\\Precious\\document.txt\n'
    printf 'value\tHKEY_CURRENT_USER\\Software\\Wine\\DllOverrides\tshutdown.exe\tnative\n'
    printf 'value\t%s\tSystemProductName\tWorkstation\n' "$information"
} | plant
cp --remove-destination "$BENCH_PROGRAMS/file_attacker.exe" "$drive/windows/system32/bcdedit.exe"
cp --remove-destination "$BENCH_PROGRAMS/recorder.exe" "$drive/windows/system32/shutdown.exe"
mkdir -p "$temp/CleanUp"
jq '.Generic.Files = ["Precious\\document.txt"]' "$case_root/src/resources/ScrubList.JSON" >"$temp/CleanUp/ScrubList.JSON"

printf '%s\n' "hold-file	$manifest" 'run	C:\bench\ORVCleanupUtility.exe silent' | run_session
expect_recorded "exit	0"
expect_nothing_gone
expect_logged 'Loading ScrubList.JSON File Failed!!!'
expect_logged 'CleanUp:: No such node (Generic.ScheduledTasks)'

# A link in the place of the work folder: nothing is written behind it but the log, and nothing is removed.
rm -r "$temp/CleanUp"
mkdir "$drive/Precious/folder"
ln -s '../../../Precious/folder' "$temp/CleanUp"
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session
expect_nothing_gone
ls "$drive/Precious/folder" | grep -vxF ORVCleanup.log >"$work/written.txt" || true
expect_empty "files were written behind the link" "$work/written.txt"
rm "$temp/CleanUp"
mkdir "$temp/CleanUp"

# A link in the place of the manifest: the run replaces it and does its work. It is a hard one, since the machine deletes what
# the other kind leads to, where Windows deletes the link.
ln -f "$drive/Precious/document.txt" "$temp/CleanUp/ScrubList.JSON"
cp "$drive/Precious/document.txt" "$work/document.txt"
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session
expect_recorded "exit	0"
expect_same "what the link leads to" "$work/document.txt" "$drive/Precious/document.txt"
expect_logged '-----------Failed Deletion of Driver Files ---------------'
{
    cat "$work/rows.tsv"
    printf 'listed\tfile\t%s\n' "$manifest"
} >"$work/gone_rows.tsv"
expect_gone_exactly "$work/gone_rows.tsv"

# The batch file. The attack is made while it runs, and its next line is still ours. It comes last, since the next start of the
# machine would bring the program back. The attacks on the batch file of no run, at the ends of the runs before, are no matter.
rm -f "$drive/bench/attack.log"
{
    printf '%s\t' run-until 'C:\bench\commands.log' 'shutdown'
    printf 'C:\\bench\\ORVCleanupUtility.exe silent safemode\n'
} | run_session
printf '%s refused\n' change replacement deletion >"$work/attack_expected.txt"
expect_same "what became of the attack on the batch file" "$work/attack_expected.txt" "$drive/bench/attack.log"
cut -f2- "$drive/bench/commands.log" >"$work/commands_found.txt"
printf 'shutdown -r -f -t 0\n' >"$work/commands_expected.txt"
expect_same "what the batch file has called" "$work/commands_expected.txt" "$work/commands_found.txt"
end_case
