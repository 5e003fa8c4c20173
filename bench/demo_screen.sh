# demo_screen.sh - the closing screen of the demo: what went, by kind, what stayed, what failed and why, and the log.
# Sourced after snapshot.sh and leftovers.sh. A new kind of thing is a new line of demo_table.
#
#   demo_screen FOLDER LOG     FOLDER holds rows.tsv, expected_rows.tsv, the snapshots bare, before and after, and
#                              record.tsv. Status 0 only when all went that should, and nothing else.

demo_screen() {
    local folder=$1 log=$2
    leftovers_expected "$folder/rows.tsv" "$folder/before.tsv" >"$folder/listed.tsv"
    leftovers_expected "$folder/expected_rows.tsv" "$folder/before.tsv" >"$folder/gone_expected.tsv"
    snapshot_removed "$folder/before.tsv" "$folder/after.tsv" >"$folder/gone_found.tsv"
    tr -d '\r' <"$log" | sed 's/^Thread Id:[0-9]*\t//' >"$folder/log.txt"

    demo_table "$folder"
    demo_survivors "$folder"
    demo_failures "$folder"
    printf '\nThe log: %s (%s lines), its end:\n' "$log" "$(wc -l <"$folder/log.txt")"
    tail -n 4 "$folder/log.txt" | cut -c1-118 | sed 's/^/    /'
    cmp -s "$folder/gone_expected.tsv" "$folder/gone_found.tsv"
}

# demo_kind FILE - each thing of a list with the kind that a person would call it.
demo_kind() {
    awk -F'\t' -v programs="${leftovers_programs//\\/\\\\}" '
        { place = tolower($2) }
        index(place, "c:\\windows\\system32\\tasks\\") == 1 { print "Scheduled tasks"; next }
        index(place, tolower(programs)) == 1 && place ~ /\.lnk$/ { print "Shortcuts"; next }
        place ~ /^hkey_local_machine\\system\\currentcontrolset\\services\\[^\\]+$/ && $1 == "key" { print "Services"; next }
        place ~ /^hkey_local_machine\\system\\currentcontrolset\\services\\[^\\]+$/ { next }
        $1 == "file" { print "Files" }
        $1 == "link" { print "Files" }
        $1 == "folder" { print "Directories" }
        $1 == "value" { print "Registry values" }
        $1 == "key" { print "Registry keys" }' "$1"
}

demo_table() {
    local kind listed gone
    printf '\n%-20s %8s %8s\n' 'What went' 'listed' 'gone'
    listed=$(leftovers_image_names "$1/rows.tsv" | wc -l)
    gone=$(grep -c '^process.*ended$' "$1/record.tsv" || true)
    printf '  %-18s %8s %8s\n' Processes "$listed" "$gone"
    for kind in 'Scheduled tasks' Services Shortcuts Files Directories 'Registry values' 'Registry keys'; do
        listed=$(demo_kind "$1/listed.tsv" | grep -c "^$kind$" || true)
        gone=$(demo_kind "$1/gone_found.tsv" | grep -c "^$kind$" || true)
        printf '  %-18s %8s %8s\n' "$kind" "$listed" "$gone"
    done
}

# Things count as untouched when they are there with the same details: content, mode, data.
demo_survivors() {
    local protected neighbours rest
    sed -n 's/^kept/listed/p' "$1/rows.tsv" >"$1/protected_rows.tsv"
    leftovers_expected "$1/protected_rows.tsv" "$1/before.tsv" >"$1/protected.tsv"
    snapshot_added "$1/bare.tsv" "$1/before.tsv" | LC_ALL=C sort >"$1/planted.tsv"
    awk -F'\t' 'FILENAME == ARGV[1] { listed[$0]; next } FILENAME == ARGV[2] { shielded[$0]; next }
        { thing = $1 FS $2 FS $3 }
        !(thing in listed) && !(thing in shielded)' "$1/listed.tsv" "$1/protected.tsv" "$1/planted.tsv" >"$1/neighbours.tsv"
    awk -F'\t' 'FILENAME == ARGV[1] { shielded[$0]; next } ($1 FS $2 FS $3) in shielded' \
        "$1/protected.tsv" "$1/before.tsv" >"$1/shielded.tsv"

    printf '\n%-20s %8s %10s\n' 'What stayed' 'there' 'untouched'
    protected=$(wc -l <"$1/shielded.tsv")
    neighbours=$(wc -l <"$1/neighbours.tsv")
    rest=$(wc -l <"$1/bare.tsv")
    printf '  %-18s %8s %10s   what the manifest protects\n' Protected "$protected" "$(demo_untouched "$1/shielded.tsv" "$1")"
    printf '  %-18s %8s %10s   same place, nearly the same name, on no list\n' Neighbours "$neighbours" \
        "$(demo_untouched "$1/neighbours.tsv" "$1")"
    printf '  %-18s %8s %10s\n' 'Programs beside' "$(grep -c '^process.*\\x' "$1/record.tsv" || true)" \
        "$(grep -c '^process.*\\x.*running$' "$1/record.tsv" || true)"
    printf '  %-18s %8s %10s   files, folders, keys and values of Windows itself\n' 'The machine' "$rest" \
        "$(demo_untouched "$1/bare.tsv" "$1")"
}

demo_untouched() { LC_ALL=C comm -12 <(LC_ALL=C sort "$1") "$2/after.tsv" | wc -l; }

demo_failures() {
    local path
    printf '\nWhat could not be removed at once\n'
    # A section of the log without rows says nothing; the line about the restart ends the last one.
    cut -f3- "$1/log.txt" | awk '
        /^-+Failed / { header = $0; gsub(/-+/, "", header); sub(/ +$/, "", header); next }
        /^-/ || /^Reboot is required/ { header = "" }
        header != "" { print "  " header ": " $0 }'
    sed -n 's/^pending\t//p' "$1/record.tsv" | while IFS= read -r path; do
        if grep -qF "Mark File[$path]" "$1/log.txt"; then
            printf '  In use, goes at the next restart: %s\n' "$path"
        else
            printf '  Not empty, marked for the restart: %s\n' "$path"
        fi
    done
    sed -n 's/^value\t.*\tRebootRequired\t/  Left for other programs: RebootRequired = /p' "$1/record.tsv"
}
