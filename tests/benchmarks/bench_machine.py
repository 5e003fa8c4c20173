"""A test machine for the benchmark: cloned, given programs, measured on, listed and thrown away. The package bench does
the work."""

import contextlib
import ctypes
import os
import resource
import subprocess
import sys
from collections.abc import Iterator
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))

# pylint: disable=wrong-import-position
import bench.machine  # noqa: E402
from bench.facts import facts_of  # noqa: E402
from bench.hives import read_hive  # noqa: E402
from bench.machine import BenchError  # noqa: E402
from bench.planting import plant  # noqa: E402
from bench.session import Build, prepare  # noqa: E402
from bench.snapshot import HIVES  # noqa: E402

RELEASE = ROOT / "build" / "release"
BENCH = ROOT / "build" / "bench"

__all__ = [
    "BENCH",
    "RELEASE",
    "ROOT",
    "BenchError",
    "Machine",
    "Record",
    "Watched",
    "new_machine",
    "on_one_processor",
    "read_record",
]
# The time limit for a measured program.
LIMIT_SECONDS = 900


@dataclass
class Watched:
    """What was observed of a program while it ran."""

    milliseconds: float
    memory_bytes: int = 0
    headings: list[tuple[float, str]] = field(default_factory=list)


@dataclass
class Record:
    """What the stopwatch recorded in one session."""

    times: dict[str, float] = field(default_factory=dict)
    watched: dict[str, Watched] = field(default_factory=dict)
    processor_milliseconds: float = 0.0  # of all programs of the machine, from its start to its end


def adopt_orphans() -> None:
    """Makes this process the parent of every program that its machines leave behind, Wine's server among them, so that
    their processor time is told to it."""
    set_child_subreaper = 36  # PR_SET_CHILD_SUBREAPER
    ctypes.CDLL(None).prctl(set_child_subreaper, 1, 0, 0, 0)


def processor_milliseconds_of_children() -> float:
    """What all programs that were started here, or by these, have taken so far. Waits for those that have not ended."""
    with contextlib.suppress(ChildProcessError):
        while True:
            os.waitpid(-1, 0)
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return 1000 * (usage.ru_utime + usage.ru_stime)


@contextlib.contextmanager
def on_one_processor() -> Iterator[None]:
    """Starts programs on one processor only. Half of what a call takes on Wine is waking its server, which costs several
    times as much on another processor; which one that is, chance decides."""
    before = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {min(before)})
    try:
        yield
    finally:
        os.sched_setaffinity(0, before)


def read_record(path: Path) -> Record:
    """Reads the output of programs/stopwatch.cpp."""
    record = Record()
    for line in path.read_text(encoding="utf-8").splitlines():
        kind, name, *rest = line.split("\t")
        if kind == "time":
            record.times[name] = float(rest[0])
        elif kind == "memory":
            record.watched[name] = Watched(record.times[name], int(rest[0]))
        elif kind == "line":
            record.watched[name].headings.append((float(rest[0]), rest[1]))
    return record


class Machine:
    """One test machine."""

    def __init__(self, folder: Path) -> None:
        self.folder = folder
        self._machine = bench.machine.Machine(folder.resolve())

    @property
    def drive(self) -> Path:
        """The folder that is drive C:."""
        return self._machine.drive

    @property
    def log(self) -> Path:
        """Where the program writes its log."""
        return self._machine.host_path(self.log_on_machine)

    @property
    def log_on_machine(self) -> str:
        """The same file as a Windows path."""
        return facts_of(self._machine).log

    def clone(self, folder: Path) -> "Machine":
        """A copy of this machine."""
        subprocess.run(["cp", "-a", str(self.folder), str(folder)], check=True)
        return Machine(folder)

    def prepare(self, devices: bool = False) -> None:
        """Copies all programs of the benchmark to the machine; with `devices` also the model of device installation."""
        # Ask now, so that no copy is asked while it is measured: the answer is copied along.
        facts_of(self._machine)
        if devices:
            prepare(self._machine, Build())
        programs = [
            RELEASE / "ORVCleanupUtility.exe",
            RELEASE / "bench" / "plant.exe",
            *sorted((RELEASE / "benchmark").glob("*.exe")),
            ROOT / "tests" / "benchmarks" / "script.cmd",
        ]
        for program in programs:
            self._machine.put(program, rf"C:\bench\{program.name}")

    def plant(self, lines: list[str]) -> None:
        """Plants a list (bench/programs/plant.cpp) and waits until the machine has settled."""
        plant(self._machine, [[line] for line in lines])

    def disable(self, program: str) -> None:
        """From now on the machine does not have that program of the system."""
        self._machine.dll_overrides += f";{program}="

    def write_script(self, name: str, text: str) -> None:
        """Writes a script next to the benchmark's programs."""
        (self._machine.bench / name).write_bytes(text.encode("ascii"))

    def measure(self, lines: list[str]) -> Record:
        """Lets the stopwatch carry out a list, waits until the machine has settled and returns the record."""
        (self._machine.bench / "list.tsv").write_text("".join(f"{line}\n" for line in lines), encoding="utf-8")
        paths = [rf"C:\bench\{name}" for name in ("stopwatch.exe", "list.tsv", "record.tsv")]
        adopt_orphans()
        before = processor_milliseconds_of_children()
        self._machine.wine(*paths, timeout=LIMIT_SECONDS, check=True)
        self._machine.settle(LIMIT_SECONDS)
        record = read_record(self._machine.bench / "record.tsv")
        record.processor_milliseconds = processor_milliseconds_of_children() - before
        return record

    def things(self) -> set[str]:
        """Every file, folder, registry key and registry value of the settled machine, except the bench's own."""
        return self._files() | self._registry()

    def _files(self) -> set[str]:
        found = set()
        for folder, folders, files in os.walk(self.drive):
            if folder == str(self.drive):
                folders.remove("bench")
            place = "C:" + folder[len(str(self.drive)) :].replace("/", "\\")
            found.update(f"folder {place}\\{name}" for name in folders)
            found.update(f"file {place}\\{name}" for name in files)
        return found

    def _registry(self) -> set[str]:
        return {
            f"key {key}" if name is None else f"value {key}\\{name}"
            for hive, root in HIVES
            for key, name, _ in read_hive(self.folder / hive, root)
        }

    def remove(self) -> None:
        """Ends everything that still runs on the machine and deletes it."""
        self._machine.remove()


def new_machine(folder: Path) -> Machine:
    """A new machine."""
    return Machine(bench.machine.new_machine(folder).folder)
