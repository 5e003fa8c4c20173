# demo_screen.sh - the closing screen of the demo: what went, by kind, what stayed, what failed and why, and the log.
# Sourced after snapshot.sh, leftovers.sh, products.sh and demo_devices.sh. A new kind of thing is a new line of demo_table.
#
#   demo_screen FOLDER LOG     FOLDER holds rows.tsv, expected_rows.tsv, the snapshots bare, with_products, with_devices,
#                              before and after, record.tsv and repaired.tsv. Status 0 only when all went that should, and
#                              nothing else, and the products that stay still work.

demo_screen() {
    local folder=$1 log=$2 devices=right
    # What the maker's products have brought goes with them, whether a row lists it or not, and is counted as products.
    snapshot_added "$folder/bare.tsv" "$folder/with_products.tsv" | cut -f1-3 | LC_ALL=C sort >"$folder/of_products.tsv"
    demo_devices_expected "$folder"
    leftovers_expected "$folder/rows.tsv" "$folder/before.tsv" |
        LC_ALL=C comm -23 - "$folder/of_products.tsv" >"$folder/listed.tsv"
    leftovers_expected "$folder/expected_rows.tsv" "$folder/before.tsv" |
        LC_ALL=C sort -u - "$folder/of_products.tsv" "$folder/devices_gone.tsv" >"$folder/gone_expected.tsv"
    snapshot_removed "$folder/before.tsv" "$folder/after.tsv" >"$folder/gone_found.tsv"
    LC_ALL=C sort -u "$folder/of_products.tsv" "$folder/devices_gone.tsv" |
        LC_ALL=C comm -23 "$folder/gone_found.tsv" - >"$folder/gone_leftovers.tsv"
    tr -d '\r' <"$log" | sed 's/^Thread Id:[0-9]*\t//' >"$folder/log.txt"
    cut -f3- "$folder/log.txt" >"$folder/messages.txt"

    demo_table "$folder"
    demo_products "$folder"
    demo_devices "$folder" || devices=differ
    demo_around "$folder/messages.txt"
    demo_survivors "$folder"
    demo_failures "$folder"
    printf '\nThe log: %s (%s lines), its end:\n' "$log" "$(wc -l <"$folder/log.txt")"
    tail -n 3 "$folder/log.txt" | cut -c1-118 | sed 's/^/    /'
    cmp -s "$folder/gone_expected.tsv" "$folder/gone_found.tsv" &&
        cmp -s <(products_of others | cut -f3 | sed 's/$/\tworks/') "$folder/repaired.tsv" && [ "$devices" = right ]
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
        gone=$(demo_kind "$1/gone_leftovers.tsv" | grep -c "^$kind$" || true)
        printf '  %-18s %8s %8s\n' "$kind" "$listed" "$gone"
    done
}

# Each installed product by name. How one went stands in the log: a package that failed in the first pass has a line, and
# so has a product that was removed by force.
demo_products() {
    local code package name maker place behind removal way ways=('first pass' 'retry' 'by force' 'not removed')
    products_present "$1/after.tsv" >"$1/products_after.txt"
    while IFS=$'\t' read -r code package name maker place behind removal; do
        if grep -qxF "$name" "$1/products_after.txt"; then way='not removed'
        elif grep -qxF "Force removing $name." "$1/messages.txt"; then way='by force'
        elif grep -qF "Failed to uninstall	:	$behind	:" "$1/messages.txt"; then way='retry'
        else way='first pass'; fi
        printf '%s\t%s\n' "$way" "$name"
    done < <(products_of maker) >"$1/products_gone.tsv"

    printf '\nInstalled products\n'
    for way in "${ways[@]}"; do
        demo_names "$way" "$(sed -n "s/^$way\t//p" "$1/products_gone.tsv")" ''
    done
    demo_names 'kept, works' "$(sed -n 's/\tworks$//p' "$1/repaired.tsv")" ' (repaired from the installer'\''s copy)'
    demo_names 'kept, broken' "$(sed -n 's/\tbroken$//p' "$1/repaired.tsv")" ''
}

# demo_names LABEL NAMES REMARK - one line for the names, if there are any.
demo_names() {
    [ -z "$2" ] || printf '  %-18s %s%s\n' "$1" "$(paste -sd, <<<"$2" | sed 's/,/, /g')" "$3"
}

# demo_around MESSAGES - what stands around the removal, as the log tells it.
demo_around() {
    local launched ended
    launched=$(grep -c '^handlePKMTrackerBinaries -- launch process ' "$1" || true)
    ended=$(sed -n '/^handlePKMTrackerBinaries/,/^-/s/.* completed with exit code //p' "$1")
    printf '\nAround the removal\n'
    printf '  %-18s %s commands: %s ended, %s outlived its time, %s not there\n' 'Install manager' "$launched" \
        "$(grep -cvx -e 259 -e '' <<<"$ended" || true)" "$(grep -cx 259 <<<"$ended" || true)" \
        $((launched - $(grep -c . <<<"$ended" || true)))
    printf '  %-18s %s gone, spared: %s\n' 'Old installers' "$(grep -c '^Deleting directory: ' "$1" || true)" \
        "$(sed -n 's/^Excluding //p' "$1" | sort -u | paste -sd' ')"
    printf '  %-18s gone: %s\n' 'Update cache' "$(sed -n 's/^Found an ORV driver in the Windows Update Cache: //p' "$1" | paste -sd' ')"
}

# Things count as untouched when they are there with the same details: content, mode, data.
demo_survivors() {
    local protected neighbours rest
    sed -n 's/^kept/listed/p' "$1/rows.tsv" >"$1/protected_rows.tsv"
    leftovers_expected "$1/protected_rows.tsv" "$1/before.tsv" >"$1/protected.tsv"
    snapshot_added "$1/with_devices.tsv" "$1/before.tsv" | LC_ALL=C sort >"$1/planted.tsv"
    awk -F'\t' 'FILENAME == ARGV[1] || FILENAME == ARGV[2] { goes[$0]; next } FILENAME == ARGV[3] { shielded[$0]; next }
        { thing = $1 FS $2 FS $3 }
        !(thing in goes) && !(thing in shielded)' "$1/listed.tsv" "$1/of_products.tsv" "$1/protected.tsv" \
        "$1/planted.tsv" >"$1/neighbours.tsv"
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

# What is still there is told by name. What the lists name and the machine did not hold, or no more when its turn came,
# counts as failed too; of that only the numbers are told.
demo_failures() {
    local path absent
    printf '\nWhat could not be removed at once\n'
    # The line about the restart ends the last section of the log.
    {
        awk '/^-+Failed / { header = $0; gsub(/-+/, "", header); sub(/ +$/, "", header); next }
            /^-/ || /^Call to Get/ || /^Reboot is required/ { header = "" }
            header != "" { print header "\t" $0 }' "$1/messages.txt"
        sed -n 's/^pending\t//p' "$1/record.tsv" | while IFS= read -r path; do
            if grep -qF "Mark File[$path]" "$1/messages.txt"; then
                printf 'In use, goes at the next restart\t%s\n' "$path"
            else
                printf 'Not empty, marked for the restart\t%s\n' "$path"
            fi
        done
    } >"$1/failures.tsv"
    demo_failures_there "$1/failures.tsv" "$1/after.tsv" there=1
    absent=$(demo_failures_there "$1/failures.tsv" "$1/after.tsv" there=0 | sed 's/:.*//
        s/.*Services/services/; s/.*Files/files/; s/.*Directories/folders/; s/^  Not empty.*/folders/
        s/.*Registry Keys/registry keys/; s/.*Registry Values/registry values/' | sort | uniq -c)
    [ -z "$absent" ] || printf '  Listed, but not there: %s\n' "$(sed 's/^ *//' <<<"$absent" | paste -sd, | sed 's/,/, /g')"
    sed -n 's/^value\t.*\tRebootRequired\t/  Left for other programs: RebootRequired = /p' "$1/record.tsv"
}

# demo_failures_there FAILURES SNAPSHOT there=1|0 - the failures whose thing the snapshot holds, or those whose it does not.
# Processes and packages are no part of a snapshot and count as there.
demo_failures_there() {
    awk -F'\t' -v "$3" '
        FILENAME == ARGV[1] {
            place = tolower($2)
            found[place]
            found[place "\\" tolower($3)]
            if (place ~ /\\services\\[^\\]+$/) { sub(/.*\\/, "", place); found[place] }
            next
        }
        {
            place = tolower($2)
            sub(/^hkey_classes_root/, "hkey_local_machine\\software\\classes", place)
            sub(/^hkey_users\\s-1-5-21-0-0-0-1000/, "hkey_current_user", place)
            is = place in found || $1 ~ /Processes|Drivers|Tasks/
            if (is == there) print "  " $1 ": " $2
        }' "$2" "$1"
}
