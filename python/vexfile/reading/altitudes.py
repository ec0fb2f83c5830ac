"""The grid of land and sea that vex takes as ``-alt``."""

from __future__ import annotations

import os

import numpy as np
import numpy.typing as npt

Altitudes = npt.NDArray[np.int16]

ROWS, COLUMNS = 1080, 2160
#: Edges of cells in degrees, as vex looks positions up: of rows from north to south, of columns eastward. Column c is
#: centred on c/6; the first one reaches back to 0, and the last one ends at 360.
ROW_EDGES: npt.NDArray[np.float64] = 90 - np.arange(ROWS + 1) / 6
COLUMN_EDGES: npt.NDArray[np.float64] = np.concatenate([[0], (np.arange(1, COLUMNS) + 0.5) / 6, [360]])
#: Altitude of cells that a file does not give: they are sea.
NOT_GIVEN = -1


def read_grid(path: str | os.PathLike[str]) -> Altitudes:
    """Altitudes in m of shape (row, column); land is 0 or more, sea is negative.

    The rows are big-endian Fortran records of pairs of a column from 1 and an altitude, and their number before them.

    Raises
    ------
    ValueError
        The file is not such a grid.
    """
    numbers, begin = np.fromfile(path, ">i2"), 0
    made: Altitudes = np.full((ROWS, COLUMNS), NOT_GIVEN, np.int16)
    for row in made:
        count = int(numbers[begin + 2]) if begin + 2 < len(numbers) else -1
        columns, altitudes = (numbers[begin + first:begin + 3 + 2 * count:2] for first in (3, 4))
        if count != len(altitudes) or ((columns < 1) | (columns > COLUMNS)).any():
            raise ValueError(f"{os.fspath(path)} is not a valid grid of land and sea")
        row[columns - 1] = altitudes
        begin += 5 + 2 * count
    return made


def write_grid(path: str, altitudes: Altitudes) -> None:
    """Writes the cells of land; all others are sea to vex."""
    with open(path, "wb") as file:
        for row in altitudes:
            columns = np.flatnonzero(row >= 0)
            pairs = np.column_stack([columns + 1, row[columns]]).astype(">i2").tobytes()
            marker = np.array([2 + len(pairs)], ">i4").tobytes()
            file.write(marker + np.array([len(columns)], ">i2").tobytes() + pairs + marker)
