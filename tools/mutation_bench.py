# mutation_bench - builds a mutant and runs the test programs that could notice it. Takes the compile and link commands, the
# test programs and their settings from the existing debug build, and writes to its own folders below build/mutation. The
# checkout and the build are never changed, even if a run is killed.
from __future__ import annotations

import fcntl
import hashlib
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import signal
import subprocess
import threading
import time
from dataclasses import dataclass, field
from typing import Any, Callable

from mutation_points import Mutant

# Resource limits for a program. A mutant can loop forever while a list grows or the log fills up.
MEMORY_BYTES = 4 << 30
FILE_BYTES = 1 << 30
# Extra time for a program, in addition to four times what it takes unchanged.
GRACE_SECONDS = 20
# The time limit for a whole-machine run.
MACHINE_SECONDS = 400
# Debian's Python has the packages that the runs need.
PYTEST = ["/usr/bin/python3", "-B", "-m", "pytest"]
STAGES = ("concept", "folder", "elsewhere", "machine")


class ToolFault(Exception):
    """Something is wrong with the tool, the build or the unchanged tests, not with a mutant."""


@dataclass
class TestProgram:
    name: str  # as ctest names it
    folder: str  # below tests
    source: str
    target: str  # the program's target in the build
    command: list[str]
    environment: dict[str, str]
    work_folder: str
    limit: float
    includes: set[str] = field(default_factory=set)


@dataclass
class Verdict:
    mutant: Mutant
    outcome: str = "survived"  # noticed, timeout, survived, not compiled, same code
    stage: str = ""
    program: str = ""
    tests: list[str] = field(default_factory=list)
    programs_run: int = 0
    seconds: float = 0.0
    unsteady: list[str] = field(default_factory=list)  # failed once but not again

    @property
    def counts(self) -> bool:
        return self.outcome in ("noticed", "timeout", "survived")


def programs_for(file: str, programs: list[TestProgram]) -> list[tuple[str, TestProgram]]:
    """The test programs that could notice a mutant of this file, each with its stage: first those of its concept, which have
    its name or include its header, then the rest of its folder, then the other folders."""
    folder, stem = pathlib.PurePosixPath(file).parent.name, pathlib.PurePosixPath(file).stem
    header = f"{folder}/{stem}.h"

    def place(program: TestProgram) -> tuple[int, str]:
        if program.folder != folder:
            return (4 if header in program.includes else 5), program.name
        base = program.source.removesuffix("_test")
        if base == stem:
            return 0, program.name
        if base.startswith(stem + "_"):
            return 1, program.name
        return (2 if header in program.includes else 3), program.name

    ordered = sorted((place(program), program) for program in programs)
    return [("concept" if at < 3 else "folder" if at == 3 else "elsewhere", program) for (at, _), program in ordered]


class Bench:
    def __init__(self, root: pathlib.Path):
        self.root = root
        self.build = root / "build/debug"
        self.work = root / "build/mutation"
        self.work.mkdir(parents=True, exist_ok=True)
        self.alone = (self.work / "lock").open("w")  # held until the tool ends: two runs would build in the same folders
        try:
            fcntl.flock(self.alone, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError as error:
            raise ToolFault(f"another run is working in {self.work}") from error
        self.commands = self.read_compile_commands(self.build)
        self.programs = self.read_programs()
        self.links: dict[str, list[str]] = {}
        self.locks: dict[str, threading.Lock] = {}
        self.lock = threading.Lock()
        self.running: set[subprocess.Popen[bytes]] = set()
        self.stopped = False
        self.digests: dict[tuple[str, int, int], str] = {}
        self.known_path = self.work / "known.json"
        try:
            self.known: dict[str, dict[str, Any]] = json.loads(self.known_path.read_text())
        except (OSError, ValueError):
            self.known = {}

    # ---- reading the build

    def read_compile_commands(self, build: pathlib.Path) -> dict[str, list[list[str]]]:
        """The commands for each source file, which may be compiled for several targets."""
        try:
            entries = json.loads((build / "compile_commands.json").read_text())
        except OSError as error:
            raise ToolFault(f"{build} contains no build: {error}") from error
        commands: dict[str, list[list[str]]] = {}
        for entry in entries:
            path = pathlib.Path(entry["file"])
            if path.is_relative_to(self.root):
                commands.setdefault(str(path.relative_to(self.root)), []).append(shlex.split(entry["command"]))
        return commands

    def read_programs(self) -> list[TestProgram]:
        sources = {pathlib.PurePosixPath(file).stem: file for file in self.commands
                   if re.fullmatch(r"tests/\w+/\w+_test\.cpp", file)}
        listing = subprocess.run(["ctest", "--show-only=json-v1"], cwd=self.build, capture_output=True, text=True,
                                 check=True).stdout
        programs = []
        for test in json.loads(listing)["tests"]:
            command = test.get("command", [])
            executables = [part for part in command if part.endswith(".exe")]
            stem = pathlib.PurePath(executables[0]).stem if executables else ""
            if stem not in sources:
                continue
            settings = {setting["name"]: setting["value"] for setting in test["properties"]}
            source = sources[stem]
            text = (self.root / source).read_text()
            for header in re.findall(r'#include "(\w+_fixture\.h|\w+/\w+_fixture\.h)"', text):
                path = self.root / "tests" / header
                text += path.read_text() if path.exists() else ""
            programs.append(TestProgram(
                test["name"], pathlib.PurePosixPath(source).parent.name, stem, stem, command,
                dict(pair.split("=", 1) for pair in settings.get("ENVIRONMENT", [])),
                settings.get("WORKING_DIRECTORY", str(self.build)), float(settings.get("TIMEOUT", 180)),
                set(re.findall(r'#include "([^"]+)"', text))))
        return programs

    def machine_cases(self) -> list[tuple[str, list[str]]]:
        """The whole-machine runs with their names and commands."""
        listing = subprocess.run([*PYTEST, "--collect-only", "-q", "tests/machine"], cwd=self.root, capture_output=True,
                                 text=True)
        cases = re.findall(r"^tests/machine/\S+::\w+$", listing.stdout, re.MULTILINE)
        if listing.returncode != 0 or not cases:
            raise ToolFault(f"the whole-machine runs can't be listed\n{listing.stdout}{listing.stderr}")
        return [(case.rpartition("::")[2], [*PYTEST, "-q", case]) for case in cases]

    def link_command(self, build: pathlib.Path, target: str) -> list[str]:
        key = f"{build.name}/{target}"
        with self.lock:
            if key not in self.links:
                lines = subprocess.run(["ninja", "-t", "commands", target], cwd=build, capture_output=True, text=True,
                                       check=True).stdout.splitlines()
                self.links[key] = shlex.split(lines[-1].removeprefix(": && ").removesuffix(" && :"))
            return list(self.links[key])

    # ---- processes

    def call(self, command: list[str], folder: pathlib.Path | str, log: pathlib.Path, limit: float,
             environment: dict[str, str] | None = None) -> int:
        """The exit status, or 124 if the command did not end within the limit. The output goes to a file, because programs
        that a machine leaves running would keep a pipe open."""
        def confine() -> None:
            resource.setrlimit(resource.RLIMIT_DATA, (MEMORY_BYTES, MEMORY_BYTES))
            resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_BYTES, FILE_BYTES))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        with log.open("wb") as output:
            if self.stopped:
                raise KeyboardInterrupt
            process = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=output,
                                       stderr=subprocess.STDOUT, env={**os.environ, **(environment or {})},
                                       start_new_session=True, preexec_fn=confine)
            with self.lock:
                self.running.add(process)
            try:
                return process.wait(timeout=limit)
            except subprocess.TimeoutExpired:
                self.end(process)
                return 124
            finally:
                with self.lock:
                    self.running.discard(process)

    @staticmethod
    def end(process: subprocess.Popen[bytes]) -> None:
        """Ends one of our processes with its whole session; the script then removes the machine."""
        for number in (signal.SIGTERM, signal.SIGKILL):
            for member in session_members(process.pid):
                try:
                    os.kill(member, number)
                except ProcessLookupError:
                    pass
            try:
                process.wait(timeout=30)
                return
            except subprocess.TimeoutExpired:
                continue

    def stop(self) -> None:
        self.stopped = True
        with self.lock:
            processes = list(self.running)
        for process in processes:
            self.end(process)

    # ---- building

    def compile(self, command: list[str], text: str, file: str, slot: pathlib.Path,
                build: pathlib.Path) -> pathlib.Path | None:
        """The object file for this text in place of `file`, or None if it doesn't compile. Warnings are off, since a mutant
        may leave something unused."""
        source = slot / "source" / pathlib.PurePosixPath(file).name
        source.parent.mkdir(parents=True, exist_ok=True)
        source.write_text(text)
        args = [arg for arg in command if arg != "-Werror"]
        output = args[args.index("-o") + 1]
        item = slot / "objects" / output.replace("/", "_") / pathlib.PurePath(output).name
        item.parent.mkdir(parents=True, exist_ok=True)
        item.unlink(missing_ok=True)
        args[args.index("-o") + 1] = str(item)
        args[args.index("-c") + 1] = str(source)
        args += ["-w", "-g0", "-iquote", str((self.root / file).parent)]
        status = self.call(args, build, slot / "compile.log", 300)
        return item if status == 0 and item.exists() else None

    @staticmethod
    def output_of(command: list[str]) -> str:
        return command[command.index("-o") + 1]

    @staticmethod
    def archive_of(output: str) -> str:
        """The library that contains an object file built by CMake."""
        parts = re.match(r"(.*)/CMakeFiles/([^/]+)\.dir/", output)
        return f"{parts[1]}/lib{parts[2]}.a" if parts else ""

    def link(self, link: list[str], commands: list[list[str]], text: str, file: str, slot: pathlib.Path,
             build: pathlib.Path, objects: dict[str, pathlib.Path | None]) -> pathlib.Path | None:
        """Links a program with this text in place of `file`; None if the text doesn't compile. `objects` caches what has been
        compiled."""
        args = [arg for arg in link if "--out-implib" not in arg]
        for command in commands:
            output = self.output_of(command)
            archive = self.archive_of(output)
            if output not in args and archive not in args:
                continue
            if output not in objects:
                objects[output] = self.compile(command, text, file, slot, build)
            item = objects[output]
            if item is None:
                return None
            if output in args:
                args = [str(item) if arg == output else arg for arg in args]
            else:
                changed = slot / "libraries" / pathlib.PurePath(archive).name
                if not changed.exists():
                    changed.parent.mkdir(parents=True, exist_ok=True)
                    shutil.copy(build / archive, changed)
                    archiver = link[0].replace("g++-posix", "ar")
                    if self.call([archiver, "r", str(changed), str(item)], build, slot / "link.log", 60) != 0:
                        raise ToolFault(f"{archiver} could not add {item.name} to {archive}")
                args = [str(changed) if arg == archive else arg for arg in args]
            program = slot / "programs" / pathlib.PurePath(args[args.index("-o") + 1]).name
            program.parent.mkdir(parents=True, exist_ok=True)
            args[args.index("-o") + 1] = str(program)
            if self.call([*args, "-s"], build, slot / "link.log", 300) != 0:
                return None
            return program
        return None

    # ---- facts about the unchanged programs

    def unchanged(self, program: TestProgram) -> float:
        """How long the unchanged program takes. It must pass, or every mutant would seem to be noticed."""
        def measure() -> float:
            log = self.work / f"{program.name}.log"
            started = time.monotonic()
            status = self.call(program.command, program.work_folder, log, program.limit + 60,
                               {**program.environment, "BENCH_TIMEOUT": str(int(program.limit))})
            if status != 0:
                raise ToolFault(f"{program.name} fails without a mutant (exit status {status}): see {log}")
            return round(time.monotonic() - started, 2)

        return float(self.recall(f"time of {program.name}", self.digest_of(program), measure))

    def members(self, program: TestProgram) -> set[str]:
        """The object files in the program, from libraries or its own, such as registry.cpp.obj."""
        def trace() -> list[str]:
            folder = self.work / "members" / program.target
            folder.mkdir(parents=True, exist_ok=True)
            args = [arg for arg in self.link_command(self.build, program.target) if "--out-implib" not in arg]
            args[args.index("-o") + 1] = str(folder / f"{program.target}.exe")
            if self.call([*args, "-s", "-Wl,-t,-t"], self.build, folder / "link.log", 300) != 0:
                raise ToolFault(f"{program.target} can't be linked: see {folder}/link.log")
            text = (folder / "link.log").read_text(errors="replace")
            (folder / f"{program.target}.exe").unlink()
            return sorted(set(re.findall(r"([^()/\s]+\.cpp\.obj)\)?$", text, re.MULTILINE)))

        return set(self.recall(f"members of {program.target}", self.digest_of(program), trace))

    def has(self, program: TestProgram, file: str) -> bool:
        return pathlib.PurePosixPath(file).name + ".obj" in self.members(program)

    def control(self, file: str, text: str) -> dict[str, str]:
        """Treats the unchanged file like a mutant and returns the digests of its object files. The first program that contains
        it must pass, or the procedure itself would be noticed."""
        def take() -> dict[str, str]:
            slot = self.work / "control" / file.replace("/", "_")
            shutil.rmtree(slot, ignore_errors=True)
            slot.mkdir(parents=True)
            objects: dict[str, pathlib.Path | None] = {}
            program = next((candidate for _, candidate in programs_for(file, self.programs)
                            if self.has(candidate, file)), None)
            if program is None:
                return {}
            executable = self.link(self.link_command(self.build, program.target), self.commands[file], text, file, slot,
                                   self.build, objects)
            if executable is None:
                raise ToolFault(f"{file} can't be built unchanged: see {slot}")
            if self.run(program, executable, slot, self.unchanged(program))[0] != 0:
                raise ToolFault(f"{program.name} fails when {file} is built unchanged: see {slot}/run.log")
            digests = {output: digest_of_file(item) for output, item in objects.items() if item}
            shutil.rmtree(slot)
            return digests

        made = hashlib.sha256(text.encode())
        for command in self.commands[file]:
            made.update(shlex.join(command).encode())
        for header in sorted(self.root.glob("src/**/*.h")):
            made.update(header.read_bytes())
        return dict(self.recall(f"objects of {file}", made.hexdigest(), take))

    def recall(self, key: str, digest: str, find: Callable[[], Any]) -> Any:
        """The cached result if its dependencies are unchanged, otherwise the result of `find`."""
        with self.lock:
            lock = self.locks.setdefault(key, threading.Lock())
        with lock:
            entry = self.known.get(key)
            if entry is None or entry["digest"] != digest:
                entry = {"digest": digest, "value": find()}
                with self.lock:
                    self.known[key] = entry
                    temporary = self.known_path.with_suffix(".new")
                    temporary.write_text(json.dumps(self.known, indent=1))
                    temporary.replace(self.known_path)
            return entry["value"]

    def digest_of(self, program: TestProgram) -> str:
        executable = next(part for part in program.command if part.endswith(".exe"))
        stamp = pathlib.Path(executable).stat()
        key = (executable, stamp.st_mtime_ns, stamp.st_size)
        with self.lock:
            if key not in self.digests:
                self.digests[key] = digest_of_file(pathlib.Path(executable))
            return self.digests[key]

    # ---- running

    def run(self, program: TestProgram, executable: pathlib.Path, slot: pathlib.Path, seconds: float,
            *arguments: str) -> tuple[int, list[str]]:
        """Exit status and failed tests of a program; 124 if it took too long."""
        limit = int(min(4 * seconds + GRACE_SECONDS, program.limit))
        command = [str(executable) if part.endswith(".exe") else part for part in program.command]
        if command[0].endswith("run_on_machine.py"):
            command += ["--gtest_fail_fast", *arguments]
        log = slot / "run.log"
        status = self.call(command, program.work_folder, log, limit + 60,
                           {**program.environment, "BENCH_TIMEOUT": str(limit)})
        return status, failed_tests(log.read_text(errors="replace"))

    def judge(self, mutant: Mutant, slot: pathlib.Path, stages: tuple[str, ...], every: bool = False) -> Verdict:
        """Builds the mutant and runs the programs that could notice it, up to the first one that does, or all of them."""
        started = time.monotonic()
        verdict = Verdict(mutant)
        shutil.rmtree(slot, ignore_errors=True)
        slot.mkdir(parents=True)
        text = (self.root / mutant.file).read_text()
        digests = self.control(mutant.file, text)
        try:
            self.judge_on_programs(verdict, mutant.applied(text), slot, stages, digests, every)
            if verdict.outcome == "survived" and "machine" in stages:
                self.judge_on_machines(verdict, mutant.applied(text), slot, every)
        finally:
            verdict.seconds = round(time.monotonic() - started, 1)
            shutil.rmtree(slot / "programs", ignore_errors=True)
            shutil.rmtree(slot / "libraries", ignore_errors=True)
        return verdict

    def judge_on_programs(self, verdict: Verdict, text: str, slot: pathlib.Path, stages: tuple[str, ...],
                          digests: dict[str, str], every: bool) -> None:
        file = verdict.mutant.file
        objects: dict[str, pathlib.Path | None] = {}
        for stage, program in programs_for(file, self.programs):
            if stage not in stages or not self.has(program, file):
                continue
            executable = self.link(self.link_command(self.build, program.target), self.commands[file], text, file, slot,
                                   self.build, objects)
            if executable is None:
                verdict.outcome = "not compiled"
                return
            if all(item and digest_of_file(item) == digests.get(output) for output, item in objects.items()):
                verdict.outcome = "same code"
                return
            self.let_notice(verdict, stage, program, executable, slot)
            if verdict.outcome != "survived" and not every:
                return
        if not objects:
            # No program of these stages contains the file, but it must still be determined whether it compiles.
            if self.compile(self.commands[file][0], text, file, slot, self.build) is None:
                verdict.outcome = "not compiled"

    def let_notice(self, verdict: Verdict, stage: str, program: TestProgram, executable: pathlib.Path,
                   slot: pathlib.Path) -> None:
        seconds = self.unchanged(program)
        status, failed = self.run(program, executable, slot, seconds)
        verdict.programs_run += 1
        if status == 0:
            return
        if status == 124:
            outcome = "timeout"
        else:
            outcome = "noticed"
            # A single failure may be due to a busy machine.
            again = self.run(program, executable, slot, seconds, *([f"--gtest_filter={failed[0]}"] if failed else []))
            if again[0] == 0:
                again = self.run(program, executable, slot, seconds)
            if again[0] == 0:
                verdict.unsteady.append(failed[0] if failed else program.name)
                return
        if verdict.outcome == "survived":
            verdict.outcome, verdict.stage, verdict.program = outcome, stage, program.name
        verdict.tests += failed or [program.name]

    def prove_unchanged(self, name: str, command: list[str], program: pathlib.Path) -> None:
        """Requires the run to pass unchanged, because a run that fails anyway says nothing about a mutant."""
        def run() -> bool:
            log = self.work / f"{name}.log"
            if self.run_on_machine(command, program, self.work, log) != 0:
                raise ToolFault(f"{name} fails without a mutant: see {log}")
            return True

        self.recall(f"run of {name}", digest_of_file(program), run)

    def run_on_machine(self, command: list[str], program: pathlib.Path, slot: pathlib.Path, log: pathlib.Path) -> int:
        """The environment of a run. Several may run at a time, so each has its own folder for its machine."""
        machines = slot / "machines"
        try:
            return self.call(command, self.root, log, MACHINE_SECONDS,
                             {"ORV_PROGRAM": str(program), "BENCH_CASES": str(machines)})
        finally:
            shutil.rmtree(machines, ignore_errors=True)

    def judge_on_machines(self, verdict: Verdict, text: str, slot: pathlib.Path, every: bool) -> None:
        """Whole-machine runs of the shipped executable, built with the mutant."""
        file = verdict.mutant.file
        release = self.root / "build/release"
        commands = self.read_compile_commands(release).get(file, [])
        shutil.rmtree(slot / "libraries", ignore_errors=True)
        executable = self.link(self.link_command(release, "ORVCleanupUtility.exe"), commands, text, file, slot, release,
                               {})
        if executable is None:
            raise ToolFault(f"the release executable can't be linked with {file}: see {slot}")
        for name, command in self.machine_cases():
            status = self.run_on_machine(command, executable, slot, slot / "run.log")
            verdict.programs_run += 1
            if status == 0:
                continue
            self.prove_unchanged(name, command, release / "ORVCleanupUtility.exe")
            if verdict.outcome == "survived":
                verdict.outcome = "timeout" if status == 124 else "noticed"
                verdict.stage, verdict.program = "machine", name
            verdict.tests.append(name)
            if not every:
                return


def session_members(leader: int) -> list[int]:
    """The processes of a session, its leader first. `timeout` has its own process group but the same session."""
    members = []
    for entry in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            session = int(entry.read_text().rpartition(")")[2].split()[3])
        except (OSError, IndexError, ValueError):
            continue  # it has ended
        if session == leader:
            members.append(int(entry.parent.name))
    return sorted(members, key=lambda member: member != leader)


def digest_of_file(path: pathlib.Path) -> str:
    return hashlib.sha256(path.read_bytes()).hexdigest()


def failed_tests(output: str) -> list[str]:
    """The failed tests of a GoogleTest program; if it crashed, the one that was running."""
    failed = list(dict.fromkeys(re.findall(r"^\[  FAILED  \] ([\w/]+\.[\w/]+)", output, re.MULTILINE)))
    started = re.findall(r"^\[ RUN      \] ([\w/]+\.[\w/]+)", output, re.MULTILINE)
    ended = re.findall(r"^\[(?:       OK |  FAILED  |  SKIPPED )\] ([\w/]+\.[\w/]+)", output, re.MULTILINE)
    if not failed and started and started[-1] not in ended:
        failed = [started[-1]]
    return failed
