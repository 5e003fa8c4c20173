"""The libraries that Windows loads with the program are known DLLs, which come from the system folder whatever is next to the
program. Every other library is delay-loaded (add_delayed_library in src/CMakeLists.txt)."""

from __future__ import annotations

import os
import re
import subprocess
from pathlib import Path

from bench.session import Build

PROGRAM = Path(os.environ.get("ORV_PROGRAM", Build.program))

# The part of HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\KnownDLLs that every Windows since Windows 10 1809 has.
# ntdll is in every process before any search.
KNOWN = set(
    "advapi32 clbcatq combase comdlg32 coml2 difxapi gdi32 gdiplus imagehlp imm32 kernel32 msctf msvcrt normaliz nsi ntdll "
    "ole32 oleaut32 psapi rpcrt4 sechost setupapi shcore shell32 shlwapi user32 wldap32 ws2_32".split()
)


def test_libraries_loaded_with_the_program_are_known_ones() -> None:
    listing = subprocess.run(
        ["x86_64-w64-mingw32-objdump", "-p", str(PROGRAM)], check=True, capture_output=True, encoding="latin-1"
    ).stdout
    imported = {name.lower() for name in re.findall(r"^\s*DLL Name: (.*)\.dll\s*$", listing, re.MULTILINE | re.IGNORECASE)}
    # An empty list means that the program could not be read.
    assert "kernel32" in imported, listing
    unknown = imported - KNOWN
    assert not unknown, "loaded with the program, and so would be a file of that name beside it"
