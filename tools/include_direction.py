#!/usr/bin/python3
"""include_direction.py - whether includes in src point one way: app above ui, devices, applications and report, these above
manifest, that above system; nothing in a loop. Prints each include that points elsewhere; status 1 when there is one."""

from __future__ import annotations

import re
import sys
from collections.abc import Iterator
from pathlib import Path

SOURCES = Path(__file__).resolve().parent.parent / "src"
# What each folder may include beside its own files.
BELOW = {
    "app": {"ui", "devices", "applications", "report", "manifest", "system"},
    "ui": {"manifest", "system"},
    "devices": {"manifest", "system"},
    "applications": {"manifest", "system"},
    "report": {"manifest", "system"},
    "manifest": {"system"},
    "system": set(),
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"/]+)/([^"]+)"', re.MULTILINE)


def wrong_includes(sources: Path) -> Iterator[str]:
    for file in sorted(sources.rglob("*.[ch]*")):
        folder = file.relative_to(sources).parts[0]
        for match in INCLUDE.finditer(file.read_text(encoding="utf-8")):
            if match[1] in BELOW and match[1] != folder and match[1] not in BELOW.get(folder, set()):
                yield f"{file.relative_to(sources.parent)}: {match[1]}/{match[2]} is not below {folder}"


def loops(sources: Path) -> Iterator[str]:
    """Headers that include each other, however long the way."""
    includes = {
        header.relative_to(sources).as_posix(): [
            f"{match[1]}/{match[2]}" for match in INCLUDE.finditer(header.read_text(encoding="utf-8"))
        ]
        for header in sources.rglob("*.h")
    }
    done: set[str] = set()
    for start in sorted(includes):
        path: list[str] = []
        pending: list[tuple[str, bool]] = [(start, True)]
        while pending:
            header, entering = pending.pop()
            if not entering:
                path.pop()
                done.add(header)
            elif header in path:
                yield "a loop: " + " -> ".join([*path[path.index(header) :], header])
            elif header not in done and header in includes:
                path.append(header)
                pending.append((header, False))
                pending += [(included, True) for included in includes[header]]


def main() -> int:
    sources = Path(sys.argv[1]) if len(sys.argv) > 1 else SOURCES
    found = [*wrong_includes(sources), *loops(sources)]
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
