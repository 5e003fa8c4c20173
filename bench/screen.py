"""A screen for a machine, so that its windows can be looked at, and pictures of it. Needs Xvfb and ImageMagick."""

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
    """An X server of its own; yields the name of its display."""
    # The server picks a free number itself and writes it when it is ready.
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
    """Has the machine use the screen, with a desktop that draws the windows' frames."""
    machine.display = display
    (machine.bench / "pictures").mkdir(parents=True, exist_ok=True)
    machine.import_registry(
        "REGEDIT4\n\n"
        '[HKEY_CURRENT_USER\\Software\\Wine\\Drivers]\n"Graphics"="x11"\n\n'
        '[HKEY_CURRENT_USER\\Software\\Wine\\Explorer]\n"Desktop"="Bench"\n\n'
        f'[HKEY_CURRENT_USER\\Software\\Wine\\Explorer\\Desktops]\n"Bench"="{size}"\n'
    )
    # A first program with a window leaves what a machine notes down about its screen.
    machine.wine("reg", "query", r"HKCU\Software\Wine\Drivers", check=True)
    machine.settle()


@contextmanager
def photographer(machine: Machine, pictures: Path) -> Iterator[None]:
    """Takes the pictures that window_driver asks for: NAME.png, the whole screen, and NAME.places, where the window is on it,
    in a second line the area within its frame, and then each control with a text: its place and number."""
    pictures.mkdir(parents=True, exist_ok=True)
    wishes = machine.bench / "pictures"

    def look() -> None:
        for wish in sorted(wishes.glob("*.wanted")):
            _take(machine.display or "", pictures / f"{wish.stem}.png")
            wish.rename(pictures / f"{wish.stem}.places")

    with repeating(0.05, look):
        yield


def crop(pictures: Path, name: str, target: Path, line: int = 1, part: str = "") -> None:
    """Cuts the place in that line of NAME.places out of a picture; with a `part` (an ImageMagick geometry), that of it."""
    place = places(pictures, name)[line - 1].partition("\t")[0]
    cut = ["-crop", place, "+repage"] + (["-crop", part, "+repage"] if part else [])
    subprocess.run(["convert", str(pictures / f"{name}.png"), *cut, str(target)], check=True)


def places(pictures: Path, name: str) -> list[str]:
    """The lines of NAME.places."""
    return (pictures / f"{name}.places").read_text().splitlines()


def unreadable_controls(pictures: Path, name: str) -> list[str]:
    """The controls with a text of a window on whose picture nothing stands out; none may be so. A window without a control
    that has a text is a BenchError."""
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
    """How far light and dark are apart in a picture, out of a hundred. The frame of a control and the dots of its focus,
    which could be taken for a text, are left out."""
    command = ["convert", str(picture), "-shave", "4x4", "-colorspace", "Gray"]
    command += ["-format", "%[fx:round(100*(maxima-minima))]", "info:"]
    return int(subprocess.run(command, check=True, capture_output=True).stdout)


def colours(picture: Path) -> int:
    """How many colours a picture has; an empty window has a handful."""
    return int(subprocess.run(["identify", "-format", "%k", str(picture)], check=True, capture_output=True).stdout)


def _take(display: str, file: Path) -> None:
    # Two pictures in a row that are the same: everything is drawn.
    command = ["import", "-display", display, "-window", "root", str(file)]
    subprocess.run(command, check=True)
    for _ in range(10):
        before = file.read_bytes()
        subprocess.run(command, check=True)
        if file.read_bytes() == before:
            break
