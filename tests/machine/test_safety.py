"""Obstacles and attacks: links, odd names, files that Windows protects, and other people's libraries, programs and files.
Nothing of theirs is removed, used or started."""

from __future__ import annotations

import json
import re
import shutil
from collections.abc import Iterable

from bench import ROOT
from bench.device_outcomes import Outcomes
from bench.facts import PROGRAMS
from bench.planting import Line, read_lines
from bench.rows import Row
from bench.session import PROGRAM, RUN_SILENT
from bench.snapshot import Thing, texts_at
from bench.surroundings import give_expand, put_cached_driver
from case import SYSTEM_INFORMATION, Case, Run, use_own
from checks import (
    PROTECTED_FILES,
    check_gone,
    check_gone_exactly,
    check_log_form,
    check_logged,
    check_marked,
    check_only_allowed_changes,
    check_same,
    check_section,
)
from test_devices import check_devices

FAILED_FILES = "-----------Failed Deletion of Files---------------"
FAILED_FOLDERS = "-----------Failed Deletion of Directories---------------"
FAILED_DRIVER_FILES = "-----------Failed Deletion of Driver Files ---------------"
SYSTEM = r"C:\windows\system32"


def test_links_above(case: Case) -> None:
    """The maker's folders for all users, its Start Menu folder and the folder of old installers are links into a user's own
    folders. Rows below them are not carried out: each has one line in the log and counts as failed, and not one of the user's
    files is removed. Everything else that is listed is."""
    case.plant([("file", r"C:\Program Files\ORV\KO\goes.dll"), ("file", r"C:\ProgramData\KTL\LM\goes.dat")])
    shortcuts = rf"{PROGRAMS}\Brimwood Install Manager"
    link_to_own(case, r"C:\ProgramData\Brimwood", "films", r"Downloads\thesis.txt", r"Downloads\holiday\film.bin")
    link_to_own(case, r"C:\ProgramData\ORV", "letters", "orv-inventory-2025.dat", r"Telemetry\letter.txt")
    case.machine.host_path(rf"{own_folder(case)}\letters\PKM\empty").mkdir(parents=True)
    link_to_own(case, shortcuts, "shortcuts", "Brimwood Install Manager.lnk")
    link_to_own(case, r"C:\ORV", "games", r"Packages\save\game.bin", r"ORV-Brimwood-1\game.bin")
    run = case.run()
    assert run.record.exits == [0]
    check_gone_exactly(case, run, [*case.rows, Row("kept", "file", shortcuts)])
    check_only_allowed_changes(case, run)

    def below_links(kind: str) -> list[str]:
        return [text for text in case.listed(kind) if re.match(r"C:\\ProgramData\\(Brimwood|ORV)\\", text, re.IGNORECASE)]

    folders, files = below_links("folder"), below_links("file")
    assert folders and files
    # What could be removed at once need not be marked.
    others = [folder for folder in case.listed("folder") if folder not in folders]
    check_marked(run, [folder for folder in others if Thing("folder", folder) not in run.gone])
    check_section(run.log, FAILED_FOLDERS, folders)
    check_section(run.log, FAILED_FILES, files)
    check_same(
        "the rows that are not carried out, each with one line",
        [
            f"Row[{row}] leads to another place through a link and is not carried out"
            for row in [*folders, *files, rf"{shortcuts}\Brimwood Install Manager.lnk"]
        ],
        [message for message in run.log.messages if message.startswith("Row[")],
    )
    check_log_form(run.log)


def own_folder(case: Case) -> str:
    return case.facts.user_profile + r"\Documents"


def link_to_own(case: Case, place: str, name: str, *files: str) -> None:
    """A link in one of the maker's places to a folder with a user's own files."""
    folder = case.machine.host_path(rf"{own_folder(case)}\{name}")
    folder.mkdir(parents=True)
    for file in files:
        precious = folder / file.replace("\\", "/")
        precious.parent.mkdir(parents=True, exist_ok=True)
        precious.write_text("precious\n")
    case.machine.host_path(place).symlink_to(folder)


def test_odd_names(case: Case) -> None:
    """Listed folders contain names that a plain path cannot express: they end in dots or blanks, or are device names. What
    such a path would mean instead is a link to somebody's own files. The odd names are removed, and nothing behind the links
    is."""
    listed = r"C:\Program Files\ORV\KO"
    package = r"C:\ORV\Packages\linked"
    outside = case.machine.drive / "Outside"
    (outside / "deeper").mkdir(parents=True)
    for name in ("file.dll", "inner", "deeper/file.dll"):
        (outside / name).write_text("precious\n")
    names = ("sub.", "blank ", "dots...", "mixed. .", "NUL", "COM1", "aux.txt")
    plant_odd_names(case, listed, *names)
    plant_odd_names(case, r"C:\ORV\Packages\setup", *names)
    plant_odd_names(case, package, "sub.")
    # What plain paths with these names would mean.
    links = [rf"{listed}\{name}" for name in ("sub", "blank", "dots", "mixed")]
    for link in [*links, rf"{package}\sub"]:
        case.machine.host_path(link).symlink_to(outside)
    run = case.run()
    assert run.record.exits == [0]
    # Wine refuses to remove a link to a folder that is not empty, where Windows removes the link. So the links and the
    # folders that contain them stay here.
    kept = [Row("kept", "file", link) for link in [*links, rf"{package}\sub"]]
    check_gone_exactly(case, run, [*case.rows, Row("listed", "folder", r"C:\ORV"), *kept])
    check_marked(run, case.listed("folder") + links)
    check_only_allowed_changes(case, run)
    check_logged(run.log, rf"Deleting file: {package}\sub.\file.dll.")
    check_logged(run.log, rf"{listed}\NUL\inner. \LPT1")
    check_log_form(run.log)


def plant_odd_names(case: Case, place: str, *names: str) -> None:
    """Creates folders with such names in a folder of the drive, with odd names in each. No program on the machine could."""
    folder = case.machine.host_path(place)
    for name in names:
        (folder / name / "inner. ").mkdir(parents=True)
        for file in ("file.dll", "file.dll.", "inner. /LPT1"):
            (folder / name / file).write_text("x\n")
    (folder / "Case.txt").write_text("x\n")
    (folder / "CASE.TXT").write_text("x\n")


def sound_lines(number: int, *files: str) -> list[Line]:
    """A sound device of the maker's with its driver package and its driver files."""
    device = rf"HDAUDIO\FUNC_01&VEN_7A11&DEV_AA0{number}"
    maker = "Orvane Devices, Inc."
    return [
        ("device", rf"{device}\0000", "MEDIA", "Orvane High Definition Audio Device", f"hwids={device}"),
        ("driver-node", rf"{device}\0000", f"oem5{number}.inf", maker, maker, "10.0.1.30", f"files={'|'.join(files)}"),
        ("package", f"oem5{number}.inf", "MEDIA", maker, "orvsound.cat"),
        *(("file", file) for file in files),
    ]


def check_sound_gone(case: Case, run: Run, number: int, *files: str) -> None:
    """Exactly the device with its package, and the files and folders, are gone."""
    outcomes: Outcomes = {("file", file): "gone" for file in files}
    outcomes["device", rf"HDAUDIO\FUNC_01&VEN_7A11&DEV_AA0{number}\0000"] = "gone"
    outcomes["package", f"oem5{number}.inf"] = "gone"
    check_devices(case, run, outcomes)


def check_refusals(run: Run, expected: Iterable[str]) -> None:
    """The ERROR lines about protected files."""
    found = [line.split("\t", 3) for line in run.log.lines if "protected by Windows" in line]
    check_same("the ERROR lines about protected files", expected, [line[3] for line in found if line[2] == "ERROR"])


def test_windows_own_files(case: Case) -> None:
    """Files that Windows protects stay, whether they belong to a removed driver, a row names them, a pattern matches them or a
    listed folder contains them. Their neighbours are removed. A second run, on a machine that can no longer say what it
    protects, removes the maker's files all the same and keeps what a driver shares with Windows."""
    shared = r"C:\Program Files\Common Files\Sound"
    driver, driver_kept = rf"{SYSTEM}\drivers\orvsound.sys", rf"{SYSTEM}\drivers\portcls.sys"
    elsewhere, elsewhere_kept = rf"{shared}\orvfx.dll", rf"{shared}\effects.dll"
    row, row_kept = r"C:\windows\syswow64\orvtelemetry.dat", rf"{SYSTEM}\orvtelemetry.dat"
    pattern, pattern_kept = rf"{SYSTEM}\ORV\gpu-2.log", rf"{SYSTEM}\ORV\gpu-1.log"
    walk, walk_kept = (rf"{SYSTEM}\ORV\Telemetry\deeper\{name}.dat" for name in ("other", "of windows"))
    # Neither below the Windows folder nor a driver file: Windows is not asked.
    row_elsewhere = r"C:\Program Files\ORV\lumio-setup-1.log"
    planted = [row_kept, row, pattern_kept, pattern, rf"{SYSTEM}\ORV\other.log", walk_kept, walk, row_elsewhere]
    protected = [driver_kept, elsewhere_kept, row_kept, pattern_kept, walk_kept, row_elsewhere]
    case.plant(
        [
            *sound_lines(1, driver, driver_kept, elsewhere_kept, elsewhere),
            *(("file", file) for file in planted),
            ("texts", PROTECTED_FILES, "Files", "|".join(protected)),
        ]
    )
    run = case.run()
    assert run.record.exits == [0]
    check_sound_gone(case, run, 1, driver, elsewhere, row, pattern, walk, row_elsewhere)
    asked = [driver, driver_kept, elsewhere_kept, elsewhere, row_kept, row, pattern_kept, pattern, walk_kept, walk]
    check_same("the files that Windows was asked about", asked, texts_at(run.after, PROTECTED_FILES, "Asked"))
    as_listed = [file.replace(SYSTEM, r"C:\Windows\System32") for file in (row_kept, pattern_kept, walk_kept)]
    check_refusals(
        run,
        [
            f"ExecuteActions - File[{file}] is protected by Windows and is not deleted"
            for file in [driver_kept, elsewhere_kept, *as_listed]
        ],
    )
    check_section(run.log, FAILED_DRIVER_FILES, [driver_kept, elsewhere_kept])
    check_section(run.log, FAILED_FILES, as_listed)
    check_log_form(run.log)

    case.machine.host_path(case.facts.log).unlink()  # the second run writes a new one
    case.plant([*sound_lines(2, driver, driver_kept), ("number", PROTECTED_FILES, "Error", "1084")])
    run = case.run()
    assert run.record.exits == [0]
    check_sound_gone(case, run, 2, driver, row_kept, pattern_kept, rf"{SYSTEM}\ORV\Telemetry")
    doubt = "may be protected by Windows, which does not say, and is not deleted, Error Code[1084]"
    check_refusals(run, [f"ExecuteActions - File[{driver_kept}] {doubt}"])
    check_section(run.log, FAILED_DRIVER_FILES, [driver_kept])
    check_log_form(run.log)


def test_planted_libraries(case: Case) -> None:
    """Libraries next to the program, and in the folder from which it is started, are not loaded, even if the program needs
    libraries with these names: the run uses the machine's own and does its work."""
    # Wine has no known libraries, so files with their names are not planted. Its user32 needs version, which Windows' user32
    # does not, and would load the planted one.
    delayed = {file.stem for file in (ROOT / "src" / "system" / "delayed").glob("*.def")}
    assert delayed
    libraries = sorted({"srclient", "sfc"} | delayed - {"version"})
    # Without this, Wine prefers its built-in library to a file next to a program.
    overrides = rf"HKEY_CURRENT_USER\Software\Wine\AppDefaults\{PROGRAM}\DllOverrides"
    case.plant(
        [
            *read_lines("devices.tsv"),
            *case.leftover_lines(),
            ("folder", r"C:\downloads"),
            *(("value", overrides, library, "native,builtin") for library in libraries),
        ]
    )
    places = [rf"C:\{folder}\{library}.dll" for library in libraries for folder in ("bench", "downloads")]
    case.machine.put(case.build.bench / "planted_library.dll", *places)
    run = case.run(("enter", r"C:\downloads"), RUN_SILENT)
    assert run.record.exits == [0]
    loaded = case.machine.bench / "loaded.log"
    assert not loaded.exists(), f"planted libraries were loaded:\n{loaded.read_text()}"
    # The machine's own were loaded: devices are removed through one, the report reads a version through another.
    check_logged(run.log, "-----------Drivers Eligible to Unistall-------------")
    check_logged(run.log, FAILED_DRIVER_FILES)


def test_planted_programs(case: Case) -> None:
    """Programs with the names of system tools are next to the program, in the folder from which it is started and on the PATH.
    None of them is started: the run and the batch file for the restart call the tools in the system folder."""
    tools = ("bcdedit", "cmd", "expand", "msiexec", "net", "powershell", "schtasks", "shutdown", "taskkill")
    recorded = ("bcdedit.exe", "shutdown.exe", r"WindowsPowerShell\v1.0\powershell.exe")
    folders = (r"C:\bench", r"C:\downloads", r"C:\elsewhere")
    # Without this, Wine prefers its built-in program to a file of that name.
    overrides = r"HKEY_CURRENT_USER\Software\Wine\DllOverrides"
    case.plant(
        [
            *(("task", task) for task in case.listed("task")),
            ("value", SYSTEM_INFORMATION, "SystemProductName", "Workstation"),
            *(("folder", folder) for folder in folders[1:]),
            *(("value", overrides, f"{tool}.exe", "native,builtin") for tool in tools),
        ]
    )
    places = [rf"{folder}\{tool}.{ending}" for tool in tools for folder in folders for ending in ("exe", "com")]
    case.machine.put(case.build.bench_program("recorder"), *places)
    case.record_calls_of(*recorded)
    give_expand(case.machine, case.build)
    cached_driver = put_cached_driver(case.machine)
    process = rf"C:\bench\running\{case.listed('process')[0]}"
    case.machine.put(case.build.bench_program("waiting_program"), process)
    run = case.run(
        ("enter", r"C:\downloads"),
        ("set-variable", "Path", r"C:\elsewhere"),
        ("set-variable", "PATHEXT", ".COM;.EXE"),
        ("start-process", process),
        RUN_SILENT,
        ("run-until", r"C:\bench\commands.log", "shutdown", r"C:\bench\ORVCleanupUtility.exe silent safemode"),
    )
    assert run.record.exits[:1] == [0]
    callers = [path.lower() for path, _ in case.calls()]
    planted = [path for path in callers if path.startswith(tuple(f"{folder}\\".lower() for folder in folders))]
    check_same("planted programs that were started", [], planted)
    # The machine's own were started: each has done its work or recorded its call.
    assert run.record.processes[process] == "ended"
    gone = [row for row in case.manifest_rows if row.kind == "task" and row.fate == "listed"]
    check_gone_exactly(case, run, [*gone, Row("listed", "file", cached_driver)])
    for tool in recorded:
        assert rf"{SYSTEM}\{tool}".lower() in callers, f"{tool} of the system folder was not called"


def test_swapped_files(case: Case) -> None:
    """Another program of the user tries to replace files that the run writes and then uses. A manifest that it holds open in
    place of the extracted one is not read; a link in that place is not written through; and the batch file for the restart
    cannot be changed while it runs."""
    machine = case.machine
    manifest = case.facts.work_folder + r"\ScrubList.JSON"
    work_folder = machine.host_path(case.facts.work_folder)
    document = r"C:\Precious\document.txt"
    case.plant(
        [
            *case.leftover_lines(),
            ("file", document),
            *use_own("shutdown.exe"),
            ("value", SYSTEM_INFORMATION, "SystemProductName", "Workstation"),
        ]
    )
    machine.put(case.build.bench_program("file_attacker"), rf"{SYSTEM}\bcdedit.exe")
    case.record_calls_of("shutdown.exe")
    work_folder.mkdir()
    theirs = {**case.manifest, "Generic": {**case.manifest["Generic"], "Files": [r"Precious\document.txt"]}}
    machine.host_path(manifest).write_text(json.dumps(theirs, indent=2), encoding="ascii")
    run = case.run(("hold-file", manifest), RUN_SILENT)
    assert run.record.exits == [0]
    check_gone(run, [])
    check_logged(run.log, "Loading ScrubList.JSON File Failed!!!")
    check_logged(run.log, "CleanUp:: No such node (Generic.ScheduledTasks)")

    # A link in place of the work folder: only the log is written behind it, and nothing is removed.
    shutil.rmtree(work_folder)
    behind = machine.host_path(r"C:\Precious\folder")
    behind.mkdir()
    work_folder.symlink_to(behind)
    run = case.run()
    check_gone(run, [])
    written = [file.name for file in behind.iterdir() if file.name != "ORVCleanup.log"]
    check_same("files written behind the link", [], written)
    work_folder.unlink()
    work_folder.mkdir()

    # A link in place of the manifest: the run replaces it and does its work. It is a hard link, because Wine deletes the
    # target of a symbolic one, where Windows deletes the link.
    precious = machine.host_path(document)
    content = precious.read_bytes()
    machine.host_path(manifest).hardlink_to(precious)
    run = case.run()
    assert run.record.exits == [0]
    assert precious.read_bytes() == content, "the run has written through the link"
    check_logged(run.log, FAILED_DRIVER_FILES)
    check_gone_exactly(case, run, [*case.rows, Row("listed", "file", manifest)])

    # The batch file. It is attacked while it runs, and its next line is still ours. This comes last, because the next start
    # of the machine would start the program again. The earlier runs call the attacker at their ends too, without a batch file;
    # those attacks do not matter.
    attacks = machine.bench / "attack.log"
    attacks.unlink(missing_ok=True)
    case.run(("run-until", r"C:\bench\commands.log", "shutdown", r"C:\bench\ORVCleanupUtility.exe silent safemode"))
    became = attacks.read_text(encoding="utf-8").splitlines()
    assert became == ["change refused", "replacement refused", "deletion refused"]
    assert case.commands() == ["shutdown -r -f -t 0"], "what the batch file has called"


def test_child_outlives_its_run(case: Case) -> None:
    """A run is terminated while a tool that it called is still running. The tool has inherited nothing that the next run
    needs: that run writes its log."""
    case.plant(use_own("expand.exe"))
    case.machine.put(case.build.bench_program("lingering_program"), rf"{SYSTEM}\expand.exe")
    cached_driver = put_cached_driver(case.machine)
    run = case.run(
        ("run-leaving", r"C:\bench\lingering.log", "at work", r"C:\bench\ORVCleanupUtility.exe silent"),
        # The next run has no reason to call the tool.
        ("run", f"cmd.exe /c del {cached_driver}"),
        RUN_SILENT,
    )
    assert run.record.exits == [0, 0]
    of_the_first = [message for message in run.log.messages if 'Launching command cmd.exe /C "expand' in message]
    check_same("the log is still that of the first run", [], of_the_first)
    check_logged(run.log, FAILED_DRIVER_FILES)
