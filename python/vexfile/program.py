"""What the commands have in common: signals that end them, and names of files that are printed."""

from __future__ import annotations

import contextlib
import io
import signal
import sys
from collections.abc import Iterator
from types import FrameType

#: What ends a command, which then removes what it had begun to write; 128 and its number is the status.
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


class Stopped(KeyboardInterrupt):
    """A signal asks to end."""

    def __init__(self, number: int) -> None:
        super().__init__(number)
        self.number = number


@contextlib.contextmanager
def stoppable() -> Iterator[None]:
    """Raises Stopped at the first signal to end, unless it is ignored, as by nohup; from then on such signals do nothing
    until the end of the block."""
    def stop(number: int, _: FrameType | None) -> None:
        for one in SIGNALS:
            signal.signal(one, signal.SIG_IGN)
        raise Stopped(number)

    before = {one: signal.signal(one, stop) for one in SIGNALS if signal.getsignal(one) != signal.SIG_IGN}
    try:
        yield
    finally:
        for one, handler in before.items():
            signal.signal(one, handler)


def print_any_name() -> None:
    """Lets names of files be printed that are not UTF-8."""
    for stream in (sys.stdout, sys.stderr):
        if isinstance(stream, io.TextIOWrapper):
            stream.reconfigure(errors="surrogateescape")
