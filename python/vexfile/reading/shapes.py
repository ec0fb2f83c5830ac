"""Where the fields of a record stand: in binary in bytes, in text in columns.

Not all records of a file are alike. Blocks of recent pixels have more layers and levels than the header says, channels
that the archive does not have are counted by the header and by records without L1C pixel only, and a record without
content has no block at all.
"""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass

import numpy as np
import numpy.typing as npt

from .header import Header
from .layout import Block, Field, Group, layout


@dataclass(frozen=True)
class Place:
    """Where the values of one field stand in a record.

    Attributes
    ----------
    offset : int
        Of the first value, in bytes from the leading marker or in columns.
    steps, counts : tuple of int
        From one value to the next, and how many, in each dimension of the field.
    """

    offset: int
    steps: tuple[int, ...]
    counts: tuple[int, ...]

    @property
    def end(self) -> int:
        """Where the last value begins."""
        return self.offset + sum(step * (count - 1) for step, count in zip(self.steps, self.counts))


@dataclass(frozen=True)
class Shape:
    """One sort of record of a file.

    Attributes
    ----------
    length : int
        Bytes with both markers, or columns.
    places : dict
        By names of variables. Empty in a record without content.
    selected : numpy.ndarray or None
        Of the header's channels those that the spectrum has; None: all.
    """

    length: int
    places: dict[str, Place]
    selected: npt.NDArray[np.intp] | None = None


@dataclass(frozen=True)
class Choice:
    """What makes a record the sort that it is."""

    recent: frozenset[str]  # blocks with their recent number of repetitions
    spectrum: int  # values of the spectrum
    selected: npt.NDArray[np.intp] | None = None


def make_shape(header: Header, choice: Choice) -> Shape:
    """The sort of record that a choice makes."""
    walk = _Walk(0 if header.text else 4, header.text)
    for block in header.blocks:
        if block.spectrum:
            walk.spectrum(block.groups[0].fields[0], choice.spectrum)
        for group in block.groups if not block.spectrum else ():
            walk.group(group, group.times_recent if block.name in choice.recent else group.times)
    return Shape(walk.place + (0 if header.text else 4), walk.places, choice.selected)


class _Walk:
    """Goes over the blocks and notes the places of the fields."""

    def __init__(self, place: int, text: bool) -> None:
        self.place, self.text, self.places = place, text, dict[str, Place]()

    def size(self, field: Field) -> int:
        return 1 if self.text else field.size

    def note(self, field: Field, offset: int, steps: tuple[int, ...], counts: tuple[int, ...]) -> None:
        if self.text or field.size:
            self.places[field.name] = Place(offset, steps, counts)

    def spectrum(self, field: Field, count: int) -> None:
        self.note(field, self.place, (self.size(field),), (count,))
        self.place += count * self.size(field)

    def group(self, group: Group, times: int) -> None:
        step = group.columns if self.text else group.size
        inner_step = sum(self.size(field) for field in group.inner)
        outer = ((step,), (times,)) if group.times > 1 else ((), ())
        offset = self.place
        for field in group.fields:
            self.note(field, offset, *outer)
            offset += self.size(field)
        for field in group.inner:
            self.note(field, offset, (*outer[0], inner_step), (*outer[1], group.inner_times))
            offset += self.size(field)
        self.place += step * times


def extra_blocks(blocks: tuple[Block, ...]) -> Iterator[frozenset[str]]:
    """Which blocks may have more repetitions than the header says: none first, then the ones that add least."""
    growing = sorted((block for block in blocks if block.extra), key=lambda b: b.size(True) - b.size(False))
    for bits in range(1 << len(growing)):
        yield frozenset(block.name for bit, block in enumerate(growing) if bits >> bit & 1)


def channel_selections(channels: npt.NDArray[np.int32]) -> list[npt.NDArray[np.intp] | None]:
    """What the spectrum of a record with its L1C pixel may hold of the channels that the header names.

    A range of channels is cut at the last one that messages have (8700; those behind 8461 fill up a block), a range
    that begins below 1 or above it is left out as a whole. The header does not tell where ranges begin: of neighbouring
    channels that begin below 1 and go on above, all may be left out, or all above 0 be there, or what begins anywhere
    between.

    Returns
    -------
    list
        Indices of channels; None for all of them. The likeliest first.
    """
    inside = (channels >= 1) & (channels <= layout().samples)
    if inside.all():
        return [None]
    starts = np.flatnonzero(np.diff(channels, prepend=channels[0] - 2) != 1)
    ends = np.append(starts[1:], channels.size)
    doubtful = [(int(a), int(b)) for a, b in zip(starts, ends) if channels[a] < 1 and channels[b - 1] >= 1]
    if not doubtful:
        return [np.flatnonzero(inside)]
    found: list[npt.NDArray[np.intp] | None] = []
    begin, end = doubtful[0]
    first = int(np.searchsorted(channels[begin:end], 1)) + begin
    for cut in [end, *range(first, end)]:
        there = inside.copy()
        for a, b in doubtful:
            there[a:b] = False
        there[cut:end] = inside[cut:end]
        found.append(np.flatnonzero(there))
    return found
