#!/usr/bin/python3
"""run_on_machine.py PROGRAM.EXE [ARGUMENT...] - runs one program on a machine of its own and deletes the machine.

The build uses it to start every test program. Environment variables: BENCH_KEEP=1 keeps the machine and prints where it is;
BENCH_DEVICES=FOLDER gives the program the model of device installation whose libraries are in that folder; BENCH_BESIDE lists
files that the program needs beside it, separated by blanks; BENCH_TIMEOUT is in seconds.
"""

from __future__ import annotations

import os
import signal
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from bench import BENCH_FOLDER  # noqa: E402 - the path comes first
from bench.machine import BenchError, make_template, new_machine  # noqa: E402
from bench.session import give_devices  # noqa: E402


def main() -> int:
    # If the script is terminated, delete the machine all the same.
    signal.signal(signal.SIGTERM, lambda number, frame: sys.exit(128 + number))
    program = Path(sys.argv[1])
    beside = [Path(file) for file in os.environ.get("BENCH_BESIDE", "").split()]
    make_template()
    folder = Path(tempfile.mkdtemp(prefix="machine-", dir=BENCH_FOLDER))
    folder.rmdir()
    machine = new_machine(folder)
    keep = bool(os.environ.get("BENCH_KEEP"))
    if keep:
        print(f"bench: the machine stays in {machine.folder}", file=sys.stderr)
    try:
        # No drive of the machine leads to the build folder, so the program is copied to the machine, with the files that
        # it needs.
        for file in [program, *beside]:
            machine.put(file, rf"C:\bench\{file.name}")
        if "BENCH_DEVICES" in os.environ:
            give_devices(machine, Path(os.environ["BENCH_DEVICES"]), program.name)
        outcome = machine.wine(
            rf"C:\bench\{program.name}", *sys.argv[2:], timeout=float(os.environ.get("BENCH_TIMEOUT", "240"))
        )
        sys.stdout.write(outcome.output)
        return outcome.status
    except BenchError as failure:
        print(f"bench: {failure}", file=sys.stderr)
        return 124
    finally:
        if not keep:
            machine.remove()


if __name__ == "__main__":
    sys.exit(main())
