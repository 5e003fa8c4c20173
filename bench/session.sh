# session.sh - brings programs to a bench machine, plants, and holds a sitting there. Sourced after machine.sh.
#
#   session_prepare MACHINE PROGRAM...    puts the programs and the bench's own into C:\bench, and gives the
#                                         shipped program the model of device installation
#   session_plant MACHINE LIST            plants a list (bench/programs/plant.cpp) and waits until the machine has settled
#   session_hold MACHINE LIST RECORD      holds a sitting (bench/programs/machine_session.cpp), fetches its record, and waits
#                                         until the machine has settled
#   session_hold_until_restart MACHINE LIST RECORD   the same with a sitting at whose end a program restarts the machine: it
#                                         ends there, with every other program; fails when something still runs
#   session_restart MACHINE               what a restart does to the machine: pending renames and deletions are carried out
#
# BENCH_PROGRAMS is the folder that holds the built bench programs.

# shellcheck source=/dev/null
. "$(dirname "${BASH_SOURCE[0]}")/device_libraries.sh"

session_put() {
    ln -f "$1" "$2" 2>/dev/null || cp --remove-destination "$1" "$2"
}

session_prepare() {
    local machine=$1 folder program
    shift
    folder=$(machine_drive "$machine")/bench
    mkdir -p "$folder"
    for program in "$BENCH_PROGRAMS"/*.exe "$@"; do
        session_put "$program" "$folder/${program##*/}"
    done
    machine_give_devices "$machine" "$BENCH_PROGRAMS" ORVCleanupUtility.exe
}

session_plant() {
    cp "$2" "$(machine_drive "$1")/bench/plant_list.tsv"
    machine_wine "$1" 'C:\bench\plant.exe' 'C:\bench\plant_list.tsv' || return 1
    machine_settle "$1"
}

session_hold() {
    local status=0
    cp "$2" "$(machine_drive "$1")/bench/session.tsv"
    machine_wine "$1" 'C:\bench\machine_session.exe' 'C:\bench\session.tsv' 'C:\bench\record.tsv' || status=$?
    cp "$(machine_drive "$1")/bench/record.tsv" "$3"
    if [ "$status" -ne 0 ]; then
        # What the sitting has left running would be waited for in vain.
        machine_stop "$1"
    fi
    machine_settle "$1"
    return "$status"
}

# How the sitting itself ends says nothing: it is ended. The restart carries out what is pending, as the next start does.
session_hold_until_restart() {
    cp "$2" "$(machine_drive "$1")/bench/session.tsv"
    machine_wine "$1" 'C:\bench\machine_session.exe' 'C:\bench\session.tsv' 'C:\bench\record.tsv' || true
    cp "$(machine_drive "$1")/bench/record.tsv" "$3"
    machine_has_ended "$1" && return 0
    machine_stop "$1"
    machine_settle "$1"
    return 1
}

session_restart() {
    # The first program after the start of a new server finds the pending work done.
    machine_wine "$1" cmd.exe /c exit && machine_settle "$1"
}
