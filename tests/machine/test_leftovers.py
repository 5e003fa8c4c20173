"""Leftovers of the maker's software are removed; what is protected and what only resembles them stays."""

from __future__ import annotations

from bench.planting import lines_for
from bench.rows import Row
from bench.session import RUN_SILENT
from bench.snapshot import Thing
from case import Case
from checks import (
    PENDING_RENAMES,
    check_gone,
    check_gone_at_restart,
    check_gone_exactly,
    check_log_form,
    check_logged,
    check_logged_code,
    check_marked,
    check_only_allowed_changes,
    check_protected_present,
    check_rows_present,
    check_section,
    check_stages,
    check_in_order,
)

PACKAGES_KEY = r"HKEY_LOCAL_MACHINE\SOFTWARE\KTL Systems\Install\Packages"
FAILED_SERVICES = "-----------Failed Stopping Services---------------"
FAILED_KEYS = "-----------Failed Deletion of Registry Keys---------------"
FAILED_VALUES = "-----------Failed Deletion of Registry Values---------------"
FAILED_FIRST_VALUES = "-----------Failed Deletion of PreUninstall Registry Values---------------"
EXCLUDED_GPUS = "-----------Excluding GPU's-------------"


def test_everything_listed_goes(case: Case) -> None:
    """The machine has something for every generic row and every rule of the program, and next to each a neighbour that the row
    does not cover. Everything listed is removed, everything else stays bit for bit."""
    case.plant_all_leftovers()
    images = case.listed("process")
    service = case.listed("service")[0]
    neighbour = service[:-1] + "x"
    run = case.run(
        *case.put_waiting_programs(images),
        ("start-service", service),
        ("start-service", neighbour),
        RUN_SILENT,
        ("record-service", service),
        ("record-service", neighbour),
    )
    assert run.record.exits == [0]
    for image in images:
        assert run.record.processes[rf"C:\bench\running\{image}"] == "ended"
        assert run.record.processes[rf"C:\bench\running\x{image}"] == "running"
    assert run.record.services == {service: "absent", neighbour: "running"}

    check_rows_present(case, run, case.rows)
    check_gone_exactly(case, run, case.rows)
    check_only_allowed_changes(case, run)
    # A folder that contains something protected can't be removed and is marked; nothing asks for a restart.
    check_marked(run, case.listed_folders_that_stay(run.after))
    assert run.record.reboot_required == "absent"
    # Those folders are still not empty at the restart.
    check_gone_at_restart(run, case.restart(), [PENDING_RENAMES])
    check_log_form(run.log)
    check_stages(run.log, "stages_everything_listed.txt")
    check_section(run.log, FAILED_SERVICES, case.absent_driver_services(run.before))


def test_everything_protected_stays(case: Case) -> None:
    """Everything of the maker's on the machine is protected: by the manifest's exclusion rows, by `saveORV` (the install
    manager's folder) and by `gpu` (the key of the installed packages). All of it stays."""
    protected = [row for row in case.manifest_rows if row.fate == "kept"]
    protected += [Row("kept", "folder", r"C:\Program Files\ORV\PKM"), Row("kept", "key", PACKAGES_KEY)]
    case.plant(lines_for(protected))
    run = case.run(("run", r'C:\bench\ORVCleanupUtility.exe silent saveORV gpu "7A11&744C"@"7A11&164E"'))
    assert run.record.exits == [0]
    check_protected_present(case, run, protected)
    check_gone(run, [])
    check_only_allowed_changes(case, run)
    check_gone_at_restart(run, case.restart(), [PENDING_RENAMES])
    check_log_form(run.log)
    check_section(run.log, EXCLUDED_GPUS, ["7A11-744C", "7A11-164E"])


def test_switches_keep_what_they_name(case: Case) -> None:
    """A full machine and the switches `saveORV` and `gpu`: the install manager's folder and the key of the installed packages
    stay with everything in them, and everything else that is listed is removed as usual."""
    case.plant([*case.leftover_lines(), ("value", PACKAGES_KEY + r"\Graphics", "Version", "24.10")])
    run = case.run(("run", r'C:\bench\ORVCleanupUtility.exe silent saveORV gpu "7A11&744C"'))
    assert run.record.exits == [0]
    check_rows_present(case, run, case.rows)
    kept = [Row("kept", "folder", r"C:\Program Files\ORV\PKM"), Row("kept", "key", PACKAGES_KEY)]
    check_gone_exactly(case, run, case.rows + kept)
    check_only_allowed_changes(case, run)
    check_log_form(run.log)
    check_section(run.log, EXCLUDED_GPUS, ["7A11-744C"])


def test_nothing_present(case: Case) -> None:
    """Nothing of the maker's is on the machine but its devices. The run succeeds and changes nothing but what every run
    changes. Rows that match nothing are listed as failed if their kind is reported that way."""
    run = case.run()
    assert run.record.exits == [0]
    check_gone(run, [])
    check_only_allowed_changes(case, run)
    assert run.record.reboot_required == "absent"
    # A missing folder is marked for the restart like one that can't be removed.
    check_marked(run, case.listed("folder"))
    check_gone_at_restart(run, case.restart(), [PENDING_RENAMES])
    check_log_form(run.log)
    check_stages(run.log, "stages_nothing_present.txt")
    check_section(run.log, FAILED_SERVICES, case.listed("service") + case.absent_driver_services(run.before))
    users = [f"HKEY_USERS\\{user}\\Software\\{key}" for user in (".Default", case.facts.sid) for key in ("ORV", "KTL")]
    check_section(run.log, FAILED_KEYS, case.listed("key") + case.listed("empty-key") + users)
    check_section(run.log, FAILED_VALUES, case.listed("value"))
    check_section(
        run.log,
        FAILED_FIRST_VALUES,
        [
            r"HKEY_LOCAL_MACHINE\SOFTWARE\QBX\UmaCarveoutModePreserved",
            r"HKEY_LOCAL_MACHINE\SOFTWARE\QBX",
            r"HKEY_CURRENT_USER\SOFTWARE\ORV\LM\Audio",
        ],
    )


def test_what_resists(case: Case) -> None:
    """A full machine on which some things can't be removed at once: files that are held open, a registry key that refuses
    deletion, a service that does not stop. Each is reported or marked as it should be, everything else is removed, and the
    next restart deletes what was marked."""
    held = r"C:\Program Files\ORV\KO\held.dll"
    held_log = r"C:\Program Files\ORV\LM\held.log"
    held_cache = case.facts.local_app_data + r"\ORV\ShaderCache\held.bin"
    refusing_key = r"HKEY_LOCAL_MACHINE\SOFTWARE\ORV\HLX"
    service = case.listed("service")[0]
    lines = [line for line in case.leftover_lines() if line[:2] != ("service", service)]
    lines += [("service", service, r"C:\bench\service_program.exe hang")]
    lines += [("file", file) for file in (held, held_log, held_cache)]
    case.plant(lines)
    run = case.run(
        ("start-service", service),
        *(("hold-file", file) for file in (held, held_log, held_cache)),
        ("refuse-delete", refusing_key),
        RUN_SILENT,
    )
    assert run.record.exits == [0]
    kept = [Row("kept", "file", file) for file in (held, held_log, held_cache)] + [Row("kept", "key", refusing_key)]
    check_rows_present(case, run, case.rows)
    check_gone_exactly(case, run, case.rows + kept)
    check_only_allowed_changes(case, run)
    # A log file that can't be deleted is left alone; the others are marked, and so are the folders that contain them.
    check_marked(run, [*case.listed_folders_that_stay(run.after), held, held_cache])
    assert run.record.reboot_required == "1"
    check_gone_at_restart(
        run,
        case.restart(),
        [
            Thing("file", held),
            Thing("file", held_cache),
            Thing("folder", held.rpartition("\\")[0]),
            Thing("folder", held_cache.rpartition("\\")[0]),
            PENDING_RENAMES,
        ],
    )
    check_log_form(run.log)
    check_stages(run.log, "stages_what_resists.txt")
    check_section(run.log, FAILED_SERVICES, [service, *case.absent_driver_services(run.before)])
    check_section(run.log, FAILED_KEYS, [refusing_key])
    check_logged(run.log, f"FileOperation::Delete - Skip deletion of log file [{held_log}], Error Code[32]")
    for file in (held, held_cache):
        check_logged_code(run.log, f"FileOperation::Delete - Mark File[{file}] as deleted until reboot")
    check_logged(run.log, "\t is a temp file")
    check_logged(run.log, "Reboot is required to finish cleanup.")


def test_links_and_names(case: Case) -> None:
    """Files behind a link in a listed folder stay. Unusual but real names (blanks, percent signs, umlauts, other scripts,
    paths of more than 260 characters) are removed like any other."""
    listed = r"C:\Program Files\ORV\KO"
    long_path = listed + "\\a folder with a name of fifty characters, no fewer..x" * 7
    case.plant(
        [
            ("file", r"C:\Outside\important.txt"),
            ("file", r"C:\Outside\deeper\important too.txt"),
            ("read-only-file", r"C:\Outside\read only.txt"),
            ("file", r"C:\Outside the second\important.txt"),
            ("file", r"C:\Program Files\ORV\not listed.txt"),
            ("file", listed + r"\two  blanks.txt"),
            ("file", listed + r"\%PATH% and 100%.txt"),
            ("file", listed + r"\Größe\Übersicht.txt"),
            ("file", listed + r"\日本語\設定.dat"),
            ("file", listed + r"\😀\party 🎉.bin"),
            ("file", listed + r"\(brackets) [and] {braces} & 'quotes' ^ ~ #.txt"),
            ("read-only-file", listed + r"\Größe\schreibgeschützt 只读.txt"),
            ("file", long_path + r"\at the end.txt"),
        ]
    )
    # A link inside a listed folder, and a listed folder that is a link.
    maker = case.machine.drive / "Program Files" / "ORV"
    (maker / "KO" / "way out").symlink_to("../../../Outside")
    (maker / "LM").symlink_to("../../Outside the second")
    run = case.run()
    assert run.record.exits == [0]
    # Wine refuses to remove a link to a folder that is not empty, where Windows removes the link. So the links and the
    # folders that contain them stay here and are marked. Not one file behind them may be gone.
    links = [Row("kept", "file", rf"C:\Program Files\ORV\{name}") for name in (r"KO\way out", "LM")]
    check_gone_exactly(case, run, case.rows + links)
    check_marked(run, [*case.listed("folder"), listed + r"\way out"])
    check_only_allowed_changes(case, run)
    check_gone_at_restart(run, case.restart(), [PENDING_RENAMES])
    check_log_form(run.log)
    check_stages(run.log, "stages_nothing_present.txt")


def test_two_silent_runs(case: Case) -> None:
    """Two silent runs at the same time are both carried out: neither refuses, both succeed, and the machine is as clean as
    after one."""
    case.plant_all_leftovers()
    run = case.run(("run-twice", r"C:\bench\ORVCleanupUtility.exe silent"))
    assert run.record.exits == [0, 0]
    check_gone_exactly(case, run, case.rows)
    # If one of them is reading a folder that the other removes, its run ends there, and the setting that it switched off
    # stays off.
    searching = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\DriverSearching"
    check_only_allowed_changes(case, run, ("changed", "value", searching, "SearchOrderConfig"))


def test_unwritable_manifest(case: Case) -> None:
    """The manifest can't be extracted because a folder has its name. The run ends before anything is removed and logs that;
    the exit code is 0 as always."""
    case.plant([*case.leftover_lines(), ("folder", case.facts.work_folder + r"\ScrubList.JSON")])
    run = case.run()
    assert run.record.exits == [0]
    check_rows_present(case, run, case.rows)
    check_gone(run, [])
    check_only_allowed_changes(case, run)
    check_marked(run, [])
    check_log_form(run.log)
    stages = ["---------------------CleanUp will run silently--------------------"]
    stages += ["------------------Parsing JSON -----------------"]
    check_in_order("the stages in the log", stages, run.log.stages)
    check_logged(run.log, "Loading ScrubList.JSON File Failed!!!")
    check_logged(run.log, "CleanUp:: No such node (Generic.ScheduledTasks)")
