#!/usr/bin/env bash
# A run is ended while a tool that it has called is still at work. The tool has nothing of the run's that another could need:
# the next run writes its log.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
# shellcheck source=/dev/null
. "$case_root/bench/around.sh"

start_case
printf 'value\tHKEY_CURRENT_USER\\Software\\Wine\\DllOverrides\texpand.exe\tnative\n' | plant
cp --remove-destination "$BENCH_PROGRAMS/lingering_program.exe" "$drive/windows/system32/expand.exe"
mkdir -p "$drive/windows/SoftwareDistribution/Download"
around_cabinet "$drive/windows/SoftwareDistribution/Download/driver.cab" $((around_bound + 1)) orvgpukg.sys

{
    printf '%s\t' run-leaving 'C:\bench\lingering.log' 'at work'
    printf 'C:\\bench\\ORVCleanupUtility.exe silent\n'
    # The next run has nothing to ask the tool about.
    printf 'run\tcmd.exe /c del %s\\driver.cab\n' "$around_cache"
    printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n'
} | run_session

printf 'exit\t0\nexit\t0\n' >"$work/exits_expected.txt"
grep -a '^exit' "$work/record.tsv" >"$work/exits_found.txt" || true
expect_same "the exit codes" "$work/exits_expected.txt" "$work/exits_found.txt"
log_messages | grep -aF 'Launching command cmd.exe /C "expand' >"$work/first_run.txt" || true
expect_empty "the log is still that of the first run" "$work/first_run.txt"
expect_logged '-----------Failed Deletion of Driver Files ---------------'
end_case
