#!/usr/bin/env python3
"""Writes the source of a program that imports the same functions as another one and does nothing.

    empty_program.py OBJDUMP PROGRAM.EXE SOURCE.CPP

The time to start such a program is the system's part of the other program's start-up: loading the same libraries.
"""

import re
import subprocess
import sys
from pathlib import Path

IMPORT_LINE = re.compile(r"^\s[0-9a-f]+\s+\d+\s+(\w+)\s*$")


def imported_functions(objdump: str, program: Path) -> list[str]:
    """The names of the imported functions, in the order of the import tables."""
    listing = subprocess.run([objdump, "-p", str(program)], check=True, capture_output=True, text=True).stdout
    tables = listing.partition("The Import Tables")[2].partition("The Function Table")[0]
    names = [match[1] for line in tables.splitlines() if (match := IMPORT_LINE.match(line))]
    if not names:
        raise SystemExit(f"{program} imports nothing that {objdump} shows")
    return list(dict.fromkeys(names))


def source(names: list[str]) -> str:
    """C++ that makes the linker import each name, with an entry point that returns."""
    declarations = "".join(f"extern void* __imp_{name};\n" for name in names)
    uses = "".join(f"    &__imp_{name},\n" for name in names)
    return (
        "// Made by empty_program.py from the import tables of the shipped program.\n"
        f'extern "C" {{\n{declarations}}}\n\n'
        f"extern void* const volatile imports[] = {{\n{uses}}};\n\n"
        "int __stdcall wWinMain(void*, void*, wchar_t*, int) {\n"
        "  return imports[0] == nullptr;\n"
        "}\n"
    )


def main() -> None:
    """The entry point."""
    objdump, program, target = sys.argv[1:]
    Path(target).write_text(source(imported_functions(objdump, Path(program))), encoding="utf-8")


if __name__ == "__main__":
    main()
