"""One whole-machine case: a machine of its own, what is planted on it, the run of the shipped program, and what the machine
was before and after."""

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
# What each session tells of the machine at its end.
RECORD_ALL = (("record-processes",), ("record-pending",), ("record-value", *REBOOT_REQUIRED))


@dataclass
class Run:
    """What a run of the program has left behind."""

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
    """A machine takes its own tools instead of the files in their places unless it is told not to."""
    return [("value", r"HKEY_CURRENT_USER\Software\Wine\DllOverrides", program, "native") for program in programs]


def prepared_machine(folder: Path, build: Build) -> Machine:
    """A machine with all that every case has on it, in `folder`: a case's own is a copy."""
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
        """Something for every generic row and every rule of the program, and beside each what only resembles it."""
        self.plant(self.leftover_lines())

    def leftover_lines(self) -> list[Line]:
        return read_lines("program_leftovers.tsv") + lines_with_neighbours(self.manifest_rows)

    def put_waiting_programs(self, images: Iterable[str]) -> list[Line]:
        """Puts a program under each name, and one beside each that is called nearly the same: the lines that start them.

        They lie outside the listed folders: the file of a running program could not be deleted.
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
        """Holds a session with these lines, by default a silent run, between two snapshots."""
        before = self.snapshot()
        record = hold(self.machine, [*(lines or [RUN_SILENT]), *RECORD_ALL])
        return Run(before, self.snapshot(), record, self.log())

    def run_until_restart(self, *lines: Sequence[str]) -> Run:
        """The same with a session whose program restarts the machine: every program of the machine must end then."""
        before = self.snapshot()
        record = hold_until_restart(self.machine, [*lines, *RECORD_ALL])
        return Run(before, self.snapshot(), record, self.log())

    def run_with_user(self, windows: Iterable[Sequence[str]], *lines: Sequence[str]) -> Run:
        """A session: the further lines, then a run by a user who does what the list says (window_driver.cpp)."""
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
        """What the user of the last run has seen, one line an event."""
        return (self.machine.bench / "windows_record.tsv").read_text(encoding="utf-8").splitlines()

    def commands(self, tool: str = "") -> list[str]:
        """The command lines that the recording program got, of all tools or of one, in the order of their coming."""
        return [command for path, command in self.calls() if path.lower().endswith(tool.lower())]

    def calls(self) -> list[list[str]]:
        """The calls of the recording program: from which place, with which command line."""
        file = self.machine.bench / "commands.log"
        lines = file.read_text(encoding="utf-8").splitlines() if file.exists() else []
        return [line.split("\t", 1) for line in lines]

    def record_calls_of(self, *tools: str) -> None:
        """The recording program takes the places of the tools, given below the system folder."""
        places = [rf"C:\windows\system32\{tool}" for tool in tools]
        self.machine.put(self.build.bench_program("recorder"), *places)

    def log(self) -> RunLog:
        return read_log(self.machine.host_path(self.facts.log))

    def restart(self) -> Snapshot:
        """Restarts the machine; what it is afterwards."""
        self.machine.restart()
        return self.snapshot()

    def listed(self, kind: str) -> list[str]:
        """What the manifest's generic rows of a kind name."""
        return texts(self.manifest_rows, kind)

    def listed_folders_that_stay(self, after: Snapshot) -> list[str]:
        """Those that the machine still holds, since something in them stays."""
        return [folder for folder in self.listed("folder") if holds(after, "folder", folder)]

    def absent_driver_services(self, before: Snapshot) -> list[str]:
        """Those of the considered driver packages that the machine did not hold. They cannot be stopped, which the log
        lists as failed."""
        services = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services"
        names = considered_driver_services(self.manifest)
        return [name for name in names if not holds(before, "key", rf"{services}\{name}")]
