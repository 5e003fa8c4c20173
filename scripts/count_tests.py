#!/usr/bin/python3
"""count_tests.py REPORT.XML=STATUS... - adds up the tests of several JUnit reports.

STATUS is the exit status of the program that should have written the report. The last line is `N passed, N failed`; the status
is 0 only if something passed and nothing failed. A report that is missing or contains no tests, and a program that failed
without a failed test, each count as one failure."""

from __future__ import annotations

import sys
import xml.etree.ElementTree as tree
from pathlib import Path


def count(report: Path, status: int) -> tuple[int, int]:
    """How many tests passed and failed. A test that was not run did neither."""
    try:
        cases = list(tree.parse(report).iter("testcase"))
    except (OSError, tree.ParseError) as reason:
        print(f"FAILED: the report {report} cannot be read: {reason}")
        return 0, 1
    bad = sum(
        case.find("failure") is not None or case.find("error") is not None or case.get("status") == "fail"
        for case in cases
    )
    not_run = sum(case.find("skipped") is not None or case.get("status") in ("notrun", "disabled") for case in cases)
    passed = len(cases) - bad - not_run
    if not bad and (status != 0 or not passed):
        print(f"FAILED: the tests of {report} ended with status {status}, {passed} passed")
        return passed, 1
    return passed, bad


def main(arguments: list[str]) -> int:
    passed = failed = 0
    for argument in arguments:
        report, _, status = argument.rpartition("=")
        counted = count(Path(report), int(status))
        passed += counted[0]
        failed += counted[1]
    print(f"{passed} passed, {failed} failed")
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
