#!/usr/bin/env bash
# lint.sh [--quick | FILE...] - checks the sources with clang-format, shellcheck, flake8 and for the direction of includes,
# then builds the executable with Clang and runs clang-tidy over src, or over the named files only. --quick skips the last two.
# Prints nothing if all is clean.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
cd "$root"

quick=
if [ "${1:-}" = --quick ]; then
    quick=yes
    shift
fi
install_packages "${lint_packages[@]}"

files=("$@")
[ ${#files[@]} -gt 0 ] ||
    mapfile -t files < <(git ls-files 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp' 'bench/*.h')
clang-format --dry-run --Werror "${files[@]}" || fail "some files are not formatted" "run clang-format -i on them"
mapfile -t shell_scripts < <(git ls-files '*.sh' .ci/run)
shellcheck -x "${shell_scripts[@]}" || fail "shellcheck found problems" "look at the lines above"
mapfile -t python_files < <(git ls-files '*.py' tools/manifest-lint tools/mutate)
bench_python -m flake8 "${python_files[@]}" || fail "flake8 found problems" "look at the lines above"
bench_python tools/include_direction.py || fail "an include points the wrong way" "look at the lines above"
[ -z "$quick" ] || exit 0

# A second compiler checks the same sources, and clang-tidy takes each file's compile command from that build.
scripts/build.sh clang >/dev/null

install_packages clang-tidy
mapfile -t sources < <(printf '%s\n' "${files[@]}" | grep '^src/.*\.cpp$')
[ ${#sources[@]} -gt 0 ] || exit 0
log=build/clang/tidy.log
printf '%s\0' "${sources[@]}" | xargs -0 -P "$(nproc)" -n 1 clang-tidy -p build/clang --quiet >"$log" 2>&1 || {
    grep -vE '^[0-9]+ warnings?( treated as errors?| generated)|^Suppressed|^Use -header' "$log" >&2
    fail "clang-tidy found problems" "look at the lines above"
}
