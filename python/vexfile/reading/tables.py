"""Text and statistics files as tables."""

from __future__ import annotations

from typing import TYPE_CHECKING

import numpy as np

from .columns import columns, positions, unique_names
from ..errors import FormatError
from .structure import sort_of
from .text import TextFile

if TYPE_CHECKING:
    import pandas

#: Values that are read at once.
BLOCK = 1 << 22


def read_table(path: str) -> pandas.DataFrame:
    """Reads a text or statistics file; see `vexfile.read_table`.

    Values stand as in the file, missing ones too. Of a text file:

    - A name that repeats (those of the imager, the levels of two profiles) is told apart by the number of its column
      among those of that name, from the second on: ``AvhrrChannel``, ``AvhrrChannel_2`` to ``AvhrrChannel_42``. The
      channels of the first cluster come first.
    - The header line names 4 layers of ozone and 90 levels. When lines have 101, the columns of the others are named
      like them and stand where they stand in those lines; the shorter lines have NaN there.
    - An empty column is NaN, a line without content a row of NaN.
    - Columns of integers without any NaN are int64, all others float64.
    """
    sort = sort_of(path)
    if sort == "text":
        return _text(path)
    if sort == "statistics":
        return _statistics(path)
    raise FormatError(path, 0, "a text or statistics file, found a binary one: see vexfile.open")


def _statistics(path: str) -> pandas.DataFrame:
    import pandas

    from ..statistics.files import read_statistics
    found = read_statistics(path)
    table = pandas.DataFrame(found.columns, columns=found.names, copy=False)
    table.attrs = {"kind": found.kind, "comments": found.comments}
    return table


def _text(path: str) -> pandas.DataFrame:
    import pandas

    file = TextFile(path)
    found = [column for column in columns(file) if column.name]
    values = np.full((file.pixels, len(found)), np.nan)
    step = max(1, BLOCK // len(found))
    for begin in range(0, file.pixels, step):
        for shape, rows, part in file.tables(begin, min(file.pixels, begin + step)):
            places = positions(found, shape)
            there = places >= 0
            values[np.ix_(rows, there)] = part[:, places[there]]
    names = unique_names(found)
    table = pandas.DataFrame(values, columns=names, copy=False)
    whole = np.isfinite(values).all(axis=0) if file.pixels else np.full(len(found), True)
    return table.astype({name: np.int64 for name, column, all_there in zip(names, found, whole)
                         if column.field.text == "int" and all_there}, copy=False)
