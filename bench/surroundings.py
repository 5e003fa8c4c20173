"""What else of the maker's a run deals with: the install manager with a tracker file, folders that old installers left on the
drive, and a driver package in the download cache of Windows Update, each with neighbours."""

from __future__ import annotations

import os
import subprocess
import tempfile
from pathlib import Path

from bench import DATA
from bench.machine import Machine
from bench.planting import Line, lines_for, lines_with_neighbours, read_lines
from bench.rows import Row, read_rows
from bench.session import Build

UPDATE_CACHE = r"C:\windows\SoftwareDistribution\Download"
# Only larger files of the cache are examined.
BOUND = 250_000_000
HOST = r"C:\Program Files\Tracker Host"


def surrounding_rows() -> list[Row]:
    return read_rows("around_rows.tsv")


def surrounding_lines() -> list[Line]:
    """A plant list for the rows and their neighbours."""
    # Most rows get neighbours made from their names. Next to an old installer's folder, such a neighbour would count as an
    # installer's too, and a folder that has to be empty must not get content: for these, the list itself has the neighbours.
    by_installers = [row for row in surrounding_rows() if row.text.startswith("C:\\ORV")]
    ordinary = [row for row in surrounding_rows() if row not in by_installers and "Tracked Empty" not in row.text]
    return read_lines("around_leftovers.tsv") + lines_with_neighbours(ordinary) + lines_for(by_installers)


def give_expand(machine: Machine, build: Build) -> None:
    """Replaces Wine's expand, which cannot list the contents of a cabinet, with one that can."""
    machine.put(build.bench_program("cabinet_lister"), r"C:\windows\system32\expand.exe")


def put_surroundings(machine: Machine, build: Build) -> None:
    """Copies the programs, the tracker file and the packages of the cache to the machine."""
    machine.put(build.bench_program("recorder"), rf"{HOST}\stop.exe")
    waiting = build.bench_program("waiting_program")
    machine.put(waiting, rf"{HOST}\hang.exe", r"C:\bench\running\tracked.exe", r"C:\bench\running\xtracked.exe")
    machine.put(DATA / "PKMTracker.JSON", rf"{HOST}\PKM\Config\PKMTracker.JSON")
    put_cached_driver(machine)
    cache = machine.host_path(UPDATE_CACHE)
    _make_cabinet(cache / "small.cab", BOUND, "orvgpukg.sys")
    _make_cabinet(cache / "other.cab", BOUND + 1, "otherdisp.sys")


def put_cached_driver(machine: Machine) -> str:
    """Puts a driver package of the maker's into the cache and returns its path."""
    cache = machine.host_path(UPDATE_CACHE)
    cache.mkdir(parents=True, exist_ok=True)
    _make_cabinet(cache / "driver.cab", BOUND + 1, "orvgpukg.sys")
    return rf"{UPDATE_CACHE}\driver.cab"


def _make_cabinet(file: Path, size: int, content: str) -> None:
    """Creates a cabinet with one file of that name, extended to the size without writing the bytes."""
    with tempfile.TemporaryDirectory() as folder:
        Path(folder, content).write_text("a driver\n")
        subprocess.run(["gcab", "-c", "-n", "package.cab", content], cwd=folder, check=True, capture_output=True)
        file.write_bytes(Path(folder, "package.cab").read_bytes())
    os.truncate(file, size)
