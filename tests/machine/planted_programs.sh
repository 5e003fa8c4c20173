#!/usr/bin/env bash
# Programs with the names of the system's tools lie beside the program, in the folder from which it is started and along the
# PATH. None of them is started: the run and the batch file of the restart call the tools of the system folder.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
# shellcheck source=/dev/null
. "$case_root/bench/around.sh"

start_case
information='HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\SystemInformation'
tools=(bcdedit cmd expand msiexec net powershell schtasks shutdown taskkill)
image=$(first_listed process)
{
    listed task | sed 's/^/task\t/'
    printf 'value\t%s\tSystemProductName\tWorkstation\n' "$information"
    printf 'folder\tC:\\downloads\n'
    printf 'folder\tC:\\elsewhere\n'
    printf 'folder\tC:\\bench\\running\n'
    # Without this a machine takes its own program in the place of a file of that name.
    for tool in "${tools[@]}"; do
        printf 'value\tHKEY_CURRENT_USER\\Software\\Wine\\DllOverrides\t%s.exe\tnative,builtin\n' "$tool"
    done
} | plant
for tool in "${tools[@]}"; do
    for folder in bench downloads elsewhere; do
        for ending in exe com; do
            cp "$BENCH_PROGRAMS/recorder.exe" "$drive/$folder/$tool.$ending"
        done
    done
done
for tool in bcdedit shutdown WindowsPowerShell/v1.0/powershell; do
    cp --remove-destination "$BENCH_PROGRAMS/recorder.exe" "$drive/windows/system32/$tool.exe"
done
around_give_expand "$machine"
mkdir -p "$drive/windows/SoftwareDistribution/Download"
around_cabinet "$drive/windows/SoftwareDistribution/Download/driver.cab" $((around_bound + 1)) orvgpukg.sys
cp "$BENCH_PROGRAMS/waiting_program.exe" "$drive/bench/running/$image"

{
    printf '%s\n' 'enter	C:\downloads' 'set-variable	Path	C:\elsewhere' 'set-variable	PATHEXT	.COM;.EXE'
    printf 'start-process\tC:\\bench\\running\\%s\n' "$image"
    printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n'
    printf '%s\t' run-until 'C:\bench\commands.log' 'shutdown'
    printf 'C:\\bench\\ORVCleanupUtility.exe silent safemode\n'
} | run_session

expect_recorded "exit	0"
grep -aiE '^C:\\(bench|downloads|elsewhere)\\' "$drive/bench/commands.log" >"$work/planted_started.txt" || true
expect_empty "planted programs were started" "$work/planted_started.txt"

# The machine's own were: each has done its work, or says that it was called.
expect_recorded "process	C:\\bench\\running\\$image	ended"
listed task | sed 's/^/listed\ttask\t/' >"$work/gone_rows.tsv"
printf 'listed\tfile\t%s\\driver.cab\n' "$around_cache" >>"$work/gone_rows.tsv"
expect_gone_exactly "$work/gone_rows.tsv"
for tool in bcdedit shutdown 'WindowsPowerShell\v1.0\powershell'; do
    grep -aiqF "C:\\windows\\system32\\$tool.exe	" "$drive/bench/commands.log" &&
        check_passed || check_failed "$tool of the system folder was not called" "$drive/bench/commands.log"
done
end_case
