"""What the whole-machine cases assert. A check that fails says what was expected and what was found."""

from __future__ import annotations

import re
from collections import Counter
from collections.abc import Iterable, Sequence
from pathlib import Path
from typing import Any

from bench.expectation import Expectation
from bench.facts import Facts
from bench.rows import Row
from bench.run_log import RunLog
from bench.snapshot import Difference, Snapshot, Thing, difference
from case import Case, Run

EXPECTED = Path(__file__).parent / "expected"
MOST_LINES = 40

# Further stages of some runs, and behind which ones they come.
IN_SAFE_MODE = ("run silently", "---------------------CleanUp will run in safe mode--------------------")
ON_A_VIRTUAL_MACHINE = ("Parsing JSON", "------------------ VM Detected -----------------")

PROTECTED_FILES = r"HKEY_LOCAL_MACHINE\Software\Bench Protected Files"
PENDING_RENAMES = Thing(
    "value", r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager", "PendingFileRenameOperations"
)


# Added or changed, then kind, place and name of what may be so.
AllowedChange = tuple[str, str, str, str]


def allowed_changes(facts: Facts) -> list[AllowedChange]:
    """What a run may leave or change on a machine beyond what it removes: added or changed, kind, place, name; with * for
    anything but a backslash. Each with its reason."""
    restore_points = r"HKEY_LOCAL_MACHINE\Software\Bench Restore Points"
    model = r"HKEY_LOCAL_MACHINE\Software\Bench Devices"
    return [
        # The work folder, the log and the report: the run's only record.
        ("added", "folder", facts.work_folder, ""),
        ("added", "file", facts.log, ""),
        ("changed", "file", facts.log, ""),
        ("added", "file", facts.report, ""),
        ("changed", "file", facts.report, ""),
        # What could not be removed at once is deleted by the next restart.
        ("added", *PENDING_RENAMES),
        # Wine's own: the settings of the console window, written when the first console program starts without a window.
        ("added", "key", r"HKEY_CURRENT_USER\Console", ""),
        ("added", "value", r"HKEY_CURRENT_USER\Console", "*"),
        # Wine's own: where the users' folders are, written when it is asked for the first time.
        ("added", "value", r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion", "Users"),
        # The restore point that each run makes.
        ("added", "key", restore_points, ""),
        ("added", "key", restore_points + r"\*", ""),
        ("added", "value", restore_points, "Next"),
        ("changed", "value", restore_points, "Next"),
        ("added", "value", restore_points + r"\*", "*"),
        # The bench's own: the calls that its model of device installation was given.
        ("added", "key", model, ""),
        ("added", "value", model, "Calls"),
        ("changed", "value", model, "Calls"),
        # And what its stand-in for the protection of Windows' own files was asked.
        ("added", "value", PROTECTED_FILES, "Asked"),
        ("changed", "value", PROTECTED_FILES, "Asked"),
    ]


def check_same(what: str, expected: Iterable[Any], found: Iterable[Any]) -> None:
    """Both hold the same, in any order."""
    expected, found = sorted(expected), sorted(found)
    if expected != found:
        missing = _without(expected, found)
        surplus = _without(found, expected)
        lists = _listed("expected and not found", missing) + _listed("found and not expected", surplus)
        raise AssertionError(f"{what}\n{lists}")


def check_in_order(what: str, expected: Sequence[str], found: Sequence[str]) -> None:
    """Both hold the same in the same order."""
    if list(expected) != list(found):
        at = next((i for i, pair in enumerate(zip(expected, found)) if pair[0] != pair[1]), min(len(expected), len(found)))
        raise AssertionError(
            f"{what}: from line {at + 1} on\n{_listed('expected', list(expected)[at:])}{_listed('found', list(found)[at:])}"
        )


def check_gone(run: Run, expected: Iterable[Thing]) -> None:
    """Of all that the machine held, exactly these things are gone."""
    check_same("what is gone from the machine", expected, run.gone)


def check_gone_exactly(case: Case, run: Run, rows: Iterable[Row]) -> None:
    """Of all that the machine held, exactly what the rows mean is gone."""
    check_gone(run, Expectation(rows, run.before, case.facts).goes)


def check_rows_present(case: Case, run: Run, rows: Iterable[Row]) -> None:
    """The machine held something for every listed row, so that a row that is passed over shows."""
    check_same("rows for which nothing was planted", [], map(str, Expectation(rows, run.before, case.facts).unused))


def check_protected_present(case: Case, run: Run, rows: Iterable[Row]) -> None:
    """The machine held something for every protected row."""
    check_rows_present(case, run, [Row("listed", row.kind, row.text, row.name) for row in rows if row.fate == "kept"])


def check_only_allowed_changes(case: Case, run: Run, *more: AllowedChange) -> None:
    """What has come or has other details has its reason in allowed_changes, or is one of these further changes."""
    found = unexplained_changes(case, run.difference, more)
    check_same("changes for which there is no reason", [], map(_text_of, found))


def unexplained_changes(
    case: Case, changes: Difference, more: Iterable[AllowedChange] = ()
) -> list[tuple[str, Thing, str]]:
    """What has come or changed without a reason: added or changed, the thing, its details."""
    patterns = [
        (change, kind, _pattern(place), _pattern(name))
        for change, kind, place, name in [*allowed_changes(case.facts), *more]
    ]

    def allowed(change: str, thing: Thing) -> bool:
        return any(
            (change, thing.kind) == (wanted, kind) and place.fullmatch(thing.place) and name.fullmatch(thing.name)
            for wanted, kind, place, name in patterns
        )

    found = [("added", thing, details) for thing, details in changes.added.items()]
    found += [("changed", thing, details) for thing, details in changes.changed.items()]
    return [change for change in found if not allowed(change[0], change[1])]


def check_changes(case: Case, run: Run, expected: Snapshot) -> None:
    """Beyond what may always change, exactly these things have these other details."""
    check_same(
        "what has other details than before",
        (_text_of(("changed", thing, details)) for thing, details in expected.items()),
        map(_text_of, unexplained_changes(case, run.difference)),
    )


def check_marked(run: Run, expected: Iterable[str]) -> None:
    """The next restart is to delete exactly these paths."""
    check_same("what is marked for the next restart", expected, run.record.pending)


def check_gone_at_restart(run: Run, restarted: Snapshot, expected: Iterable[Thing]) -> None:
    """Between the run and the restart exactly these things have gone."""
    check_same("what the restart removed", expected, difference(run.after, restarted).removed)


def check_log_form(log: RunLog) -> None:
    """A line with the process's number, then lines of four parts, each ended the Windows way."""
    assert log.messages, "the log has no messages"
    check_same("log lines of another form", [], log.odd_lines)


def check_stages(log: RunLog, file: str) -> None:
    check_in_order("the stages in the log", expected_lines(file), log.stages)


def check_section(log: RunLog, header: str, expected: Iterable[str]) -> None:
    """The section of the log holds exactly these messages, in any order."""
    assert header in log.messages, f"the log has no section '{header}'"
    check_same(f"the log's section '{header}'", expected, log.section(header))


def check_section_in_order(log: RunLog, header: str, expected: Sequence[str]) -> None:
    assert header in log.messages, f"the log has no section '{header}'"
    check_in_order(f"the log's section '{header}'", expected, log.section(header))


def check_logged(log: RunLog, message: str) -> None:
    assert message in log.messages, f"the log does not say '{message}'"


def check_logged_code(log: RunLog, text: str) -> None:
    """One whole message of the log is this text with an error code in brackets behind it. The code is any number: after a
    call that has worked it is whatever the system has left there."""
    pattern = re.escape(text) + r", Error Code\[-?\d+\]"
    assert any(re.fullmatch(pattern, message) for message in log.messages), f"the log does not say '{text}' with a code"


def expected_lines(file: str) -> list[str]:
    return (EXPECTED / file).read_text(encoding="latin-1").splitlines()


def expected_stages(file: str, *more: tuple[str, str]) -> list[str]:
    """The stages of that file with further ones, each behind the first that holds a text: (that text, the stage)."""
    stages = expected_lines(file)
    for behind, stage in more:
        at = next(number for number, line in enumerate(stages) if behind in line)
        stages.insert(at + 1, stage)
    return stages


def _pattern(text: str) -> re.Pattern[str]:
    return re.compile(re.escape(text).replace(r"\*", r"[^\\]*"), re.IGNORECASE)


def _text_of(change: tuple[str, Thing, str]) -> str:
    return f"{change[0]} {change[1]}  {change[2]}"


def _without(left: list[Any], right: list[Any]) -> list[Any]:
    """What the one list holds more than the other, as often as it does."""
    return sorted((Counter(left) - Counter(right)).elements())


def _listed(what: str, items: Sequence[Any]) -> str:
    if not items:
        return ""
    lines = [f"  {item}" for item in items[:MOST_LINES]]
    if len(items) > MOST_LINES:
        lines.append(f"  ... {len(items)} in all")
    return f"{what}:\n" + "\n".join(lines) + "\n"
