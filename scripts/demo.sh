#!/usr/bin/env bash
# demo.sh - shows the program at work: a machine full of the maker's installed products, devices, leftovers and of things that
# only look like them, one run of the shipped executable, and on one screen what went, what stayed, what failed and why.
# Installs and builds what is missing. Takes no arguments; can be run again at once.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

[ $# -eq 0 ] || fail "demo.sh takes no arguments" "start it without"

install_packages "${build_packages[@]}" "${bench_packages[@]}"
bench_python -m bench.demo || fail "the run did not do what it should" "look at the lines above, and at build/bench/demo"
