"""A virtual screen for a machine, and screenshots of its windows. Needs Xvfb and ImageMagick."""

from __future__ import annotations

import os
import subprocess
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

from bench.machine import BenchError, Machine
from bench.repeating import repeating

SIZE = "1100x700"


@contextmanager
def screen(size: str = SIZE) -> Iterator[str]:
    """Starts an X server and yields the name of its display."""
    # The server picks a free display number itself and writes it once it is ready.
    reading, writing = os.pipe()
    server = subprocess.Popen(
        ["Xvfb", "-displayfd", str(writing), "-screen", "0", f"{size}x24", "-nolisten", "tcp"],
        pass_fds=[writing],
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
    )
    os.close(writing)
    try:
        with os.fdopen(reading) as answer:
            number = answer.readline().strip()
        if not number:
            raise BenchError("the X server did not start")
        yield f":{number}"
    finally:
        server.terminate()
        server.wait()


def connect(machine: Machine, display: str, size: str = SIZE) -> None:
    """Makes the machine use the screen, with a desktop that draws window frames."""
    machine.display = display
    (machine.bench / "pictures").mkdir(parents=True, exist_ok=True)
    machine.import_registry(
        "REGEDIT4\n\n"
        '[HKEY_CURRENT_USER\\Software\\Wine\\Drivers]\n"Graphics"="x11"\n\n'
        '[HKEY_CURRENT_USER\\Software\\Wine\\Explorer]\n"Desktop"="Bench"\n\n'
        f'[HKEY_CURRENT_USER\\Software\\Wine\\Explorer\\Desktops]\n"Bench"="{size}"\n'
    )
    # The first program with a window makes Wine write what it stores about the screen.
    machine.wine("reg", "query", r"HKCU\Software\Wine\Drivers", check=True)
    machine.settle()


@contextmanager
def photographer(machine: Machine, pictures: Path) -> Iterator[None]:
    """Takes the screenshots that window_driver asks for: NAME.png, the whole screen, and NAME.places, with the position of the
    window in the first line, of the area within its frame in the second, and then of each control with a text, with its id."""
    pictures.mkdir(parents=True, exist_ok=True)
    wishes = machine.bench / "pictures"

    def look() -> None:
        for wish in sorted(wishes.glob("*.wanted")):
            _take(machine.display or "", pictures / f"{wish.stem}.png")
            wish.rename(pictures / f"{wish.stem}.places")

    with repeating(0.05, look):
        yield


def crop(pictures: Path, name: str, target: Path, line: int = 1, part: str = "") -> None:
    """Crops a screenshot to the position in that line of NAME.places, or to a `part` of it (an ImageMagick geometry)."""
    place = places(pictures, name)[line - 1].partition("\t")[0]
    cut = ["-crop", place, "+repage"] + (["-crop", part, "+repage"] if part else [])
    subprocess.run(["convert", str(pictures / f"{name}.png"), *cut, str(target)], check=True)


def places(pictures: Path, name: str) -> list[str]:
    """The lines of NAME.places."""
    return (pictures / f"{name}.places").read_text().splitlines()


def unreadable_controls(pictures: Path, name: str) -> list[str]:
    """The controls of a window whose text does not stand out in the screenshot; there should be none. A window without any
    control that has a text is a BenchError."""
    controls = places(pictures, name)[2:]
    if not controls:
        raise BenchError(f"the window of the picture {name} has no text")
    found = []
    for line, control in enumerate(controls, 3):
        cut = pictures / f"{name}.control.png"
        crop(pictures, name, cut, line)
        contrast = _contrast(cut)
        cut.unlink()
        if contrast < 50:
            found.append(f"{control}: contrast {contrast}")
    return found


def _contrast(picture: Path) -> int:
    """The contrast of a screenshot in percent. The frame of a control and its focus rectangle, which could be taken for text,
    are left out."""
    command = ["convert", str(picture), "-shave", "4x4", "-colorspace", "Gray"]
    command += ["-format", "%[fx:round(100*(maxima-minima))]", "info:"]
    return int(subprocess.run(command, check=True, capture_output=True).stdout)


def colours(picture: Path) -> int:
    """How many colours an image has; an empty window has a handful."""
    return int(subprocess.run(["identify", "-format", "%k", str(picture)], check=True, capture_output=True).stdout)


def _take(display: str, file: Path) -> None:
    # Everything is drawn once two screenshots in a row are identical.
    command = ["import", "-display", display, "-window", "root", str(file)]
    subprocess.run(command, check=True)
    for _ in range(10):
        before = file.read_bytes()
        subprocess.run(command, check=True)
        if file.read_bytes() == before:
            break
