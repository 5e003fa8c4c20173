#!/usr/bin/env bash
# Libraries that lie beside the program, and in the folder from which it is started, are not loaded, whatever the program
# calls by their names: the run finds the machine's own and does its work.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
# The machine knows no known libraries, and is not made to prefer planted files of their names. Its user32 needs version,
# which Windows' own does not, and would take the planted one.
libraries=(srclient sfc)
for list in "$case_root"/src/system/delayed/*.def; do
    [ "${list##*/}" = version.def ] || libraries+=("$(basename "$list" .def)")
done
{
    cat "$leftovers_data/devices.tsv" "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
    printf 'folder\tC:\\downloads\n'
    # Without this a machine takes its own library in the place of a file beside a program.
    for library in "${libraries[@]}"; do
        printf 'value\tHKEY_CURRENT_USER\\Software\\Wine\\AppDefaults\\ORVCleanupUtility.exe\\DllOverrides\t%s\tnative,builtin\n' \
            "$library"
    done
} | plant
for library in "${libraries[@]}"; do
    for folder in bench downloads; do
        cp "$BENCH_PROGRAMS/planted_library.dll" "$drive/$folder/$library.dll"
    done
done

printf '%s\n' 'enter	C:\downloads' 'run	C:\bench\ORVCleanupUtility.exe silent' | run_session

expect_recorded "exit	0"
touch "$drive/bench/loaded.log"
expect_empty "planted libraries were loaded" "$drive/bench/loaded.log"
# The machine's own were: devices are removed through one, the report asks another for a version.
expect_logged '-----------Drivers Eligible to Unistall-------------'
expect_logged '-----------Failed Deletion of Driver Files ---------------'
end_case
