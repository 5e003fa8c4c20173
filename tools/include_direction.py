#!/usr/bin/python3
"""include_direction.py - whether includes in src point one way: app above ui, devices, applications and report, these above
manifest, that above system; nothing in a loop; and from the libraries that only read a machine never to a header of one that
changes it. Prints each include that points elsewhere; status 1 when there is one."""

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
LIBRARY = re.compile(r"add_module\((\w+)\s+SOURCES\s+([^)]*?)(?:LIBRARIES|\))")
READING = re.compile(r"target_link_libraries\(orv_find INTERFACE\s+([^)]*)\)")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"/]+)/([^"]+)"', re.MULTILINE)


def library_sources(sources: Path = SOURCES) -> dict[str, list[str]]:
    """The source files of each library, relative to src."""
    listing = (sources / "CMakeLists.txt").read_text(encoding="utf-8")
    return {match[1]: match[2].split() for match in LIBRARY.finditer(listing)}


def acting_includes(sources: Path) -> Iterator[str]:
    """Headers of code that changes a machine, which reading code would get by whatever way."""
    reading = READING.search((sources / "CMakeLists.txt").read_text(encoding="utf-8"))
    libraries = library_sources(sources)
    assert reading and set(reading[1].split()) <= set(libraries), "src/CMakeLists.txt does not name the reading libraries"
    acting = {
        source.replace(".cpp", ".h")
        for library, files in libraries.items()
        if library not in reading[1].split()
        for source in files
    }
    pending = [source for library in reading[1].split() for source in libraries[library]]
    seen = set(pending)
    for file in pending:  # which grows
        if not (sources / file).exists():
            continue
        for match in INCLUDE.finditer((sources / file).read_text(encoding="utf-8")):
            header = f"{match[1]}/{match[2]}"
            if header in acting:
                yield f"src/{file}: {header} belongs to code that changes a machine"
            elif header not in seen:
                seen.add(header)
                pending.append(header)


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
    found = [*wrong_includes(sources), *loops(sources), *acting_includes(sources)]
    for line in found:
        print(line)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
