"""Reads the log of a run."""

from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

_LINE = re.compile(r"Thread Id:\d+\t(\d{4}:\d\d:\d\d-\d\d:\d\d:\d\d)\t(DEBUG|ERROR)\t(.*)", re.DOTALL)
# A message may continue in lines that are indented by seven tabs.
_CONTINUED = "\t" * 7
# Lines that may follow a list in the log without belonging to it: about the clock, whose time a machine may be unable to
# format for a locale, about the restart, and about further devices after the list of kept graphics devices.
_BEHIND_A_LIST = re.compile(r"-|Devices to Uninstall |Call to Get|Reboot is required to finish cleanup\.$")


@dataclass(frozen=True)
class RunLog:
    file: Path
    lines: list[str]  # without line endings
    messages: list[str]  # without thread id, time and level
    odd_lines: list[str]  # lines that do not look like log lines

    @property
    def stages(self) -> list[str]:
        """The lines that mark the start and end of a stage or a list."""
        return [message for message in self.messages if message.startswith("-")]

    @property
    def stages_without_devices(self) -> list[str]:
        """The same without the lines about individual devices, which have nine hyphens."""
        return [stage for stage in self.stages if not re.match(r"-{9}[^-]", stage)]

    def section(self, header: str) -> list[str]:
        """The messages of the list under a header; [] if there is no such header."""
        found: list[str] = []
        inside = False
        for message in self.messages:
            if message == header:
                inside = True
            elif _BEHIND_A_LIST.match(message):
                inside = False
            elif inside:
                found.append(message)
        return found


def read_log(file: Path) -> RunLog:
    data = file.read_bytes().decode("latin-1")
    lines = data.split("\n")
    odd = [] if data.endswith("\r\n") else [f"the end of the log: {lines[-1]}"]
    lines = lines[:-1] if lines[-1] == "" else lines
    messages = []
    for number, line in enumerate(lines):
        if not line.endswith("\r"):
            odd.append(f"without a carriage return: {line}")
        text = line.removesuffix("\r")
        match = _LINE.fullmatch(text)
        if match:
            messages.append(match[3])
        elif not (number == 0 and re.fullmatch(r"Process Id:\d+", text)) and not text.startswith(_CONTINUED):
            odd.append(text)
    return RunLog(file, [line.removesuffix("\r") for line in lines], messages, odd)
