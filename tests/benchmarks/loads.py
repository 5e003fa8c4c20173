"""What the benchmark plants, and what removes it: the rows and columns of its tables.

Loads are below one folder and one key that the shipped manifest lists, next to a neighbour that must stay.
"""

from collections.abc import Callable
from dataclasses import dataclass

FOLDER = r"C:\Program Files\ORV\Telemetry"
KEY = r"HKEY_LOCAL_MACHINE\SOFTWARE\ORV\Telemetry"
NEIGHBOURS = [
    "file\tC:\\Program Files\\ORV\\Neighbour\\stays.txt",
    "value\tHKEY_LOCAL_MACHINE\\SOFTWARE\\ORV\\Neighbour\tStays\t1",
]

PROGRAM = r"C:\bench\ORVCleanupUtility.exe silent"
EMPTY = r"C:\bench\empty_program.exe"


@dataclass(frozen=True)
class Row:
    """Things of one kind that each column removes."""

    name: str
    verb: str  # "folder" or "key", as floor.cpp and script.cmd know it
    place: str

    def load_command(self, count: int) -> str:
        """A command line that plants that many things."""
        return f'C:\\bench\\load.exe {self.name} "{self.place}" {count}'

    def columns(self) -> dict[str, str]:
        """The command line that removes them, for each column."""
        return {
            "program": PROGRAM,
            "floor": f'C:\\bench\\floor.exe {self.verb} "{self.place}" C:\\bench\\floor.log',
            "script": f'cmd.exe /c C:\\bench\\script.cmd {self.verb} "{self.place}"',
        }


ROWS = [
    Row("files", "folder", FOLDER),
    Row("directories", "folder", FOLDER),
    Row("values", "key", KEY),
    Row("keys", "key", KEY),
]


@dataclass(frozen=True)
class Surroundings:
    """Things that a run examines and mostly leaves alone. Only the growth is measured."""

    name: str
    most: int
    plant_list: Callable[[int], list[str]]
    devices: bool = False


def device_list(count: int) -> list[str]:
    """Devices on buses of twenty, every tenth the maker's, and a package for every four, every other one the maker's."""
    lines = []
    classes = ["Display", "MEDIA", "System", "HIDClass", "Net"]
    for index in range(count):
        maker = index % 10 == 0
        device_class = classes[index // 10 % 3] if maker else classes[index % 5]
        bus = f"ACPI\\BRIDGE{index // 20}\\0"
        if index % 20 == 0:
            lines.append(f"device\t{bus}\tSystem\tBus {index // 20}\thwids=ACPI\\BRIDGE")
            lines.append(f"driver-node\t{bus}\tpci.inf\tMicrosoft\t(Standard system devices)\t10.0.22621.1")
        vendor, provider = ("7A11", "Orvane Devices, Inc.") if maker else ("10FF", "Nordlicht GmbH")
        hardware_id = f"PCI\\VEN_{vendor}&DEV_{index:04X}"
        device = f"{hardware_id}\\3&{index:08X}&0"
        ids = f"hwids={hardware_id}\tcompatible=PCI\\CC_0300"
        lines.append(f"device\t{device}\t{device_class}\tDevice {index}\tparent={bus}\t{ids}")
        lines.append(f"driver-node\t{device}\toem{index // 4}.inf\t{provider}\t{provider}\t1.0.0.{index}")
    for index in range(count // 4):
        provider = "Orvane Devices, Inc." if index % 2 else "Nordlicht GmbH"
        lines.append(f"package\toem{index}.inf\t{classes[index % 5]}\t{provider}\tcatalog{index}.cat")
    return lines


def packed(code: str) -> str:
    """A product code as in the installer's key names: each of its numbers with the digits reversed."""
    parts = code.strip("{}").split("-")
    pairs = parts[3] + parts[4]
    swapped = "".join(pairs[i + 1] + pairs[i] for i in range(0, len(pairs), 2))
    return "".join(part[::-1] for part in parts[:3]) + swapped


def product_list(upgrade_code: str) -> Callable[[int], list[str]]:
    """Other makers' products, and one of the maker's whose package is missing. It is removed by force, which searches the
    registration of all products."""
    machine = r"HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion"
    classes = r"HKEY_LOCAL_MACHINE\SOFTWARE\Classes\Installer"

    def lines_of(count: int) -> list[str]:
        lines = []
        for index in range(count):
            code = f"{{{index:08X}-1111-2222-3333-444444444444}}"
            upgrade = f"{{{index:08X}-5555-6666-7777-888888888888}}" if index else upgrade_code
            name = f"Other product {index}" if index else "Orvane product"
            product = packed(code)
            data = rf"{machine}\Installer\UserData\S-1-5-18"
            properties = rf"{data}\Products\{product}\InstallProperties"
            lines += [
                f"value\t{machine}\\Uninstall\\{code}\tDisplayName\t{name}",
                f"value\t{properties}\tDisplayName\t{name}",
                f"value\t{properties}\tUninstallString\tMsiExec.exe /X{code}",
                f"value\t{properties}\tLocalPackage\tC:\\windows\\Installer\\gone{index}.msi",
                f"value\t{machine}\\Installer\\UpgradeCodes\\{packed(upgrade)}\t{product}\t",
                f"value\t{machine}\\Installer\\Folders\tC:\\windows\\Installer\\{code}\\\t",
                f"value\t{classes}\\Products\\{product}\tProductName\t{name}",
                f"value\t{classes}\\UpgradeCodes\\{packed(upgrade)}\t{product}\t",
                f"key\t{classes}\\Features\\{product}",
            ]
            lines += [
                f"value\t{data}\\Components\\{index * 3 + component:032X}\t{product}\tC:\\file.dll"
                for component in range(3)
            ]
        return lines

    return lines_of


def cache_list(count: int) -> list[str]:
    """Small files in the update cache, which are examined and stay."""
    return [f"file\tC:\\windows\\SoftwareDistribution\\Download\\update{index}.cab" for index in range(count)]
