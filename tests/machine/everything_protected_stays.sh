#!/usr/bin/env bash
# A machine on which all that is there of the maker's is protected: by the manifest's exclusion rows, by `saveORV` the
# install manager's folder, by `gpu` the key of the installed packages. All of it stays.
. "$(dirname "${BASH_SOURCE[0]}")/machine_case.sh"

start_case
grep -a '^kept' "$work/manifest_rows.tsv" >"$work/protected_rows.tsv"
cat >>"$work/protected_rows.tsv" <<'ROWS'
kept	folder	C:\Program Files\ORV\PKM
kept	key	HKEY_LOCAL_MACHINE\SOFTWARE\KTL Systems\Install\Packages
ROWS
leftovers_plant_list_alone "$work/protected_rows.tsv" | plant
printf 'run\tC:\\bench\\ORVCleanupUtility.exe silent saveORV gpu "7A11&744C"@"7A11&164E"\n' | run_session

expect_recorded "exit	0"
expect_planted "$work/protected_rows.tsv"
expect_nothing_gone
expect_only_allowed_changes
restart
expect_gone_at_restart <<'GONE'
value	HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager	PendingFileRenameOperations
GONE

expect_log_form
expect_section "-----------Excluding GPU's-------------" <<'PAIRS'
7A11-744C
7A11-164E
PAIRS
end_case
