#!/usr/bin/env python3
"""Measures the shipped program on test machines, compared with its floor and with a script.

    measure.py [--quick] [--only NAME]... [--rounds NUMBER]

All columns of a row are measured in turn, round by round, each on its own copy of the same machine, so that noise affects all
of them alike. The best round counts. The time that the same command takes without a load is subtracted. After each round the
machines are compared: all columns must have removed the same things, and all of them.

No test depends on the results, because timing on a shared machine proves nothing.
"""

import argparse
import json
import shutil
import sys
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path
from typing import TypeVar

from bench_machine import BENCH, RELEASE, ROOT, BenchError, Machine, Watched, new_machine, on_one_processor
from loads import (
    EMPTY,
    FOLDER,
    KEY,
    NEIGHBOURS,
    PROGRAM,
    ROWS,
    Row,
    Surroundings,
    cache_list,
    device_list,
    product_list,
)
from tables import growth, megabytes, ratio, table

Result = TypeVar("Result")

# In memory where that can be had: a disk would be most of what is measured.
MEMORY = Path("/dev/shm")
WORK = (MEMORY / "orv-cleanup" if MEMORY.is_dir() else BENCH) / "benchmark"
LONG_MILLISECONDS = 60_000.0  # anything that takes this long is measured only once
MOST_SCRIPTED_ROWS = 1_000  # a script that deletes row by row starts a program for each row
# A machine is busy for a while after it has started.
QUIET = (f"run\t{EMPTY}", "pause\t2500")
FIRST_STAGE = "Applications Eligible to Unistall"
# What every start of a machine removes or adds by itself.
MACHINE_OWN = (
    r"\Control\Class\{4D36E96",
    r"\Temp\CleanUp",
    r"\PendingFileRenameOperations",
    r"\Windows NT\CurrentVersion\Fonts",
)


@dataclass
class Cost:
    """The best of several rounds, in milliseconds, with and without a load."""

    loaded: list[float] = field(default_factory=list)
    bare: list[float] = field(default_factory=list)

    def net(self) -> float:
        """What the load alone costs."""
        return min(self.loaded) - min(self.bare)

    def is_vague(self) -> bool:
        """Whether the rounds differ by a tenth of the figure or more."""
        spread = max(sorted(times)[min(1, len(times) - 1)] - min(times) for times in (self.loaded, self.bare))
        return spread > 0.1 * max(self.net(), 0.0)


@dataclass
class Sample:
    """One row of a table at one size."""

    count: int
    costs: dict[str, Cost]  # processor time, by column
    clocks: dict[str, Cost]  # from start to end
    memory_bytes: int = 0
    shares: list[tuple[str, float]] = field(default_factory=list)
    log_lines: int = 0

    def net(self, column: str) -> float:
        """The processor time that the load costs in that column, in milliseconds."""
        return self.costs[column].net()

    def clock(self, column: str) -> float:
        """The same by the clock."""
        return self.clocks[column].net()


def say(text: str) -> None:
    """Prints progress."""
    print(f"== {text}", file=sys.stderr, flush=True)


def fresh(name: str) -> Path:
    """An empty folder for a new machine."""
    folder = WORK / name
    if folder.exists():
        Machine(folder).remove()
    return folder


def bare_machine(name: str, devices: bool = False) -> Machine:
    """A machine with the benchmark's programs, the neighbours and nothing to remove."""
    machine = new_machine(fresh(name))
    machine.prepare(devices)
    machine.plant(NEIGHBOURS)
    return machine


def timed(machine: Machine, name: str, command: str) -> float:
    """What the command takes on the machine, which it changes, by the clock."""
    return machine.measure([*QUIET, f"time\t{name}\t{command}"]).times[name]


@dataclass(frozen=True)
class Taken:
    """What a machine has taken for a command, in milliseconds."""

    processor: float  # with the start and the end of the machine
    clock: float


def taken(machine: Machine, command: str) -> Taken:
    """The same with the processor time of the whole machine. What a run starts and does not wait for would be at work at
    the same time, so the tool that it starts last is not there."""
    machine.disable("schtasks.exe")
    with on_one_processor():
        record = machine.measure([f"run\t{EMPTY}", f"time\tcommand\t{command}"])
    return Taken(record.processor_milliseconds, record.times["command"])


def watched(machine: Machine, command: str) -> Watched:
    """The same, observed while it runs."""
    return machine.measure([*QUIET, f"watch\tprogram\t{machine.log_on_machine}\t{command}"]).watched["program"]


def spans(run: Watched) -> dict[str, float]:
    """The time from each heading of the log to the next, by the first words of the heading."""
    result: dict[str, float] = {}
    marks = [(0.0, "start"), *((time, text.strip("- ")) for time, text in run.headings), (run.milliseconds, "")]
    for (begin, name), (end, _) in zip(marks, marks[1:], strict=False):
        result[name] = result.get(name, 0.0) + end - begin
    return result


def shares(loaded: Watched, bare: Watched) -> list[tuple[str, float]]:
    """How the time for the load is divided among the sections of the log, the largest first."""
    without = spans(bare)
    cost = {name: time - without.get(name, 0.0) for name, time in spans(loaded).items()}
    total = max(loaded.milliseconds - bare.milliseconds, 1.0)
    parts = [(name, time / total) for name, time in cost.items() if time > 0.02 * total]
    return sorted(parts, key=lambda part: -part[1])


def gone(before: set[str], after: set[str]) -> set[str]:
    """What a run removed from the machine."""
    return {thing for thing in before - after if not any(own in thing for own in MACHINE_OWN)}


def below(things: set[str], row: Row) -> set[str]:
    """The place of the load and everything in it. Key names are compared without case."""
    place = row.place.lower()
    return {thing for thing in things if f"{thing.partition(' ')[2].lower()}\\".startswith(f"{place}\\")}


def row_script(things: set[str]) -> str:
    """A script that deletes registry rows one by one, as the manifest lists them: values first, then keys from below."""
    lines = ["@echo off"]
    for thing in sorted(things, key=lambda thing: (thing.startswith("key "), -thing.count("\\"), thing)):
        kind, _, path = thing.partition(" ")
        key, _, name = path.rpartition("\\")
        lines.append(f'reg delete "{path}" /f >nul' if kind == "key" else f'reg delete "{key}" /v "{name}" /f >nul')
    return "".join(f"{line}\r\n" for line in lines)


def measure_row(row: Row, count: int, rounds: int) -> Sample:
    """Measures all columns in turn, with and without the load."""
    say(f"{count} {row.name}")
    bare = bare_machine("bare")
    loaded = bare.clone(fresh("loaded"))
    loaded.measure([f"run\t{row.load_command(count)}"])
    before = loaded.things()
    expected = below(before, row)
    if len(expected) <= count:
        raise BenchError(f"{len(expected)} things were planted instead of {count} {row.name} and what holds them")
    columns = row.columns()
    if row.verb == "key" and count <= MOST_SCRIPTED_ROWS:
        loaded.write_script("rows.cmd", row_script(expected))
        columns["row script"] = r"cmd.exe /c C:\bench\rows.cmd"
    sample = Sample(count, {column: Cost() for column in columns}, {column: Cost() for column in columns})

    def on_a_clone(of: Machine, work: Callable[[Machine], Result]) -> tuple[Result, int]:
        machine = of.clone(fresh("machine"))
        result = work(machine)
        after = machine.things()
        if of is loaded and (found := gone(before, after)) != expected:
            raise BenchError(f"{row.name}: not the same is gone, for example {sorted(found ^ expected)[:5]}")
        log_lines = sum(1 for _ in machine.log.open("rb")) if machine.log.exists() else 0
        machine.remove()
        return result, log_lines

    for _ in range(rounds):
        for column, command in columns.items():
            if any(time > LONG_MILLISECONDS for time in sample.costs[column].loaded):
                continue  # noise matters little there
            cost, clock = sample.costs[column], sample.clocks[column]
            for machine, processor_times, times in (
                (loaded, cost.loaded, clock.loaded),
                (bare, cost.bare, clock.bare),
            ):
                time, _ = on_a_clone(machine, lambda new, command=command: taken(new, command))
                processor_times.append(time.processor)
                times.append(time.clock)
    run, sample.log_lines = on_a_clone(loaded, lambda machine: watched(machine, PROGRAM))
    without, _ = on_a_clone(bare, lambda machine: watched(machine, PROGRAM))
    sample.memory_bytes = run.memory_bytes
    sample.shares = shares(run, without)
    loaded.remove()
    bare.remove()
    return sample


def measure_surroundings(kind: Surroundings, count: int, rounds: int) -> Sample:
    """Measures only the program, with and without what it examines."""
    say(f"{count} {kind.name}")
    bare = bare_machine("bare", kind.devices)
    loaded = bare.clone(fresh("loaded"))
    loaded.plant(kind.plant_list(count))
    sample = Sample(count, {"program": Cost()}, {"program": Cost()})
    lines = {}
    for _ in range(rounds):
        cost, clock = sample.costs["program"], sample.clocks["program"]
        for machine, processor_times, times in ((loaded, cost.loaded, clock.loaded), (bare, cost.bare, clock.bare)):
            clone = machine.clone(fresh("machine"))
            time = taken(clone, PROGRAM)
            processor_times.append(time.processor)
            times.append(time.clock)
            with clone.log.open("rb") as log:
                lines[machine] = sum(1 for _ in log)
            clone.remove()
    sample.log_lines = lines[loaded] - lines[bare]
    runs = []
    for machine in (loaded, bare):
        clone = machine.clone(fresh("machine"))
        runs.append(watched(clone, PROGRAM))
        clone.remove()
    sample.memory_bytes = runs[0].memory_bytes
    sample.shares = shares(*runs)
    loaded.remove()
    bare.remove()
    return sample


def children_list(log: Path) -> list[str]:
    """What a run started, according to its log: the lines for `floor children`."""
    lines = []
    for line in log.read_bytes().decode("latin-1").splitlines():
        message = line.rpartition("\tDEBUG\t")[2]
        head, _, item = message.partition("\t:\t")
        if head == "Killing Process":
            lines.append(f'shell\ttaskkill.exe\t /IM "{item}" /F')
        elif message.startswith("Finished uninstalling ORV UWP Application: "):
            pattern = message.partition(": ")[2]
            powershell = r"%SYSTEMROOT%\System32\WindowsPowerShell\v1.0\powershell.exe "
            script = f'"Get-AppxPackage -AllUsers "{pattern}" | Remove-AppxPackage -AllUsers"'
            lines.append(f'wait\tcmd.exe /C "{powershell}{script}"\tC:\\')
        elif "able to run orvscosupporttypeupdate" in message.lower():
            task = message.partition(" : ")[2].strip()
            lines.append(f'start\tcmd.exe /C "{task}"\t%SYSTEMROOT%\\System32')
        elif head == "Deleting Scheduled Task":
            task = item.partition("\t")[0]
            lines.append(f'start\tschtasks /delete /TN "{task}" /F')
    lines.append('wait\t"C:\\windows\\system32\\cmd.exe" /C "bcdedit /deletevalue {current} safeboot"')
    return lines


@dataclass
class Start:
    """The time of a run with nothing to do, in milliseconds; the best of the rounds."""

    empty: float
    first_stage: float
    whole: float
    children: float
    memory_bytes: int
    shares: list[tuple[str, float]]


def first_stage_of(run: Watched) -> float:
    """The time from the start of the process to the first heading of a stage."""
    return next(time for time, text in run.headings if FIRST_STAGE in text)


def measure_start(rounds: int) -> Start:
    """Measures the program on a machine without anything to remove, compared with an empty program with the same imports and
    with one that only starts the same child processes."""
    say("start")
    bare = bare_machine("bare")
    empty, whole, children = [], [], []
    runs: list[Watched] = []
    for _ in range(rounds):
        machine = bare.clone(fresh("machine"))
        runs.append(watched(machine, PROGRAM))
        (machine.drive / "bench" / "children.tsv").write_text(
            "".join(f"{line}\n" for line in children_list(machine.log)), encoding="utf-8"
        )
        empty.append(timed(machine, "empty", EMPTY))
        children.append(timed(machine, "children", r"C:\bench\floor.exe children C:\bench\children.tsv"))
        whole.append(timed(machine, "program", PROGRAM))
        machine.remove()
    bare.remove()
    best = min(runs, key=lambda run: run.milliseconds)
    parts = sorted(spans(best).items(), key=lambda part: -part[1])
    memory_bytes = max(run.memory_bytes for run in runs)
    return Start(min(empty), min(map(first_stage_of, runs)), min(whole), min(children), memory_bytes, parts)


def upgrade_code() -> str:
    """The upgrade code of the first application in the shipped manifest."""
    manifest = json.loads((ROOT / "src" / "resources" / "ScrubList.JSON").read_text(encoding="utf-8"))
    name = manifest["InclusionList"]["Applications"][0]
    return str(manifest["Packages"]["ORVApplications"][name]["Info"]["UpgradeID"])


def share_text(parts: list[tuple[str, float]]) -> str:
    """The largest shares as text."""
    return ", ".join(f"{name} {100 * part:.0f} %" for name, part in parts[:4])


def print_rows(samples: dict[str, list[Sample]]) -> None:
    """The table of the rows."""
    heads = [
        "rows",
        "floor = 1",
        "(by the clock)",
        "script = 1",
        "script by rows = 1",
        "growth",
        "floor's growth",
        "memory",
        "it goes to",
    ]
    lines = []
    for name, of_row in samples.items():
        before: Sample | None = None
        for sample in of_row:
            vague = " ~" if any(cost.is_vague() for cost in sample.costs.values()) else ""
            lines.append(
                [
                    f"{sample.count:,} {name}{vague}",
                    ratio(sample.net("program"), sample.net("floor")),
                    ratio(sample.clock("program"), sample.clock("floor")),
                    ratio(sample.net("program"), sample.net("script")),
                    ratio(sample.net("program"), sample.net("row script")) if "row script" in sample.costs else "-",
                    growth(sample.net("program"), before and before.net("program")),
                    growth(sample.net("floor"), before and before.net("floor")),
                    megabytes(sample.memory_bytes),
                    share_text(sample.shares),
                ]
            )
            before = sample
    print(table(heads, lines))


def print_surroundings(samples: dict[str, list[Sample]]) -> None:
    """The table of what a run examines."""
    heads = ["machine with", "growth", "growth of the log", "memory", "it goes to"]
    lines = []
    for name, of_kind in samples.items():
        before: Sample | None = None
        for sample in of_kind:
            lines.append(
                [
                    f"{sample.count:,} {name}{' ~' if sample.costs['program'].is_vague() else ''}",
                    growth(sample.net("program"), before and before.net("program")),
                    growth(sample.log_lines, before and before.log_lines),
                    megabytes(sample.memory_bytes),
                    share_text(sample.shares),
                ]
            )
            before = sample
    print(table(heads, lines))


def print_start(start: Start) -> None:
    """The table of a run with nothing to do."""
    lines = [
        ["an empty program with the same imports", f"{start.empty:.0f} ms"],
        ["the program to its first stage", f"{start.first_stage:.0f} ms"],
        ["  more than the empty program", f"{start.first_stage - start.empty:.0f} ms"],
        ["a program that only starts what it starts", f"{start.children:.0f} ms"],
        ["the whole silent run", f"{start.whole:.0f} ms"],
        ["  more than that program", f"{start.whole - start.children:.0f} ms"],
        ["peak memory", megabytes(start.memory_bytes)],
        ["size of the executable", f"{(RELEASE / 'ORVCleanupUtility.exe').stat().st_size / 2**20:.1f} MB"],
        *([f"  from: {name}", f"{time:.0f} ms"] for name, time in start.shares[:12]),
    ]
    print(table(["a run with nothing to do", ""], lines))


def check_manifest() -> None:
    """Checks that the shipped manifest lists the places of the loads."""
    generic = json.loads((ROOT / "src" / "resources" / "ScrubList.JSON").read_text(encoding="utf-8"))["Generic"]
    if FOLDER.replace(r"C:\Program Files\ORV", "INSTALL_DIR") not in generic["Directories"] or (
        KEY not in generic["RegistryKeys"]
    ):
        raise BenchError("the shipped manifest does not list the places of the loads: change them in loads.py")


def main() -> None:
    """The entry point."""
    parser = argparse.ArgumentParser(description="Measures the shipped program on test machines.")
    parser.add_argument("--quick", action="store_true", help="small sizes, two rounds")
    parser.add_argument("--rounds", type=int, help="how often each column is measured (3)")
    parser.add_argument("--only", action="append", help="one row alone: start, files, keys, devices, ...")
    arguments = parser.parse_args()
    rounds = arguments.rounds or (2 if arguments.quick else 3)
    sizes = [1_000, 10_000] if arguments.quick else [1_000, 10_000, 100_000]
    steps = [10, 1] if arguments.quick else [100, 10, 1]
    surroundings = [
        Surroundings("devices", 2_000, device_list, devices=True),
        Surroundings("installer products", 5_000, product_list(upgrade_code())),
        Surroundings("files in the update cache", 2_000, cache_list),
    ]

    def wanted(name: str) -> bool:
        return not arguments.only or name in arguments.only

    check_manifest()
    WORK.mkdir(parents=True, exist_ok=True)
    try:
        if wanted("start"):
            print_start(measure_start(2 * rounds))
        rows = {
            row.name: [measure_row(row, size, rounds) for size in sizes] for row in ROWS if wanted(row.name)
        }
        if rows:
            print_rows(rows)
        around = {
            kind.name: [measure_surroundings(kind, kind.most // step, rounds) for step in steps]
            for kind in surroundings
            if wanted(kind.name)
        }
        if around:
            print_surroundings(around)
    except BenchError as error:
        sys.exit(f"benchmark: {error}")
    for folder in WORK.iterdir():
        Machine(folder).remove()
    shutil.rmtree(WORK)


if __name__ == "__main__":
    main()
