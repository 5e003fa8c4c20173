"""Outcomes of devices and driver packages: those that a run is expected to have, what they mean for a snapshot, and the device
tree in a snapshot.

The model of device installation (bench/devices) keeps its devices in the machine's registry in Windows' layout, with a subkey
Bench for what Windows does not keep in the registry.
"""

from __future__ import annotations

from collections import defaultdict
from collections.abc import Iterable
from dataclasses import dataclass, field

from bench import DATA
from bench.hives import text_of
from bench.rows import read_table
from bench.snapshot import Snapshot, Thing, texts_at

CONTROL = "hkey_local_machine\\system\\currentcontrolset\\"
ENUM = CONTROL + "enum\\"
CLASSES = CONTROL + "control\\class\\"
PACKAGE_KEYS = "hkey_local_machine\\software\\bench packages\\"
INF_FOLDER = "c:\\windows\\inf\\"
CATALOGS = "c:\\windows\\system32\\catroot\\{f750e6c3-38ee-11d1-85e5-00c04fc295ee}\\"

# The columns of data/devices_expected.tsv.
RUNS = {"silent": 2, "factory reset": 3, "gpu": 4}

# Kind and name (`device` with its id, `package` with its file, `service`, or a kind of thing with its place) -> gone, stays,
# driverless (a device that loses its driver), hidden (a child of a removed device).
Outcomes = dict[tuple[str, str], str]


def read_outcomes(run: str) -> Outcomes:
    """The outcomes of data/devices.tsv in a run, according to data/devices_expected.tsv."""
    return {(row[0], row[1]): row[RUNS[run]] for row in read_table(DATA / "devices_expected.tsv")}


def read_reasons() -> dict[str, str]:
    """Why each device of data/devices.tsv is removed or stays, by its id."""
    return {row[1]: row[5] for row in read_table(DATA / "devices_expected.tsv") if row[0] == "device"}


@dataclass
class Consequences:
    gone: set[Thing] = field(default_factory=set)
    changed: Snapshot = field(default_factory=dict)  # values whose data changes, with the new data
    unknown: list[str] = field(default_factory=list)  # names that match nothing in the snapshot


def consequences(outcomes: Outcomes, snapshot: Snapshot) -> Consequences:
    """What the outcomes mean for the things of a snapshot.

    A removed device loses its key, its driver's software key, and the hardware's key if no instance is left. A removed package
    loses its files and its catalog, and devices that stay lose its driver: they get the best of their remaining ones, or none.
    A child of a removed device is hidden: it stays installed and counts as not plugged in.
    """
    found = _Devices(snapshot)
    goes = _places_of_what_goes(outcomes, found)
    lost_values: set[tuple[str, str]] = set()
    driverless: set[str] = set()
    next_driver: dict[str, str] = {}  # the number of the driver node, by device
    gone_packages = {name.lower() for (what, name), outcome in outcomes.items() if (what, outcome) == ("package", "gone")}
    for (device, node), inf in found.nodes.items():
        if inf not in gone_packages or device in goes:
            continue
        goes.add(f"{device}\\bench\\drivers\\{node}")
        if found.installed.get(device) != node:
            continue
        # Numbered from the best down.
        left = [other for key, other in found.nodes if key == device and found.nodes[key, other] not in gone_packages]
        if left:
            # The driver's software key is created again in place of the old one.
            next_driver[f"{device}\\bench"] = min(left)
        else:
            goes.add(CLASSES + found.driver[device])
            lost_values |= {(device, "Driver"), (f"{device}\\bench", "Installed")}
            driverless.add(f"{device}\\bench")
    hidden = {f"{device}\\bench" for device, parent in found.parent.items() if ENUM + parent in goes}

    result = Consequences()
    places = {thing.place.lower() for thing in snapshot}
    result.unknown = [name for what, name in outcomes if _place_of(what, name) not in places]
    for thing, data in snapshot.items():
        place = thing.place.lower()
        if any(around in goes for around in _upwards(place)) or (place, thing.name) in lost_values:
            result.gone.add(thing)
        elif place in next_driver and thing.name == "Installed":
            result.changed[thing] = f'"{next_driver[place]}"'
        elif place in hidden and thing.name == "Present":
            result.changed[thing] = "dword:00000000"
        elif place in driverless and thing.name == "Problem":
            result.changed[thing] = "dword:0000001c"
        elif place in driverless and thing.name == "Status" and data == "dword:0180200a":
            result.changed[thing] = "dword:0180240a"
    return result


def model_calls(snapshot: Snapshot) -> list[str]:
    """The changes requested from the model of device installation, in order."""
    return texts_at(snapshot, "HKEY_LOCAL_MACHINE\\Software\\Bench Devices", "Calls")


@dataclass
class Device:
    id: str
    class_name: str
    description: str
    present: bool
    inf: str | None  # the package of the installed driver
    children: list[Device] = field(default_factory=list)


def device_tree(snapshot: Snapshot) -> list[Device]:
    """The devices at the root of the tree, including those whose parent is gone."""
    found = _Devices(snapshot)
    devices = {
        key: Device(
            id=found.names[key],
            class_name=found.class_name.get(key, ""),
            description=found.description.get(key, ""),
            present=found.present.get(key, True),
            inf=found.nodes.get((key, found.installed.get(key, ""))),
        )
        for key in sorted(found.instance_number, key=found.instance_number.__getitem__)
    }
    roots = []
    for key, device in devices.items():
        parent = devices.get(ENUM + found.parent.get(key, ""))
        (parent.children if parent else roots).append(device)
    return roots


class _Devices:
    """The devices in a snapshot, by their keys in lower case."""

    def __init__(self, snapshot: Snapshot) -> None:
        self.names: dict[str, str] = {}
        self.instance_number: dict[str, int] = {}
        self.class_name: dict[str, str] = {}
        self.description: dict[str, str] = {}
        self.driver: dict[str, str] = {}  # the software key of the driver, below the classes' key
        self.parent: dict[str, str] = {}
        self.present: dict[str, bool] = {}
        self.installed: dict[str, str] = {}  # the number of the installed driver node
        self.nodes: dict[tuple[str, str], str] = {}  # device and number -> file of the driver's package
        self.instances: dict[str, list[str]] = defaultdict(list)  # hardware -> devices
        for thing, data in snapshot.items():
            if thing.place.lower().startswith(ENUM):
                self._take_up(thing, data)

    def _take_up(self, thing: Thing, data: str) -> None:
        parts = thing.place[len(ENUM) :].split("\\")
        device = ENUM + "\\".join(parts[:3]).lower()
        if thing.kind == "key" and len(parts) == 3:
            self.instances[device.rpartition("\\")[0]].append(device)
        if thing.kind != "value":
            return
        if len(parts) == 3:
            facts = {"Class": self.class_name, "DeviceDesc": self.description}
            if thing.name in facts:
                facts[thing.name][device] = text_of(data)
            if thing.name == "Driver":
                self.driver[device] = text_of(data).lower()
        elif len(parts) == 4:
            if thing.name == "DevInst":
                self.names[device] = "\\".join(parts[:3])
                self.instance_number[device] = int(data.removeprefix("dword:"), 16)
            elif thing.name == "Parent":
                self.parent[device] = text_of(data).lower()
            elif thing.name == "Present":
                self.present[device] = data != "dword:00000000"
            elif thing.name == "Installed":
                self.installed[device] = text_of(data).lower()
        elif len(parts) == 6 and thing.name == "Inf":
            self.nodes[device, parts[5].lower()] = text_of(data).rpartition("\\")[2].lower()


def _places_of_what_goes(outcomes: Outcomes, found: _Devices) -> set[str]:
    goes: set[str] = set()
    for (what, name), outcome in outcomes.items():
        if outcome != "gone":
            continue
        place = _place_of(what, name)
        goes.add(place)
        if what == "package":
            stem = name.lower().removesuffix(".inf")
            goes |= {f"{INF_FOLDER}{stem}.pnf", f"{CATALOGS}{stem}.cat", PACKAGE_KEYS + name.lower()}
        if what == "device" and place in found.driver:
            goes.add(CLASSES + found.driver[place])
    for hardware, devices in found.instances.items():
        if all(device in goes for device in devices):
            goes.add(hardware)
    return goes


def _place_of(what: str, name: str) -> str:
    folder = {"device": ENUM, "package": INF_FOLDER, "service": CONTROL + "services\\"}.get(what, "")
    return folder + name.lower()


def _upwards(place: str) -> Iterable[str]:
    while place:
        yield place
        place = place.rpartition("\\")[0]
