"""Reads registry hives as Wine saves them: text files with a line for each key and value."""

from __future__ import annotations

import re
from collections.abc import Iterator
from pathlib import Path

_KEY = re.compile(r"\[(.*)\](?: \d+)?$")
_VALUE = re.compile(r'(?:@|"((?:[^"\\]|\\.)*)")=')


def read_hive(file: Path, root: str) -> Iterator[tuple[str, str | None, str]]:
    """Each key as (path, None, "") and each value as (path of its key, name, data as the file spells it).

    A hive omits keys that contain nothing but subkeys. The ancestors of each key are yielded too, so that no key is missing.
    """
    given: set[str] = set()
    key = ""
    continued = ""
    with file.open(encoding="latin-1", newline="\n") as lines:
        for raw in lines:
            line = continued + (raw.lstrip(" ") if continued else raw).rstrip("\n")
            continued = ""
            if line.startswith("["):
                match = _KEY.match(line)
                if match:
                    key = f"{root}\\{_key_name(match[1])}"
                    place = key
                    while place != root and place not in given:
                        given.add(place)
                        yield place, None, ""
                        place = place.rpartition("\\")[0]
            elif key and line[:1] in ('"', "@"):
                # A list of bytes may continue over several lines, each but the last ending in a backslash.
                if line.endswith(",\\"):
                    continued = line[:-1]
                    continue
                match = _VALUE.match(line)
                if match:
                    yield key, _value_name(match[1] or ""), line[match.end() :]


def text_of(data: str) -> str:
    """The text of a REG_SZ, from the hive's notation."""
    return data.removeprefix('"').removesuffix('"').replace("\\\\", "\\")


def texts_of(data: str) -> list[str]:
    """The texts of a REG_MULTI_SZ, from the hive's notation."""
    inner = data.removeprefix('str(7):"').removesuffix('"')
    texts = re.sub(r"\\(.)", lambda escape: "\0" if escape[1] == "0" else escape[1], inner)
    return texts.rstrip("\0").split("\0") if texts.strip("\0") else []


def link_target(data: str) -> str:
    """The key that a link leads to, from the hive's notation."""
    target = bytes.fromhex(data.removeprefix("hex(6):").replace(",", " ")).decode("utf-16-le")
    return target.replace(r"\Registry\Machine", "HKEY_LOCAL_MACHINE")


def _key_name(text: str) -> str:
    return text.replace("\\\\", "\1").replace("\\", "").replace("\1", "\\")


def _value_name(text: str) -> str:
    # Characters beyond ASCII are written as \xNNNN and left like that; only quotes and backslashes are unescaped.
    return text.replace('\\"', '"').replace("\\\\", "\\")
