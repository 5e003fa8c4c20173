#!/usr/bin/env bash
# build.sh [release|debug|clang] [TARGET...] - cross-builds the program into build/release, build/debug or build/clang.
# Without a TARGET it builds the executable only. The clang build is never shipped: a second compiler finds other faults.
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"

configuration=${1:-release}
[ $# -gt 0 ] && shift
case $configuration in
    release | debug) ;;
    clang) build_packages+=(clang) ;;
    *) fail "unknown configuration '$configuration'" "use release, debug or clang" ;;
esac
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(ORVCleanupUtility)

install_packages "${build_packages[@]}"

cd "$root"
mkdir -p "build/$configuration"
log=build/$configuration/build.log
# The build reconfigures itself when a CMake file changes, but does not notice changes to the presets.
if [ ! -f "build/$configuration/build.ninja" ] || [ CMakePresets.json -nt "build/$configuration/build.ninja" ]; then
    say "Configuring build/$configuration"
    cmake --preset "mingw-$configuration" >"$log" 2>&1 || {
        tail -n 30 "$log" >&2
        fail "CMake could not configure the build" "look at the lines above; the whole output is in $log"
    }
fi
say "Building ${targets[*]} ($configuration)"
cmake --build --preset "mingw-$configuration" --target "${targets[@]}" >"$log" 2>&1 || {
    grep -E 'error|FAILED|undefined' "$log" | head -n 30 >&2
    fail "the build failed" "look at the errors above; the whole output is in $log"
}
if [ "${targets[0]}" = ORVCleanupUtility ]; then
    say "Built build/$configuration/ORVCleanupUtility.exe"
fi
