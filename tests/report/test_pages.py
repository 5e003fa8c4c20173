"""What a user sees of a report: both ways of attaching the stylesheet give the same page, a failure is red and nothing of a
long list is missing. A unit test writes the reports on a machine; a report of an installation, which the same stylesheet
serves, is written here."""

from __future__ import annotations

import os
import re
import shutil
import subprocess
from collections.abc import Iterator
from pathlib import Path

import pytest

from bench import BENCH_FOLDER, ROOT
from bench.machine import Machine, new_machine

TEST_PROGRAM = ROOT / "build" / "debug" / "tests" / "removal_report_test.exe"


@pytest.fixture(scope="module")
def pages(tmp_path_factory: pytest.TempPathFactory) -> Iterator[Path]:
    """The folders `inline` and `external`, each with a report as the program writes it."""
    # Several processes may run tests of this file at the same time.
    folder = BENCH_FOLDER / "cases" / f"report_pages_{os.environ.get('PYTEST_XDIST_WORKER', 'alone')}"
    if folder.exists():
        Machine(folder.resolve()).remove()
    machine = new_machine(folder)
    try:
        machine.put(TEST_PROGRAM, r"C:\bench\removal_report_test.exe")
        machine.wine(r"C:\bench\removal_report_test.exe", "--gtest_filter=RemovalReport.BothVariants*", check=True)
        copy = tmp_path_factory.mktemp("report") / "pages"
        shutil.copytree(machine.bench / "pages", copy)
    finally:
        machine.remove()
    yield copy


@pytest.fixture(scope="module")
def inline(pages: Path) -> str:
    # A report with the stylesheet inside names it itself.
    return page_of("inline/report.xml", cwd=pages)


def page_of(*arguments: str, cwd: Path) -> str:
    made = subprocess.run(["xsltproc", "--nonet", *arguments], cwd=cwd, check=True, capture_output=True)
    return made.stdout.decode("utf-8")


def read(page: str) -> list[str]:
    """What a person reads of a page, row by row."""
    return [line for line in re.sub(r"<[^>]*>", "\n", page).split("\n") if line.strip()]


def test_both_ways_of_attaching_the_stylesheet_give_the_same_page(pages: Path, inline: str) -> None:
    assert page_of("external/report.xml.xsl", "external/report.xml", cwd=pages) == inline
    (stylesheet,) = (file.name for file in (pages / "external").glob("*.xsl"))
    # The name in the report differs in case, which Windows ignores.
    report = (pages / "external" / "report.xml").read_text(encoding="utf-8-sig", errors="replace")
    assert f'href="{stylesheet}"'.lower() in report.lower()


def test_each_failure_is_red_and_every_removal_a_success(inline: str) -> None:
    assert inline.count('<p style="color:red">Failed</p>') == 2
    assert inline.count(">Success</td>") == 501


def test_the_long_list_is_whole_and_in_order(inline: str) -> None:
    assert re.findall(r">Application number (\d*)</td>", inline) == [str(number) for number in range(500)]


def test_the_page_reads_like_this(inline: str) -> None:
    rows = [row for row in read(inline) if "Application number" not in row]
    assert [row for at, row in enumerate(rows) if at == 0 or row != rows[at - 1]] == [
        "Install Manager",
        "Installation Report",
        "Samstag, 21. März 2026 5:06:07 AM",
        "Existing Application packages",
        "App One",
        "Driver packages which will be removed",
        "Driver One",
        "Uninstalled Application packages",
        "Success",
        "Uninstalled Driver packages",
        "Driver One",
        "Success",
        "Failed Application packages",
        "App One",
        "Failed",
        "Failed Driver packages",
        "Driver Two",
        "Failed",
    ]


def installation(pages: Path, action: str) -> str:
    """A page of a report with a package for each outcome of an installation."""
    resource = re.search(
        r"<resource>.*</resource>",
        (pages / "external" / "report.xml").read_text(encoding="utf-8-sig", errors="replace"),
        re.DOTALL,
    )
    packages = "".join(
        f"<package><description>Package {outcome}</description><result>{outcome}</result>"
        f"<message>Why {outcome}</message><version>1.{outcome}</version><size>7</size></package>"
        for outcome in ("Succeed", "Fail", "DownloadFailed")
    )
    assert resource
    report = (
        f"<tallyreport><general><time>Today</time><action>{action}</action></general><install>{packages}</install>"
        f"{resource[0]}</tallyreport>"
    )
    (pages / f"{action}.xml").write_text(report, encoding="utf-8")
    return page_of("external/report.xml.xsl", f"{action}.xml", cwd=pages)


def test_an_installed_package_is_told_with_outcome_version_and_size(pages: Path) -> None:
    page = installation(pages, "install")
    rows = read(page)
    expected = ["Packages for install"]
    for name, outcome in (("Succeed", "Success"), ("Fail", "Failed"), ("DownloadFailed", "Download Failed")):
        expected += [f"Package {name}", "Final Status:", outcome]
        expected += ["Error Description", f"Why {name}"] if name == "Fail" else []
        expected += ["Version of Item:", f"1.{name}", "Size:", "7 Mbytes"]
    assert rows[rows.index("Packages for install") :] == expected
    assert re.findall(r'<p style="color:([^"]*)">([^<]*)<', page) == [
        ("green", "Success"),
        ("red", "Failed"),
        ("red", "Download Failed"),
    ]


def test_a_report_of_a_removal_shows_no_packages_of_an_installation(pages: Path) -> None:
    assert "Package" not in installation(pages, "uninst")
