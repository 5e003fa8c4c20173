#!/usr/bin/env bash
# demo.sh - shows the program at work: a bench machine full of the maker's installed products, devices, leftovers and of
# things that only look like them, one silent run of the shipped executable, and on one screen what went, what stayed, what
# failed, and the log.
# Installs and builds what is missing. Takes no arguments; can be run again at once.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

[ $# -eq 0 ] || fail "demo.sh takes no arguments" "start it without"

install_packages "${build_packages[@]}" "${bench_packages[@]}"
scripts/build.sh release ORVCleanupUtility bench_programs
make_bench_template
for part in snapshot leftovers session products around devices demo_devices demo_screen; do
    # shellcheck source=/dev/null
    . "$root/bench/$part.sh"
done
BENCH_PROGRAMS=$root/build/release/bench
demo=$root/build/bench/demo
machine=$demo/machine

manifest=$root/src/resources/ScrubList.JSON

say "Installing products and planting devices, the maker's leftovers and their neighbours on a new machine"
[ ! -d "$machine" ] || machine_remove "$machine"
rm -rf "$demo"
mkdir -p "$demo"
machine_clone "$root/build/bench/template" "$machine"
session_prepare "$machine" "$root/build/release/ORVCleanupUtility.exe"
products_make "$manifest" "$demo/packages"
products_install "$machine" "$demo/packages" others
session_plant "$machine" "$leftovers_data/machine.tsv"
around_give_expand "$machine"
snapshot_take "$machine" "$demo/bare.tsv"
products_install "$machine" "$demo/packages" maker
snapshot_take "$machine" "$demo/with_products.tsv"
session_plant "$machine" "$devices_data/devices.tsv"
snapshot_take "$machine" "$demo/with_devices.tsv"

leftovers_rows "$manifest" "$demo/manifest_rows.tsv"
around_plant_list "$demo/around_rows.tsv" >"$demo/around_list.tsv"
cat "$demo/manifest_rows.tsv" "$leftovers_data/program_rows.tsv" "$demo/around_rows.tsv" >"$demo/rows.tsv"
held_file='C:\Program Files\ORV\HLX\held open.dll'
refusing_key='HKEY_LOCAL_MACHINE\SOFTWARE\ORV\HLX'
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$demo/manifest_rows.tsv"
    cat "$demo/around_list.tsv"
    printf 'file\t%s\n' "$held_file"
} >"$demo/plant_list.tsv"
session_plant "$machine" "$demo/plant_list.tsv"
around_put "$machine"
snapshot_take "$machine" "$demo/before.tsv"

mkdir -p "$(machine_drive "$machine")/bench/running"
{
    while IFS= read -r image; do
        for name in "$image" "x$image"; do
            session_put "$BENCH_PROGRAMS/waiting_program.exe" "$(machine_drive "$machine")/bench/running/$name"
            printf 'start-process\tC:\\bench\\running\\%s\n' "$name"
        done
    done < <(leftovers_image_names "$demo/rows.tsv")
    printf 'hold-file\t%s\n' "$held_file"
    printf 'refuse-delete\t%s\n' "$refusing_key"
    printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n'
    printf '%s\n' record-processes record-pending \
        'record-value	HKEY_LOCAL_MACHINE\SOFTWARE\ORVCleanupUtility	RebootRequired'
} >"$demo/session.tsv"

say "Running build/release/ORVCleanupUtility.exe silent"
session_hold "$machine" "$demo/session.tsv" "$demo/record.tsv" >"$demo/output.txt" 2>&1 ||
    fail "the run broke off" "look at $demo/output.txt and $demo/record.tsv"
snapshot_take "$machine" "$demo/after.tsv"
products_repair "$machine" >"$demo/repaired.tsv" 2>>"$demo/output.txt"

{
    cat "$demo/rows.tsv"
    printf 'kept\tfile\t%s\n' "$held_file"
    printf 'kept\tkey\t%s\n' "$refusing_key"
} >"$demo/expected_rows.tsv"
demo_screen "$demo" "$(machine_drive "$machine")/users/$(id -un)/Temp/CleanUp/ORVCleanup.log" ||
    fail "the run did not do what it should" "compare $demo/gone_expected.tsv with $demo/gone_found.tsv"
