#!/usr/bin/env bash
# test.sh - installs what is missing, builds, runs every test: the unit tests and the whole-machine runs of the shipped
# executable. Exit status 0 only when all pass. Takes no arguments; can be run again at once and then rebuilds nothing.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

[ $# -eq 0 ] || fail "test.sh takes no arguments" "start it without; single tests: ctest --preset mingw-debug -R NAME"

install_packages "${build_packages[@]}" "${bench_packages[@]}"
scripts/build.sh release ORVCleanupUtility bench_programs
scripts/build.sh debug tests
make_bench_template

say "Running the tests (their whole output: build/test.log)"
status=0
ctest --preset mingw-debug 2>&1 | tee build/test.log || status=$?
if [ "$status" -ne 0 ]; then
    fail "not every test passed" "the list above names them; one alone, with its output: ctest --preset mingw-debug -R NAME"
fi
say "All tests passed"
