"""A bench machine for the benchmark: cloned, given programs, sat at, listed and thrown away.

What a machine is stands in bench/machine.sh and bench/session.sh, which do the work.
"""

import os
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
RELEASE = ROOT / "build" / "release"
BENCH = ROOT / "build" / "bench"
TEMPLATE = BENCH / "template"

HIVES = {
    "system.reg": "HKEY_LOCAL_MACHINE",
    "user.reg": "HKEY_CURRENT_USER",
    "userdef.reg": r"HKEY_USERS\\.Default",
}


class BenchError(Exception):
    """A machine did not do what it was asked for."""


@dataclass
class Watched:
    """What was seen of a program that was looked at while it ran."""

    milliseconds: float
    memory_bytes: int = 0
    headings: list[tuple[float, str]] = field(default_factory=list)


@dataclass
class Record:
    """What the stopwatch wrote down in one sitting."""

    times: dict[str, float] = field(default_factory=dict)
    watched: dict[str, Watched] = field(default_factory=dict)


def read_record(path: Path) -> Record:
    """Reads what programs/stopwatch.cpp writes."""
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
    """One bench machine, which is a folder."""

    def __init__(self, folder: Path) -> None:
        self.folder = folder

    @property
    def drive(self) -> Path:
        """The folder that is drive C:."""
        return self.folder / "drive_c"

    @property
    def log(self) -> Path:
        """Where the program writes its log."""
        return self.drive / "users" / self._user() / "Temp" / "CleanUp" / "ORVCleanup.log"

    @property
    def log_on_machine(self) -> str:
        """The same file as the machine knows it."""
        return rf"C:\users\{self._user()}\Temp\CleanUp\ORVCleanup.log"

    def _user(self) -> str:
        return next(folder.name for folder in (self.drive / "users").iterdir() if folder.name != "Public")

    def _bash(self, *command: str, timeout_seconds: int = 900) -> None:
        environment = {
            **os.environ,
            "BENCH_PROGRAMS": str(RELEASE / "bench"),
            "BENCH_TIMEOUT": str(timeout_seconds),
        }
        script = '. "$0/bench/machine.sh"; . "$0/bench/session.sh"; "$@"'
        done = subprocess.run(
            ["bash", "-c", script, str(ROOT), *command], env=environment, capture_output=True, text=True, check=False
        )
        if done.returncode != 0:
            raise BenchError(f"{' '.join(command)} ended with {done.returncode}:\n{done.stdout}{done.stderr}")

    def clone(self, folder: Path) -> "Machine":
        """A new machine that is like this one."""
        self._bash("machine_clone", str(self.folder), str(folder))
        return Machine(folder)

    def prepare(self, devices: bool = False) -> None:
        """Brings all programs of the benchmark; with `devices` also the model of device installation."""
        bench = self.drive / "bench"
        bench.mkdir(exist_ok=True)
        programs = [
            RELEASE / "ORVCleanupUtility.exe",
            *sorted((RELEASE / "benchmark").glob("*.exe")),
            ROOT / "tests" / "benchmarks" / "script.cmd",
        ]
        if devices:
            self._bash("session_prepare", str(self.folder), *map(str, programs))
        else:
            for program in [*programs, RELEASE / "bench" / "plant.exe"]:
                (bench / program.name).hardlink_to(program)

    def plant(self, lines: list[str]) -> None:
        """Plants a list (bench/programs/plant.cpp) and waits until the machine has settled."""
        plant_list = self.folder / "plant_list.tsv"
        plant_list.write_text("".join(f"{line}\n" for line in lines), encoding="utf-8")
        self._bash("session_plant", str(self.folder), str(plant_list))

    def sit(self, lines: list[str]) -> Record:
        """Has the stopwatch carry out a list, waits until the machine has settled and returns the record."""
        bench = self.drive / "bench"
        (bench / "list.tsv").write_text("".join(f"{line}\n" for line in lines), encoding="utf-8")
        paths = [rf"C:\bench\{name}" for name in ("stopwatch.exe", "list.tsv", "record.tsv")]
        self._bash("machine_wine", str(self.folder), *paths)
        self._bash("machine_settle", str(self.folder))
        return read_record(bench / "record.tsv")

    def things(self) -> set[str]:
        """Every file, folder, registry key and registry value of the settled machine but those of the bench."""
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
        found = set()
        for hive, root in HIVES.items():
            command = ["awk", "-v", f"root={root}", "-f", str(ROOT / "bench" / "registry_lines.awk")]
            lines = subprocess.run([*command, str(self.folder / hive)], capture_output=True, check=True).stdout
            for line in lines.decode("utf-8", "replace").splitlines():
                kind, key, name, *_ = line.split("\t")
                found.add(f"{kind} {key}\\{name}" if kind == "value" else f"{kind} {key}")
        return found

    def remove(self) -> None:
        """Ends what still runs on the machine and deletes it."""
        self._bash("machine_remove", str(self.folder))
