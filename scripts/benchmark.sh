#!/usr/bin/env bash
# benchmark.sh [--quick] [--rounds NUMBER] [--only ROW]... - measures the shipped program on test machines, compared with a
# program that only deletes and with a script (tests/benchmarks/measure.py), and prints tables of ratios.
# Takes about an hour, or a few minutes with --quick. Nothing else should run on the host meanwhile.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

install_packages "${build_packages[@]}" "${bench_packages[@]}"
scripts/build.sh release ORVCleanupUtility bench_programs benchmark_programs
bench_python tests/benchmarks/measure.py "$@"
