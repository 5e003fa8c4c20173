"""Rows: what a run should remove, what is protected, and what only looks like either.

Expands the cleanup manifest's rows to full paths, as docs/manifest.md explains them, for a machine with the usual install
folder. Rows for what the program removes by rules of its own are in data/*_rows.tsv.
"""

from __future__ import annotations

import json
import re
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from bench import DATA, MANIFEST
from bench.facts import Facts

INSTALL_FOLDER = r"C:\Program Files\ORV"
INSTALL_FOLDER_32 = r"C:\Program Files (x86)\ORV"

# A placeholder for a user's identifier in registry rows. Nothing replaces it, so such a row matches nothing.
ANY_USER = "S-1-5-21-***"
# Always considered, whether the manifest's inclusion list names them or not.
DISPLAY_DRIVERS = ("DisplayDriver", "DisplayDriver64")

Manifest = dict[str, Any]


@dataclass(frozen=True)
class Row:
    """`kind` is one of file, folder, key, empty-key (removed if no key is left below it), bare-key (removed if it is empty),
    value, path-value (a value whose name is a path, given in `name`), service, task, process, shortcut."""

    fate: str  # listed: to be removed; kept: protected; beside: only resembles a row
    kind: str
    text: str  # the full path or the name; of a shortcut the path below the Start Menu's Programs folder
    name: str = ""

    def __str__(self) -> str:
        return " ".join((self.fate, self.kind, self.text, self.name)).rstrip()


def load_manifest(file: Path = MANIFEST) -> Manifest:
    return json.loads(file.read_text(encoding="ascii"))


def generic_rows(manifest: Manifest, facts: Facts) -> list[Row]:
    """The rows that are removed on every run, those that are protected on every run, and things that resemble the odd ones."""
    generic = manifest["Generic"]
    exclusions = manifest["ExclusionList"]
    rows = list(_rows_of(generic, "listed", facts))
    rows += [Row("listed", "task", text) for text in generic["ScheduledTasks"]]
    rows += [Row("listed", "shortcut", text) for text in generic["Shortcuts"]]
    rows += [Row("listed", "empty-key", text) for text in generic["RegistryKeysEmpty"]]
    rows += _rows_of(exclusions, "kept", facts)
    rows += [Row("kept", "task", text) for text in exclusions["ScheduledTasks"]]
    # Only two variables name a folder, and a row without its user identifier matches nothing.
    for kind, list_name in (("folder", "Directories"), ("file", "Files")):
        for text in generic[list_name]:
            if text.lower().startswith("%systemroot%"):
                rows.append(Row("beside", kind, r"C:\windows" + text.rpartition("%")[2]))
    for text in generic["RegistryKeys"]:
        if ANY_USER in text:
            rows.append(Row("beside", "key", text.replace(ANY_USER, facts.sid)))
    return [row for row in rows if row.text and not (row.fate == "listed" and ANY_USER in row.text)]


def package_rows(manifest: Manifest, fates: Mapping[str, str], facts: Facts) -> list[Row]:
    """The rows of all packages. `fates` maps a package's name to the fate of its rows; all others are `beside`."""
    rows: list[Row] = []
    considered = considered_drivers(manifest)
    for group in ("ORVDrivers", "ORVApplications"):
        for name, package in manifest["Packages"][group].items():
            rows += _rows_of({**package, "Services": []}, fates.get(name, "beside"), facts)
            # A run removes the services of the drivers that it considers, whether it finds a device or not.
            fate = "listed" if name in considered else "kept"
            rows += [Row(fate, "service", text) for text in package.get("Services", []) if text]
    return [row for row in rows if row.text]


def considered_drivers(manifest: Manifest) -> set[str]:
    return {*manifest["InclusionList"]["Drivers"], *DISPLAY_DRIVERS}


def considered_driver_services(manifest: Manifest) -> set[str]:
    considered = considered_drivers(manifest)
    drivers = manifest["Packages"]["ORVDrivers"]
    return {service for name, package in drivers.items() if name in considered for service in package["Services"]}


def read_rows(name: str) -> list[Row]:
    """The rows of a file in bench/data: tab-separated columns, comments after #."""
    return [Row(*fields) for fields in read_table(DATA / name)]


def read_table(file: Path) -> list[list[str]]:
    lines = file.read_text(encoding="utf-8").split("\n")
    return [line.split("\t") for line in lines if line and not line.startswith("#")]


def texts(rows: Iterable[Row], kind: str, fate: str = "listed") -> list[str]:
    """What the rows of that kind and fate name, in order."""
    return [row.text for row in rows if row.kind == kind and row.fate == fate]


def full_path(row: str, facts: Facts) -> str:
    """The path that a file or directory row means."""
    variable = re.fullmatch(r"%(.*)%([^%]*)", row, re.DOTALL)
    if variable:
        folders = {"localappdata": facts.local_app_data, "appdata": facts.roaming_app_data}
        # Any other variable is ignored: the rest is taken from the root of the drive.
        return folders.get(variable[1].lower(), "C:") + variable[2]
    for prefix, folder in (("INSTALL_DIR32", INSTALL_FOLDER_32), ("INSTALL_DIR", INSTALL_FOLDER)):
        if row.startswith(prefix):
            return folder + row[row.index("\\") :]
    return row if re.match("[A-Za-z]:", row) else "C:\\" + row


def _rows_of(lists: Mapping[str, list[str]], fate: str, facts: Facts) -> Iterator[Row]:
    kinds = (
        ("service", "Services"),
        ("file", "Files"),
        ("folder", "Directories"),
        ("key", "RegistryKeys"),
        ("value", "RegistryValues"),
        ("process", "Process"),
    )
    for kind, list_name in kinds:
        for text in lists.get(list_name, []):
            if text:
                yield Row(fate, kind, full_path(text, facts) if kind in ("file", "folder") else text)
