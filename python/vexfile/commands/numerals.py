"""A look at printed numbers that does not compute them: it goes over the bytes, some steps at a time.

What it takes for numbers surely are numbers. The rest, which is rare (``nan``, integers of ten digits, damage), is for
those who read them one by one.
"""

from __future__ import annotations

from typing import Any

import numpy as np
import numpy.typing as npt

Array = npt.NDArray[Any]

DIGITS = b"0123456789"
#: What may not follow each sort of byte in numbers and between them. A column may be empty; a point has digits on both
#: sides.
NEVER_BEHIND = {b"\t\n": b".e", b"+-": b"\t\n+-.e", DIGITS: b"+-", b".": b"\t\n+-.e", b"e": b"\t\n.e"}
#: The same of numbers of which only the point and the e are left: at most one of each, in this order.
MARKS_NEVER_BEHIND = {b"\t\n": b"", b".": b".", b"e": b".e"}
#: Characters with which any integer fits into 32 bits.
SURE_LENGTH = 9
#: Characters of the longest number that vex prints, and then some.
LONGEST = 24


class _Rule:
    """Which bytes may not follow which.

    A byte has a half for what it is, and the other for what it forbids; what is of no sort is all that is forbidden.
    """

    def __init__(self, never_behind: dict[bytes, bytes]) -> None:
        sorts = [sort for sort in never_behind if sort != DIGITS]  # they may follow all
        table = bytearray(b"\x0f" * 256)
        for sort, forbidden in never_behind.items():
            bits = sum(1 << i for i, other in enumerate(sorts) if other[0] in forbidden) << 4
            for byte in sort:
                table[byte] = bits | sum(1 << i for i, other in enumerate(sorts) if other == sort)
        self._table = bytes(table)

    def holds(self, data: bytes) -> bool:
        """Whether all bytes of some lines follow each other rightly."""
        sorts = np.frombuffer(data.translate(self._table), np.uint8)
        first = self._table[ord("\n")] >> 4 & int(sorts[0])
        return not first and not np.bitwise_or.reduce((sorts[:-1] >> 4) & sorts[1:])


_NUMBERS, _MARKS = _Rule(NEVER_BEHIND), _Rule(MARKS_NEVER_BEHIND)


def surely_numbers(data: bytes, columns: int, whole: Array) -> bool:
    """Whether a text surely has nothing but numbers.

    Parameters
    ----------
    data
        Lines, at least one, of the same number of columns, which are separated by tabs.
    columns
        Their number.
    whole
        The columns of integers, which are to fit into 32 bits.
    """
    marks = data.translate(None, DIGITS + b"+-")
    return _NUMBERS.holds(data) and _MARKS.holds(marks) and _usual_exponents(data) and _usual_lengths(
        _widths(data, columns), _widths(marks, columns), whole)


def _usual_exponents(data: bytes) -> bool:
    """Whether all exponents have a sign and two digits."""
    array = np.frombuffer(data, np.uint8)
    places = np.flatnonzero(array == ord("e"))
    behind = array[np.minimum(places + len("e+00"), array.size - 1)]
    return bool(((array[places + 1] < ord(".")) & (behind <= ord("\n"))).all())


def _usual_lengths(characters: Array, marks: Array, whole: Array) -> bool:
    """Whether no column is very long, and integers have no point, no exponent and not too many digits."""
    return bool(characters.max() <= LONGEST and (characters[:, whole] <= SURE_LENGTH).all() and not marks[:, whole].any())


def _widths(data: bytes, columns: int) -> Array:
    """Characters of each column of each line."""
    ends = np.flatnonzero(np.frombuffer(data, np.uint8) <= ord("\n"))
    return (np.diff(ends, prepend=-1) - 1).reshape(-1, columns)
