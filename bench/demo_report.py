"""The summary at the end of the demo. Outcomes are read from the machine before and after the run; only the reasons come from
the planted data."""

from __future__ import annotations

import re
from collections import Counter
from collections.abc import Iterable
from pathlib import Path
from typing import TYPE_CHECKING

from rich.console import Console
from rich.markup import escape
from rich.table import Table
from rich.tree import Tree

from bench.device_outcomes import Device, device_tree, read_outcomes, read_reasons
from bench.expectation import SERVICES, TASKS, expected_gone
from bench.facts import PROGRAMS
from bench.products import known_products, makers, others
from bench.rows import Row
from bench.snapshot import Thing

if TYPE_CHECKING:
    from bench.demo import Demo

KINDS = ("Scheduled tasks", "Services", "Shortcuts", "Files", "Directories", "Registry values", "Registry keys")
STYLES = {"removed": "red", "kept": "green", "no driver": "yellow", "hidden": "yellow"}
# The maker's vendor ids.
MAKERS = re.compile("VEN_7A11|VEN_7A2E")


def show(demo: Demo, console: Console, folder: Path) -> bool:
    """Prints everything. True if exactly the expected things were removed and the kept products still work."""
    console.print(what_went(demo))
    console.print(products(demo))
    tree, differences = devices(demo)
    console.print(tree)
    console.print(packages(demo))
    console.print(surroundings(demo))
    console.print(what_stayed(demo))
    console.print(what_resisted(demo))
    right = True
    for text in [*differences, *_surprises(demo)]:
        console.print(f"[bold red]NOT AS EXPECTED:[/] {escape(text)}")
        right = False
    console.print("\n[bold]To open[/]")
    for what, name in (("the log", "ORVCleanup.log"), ("the report", "report.xml"), ("its last dialog", "finish_dialog.png")):
        console.print(f"  {what:<18} {folder / name}", markup=False, soft_wrap=True)
    return right


def kinds(things: Iterable[Thing]) -> Counter[str]:
    """How many things there are of each kind, as a person would count them."""
    return Counter(kind for kind in map(_kind_of, things) if kind)


def what_went(demo: Demo) -> Table:
    table = _table("What went", "listed", "gone")
    beside = [path for path in demo.record.processes if "\\running\\x" in path]
    listed = [path for path in demo.record.processes if "\\running\\" in path and path not in beside]
    ended = [path for path in listed if demo.record.processes[path] == "ended"]
    table.add_row("Processes", str(len(listed)), str(len(ended)))
    expected = kinds(demo.of_rows)
    gone = kinds(demo.gone - demo.of_products - demo.of_devices)
    for kind in KINDS:
        table.add_row(kind, str(expected[kind]), str(gone[kind]))
    return table


def products(demo: Demo) -> Table:
    """Each product by name, and how it was removed. The log tells which: it has a line for each package that failed in the
    first pass and for each product that was removed by force."""
    known = known_products(demo.after)
    ways: dict[str, list[str]] = {}
    for product in makers(demo.products):
        failed = f"Failed to uninstall\t:\t{product.behind}\t:"
        if product.name in known:
            way = "not removed"
        elif f"Force removing {product.name}." in demo.log.messages:
            way = "by force"
        elif any(message.startswith(failed) for message in demo.log.messages):
            way = "at the retry"
        else:
            way = "first pass"
        ways.setdefault(way, []).append(product.name)
    for product in others(demo.products):
        ways.setdefault("kept, works" if demo.repaired[product.name] else "kept, broken", []).append(product.name)
    table = _table("Installed products", "")
    for way, names in ways.items():
        remark = " (repaired from the installer's copy)" if way == "kept, works" else ""
        table.add_row(way, ", ".join(names) + remark)
    return table


def devices(demo: Demo) -> tuple[Tree, list[str]]:
    """A tree with the outcome of each device and the reason, and the outcomes that differ from the expected ones. The tree
    shows the devices that changed, those of the maker, and their parents; the others are only counted."""
    before = _all_devices(device_tree(demo.before))
    after = {device.id: device for device in _all_devices(device_tree(demo.after))}
    reasons = read_reasons()
    expected = {name: outcome for (what, name), outcome in read_outcomes("silent").items() if what == "device"}
    words = {"gone": "removed", "stays": "kept", "driverless": "no driver", "hidden": "hidden"}
    outcome = {device.id: _outcome(device, after) for device in before}
    differences = [
        f"{device.description} ({device.id}): {outcome[device.id]}, expected: {expected.get(device.id, 'nothing')}"
        for device in before
        if outcome[device.id] != expected.get(device.id)
    ]
    differences += [f"{name} was not on the machine" for name in expected.keys() - outcome.keys()]
    differences += [f"{name} has come" for name in after.keys() - outcome.keys()]

    drawn: set[str] = set()

    def mark(device: Device) -> bool:
        below = [mark(child) for child in device.children]
        if any(below) or outcome[device.id] != "stays" or MAKERS.search(device.id):
            drawn.add(device.id)
        return device.id in drawn

    def draw(device: Device, branch: Tree) -> None:
        if device.id in drawn:
            word = words[outcome[device.id]]
            reason = escape(reasons.get(device.id, ""))
            twig = branch.add(f"[{STYLES[word]}]{word:<9}[/] {escape(device.description)}  [dim]{reason}[/]")
            for child in device.children:
                draw(child, twig)

    tree = Tree("\n[bold]Devices, before and after[/]", guide_style="dim")
    for root in device_tree(demo.before):
        mark(root)
        draw(root, tree)
    tree.add(f"[green]kept     [/] {len(before) - len(drawn)} other devices, of Windows and of other makers")
    return tree, differences


def packages(demo: Demo) -> str:
    """A line about the driver packages."""
    files = [thing for thing in demo.before if re.fullmatch(r"c:\\windows\\inf\\oem\d+\.inf", thing.place.lower())]
    gone = [thing for thing in files if thing not in demo.after]
    return (
        f"  Driver packages: {len(gone)} of {len(files)} removed; those of other makers, of the chipset, and those that "
        "no list names were kept"
    )


def surroundings(demo: Demo) -> Table:
    """Install manager, restore point and the like, according to the log."""
    messages = demo.log.messages
    launched = [message for message in messages if message.startswith("handlePKMTrackerBinaries -- launch process ")]
    codes = [message.rpartition(" ")[2] for message in messages if re.match(r"Process .* completed with exit code", message)]
    still_at_work = codes.count("259")
    spared = sorted({message.removeprefix("Excluding ") for message in messages if message.startswith("Excluding C:")})
    cabinets = [message.rpartition(": ")[2] for message in messages if message.startswith("Found an ORV driver in the ")]
    folders = sum(message.startswith("Deleting directory: ") for message in messages)
    table = _table("Around the removal", "")
    table.add_row(
        "Install manager",
        f"{len(launched)} commands: {len(codes) - still_at_work} ended, {still_at_work} timed out, "
        f"{len(launched) - len(codes)} missing",
    )
    table.add_row("Old installers", f"{folders} gone, spared: {' '.join(spared)}")
    table.add_row("Update cache", f"gone: {' '.join(cabinets)}")
    return table


def what_stayed(demo: Demo) -> Table:
    """A thing is untouched if it is still there with the same details: content, mode, data."""
    as_listed = [Row("listed", row.kind, row.text, row.name) for row in demo.rows if row.fate == "kept"]
    protected = expected_gone(as_listed, demo.before, demo.facts)
    neighbours = demo.planted.keys() - demo.of_rows - demo.of_products - protected
    table = _table("What stayed", "there", "untouched", "")
    for name, things, remark in (
        ("Protected", protected, "what the manifest protects"),
        ("Neighbours", neighbours, "same place, nearly the same name, on no list"),
    ):
        untouched = sum(demo.after.get(thing) == demo.before[thing] for thing in things)
        table.add_row(name, str(len(things)), str(untouched), remark)
    beside = [state for path, state in demo.record.processes.items() if "\\running\\x" in path]
    table.add_row("Programs beside", str(len(beside)), str(beside.count("running")), "")
    remark = "files, folders, keys and values of Windows itself"
    touched = sorted(thing for thing in demo.bare if demo.after.get(thing) != demo.bare[thing])
    table.add_row("The machine", str(len(demo.bare)), str(len(demo.bare) - len(touched)), remark)
    for thing in touched:
        table.add_row("", "", "", f"touched: {escape(str(thing))}")
    return table


def what_resisted(demo: Demo) -> Table:
    """Things that are still there are listed by name. Listed things that the machine did not have, or no longer had when their
    turn came, count as failed too; they are only counted."""
    failures: list[tuple[str, str]] = []
    header = ""
    for message in demo.log.messages:
        if re.match("-+Failed ", message):
            header = message.strip("- ")
        elif message.startswith("-") or message.startswith(("Call to Get", "Reboot is required")):
            header = ""
        elif header:
            failures.append((header, message))
    for path in demo.record.pending:
        in_use = any(f"Mark File[{path}]" in message for message in demo.log.messages)
        failures.append(("In use, goes at the next restart" if in_use else "Not empty, marked for the restart", path))
    there = _places(demo)
    table = _table("What could not be removed at once", "")
    absent: Counter[str] = Counter()
    for header, name in failures:
        # Processes and packages are not in a snapshot; assume that they are still there.
        if re.search("Processes|Drivers|Tasks", header) or _registry_place(demo, name.lower()) in there:
            table.add_row(header, name)
        else:
            absent[_kind_of_failure(header)] += 1
    if absent:
        table.add_row("Listed, but not there", ", ".join(f"{count} {kind}" for kind, count in sorted(absent.items())))
    table.add_row("Left for other programs", f"RebootRequired = {demo.record.reboot_required}")
    return table


def _surprises(demo: Demo) -> list[str]:
    missing = [f"still there: {thing}" for thing in sorted(demo.expected_gone - demo.gone)]
    surplus = [f"gone: {thing}" for thing in sorted(demo.gone - demo.expected_gone)]
    broken = [f"{name} does not work any more" for name, works in demo.repaired.items() if not works]
    exits = [] if demo.record.exits == [0] else [f"exit codes {demo.record.exits}"]
    return missing + surplus + broken + exits


def _kind_of(thing: Thing) -> str:
    place = thing.place.lower()
    if place.startswith(TASKS + "\\"):
        return "Scheduled tasks"
    if place.startswith(PROGRAMS.lower()) and place.endswith(".lnk"):
        return "Shortcuts"
    if place.rpartition("\\")[0] == SERVICES:
        return "Services" if thing.kind == "key" else ""
    names = {"file": "Files", "link": "Files", "folder": "Directories", "value": "Registry values", "key": "Registry keys"}
    return names.get(thing.kind, "")


def _kind_of_failure(header: str) -> str:
    for word in ("Services", "Files", "Directories", "Registry Keys", "Registry Values"):
        if word in header:
            return word.lower().replace("directories", "folders")
    return "folders" if header.startswith("Not empty") else header


def _table(title: str, *columns: str) -> Table:
    table = Table(box=None, pad_edge=False, padding=(0, 2, 0, 0), title=f"\n[bold]{title}[/]", title_justify="left")
    table.title_style = ""
    table.show_header = any(columns)
    table.add_column("  ", min_width=20)
    for column in columns:
        table.add_column(column, justify="right" if column else "left", overflow="fold")
    return table


def _all_devices(roots: Iterable[Device]) -> list[Device]:
    found: list[Device] = []
    pending = list(roots)[::-1]
    while pending:
        device = pending.pop()
        found.append(device)
        pending += device.children[::-1]
    return found


def _outcome(device: Device, after: dict[str, Device]) -> str:
    now = after.get(device.id)
    if now is None:
        return "gone"
    if device.inf and not now.inf:
        return "driverless"
    return "hidden" if device.present and not now.present else "stays"


def _places(demo: Demo) -> set[str]:
    """The things that are still there, named as in the log."""
    places = set()
    for thing in demo.after:
        place = thing.place.lower()
        places |= {place, f"{place}\\{thing.name.lower()}"}
        if place.rpartition("\\")[0] == SERVICES:
            places.add(place.rpartition("\\")[2])
    return places


def _registry_place(demo: Demo, place: str) -> str:
    for beginning, meaning in (
        ("hkey_classes_root", r"hkey_local_machine\software\classes"),
        (f"hkey_users\\{demo.facts.sid.lower()}", "hkey_current_user"),
    ):
        if place.startswith(beginning):
            return meaning + place.removeprefix(beginning)
    return place
