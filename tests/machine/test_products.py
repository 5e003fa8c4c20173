"""Real installer products on the machine, of the maker and of others (bench/data/products.tsv)."""

from __future__ import annotations

from bench.products import known_products, makers, others, read_products, repair
from bench.rows import full_path
from bench.snapshot import difference, holds, without
from case import Case
from checks import (
    PENDING_RENAMES,
    check_gone,
    check_gone_at_restart,
    check_log_form,
    check_logged,
    check_marked,
    check_only_allowed_changes,
    check_same,
    check_section_in_order,
    check_stages,
)


def test_installed_products(case: Case) -> None:
    """Products with an upgrade code in the manifest are removed, in the first pass, in the retry or by force. Every other
    product stays and still works, including the installer's copy of its package."""
    products = read_products()
    applications = case.manifest["Packages"]["ORVApplications"]
    apps = case.manifest["InclusionList"]["UWP"]
    # The applications for whose upgrade codes the machine has a product, in the manifest's order.
    behind = {product.behind for product in makers(products)}
    installed = [name for name in applications if name in behind]
    case.install(others(products))
    without_the_makers = case.snapshot()
    case.install(makers(products))
    run = case.run()
    assert run.record.exits == [0]
    check_same("products before", (product.name for product in products), known_products(run.before))
    check_same("products after", (product.name for product in others(products)), known_products(run.after))
    # Exactly what the maker's products installed is gone: files, icons, packages, registration.
    check_gone(run, difference(without_the_makers, run.before).added)
    check_only_allowed_changes(case, run)

    # Marked are the listed folders that do not exist when their turn comes, of the generic rows and of the removed
    # applications, including the one that the first pass removed with its product. They do not require a restart; what
    # does so here is the removal of a product.
    folders = {full_path(row, case.facts) for name in installed for row in applications[name]["Directories"]}
    folders |= set(case.listed("folder"))
    absent = {folder for folder in folders if not holds(run.before, "folder", folder)}
    check_marked(run, absent | {r"C:\Program Files\ORV\Meridia"})
    assert run.record.reboot_required == "1"
    check_logged(run.log, "Reboot is required to finish cleanup.")

    check_log_form(run.log)
    check_stages(run.log, "stages_installed_products.txt")
    check_section_in_order(run.log, "-----------Applications Eligible to Unistall-------------", list(applications))
    check_section_in_order(
        run.log,
        "Application List to Uninstall:-------------",
        [f"{name} - {applications[name]['Info']['UpgradeID']}" for name in installed]
        + ["UWP Apps to Uninstall:-------------", *apps],
    )
    # If a program that the package runs fails, the removal ends with 1627; if the package itself aborts, with 1603.
    failures = (("LumioControlPanel64", 1627), ("KOTuning64", 1603), ("OrvaneStreaming64", 1627))
    uninstalled = [f"Failed to uninstall\t:\t{name}\t:\t{code}" for name, code in failures]
    for app in apps:
        uninstalled.append("Attempting to uninstall ORV UWP Application")
        uninstalled.append(f"Finished uninstalling ORV UWP Application: {app}")
    check_section_in_order(run.log, "-----------Uninstalling Applications Started-------------", uninstalled)
    # Of the control panel's two products, the one without a package is forced after msiexec has removed the other.
    check_section_in_order(
        run.log,
        "-----------Retry of Failed of Applications---------------",
        [
            "Force removing Lumio Control Panel.",
            "Uninstalled failed application\t:\tLumioControlPanel64\t:\t0",
            "Force removing KO Tuning.",
            "Uninstalled failed application\t:\tKOTuning64\t:\t1603",
            "Uninstalled failed application\t:\tOrvaneStreaming64\t:\t0",
        ],
    )
    restarted = case.restart()
    check_gone_at_restart(run, restarted, [PENDING_RENAMES])
    # A repair restores the missing file from the installer's copy of the package and leaves the machine as it was, except
    # for the installer's own record of where the package came from.
    assert repair(case.machine, others(products)) == {product.name: True for product in others(products)}
    states = [without(state, lambda thing: "\\SourceList" in thing.place) for state in (restarted, case.snapshot())]
    check_same("the machine after the repair", states[0].items(), states[1].items())
