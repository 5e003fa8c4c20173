"""Repeats an action in the background. Needed because no event of a machine reaches the host."""

from __future__ import annotations

import threading
from collections.abc import Callable, Iterator
from contextlib import contextmanager


@contextmanager
def repeating(seconds: float, action: Callable[[], None]) -> Iterator[None]:
    """Calls the action in a thread of its own, with the given pause before each call, until the block ends."""
    done = threading.Event()

    def work() -> None:
        while not done.wait(seconds):
            action()

    thread = threading.Thread(target=work)
    thread.start()
    try:
        yield
    finally:
        done.set()
        thread.join()
