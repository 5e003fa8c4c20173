#!/usr/bin/env bash
# benchmark.sh [--quick] [--rounds NUMBER] [--only ROW]... - measures the shipped program on bench machines, beside a
# program that does nothing but the removing and beside a script (tests/benchmarks/measure.py): tables of ratios.
# Takes about an hour, --quick some minutes. Nothing else should run on the host meanwhile.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

install_packages "${build_packages[@]}" "${bench_packages[@]}"
scripts/build.sh release ORVCleanupUtility bench_programs benchmark_programs
bench_python tests/benchmarks/measure.py "$@"
