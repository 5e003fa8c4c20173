"""The closing line of scripts/test.sh."""

from __future__ import annotations

import subprocess
import sys
from pathlib import Path

from bench import ROOT

PASSED = '<testcase name="a"/>'
FAILED = '<testcase name="b"><failure/></testcase>'
BROKEN = '<testcase name="c"><error/></testcase>'
SKIPPED = '<testcase name="d"><skipped/></testcase>'
# As ctest reports a test program that failed, and one that is missing.
FAILED_PROGRAM = '<testcase name="e" status="fail"/>'
NOT_RUN = '<testcase name="f" status="notrun"><skipped message="Unable to find executable"/></testcase>'


def closing(folder: Path, *reports: tuple[str | None, int]) -> tuple[str, int]:
    """The last line and the exit status for reports with these tests and exit statuses; None for a missing report."""
    arguments = []
    for number, (tests, status) in enumerate(reports):
        report = folder / f"{number}.xml"
        if tests is not None:
            report.write_text(f"<testsuite>{tests}</testsuite>" if "broken off" not in tests else tests)
        arguments.append(f"{report}={status}")
    command = [sys.executable, "-B", str(ROOT / "scripts" / "count_tests.py"), *arguments]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    return run.stdout.splitlines()[-1], run.returncode


def test_adds_up_what_has_passed(tmp_path: Path) -> None:
    assert closing(tmp_path, (PASSED * 3, 0), (PASSED + SKIPPED, 0)) == ("4 passed, 0 failed", 0)


def test_failures_of_each_kind_count(tmp_path: Path) -> None:
    assert closing(tmp_path, (PASSED + FAILED_PROGRAM, 8), (FAILED + BROKEN, 1)) == ("1 passed, 3 failed", 1)


def test_a_missing_report_is_a_failure(tmp_path: Path) -> None:
    assert closing(tmp_path, (PASSED, 0), (None, 0)) == ("1 passed, 1 failed", 1)


def test_a_report_that_breaks_off_is_a_failure(tmp_path: Path) -> None:
    assert closing(tmp_path, ("<testsuite>broken off", 0), (PASSED, 0)) == ("1 passed, 1 failed", 1)


def test_a_report_without_tests_is_a_failure(tmp_path: Path) -> None:
    assert closing(tmp_path, ("", 0), (PASSED, 0)) == ("1 passed, 1 failed", 1)


def test_a_failed_program_whose_report_has_no_failure_is_one(tmp_path: Path) -> None:
    assert closing(tmp_path, (PASSED, 3), (PASSED, 0)) == ("2 passed, 1 failed", 1)


def test_a_test_program_that_is_not_there_is_a_failure(tmp_path: Path) -> None:
    assert closing(tmp_path, (PASSED + NOT_RUN, 8), (PASSED, 0)) == ("2 passed, 1 failed", 1)
