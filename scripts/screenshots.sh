#!/usr/bin/env bash
# screenshots.sh [languages [LOCALE...]] - takes pictures of the running program's windows (bench/pictures.py): those of the
# README, or every window in other languages and DPIs, to be looked at. The README's are taken on Debian 13: the report has its
# date only where Wine knows the system's locale.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

install_packages "${build_packages[@]}" "${bench_packages[@]}" fonts-dejavu-core fonts-wqy-microhei fonts-tlwg-loma \
    weasyprint poppler-utils
scripts/build.sh release ORVCleanupUtility bench_programs
bench_python -m bench.pictures "$@"
