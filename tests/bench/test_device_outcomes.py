"""What outcomes of devices and packages mean for the things in a snapshot."""

from __future__ import annotations

from bench.device_outcomes import consequences, device_tree, model_calls, read_outcomes
from bench.planting import read_lines
from bench.snapshot import Snapshot, Thing

CONTROL = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet"
ENUM = CONTROL + r"\Enum"


def device(id: str, number: int, inf: str, parent: str = "") -> Snapshot:
    """A device with one driver, which is installed."""
    key, software = rf"{ENUM}\{id}", rf"{CONTROL}\Control\Class\{{guid}}\{number:04}"
    bench = key + r"\Bench"
    found = {
        Thing("key", key.rpartition("\\")[0]): "",
        Thing("key", key): "",
        Thing("value", key, "DeviceDesc"): f'"Device {number}"',
        Thing("value", key, "Driver"): f'"{{guid}}\\\\{number:04}"',
        Thing("key", software): "",
        Thing("value", bench, "DevInst"): f"dword:{number:08x}",
        Thing("value", bench, "Installed"): '"0"',
        Thing("value", bench, "Present"): "dword:00000001",
        Thing("value", bench, "Problem"): "dword:00000000",
        Thing("value", bench, "Status"): "dword:0180200a",
        Thing("key", bench + r"\Drivers\0"): "",
        Thing("value", bench + r"\Drivers\0", "Inf"): f'"C:\\\\windows\\\\inf\\\\{inf}"',
        Thing("file", rf"C:\windows\inf\{inf}"): "",
    }
    if parent:
        found[Thing("value", bench, "Parent")] = '"' + parent.replace("\\", "\\\\") + '"'
    return found


def test_a_device_goes_with_its_driver_key_and_the_last_one_with_its_hardware() -> None:
    one, two = r"PCI\A\1", r"PCI\A\2"
    machine = {**device(one, 1, "oem1.inf"), **device(two, 2, "oem1.inf")}
    gone = consequences({("device", one): "gone", ("device", two): "stays"}, machine).gone
    assert Thing("key", rf"{ENUM}\{one}") in gone
    assert Thing("key", CONTROL + r"\Control\Class\{guid}\0001") in gone
    assert Thing("value", rf"{ENUM}\{one}\Bench", "Status") in gone
    assert Thing("key", ENUM + r"\PCI\A") not in gone
    assert not [thing for thing in gone if two in thing.place or "0002" in thing.place]
    assert Thing("key", ENUM + r"\PCI\A") in consequences({("device", one): "gone", ("device", two): "gone"}, machine).gone


def test_a_device_whose_package_goes_loses_its_driver() -> None:
    id = r"PCI\A\1"
    machine = device(id, 1, "oem1.inf")
    found = consequences({("device", id): "driverless", ("package", "oem1.inf"): "gone"}, machine)
    bench = rf"{ENUM}\{id}\Bench"
    assert found.gone == {
        Thing("file", r"C:\windows\inf\oem1.inf"),
        Thing("key", bench + r"\Drivers\0"),
        Thing("value", bench + r"\Drivers\0", "Inf"),
        Thing("key", CONTROL + r"\Control\Class\{guid}\0001"),
        Thing("value", rf"{ENUM}\{id}", "Driver"),
        Thing("value", bench, "Installed"),
    }
    assert found.changed == {
        Thing("value", bench, "Problem"): "dword:0000001c",
        Thing("value", bench, "Status"): "dword:0180240a",
    }


def test_a_device_whose_package_goes_gets_its_next_driver() -> None:
    id = r"PCI\A\1"
    bench = rf"{ENUM}\{id}\Bench"
    machine = {
        **device(id, 1, "oem1.inf"),
        Thing("value", bench + r"\Drivers\1", "Inf"): r'"C:\\windows\\inf\\oem1.inf"',
        Thing("value", bench + r"\Drivers\2", "Inf"): r'"C:\\windows\\inf\\display.inf"',
        Thing("value", bench + r"\Drivers\3", "Inf"): r'"C:\\windows\\inf\\other.inf"',
    }
    found = consequences({("device", id): "stays", ("package", "oem1.inf"): "gone"}, machine)
    assert found.gone == {
        Thing("file", r"C:\windows\inf\oem1.inf"),
        Thing("key", bench + r"\Drivers\0"),
        Thing("value", bench + r"\Drivers\0", "Inf"),
        Thing("value", bench + r"\Drivers\1", "Inf"),
    }
    assert found.changed == {Thing("value", bench, "Installed"): '"2"'}


def test_a_device_below_one_that_goes_is_hidden() -> None:
    above, below = r"PCI\A\1", r"HDAUDIO\B\1"
    machine = {**device(above, 1, "oem1.inf"), **device(below, 2, "oem2.inf", above)}
    found = consequences({("device", above): "gone", ("device", below): "hidden"}, machine)
    assert found.changed == {Thing("value", rf"{ENUM}\{below}\Bench", "Present"): "dword:00000000"}


def test_names_that_the_machine_does_not_hold_are_told() -> None:
    outcomes = {("device", r"PCI\A\1"): "gone", ("package", "oem7.inf"): "stays", ("service", "orv"): "gone"}
    assert consequences(outcomes, {}).unknown == [r"PCI\A\1", "oem7.inf", "orv"]


def test_the_tree_hangs_devices_on_their_parents_in_the_order_of_their_making() -> None:
    root, first, second = r"ACPI\R\0", r"PCI\A\1", r"PCI\A\2"
    machine = {**device(second, 3, "b.inf", root), **device(root, 1, "r.inf"), **device(first, 2, "a.inf", root)}
    (top,) = device_tree(machine)
    assert (top.id, [child.id for child in top.children]) == (root, [first, second])
    assert (top.children[0].inf, top.children[0].present, top.description) == ("a.inf", True, "Device 1")


def test_the_models_calls_are_read_in_order() -> None:
    calls = {Thing("value", r"HKEY_LOCAL_MACHINE\Software\Bench Devices", "Calls"): r'str(7):"DIF_REMOVE PCI\\A\0second\0"'}
    assert model_calls(calls) == [r"DIF_REMOVE PCI\A", "second"]
    assert model_calls({}) == []


def test_every_planted_device_and_package_has_an_outcome() -> None:
    planted = {(line[0], line[1]) for line in read_lines("devices.tsv") if line[0] in ("device", "package")}
    for run in ("silent", "factory reset", "gpu"):
        outcomes = read_outcomes(run)
        assert planted <= outcomes.keys()
        assert set(outcomes.values()) <= {"gone", "stays", "driverless", "hidden"}
