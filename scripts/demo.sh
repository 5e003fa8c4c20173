#!/usr/bin/env bash
# demo.sh - shows the program at work: it fills a machine with the maker's products, devices and leftovers, and with things
# that only look like them, runs the shipped executable once, and prints what was removed, what stayed, what failed and why.
# Installs and builds what is missing. Takes no arguments and can be repeated at any time.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

[ $# -eq 0 ] || fail "demo.sh takes no arguments" "run it without any"

install_packages "${build_packages[@]}" "${bench_packages[@]}"
bench_python -m bench.demo || fail "the run did not do what was expected" "look at the lines above, and at build/bench/demo"
