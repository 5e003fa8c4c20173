"""What else a run deals with: the install manager, old installers, the update cache, system tools, safe mode."""

from __future__ import annotations

from bench.session import REBOOT_REQUIRED, RUN_SILENT, Record, hold
from bench.surroundings import HOST, UPDATE_CACHE, give_expand, put_surroundings, surrounding_lines, surrounding_rows
from case import SYSTEM_INFORMATION, Case, use_own
from checks import (
    check_gone,
    check_gone_exactly,
    check_gone_at_restart,
    check_in_order,
    check_log_form,
    check_logged,
    check_logged_code,
    check_only_allowed_changes,
    check_rows_present,
    check_same,
    check_section,
    expected_stages,
    IN_SAFE_MODE,
    ON_A_VIRTUAL_MACHINE,
)

RUN_ONCE = r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\RunOnce"
HANDLE_COMMANDS = "-----------HandleCommands Getting all data-------------"
HANDLE_TASKS = "-----------HandleScheduledTasks Getting all data-------------"


def test_around_the_run(case: Case) -> None:
    """The install manager's tracker file with commands and rows of every kind, the folders of old installers, and the update
    cache with a driver package. Everything listed is removed, every neighbour stays."""
    rows = surrounding_rows()
    case.plant(surrounding_lines())
    give_expand(case.machine, case.build)
    put_surroundings(case.machine, case.build)
    tracked, neighbour = (rf"C:\bench\running\{name}.exe" for name in ("tracked", "xtracked"))
    run = case.run(("start-process", tracked), ("start-process", neighbour), RUN_SILENT)
    assert run.record.exits == [0]
    assert run.record.processes == {tracked: "ended", neighbour: "running"}
    # The commands, in order: one ended and left its mark; one timed out after a second and kept running until the process
    # stage; one is missing, which only costs a log line.
    assert case.commands("stop.exe") == [rf'"{HOST}\stop.exe" -quiet "two words"']
    check_section(
        run.log,
        HANDLE_COMMANDS,
        [
            rf'handlePKMTrackerBinaries -- launch process {HOST}\stop.exe -- -quiet "two words" -- 2 ',
            rf'Process {HOST}\stop.exe -quiet "two words" completed with exit code 0',
            rf"handlePKMTrackerBinaries -- launch process {HOST}\hang.exe --  -- 2 ",
            rf"Process {HOST}\hang.exe  completed with exit code 259",
            rf"handlePKMTrackerBinaries -- launch process {HOST}\missing.exe -- -x -- 2 ",
        ],
    )
    check_logged(run.log, rf"Found an ORV driver in the Windows Update Cache: {UPDATE_CACHE}\driver.cab")
    check_logged(run.log, r"Excluding C:\ORV\Packages\registered")
    check_rows_present(case, run, rows)
    check_gone_exactly(case, run, case.rows + rows)
    check_only_allowed_changes(case, run)


def test_commands_reach_the_tools(case: Case) -> None:
    """The system tools get exactly these command lines: PowerShell one for each store app of the manifest, the task
    scheduler's tool one for each listed task. A recording program replaces them."""
    case.plant([("task", task) for task in case.listed("task")] + use_own("schtasks.exe"))
    case.record_calls_of(r"WindowsPowerShell\v1.0\powershell.exe", "schtasks.exe")
    run = case.run()
    assert run.record.exits == [0]
    # Recorded commands are not carried out, so the tasks stay, and there was nothing else to remove.
    check_gone(run, [])
    check_only_allowed_changes(case, run)
    powershell = r"C:\windows\System32\WindowsPowerShell\v1.0\powershell.exe"
    check_in_order(
        "the commands for PowerShell",
        [
            f'{powershell} "Get-AppxPackage -AllUsers "{app}" | Remove-AppxPackage -AllUsers"'
            for app in case.manifest["InclusionList"]["UWP"]
        ],
        case.commands("powershell.exe"),
    )
    # The run does not wait for task deletions, so their lines come in any order.
    check_same(
        "the commands for the task scheduler",
        [f'schtasks /delete /TN "{task}" /F' for task in case.listed("task")],
        case.commands("schtasks.exe"),
    )
    # The command for the support type's task names a folder with a variable that nothing expands: it fails but counts as run.
    support = 'schtasks /Run /TN "ORVScoSupportTypeUpdate"'
    check_section(
        run.log,
        HANDLE_TASKS,
        [
            f"Failed Applications uninstall : cmd: {support} ,error code\t:\t267",
            f"Able to run ORVScoSupportTypeUpdate  : {support} ",
        ],
    )
    check_log_form(run.log)


def test_safe_mode_road(case: Case) -> None:
    """The complete path through safe mode. The first run registers the command that starts the program again, requests the
    restart and removes nothing but tasks. When the machine starts it carries that command out, and the second run cleans the
    machine and takes safe mode out of the boot settings. Wine has no safe boot, and a second run in a normal boot would ask
    for the restart again; so the machine becomes a virtual machine at its restart, where the same command line runs in
    place."""
    case.plant(
        [
            *case.leftover_lines(),
            *use_own("shutdown.exe"),
            ("value", SYSTEM_INFORMATION, "SystemProductName", "Workstation"),
            ("key", RUN_ONCE),
        ]
    )
    case.record_calls_of("bcdedit.exe", "shutdown.exe")
    key = SYSTEM_INFORMATION.replace("HKEY_LOCAL_MACHINE", "HKLM")
    first = case.run(
        ("run-until", r"C:\bench\commands.log", "shutdown", r"C:\bench\ORVCleanupUtility.exe silent safemode"),
        ("record-value", RUN_ONCE, "*ORV CLEANUP UTILITY"),
        # For the run after the restart.
        ("run", f'reg.exe add "{key}" /v SystemProductName /d "Virtual Machine" /f'),
    )
    command = first.record.values[RUN_ONCE, "*ORV CLEANUP UTILITY"]
    assert command == r'"C:\bench\ORVCleanupUtility.exe" silent safemode'
    batch = case.machine.host_path(case.facts.temp + r"\safemode.bat").read_bytes()
    assert batch == b"@echo off\r\nbcdedit /set {current} safeboot network\r\nshutdown -r -f -t 0\r\n"
    assert case.commands("bcdedit.exe") == ["bcdedit /set {current} safeboot network"]
    assert case.commands("shutdown.exe") == ["shutdown -r -f -t 0"]
    check_gone_exactly(case, first, [row for row in case.manifest_rows if row.kind == "task"])
    sequence = "-----------Deletion of Preuninstall Registries Values Started-------------"
    assert sequence not in first.log.messages, "the sequence is for the second run"

    # The machine starts the program from the entry that the first run left, before anything else, and waits until it ends.
    (case.machine.bench / "commands.log").unlink()
    first.after = case.restart()
    del first.difference
    log = case.log()
    check_gone_exactly(case, first, case.rows)
    assert not [thing for thing in first.after if thing.name == "*ORV CLEANUP UTILITY"], "the command is carried out once"
    stages = expected_stages("stages_everything_listed.txt", IN_SAFE_MODE, ON_A_VIRTUAL_MACHINE)
    check_in_order("the stages in the log", stages, log.stages)
    assert case.commands("bcdedit.exe") == ["bcdedit /deletevalue {current} safeboot"]
    assert case.commands("shutdown.exe") == [], "no second restart is asked for"


def test_silent_reboot(case: Case) -> None:
    """`silent reboot`: the run restarts the machine at its end without asking. The restart ends every program, including the
    one that started the run, deletes what was marked, and clears the notice that a restart is due."""
    held = r"C:\Program Files\ORV\KO\held.dll"
    neighbour = r"C:\Program Files\Other\held.dll"
    case.plant([*case.leftover_lines(), ("file", held), ("file", neighbour)])
    run = case.run_until_restart(
        ("start-process", r"C:\bench\waiting_program.exe"),
        ("hold-file", held),
        ("hold-file", neighbour),
        ("run", r"C:\bench\ORVCleanupUtility.exe silent reboot"),
    )
    # The session records these after the run, so they only appear if the machine does not restart.
    assert run.record == Record(), "the session has gone on behind the run"

    # The file that was held open and its folder were marked and are gone like everything else. Nothing is left pending.
    check_rows_present(case, run, case.rows)
    check_gone_exactly(case, run, case.rows)
    check_only_allowed_changes(case, run)
    pending = [thing for thing in run.after if "PendingFileRenameOperations" in str(thing)]
    check_same("the restart has left pending work", [], pending)
    check_gone_at_restart(run, case.restart(), [])

    # The notice for other programs that a restart is due is gone.
    assert hold(case.machine, [("record-value", *REBOOT_REQUIRED)]).reboot_required == "absent"

    check_log_form(run.log)
    will_restart = ("run silently", "---------------------CleanUp will restart the machine after running--------------------")
    check_in_order(
        "the stages in the log", expected_stages("stages_everything_listed.txt", will_restart), run.log.stages
    )
    check_logged_code(run.log, f"FileOperation::Delete - Mark File[{held}] as deleted until reboot")
    assert run.log.messages[-1] == "Reboot is required to finish cleanup."
