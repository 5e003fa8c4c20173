"""A machine with something for every row of the shipped manifest."""

from __future__ import annotations

from bench.device_outcomes import consequences
from bench.expectation import Expectation
from bench.manifest_devices import manifest_devices
from bench.planting import lines_with_neighbours, read_lines
from bench.products import Product, makers, others
from bench.rows import Row, generic_rows, package_rows, read_rows, texts
from bench.session import RUN_SILENT
from bench.snapshot import difference
from case import Case
from checks import check_changes, check_gone, check_log_form, check_rows_present, check_same


def test_shipped_manifest(case: Case) -> None:
    """Files, folders, keys, values, services, tasks, shortcuts and running programs of all packages, an installed product for
    the upgrade code of each application that has rows, and a device for each driver package; next to each, a neighbour that no
    row covers. Everything that a run considers is removed; what is protected and every neighbour stay bit for bit."""
    products = products_of_applications(case)
    case.install(others(products))
    without_the_makers = case.snapshot()
    case.install(makers(products))
    brought = difference(without_the_makers, case.snapshot()).added

    devices = manifest_devices(case.manifest)
    # A package's rows are removed with its product, or with a device that counts for the package.
    fates = {product.behind: "listed" for product in makers(products)}
    fates |= {name: "listed" for name in devices.credited} | {name: "kept" for name in devices.spared}
    # Otherwise the rows of a package might be missing unnoticed.
    lists = ("RegistryKeys", "RegistryValues", "Directories")
    drivers = case.manifest["Packages"]["ORVDrivers"]
    without_a_device = [
        f"{name} {row}" for name in drivers.keys() - fates.keys() for kind in lists for row in drivers[name][kind]
    ]
    check_same("rows of driver packages for which no device counts", [], without_a_device)
    planted = generic_rows(case.manifest, case.facts) + package_rows(case.manifest, fates, case.facts)
    # The PCI filter's service is kept by name; program_leftovers.tsv plants it.
    planted.remove(Row("listed", "service", "orvpcifd"))
    rows = planted + read_rows("program_rows.tsv")
    case.plant(read_lines("program_leftovers.tsv") + devices.lines + lines_with_neighbours(planted))

    images = sorted(set(texts(rows, "process")))
    run = case.run(*case.put_waiting_programs(images), RUN_SILENT)
    assert run.record.exits == [0]
    for image in images:
        assert run.record.processes[rf"C:\bench\running\{image}"] == "ended"
        assert run.record.processes[rf"C:\bench\running\x{image}"] == "running"

    check_rows_present(case, run, rows)
    expected = consequences(devices.outcomes, run.before)
    check_same("devices and driver packages that were not planted", [], expected.unknown)
    check_gone(run, Expectation(rows, run.before, case.facts).goes | expected.gone | brought.keys())
    check_changes(case, run, expected.changed)
    check_log_form(run.log)


def products_of_applications(case: Case) -> list[Product]:
    """A product for each application with rows, and one of the maker's that no package covers."""
    lists = ("Files", "RegistryKeys", "RegistryValues", "Process", "Directories")
    names = [
        name
        for name, package in case.manifest["Packages"]["ORVApplications"].items()
        if any(package[rows] for rows in lists)
    ]
    products = [
        Product(number, name, name, "ORV", f"Product {name}", name, "works") for number, name in enumerate(names, 1)
    ]
    return [*products, Product(len(names) + 1, "chipset", "ORV Chipset Software", "ORV", "Chipset", "-", "works")]
