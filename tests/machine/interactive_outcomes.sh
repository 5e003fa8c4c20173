#!/usr/bin/env bash
# The finish dialog when not all went well. A product that refuses its removal gives warnings, though it goes by force in
# the end; a device that can be removed in neither way gives a failure. Each has its own text and picture.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
. "$case_here/interactive_case.sh"
# shellcheck source=/dev/null
. "$case_root/bench/products.sh"

# windows_until_the_end OUTCOME - what a user sees in a run with that text in its finish dialog.
windows_until_the_end() {
    windows_until_consent
    echo gone
    window_finish "$1"
    echo gone
    window_restart
}

# keep_outcome_picture NAME - the picture beside the outcome's text goes to NAME.png: its place, and the size of the smallest
# of the three.
keep_outcome_picture() {
    expect_pictures outcome
    [ ! -f "$work/pictures/outcome.png" ] || screen_crop "$work/pictures" outcome 2 34x32+90+25 "$work/$1.png"
    rm -f "$work/pictures/outcome.png"
}

start_case
open_screen
products_list=$leftovers_data/product_that_resists.tsv
products_make "$case_root/src/resources/ScrubList.JSON" "$work/packages"
products_install "$machine" "$work/packages" others
snapshot_take "$machine" "$work/without_the_product.tsv"
products_install "$machine" "$work/packages" maker

run_with_user "$leftovers_data/windows_outcome.tsv"

expect_user_done
windows_until_the_end "The ORV Cleanup Utility has completed with warnings." | expect_windows
keep_outcome_picture warnings
# The product has gone all the same.
snapshot_added "$work/without_the_product.tsv" "$work/before.tsv" >"$work/installed.tsv"
snapshot_things "$work/installed.tsv" >"$work/gone_expected.tsv"
snapshot_removed "$work/before.tsv" "$work/after.tsv" >"$work/gone_found.tsv"
expect_same "what is gone from the machine" "$work/gone_expected.tsv" "$work/gone_found.tsv"
expect_only_allowed_changes
expect_log_form

# The second run leaves a log and a report of its own.
rm -r "${log%/*}"
plant <"$leftovers_data/device_that_resists.tsv"
# Esc acts as the dialog's button.
sed '/^picture\toutcome$/ { n; s/.*/key\t27/ }' "$leftovers_data/windows_outcome.tsv" >"$work/windows_with_esc.tsv"

run_with_user "$work/windows_with_esc.tsv"

expect_user_done
windows_until_the_end "The ORV Cleanup Utility has not completed successfully." | expect_windows
keep_outcome_picture failure
expect_nothing_gone
expect_only_allowed_changes
expect_section '-----------Failed Deletions of Drivers---------------' <<<DisplayAudioDriver64
expect_log_form

for picture in warnings failure; do
    identify -format '%k\n' "$work/$picture.png" >"$work/colours.txt" || true
    [ "$(cat "$work/colours.txt")" -gt 20 ] && check_passed || check_failed "nothing beside the text" "$work/colours.txt"
done
if cmp -s "$work/warnings.png" "$work/failure.png"; then
    check_failed "both outcomes have the same picture"
else
    check_passed
fi
end_case
