"""Hives, rows, logs and records are read correctly."""

from __future__ import annotations

from pathlib import Path

import pytest

from bench.hives import link_target, read_hive, text_of, texts_of
from bench.machine import Machine
from bench.rows import Row, full_path, generic_rows, load_manifest, package_rows
from bench.run_log import read_log
from bench.session import read_record
from bench.snapshot import HIVES, Thing, take_snapshot
from things import FACTS

HIVE = r"""WINE REGISTRY Version 2
;; All keys relative to \\Machine

[Software\\A\\B] 1700000000
#time=1da0
@="the default"
"Text"="C:\\path \"quoted\""
"quo\"ted\\name"=dword:00000001
"Bytes"=hex:01,02,\
  03,04

[Software\\A [odd] key] 1700000000
"""


def test_a_hive_gives_keys_with_their_ancestors_and_values(tmp_path: Path) -> None:
    file = tmp_path / "system.reg"
    file.write_text(HIVE, encoding="latin-1")
    found = list(read_hive(file, "HKEY_LOCAL_MACHINE"))
    software = r"HKEY_LOCAL_MACHINE\Software"
    assert [key for key, name, _ in found if name is None] == [
        rf"{software}\A\B",
        rf"{software}\A",
        software,
        rf"{software}\A [odd] key",
    ]
    assert [(name, data) for _, name, data in found if name is not None] == [
        ("", '"the default"'),
        ("Text", r'"C:\\path \"quoted\""'),
        (r'quo"ted\name', "dword:00000001"),
        ("Bytes", "hex:01,02,03,04"),
    ]


def test_texts_of_values_are_unescaped() -> None:
    assert text_of(r'"C:\\a\\b"') == r"C:\a\b"
    assert texts_of(r'str(7):"C:\\new\\0ld\0second \"one\"\0"') == [r"C:\new\0ld", 'second "one"']
    assert texts_of('str(7):"\\0"') == []


LINKED_CONTROL_SET = r"""WINE REGISTRY Version 2
;; All keys relative to \\Machine

[System\\ControlSet001\\Control] 1700000000
"Text"="in the control set"

[System\\ControlSet0011] 1700000000

[System\\CurrentControlSet] 1700000000
#link
"SymbolicLinkValue"=hex(6):LINK
"""


def test_what_a_linked_control_set_holds_has_the_name_that_programs_use(tmp_path: Path) -> None:
    link = r"\Registry\Machine\System\ControlSet001".encode("utf-16-le").hex(",")
    assert link_target(f"hex(6):{link}") == r"HKEY_LOCAL_MACHINE\System\ControlSet001"
    (tmp_path / "drive_c").mkdir()
    for name, root in HIVES:
        text = LINKED_CONTROL_SET.replace("LINK", link) if root == "HKEY_LOCAL_MACHINE" else "WINE REGISTRY Version 2\n"
        (tmp_path / name).write_text(text, encoding="latin-1")
    system = r"HKEY_LOCAL_MACHINE\System"
    assert take_snapshot(Machine(tmp_path)) == {
        Thing("key", system): "",
        Thing("key", rf"{system}\ControlSet0011"): "",
        Thing("key", rf"{system}\CurrentControlSet"): "",
        Thing("key", rf"{system}\CurrentControlSet\Control"): "",
        Thing("value", rf"{system}\CurrentControlSet", "SymbolicLinkValue"): f"hex(6):{link}",
        Thing("value", rf"{system}\CurrentControlSet\Control", "Text"): '"in the control set"',
    }


@pytest.mark.parametrize(
    ("row", "path"),
    [
        (r"INSTALL_DIR\LM\a.dll", r"C:\Program Files\ORV\LM\a.dll"),
        (r"INSTALL_DIR32\KO", r"C:\Program Files (x86)\ORV\KO"),
        (r"%LocalAppData%\ORV", FACTS.local_app_data + r"\ORV"),
        (r"%APPDATA%\ORV", FACTS.roaming_app_data + r"\ORV"),
        (r"%SystemRoot%\System32\ORV", r"C:\System32\ORV"),
        (r"ProgramData\ORV", r"C:\ProgramData\ORV"),
        (r"C:\ORV\Packages", r"C:\ORV\Packages"),
    ],
)
def test_path_rows_become_full_paths(row: str, path: str) -> None:
    assert full_path(row, FACTS) == path


def test_the_manifests_rows_have_their_fates() -> None:
    manifest = load_manifest()
    rows = generic_rows(manifest, FACTS)
    generic = manifest["Generic"]
    assert [row.text for row in rows if (row.fate, row.kind) == ("listed", "task")] == generic["ScheduledTasks"]
    assert [row.text for row in rows if row.kind == "empty-key"] == generic["RegistryKeysEmpty"]
    assert not [row for row in rows if row.fate == "listed" and "***" in row.text]
    literal = [text for text in generic["RegistryKeys"] if "***" in text]
    assert [row.text for row in rows if (row.fate, row.kind) == ("beside", "key")] == [
        text.replace("S-1-5-21-***", FACTS.sid) for text in literal
    ]
    assert {row.text for row in rows if row.fate == "kept" and row.kind == "service"} == {
        text for text in manifest["ExclusionList"]["Services"] if text
    }


def test_a_packages_rows_have_the_packages_fate_and_its_services_their_own() -> None:
    empty = {"RegistryKeys": [], "RegistryValues": [], "Directories": [], "Files": [], "Process": []}
    manifest = {
        "InclusionList": {"Drivers": ["Considered"]},
        "Packages": {
            "ORVDrivers": {
                "Considered": {**empty, "Info": {}, "Services": ["orva"], "Directories": [r"INSTALL_DIR\A"]},
                "Spared": {**empty, "Info": {}, "Services": ["orvb"], "RegistryKeys": ["HKEY_LOCAL_MACHINE\\B"]},
            },
            "ORVApplications": {"App": {**empty, "Info": {}, "Process": ["app.exe", ""]}},
        },
    }
    assert package_rows(manifest, {"Considered": "listed", "Spared": "kept"}, FACTS) == [
        Row("listed", "folder", r"C:\Program Files\ORV\A"),
        Row("listed", "service", "orva"),
        Row("kept", "key", r"HKEY_LOCAL_MACHINE\B"),
        Row("kept", "service", "orvb"),
        Row("beside", "process", "app.exe"),
    ]


def test_a_log_is_read_by_its_lines(tmp_path: Path) -> None:
    file = tmp_path / "ORVCleanup.log"
    line = "Thread Id:12\t2026:11:14-12:09:34\tDEBUG\t"
    continued = "\t" * 7 + "goes on"
    texts = ["Process Id:5820", line + "-----A-----", line + "one\ttwo", continued, line + "-----B-----", "glued"]
    file.write_bytes("".join(f"{text}\r\n" for text in texts).encode() + b"no end")
    log = read_log(file)
    assert log.messages == ["-----A-----", "one\ttwo", "-----B-----"]
    assert log.stages == ["-----A-----", "-----B-----"]
    assert log.section("-----A-----") == ["one\ttwo"]
    assert log.section("-----B-----") == log.section("-----C-----") == []
    assert log.odd_lines == ["the end of the log: no end", "glued", "without a carriage return: no end", "no end"]


def test_a_record_is_read_by_its_kinds() -> None:
    text = "exit\t0\n"
    text += "value\tK\tN\tabsent\nservice\tS\trunning\nprocess\tP\tended\nended\tP\t3\npending\tC:\\a\npending\tC:\\b\n"
    record = read_record(text)
    assert (record.exits, record.values, record.services) == ([0], {("K", "N"): "absent"}, {"S": "running"})
    assert (record.processes, record.ended, record.pending) == ({"P": "ended"}, {"P": 3}, [r"C:\a", r"C:\b"])
