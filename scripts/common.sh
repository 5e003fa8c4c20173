# shellcheck shell=bash disable=SC2034  # these variables are used by the scripts that source this file
# common.sh - shared by the scripts of this folder: progress lines, the root folder, the packages. Sourced, never run.

set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# The packages needed to build the program and its tests, to run them on a test machine, and to check the sources.
build_packages=(cmake ninja-build g++-mingw-w64-x86-64-posix libboost-dev googletest wixl msitools librsvg2-bin imagemagick)
bench_packages=(wine wine64 python3 python3-pytest python3-pytest-xdist python3-rich python3-jsonschema xsltproc xvfb gcab)
lint_packages=(clang-format flake8 shellcheck)

say() { printf '== %s\n' "$*"; }

# fail WHAT WHAT_TO_DO - prints both and exits with status 1.
fail() {
    printf 'FAILED: %s\n  What to do: %s\n' "$1" "$2" >&2
    exit 1
}

# install_packages NAME... - installs the Debian packages that are missing, without asking.
install_packages() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "these packages are missing: ${missing[*]}" \
            "install them as root, or install sudo, then try again"
        as_root=(sudo)
    fi
    say "Installing ${missing[*]}"
    local log
    log=$(mktemp)
    if ! { "${as_root[@]}" apt-get update -qq &&
           "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"; } \
           >"$log" 2>&1 </dev/null; then
        tail -n 15 "$log" >&2
        fail "the packages could not be installed: ${missing[*]}" \
            "look at the lines above; the whole output is in $log"
    fi
    rm -f "$log"
}

# bench_python ARGUMENT... - Debian's Python, which has the packages above, even if another Python is first in PATH.
bench_python() { PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 "$@"; }
