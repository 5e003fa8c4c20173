"""Runs with windows, on a screen, with a simulated user who follows a list (bench/programs/window_driver.cpp). BENCH_KEEP=1
keeps a screenshot of each window in the case's folder."""

from __future__ import annotations

import re
import shutil
from collections.abc import Iterator

import pytest

from bench.planting import lines_with_neighbours, read_lines
from bench.products import makers, others, read_products
from bench.screen import colours, connect, crop, screen, unreadable_controls
from bench.snapshot import Thing, difference, without
from case import Case, Run
from checks import (
    check_gone,
    check_gone_exactly,
    check_in_order,
    check_log_form,
    check_marked,
    check_only_allowed_changes,
    check_rows_present,
    check_same,
    check_section,
)

TITLE = "ORV Cleanup Utility"
CONSENT = [
    f"window\tconsent\t{TITLE}",
    "control\t1\tOK",
    "control\t2\tCancel",
    "control\t-1\tThis process will remove ORV drivers and applications such as graphics drivers, audio drivers, and ORV "
    "Software. This process will not remove or modify ORV chipset drivers.",
]
# What the user sees first in every run, up to the consent dialog.
UNTIL_CONSENT = [
    f"window\tsafe-mode\t{TITLE}",
    "control\t6\t&Yes",
    "control\t7\t&No",
    "control\t-1\tORV Cleanup Utility has detected that your system is not currently in safe mode. Would you like to reboot "
    "and run in safe mode?",
    "gone",
    *CONSENT,
]
RESTART = [
    f"window\trestart\t{TITLE}",
    "control\t6\t&Yes",
    "control\t7\t&No",
    "control\t-1\tActions taken by ORV Cleanup Utility require a system reboot. Would you like to reboot now?",
    "gone",
]


def finish(outcome: str) -> list[str]:
    """The finish dialog with that text."""
    return [f"window\tfinish\t{TITLE}", "control\t1\tFinish", "control\t1000\tView Report", f"control\t1001\t{outcome}"]


@pytest.fixture
def on_screen(case: Case) -> Iterator[Case]:
    with screen() as display:
        connect(case.machine, display)
        yield case


def run_with_user(case: Case, windows: list[tuple[str, ...]], *lines: tuple[str, ...]) -> Run:
    run = case.run_with_user(windows, *lines)
    # Wine renumbers what it stores about graphics and the monitor whenever it examines the screen.
    own = re.compile(r"\\Enum\\(DISPLAY\\Default_Monitor|PCI\\VEN_0000&DEV_0000&[^\\]*)\\")
    run.before, run.after = (
        without(state, lambda thing: bool(own.search(thing.place + "\\"))) for state in (run.before, run.after)
    )
    assert run.record.exits == [0]
    assert run.record.ended == {r"C:\bench\window_driver.exe": 0}
    return run


def check_windows(case: Case, expected: list[str]) -> None:
    check_in_order("the windows and what they show", expected, case.windows_seen())


def check_pictures(case: Case, *names: str) -> None:
    """Each screenshot shows the texts of its window: there is enough contrast within each control that has a text."""
    for name in names:
        check_same(f"controls without a text in the picture {name}", [], unreadable_controls(case.pictures, name))


def test_interactive_run(on_screen: Case) -> None:
    """A complete run as a user sees it: the question about safe mode, the consent, the splash window, the finish dialog with
    the report and the About box, the question about the restart. The windows appear in this order, and the machine is clean
    afterwards."""
    case = on_screen
    case.plant(
        read_lines("program_leftovers.tsv")
        + read_lines("report_viewer.tsv")
        + lines_with_neighbours(case.manifest_rows)
    )
    run = run_with_user(case, read_lines("windows_whole_run.tsv"))
    success = "The ORV Cleanup Utility has successfully completed."
    # The dots are moving, so which of them is filled at this moment is random.
    seen = [re.sub(r"^(control\t1005\t)(○ ◉ ○|○ ○ ◉)$", r"\1◉ ○ ○", line) for line in case.windows_seen()]
    check_in_order(
        "the windows and what they show",
        [
            *UNTIL_CONSENT,
            "gone",
            f"window\tsplash\t{TITLE}",
            "control\t1004\tRemoving Drivers, Applications, Utilities",
            "control\t1013\tCleanup Utility",
            "control\t1005\t◉ ○ ○",
            "control\t1014\t—",
            "changed\t1005",
            *finish(success),
            "stays\tyes",
            "window\tabout\tAbout",
            "control\t-1\tORVCleanupUtility Version 1.0",
            "control\t-1\tCopyright (C) 2026 Orvane Devices, Inc.",
            "control\t1\tOK",
            "gone",
            *finish(success),
            "gone",
            *RESTART,
        ],
        seen,
    )
    check_pictures(case, "safe_mode", "consent", "splash", "finish", "about", "restart")
    assert case.commands() == [rf'"C:\bench\recorder.exe" "{case.facts.report}"'], "how the report was opened"
    check_rows_present(case, run, case.rows)
    check_gone_exactly(case, run, case.rows)
    check_only_allowed_changes(case, run)
    check_marked(run, case.listed_folders_that_stay(run.after))
    check_log_form(run.log)


def test_interactive_outcomes(on_screen: Case) -> None:
    """The finish dialog after problems. A product that refuses its removal gives a warning, though it is finally removed by
    force; a device for which both ways of removal fail gives a failure. Each has its own text and picture."""
    case = on_screen
    products = read_products("product_that_resists.tsv")
    case.install(others(products))
    without_the_makers = case.snapshot()
    case.install(makers(products))
    windows = read_lines("windows_outcome.tsv")

    run = run_with_user(case, windows)
    warnings = finish("The ORV Cleanup Utility has completed with warnings.")
    check_windows(case, [*UNTIL_CONSENT, "gone", *warnings, "gone", *RESTART])
    warnings_picture = keep_outcome_picture(case, "warnings")
    # The product is gone all the same.
    check_gone(run, difference(without_the_makers, run.before).added)
    check_only_allowed_changes(case, run)
    check_log_form(run.log)

    # The second run writes its own log and report.
    shutil.rmtree(case.machine.host_path(case.facts.work_folder))
    case.plant(read_lines("device_that_resists.tsv"))
    # Esc acts as the dialog's button.
    button = windows.index(("picture", "outcome")) + 1
    run = run_with_user(case, [*windows[:button], ("key", "27"), *windows[button + 1 :]])
    failure = finish("The ORV Cleanup Utility has not completed successfully.")
    check_windows(case, [*UNTIL_CONSENT, "gone", *failure, "gone", *RESTART])
    failure_picture = keep_outcome_picture(case, "failure")
    check_gone(run, [])
    check_only_allowed_changes(case, run)
    check_section(run.log, "-----------Failed Deletions of Drivers---------------", ["DisplayAudioDriver64"])
    check_log_form(run.log)
    assert warnings_picture != failure_picture, "both outcomes have the same picture"


def keep_outcome_picture(case: Case, name: str) -> bytes:
    """The picture next to the outcome's text: its position, and the size of the smallest of the three."""
    check_pictures(case, "outcome")
    picture = case.folder / f"{name}.png"
    crop(case.pictures, "outcome", picture, line=2, part="34x32+90+25")
    assert colours(picture) > 20, "there is nothing beside the text"
    (case.pictures / "outcome.png").unlink()
    return picture.read_bytes()


def test_interactive_refusals(on_screen: Case) -> None:
    """Refused runs: while Windows Update is running, and while another instance runs, for which the user then declines
    consent. The message boxes say why, and nothing is removed."""
    case = on_screen
    # There is something to remove.
    case.plant(lines_with_neighbours(case.manifest_rows))
    update = r"C:\bench\wuauclt.exe"
    case.machine.put(case.build.bench_program("waiting_program"), update)
    run = run_with_user(case, read_lines("windows_update_runs.tsv"), ("start-process", update))
    check_windows(
        case,
        [
            f"window\tupdate\t{TITLE}",
            "control\t1\tOK",
            "control\t-1\tORV Cleanup Utility cannot complete while Windows Update is running. Please finish or exit Windows "
            "Update and re-launch ORV Cleanup Utility.",
            "gone",
        ],
    )
    check_pictures(case, "windows_update")
    assert run.record.processes[update] == "running"
    check_gone(run, [])
    work_folder = Thing("folder", case.facts.work_folder)
    check_same("what has come", [work_folder, Thing("file", case.facts.log)], run.difference.added)
    check_same("what has other details", [], run.difference.changed)
    check_log_form(run.log)

    run = run_with_user(case, read_lines("windows_second_instance.tsv"))
    refusal = [f"window\trefusal\t{TITLE}", "control\t1\tOK", "control\t-1\tAnother instance is running.", "gone", "ended\t0"]
    check_windows(case, [*UNTIL_CONSENT, *refusal, *CONSENT, "gone"])
    check_pictures(case, "second_instance")
    check_gone(run, [])
    # The manifest file and the driver search setting are cleaned up only at the end of a run that the user consented to.
    search = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\DriverSearching"
    setting = Thing("value", search, "SearchOrderConfig")
    check_same("what has come", [Thing("file", case.facts.work_folder + r"\ScrubList.JSON")], run.difference.added)
    check_same("what has other details", [Thing("file", case.facts.log), setting], run.difference.changed)
    assert run.after[setting] == "dword:00000000"
    # The second instance left the first one's log alone.
    check_log_form(run.log)
