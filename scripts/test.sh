#!/usr/bin/env bash
# test.sh - installs what is missing, builds, checks the sources' form, runs every test: the unit tests, those of the bench and
# the tools, and the whole-machine runs of the shipped executable. Ends with one line `N passed, N failed` and with status 0
# only when all pass. Takes no arguments; can be run again at once and then rebuilds nothing.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

[ $# -eq 0 ] || fail "test.sh takes no arguments" \
    "start it without; single tests: ctest --preset mingw-debug -R NAME, or /usr/bin/python3 -m pytest -k NAME"

install_packages "${build_packages[@]}" "${bench_packages[@]}" "${lint_packages[@]}"

# Without a build, or with sources that are not in order, there is nothing to test.
give_up() {
    echo "0 passed, 1 failed"
    exit 1
}
scripts/build.sh release ORVCleanupUtility bench_programs || give_up
scripts/build.sh debug tests || give_up
say "Checking the form of the sources"
scripts/lint.sh --quick || give_up

# Both parts are run to their ends, so that one call shows everything. What an earlier call has left would pass for this one's.
rm -f build/ctest.xml build/pytest.xml
# A machine waits about as long as it computes: for its start, its end, and where a run waits for something.
at_once=$((2 * $(nproc)))
say "Running the unit tests (their whole output: build/ctest.log)"
ctest_status=0
ctest --preset mingw-debug --parallel "$at_once" --output-junit "$root/build/ctest.xml" >build/ctest.log 2>&1 || ctest_status=$?
grep -aE '^ *[0-9]+ - |tests passed' build/ctest.log || true
say "Running the whole-machine runs and the tests of bench and tools"
pytest_status=0
# By groups, of which each test is one here: without them a process is handed a dozen tests ahead, which others could run.
bench_python -m pytest -n "$at_once" --dist loadgroup --junit-xml build/pytest.xml || pytest_status=$?

bench_python scripts/count_tests.py "build/ctest.xml=$ctest_status" "build/pytest.xml=$pytest_status"
