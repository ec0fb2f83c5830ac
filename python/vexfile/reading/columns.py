"""The columns of a record as text: their names, and where their values come from."""

from __future__ import annotations

from collections import Counter
from collections.abc import Iterator, Sequence
from dataclasses import dataclass

import numpy as np
import numpy.typing as npt

from .header import Header
from .layout import Field, Group
from .shapes import Shape
from .variables import VexFile


@dataclass(frozen=True)
class Column:
    """One column.

    Attributes
    ----------
    name : str
        As the header line of a text file has it, or would have it if it went on; empty for a channel below 0.
    field : Field
    index : tuple of int
        Which one of the field's values it is, a number for each of its dimensions.
    spectrum : bool
        Whether it is a channel.
    """

    name: str
    field: Field
    index: tuple[int, ...]
    spectrum: bool = False


def columns(file: VexFile) -> list[Column]:
    """The columns of the longest record that can be made of those that the file has."""
    found: list[Column] = []
    for block in file.header.blocks:
        if block.spectrum:
            names = channel_names(file.header)
            found += [Column(name, block.groups[0].fields[0], (i,), True) for i, name in enumerate(names)]
            continue
        for group in block.groups:
            times = file.counts(group.fields[0].name)[0] if group.times > 1 else 1
            found += _of_group(group, times)
    return found


def _of_group(group: Group, times: int) -> Iterator[Column]:
    for i in range(times):
        outer = (i,) if group.times > 1 else ()
        for row in group.fields:
            yield Column(row.column.replace("#", str(i + 1)), row, outer)
        for j in range(group.inner_times):
            for row in group.inner:
                yield Column(row.column.replace("#", str(i + 1)), row, (*outer, j))


def header_names(header: Header) -> list[str]:
    """The columns that the header line of a text file names."""
    named = (filter(None, channel_names(header)) if block.spectrum else block.column_names() for block in header.blocks)
    return [name for names in named for name in names]


def channel_names(header: Header) -> list[str]:
    """The names of channels; ranges that begin below 0 give none.

    A binary header does not tell where ranges begin: neighbouring channels are taken as one range.
    """
    channels = header.channels.astype(np.int64)
    first = np.diff(channels, prepend=channels[:1] - 2) != 1
    begins = channels[first][np.cumsum(first) - 1]
    return ["" if begin < 0 else str(channel) for begin, channel in zip(begins.tolist(), channels.tolist())]


def unique_names(found: Sequence[Column]) -> list[str]:
    """Names without repetition: the second one of a name is ``NAME_2``, the third one ``NAME_3`` and so on."""
    seen: Counter[str] = Counter()
    names = []
    for column in found:
        seen[column.name] += 1
        names.append(column.name if seen[column.name] == 1 else f"{column.name}_{seen[column.name]}")
    return names


def positions(found: Sequence[Column], shape: Shape) -> npt.NDArray[np.int64]:
    """Where columns are in the records of one sort, in columns or bytes; -1 for those that these do not have."""
    return np.array([_position(column, shape) for column in found], np.int64)


def _position(column: Column, shape: Shape) -> int:
    place = shape.places.get(column.field.name)
    if place is None:
        return -1
    index = column.index
    if column.spectrum and shape.selected is not None:
        there = int(np.searchsorted(shape.selected, index[0]))
        if there == shape.selected.size or shape.selected[there] != index[0]:
            return -1
        index = (there,)
    if any(i >= count for i, count in zip(index, place.counts)):
        return -1
    return place.offset + sum(step * i for step, i in zip(place.steps, index))
