#!/usr/bin/env bash
# screenshots.sh [languages [LOCALE...]] - takes screenshots of the running program's windows (bench/pictures.py): those in the
# README, or every window in other languages and DPIs for visual inspection. Take the README's on Debian 13: the report shows
# its date only if Wine knows the system's locale.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

install_packages "${build_packages[@]}" "${bench_packages[@]}" fonts-dejavu-core fonts-wqy-microhei fonts-tlwg-loma \
    weasyprint poppler-utils
scripts/build.sh release ORVCleanupUtility bench_programs
bench_python -m bench.pictures "$@"
