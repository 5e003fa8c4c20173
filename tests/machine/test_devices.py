"""Machines with many devices and driver packages, of the maker and of others (bench/data/devices.tsv)."""

from __future__ import annotations

import re
from collections.abc import Iterable, Sequence

from bench.device_outcomes import Outcomes, consequences, model_calls, read_outcomes
from bench.planting import Line, read_lines
from case import SYSTEM_INFORMATION, Case, Run
from checks import (
    IN_SAFE_MODE,
    ON_A_VIRTUAL_MACHINE,
    check_changes,
    check_gone,
    check_in_order,
    check_log_form,
    check_same,
    check_section,
    expected_lines,
    expected_stages,
)

DISPLAY_EXTENSION: Line = ("package", "oem43.inf", "Extension", "Orvane Devices, Inc.", "orvdispext.cat")
# Windows' error for a package that a device is using.
IN_USE = "0xE000023D"


def plant_devices(case: Case, *more: Line) -> None:
    case.plant([*read_lines("devices.tsv"), *more])


def with_outcome(outcomes: Outcomes, outcome: str, what: str, *names: str) -> Outcomes:
    return {**outcomes, **{(what, name): outcome for name in names}}


def check_devices(case: Case, run: Run, outcomes: Outcomes) -> None:
    """Exactly the things in the outcomes are gone, driverless or hidden, and everything else is as it was."""
    expected = consequences(outcomes, run.before)
    check_same("expected things that the machine did not hold", [], expected.unknown)
    check_gone(run, expected.gone)
    check_changes(case, run, expected.changed)


def check_calls(run: Run, expected: Sequence[str]) -> None:
    """The complete calls to the model of device installation, in order."""
    check_in_order("the calls for devices and packages", expected, model_calls(run.after))


def check_device_log(run: Run, expected: Sequence[str]) -> None:
    """What the log says about each removal and about devices that were kept or refused, in order."""
    beginnings = "Devices to Uninstall|Successfully|Failed Uninst|Uninstall |Excluding|.?Reboot needed|Setup|CleanDriverStore"
    found = [message for message in run.log.messages if re.match(beginnings, message)]
    check_in_order("the log's lines about removals", expected, found)


def displays(lines: Iterable[Sequence[str]]) -> list[str]:
    return [line[1] for line in lines if line[0] == "device" and line[2] == "Display"]


def test_devices_and_packages(case: Case) -> None:
    """A silent run removes exactly the devices and packages that the manifest or the driver store cleaner selects, with their
    driver files, in a fixed order. Everything else stays bit for bit, and the restart that one device asks for is
    announced."""
    plant_devices(case)
    run = case.run()
    assert run.record.exits == [0]
    check_devices(case, run, read_outcomes("silent"))
    check_calls(run, expected_lines("device_calls_silent.txt"))
    assert run.record.reboot_required == "1"
    check_log_form(run.log)
    stages = expected_lines("stages_devices_and_packages.txt")
    check_in_order("the stages in the log", stages, run.log.stages_without_devices)
    check_device_log(run, expected_lines("device_log_silent.txt"))
    check_section(run.log, "-----------Failed Deletion of Driver Files ---------------", [])


def test_devices_in_a_factory_reset(case: Case) -> None:
    """Factory reset: display devices, their packages and extensions, the display package's key and service, and all driver
    files stay. The rest is removed as in any run."""
    plant_devices(case, DISPLAY_EXTENSION)
    run = case.run(("run", r"C:\bench\ORVCleanupUtility.exe silent launchedForFactoryReset"))
    assert run.record.exits == [0]
    check_devices(case, run, with_outcome(read_outcomes("factory reset"), "stays", "package", "oem43.inf"))
    check_calls(run, expected_lines("device_calls_factory_reset.txt"))
    check_device_log(run, expected_lines("device_log_factory_reset.txt"))
    # None of the removed devices asks for a restart.
    assert run.record.reboot_required == "absent"
    check_log_form(run.log)


def test_devices_that_resist(case: Case) -> None:
    """A device for which both ways of removal fail, one for which only the second works, and a package whose removal is
    refused. What cannot be removed stays and is reported; everything else is removed as in any silent run."""
    stuck = r"HDAUDIO\FUNC_01&VEN_7A2E&DEV_0100&SUBSYS_01007A2E&REV_1000\7&5F607182&0&0001"
    second_way = r"PCI\VEN_7A11&DEV_15B6&SUBSYS_15B61022&REV_00\4&0A1B2C3D&0&0341"
    plant_devices(
        case,
        ("device-fails", stuck, "DIF_REMOVE", "5"),
        ("device-fails", stuck, "DiUninstallDevice", "5"),
        ("device-fails", second_way, "DIF_REMOVE", "0xE0000235"),
        ("package-fails", "oem12.inf", "DiUninstallDriverW", "5"),
        ("package-fails", "oem12.inf", "SetupUninstallOEMInfW", IN_USE),
    )
    run = case.run()
    assert run.record.exits == [0]
    outcomes = with_outcome(read_outcomes("silent"), "stays", "device", stuck)
    # Its package's removal is attempted only after the device's, and its files are collected before.
    check_devices(case, run, with_outcome(outcomes, "stays", "package", "oem28.inf", "oem12.inf"))
    check_calls(run, expected_lines("device_calls_resisting.txt"))
    check_device_log(run, expected_lines("device_log_resisting.txt"))
    check_log_form(run.log)
    check_section(run.log, "-----------Failed Deletions of Drivers---------------", ["DisplayAudioDriver64"])


def test_devices_with_a_kept_gpu(case: Case) -> None:
    """`gpu` names one graphics card. It stays, and so do its package, which Windows refuses to remove, and the files of all
    display drivers. The other graphics devices are removed, along with everything else that a silent run removes."""
    plant_devices(
        case,
        # Both calls fail, the second with the error for a package in use.
        ("package-fails", "oem10.inf", "DiUninstallDriverW", IN_USE),
        ("package-fails", "oem10.inf", "SetupUninstallOEMInfW", IN_USE),
    )
    run = case.run(("run", r'C:\bench\ORVCleanupUtility.exe silent gpu "7A11&7550"@"7A11&9999"'))
    assert run.record.exits == [0]
    check_devices(case, run, read_outcomes("gpu"))
    check_calls(run, expected_lines("device_calls_gpu.txt"))
    check_device_log(run, expected_lines("device_log_gpu.txt"))
    assert run.record.reboot_required == "absent"
    check_log_form(run.log)
    check_section(run.log, "-----------Excluding GPU's-------------", ["7A11-7550", "7A11-9999"])


def test_devices_with_a_kept_gpu_alone(case: Case) -> None:
    """`gpu` names one graphics card, and no call fails. The call that removes a package from the driver store is documented to
    take it away from the devices that use it. So the card, the files that only display drivers have and the key of the
    installed packages stay, but the card's package is removed: the card continues with the next driver that fits, which is
    Windows' own. Everything else is removed as in the previous case."""
    packages = r"HKEY_LOCAL_MACHINE\SOFTWARE\KTL Systems\Install\Packages"
    plant_devices(case, ("value", packages + r"\Graphics", "Version", "24.10"))
    run = case.run(("run", r'C:\bench\ORVCleanupUtility.exe silent gpu "7A11&7550"@"7A11&9999"'))
    assert run.record.exits == [0]
    check_devices(case, run, with_outcome(read_outcomes("gpu"), "gone", "package", "oem10.inf"))
    # The two failed calls of the other case are one successful call here.
    refused = f"SetupUninstallOEMInfW oem10.inf -> {IN_USE}"
    calls = [call for call in expected_lines("device_calls_gpu.txt") if call != refused]
    check_calls(run, [re.sub(f"(oem10\\.inf -> ){IN_USE}$", r"\g<1>0", call) for call in calls])
    told = [
        re.sub("^Uninstall of driver failed with .*", "Uninstall successful", message)
        for message in expected_lines("device_log_gpu.txt")
        if not message.startswith("CleanDriverStore::SetupUninstallOEMInf Failed for INF: oem10.inf")
    ]
    check_device_log(run, told)
    assert run.record.reboot_required == "absent"
    check_log_form(run.log)
    check_section(run.log, "-----------Excluding GPU's-------------", ["7A11-7550", "7A11-9999"])


def test_devices_on_a_virtual_machine(case: Case) -> None:
    """The machine is a virtual one. After everything that any silent run removes, the remaining display devices are removed
    too, whoever made them, so that the displays are set up again. The other makers' packages, driver files and services stay.
    The run starts at once, although a restart into safe mode is requested."""
    plant_devices(case, ("value", SYSTEM_INFORMATION, "SystemProductName", "Virtual Machine"))
    run = case.run(("run", r"C:\bench\ORVCleanupUtility.exe silent safemode"))
    assert run.record.exits == [0]
    lines = read_lines("devices.tsv")
    check_devices(case, run, with_outcome(read_outcomes("silent"), "gone", "device", *displays(lines)))
    # The calls of an ordinary silent run, and then the other makers' displays, in the order of the device tree.
    of_the_others = [
        r"SetupDiRemoveDevice PCI\VEN_7A11&DEV_6600&SUBSYS_66007A11&REV_00\4&1B2C3D4E&0&0010 -> 0",
        r"SetupDiRemoveDevice PCI\VEN_10FF&DEV_1111&SUBSYS_111110FF&REV_A1\4&1B2C3D4E&0&0018 -> 0",
        r"SetupDiRemoveDevice ROOT\BASICRENDER\0000 -> 0",
        r"CM_Reenumerate_DevNode HTREE\ROOT\0 -> 0",
    ]
    check_calls(run, expected_lines("device_calls_silent.txt") + of_the_others)
    check_device_log(run, expected_lines("device_log_silent.txt"))
    stages = expected_stages("stages_devices_and_packages.txt", IN_SAFE_MODE, ON_A_VIRTUAL_MACHINE)
    check_in_order("the stages in the log", stages, run.log.stages_without_devices)
    assert run.record.reboot_required == "1"
    check_log_form(run.log)


def test_display_extension_takes_every_display(case: Case) -> None:
    """When a package of the maker's display extension is removed, every display device is removed, whoever made it and even if
    `gpu` names it, so that Windows sets the displays up again. The other makers' packages and files stay."""
    plant_devices(case, DISPLAY_EXTENSION)
    run = case.run(("run", r'C:\bench\ORVCleanupUtility.exe silent gpu "7A11&7550"'))
    assert run.record.exits == [0]
    outcomes = with_outcome(read_outcomes("gpu"), "gone", "package", "oem43.inf", "oem10.inf")
    outcomes = with_outcome(outcomes, "gone", "device", *displays(read_lines("devices.tsv")))
    check_devices(case, run, outcomes)
    check_calls(run, expected_lines("device_calls_display_extension.txt"))
    check_log_form(run.log)
