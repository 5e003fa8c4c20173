#!/usr/bin/env bash
# A full machine and the switches `saveORV` and `gpu`: the install manager's folder and the key of the installed packages
# stay with all that lies in them, everything else that is listed goes as ever.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
packages='HKEY_LOCAL_MACHINE\SOFTWARE\KTL Systems\Install\Packages'
{
    cat "$leftovers_data/program_leftovers.tsv"
    leftovers_plant_list "$work/manifest_rows.tsv"
    printf 'value\t%s\\Graphics\tVersion\t24.10\n' "$packages"
} | plant
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent saveORV gpu "7A11&744C"\n' | run_session

expect_recorded "exit	0"
{
    cat "$work/rows.tsv"
    printf 'kept\tfolder\tC:\\Program Files\\ORV\\PKM\n'
    printf 'kept\tkey\t%s\n' "$packages"
} >"$work/switched_rows.tsv"
expect_all_rows_present "$work/rows.tsv"
expect_gone_exactly "$work/switched_rows.tsv"
expect_only_allowed_changes
expect_log_form
expect_section "-----------Excluding GPU's-------------" <<<7A11-744C
end_case
