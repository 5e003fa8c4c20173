#!/usr/bin/env bash
# lint.sh [--quick | FILE...] - the form of the sources: clang-format, shellcheck, flake8 and the direction of includes, then
# clang-tidy over src, or over the named files alone. --quick leaves clang-tidy out. Prints nothing when clean.
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
shellcheck -x "${shell_scripts[@]}" || fail "shellcheck has found something" "look at the lines above"
mapfile -t python_files < <(git ls-files '*.py' tools/manifest-lint tools/mutate)
bench_python -m flake8 "${python_files[@]}" || fail "flake8 has found something" "look at the lines above"
bench_python tools/include_direction.py || fail "an include points the wrong way" "look at the lines above"
[ -z "$quick" ] || exit 0

install_packages "${build_packages[@]}" clang-tidy
[ -f build/debug/compile_commands.json ] || scripts/build.sh debug orv_app >/dev/null

# clang reads mingw's headers but brings its own for the processor's instructions.
folders=(--extra-arg=--target=x86_64-w64-mingw32)
for folder in /usr/lib/llvm-*/lib/clang/*/include; do
    folders+=("--extra-arg=-isystem$folder")
    break
done
while read -r folder; do
    folders+=("--extra-arg=-isystem$folder")
done < <(x86_64-w64-mingw32-g++-posix -xc++ -E -v /dev/null 2>&1 |
             sed -n '/#include </,/End of search/p' | sed -n 's/^ //p' | grep -v 'gcc/x86_64-w64-mingw32/[^/]*/include$')

mapfile -t sources < <(printf '%s\n' "${files[@]}" | grep '^src/.*\.cpp$')
[ ${#sources[@]} -eq 0 ] ||
    printf '%s\n' "${sources[@]}" |
    xargs -P "$(nproc)" -n 2 clang-tidy -p build/debug --quiet "${folders[@]}" 2>&1 |
    grep -vE 'warnings? generated|^Suppressed|^Use -header' || true
