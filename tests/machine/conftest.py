"""Machines for the whole-machine cases. ORV_PROGRAM and BENCH_PROGRAMS select a build other than build/release, BENCH_CASES a
folder for the machines other than build/bench/cases. BENCH_KEEP=1 keeps the machines of passed cases too."""

from __future__ import annotations

import os
import shutil
import signal
from collections.abc import Iterator
from pathlib import Path

import pytest

from bench import BENCH_FOLDER
from bench.machine import Machine, copy_of
from bench.session import Build
from case import Case, prepared_machine

CASES = Path(os.environ.get("BENCH_CASES", BENCH_FOLDER / "cases"))
# The cases that take longest, in descending order. They start first when several processes share the tests.
LONGEST = (
    "test_shipped_manifest",
    "test_interactive_outcomes",
    "test_interactive_run",
    "test_what_resists",
    "test_planted_libraries",
    "test_swapped_files",
)
FAILED = pytest.StashKey[bool]()


def pytest_configure() -> None:
    # If the run is terminated, end the machines too, as on Ctrl+C.
    signal.signal(signal.SIGTERM, signal.default_int_handler)


def pytest_collection_modifyitems(items: list[pytest.Item]) -> None:
    """Puts whole-machine runs first, the longest at the start, so that only short tests are left at the end."""

    def rank(item: pytest.Item) -> int:
        if item.path.parent != Path(__file__).parent:
            return len(LONGEST) + 1
        return LONGEST.index(item.name) if item.name in LONGEST else len(LONGEST)

    items.sort(key=rank)


@pytest.fixture(scope="session")
def build() -> Build:
    built = Build(
        Path(os.environ.get("ORV_PROGRAM", Build.program)), Path(os.environ.get("BENCH_PROGRAMS", Build.bench))
    )
    assert built.program.exists(), f"{built.program} is not built: run scripts/build.sh"
    return built


@pytest.fixture(scope="session")
def prepared(build: Build) -> Iterator[Machine]:
    """The machine that each case's machine is copied from. Each test process has its own."""
    folder = CASES / f"prepared-{os.environ.get('PYTEST_XDIST_WORKER', 'alone')}"
    Machine(folder.resolve()).remove()
    try:
        yield prepared_machine(folder, build)
    finally:
        Machine(folder.resolve()).remove()


@pytest.fixture
def case(request: pytest.FixtureRequest, build: Build, prepared: Machine) -> Iterator[Case]:
    folder = CASES / request.node.name
    if folder.exists():
        Machine((folder / "machine").resolve()).remove()
        shutil.rmtree(folder)
    folder.mkdir(parents=True)
    machine = copy_of(prepared, folder / "machine")
    request.node.user_properties.append(("machine", str(machine.folder)))
    try:
        yield Case(machine, folder, build)
    finally:
        if request.node.stash.get(FAILED, True) or os.environ.get("BENCH_KEEP"):
            machine.stop()
        else:
            machine.remove()
            shutil.rmtree(folder)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item: pytest.Item) -> Iterator[None]:
    outcome = yield
    report = outcome.get_result()
    if report.when == "call":
        item.stash[FAILED] = report.failed
    if report.failed:
        for name, value in item.user_properties:
            if name == "machine":
                report.sections.append(("The machine", f"stays in {value}, with the case's files beside it"))
                log = sorted(Path(value).glob("drive_c/users/*/**/CleanUp/ORVCleanup.log"))
                if log:
                    end = log[0].read_bytes().decode("latin-1").splitlines()[-15:]
                    report.sections.append(("The end of the program's log", "\n".join(end)))
