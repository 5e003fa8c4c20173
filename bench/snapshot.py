"""Snapshots of a machine (every file, folder, link, registry key and value) and their differences.

The machine must have settled, because the registry is read from its files. The folder C:\\bench is the bench's own and not
part of a snapshot.
"""

from __future__ import annotations

import hashlib
import os
import re
import stat
from collections.abc import Callable, Iterable
from dataclasses import dataclass
from pathlib import Path
from typing import NamedTuple

from bench.hives import link_target, read_hive, texts_of
from bench.machine import Machine


class Thing(NamedTuple):
    kind: str  # file, folder, link, key, value
    place: str  # C:\path or HKEY_...; of a value, its key
    name: str = ""  # of a value; "" is a key's default value

    def __str__(self) -> str:
        return f"{self.kind} {self.place}" + (f"  [{self.name}]" if self.kind == "value" else "")


# Each thing with its details: for a file its size, mode and SHA-256; for a folder its mode; for a link its target, in the
# host's notation; for a value its data.
Snapshot = dict[Thing, str]

HIVES = (("system.reg", "HKEY_LOCAL_MACHINE"), ("user.reg", "HKEY_CURRENT_USER"), ("userdef.reg", "HKEY_USERS\\.Default"))

# What Wine writes by itself whenever a machine starts: the list of the host's fonts (values that name a file of the host), the
# date of its display driver, and the driver keys of the display and monitor classes, where it deletes all others.
_OWN_KEYS = re.compile(r"\\Control\\Class\\\{4D36E96[8E]-E325-11CE-BFC1-08002BE10318\}\\", re.IGNORECASE)
_OWN_VALUE = "DriverDateData"
_HOST_FILE = '"\\\\??\\\\unix\\\\'

# Programs use this name for the control set. On Windows and with newer versions of Wine it is a link to the key that has the
# content.
_CONTROL_SET = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet"


def take_snapshot(machine: Machine) -> Snapshot:
    things: Snapshot = {}
    _add_files(machine.drive, things)
    for hive, root in HIVES:
        _add_hive(machine.folder / hive, root, things)
    return things


@dataclass
class Difference:
    removed: set[Thing]
    added: Snapshot
    changed: Snapshot  # with the new details


def difference(before: Snapshot, after: Snapshot) -> Difference:
    return Difference(
        removed=before.keys() - after.keys(),
        added={thing: details for thing, details in after.items() if thing not in before},
        changed={thing: details for thing, details in after.items() if before.get(thing, details) != details},
    )


def removed(before: Snapshot, after: Snapshot) -> set[Thing]:
    return difference(before, after).removed


def without(snapshot: Snapshot, unwanted: Callable[[Thing], bool]) -> Snapshot:
    return {thing: details for thing, details in snapshot.items() if not unwanted(thing)}


def holds(snapshot: Iterable[Thing], kind: str, place: str) -> bool:
    """Whether something of that kind is at that place, ignoring case."""
    return any(thing.kind == kind and thing.place.lower() == place.lower() for thing in snapshot)


def texts_at(snapshot: Snapshot, key: str, name: str) -> list[str]:
    """The texts of a value that is a list of texts; none if there is no such value."""
    data = snapshot.get(Thing("value", key, name))
    return texts_of(data) if data else []


def _add_files(drive: Path, things: Snapshot) -> None:
    pending = [(str(drive), "C:")]
    while pending:
        host, windows = pending.pop()
        with os.scandir(host) as entries:
            for entry in entries:
                place = f"{windows}\\{entry.name}"
                if place == "C:\\bench":
                    continue
                status = entry.stat(follow_symlinks=False)
                mode = f"{stat.S_IMODE(status.st_mode):o}"
                if entry.is_symlink():
                    things[Thing("link", place)] = os.readlink(entry.path)
                elif entry.is_dir(follow_symlinks=False):
                    things[Thing("folder", place)] = mode
                    pending.append((entry.path, place))
                elif entry.is_file(follow_symlinks=False):
                    things[Thing("file", place)] = f"{status.st_size} {mode} {_sha256(entry.path)}"
                else:
                    things[Thing("other", place)] = f"{stat.S_IFMT(status.st_mode):o}"


def _add_hive(file: Path, root: str, things: Snapshot) -> None:
    entries = list(read_hive(file, root))
    links = [link_target(data) for key, name, data in entries if (key, name) == (_CONTROL_SET, "SymbolicLinkValue")]
    for key, name, data in entries:
        for link in links:
            if f"{key}\\".startswith(f"{link}\\"):
                key = _CONTROL_SET + key[len(link) :]
        if _OWN_KEYS.search(key):
            continue
        if name is None:
            things[Thing("key", key)] = ""
        elif name != _OWN_VALUE and _HOST_FILE not in data:
            things[Thing("value", key, name)] = data


def _sha256(path: str) -> str:
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()
