# around.sh - what of the maker's stands around a removal: its install manager with a tracker file, folders that old
# installers have left on the drive, and a driver package in Windows Update's download cache, each with neighbours. Sourced
# after machine.sh, session.sh and leftovers.sh.
#
#   around_rows                  rows for all of it that has to go (see leftovers.jq)
#   around_plant_list FILE       a plant list for the rows, and for what stands beside them; leaves the rows in the file
#   around_give_expand MACHINE   gives the machine an expand that can list
#   around_put MACHINE           puts the programs, the tracker file and the packages of the cache there

around_here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
around_cache='C:\windows\SoftwareDistribution\Download'
around_bound=250000000

around_rows() { grep '^listed' "$around_here/data/around_rows.tsv"; }

# Most rows are planted with the neighbours that a row's name gives. Beside what installers have left such a neighbour would
# be an installer's too, and a folder that has to be empty is none with something in it: the list has them.
around_plant_list() {
    cat "$around_here/data/around_leftovers.tsv"
    around_rows >"$1"
    grep -vF -e 'C:\ORV' -e 'Tracked Empty' "$1" | leftovers_plant_list /dev/stdin
    grep -F 'C:\ORV' "$1" | leftovers_plant_list_alone /dev/stdin
}

# The machine's own expand cannot list what is in a cabinet.
around_give_expand() {
    cp --remove-destination "$BENCH_PROGRAMS/cabinet_lister.exe" "$(machine_drive "$1")/windows/system32/expand.exe"
}

around_put() {
    local drive host cache
    drive=$(machine_drive "$1")
    host="$drive/Program Files/Tracker Host"
    session_put "$BENCH_PROGRAMS/recorder.exe" "$host/stop.exe"
    session_put "$BENCH_PROGRAMS/waiting_program.exe" "$host/hang.exe"
    mkdir -p "$host/PKM/Config" "$drive/bench/running"
    cp "$around_here/data/PKMTracker.JSON" "$host/PKM/Config/"
    session_put "$BENCH_PROGRAMS/waiting_program.exe" "$drive/bench/running/tracked.exe"
    session_put "$BENCH_PROGRAMS/waiting_program.exe" "$drive/bench/running/xtracked.exe"
    cache=$drive/windows/SoftwareDistribution/Download
    mkdir -p "$cache"
    around_cabinet "$cache/driver.cab" $((around_bound + 1)) orvgpukg.sys
    around_cabinet "$cache/small.cab" $around_bound orvgpukg.sys
    around_cabinet "$cache/other.cab" $((around_bound + 1)) otherdisp.sys
}

# around_cabinet FILE BYTES NAME - a cabinet with one file of that name, made large without writing the bytes.
around_cabinet() {
    local folder
    folder=$(mktemp -d)
    printf 'a driver\n' >"$folder/$3"
    (cd "$folder" && gcab -c -n package.cab "$3") && mv "$folder/package.cab" "$1" && truncate -s "$2" "$1"
    rm -r "$folder"
}
