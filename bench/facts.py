"""Facts read from a machine. Wine versions put things in different places; no other module makes assumptions about them."""

from __future__ import annotations

import json
import re
from dataclasses import asdict, dataclass

from bench.machine import BenchError, Machine

# The common Start Menu, in the same place on every Windows since Vista.
PROGRAMS = r"C:\ProgramData\Microsoft\Windows\Start Menu\Programs"


@dataclass(frozen=True)
class Facts:
    wine: str  # its version
    user_profile: str
    temp: str
    local_app_data: str
    roaming_app_data: str
    sid: str  # the user's key below HKEY_USERS

    @property
    def work_folder(self) -> str:
        """Where the program writes its log and its report."""
        return self.temp + r"\CleanUp"

    @property
    def log(self) -> str:
        return self.work_folder + r"\ORVCleanup.log"

    @property
    def report(self) -> str:
        return self.work_folder + r"\report.xml"


def facts_of(machine: Machine) -> Facts:
    """Asks the machine. The answer is stored beside it and copied along when it is cloned."""
    file = machine.folder / "facts.json"
    if file.exists():
        return Facts(**json.loads(file.read_text()))
    facts = _ask(machine)
    file.write_text(json.dumps(asdict(facts), indent=2) + "\n")
    return facts


def _ask(machine: Machine) -> Facts:
    answers = machine.wine("cmd.exe", "/c", "set & reg query HKEY_USERS", check=True).output
    variables = dict(re.findall(r"^([A-Za-z]\w*)=(.*?)\r?$", answers, re.MULTILINE))
    names = {name.upper(): value for name, value in variables.items()}
    users = re.findall(r"^HKEY_USERS\\(S-1-5-21-[\d-]+)\r?$", answers, re.MULTILINE)
    if len(users) != 1:
        raise BenchError(f"the machine does not name its user\n{answers}")
    machine.settle()
    return Facts(
        wine=machine.wine("--version").output.strip(),
        user_profile=names["USERPROFILE"],
        temp=names["TEMP"],
        local_app_data=names["LOCALAPPDATA"],
        roaming_app_data=names["APPDATA"],
        sid=users[0],
    )
