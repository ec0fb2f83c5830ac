"""Reads one stretch of bytes of each of many equal records straight into the rows of an array."""

from __future__ import annotations

import os
from collections.abc import Callable
from typing import Any

import numpy as np
import numpy.typing as npt

Array = npt.NDArray[Any]

#: What is read at once, bytes.
CHUNK = 1 << 20
#: Pieces of memory that the system fills in one call.
MOST_PIECES = 1024
#: From this size on two threads read, bytes.
LARGE = 32 << 20

#: Called with the first row, the rows and what lies between them: of each record all but its stretch, from the
#: record's beginning on.
Look = Callable[[int, Array, bytearray], None]


def read_rows(descriptor: int, offset: int, step: int, low: int, out: Array, look: Look) -> None:
    """Fills `out`.

    Parameters
    ----------
    descriptor
        The open file.
    offset
        Of the first record.
    step
        Bytes of a record.
    low
        Where in a record the stretch begins.
    out
        (record, values), contiguous; a row is as long as the stretch.
    look
        Gets the rows, some at a time, to check and change them. May be called by two threads.

    Raises
    ------
    EOFError
        The file ends before the last record. Its argument is the record.
    """
    count = len(out)
    if out.nbytes < LARGE or (os.cpu_count() or 1) < 2:
        _read_part(descriptor, offset, step, low, out, 0, count, look)
        return
    from concurrent.futures import ThreadPoolExecutor
    half = count // 2
    with ThreadPoolExecutor(1) as pool:
        other = pool.submit(_read_part, descriptor, offset, step, low, out, half, count, look)
        _read_part(descriptor, offset, step, low, out, 0, half, look)
        other.result()


def _read_part(descriptor: int, offset: int, step: int, low: int, out: Array, begin: int, end: int,
               look: Look) -> None:
    row = out.shape[1] * out.itemsize
    gap = step - row
    most = max(1, min(CHUNK // step, (MOST_PIECES - 1) // 2, end - begin))
    rest = bytearray(most * gap)
    gaps, rows = memoryview(rest), memoryview(np.ravel(out).view(np.uint8))  # type: ignore[arg-type]
    pieces = [gaps[:low]] * (2 * most + 1)
    pieces[2::2] = [gaps[place + low:place + gap + low] for place in range(0, most * gap, gap)]
    for first in range(begin, end, most):
        count = min(most, end - first)
        place = first * row
        pieces[1:2 * count:2] = [rows[at:at + row] for at in range(place, place + count * row, row)]
        wanted = pieces if count == most else [*pieces[:2 * count], gaps[count * gap - gap + low:count * gap]]
        found = os.preadv(descriptor, wanted, offset + first * step)
        if found != count * step:
            raise EOFError(first + found // step)
        look(first, out[first:first + count], rest)
