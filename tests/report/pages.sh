#!/usr/bin/env bash
# pages.sh TEST_PROGRAM - what a user sees of a report: both ways of attaching the stylesheet give the same page, a failure
# is red and nothing of a long list is missing. The test program writes the reports on a bench machine. A report of an
# installation, which the same stylesheet serves, is written here.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
. "$root/bench/machine.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# expect WHAT COMMAND... - one line for each failed check.
expect() {
    local what=$1
    shift
    "$@" || { echo "FAILED: $what"; failed=1; }
}

# The runner keeps the machine; this script takes the pages from it and removes it.
status=0
BENCH_KEEP=1 "$root/bench/run_on_machine.sh" "$1" --gtest_filter='RemovalReport.BothVariants*' \
    >"$work/output.txt" 2>&1 || status=$?
machine=$(sed -n 's/^bench: the machine stays in //p' "$work/output.txt")
[ -n "$machine" ] || { cat "$work/output.txt"; exit 1; }
cp -r "$(machine_drive "$machine")/bench/pages" "$work" || status=1
machine_remove "$machine"
[ "$status" -eq 0 ] || { cat "$work/output.txt"; exit 1; }

# page_text FILE - what a person reads of a page, row by row.
page_text() { sed -e 's/<[^>]*>/\n/g' "$1" | grep -v '^[[:space:]]*$'; }

# A report with the stylesheet inside names it itself. The name beside the report differs in case, which Windows ignores.
cd "$work/pages"
expect "the report with its stylesheet inside makes a page" xsltproc --nonet inline/report.xml >inline.html
expect "the report's stylesheet beside it makes a page" \
    xsltproc --nonet external/report.xml.xsl external/report.xml >external.html
expect "the report refers to the file beside it" \
    grep -qi "href=\"$(ls external | grep 'xsl$')\"" external/report.xml
expect "both pages are the same" diff -u inline.html external.html

expect "each of the two failures is told in red" \
    test "$(grep -c '<p style="color:red">Failed</p>' inline.html)" -eq 2
expect "every removed package is a success" test "$(grep -c '>Success</td>' inline.html)" -eq 501
for number in $(seq 0 499); do echo ">Application number $number</td>"; done >"$work/expected.txt"
expect "the long list is whole and in order" diff -u "$work/expected.txt" \
    <(grep -o '>Application number [0-9]*</td>' inline.html)

page_text inline.html | grep -v 'Application number' | uniq >read.txt
expect "the page reads like this" diff -u - read.txt <<'TEXT'
Install Manager
Installation Report
Samstag, 21. März 2026 5:06:07 AM
Existing Application packages
App One
Driver packages which will be removed
Driver One
Uninstalled Application packages
Success
Uninstalled Driver packages
Driver One
Success
Failed Application packages
App One
Failed
Failed Driver packages
Driver Two
Failed
TEXT

# installation ACTION - a report with a package for each outcome of an installation.
installation() {
    echo "<tallyreport><general><time>Today</time><action>$1</action></general><install>"
    local outcome
    for outcome in Succeed Fail DownloadFailed; do
        echo "<package><description>Package $outcome</description><result>$outcome</result>"
        echo "<message>Why $outcome</message><version>1.$outcome</version><size>7</size></package>"
    done
    echo "</install>"
    sed -n '/<resource>/,/<\/resource>/p' external/report.xml
    echo "</tallyreport>"
}

installation install >install.xml
expect "a report of an installation makes a page" xsltproc --nonet external/report.xml.xsl install.xml >install.html
page_text install.html | sed -n '/^Packages for install$/,$p' >read.txt
expect "each package is told with outcome, version and size, and a failed one with the reason" diff -u - read.txt <<'TEXT'
Packages for install
Package Succeed
Final Status:
Success
Version of Item:
1.Succeed
Size:
7 Mbytes
Package Fail
Final Status:
Failed
Error Description
Why Fail
Version of Item:
1.Fail
Size:
7 Mbytes
Package DownloadFailed
Final Status:
Download Failed
Version of Item:
1.DownloadFailed
Size:
7 Mbytes
TEXT
expect "the outcomes of an installation have their colours" diff -u - <(grep -o '<p style="color:[^/]*' install.html) <<'TEXT'
<p style="color:green">Success<
<p style="color:red">Failed<
<p style="color:red">Download Failed<
TEXT

installation uninst >other.xml
expect "a report of a removal shows no packages of an installation" \
    test -z "$(xsltproc --nonet external/report.xml.xsl other.xml | grep 'Package')"
exit "$failed"
