"""Tells a header that does not belong to its records.

Nothing in a file says so: with another product of the same length, or the other unit of the spectra, all markers are
right. But integers that are read as reals are tiny, and reals that are read as integers are huge.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

from .layout import Block

if TYPE_CHECKING:
    from .binary import BinaryFile

Array = npt.NDArray[Any]

#: Records that are looked at.
RECORDS = 16
#: No real of the instrument but 0 is so small, and none so large.
SMALLEST, LARGEST = 1e-30, 1e30
#: No integer is so large.
LARGEST_INTEGER = 1 << 28
#: Radiances (W m-2 sr-1 m) are below, temperatures (K) above.
RADIANCE_LIMIT = 1.0


def _odd(values: Array) -> npt.NDArray[np.bool_]:
    """Which records have a value that cannot be."""
    values = values.reshape(len(values), -1)
    if values.dtype.kind == "i":
        wrong = (values < -1) | (values > LARGEST_INTEGER)
    else:
        size = np.abs(values)
        wrong = ~((size == 0) | (size >= SMALLEST) & (size <= LARGEST))
    found: npt.NDArray[np.bool_] = wrong.any(axis=1)
    return found


def _odd_spectra(file: BinaryFile, end: int) -> npt.NDArray[np.bool_]:
    values = file.read_spectrum(0, end, slice(None), True)
    with np.errstate(invalid="ignore"):
        low, high = (values < RADIANCE_LIMIT).sum(axis=1), (values > RADIANCE_LIMIT).sum(axis=1)
    found: npt.NDArray[np.bool_] = low > high if file.header.brightness_temperature else high > low
    return found


def misread_block(file: BinaryFile) -> Block | None:
    """The first block that is not what the header says, in most of the first records."""
    end = min(RECORDS, file.pixels)
    for block in file.header.blocks if end else ():
        if block.spectrum:
            odd = _odd_spectra(file, end)
        else:
            fields = [field for group in block.groups for field in (*group.fields, *group.inner) if field.size]
            odd = np.any([_odd(file.read(field.name, 0, end)) for field in fields], axis=0)
        if 2 * np.count_nonzero(odd) > end:
            return block
    return None
