"""One whole-machine case: its machine, what is planted on it, the run of the shipped program, and snapshots of the machine
before and after."""

from __future__ import annotations

from collections.abc import Iterable, Sequence
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

from bench.facts import Facts, facts_of
from bench.machine import Machine, new_machine
from bench.planting import Line, lines_with_neighbours, plant, read_lines
from bench.products import Product, install, make_packages
from bench.rows import Manifest, Row, considered_driver_services, generic_rows, load_manifest, read_rows, texts
from bench.run_log import RunLog, read_log
from bench.screen import photographer
from bench.session import REBOOT_REQUIRED, RUN_SILENT, Build, Record, hold, hold_until_restart, prepare
from bench.snapshot import Difference, Snapshot, Thing, difference, holds, take_snapshot

SYSTEM_INFORMATION = r"HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\SystemInformation"
# What each session records at its end.
RECORD_ALL = (("record-processes",), ("record-pending",), ("record-value", *REBOOT_REQUIRED))


@dataclass
class Run:
    """The results of a run of the program."""

    before: Snapshot
    after: Snapshot
    record: Record
    log: RunLog

    @cached_property
    def difference(self) -> Difference:
        return difference(self.before, self.after)

    @property
    def gone(self) -> set[Thing]:
        return self.difference.removed


def use_own(*programs: str) -> list[Line]:
    """Wine uses its built-in tools instead of the files in their places unless it is told not to."""
    return [("value", r"HKEY_CURRENT_USER\Software\Wine\DllOverrides", program, "native") for program in programs]


def prepared_machine(folder: Path, build: Build) -> Machine:
    """A machine in `folder` with everything that every case needs. Each case gets a copy."""
    machine = new_machine(folder)
    facts_of(machine)
    prepare(machine, build)
    plant(machine, read_lines("machine.tsv"))
    return machine


class Case:
    """`machine` is the case's own copy of a prepared one."""

    def __init__(self, machine: Machine, folder: Path, build: Build) -> None:
        self.machine = machine
        self.folder = folder  # for the case's own files
        self.build = build
        self.facts: Facts = facts_of(machine)
        self.manifest: Manifest = load_manifest()
        self.manifest_rows: list[Row] = generic_rows(self.manifest, self.facts)
        # With what the program removes by rules of its own.
        self.rows: list[Row] = self.manifest_rows + read_rows("program_rows.tsv")

    def plant(self, lines: Iterable[Sequence[str]]) -> None:
        plant(self.machine, lines)

    def plant_all_leftovers(self) -> None:
        """Plants something for every generic row and every rule of the program, and next to each something that only
        resembles it."""
        self.plant(self.leftover_lines())

    def leftover_lines(self) -> list[Line]:
        return read_lines("program_leftovers.tsv") + lines_with_neighbours(self.manifest_rows)

    def put_waiting_programs(self, images: Iterable[str]) -> list[Line]:
        """Copies a program under each name and under a similar one, and returns the lines that start them.

        They are outside the listed folders, because the file of a running program cannot be deleted.
        """
        names = [name for image in images for name in (image, f"x{image}")]
        places = [rf"C:\bench\running\{name}" for name in names]
        self.machine.put(self.build.bench_program("waiting_program"), *places)
        return [("start-process", place) for place in places]

    def install(self, products: Sequence[Product], packages: Path | None = None) -> None:
        packages = packages or self.folder / "packages"
        make_packages(products, self.manifest, packages)
        install(self.machine, products, packages)

    def snapshot(self) -> Snapshot:
        return take_snapshot(self.machine)

    def run(self, *lines: Sequence[str]) -> Run:
        """Carries out a session with these lines, by default a silent run, between two snapshots."""
        before = self.snapshot()
        record = hold(self.machine, [*(lines or [RUN_SILENT]), *RECORD_ALL])
        return Run(before, self.snapshot(), record, self.log())

    def run_until_restart(self, *lines: Sequence[str]) -> Run:
        """The same for a session in which the program restarts the machine, which must end every program."""
        before = self.snapshot()
        record = hold_until_restart(self.machine, [*lines, *RECORD_ALL])
        return Run(before, self.snapshot(), record, self.log())

    def run_with_user(self, windows: Iterable[Sequence[str]], *lines: Sequence[str]) -> Run:
        """A session with the given lines and a run by a user who follows the list (window_driver.cpp)."""
        text = "".join("\t".join(line) + "\n" for line in windows)
        (self.machine.bench / "windows.tsv").write_text(text, encoding="utf-8")
        with photographer(self.machine, self.pictures):
            return self.run(
                *lines,
                ("start-driver", r"C:\bench\window_driver.exe"),
                ("run", r"C:\bench\ORVCleanupUtility.exe"),
                ("wait-process", r"C:\bench\window_driver.exe"),
            )

    @property
    def pictures(self) -> Path:
        return self.folder / "pictures"

    def windows_seen(self) -> list[str]:
        """What the user saw during the last run, one line per event."""
        return (self.machine.bench / "windows_record.tsv").read_text(encoding="utf-8").splitlines()

    def commands(self, tool: str = "") -> list[str]:
        """The command lines that the recording program received, for all tools or one, in order."""
        return [command for path, command in self.calls() if path.lower().endswith(tool.lower())]

    def calls(self) -> list[list[str]]:
        """The calls of the recording program: its path and command line."""
        file = self.machine.bench / "commands.log"
        lines = file.read_text(encoding="utf-8").splitlines() if file.exists() else []
        return [line.split("\t", 1) for line in lines]

    def record_calls_of(self, *tools: str) -> None:
        """Replaces these tools, given by their paths below the system folder, with the recording program."""
        places = [rf"C:\windows\system32\{tool}" for tool in tools]
        self.machine.put(self.build.bench_program("recorder"), *places)

    def log(self) -> RunLog:
        return read_log(self.machine.host_path(self.facts.log))

    def restart(self) -> Snapshot:
        """Restarts the machine and returns a snapshot of it."""
        self.machine.restart()
        return self.snapshot()

    def listed(self, kind: str) -> list[str]:
        """What the manifest's generic rows of that kind name."""
        return texts(self.manifest_rows, kind)

    def listed_folders_that_stay(self, after: Snapshot) -> list[str]:
        """Those that still exist, because something in them stays."""
        return [folder for folder in self.listed("folder") if holds(after, "folder", folder)]

    def absent_driver_services(self, before: Snapshot) -> list[str]:
        """Services of the considered driver packages that the machine did not have. They cannot be stopped, so the log lists
        them as failed."""
        services = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services"
        names = considered_driver_services(self.manifest)
        return [name for name in names if not holds(before, "key", rf"{services}\{name}")]
