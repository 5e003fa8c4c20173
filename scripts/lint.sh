#!/usr/bin/env bash
# lint.sh [FILE...] - clang-format and clang-tidy over the sources, or over the named files. Prints nothing when clean.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${build_packages[@]}" clang-format clang-tidy
cd "$root"
[ -f build/debug/compile_commands.json ] || "$root/scripts/build.sh" debug orv_app >/dev/null

files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(git ls-files 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp' 'bench/*.h')

clang-format --dry-run --Werror "${files[@]}" || fail "some files are not formatted" "run clang-format -i on them"

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
    xargs -P "$(nproc)" -n 4 clang-tidy -p build/debug --quiet "${folders[@]}" 2>&1 |
    grep -vE 'warnings? generated|^Suppressed|^Use -header' || true
