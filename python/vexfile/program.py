"""What the commands have in common: signals that end them, errors in one line, and names of files that are printed."""

from __future__ import annotations

import contextlib
import io
import os
import signal
import sys
from collections.abc import Callable, Iterator, Sequence
from types import FrameType

#: What ends a command, which then removes what it had begun to write; 128 and its number is the status.
SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)

BAD_USE = 2
DEBUG = "--debug"
#: Gives the exit status of an error, and what is said of it in one line; an empty one is not printed.
Explain = Callable[[BaseException], tuple[int, str]]


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
        for one in SIGNALS:  # not ignored: Python complains of a signal that has come in the meantime
            signal.signal(one, lambda *_: None)
        raise Stopped(number)

    before = {one: signal.signal(one, stop) for one in SIGNALS if signal.getsignal(one) != signal.SIG_IGN}
    try:
        yield
    finally:
        for one, handler in before.items():
            signal.signal(one, handler)


def run_command(name: str, words: Sequence[str], work: Callable[[], int], explain: Explain, interrupted: str) -> int:
    """Does the work of a command; gives its exit status.

    Parameters
    ----------
    words
        Those behind its name.
    interrupted
        What is said when a signal has ended it.
    """
    _prepare_streams()

    def explained(error: BaseException) -> tuple[int, str]:
        if not isinstance(error, KeyboardInterrupt):
            return explain(error)
        return 128 + (error.number if isinstance(error, Stopped) else signal.SIGINT), interrupted

    with stoppable():
        try:
            return work()
        except SystemExit as end:  # of argparse
            return end.code if isinstance(end.code, int) else BAD_USE
        except BaseException as error:
            return report(name, error, explained, DEBUG in words[:words.index("--") if "--" in words else None])


def report(name: str, error: BaseException, explain: Explain, debug: bool) -> int:
    """Says on standard error what is wrong, and where it comes from if that is wanted; gives the exit status."""
    if debug:
        import traceback
        traceback.print_exception(error)
    status, said = explain(error)
    if said:
        print(f"{name}: {said}", file=sys.stderr)
    return status


def _prepare_streams() -> None:
    """Lets names of files be printed that are not UTF-8. No file that is opened takes the place of a closed stream."""
    while (descriptor := os.open(os.devnull, os.O_RDONLY)) <= 2:
        pass
    os.close(descriptor)
    sys.stderr = sys.stderr or open(os.devnull, "w", encoding="utf-8")
    for stream in (sys.stdout, sys.stderr):
        if isinstance(stream, io.TextIOWrapper):
            stream.reconfigure(errors="surrogateescape")
