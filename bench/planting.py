"""What is planted on a machine: lines for bench/programs/plant.cpp, which documents the columns."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Sequence

from bench import DATA
from bench.facts import PROGRAMS
from bench.machine import Machine
from bench.rows import Row, read_table

SERVICE_PROGRAM = r"C:\bench\service_program.exe"
SHORTCUT_TARGET = r"C:\windows\notepad.exe"

Line = tuple[str, ...]


def read_lines(name: str) -> list[Line]:
    """The lines of a plant list of bench/data."""
    return [tuple(fields) for fields in read_table(DATA / name)]


def plant(machine: Machine, lines: Iterable[Sequence[str]]) -> None:
    """Plants everything, each thing once, and waits until the machine has settled."""
    unique = dict.fromkeys("\t".join(line) for line in lines)
    (machine.bench / "plant_list.tsv").write_text("".join(f"{line}\n" for line in unique), encoding="utf-8")
    machine.wine(r"C:\bench\plant.exe", r"C:\bench\plant_list.tsv", check=True)
    machine.settle()


def lines_for(rows: Iterable[Row]) -> list[Line]:
    """For each row the thing that it names, with some content where possible."""
    return [line for row in rows for line in _thing(row)]


def lines_with_neighbours(rows: Iterable[Row]) -> list[Line]:
    """The same, and next to each thing neighbours that no row covers: a name that differs in its last character, a value
    beside a key, a key beside a value, a file beside a folder."""
    rows = list(rows)
    return lines_for(rows) + [line for row in rows for line in _neighbours(row)]


def near(name: str) -> str:
    """A name that differs in its last character only."""
    return name[:-1] + ("y" if name.endswith("x") else "x")


def _thing(row: Row) -> Iterator[Line]:
    text = row.text
    match row.kind:
        case "file":
            yield "file", text.replace("*", "1")
            if "*" in text:
                yield "file", text.replace("*", "-second ")
        case "folder":
            yield "file", text + r"\leftover.txt"
            yield "file", text + r"\Two words\deeper\leftover.bin"
            yield "read-only-file", text + r"\Two words\read only.txt"
            yield "folder", text + r"\empty"
        case "key":
            yield "value", text, "", f"The default value of {text}"
            yield "value", text, "Text", f"Text of {text}"
            yield "number", text, "Number", "4711"
            yield "texts", text + r"\Below\Deeper", "Texts", "one|two"
            yield "key", text + r"\Below\Empty"
        case "empty-key" | "bare-key":
            yield "key", text
        case "value":
            yield "value", _parent(text), _leaf(text), f"Value of {text}"
        case "task":
            yield "task", text
        case "service":
            yield "service", text, SERVICE_PROGRAM
        case "shortcut":
            yield "shortcut", f"{PROGRAMS}\\{text}", SHORTCUT_TARGET
            yield "file", f"{PROGRAMS}\\{_parent(text)}\\Read me.txt"


def _neighbours(row: Row) -> Iterator[Line]:
    text = row.text
    match row.kind:
        case "file":
            yield "file", near(text.replace("*", "1"))
        case "folder":
            yield "file", near(text) + r"\neighbour.txt"
            yield "file", text + ".neighbour.txt"
        case "key":
            yield "value", near(text), "Text", f"Neighbour of {text}"
            # Nothing is planted in a root itself, so a key directly below a root gets no value beside it.
            if "\\" in _parent(text):
                yield "value", _parent(text), _leaf(text) + " value", f"Neighbour of {text}"
        case "value":
            yield "value", _parent(text), near(_leaf(text)), f"Neighbour of {text}"
            yield "key", text
        case "task":
            yield "task", near(text)
        case "service":
            yield "service", near(text), SERVICE_PROGRAM
        case "shortcut":
            yield "shortcut", f"{PROGRAMS}\\{near(_parent(text))}\\{_leaf(text)}", SHORTCUT_TARGET
            yield "shortcut", f"{PROGRAMS}\\{_leaf(text)}", SHORTCUT_TARGET


def _parent(path: str) -> str:
    return path.rpartition("\\")[0] or path


def _leaf(path: str) -> str:
    return path.rpartition("\\")[2]
