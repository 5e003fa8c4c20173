"""Screenshots of the running program's windows.

    python3 -m bench.pictures                     docs/pictures: splash, finish dialog and report, for the README
    python3 -m bench.pictures languages [LOCALE]  build/pictures: each window in other languages (German, Japanese and Thai
                                                  unless locales are named) at 96, 120, 144 and 192 DPI, to check for
                                                  truncated texts
"""

from __future__ import annotations

import shutil
import subprocess
import sys
import tempfile
from collections.abc import Sequence
from pathlib import Path

from bench import BENCH_FOLDER, ROOT
from bench.facts import facts_of
from bench.machine import Machine, new_machine
from bench.planting import Line, lines_with_neighbours, plant, read_lines
from bench.products import install, make_packages, makers, read_products
from bench.rows import generic_rows, load_manifest
from bench.screen import connect, crop, photographer, screen
from bench.session import Build, hold, prepare

LOCALES = ("de_DE.UTF-8", "ja_JP.UTF-8", "th_TH.UTF-8")
DPIS = (96, 120, 144, 192)
# Room for the finish dialog at 192 DPI.
SCREEN = "1600x1000"
FONT_LINKS = r"HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion\FontLink\SystemLink"
REPLACEMENTS = r"HKEY_CURRENT_USER\Software\Wine\Fonts\Replacements"


def main() -> int:
    with screen(SCREEN) as display, tempfile.TemporaryDirectory(dir=BENCH_FOLDER, prefix="pictures-") as work:
        if sys.argv[1:2] == ["languages"]:
            for locale in sys.argv[2:] or LOCALES:
                for dpi in DPIS:
                    print(f"== The windows in {locale} at {dpi} DPI", flush=True)
                    take_language(locale, dpi, display, Path(work))
            print("== The pictures are in build/pictures")
        else:
            print("== A run for the README", flush=True)
            take_readme(display, Path(work))
            print("== The pictures are in docs/pictures")
    return 0


def take_readme(display: str, work: Path) -> None:
    machine = start_machine("C.UTF-8", 96, display, work)
    take_whole_run(machine, work / "windows")
    pictures = ROOT / "docs" / "pictures"
    shutil.copy(work / "windows" / "splash.png", pictures / "splash.png")
    shutil.copy(work / "windows" / "finish.png", pictures / "finish_dialog.png")
    draw_report(work / "windows" / "report.xml", pictures / "report.png", work)
    machine.remove()


def draw_report(report: Path, picture: Path, work: Path) -> None:
    """The report as a browser shows it, on a page that is cropped after its last line."""
    page, style, document, drawn = (work / name for name in ("report.html", "page.css", "report.pdf", "report"))
    with page.open("wb") as output:
        subprocess.run(["xsltproc", "--nonet", str(report)], stdout=output, check=True)
    # For a page this old, browsers align the text of a table to the left even in a centred parent.
    style.write_text(
        "@page { size: 900px 2000px; margin: 8px } body { font: 16px 'DejaVu Serif' } table { text-align: left }",
        encoding="utf-8",
    )
    draw = ["weasyprint", "--quiet", "--presentational-hints", "--stylesheet", str(style)]
    subprocess.run([*draw, str(page), str(document)], check=True)
    subprocess.run(["pdftoppm", "-r", "96", "-png", "-singlefile", str(document), str(drawn)], check=True)
    cut = ["-flatten", "-trim", "-bordercolor", "white", "-border", "12"]
    subprocess.run(["convert", f"{drawn}.png", *cut, "-colors", "64", "-strip", str(picture)], check=True)


def take_language(locale: str, dpi: int, display: str, work: Path) -> None:
    folder = ROOT / "build" / "pictures" / f"{locale.partition('.')[0]}_{dpi}"
    if folder.exists():
        shutil.rmtree(folder)
    machine = start_machine(locale, dpi, display, work)
    take_whole_run(machine, folder)
    take_other_outcomes(machine, folder, work)
    take_refusals(machine, folder)
    machine.remove()


def start_machine(locale: str, dpi: int, display: str, work: Path) -> Machine:
    """A machine with a screen and that user locale, and with enough work for a run that the splash window stays a while."""
    machine = new_machine(work / "machine")
    build = Build()
    prepare(machine, build)
    rows = generic_rows(load_manifest(), facts_of(machine))
    lines = read_lines("machine.tsv") + fonts_and_dpi(locale, dpi) + lines_with_neighbours(rows)
    plant(machine, lines + read_lines("devices.tsv") + read_lines("report_viewer.tsv"))
    connect(machine, display, SCREEN)
    machine.locale = locale
    return machine


def fonts_and_dpi(locale: str, dpi: int) -> list[Line]:
    """Sets one font for all windows, whatever else the host has, and others for the letters that it lacks. Wine does not take
    Thai letters from another font, so Thai users get a font that has them."""
    own = "Loma" if locale.startswith("th") else "DejaVu Sans"
    links = "wqy-microhei.ttc,WenQuanYi Micro Hei|DejaVuSans.ttf,DejaVu Sans"
    lines: list[Line] = [("texts", FONT_LINKS, font, links) for font in ("DejaVu Sans", "DejaVu Sans Bold", "Loma")]
    lines += [
        ("value", REPLACEMENTS, font, own) for font in ("Tahoma", "Segoe UI", "Segoe MDL2 Assets", "MS Shell Dlg")
    ]
    return [*lines, ("number", r"HKEY_CURRENT_USER\Control Panel\Desktop", "LogPixels", str(dpi))]


def take_whole_run(machine: Machine, folder: Path) -> None:
    take(machine, folder, read_lines("windows_whole_run.tsv"))
    shutil.copy(machine.host_path(facts_of(machine).report), folder)


def take_other_outcomes(machine: Machine, folder: Path, work: Path) -> None:
    """The finish dialog with a warning, then with a failure."""
    products = read_products("product_that_resists.tsv")
    make_packages(products, load_manifest(), work / "packages")
    install(machine, makers(products), work / "packages")
    for name, lines in (("finish_warnings", []), ("finish_failure", read_lines("device_that_resists.tsv"))):
        plant(machine, lines)
        windows = [("picture", name) if line[0] == "picture" else line for line in read_lines("windows_outcome.tsv")]
        take(machine, folder, windows)


def take_refusals(machine: Machine, folder: Path) -> None:
    update = r"C:\bench\wuauclt.exe"
    machine.put(Build().bench_program("waiting_program"), update)
    take(machine, folder, read_lines("windows_update_runs.tsv"), ("start-process", update))
    take(machine, folder, read_lines("windows_second_instance.tsv"))


def take(machine: Machine, folder: Path, windows: Sequence[Line], *lines: Line) -> None:
    """A run by a user who follows the list. Takes the screenshots that it names, each cropped to its window."""
    text = "".join("\t".join(line) + "\n" for line in windows)
    (machine.bench / "windows.tsv").write_text(text, encoding="utf-8")
    pictures = machine.folder.parent / "whole_screens"
    run = [("start-driver", r"C:\bench\window_driver.exe"), ("run", r"C:\bench\ORVCleanupUtility.exe")]
    with photographer(machine, pictures):
        hold(machine, [*lines, *run, ("wait-process", r"C:\bench\window_driver.exe")])
    folder.mkdir(parents=True, exist_ok=True)
    for picture in pictures.glob("*.png"):
        crop(pictures, picture.stem, folder / picture.name)
    shutil.rmtree(pictures)


if __name__ == "__main__":
    sys.exit(main())
