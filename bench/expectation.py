"""The expected result: which things on a machine a full run has to remove. Everything else stays.

The rules, which docs/manifest.md explains to the manifest's authors:

- A row covers what it names and everything in it.
- What a `kept` row names stays with everything in it.
- The folders and keys around something that stays also stay, since they are not empty.
- An `empty-key` is removed if no key is left below it, a `bare-key` if nothing at all is left in it.
- Windows names are not case sensitive.
"""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator

from bench.facts import PROGRAMS, Facts
from bench.rows import Row
from bench.snapshot import Snapshot, Thing

SERVICES = r"hkey_local_machine\system\currentcontrolset\services"
TASKS = r"c:\windows\system32\tasks"


class Expectation:
    """What rows mean for a machine: `goes` are the things to remove, `unused` the listed rows that match nothing."""

    def __init__(self, rows: Iterable[Row], snapshot: Snapshot, facts: Facts) -> None:
        self._facts = facts
        self._listed = _Places()
        self._kept = _Places()
        self._empty_keys: dict[str, str] = {}
        for row in rows:
            self._take_up(row)
        listed = {thing for thing in snapshot if self._is_listed(thing)}
        goes = {thing for thing in listed if not self._kept.mean(thing)}
        self.goes = self._without_what_is_held(goes, snapshot)
        self.unused = self._listed.unused()

    def _take_up(self, row: Row) -> None:
        if row.fate == "beside" or row.kind == "process":
            return
        place = row.text.lower()
        places = self._listed if row.fate == "listed" else self._kept
        if row.kind in ("empty-key", "bare-key"):
            self._empty_keys[self._registry_place(place)] = row.kind
        elif row.kind == "key":
            places.add("key", self._registry_place(place), row)
        elif row.kind == "value":
            places.add("value", self._registry_place(place), row)
        elif row.kind == "path-value":
            places.add("value", self._registry_place(place) + "\\" + row.name.lower(), row)
        elif row.kind == "service":
            places.add("key", f"{SERVICES}\\{place}", row)
        elif row.kind == "task":
            places.add("file", f"{TASKS}\\{place}", row)
        elif row.kind == "shortcut":
            # The link's folder is removed with it, whatever else it contains.
            places.add("folder", f"{PROGRAMS.lower()}\\{_parent(place)}", row)
        else:
            places.add(row.kind, place, row)

    def _registry_place(self, key: str) -> str:
        # One key has several names: through the classes root, through the user's own hive, and the 32-bit view of the classes.
        for beginning, meaning in (
            ("hkey_classes_root\\", "hkey_local_machine\\software\\classes\\"),
            (f"hkey_users\\{self._facts.sid.lower()}\\", "hkey_current_user\\"),
            ("hkey_local_machine\\software\\wow6432node\\classes\\", "hkey_local_machine\\software\\classes\\wow6432node\\"),
        ):
            if key.startswith(beginning):
                key = meaning + key.removeprefix(beginning)
        return key

    def _is_listed(self, thing: Thing) -> bool:
        return self._listed.mean(thing)

    def _without_what_is_held(self, goes: set[Thing], snapshot: Snapshot) -> set[Thing]:
        held: set[str] = set()  # places around something that stays
        with_values: set[str] = set()  # keys in which a value stays
        with_keys: set[str] = set()  # keys below which a key stays that is no empty-key or bare-key, or a value
        for thing in snapshot.keys() - goes:
            place = thing.place.lower()
            held.update(_from(place if thing.kind == "value" else _parent(place), held))
            if thing.kind == "value":
                with_values.add(place)
            if thing.kind == "value" or place not in self._empty_keys:
                with_keys.update(_from(_parent(place), with_keys))
        may_go = {
            key
            for key, kind in self._empty_keys.items()
            if key not in with_keys and (kind == "empty-key" or key not in with_values)
        }
        # The values of an empty key are removed with it.
        result = {thing for thing in goes if thing.kind == "value" or thing.place.lower() not in held}
        result |= {thing for thing in snapshot if thing.kind in ("key", "value") and thing.place.lower() in may_go}
        return result


def expected_gone(rows: Iterable[Row], snapshot: Snapshot, facts: Facts) -> set[Thing]:
    return Expectation(rows, snapshot, facts).goes


def unused_rows(rows: Iterable[Row], snapshot: Snapshot, facts: Facts) -> list[Row]:
    """The listed rows that match nothing on the machine."""
    return Expectation(rows, snapshot, facts).unused


class _Places:
    """The places named by rows of one fate, in lower case, and which of these rows matched something."""

    def __init__(self) -> None:
        self._rows: dict[tuple[str, str], Row] = {}
        self._patterns: list[tuple[re.Pattern[str], Row]] = []
        self._used: set[Row] = set()

    def add(self, kind: str, place: str, row: Row) -> None:
        self._rows[kind, place] = row
        if kind == "file" and "*" in place:
            self._patterns.append((re.compile(re.escape(place).replace(r"\*", r"[^\\]*")), row))

    def mean(self, thing: Thing) -> bool:
        place = thing.place.lower()
        if thing.kind == "key":
            return self._around("key", place)
        if thing.kind == "value":
            # Evaluate both, so that each row that covers the value counts as used.
            return bool(self._named("value", f"{place}\\{thing.name.lower()}") | self._around("key", place))
        found = self._around("folder", place)
        if thing.kind == "folder":
            return found
        found |= self._named("file", place)
        for pattern, row in self._patterns:
            if pattern.fullmatch(place):
                self._used.add(row)
                found = True
        return found

    def unused(self) -> list[Row]:
        return [row for row in self._rows.values() if row not in self._used]

    def _named(self, kind: str, place: str) -> bool:
        row = self._rows.get((kind, place))
        if row is not None:
            self._used.add(row)
        return row is not None

    def _around(self, kind: str, place: str) -> bool:
        # A list rather than a generator, so that every row is checked.
        return any([self._named(kind, around) for around in _from(place, ())])


def _from(place: str, known: Iterable[str]) -> Iterator[str]:
    """The place and its parents, up to one that is known."""
    while place and place not in known:
        yield place
        place = _parent(place)


def _parent(place: str) -> str:
    return place.rpartition("\\")[0]
