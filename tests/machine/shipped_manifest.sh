#!/usr/bin/env bash
# A machine on which every row of the shipped manifest means something: files, folders, keys, values, services, tasks,
# shortcuts and running programs of all packages, an installed product behind the upgrade code of each application that has
# rows, a device for each driver package; and beside each of them a neighbour that no row means. Everything that a run
# considers goes, what is protected and every neighbour stays bit for bit.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/devices.sh"
# shellcheck source=/dev/null
. "$case_root/bench/products.sh"

manifest=$case_root/src/resources/ScrubList.JSON
start_case
started=$SECONDS

# Installer products: one behind each application with rows, and one beside them of the maker's that no package means.
products_list=$work/products.tsv
jq -r '.Packages.ORVApplications | to_entries[]
    | select(.value | [.Files, .RegistryKeys, .RegistryValues, .Process, .Directories] | any(. != []))
    | [.key, .key, "ORV", "Product " + .key, .key, "works"] | join("\t")' "$manifest" >"$products_list"
printf 'chipset\tORV Chipset Software\tORV\tChipset\t-\tworks\n' >>"$products_list"
products_make "$manifest" "$work/packages"
products_install "$machine" "$work/packages" others
snapshot_take "$machine" "$work/without_the_makers.tsv"
products_install "$machine" "$work/packages" maker
snapshot_take "$machine" "$work/with_products.tsv"
snapshot_added "$work/without_the_makers.tsv" "$work/with_products.tsv" >"$work/installed.tsv"
echo "$case_name: $(products_of maker | wc -l) products installed after $((SECONDS - started)) s"

# Devices, and what becomes of the packages' rows: they go with a product, or with a device that counts as the package's.
leftovers_devices "$manifest" >"$work/devices.tsv"
sed -n 's/^outcome\t//p' "$work/devices.tsv" >"$work/outcomes.tsv"
{
    products_of maker | cut -f6 | sed 's/$/\tlisted/'
    awk -F'\t' '$5 == "credited" { print $4 "\tlisted" }
        $1 == "device" && $3 == "stays" && $4 != "-" { print $4 "\tkept" }' "$work/outcomes.tsv"
} | jq -Rn '[inputs / "\t" | { (.[0]): .[1] }] | add' >"$work/fates.json"
jq -r --slurpfile fates "$work/fates.json" '.Packages.ORVDrivers | to_entries[] | select($fates[0][.key] == null)
    | .key as $name | .value | (.RegistryKeys, .RegistryValues, .Directories)[] | "\($name)\t\(.)"' "$manifest" \
    >"$work/rows_without_a_device.txt"
expect_empty "rows of driver packages for which no device counts" "$work/rows_without_a_device.txt"
leftovers_rows "$manifest" "$work/all_rows.tsv" "$(cat "$work/fates.json")"
# The PCI filter's service is spared by name; program_leftovers.tsv plants it.
grep -avxP 'listed\tservice\torvpcifd' "$work/all_rows.tsv" >"$work/manifest_rows.tsv"
cat "$work/manifest_rows.tsv" "$leftovers_data/program_rows.tsv" >"$work/rows.tsv"
{
    cat "$leftovers_data/program_leftovers.tsv"
    sed -n 's/^plant\t//p' "$work/devices.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
} | awk '!planted[$0]++' | plant
echo "$case_name: $(wc -l <"$work/plant_list.tsv") things planted after $((SECONDS - started)) s"

mapfile -t images < <(leftovers_image_names "$work/rows.tsv" | LC_ALL=C sort -u)
mkdir -p "$drive/bench/running"
for image in "${images[@]}"; do
    session_put "$BENCH_PROGRAMS/waiting_program.exe" "$drive/bench/running/$image"
    session_put "$BENCH_PROGRAMS/waiting_program.exe" "$drive/bench/running/x$image"
done
{
    for image in "${images[@]}"; do
        printf 'start-process\tC:\\bench\\running\\%s\n' "$image" "x$image"
    done
    printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n'
} | run_session
echo "$case_name: the run is over after $((SECONDS - started)) s; by its log it took $(log_seconds) s"

expect_recorded "exit	0"
for image in "${images[@]}"; do
    expect_recorded "process	C:\\bench\\running\\$image	ended"
    expect_recorded "process	C:\\bench\\running\\x$image	running"
done

expect_all_rows_present "$work/rows.tsv"
devices_unknown "$work/outcomes.tsv" "$work/before.tsv" >"$work/unknown.txt"
expect_empty "devices and driver packages that were not planted" "$work/unknown.txt"
{
    leftovers_expected "$work/rows.tsv" "$work/before.tsv"
    devices_gone "$work/outcomes.tsv" "$work/before.tsv"
    snapshot_things "$work/installed.tsv"
} | LC_ALL=C sort -u >"$work/gone_expected.tsv"
snapshot_removed "$work/before.tsv" "$work/after.tsv" >"$work/gone_found.tsv"
expect_same "what is gone from the machine" "$work/gone_expected.tsv" "$work/gone_found.tsv"
echo "$case_name: $(wc -l <"$work/gone_found.tsv") things gone, $(wc -l <"$work/after.tsv") stay"
expect_device_changes
expect_log_form
echo "$case_name: $((SECONDS - started)) s in all"
end_case
