"""Facts and snapshots for the unit tests, one line each."""

from __future__ import annotations

from bench.facts import Facts
from bench.snapshot import Snapshot, Thing

FACTS = Facts(
    wine="wine-test",
    user_profile=r"C:\users\somebody",
    temp=r"C:\users\somebody\Temp",
    local_app_data=r"C:\users\somebody\AppData\Local",
    roaming_app_data=r"C:\users\somebody\AppData\Roaming",
    sid="S-1-5-21-0-0-0-1000",
)


def thing(text: str) -> Thing:
    """`kind place`, followed by ` | name` for a value."""
    kind, _, rest = text.partition(" ")
    place, _, name = rest.partition(" | ")
    return Thing(kind, place, name)


def snapshot(*texts: str) -> Snapshot:
    """A snapshot of what the texts name, with parent folders and keys."""
    things: Snapshot = {}
    for text in texts:
        item = thing(text)
        things[item] = "details"
        container = "key" if item.kind in ("key", "value") else "folder"
        around = item.place if item.kind == "value" else item.place.rpartition("\\")[0]
        while "\\" in around:
            things.setdefault(Thing(container, around), "")
            around = around.rpartition("\\")[0]
    return things
