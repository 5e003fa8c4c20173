#!/usr/bin/env bash
# Real installer products on the machine, the maker's and others': those behind an upgrade code of the manifest go, in the
# first pass, in the retry or by force; every other one stays and still works, the installer's copy of its package included.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"
# shellcheck source=/dev/null
. "$case_root/bench/products.sh"

# expect_section_in_order HEADER - the section of the log holds exactly the lines on standard input, in their order.
expect_section_in_order() {
    cat >"$work/section_expected.txt"
    log_section "$1" >"$work/section_found.txt"
    expect_same "the log's section '$1'" "$work/section_expected.txt" "$work/section_found.txt"
}

# expect_products SNAPSHOT WHOSE - the installer knows exactly these products.
expect_products() {
    products_of "$2" | cut -f3 | LC_ALL=C sort >"$work/products_expected.txt"
    products_present "$1" >"$work/products_found.txt"
    expect_same "the products that the installer knows" "$work/products_expected.txt" "$work/products_found.txt"
}

manifest=$case_root/src/resources/ScrubList.JSON
# The applications behind whose upgrade codes the machine has a product, as a list of names.
installed=$(products_of maker | cut -f6 | jq -Rn '[inputs] | unique')

start_case
products_make "$manifest" "$work/packages"
products_install "$machine" "$work/packages" others
snapshot_take "$machine" "$work/without_the_makers.tsv"
products_install "$machine" "$work/packages" maker

printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent\n' | run_session

expect_recorded "exit	0"
expect_products "$work/before.tsv" all
expect_products "$work/after.tsv" others

# Exactly what the installation of the maker's products has brought is gone: files, icons, packages, registration.
snapshot_added "$work/without_the_makers.tsv" "$work/before.tsv" >"$work/installed.tsv"
snapshot_things "$work/installed.tsv" >"$work/gone_expected.tsv"
snapshot_removed "$work/before.tsv" "$work/after.tsv" >"$work/gone_found.tsv"
expect_same "what is gone from the machine" "$work/gone_expected.tsv" "$work/gone_found.tsv"
expect_only_allowed_changes

# Marked are the folders that are not there when it is their turn, of the generic rows and of the applications that went,
# the one among them that the first pass has removed with its product. They make no restart due: what asks for one here is
# the removal of a product.
jq --argjson installed "$installed" '.Generic.Directories += [.Packages.ORVApplications[$installed[]].Directories[]]
    | .Generic.Directories |= unique' "$manifest" >"$work/manifest_with_applications.json"
leftovers_rows "$work/manifest_with_applications.json" "$work/rows_with_applications.tsv"
{
    awk -F'\t' '$1 == "listed" && $2 == "folder" { print $3 }' "$work/rows_with_applications.tsv" |
        while IFS= read -r folder; do
            grep -qixF -- "folder	$folder		755" "$work/before.tsv" || printf '%s\n' "$folder"
        done
    echo 'C:\Program Files\ORV\Meridia'
} | expect_marked
expect_recorded "value	HKEY_LOCAL_MACHINE\\SOFTWARE\\ORVCleanupUtility	RebootRequired	1"
expect_logged "Reboot is required to finish cleanup."

expect_log_form
expect_stages "$case_here/expected/stages_installed_products.txt"
jq -r '.Packages.ORVApplications | keys_unsorted[]' "$manifest" |
    expect_section_in_order '-----------Applications Eligible to Unistall-------------'
{
    jq -r --argjson installed "$installed" '.Packages.ORVApplications | to_entries[] | select(.key | IN($installed[]))
        | "\(.key) - \(.value.Info.UpgradeID)"' "$manifest"
    echo 'UWP Apps to Uninstall:-------------'
    jq -r '.InclusionList.UWP[]' "$manifest"
} | expect_section_in_order 'Application List to Uninstall:-------------'
# A failed program of a package ends its removal with 1627, a package's own stop with 1603.
{
    printf 'Failed to uninstall\t:\t%s\t:\t%s\n' LumioControlPanel64 1627 KOTuning64 1603 OrvaneStreaming64 1627
    jq -r '.InclusionList.UWP[]
        | "Attempting to uninstall ORV UWP Application", "Finished uninstalling ORV UWP Application: " + .' "$manifest"
} | expect_section_in_order '-----------Uninstalling Applications Started-------------'
# Of the control panel's two products the one without a package is forced, after msiexec has removed the other one.
printf '%s\n' 'Force removing Lumio Control Panel.' \
    'Uninstalled failed application	:	LumioControlPanel64	:	0' \
    'Force removing KO Tuning.' \
    'Uninstalled failed application	:	KOTuning64	:	1603' \
    'Uninstalled failed application	:	OrvaneStreaming64	:	0' |
    expect_section_in_order '-----------Retry of Failed of Applications---------------'

restart
expect_gone_at_restart <<'GONE'
value	HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager	PendingFileRenameOperations
GONE

# A repair puts back the file that is missing, from the installer's copy of the package, and leaves the machine as it was,
# but for the installer's own note of where the package came from.
products_of others | cut -f3 | sed 's/$/\tworks/' >"$work/repaired_expected.tsv"
products_repair "$machine" >"$work/repaired_found.tsv"
expect_same "the repair of what stays" "$work/repaired_expected.tsv" "$work/repaired_found.tsv"
snapshot_take "$machine" "$work/after_repair.tsv"
for state in after_restart after_repair; do
    grep -avF '\SourceList' "$work/$state.tsv" >"$work/$state.txt"
done
expect_same "the machine after the repair" "$work/after_restart.txt" "$work/after_repair.txt"
end_case
