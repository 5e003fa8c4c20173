#!/usr/bin/env bash
# A machine that holds something for every generic row of the manifest and for every rule of the program, and beside each
# row a neighbour that it does not mean: all that is listed goes, everything else stays bit for bit.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
} | plant

# A program under each listed image name, and one beside each that is called nearly the same. They lie outside the listed
# folders: the file of a running program could not be deleted.
mapfile -t images < <(leftovers_image_names "$work/rows.tsv")
mkdir -p "$drive/bench/running"
for image in "${images[@]}"; do
    session_put "$BENCH_PROGRAMS/waiting_program.exe" "$drive/bench/running/$image"
    session_put "$BENCH_PROGRAMS/waiting_program.exe" "$drive/bench/running/x$image"
done
service=$(first_listed service)
neighbour=${service%?}x

{
    for image in "${images[@]}"; do
        printf 'start-process\tC:\\bench\\running\\%s\n' "$image" "x$image"
    done
    printf 'start-service\t%s\n' "$service" "$neighbour"
    printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n'
    printf 'record-service\t%s\n' "$service" "$neighbour"
} | run_session

expect_recorded "exit	0"
for image in "${images[@]}"; do
    expect_recorded "process	C:\\bench\\running\\$image	ended"
    expect_recorded "process	C:\\bench\\running\\x$image	running"
done
expect_recorded "service	$service	absent"
expect_recorded "service	$neighbour	running"

expect_all_rows_present "$work/rows.tsv"
expect_gone_exactly "$work/rows.tsv"
expect_only_allowed_changes

# A folder that holds something protected can't be removed and is marked; nothing asks for a restart.
listed_folders_that_stay | expect_marked
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	absent"

# The restart finds those folders not empty either.
restart
expect_gone_at_restart <<'GONE'
value	HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager	PendingFileRenameOperations
GONE

expect_log_form
expect_stages "$case_here/expected/stages_everything_listed.txt"
absent_driver_services | expect_section '-----------Failed Stopping Services---------------'
end_case
