# devices.sh - what the cases with devices and driver packages share. Sourced behind machine_case.sh.
#
#   plant_devices [LINE]...            the machine of bench/data/devices.tsv, and more lines of a plant list
#   begin_outcomes RUN                 takes the outcomes of that run from bench/data/devices_expected.tsv
#   set_outcome OUTCOME WHAT NAME...   changes them for the things that this case makes different
#   expect_devices RUN                 exactly what the outcomes say is gone, driverless or hidden, and everything else of
#                                      the machine is as it was
#   expect_device_changes              nothing has other details but what hangs on what is gone, and what may always change
#   expect_calls FILE                  the calls that the model of device installation was given, whole and in their order
#   expect_device_stages FILE          the stages in the log
#   expect_device_log FILE             what the log tells of removals

# shellcheck source=/dev/null
. "$case_root/bench/devices.sh"

plant_devices() {
    {
        cat "$devices_data/devices.tsv"
        [ $# -eq 0 ] || printf '%s\n' "$@"
    } | plant
}

begin_outcomes() { devices_outcomes "$1" >"$work/outcomes.tsv"; }
set_outcome() {
    local outcome=$1 what=$2 name
    shift 2
    for name in "$@"; do
        WHAT=$what NAME=$name OUTCOME=$outcome awk 'BEGIN { FS = OFS = "\t" }
            $1 == ENVIRON["WHAT"] && $2 == ENVIRON["NAME"] { $3 = ENVIRON["OUTCOME"]; found = 1 }
            { print }
            END { if (!found) print ENVIRON["WHAT"], ENVIRON["NAME"], ENVIRON["OUTCOME"] }' "$work/outcomes.tsv" \
            >"$work/outcomes_changed.tsv"
        mv "$work/outcomes_changed.tsv" "$work/outcomes.tsv"
    done
}

expect_devices() {
    [ -s "$work/outcomes.tsv" ] || begin_outcomes "$1"
    devices_unknown "$work/outcomes.tsv" "$work/before.tsv" >"$work/unknown.txt"
    expect_empty "expected things that the machine did not hold" "$work/unknown.txt"
    devices_gone "$work/outcomes.tsv" "$work/before.tsv" >"$work/gone_expected.tsv"
    snapshot_removed "$work/before.tsv" "$work/after.tsv" >"$work/gone_found.tsv"
    expect_same "what is gone from the machine" "$work/gone_expected.tsv" "$work/gone_found.tsv"

    expect_device_changes
}

expect_device_changes() {
    {
        snapshot_added "$work/before.tsv" "$work/after.tsv" | sed 's/^/added\t/'
        snapshot_changed "$work/before.tsv" "$work/after.tsv" | sed 's/^/changed\t/'
    } | awk -F'\t' -f "$case_here/unexplained_changes.awk" "$case_here/allowed_changes.txt" - >"$work/changes_found.tsv"
    devices_changed "$work/outcomes.tsv" "$work/before.tsv" | sed 's/^/changed\t/' >"$work/changes_expected.tsv"
    LC_ALL=C sort -o "$work/changes_found.tsv" "$work/changes_found.tsv"
    LC_ALL=C sort -o "$work/changes_expected.tsv" "$work/changes_expected.tsv"
    expect_same "what has other details than before" "$work/changes_expected.tsv" "$work/changes_found.tsv"
}

expect_calls() {
    devices_calls "$work/after.tsv" >"$work/calls.txt"
    expect_same "the calls for devices and packages" "$1" "$work/calls.txt"
}

# expect_device_stages FILE - as expect_stages, without the lines about single devices, which have nine hyphens.
expect_device_stages() {
    log_messages | grep -a '^-' | grep -avE '^-{9}[^-]' >"$work/stages.txt" || true
    expect_same "the stages in the log" "$1" "$work/stages.txt"
}

# expect_device_log FILE - what the log tells of each removal, and what was spared or refused, in its order.
expect_device_log() {
    local beginnings='Devices to Uninstall|Successfully|Failed Uninst|Uninstall |Excluding|.?Reboot needed|Setup'
    beginnings+='|CleanDriverStore'
    log_messages | grep -aE "^($beginnings)" >"$work/device_log.txt" || true
    expect_same "the log's lines about removals" "$1" "$work/device_log.txt"
}
