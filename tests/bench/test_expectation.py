"""What rows mean for a machine."""

from __future__ import annotations

import pytest

from bench.expectation import Expectation, expected_gone, unused_rows
from bench.rows import Row
from things import FACTS, snapshot, thing

HKLM = "HKEY_LOCAL_MACHINE"


def gone(rows: list[Row], *texts: str) -> set[str]:
    """The removed ones among the things named by the texts and their parents, as texts."""
    return {str(item).replace("  [", " | ").removesuffix("]") for item in expected_gone(rows, snapshot(*texts), FACTS)}


def test_a_folder_goes_with_all_that_lies_in_it() -> None:
    rows = [Row("listed", "folder", r"C:\ORV\LM")]
    found = gone(rows, r"file C:\ORV\LM\a\b.dll", r"link C:\ORV\LM\way", r"file C:\ORV\LM.txt", r"file C:\ORV\LMX\c.dll")
    assert found == {r"folder C:\ORV\LM", r"folder C:\ORV\LM\a", r"file C:\ORV\LM\a\b.dll", r"link C:\ORV\LM\way"}


def test_what_is_kept_stays_with_all_that_lies_in_it_and_with_what_is_around_it() -> None:
    rows = [Row("listed", "folder", r"C:\ORV\LM"), Row("kept", "folder", r"C:\ORV\LM\Keep")]
    found = gone(rows, r"file C:\ORV\LM\Keep\deep\a.dll", r"file C:\ORV\LM\b.dll", r"folder C:\ORV\LM\empty")
    assert found == {r"file C:\ORV\LM\b.dll", r"folder C:\ORV\LM\empty"}


def test_letter_case_tells_nothing_apart() -> None:
    assert gone([Row("listed", "file", r"C:\Orv\A.DLL")], r"file c:\ORV\a.dll") == {r"file c:\ORV\a.dll"}


def test_a_pattern_means_names_in_its_folder_alone() -> None:
    rows = [Row("listed", "file", r"C:\ORV\gpu-*.log")]
    meant = {r"file C:\ORV\gpu-1.log", r"file C:\ORV\gpu-.log"}
    assert gone(rows, *meant, r"file C:\ORV\gpu-a\b.log", r"file C:\ORV\gpu-1.logs") == meant


def test_a_key_goes_with_its_values_and_subkeys() -> None:
    rows = [Row("listed", "key", rf"{HKLM}\SOFTWARE\ORV\LM")]
    found = gone(rows, rf"value {HKLM}\Software\ORV\LM\Sub | Text", rf"value {HKLM}\Software\ORV | LM")
    assert found == {
        rf"key {HKLM}\Software\ORV\LM",
        rf"key {HKLM}\Software\ORV\LM\Sub",
        rf"value {HKLM}\Software\ORV\LM\Sub | Text",
    }


def test_a_value_goes_alone() -> None:
    rows = [Row("listed", "value", rf"{HKLM}\SOFTWARE\Run\Tray")]
    assert gone(rows, rf"value {HKLM}\SOFTWARE\Run | Tray", rf"value {HKLM}\SOFTWARE\Run | Trax") == {
        rf"value {HKLM}\SOFTWARE\Run | Tray"
    }


def test_a_path_value_has_backslashes_in_its_name() -> None:
    rows = [Row("listed", "path-value", rf"{HKLM}\SOFTWARE\Drivers", r"C:\a\b.json")]
    assert gone(rows, rf"value {HKLM}\SOFTWARE\Drivers | C:\a\b.json") == {rf"value {HKLM}\SOFTWARE\Drivers | C:\a\b.json"}


def test_a_protected_value_keeps_its_key() -> None:
    rows = [Row("listed", "key", rf"{HKLM}\SOFTWARE\ORV"), Row("kept", "value", rf"{HKLM}\SOFTWARE\ORV\LM\Keep")]
    found = gone(rows, rf"value {HKLM}\SOFTWARE\ORV\LM | Keep", rf"value {HKLM}\SOFTWARE\ORV\LM | Other")
    assert found == {rf"value {HKLM}\SOFTWARE\ORV\LM | Other"}


@pytest.mark.parametrize(
    ("kind", "left", "goes"),
    [
        ("empty-key", rf"value {HKLM}\SOFTWARE\QBX | Text", True),
        ("empty-key", rf"key {HKLM}\SOFTWARE\QBX\Sub", False),
        ("bare-key", rf"value {HKLM}\SOFTWARE\QBX | Text", False),
        ("bare-key", rf"key {HKLM}\SOFTWARE\QBX\Sub", False),
        ("bare-key", rf"key {HKLM}\SOFTWARE\QBX", True),
    ],
)
def test_an_empty_key_goes_without_subkeys_and_a_bare_one_without_anything(kind: str, left: str, goes: bool) -> None:
    found = gone([Row("listed", kind, rf"{HKLM}\SOFTWARE\QBX")], left)
    assert (rf"key {HKLM}\SOFTWARE\QBX" in found) == goes


def test_an_empty_key_goes_when_what_was_below_it_goes() -> None:
    rows = [Row("listed", "empty-key", rf"{HKLM}\SOFTWARE\ORV"), Row("listed", "key", rf"{HKLM}\SOFTWARE\ORV\LM")]
    found = gone(rows, rf"value {HKLM}\SOFTWARE\ORV\LM | Text")
    assert found == {
        rf"key {HKLM}\SOFTWARE\ORV",
        rf"key {HKLM}\SOFTWARE\ORV\LM",
        rf"value {HKLM}\SOFTWARE\ORV\LM | Text",
    }


def test_services_tasks_and_shortcuts_have_their_places() -> None:
    rows = [Row("listed", "service", "OrvSvc"), Row("listed", "task", "OrvTask"), Row("listed", "shortcut", r"Lumio\a.lnk")]
    programs = r"C:\ProgramData\Microsoft\Windows\Start Menu\Programs"
    found = gone(
        rows,
        rf"value {HKLM}\System\CurrentControlSet\Services\orvsvc | Start",
        r"file C:\windows\system32\tasks\OrvTask",
        rf"file {programs}\Lumio\a.lnk",
        rf"file {programs}\Lumio\Read me.txt",
        rf"file {programs}\a.lnk",
    )
    assert found == {
        rf"key {HKLM}\System\CurrentControlSet\Services\orvsvc",
        rf"value {HKLM}\System\CurrentControlSet\Services\orvsvc | Start",
        r"file C:\windows\system32\tasks\OrvTask",
        rf"folder {programs}\Lumio",
        rf"file {programs}\Lumio\a.lnk",
        rf"file {programs}\Lumio\Read me.txt",
    }


@pytest.mark.parametrize(
    ("row", "place"),
    [
        (r"HKEY_CLASSES_ROOT\Orv", rf"{HKLM}\Software\Classes\Orv"),
        (r"HKEY_USERS\S-1-5-21-0-0-0-1000\Software\Orv", r"HKEY_CURRENT_USER\Software\Orv"),
        (rf"{HKLM}\SOFTWARE\WOW6432Node\Classes\Orv", rf"{HKLM}\Software\Classes\Wow6432Node\Orv"),
    ],
)
def test_a_key_is_found_under_its_other_name(row: str, place: str) -> None:
    assert f"key {place}" in gone([Row("listed", "key", row)], f"key {place}")


def test_rows_beside_and_processes_mean_nothing() -> None:
    rows = [Row("beside", "folder", r"C:\ORV"), Row("listed", "process", "a.exe")]
    assert gone(rows, r"file C:\ORV\a.exe") == set()


def test_rows_that_mean_nothing_are_told() -> None:
    rows = [
        Row("listed", "file", r"C:\ORV\a.dll"),
        Row("listed", "file", r"C:\ORV\b.dll"),
        Row("listed", "value", rf"{HKLM}\SOFTWARE\ORV\Text"),
        Row("kept", "file", r"C:\ORV\c.dll"),
    ]
    assert unused_rows(rows, snapshot(r"file C:\ORV\a.dll"), FACTS) == [rows[1], rows[2]]


def test_each_row_that_means_a_thing_counts_as_used() -> None:
    rows = [Row("listed", "folder", folder) for folder in (r"C:\ORV", r"C:\ORV\LM")]
    rows.append(Row("listed", "file", r"C:\ORV\LM\a.dll"))
    assert Expectation(rows, snapshot(r"file C:\ORV\LM\a.dll"), FACTS).unused == []


def test_a_row_says_nothing_of_places_that_only_begin_alike() -> None:
    assert gone([Row("listed", "key", rf"{HKLM}\SOFTWARE\ORV")], rf"key {HKLM}\SOFTWARE\ORVX") == set()
    assert thing(rf"value {HKLM}\A | n") == (("value", rf"{HKLM}\A", "n"))
