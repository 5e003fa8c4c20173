# devices.sh - what is to become of the devices and driver packages of bench/data/devices.tsv, and what became of them, both
# read from snapshots. Sourced after snapshot.sh.
#
#   devices_outcomes RUN              `what<TAB>name<TAB>outcome` for each planted thing; RUN is silent, factory-reset or gpu
#   devices_gone OUTCOMES SNAPSHOT    the things of a snapshot that are to be gone after the run
#   devices_changed OUTCOMES SNAPSHOT the values that are to have other data after the run, with that data
#   devices_unknown OUTCOMES SNAPSHOT the names for which a snapshot has nothing
#   devices_calls SNAPSHOT            what the model of device installation was asked to change, one call a line
#   devices_tree SNAPSHOT             the devices in the order of their tree (see device_tree.awk)

devices_here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
devices_data=$devices_here/data

devices_outcomes() {
    local column
    case $1 in
        silent) column=3 ;;
        factory-reset) column=4 ;;
        gpu) column=5 ;;
        *) echo "devices: no such run: $1" >&2; return 1 ;;
    esac
    awk -F'\t' -v column="$column" '!/^#/ { print $1 "\t" $2 "\t" $column }' "$devices_data/devices_expected.tsv"
}

# The snapshot comes twice: what belongs to a device is only known at its end.
devices_expectation() { awk -v answer="$1" -f "$devices_here/expected_devices.awk" "$2" "$3" "$3" | LC_ALL=C sort -u; }
devices_gone() { devices_expectation gone "$1" "$2"; }
devices_changed() { devices_expectation changed "$1" "$2"; }
devices_unknown() { devices_expectation unknown "$1" "$2"; }

devices_calls() { snapshot_texts "$1" 'HKEY_LOCAL_MACHINE\Software\Bench Devices' Calls; }

devices_tree() { awk -f "$devices_here/device_tree.awk" "$1"; }
