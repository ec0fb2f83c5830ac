"""What is seen while pieces are done."""

from __future__ import annotations

import sys
from collections.abc import Sequence
from typing import Any

from . import state
from ..planning.plan import Piece
from .state import State

UNITS = ("B", "KB", "MB", "GB", "TB", "PB")
#: Outcomes in words.
WORDS = {"nothing": "complete, with an empty selection", "damaged": "complete, with damaged input"}


def amount(size: float) -> str:
    """Bytes for people."""
    unit = 0
    while size >= 999.5 and unit + 1 < len(UNITS):
        size, unit = size / 1000, unit + 1
    return f"{size:.0f} {UNITS[unit]}" if unit == 0 or size >= 99.95 else f"{size:.1f} {UNITS[unit]}"


def pixels(made: State) -> str:
    """How many pixels of each product were selected."""
    counts = made.get("counts", {}).get("pixels", {})
    return ", ".join(f"{selected} {kind}" for kind, (selected, _) in counts.items())


def line(made: State) -> str:
    """What came of a piece."""
    outcome = WORDS.get(made["outcome"], made["outcome"])
    if outcome == state.FAILED:
        return f"{outcome}: {made['why']}"
    if outcome == state.NO_INPUT:
        return outcome
    size = sum(output["bytes"] for output in made["outputs"])
    counted = pixels(made)
    said = f"; {made['said']}" if made["said"] else ""
    return f"{outcome}: {counted + ', ' if counted else ''}{amount(size)}, {made['seconds']:.1f} s{said}"


class Progress:
    """On a terminal a bar, which moves by bytes of input; else a line for each piece.

    Parameters
    ----------
    pieces
        Those to be done.
    sizes
        Bytes of their input.
    """

    def __init__(self, pieces: Sequence[Piece], sizes: Sequence[int]) -> None:
        self._pieces = {piece.number: piece for piece in pieces}
        self._sizes = dict(zip(self._pieces, sizes))
        self._done = self._failed = 0
        self._bar = self._make_bar(sum(sizes)) if sys.stderr.isatty() else None

    def _make_bar(self, total: int) -> Any:
        try:
            from tqdm import tqdm
        except ImportError:
            return None
        return tqdm(total=total, unit="B", unit_scale=True, dynamic_ncols=True, file=sys.stderr,
                    desc=f"0/{len(self._pieces)} pieces")

    def report(self, number: int, made: State, last: bool) -> None:
        """Takes what came of a try."""
        failed = made["outcome"] == state.FAILED
        if last:
            self._done += 1
            self._failed += failed
        text = f"{self._pieces[number].name} {line(made)}" + ("" if last else "; to be tried again")
        if self._bar is None:
            print(f"[{self._done}/{len(self._pieces)}] {text}", flush=True)
            return
        if failed or made["outcome"] == "damaged":
            self._bar.write(text, file=sys.stderr)
        failed_ones = f", {self._failed} failed" if self._failed else ""
        self._bar.set_description(f"{self._done}/{len(self._pieces)} pieces{failed_ones}")
        self._bar.update(self._sizes[number] * last)

    def close(self) -> None:
        """Ends the bar."""
        if self._bar is not None:
            self._bar.close()
