#!/usr/bin/env bash
# test.sh - installs what is missing, builds, checks the style of the sources, and runs every test: the unit tests, those of
# the bench and the tools, and the whole-machine runs of the shipped executable. The last line is `N passed, N failed`; the
# status is 0 only if all pass. Takes no arguments and can be repeated at any time; a second run rebuilds nothing.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

[ $# -eq 0 ] || fail "test.sh takes no arguments" \
    "run it without any; for single tests: ctest --preset mingw-debug -R NAME, or /usr/bin/python3 -m pytest -k NAME"

install_packages "${build_packages[@]}" "${bench_packages[@]}" "${lint_packages[@]}"

# If the build or the style check fails, there is nothing to test.
give_up() {
    echo "0 passed, 1 failed"
    exit 1
}
scripts/build.sh release ORVCleanupUtility bench_programs || give_up
scripts/build.sh debug tests || give_up
say "Checking the style of the sources"
scripts/lint.sh --quick || give_up

# Both parts run to the end, so that one call shows everything. Reports of an earlier call must not be taken for this one's.
rm -f build/ctest.xml build/pytest.xml
# A machine spends about half of its time waiting: while it starts and stops, and where a run waits for something.
at_once=$((2 * $(nproc)))
say "Running the unit tests (full output: build/ctest.log)"
ctest_status=0
ctest --preset mingw-debug --parallel "$at_once" --output-junit "$root/build/ctest.xml" >build/ctest.log 2>&1 || ctest_status=$?
grep -aE '^ *[0-9]+ - |tests passed' build/ctest.log || true
say "Running the whole-machine runs and the tests of bench and tools"
pytest_status=0
# With loadgroup and one group per test, processes take one test at a time. Otherwise each is handed a dozen in advance, which
# others could run.
bench_python -m pytest -n "$at_once" --dist loadgroup --junit-xml build/pytest.xml || pytest_status=$?

bench_python scripts/count_tests.py "build/ctest.xml=$ctest_status" "build/pytest.xml=$pytest_status"
