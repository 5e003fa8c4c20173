"""The log of a run of the program, read back."""

from __future__ import annotations

import re
from dataclasses import dataclass
from pathlib import Path

_LINE = re.compile(r"Thread Id:\d+\t(\d{4}:\d\d:\d\d-\d\d:\d\d:\d\d)\t(DEBUG|ERROR)\t(.*)", re.DOTALL)
# A message may go on in lines that are indented by seven tabs.
_CONTINUED = "\t" * 7
# What follows a list of the log and belongs to none: lines about the clock, which a machine may not tell in the words of a
# locale, about the restart, and about the devices behind that of the spared graphics devices.
_BEHIND_A_LIST = re.compile(r"-|Devices to Uninstall |Call to Get|Reboot is required to finish cleanup\.$")


@dataclass(frozen=True)
class RunLog:
    file: Path
    lines: list[str]  # without their ends
    messages: list[str]  # without thread, time and level
    odd_lines: list[str]  # what has not the form of a log line

    @property
    def stages(self) -> list[str]:
        """The lines that open and close a stage or a list."""
        return [message for message in self.messages if message.startswith("-")]

    @property
    def stages_without_devices(self) -> list[str]:
        """The same without the lines about single devices, which have nine hyphens."""
        return [stage for stage in self.stages if not re.match(r"-{9}[^-]", stage)]

    def section(self, header: str) -> list[str]:
        """The messages between a header and what follows its list; [] when there is no such header."""
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
