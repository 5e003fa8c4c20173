"""Real installer products on a machine, made at run time from data/products.tsv and product.wxs.

The packages are deleted once they are installed, so that repairs and removals can only use the installer's own copies.
"""

from __future__ import annotations

import filecmp
import re
import subprocess
import sys
from collections.abc import Iterable
from dataclasses import dataclass
from pathlib import Path

from bench import DATA, ROOT
from bench.hives import text_of
from bench.machine import BenchError, Machine
from bench.rows import Manifest, read_table
from bench.snapshot import Snapshot


@dataclass(frozen=True)
class Product:
    """A line of data/products.tsv, which documents the columns."""

    number: int  # its position in the list, from which its codes are made
    package: str
    name: str
    maker: str
    folder: str
    behind: str  # the application of the manifest whose upgrade code it has; "-" for none
    removal: str

    @property
    def is_makers(self) -> bool:
        return self.behind != "-"

    @property
    def code(self) -> str:
        return self._guid("C0000000")

    @property
    def component_code(self) -> str:
        return self._guid("C2000000")

    def upgrade_code(self, manifest: Manifest) -> str:
        if not self.is_makers:
            return self._guid("C1000000")
        return manifest["Packages"]["ORVApplications"][self.behind]["Info"]["UpgradeID"]

    @property
    def payload(self) -> str:
        """The content of its single file."""
        return f"The file of {self.name}.\n"

    @property
    def installed_file(self) -> str:
        return rf"C:\Program Files\{self.maker}\{self.folder}\payload.txt"

    def _guid(self, beginning: str) -> str:
        return f"{{{beginning}-0000-4000-8000-{self.number:012d}}}"


def read_products(name: str = "products.tsv") -> list[Product]:
    return [Product(number, *fields) for number, fields in enumerate(read_table(DATA / name), 1)]


def makers(products: Iterable[Product]) -> list[Product]:
    return [product for product in products if product.is_makers]


def others(products: Iterable[Product]) -> list[Product]:
    return [product for product in products if not product.is_makers]


def make_packages(products: Iterable[Product], manifest: Manifest, folder: Path) -> None:
    """Builds a Windows Installer package for each product."""
    folder.mkdir(parents=True, exist_ok=True)
    for product in products:
        (folder / f"{product.package}.txt").write_text(product.payload, encoding="ascii")
        variables = {
            "ProductName": product.name,
            "ProductCode": product.code,
            "UpgradeCode": product.upgrade_code(manifest),
            "ComponentCode": product.component_code,
            "Maker": product.maker,
            "Folder": product.folder,
            "Payload": f"{product.package}.txt",
        }
        defines = [word for name, value in variables.items() for word in ("-D", f"{name}={value}")]
        package = folder / f"{product.package}.msi"
        # wixl finds a payload below the folder that it runs in.
        command = ["wixl", "-a", "x64", *defines, "-o", package.name, str(ROOT / "bench" / "product.wxs")]
        subprocess.run(command, cwd=folder, check=True)
        for step in _removal_steps(product):
            subprocess.run(["msibuild", str(package), "-q", step], check=True)


def install(machine: Machine, products: Iterable[Product], packages: Path) -> None:
    """Installs the products and waits until the machine has settled."""
    products = list(products)
    # All in one batch, since starting a machine takes a while.
    batch = "".join(f"@msiexec /i C:\\bench\\{product.package}.msi /qn\r\n" for product in products)
    (machine.bench / "install.cmd").write_text(batch, newline="")
    for product in products:
        machine.put(packages / f"{product.package}.msi", rf"C:\bench\{product.package}.msi")
    machine.wine("cmd.exe", "/c", r"C:\bench\install.cmd", check=True, timeout=300)
    machine.settle()
    for product in products:
        copy = _cached_package(machine, packages / f"{product.package}.msi")
        if copy is None:
            raise BenchError(f"{product.name} could not be installed")
        (machine.bench / f"{product.package}.msi").unlink()
        if product.removal == "no-package":
            copy.unlink()
        elif product.removal.startswith("fails "):
            (machine.bench / f"{product.package}.failures").write_bytes(bytes(int(product.removal.split()[1])))


def known_products(snapshot: Snapshot) -> list[str]:
    """The names of the products that the installer knows, sorted."""
    key = re.compile(r"\\UserData\\[^\\]*\\Products\\[^\\]*\\InstallProperties$")
    return sorted(
        text_of(data)
        for thing, data in snapshot.items()
        if thing.kind == "value" and thing.name == "DisplayName" and key.search(thing.place)
    )


def repair(machine: Machine, products: Iterable[Product]) -> dict[str, bool]:
    """Deletes each product's file and lets the installer repair it. Whether that worked, by the product's name."""
    works: dict[str, bool] = {}
    for product in products:
        file = machine.host_path(product.installed_file)
        if file.exists():
            file.unlink()
            outcome = machine.wine(r"C:\bench\repair_product.exe", product.code)
            works[product.name] = file.exists() and file.read_text() == product.payload
            if not works[product.name]:
                print(f"bench: the repair of {product.name} ended with {outcome.status}\n{outcome.output}", file=sys.stderr)
        else:
            works[product.name] = False
    machine.settle()
    return works


def _removal_steps(product: Product) -> list[str]:
    """What happens when the product is removed, as changes to the package's tables."""
    custom_action = "INSERT INTO CustomAction (Action, Type, Source, Target) VALUES"
    if product.removal in ("works", "no-package"):
        return []
    if product.removal == "restart":
        return [_step("ScheduleReboot", 6500)]
    if product.removal == "always-fails":
        return [f"{custom_action} ('Fail', 19, '', 'It fails.')", _step("Fail", 1550)]
    if product.removal.startswith("fails "):
        return [
            r"INSERT INTO Property (Property, Value) VALUES ('Failing', 'C:\bench\failing_program.exe')",
            rf"{custom_action} ('Fail', 50, 'Failing', 'C:\bench\{product.package}.failures')",
            _step("Fail", 1550),
        ]
    raise BenchError(f"no such removal: {product.removal}")


def _step(action: str, sequence: int) -> str:
    condition = 'REMOVE="ALL"'
    return (
        "INSERT INTO InstallExecuteSequence (Action, Condition, Sequence) "
        f"VALUES ('{action}', '{condition}', {sequence})"
    )


def _cached_package(machine: Machine, package: Path) -> Path | None:
    """The installer's own copy of a package."""
    copies = machine.host_path(r"C:\windows\Installer").glob("*.msi")
    return next((copy for copy in copies if filecmp.cmp(copy, package, shallow=False)), None)
