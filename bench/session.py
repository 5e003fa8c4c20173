"""A user session on a machine: copies programs to it, holds things open, runs the program under test, and records what can
only be seen while the machine is running (bench/programs/machine_session.cpp, which documents the lines)."""

from __future__ import annotations

from collections import defaultdict
from collections.abc import Iterable, Sequence
from dataclasses import dataclass, field
from pathlib import Path

from bench import ROOT
from bench.machine import BenchError, Machine, Outcome

PROGRAM = "ORVCleanupUtility.exe"
RUN_SILENT = ("run", rf"C:\bench\{PROGRAM} silent")
REBOOT_REQUIRED = (r"HKEY_LOCAL_MACHINE\SOFTWARE\ORVCleanupUtility", "RebootRequired")

# Stub DLLs that model device installation, System Restore and the protection of Windows' own files (bench/devices).
STAND_INS = ("setupapi", "cfgmgr32", "newdev", "srclient", "sfc")
SYSTEM_FOLDER = r"C:\windows\system32"


@dataclass(frozen=True)
class Build:
    """The built programs for a machine."""

    program: Path = ROOT / "build" / "release" / PROGRAM
    bench: Path = ROOT / "build" / "release" / "bench"

    def bench_program(self, name: str) -> Path:
        return self.bench / f"{name}.exe"


def prepare(machine: Machine, build: Build) -> None:
    """Copies the shipped program, the bench's own programs and the model of device installation to the machine."""
    for program in build.bench.glob("*.exe"):
        machine.put(program, rf"C:\bench\{program.name}")
    machine.put(build.program, rf"C:\bench\{PROGRAM}")
    give_devices(machine, build.bench, PROGRAM)


def give_devices(machine: Machine, libraries: Path, program: str) -> None:
    """Gives one program, named by its file, the stub DLLs in that folder of the host.

    They are installed in the system folder, where a program finds Windows' own libraries, but for that program only: the
    services on the machine keep using Wine's. Calls that the model forwards go to Wine's setupapi, which stays there under
    another name.
    """
    own = machine.host_path(SYSTEM_FOLDER + r"\setupapi.dll")
    own.rename(own.with_name("own_setupapi.dll"))
    for library in STAND_INS:
        machine.put(libraries / f"{library}.dll", rf"{SYSTEM_FOLDER}\{library}.dll")
    overrides = "".join(f'"{library}"="native,builtin"\n' for library in STAND_INS)
    machine.import_registry(
        f"REGEDIT4\n\n[HKEY_CURRENT_USER\\Software\\Wine\\AppDefaults\\{program}\\DllOverrides]\n{overrides}"
    )


@dataclass
class Record:
    """What a session recorded."""

    exits: list[int] = field(default_factory=list)
    values: dict[tuple[str, str], str] = field(default_factory=dict)  # by key and name; "absent" where there is none
    services: dict[str, str] = field(default_factory=dict)
    processes: dict[str, str] = field(default_factory=dict)  # by path: running or ended
    ended: dict[str, int] = field(default_factory=dict)  # by path: the exit code
    pending: list[str] = field(default_factory=list)  # what the next restart will delete

    @property
    def reboot_required(self) -> str:
        return self.values[REBOOT_REQUIRED]


def hold(machine: Machine, lines: Iterable[Sequence[str]], timeout: float = 300) -> Record:
    """Carries out the lines and waits until the machine has settled. A line that fails is a BenchError."""
    outcome, recorded = _carry_out(machine, lines, timeout)
    if outcome.status != 0:
        # What the session left running might never end.
        machine.stop()
        machine.settle()
        raise BenchError(f"the session on the machine failed\n{outcome.output}\nIts record:\n{recorded}")
    machine.settle()
    return read_record(recorded)


def hold_until_restart(machine: Machine, lines: Iterable[Sequence[str]], timeout: float = 300) -> Record:
    """The same for a session in which a program finally restarts the machine. This ends the session and every other program,
    and pending work is carried out as at the next start. If something still runs, that is a BenchError."""
    # The restart ends the session, so its own exit status says nothing.
    _, recorded = _carry_out(machine, lines, timeout)
    try:
        machine.settle()
    except BenchError:
        machine.stop()
        raise
    return read_record(recorded)


def _carry_out(machine: Machine, lines: Iterable[Sequence[str]], timeout: float) -> tuple[Outcome, str]:
    """How the session ended, and what it recorded."""
    text = "".join("\t".join(line) + "\n" for line in lines)
    (machine.bench / "session.tsv").write_text(text, encoding="utf-8")
    record = machine.bench / "record.tsv"
    record.unlink(missing_ok=True)
    outcome = machine.wine(
        r"C:\bench\machine_session.exe", r"C:\bench\session.tsv", r"C:\bench\record.tsv", timeout=timeout
    )
    return outcome, record.read_text(encoding="utf-8") if record.exists() else ""


def read_record(text: str) -> Record:
    by_kind: dict[str, list[list[str]]] = defaultdict(list)
    for line in text.splitlines():
        kind, *fields = line.split("\t")
        by_kind[kind].append(fields)
    return Record(
        exits=[int(fields[0]) for fields in by_kind["exit"]],
        values={(key, name): data for key, name, data in by_kind["value"]},
        services={name: state for name, state in by_kind["service"]},
        processes={path: state for path, state in by_kind["process"]},
        ended={path: int(code) for path, code in by_kind["ended"]},
        pending=[fields[0] for fields in by_kind["pending"]],
    )
