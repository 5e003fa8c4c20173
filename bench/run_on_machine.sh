#!/usr/bin/env bash
# run_on_machine.sh PROGRAM.EXE [ARGUMENT...] - runs one program on a bench machine of its own and deletes the machine.
# The build uses it to start every test program. BENCH_KEEP=1 keeps the machine and says where it is. BENCH_DEVICES=FOLDER
# gives the program the model of device installation whose libraries are in that folder (build/debug/bench).
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
. "$here/machine.sh"
. "$here/device_libraries.sh"

bench=${BENCH_FOLDER:-$here/../build/bench}
mkdir -p "$bench"
bench=$(cd "$bench" && pwd)
(
    flock 9
    machine_template "$bench/template"
) 9>"$bench/template.lock"

machine=$(mktemp -d "$bench/machine-XXXXXX")
rmdir "$machine"
machine_clone "$bench/template" "$machine"
if [ -z "${BENCH_KEEP:-}" ]; then
    trap 'machine_remove "$machine"' EXIT
else
    echo "bench: the machine stays in $machine" >&2
fi

program=$1
shift
mkdir -p "$(machine_drive "$machine")/bench"
# A machine has no drive that leads to the build folder, so the program comes to the machine, with what lies beside it.
beside=(${BENCH_BESIDE:-})
if [ -n "${BENCH_DEVICES:-}" ]; then
    machine_give_devices "$machine" "$BENCH_DEVICES" "${program##*/}"
fi
for file in "$program" "${beside[@]}"; do
    ln "$file" "$(machine_drive "$machine")/bench/" 2>/dev/null || cp "$file" "$(machine_drive "$machine")/bench/"
done
status=0
machine_wine "$machine" "C:\\bench\\${program##*/}" "$@" || status=$?
exit "$status"
