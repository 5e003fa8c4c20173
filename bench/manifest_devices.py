"""For each driver package of a manifest, a device that the package matches, with its driver package; and next to it a device
of another maker whose id or description differs by one letter."""

from __future__ import annotations

from dataclasses import dataclass, field

from bench.device_outcomes import Outcomes
from bench.planting import Line, near
from bench.rows import Manifest, considered_drivers

# Classes as Windows writes them, with their GUIDs.
CLASSES = {
    "audioprocessingobject": ("AudioProcessingObject", "{5989FCE8-9CD0-467D-8A6A-5419E31529D4}"),
    "computeaccelerator": ("ComputeAccelerator", "{F01A9D53-3FF6-48D2-9F97-C8A7004BE10C}"),
    "display": ("Display", "{4D36E968-E325-11CE-BFC1-08002BE10318}"),
    "extension": ("Extension", "{E2F84CE7-8EFA-411C-AA69-97454CA4CB57}"),
    "hidclass": ("HIDClass", "{745A17A0-74D3-11D0-B6FE-00A0C90F57DA}"),
    "media": ("MEDIA", "{4D36E96C-E325-11CE-BFC1-08002BE10318}"),
    "net": ("Net", "{4D36E972-E325-11CE-BFC1-08002BE10318}"),
    "softwarecomponent": ("SoftwareComponent", "{5C4C3332-344D-483C-8739-259E934C9CC8}"),
    "system": ("System", "{4D36E97D-E325-11CE-BFC1-08002BE10318}"),
    "usb": ("USB", "{36FC9E60-C465-11CF-8056-444553540000}"),
}
BUS = r"ACPI\PNP0A08\0"
BUS_DRIVER = ("pci.inf", "Microsoft", "(Standard system devices)", "10.0.22621.1")
MAKER = "Orvane Devices, Inc."
# The numbers of the planted packages start here; another maker's are a hundred higher.
FIRST_PACKAGE = 100


@dataclass
class ManifestDevices:
    lines: list[Line] = field(default_factory=list)  # to be planted
    outcomes: Outcomes = field(default_factory=dict)
    credited: set[str] = field(default_factory=set)  # packages for which a removed device counts
    spared: set[str] = field(default_factory=set)  # packages whose devices stay


def manifest_devices(manifest: Manifest) -> ManifestDevices:
    considered = considered_drivers(manifest)
    packages = manifest["Packages"]["ORVDrivers"]
    winners = _winners_of_classes(packages, considered)
    result = ManifestDevices()
    result.lines += [
        ("device", BUS, "System", "PCI Express Root Complex", r"hwids=ACPI\PNP0A08"),
        ("driver-node", BUS, *BUS_DRIVER),
    ]
    result.outcomes["device", BUS] = "stays"
    for number, (name, package) in enumerate(packages.items(), FIRST_PACKAGE):
        info = package["Info"]
        class_name = info["ClassName"].lower()
        if name not in considered:
            outcome = "stays"
            result.spared.add(name)
        elif class_name == "extension":
            outcome = "driverless"
        else:
            outcome = "gone"
            if class_name == "system" or info["DeviceID"] or winners.get(class_name) == name:
                result.credited.add(name)
        _add_package(result, number, name, package, outcome)
    return result


def _winners_of_classes(packages: Manifest, considered: set[str]) -> dict[str, str]:
    """Packages with nothing but a class share its devices, and the first one gets them all."""
    winners: dict[str, str] = {}
    for name, package in packages.items():
        info = package["Info"]
        if name in considered and info["ClassName"] != "system" and not info["DeviceID"]:
            winners.setdefault(info["ClassName"].lower(), name)
    return winners


def _add_package(result: ManifestDevices, number: int, name: str, package: Manifest, outcome: str) -> None:
    info = package["Info"]
    description = info["DeviceDesc"] or f"Orvane {name}"
    device, neighbour = _ids(info, number)
    # Each device has a port of its own, because a device is compared with all its siblings. A companion is a sibling of the
    # display device, which is on the first port.
    is_companion = bool(info["SibblingClassName"])
    port = rf"PCI\VEN_1234&DEV_1450&SUBSYS_14501234&REV_00\3&0&0&{FIRST_PACKAGE if is_companion else number:04d}"
    if not is_companion:
        result.lines += [
            ("device", port, "System", "PCI Express Root Port", f"parent={BUS}", r"hwids=PCI\VEN_1234&DEV_1450"),
            ("driver-node", port, *BUS_DRIVER),
        ]
        result.outcomes["device", port] = "stays"
    fields = [f"hwids={_hardware(device)}"]
    if info["SibblingCompatibleId"]:
        fields.append(f"compatible={info['SibblingCompatibleId']}")
    if info["ID"]:
        fields.append(f"filters={package['Services'][0]}")
    inf, other_inf = f"oem{number}.inf", f"oem{number + 100}.inf"
    result.lines += _device(device, info, description, port, fields)
    result.lines += _driver(device, info, MAKER, inf, f"orvmanifest{number}.cat")
    result.lines += _device(neighbour, info, near(description), port, [f"hwids={_hardware(neighbour)}"])
    result.lines += _driver(neighbour, info, "Other Maker", other_inf, f"other{number}.cat")
    result.outcomes["device", device] = outcome
    result.outcomes["package", inf] = "stays" if outcome == "stays" else "gone"
    result.outcomes["device", neighbour] = "stays"
    result.outcomes["package", other_inf] = "stays"


def _ids(info: Manifest, number: int) -> tuple[str, str]:
    """The device that a package matches, and its neighbour."""
    if info["DeviceID"]:
        return info["DeviceID"] + r"\0000", near(info["DeviceID"]) + r"\0000"
    hardware = info["ID"].split(",")[0] or rf"PCI\VEN_7A11&DEV_{number + 7000:04d}"
    device = rf"{hardware}&SUBSYS_00017A11&REV_00\4&0&0&{number:04d}"
    return device, device.replace("VEN_7A11", "VEN_7A12", 1)


def _hardware(device: str) -> str:
    return device.rpartition("\\")[0]


def _device(device: str, info: Manifest, description: str, parent: str, fields: list[str]) -> list[Line]:
    class_name, guid = CLASSES[info["ClassName"].lower()]
    # When it starts, Wine rewrites the keys below Enum\ROOT with the GUID in capitals. Elsewhere it deletes display devices
    # whose class is written like that.
    guid = guid if device.startswith("ROOT") else guid.lower()
    return [("device", device, class_name, description, f"parent={parent}", f"guid={guid}", *fields)]


def _driver(device: str, info: Manifest, maker: str, inf: str, catalog: str) -> list[Line]:
    class_name, guid = CLASSES[info["ClassName"].lower()]
    return [
        ("driver-node", device, inf, maker, maker, "1.0.0.1"),
        ("package", inf, class_name, maker, catalog, f"guid={guid}"),
    ]
