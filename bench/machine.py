"""A test machine: a Wine prefix that is cloned from a template, used for one purpose and deleted."""

from __future__ import annotations

import fcntl
import filecmp
import os
import shutil
import subprocess
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

from bench import BENCH_FOLDER

# Wine would ask to install packages that a machine does not need, and add menu entries to the host's desktop.
DLL_OVERRIDES = "mscoree=;mshtml=;winemenubuilder.exe="

# Windows 10 without a screen, on which a crashed program ends at once instead of waiting for a debugger. The drivers for the
# host's joysticks and USB devices are disabled: no machine needs them, and each start would wait for them.
SETTINGS = r"""REGEDIT4

[HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion\AeDebug]
"Debugger"="cmd /c exit"
"Auto"="1"

[HKEY_CURRENT_USER\Software\Wine\Drivers]
"Graphics"="null"
"Audio"=""

[HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services\winebus]
"Start"=dword:00000004

[HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services\wineusb]
"Start"=dword:00000004
"""

# Where Debian's packages install Wine's own Windows files, by version and architecture.
BUILTIN_FOLDERS = (
    "/usr/lib/x86_64-linux-gnu/wine/x86_64-windows",
    "/usr/lib/wine/x86_64-windows",
    "/usr/lib64/wine/x86_64-windows",
)


class BenchError(Exception):
    """A failure of the bench itself. Says nothing about the program under test."""


@dataclass
class Outcome:
    status: int  # the low eight bits of the exit code
    output: str


@dataclass
class Machine:
    """One machine. `folder` is the prefix; the rest are environment settings for its programs."""

    folder: Path
    locale: str = "C.UTF-8"
    display: str | None = None  # an X display; without one the machine has no screen
    dll_overrides: str = DLL_OVERRIDES
    environment: dict[str, str] = field(default_factory=dict)

    @property
    def drive(self) -> Path:
        """The host's folder for the machine's drive C:."""
        return self.folder / "drive_c"

    @property
    def bench(self) -> Path:
        """C:\\bench, with the bench's own programs and files; not part of a snapshot."""
        return self.drive / "bench"

    def host_path(self, windows_path: str) -> Path:
        """The host's path for a path on drive C:, matched without regard to case."""
        if windows_path[:3].lower() != "c:\\":
            raise BenchError(f"{windows_path} is not on the machine's drive")
        path = self.drive
        for part in windows_path[3:].split("\\"):
            path = _child(path, part)
        return path

    def wine(self, *command: str, timeout: float = 120, check: bool = False) -> Outcome:
        """Runs a Windows command and waits until it ends. With `check`, an exit code other than 0 is a BenchError.

        The output goes through a file, because services that the command starts would keep a pipe open long after it has
        ended.
        """
        # A machine that is still being created has no drive.
        here = self.drive if self.drive.exists() else self.folder
        with tempfile.TemporaryFile() as output:
            process = subprocess.Popen(
                ["wine", *command], cwd=here, env=self._env(), stdin=subprocess.DEVNULL, stdout=output, stderr=output
            )
            try:
                status = process.wait(timeout)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
                output.seek(0)
                raise BenchError(f"{command[0]} did not end within {timeout:.0f} seconds\n{_text(output.read())}") from None
            output.seek(0)
            outcome = Outcome(status, _text(output.read()))
        if check and outcome.status != 0:
            raise BenchError(f"{' '.join(command)} ended with {outcome.status}\n{outcome.output}")
        return outcome

    def settle(self, timeout: float = 120) -> None:
        """Waits until every program on the machine has ended and its registry is on disk. A BenchError if one does not end."""
        try:
            subprocess.run(["wineserver", "-w"], env=self._env(), timeout=timeout, check=False, capture_output=True)
        except subprocess.TimeoutExpired:
            raise BenchError(f"programs of the machine did not end within {timeout:.0f} seconds") from None

    def stop(self) -> None:
        """Ends every program on the machine."""
        subprocess.run(["wineserver", "-k"], env=self._env(), check=False, capture_output=True)

    def restart(self) -> None:
        """Does what a restart does to a machine: carries out pending renames and deletions, and RunOnce."""
        # Wine does the pending work when a new server starts, before the first program runs.
        self.wine("cmd.exe", "/c", "exit", check=True)
        self.settle()

    def remove(self) -> None:
        if self.folder.exists():
            self.stop()
            self.settle()
            shutil.rmtree(self.folder)

    def import_registry(self, text: str) -> None:
        """Sets registry values from the text of a .reg file."""
        file = self.drive / "bench_settings.reg"
        file.write_text(text, encoding="ascii")
        # Not regedit: it is not in the system folder and would be started through a second and a third process.
        self.wine("reg", "import", r"C:\bench_settings.reg", check=True)
        file.unlink()

    def put(self, source: Path, *places: str) -> None:
        """Copies a file from the host to each of the places, which are Windows paths, replacing what is there."""
        for place in places:
            target = self.host_path(place)
            target.parent.mkdir(parents=True, exist_ok=True)
            target.unlink(missing_ok=True)
            # If several running programs were one file on the host, all of them might show under the same name.
            if target.name != source.name or not _link(source, target):
                shutil.copy(source, target)

    def _env(self) -> dict[str, str]:
        # The only settings of the host that a machine sees.
        env = {
            "PATH": os.environ["PATH"],
            "HOME": str(self.folder),
            "LC_ALL": self.locale,
            "WINEPREFIX": str(self.folder),
            "WINEDEBUG": os.environ.get("BENCH_WINEDEBUG", "-all"),
            "WINEDLLOVERRIDES": self.dll_overrides,
            **self.environment,
        }
        if self.display:
            env["DISPLAY"] = self.display
        return env


def new_machine(folder: Path) -> Machine:
    """A new machine in `folder`, which must not exist. Creates the template first if there is none."""
    return _copy(make_template(), folder)


def copy_of(machine: Machine, folder: Path) -> Machine:
    """A copy of the machine in `folder`, which must not exist. The machine must have settled."""
    return _copy(machine.folder, folder)


def make_template(bench_folder: Path = BENCH_FOLDER) -> Path:
    """The machine that all others are copied from. Created once; several processes may call this at the same time."""
    bench_folder.mkdir(parents=True, exist_ok=True)
    template = bench_folder.resolve() / "template"
    with (bench_folder / "template.lock").open("w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not (template / "complete").exists():
            machine = Machine(template)
            machine.remove()
            template.mkdir(parents=True)
            outcome = machine.wine("wineboot", "--init", timeout=300)
            if outcome.status != 0:
                raise BenchError(f"Wine could not make a machine\n{outcome.output}")
            machine.settle()
            machine.wine("winecfg", "-v", "win10", check=True)
            machine.import_registry(SETTINGS)
            machine.settle()
            _close_doors(machine)
            _slim(machine)
            (template / "complete").touch()
    return template


def _copy(source: Path, folder: Path) -> Machine:
    folder.parent.mkdir(parents=True, exist_ok=True)
    subprocess.run(["cp", "-a", str(source), str(folder)], check=True)
    return Machine(folder.resolve())


def _close_doors(machine: Machine) -> None:
    # A new machine has paths out of its folder: a drive Z: for the host's root, and user folders that are links into
    # the host's home. A program that deletes files must not find them.
    for drive in (machine.folder / "dosdevices").iterdir():
        if drive.name != "c:":
            drive.unlink()
    for folder, names, files in os.walk(machine.drive / "users"):
        for name in names + files:
            path = Path(folder, name)
            if path.is_symlink():
                path.unlink()
                path.mkdir()


def _slim(machine: Machine) -> None:
    # System files that are identical to Wine's own become links to them, so that clones are small and quick.
    builtin = next((Path(folder) for folder in BUILTIN_FOLDERS if Path(folder).is_dir()), None)
    if builtin is None:
        return
    for file in (machine.drive / "windows").rglob("*"):
        own = builtin / file.name
        if file.is_file() and not file.is_symlink() and own.is_file() and filecmp.cmp(file, own, shallow=False):
            file.unlink()
            file.symlink_to(own)


def _link(source: Path, target: Path) -> bool:
    try:
        os.link(source, target)
    except OSError:
        return False
    return True


def _child(folder: Path, name: str) -> Path:
    exact = folder / name
    if exact.exists() or not folder.is_dir():
        return exact
    return next((entry for entry in folder.iterdir() if entry.name.lower() == name.lower()), exact)


def _text(output: bytes) -> str:
    return output.decode("utf-8", "replace")
