"""The assertions of the whole-machine cases. A failed check prints what was expected and what was found."""

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

# Additional stages of some runs, and the stages that they follow.
IN_SAFE_MODE = ("run silently", "---------------------CleanUp will run in safe mode--------------------")
ON_A_VIRTUAL_MACHINE = ("Parsing JSON", "------------------ VM Detected -----------------")

PROTECTED_FILES = r"HKEY_LOCAL_MACHINE\Software\Bench Protected Files"
PENDING_RENAMES = Thing(
    "value", r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\Session Manager", "PendingFileRenameOperations"
)


# Added or changed, then the kind, place and name of the thing.
AllowedChange = tuple[str, str, str, str]


def allowed_changes(facts: Facts) -> list[AllowedChange]:
    """What a run may add or change beyond what it removes: added or changed, kind, place, name, with * for anything but a
    backslash. Each with its reason."""
    restore_points = r"HKEY_LOCAL_MACHINE\Software\Bench Restore Points"
    model = r"HKEY_LOCAL_MACHINE\Software\Bench Devices"
    return [
        # The work folder, the log and the report.
        ("added", "folder", facts.work_folder, ""),
        ("added", "file", facts.log, ""),
        ("changed", "file", facts.log, ""),
        ("added", "file", facts.report, ""),
        ("changed", "file", facts.report, ""),
        # What could not be removed at once is deleted at the next restart.
        ("added", *PENDING_RENAMES),
        # Wine's own: console window settings, written when the first console program starts without a window.
        ("added", "key", r"HKEY_CURRENT_USER\Console", ""),
        ("added", "value", r"HKEY_CURRENT_USER\Console", "*"),
        # Wine's own: the paths of user folders, written when they are first queried.
        ("added", "value", r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion", "Users"),
        # The restore point that each run creates.
        ("added", "key", restore_points, ""),
        ("added", "key", restore_points + r"\*", ""),
        ("added", "value", restore_points, "Next"),
        ("changed", "value", restore_points, "Next"),
        ("added", "value", restore_points + r"\*", "*"),
        # The bench's own: the calls to its model of device installation.
        ("added", "key", model, ""),
        ("added", "value", model, "Calls"),
        ("changed", "value", model, "Calls"),
        # And the queries to its stub for the protection of Windows' own files.
        ("added", "value", PROTECTED_FILES, "Asked"),
        ("changed", "value", PROTECTED_FILES, "Asked"),
    ]


def check_same(what: str, expected: Iterable[Any], found: Iterable[Any]) -> None:
    """Both have the same items, in any order."""
    expected, found = sorted(expected), sorted(found)
    if expected != found:
        missing = _without(expected, found)
        surplus = _without(found, expected)
        lists = _listed("expected and not found", missing) + _listed("found and not expected", surplus)
        raise AssertionError(f"{what}\n{lists}")


def check_in_order(what: str, expected: Sequence[str], found: Sequence[str]) -> None:
    """Both have the same items in the same order."""
    if list(expected) != list(found):
        at = next((i for i, pair in enumerate(zip(expected, found)) if pair[0] != pair[1]), min(len(expected), len(found)))
        raise AssertionError(
            f"{what}: from line {at + 1} on\n{_listed('expected', list(expected)[at:])}{_listed('found', list(found)[at:])}"
        )


def check_gone(run: Run, expected: Iterable[Thing]) -> None:
    """Of everything that was on the machine, exactly these things are gone."""
    check_same("what is gone from the machine", expected, run.gone)


def check_gone_exactly(case: Case, run: Run, rows: Iterable[Row]) -> None:
    """Of everything that was on the machine, exactly what the rows cover is gone."""
    check_gone(run, Expectation(rows, run.before, case.facts).goes)


def check_rows_present(case: Case, run: Run, rows: Iterable[Row]) -> None:
    """The machine had something for every listed row, so that a skipped row is detected."""
    check_same("rows for which nothing was planted", [], map(str, Expectation(rows, run.before, case.facts).unused))


def check_protected_present(case: Case, run: Run, rows: Iterable[Row]) -> None:
    """The machine had something for every protected row."""
    check_rows_present(case, run, [Row("listed", row.kind, row.text, row.name) for row in rows if row.fate == "kept"])


def check_only_allowed_changes(case: Case, run: Run, *more: AllowedChange) -> None:
    """Everything that was added or changed is in allowed_changes or among these further changes."""
    found = unexplained_changes(case, run.difference, more)
    check_same("changes for which there is no reason", [], map(_text_of, found))


def unexplained_changes(
    case: Case, changes: Difference, more: Iterable[AllowedChange] = ()
) -> list[tuple[str, Thing, str]]:
    """What was added or changed without being allowed: added or changed, the thing, its details."""
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
    """Apart from what may always change, exactly these things have changed, to these details."""
    check_same(
        "what has other details than before",
        (_text_of(("changed", thing, details)) for thing, details in expected.items()),
        map(_text_of, unexplained_changes(case, run.difference)),
    )


def check_marked(run: Run, expected: Iterable[str]) -> None:
    """The next restart will delete exactly these paths."""
    check_same("what is marked for the next restart", expected, run.record.pending)


def check_gone_at_restart(run: Run, restarted: Snapshot, expected: Iterable[Thing]) -> None:
    """The restart deleted exactly these things."""
    check_same("what the restart removed", expected, difference(run.after, restarted).removed)


def check_log_form(log: RunLog) -> None:
    """A line with the process id, then lines of four parts, each ending in CR LF."""
    assert log.messages, "the log has no messages"
    check_same("log lines of another form", [], log.odd_lines)


def check_stages(log: RunLog, file: str) -> None:
    check_in_order("the stages in the log", expected_lines(file), log.stages)


def check_section(log: RunLog, header: str, expected: Iterable[str]) -> None:
    """The section of the log has exactly these messages, in any order."""
    assert header in log.messages, f"the log has no section '{header}'"
    check_same(f"the log's section '{header}'", expected, log.section(header))


def check_section_in_order(log: RunLog, header: str, expected: Sequence[str]) -> None:
    assert header in log.messages, f"the log has no section '{header}'"
    check_in_order(f"the log's section '{header}'", expected, log.section(header))


def check_logged(log: RunLog, message: str) -> None:
    assert message in log.messages, f"the log does not say '{message}'"


def check_logged_code(log: RunLog, text: str) -> None:
    """One message of the log is this text followed by an error code in brackets. The code may be any number: after a
    successful call it is whatever the last error was."""
    pattern = re.escape(text) + r", Error Code\[-?\d+\]"
    assert any(re.fullmatch(pattern, message) for message in log.messages), f"the log does not say '{text}' with a code"


def expected_lines(file: str) -> list[str]:
    return (EXPECTED / file).read_text(encoding="latin-1").splitlines()


def expected_stages(file: str, *more: tuple[str, str]) -> list[str]:
    """The stages in that file with additional ones, each after the first that contains a text: (that text, the stage)."""
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
    """The items that one list has more often than the other, repeated accordingly."""
    return sorted((Counter(left) - Counter(right)).elements())


def _listed(what: str, items: Sequence[Any]) -> str:
    if not items:
        return ""
    lines = [f"  {item}" for item in items[:MOST_LINES]]
    if len(items) > MOST_LINES:
        lines.append(f"  ... {len(items)} in all")
    return f"{what}:\n" + "\n".join(lines) + "\n"
