# checks.sh - what the whole-machine cases assert. A check that fails says what was expected and what was found, and the
# case goes on, so that one run shows everything. Sourced by machine_case.sh.

# Counted in files: a check that reads standard input from a pipe runs in a shell of its own, whose variables are lost.
check_passed() { echo >>"$work/passed_checks.txt"; }

# check_failed WHAT [FILE] - with the lines of the file that show it.
check_failed() {
    echo "FAILED: $1" | tee -a "$work/failed_checks.txt"
    if [ $# -gt 1 ]; then
        head -n 40 "$2" | sed 's/^/    /'
        [ "$(wc -l <"$2")" -le 40 ] || echo "    ... $(wc -l <"$2") lines in all"
    fi
}

# expect_same WHAT EXPECTED_FILE FOUND_FILE
expect_same() {
    if diff -u --label expected --label found "$2" "$3" >"$work/difference.txt"; then
        check_passed
    else
        check_failed "$1" "$work/difference.txt"
    fi
}

# expect_empty WHAT FILE
expect_empty() {
    if [ -s "$2" ]; then check_failed "$1" "$2"; else check_passed; fi
}

# expect_recorded LINE - the record of the sitting holds this line.
expect_recorded() {
    if grep -qxF -- "$1" "$work/record.tsv"; then
        check_passed
    else
        check_failed "the sitting's record has no line '$1'" "$work/record.tsv"
    fi
}

# expect_marked - the next restart is to delete exactly the paths on standard input.
expect_marked() {
    LC_ALL=C sort >"$work/marked_expected.txt"
    sed -n 's/^pending\t//p' "$work/record.tsv" | LC_ALL=C sort >"$work/marked_found.txt"
    expect_same "what is marked for the next restart" "$work/marked_expected.txt" "$work/marked_found.txt"
}

# expect_gone_exactly ROWS - of all that the machine held, exactly what the rows mean is gone.
expect_gone_exactly() {
    leftovers_expected "$1" "$work/before.tsv" >"$work/gone_expected.tsv"
    snapshot_removed "$work/before.tsv" "$work/after.tsv" >"$work/gone_found.tsv"
    expect_same "what is gone from the machine" "$work/gone_expected.tsv" "$work/gone_found.tsv"
}

# expect_nothing_gone - the machine holds all that it held.
expect_nothing_gone() {
    snapshot_removed "$work/before.tsv" "$work/after.tsv" >"$work/gone_found.tsv"
    expect_empty "nothing was to go from the machine" "$work/gone_found.tsv"
}

# expect_all_rows_present ROWS - the machine held something for every row, so that a row that is passed over shows.
expect_all_rows_present() {
    leftovers_absent "$1" "$work/before.tsv" >"$work/rows_without.txt"
    expect_empty "rows for which nothing was planted" "$work/rows_without.txt"
}

# expect_planted ROWS - the machine held something for every protected row.
expect_planted() {
    sed 's/^kept/listed/' "$1" >"$work/as_listed.tsv"
    expect_all_rows_present "$work/as_listed.tsv"
}

# expect_gone_at_restart - between the run and the restart exactly the things on standard input have gone.
expect_gone_at_restart() {
    LC_ALL=C sort >"$work/gone_expected.tsv"
    snapshot_removed "$work/after.tsv" "$work/after_restart.tsv" >"$work/gone_found.tsv"
    expect_same "what the restart removed" "$work/gone_expected.tsv" "$work/gone_found.tsv"
}

# listed KIND - what the listed rows of a kind name. first_listed KIND - the first of them.
listed() { awk -F'\t' -v kind="$1" '$1 == "listed" && $2 == kind { print $3 }' "$work/manifest_rows.tsv"; }
first_listed() { listed "$1" | sed -n 1p; }

# listed_folders_that_stay - those that the machine still holds after the run, since something in them stays.
listed_folders_that_stay() {
    local folder
    listed folder | while IFS= read -r folder; do
        if grep -qixF -- "folder	$folder		755" "$work/after.tsv"; then printf '%s\n' "$folder"; fi
    done
}

# expect_only_allowed_changes [LINE]... - what has come or has other details is named in allowed_changes.txt, with the reason,
# or in these lines of its form.
expect_only_allowed_changes() {
    { cat "$case_here/allowed_changes.txt"; [ $# -eq 0 ] || printf '%s\n' "$@"; } >"$work/allowed_changes.txt"
    {
        snapshot_added "$work/before.tsv" "$work/after.tsv" | sed 's/^/added\t/'
        snapshot_changed "$work/before.tsv" "$work/after.tsv" | sed 's/^/changed\t/'
    } | awk -F'\t' -f "$case_here/unexplained_changes.awk" "$work/allowed_changes.txt" - >"$work/unexplained.txt"
    expect_empty "changes for which there is no reason" "$work/unexplained.txt"
}

# absent_driver_services - those of the considered driver packages that the machine did not hold. They can't be stopped,
# which the log lists as failed.
absent_driver_services() {
    local service
    leftovers_driver_services "$case_root/src/resources/ScrubList.JSON" | while IFS= read -r service; do
        grep -qiF -- "key	HKEY_LOCAL_MACHINE\\System\\CurrentControlSet\\Services\\$service	" "$work/before.tsv" ||
            printf '%s\n' "$service"
    done
}

# log_messages - the messages of the log, without thread, time and level.
log_messages() { sed -n 's/^Thread Id:[0-9]*\t[^\t]*\t[A-Z]*\t//p' "$work/log.txt"; }

# log_seconds - from the first line of the log to the last.
log_seconds() {
    awk -F'\t' '/^Thread Id:/ { split($2, part, /[-:]/); last = part[4] * 3600 + part[5] * 60 + part[6]
        if (!lines++) first = last } END { print (last - first + 86400) % 86400 }' "$work/log.txt"
}

# log_section HEADER - the messages between a header and the next one. The lines about the clock, which the bench machine does
# not tell in the words of a locale, and about the restart end the last section,
# the first one about the removal of devices that of the spared graphics devices.
log_section() {
    log_messages | HEADER=$1 awk '
        $0 == ENVIRON["HEADER"] { inside = 1; next }
        /^-/ || /^Devices to Uninstall / || /^Call to Get/ || $0 == "Reboot is required to finish cleanup." { inside = 0 }
        inside'
}

# expect_log_form - a line with the process's number, then lines of four parts, each line ended the Windows way. A message
# may go on in lines that are indented by seven tabs.
expect_log_form() {
    [ -s "$log" ] || { check_failed "the log is empty"; return; }
    LC_ALL=C grep -anvP '\r$' "$log" >"$work/bare_ends.txt" || true
    expect_empty "log lines that do not end in a carriage return and a line feed" "$work/bare_ends.txt"
    head -n 1 "$work/log.txt" | LC_ALL=C grep -avP '^Process Id:[0-9]+$' >"$work/odd_lines.txt" || true
    tail -n +2 "$work/log.txt" | LC_ALL=C grep -avP \
        '^(Thread Id:[0-9]+\t[0-9]{4}:[0-9]{2}:[0-9]{2}-[0-9]{2}:[0-9]{2}:[0-9]{2}\t(DEBUG|ERROR)\t|\t{7}).*$' \
        >>"$work/odd_lines.txt" || true
    expect_empty "log lines of another form" "$work/odd_lines.txt"
}

# expect_logged MESSAGE - one message of the log is this text. expect_logged_code TEXT - one is this text with a number and
# a bracket behind it: an error code after a call that has worked is whatever the system has left there.
expect_logged() { expect_some_message "$1" '$0 == text'; }
expect_logged_code() {
    expect_some_message "$1" 'index($0, text) == 1 && substr($0, length(text) + 1) ~ /^-?[0-9]+]$/'
}

expect_some_message() {
    if log_messages | TEXT=$1 awk "BEGIN { text = ENVIRON[\"TEXT\"] } $2 { found = 1 } END { exit !found }"; then
        check_passed
    else
        check_failed "the log does not say '$1'"
    fi
}

# expect_stages FILE - the log's lines of hyphens are those of the file, in its order.
expect_stages() {
    log_messages | grep -a '^-' >"$work/stages.txt" || true
    expect_same "the stages in the log" "$1" "$work/stages.txt"
}

# expect_section HEADER - the section of the log holds exactly the lines on standard input, in any order.
expect_section() {
    LC_ALL=C sort >"$work/section_expected.txt"
    log_section "$1" | LC_ALL=C sort >"$work/section_found.txt"
    expect_same "the log's section '$1'" "$work/section_expected.txt" "$work/section_found.txt"
}

# end_case - exit status 0 only when checks were made and none has failed.
end_case() {
    local passed failed
    case_ended=1
    passed=$(wc -l <"$work/passed_checks.txt")
    failed=$(wc -l <"$work/failed_checks.txt")
    echo "$case_name: $passed checks passed, $failed failed"
    if [ "$failed" -gt 0 ] || [ "$passed" -eq 0 ]; then
        echo "The end of the program's log:"
        tail -n 15 "$work/log.txt" | sed 's/^/    /'
        exit 1
    fi
}
