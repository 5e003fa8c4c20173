"""The demo: fills a machine with the maker's products, devices and leftovers, and with things that only look like them; runs
the shipped program once as a user would; and prints what was removed, what stayed, what failed and why.

Shows progress and colours on a terminal; prints plain lines elsewhere or with NO_COLOR.
"""

from __future__ import annotations

import shutil
import subprocess
import sys
import time
from collections.abc import Callable, Iterable, Iterator
from contextlib import contextmanager
from dataclasses import dataclass, field
from pathlib import Path

from rich.console import Console
from rich.progress import BarColumn, Progress, SpinnerColumn, TaskProgressColumn, TextColumn, TimeElapsedColumn

from bench import BENCH_FOLDER, MANIFEST, ROOT
from bench.demo_report import show
from bench.device_outcomes import consequences, read_outcomes
from bench.expectation import expected_gone
from bench.facts import Facts, facts_of
from bench.machine import BenchError, Machine, make_template, new_machine
from bench.planting import lines_with_neighbours, plant, read_lines
from bench.products import Product, install, make_packages, makers, others, read_products, repair
from bench.repeating import repeating
from bench.rows import Row, generic_rows, load_manifest, read_rows, texts
from bench.run_log import RunLog, read_log
from bench.screen import connect, crop, photographer, screen
from bench.session import REBOOT_REQUIRED, Build, Record, hold, prepare
from bench.snapshot import Snapshot, Thing, difference, take_snapshot
from bench.surroundings import give_expand, put_surroundings, surrounding_lines, surrounding_rows

FOLDER = BENCH_FOLDER / "demo"
HELD_FILE = r"C:\Program Files\ORV\HLX\held open.dll"
REFUSING_KEY = r"HKEY_LOCAL_MACHINE\SOFTWARE\ORV\HLX"


@dataclass
class Demo:
    """What the demo found, for the summary at its end."""

    facts: Facts
    products: list[Product]
    rows: list[Row]
    bare: Snapshot  # the machine with other makers' products only
    of_products: set[Thing]  # what the maker's products installed; removed with them, whether a row lists it or not
    planted: Snapshot  # planted in addition to products and devices
    before: Snapshot
    after: Snapshot
    record: Record
    log: RunLog
    repaired: dict[str, bool]  # whether each kept product still works
    of_devices: set[Thing] = field(init=False)  # expected to be removed with devices and packages
    of_rows: set[Thing] = field(init=False)  # expected to be removed because of rows

    def __post_init__(self) -> None:
        self.of_devices = consequences(read_outcomes("silent"), self.before).gone
        self.of_rows = expected_gone(self.rows, self.before, self.facts) - self.of_products

    @property
    def gone(self) -> set[Thing]:
        return difference(self.before, self.after).removed

    @property
    def expected_gone(self) -> set[Thing]:
        resisting = [Row("kept", "file", HELD_FILE), Row("kept", "key", REFUSING_KEY)]
        return expected_gone(self.rows + resisting, self.before, self.facts) | self.of_products | self.of_devices


class Stages:
    """Shows the demo's progress: a live display on a terminal, otherwise one line per stage."""

    def __init__(self, console: Console) -> None:
        self._console = console
        self._progress: Progress | None = None
        if console.is_terminal and not console.no_color:
            self._progress = Progress(
                SpinnerColumn(finished_text="[green]✓"),
                TextColumn("{task.description}"),
                BarColumn(bar_width=24),
                TaskProgressColumn(),
                TimeElapsedColumn(),
                TextColumn("[dim]{task.fields[detail]}"),
                console=console,
            )

    @contextmanager
    def all(self) -> Iterator[None]:
        if self._progress is None:
            yield
        else:
            with self._progress:
                yield

    @contextmanager
    def stage(self, text: str) -> Iterator[Callable[[float | None, str], None]]:
        """One stage. Yields a function that reports its progress (0 to 1, or None if unknown) and a detail."""
        if self._progress is None:
            self._console.print(f"== {text}", highlight=False)
            yield lambda share, detail: None
            return
        progress = self._progress
        task = progress.add_task(text, total=None, detail="")

        def advance(share: float | None, detail: str) -> None:
            progress.update(task, total=None if share is None else 1, completed=share or 0, detail=detail)

        yield advance
        progress.update(task, total=1, completed=1, detail="")


def main() -> int:
    console = Console(highlight=False)
    stages = Stages(console)
    started = time.monotonic()
    try:
        with stages.all():
            demo = perform(stages)
    except (BenchError, subprocess.CalledProcessError) as failure:
        console.print(f"FAILED: {failure}", markup=False)
        return 1
    right = show(demo, console, FOLDER)
    console.print(f"\nThe demo took {time.monotonic() - started:.0f} seconds.")
    return 0 if right else 1


def perform(stages: Stages) -> Demo:
    build = Build()
    with stages.stage("Building the program and the bench") as advance:
        build_programs(advance)
    with stages.stage("Making a Windows machine"):
        make_template()
        machine = fresh_machine()
    facts = facts_of(machine)
    manifest = load_manifest(MANIFEST)
    products = read_products()
    with stages.stage("Installing products") as advance:
        prepare(machine, build)
        make_packages(products, manifest, FOLDER / "packages")
        install(machine, others(products), FOLDER / "packages")
        plant(machine, read_lines("machine.tsv"))
        give_expand(machine, build)
        bare = take_snapshot(machine)
        advance(0.5, "the maker's")
        install(machine, makers(products), FOLDER / "packages")
        with_products = take_snapshot(machine)
    with stages.stage("Planting devices, leftovers and their neighbours") as advance:
        plant(machine, read_lines("devices.tsv"))
        with_devices = take_snapshot(machine)
        advance(0.4, "leftovers")
        leftovers = generic_rows(manifest, facts)
        lines = read_lines("program_leftovers.tsv") + lines_with_neighbours(leftovers) + surrounding_lines()
        plant(machine, [*lines, ("file", HELD_FILE)])
        put_surroundings(machine, build)
        rows = leftovers + read_rows("program_rows.tsv") + surrounding_rows()
        images = [name for image in texts(rows, "process") for name in (image, f"x{image}")]
        machine.put(build.bench_program("waiting_program"), *(rf"C:\bench\running\{name}" for name in images))
    with stages.stage("Running ORVCleanupUtility.exe") as advance, screen() as display:
        connect(machine, display)
        before = take_snapshot(machine)
        record = run_with_user(machine, facts, images, advance)
    with stages.stage("Looking at what is left"):
        after = take_snapshot(machine)
        log = read_log(machine.host_path(facts.log))
        repaired = repair(machine, others(products))
        keep_results(machine, facts)
    return Demo(
        facts=facts,
        products=products,
        rows=rows,
        bare=bare,
        of_products=set(difference(bare, with_products).added),
        planted=difference(with_devices, before).added,
        before=before,
        after=after,
        record=record,
        log=log,
        repaired=repaired,
    )


def build_programs(advance: Callable[[float | None, str], None]) -> None:
    """Runs scripts/build.sh and reports progress from the steps in its log."""
    log = ROOT / "build" / "release" / "build.log"
    command = [str(ROOT / "scripts" / "build.sh"), "release", "ORVCleanupUtility", "bench_programs"]
    with following(log, lambda text: advance(*_build_share(text))):
        built = subprocess.run(command, capture_output=True, text=True, check=False)
    if built.returncode != 0:
        raise BenchError(f"the build failed\n{built.stdout}{built.stderr}")


def fresh_machine() -> Machine:
    if FOLDER.exists():
        Machine((FOLDER / "machine").resolve()).remove()
        shutil.rmtree(FOLDER)
    FOLDER.mkdir(parents=True)
    return new_machine(FOLDER / "machine")


def run_with_user(
    machine: Machine, facts: Facts, images: Iterable[str], advance: Callable[[float | None, str], None]
) -> Record:
    """A run by a user who declines safe mode, consents, and presses Finish in the finish dialog."""
    windows = "".join("\t".join(line) + "\n" for line in read_lines("windows_outcome.tsv"))
    (machine.bench / "windows.tsv").write_text(windows, encoding="utf-8")
    lines = [("start-process", rf"C:\bench\running\{name}") for name in images]
    lines += [("hold-file", HELD_FILE), ("refuse-delete", REFUSING_KEY)]
    lines += [("start-driver", r"C:\bench\window_driver.exe"), ("run", r"C:\bench\ORVCleanupUtility.exe")]
    lines += [("wait-process", r"C:\bench\window_driver.exe"), ("record-processes",), ("record-pending",)]
    lines += [("record-value", *REBOOT_REQUIRED)]
    log = machine.host_path(facts.work_folder) / "ORVCleanup.log"
    with photographer(machine, FOLDER / "pictures"), following(log, lambda text: advance(None, _stage_of(text))):
        return hold(machine, lines)


def keep_results(machine: Machine, facts: Facts) -> None:
    for file in (facts.log, facts.report):
        path = machine.host_path(file)
        shutil.copy(path, FOLDER / path.name)
    crop(FOLDER / "pictures", "outcome", FOLDER / "finish_dialog.png")


@contextmanager
def following(file: Path, tell: Callable[[str], None]) -> Iterator[None]:
    """Calls `tell` several times a second with the end of a file that is being written."""

    def look() -> None:
        if file.exists():
            tell(file.read_bytes()[-20_000:].decode("utf-8", "replace"))

    with repeating(0.2, look):
        yield


def _build_share(text: str) -> tuple[float | None, str]:
    last = text.rpartition("[")[2].partition("]")[0]
    finished, _, of = last.partition("/")
    if not (finished.isdigit() and of.isdigit()):
        return None, ""
    return int(finished) / max(int(of), 1), f"step {finished} of {of}"


def _stage_of(text: str) -> str:
    """The stage named in the last line of hyphens of a log."""
    stages = [line.rpartition("\t")[2].strip("-\r ") for line in text.splitlines() if "\t-" in line]
    return stages[-1] if stages else ""


if __name__ == "__main__":
    sys.exit(main())
