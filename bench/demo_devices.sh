# demo_devices.sh - the part of the demo's screen about devices: one tree with what became of each device, and why.
# Sourced after snapshot.sh and devices.sh.
#
#   demo_devices_expected FOLDER    writes devices_gone.tsv: the things that are to be gone with devices and packages
#   demo_devices FOLDER             the tree, and a line for the driver packages. FOLDER holds the snapshots before and
#                                   after: what became of a device or package is read from these two, and only the reason
#                                   from bench/data/devices_expected.tsv. Status 0 only when each outcome is as expected.

demo_devices_expected() {
    devices_outcomes silent >"$1/devices_outcomes.tsv"
    devices_gone "$1/devices_outcomes.tsv" "$1/before.tsv" >"$1/devices_gone.tsv"
}

demo_devices() {
    local folder=$1
    devices_tree "$folder/before.tsv" >"$folder/tree_before.tsv"
    devices_tree "$folder/after.tsv" >"$folder/tree_after.tsv"
    printf '\nDevices, before and after\n'
    awk -v expected="$devices_data/devices_expected.tsv" -v after="$folder/tree_after.tsv" \
        -f "$devices_here/demo_devices.awk" "$folder/tree_before.tsv" >"$folder/devices_screen.txt"
    grep -v '^differs' "$folder/devices_screen.txt"
    demo_packages "$folder"
    {
        sed -n 's/^differs\t//p' "$folder/devices_screen.txt"
        awk -F'\t' '$1 == "package" { print $3 "\t" $2 }' "$folder/devices_outcomes.tsv" | LC_ALL=C sort |
            diff - "$folder/packages_found.tsv" | sed -n 's/^> \([a-z]*\)\t\(.*\)/\2 \1/p'
    } >"$folder/device_differences.txt"
    [ -s "$folder/device_differences.txt" ] || return 0
    sed 's/^/  NOT AS EXPECTED: /' "$folder/device_differences.txt"
    return 1
}

# demo_packages FOLDER - one line for the driver packages: gone or stays, by their files.
demo_packages() {
    awk -F'\t' '$1 != "file" || tolower($2) !~ /^c:\\windows\\inf\\oem[0-9]+\.inf$/ { next }
        { name = $2; sub(/.*\\/, "", name) }
        FILENAME == ARGV[1] { there[name]; next }
        { print (name in there ? "stays" : "gone") "\t" name }' "$1/after.tsv" "$1/before.tsv" |
        LC_ALL=C sort >"$1/packages_found.tsv"
    printf '  Driver packages: %s of %s removed; kept are those of others, of the chipset, and what no list names\n' \
        "$(grep -c '^gone' "$1/packages_found.tsv" || true)" "$(wc -l <"$1/packages_found.tsv")"
}
