# machine_case.sh - one whole-machine case: a bench machine of its own, what is planted on it, the run of the shipped
# program, and what the machine was before and after. Sourced by the case scripts; checks.sh has the assertions.
#
#   start_case                  makes the machine, with the devices that every machine has
#   plant                       plants the list on standard input
#   run_session                 takes a snapshot, holds the sitting on standard input, takes another one, fetches the log
#   run_session_until_restart   the same with a sitting that ends with a restart of the machine by a program
#   restart                     restarts the machine and takes a third snapshot
#   end_case                    exit status 0 only when no check has failed
#
# The caller (ctest) says through the environment where things are: ORV_PROGRAM, the shipped executable; BENCH_PROGRAMS, the
# folder of the bench programs. BENCH_KEEP=1 keeps the machine for a look at it.

set -euo pipefail

case_here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
case_root=$(cd "$case_here/../.." && pwd)
case_name=$(basename "$0" .sh)
: "${ORV_PROGRAM:=$case_root/build/release/ORVCleanupUtility.exe}"
: "${BENCH_PROGRAMS:=$case_root/build/release/bench}"
: "${BENCH_FOLDER:=$case_root/build/bench}"

for case_part in machine snapshot leftovers session; do
    # shellcheck source=/dev/null
    . "$case_root/bench/$case_part.sh"
done
. "$case_here/checks.sh"

# Files of the case: rows, lists, snapshots, the record of the sitting, the log of the run.
start_case() {
    [ -f "$ORV_PROGRAM" ] || { echo "$ORV_PROGRAM is not built: run scripts/build.sh" >&2; exit 2; }
    mkdir -p "$BENCH_FOLDER"
    # A machine is known by its full path, wherever a command is run.
    BENCH_FOLDER=$(cd "$BENCH_FOLDER" && pwd)
    (
        flock 9
        machine_template "$BENCH_FOLDER/template"
    ) 9>"$BENCH_FOLDER/template.lock"
    work=$(mktemp -d "$BENCH_FOLDER/$case_name-XXXXXX")
    touch "$work/passed_checks.txt" "$work/failed_checks.txt" "$work/log.txt"
    machine=$work/machine
    drive=$(machine_drive "$machine")
    user_folder="C:\\users\\$(id -un)"
    log=$drive/users/$(id -un)/Temp/CleanUp/ORVCleanup.log
    trap leave_case EXIT
    machine_clone "$BENCH_FOLDER/template" "$machine"
    session_prepare "$machine" "$ORV_PROGRAM"
    leftovers_rows "$case_root/src/resources/ScrubList.JSON" "$work/manifest_rows.tsv"
    cat "$work/manifest_rows.tsv" "$leftovers_data/program_rows.tsv" >"$work/rows.tsv"
    plant <"$leftovers_data/machine.tsv"
}

leave_case() {
    [ -n "${case_ended:-}" ] || echo "$case_name broke off before its end; the last lines above tell where"
    if [ -n "${BENCH_KEEP:-}" ]; then
        machine_stop "$machine"
        echo "The machine and the case's files stay in $work"
    else
        machine_remove "$machine"
        rm -rf "$work"
    fi
}

plant() {
    cat >"$work/plant_list.tsv"
    session_plant "$machine" "$work/plant_list.tsv"
}

run_session() {
    {
        cat
        printf '%s\n' 'record-processes' 'record-pending' \
            "record-value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired"
    } >"$work/session.tsv"
    snapshot_take "$machine" "$work/before.tsv"
    session_hold "$machine" "$work/session.tsv" "$work/record.tsv" ||
        check_failed "the sitting at the machine broke off; its record:" "$work/record.tsv"
    end_session
}

run_session_until_restart() {
    cat >"$work/session.tsv"
    snapshot_take "$machine" "$work/before.tsv"
    session_hold_until_restart "$machine" "$work/session.tsv" "$work/record.tsv" ||
        check_failed "programs of the machine go on behind its restart"
    end_session
}

end_session() {
    snapshot_take "$machine" "$work/after.tsv"
    # Without the carriage returns of its line ends, which have a check of their own.
    if [ -f "$log" ]; then
        tr -d '\r' <"$log" >"$work/log.txt"
    else
        check_failed "the program left no log"
    fi
}

restart() {
    session_restart "$machine"
    snapshot_take "$machine" "$work/after_restart.tsv"
}
