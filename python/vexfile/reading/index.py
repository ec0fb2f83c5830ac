"""Where the records of a binary file begin, and of which sort they are."""

from __future__ import annotations

import os
import struct
from array import array
from collections.abc import Callable, Sequence
from dataclasses import dataclass, field
from typing import Any

import numpy as np
import numpy.typing as npt

from ..errors import FormatError
from .header import Header
from .shapes import Choice, Shape, channel_selections, extra_blocks, make_shape

Integers = npt.NDArray[np.int64]
Take = Callable[[int, memoryview], None]

#: A record without content is its two markers.
EMPTY = Shape(8, {})
#: Up to this size all markers are looked at when a file is opened, bytes.
SMALL = 32 << 20
#: In a larger file of equal records, how many are looked at; the others are when they are read.
SAMPLES = 64
#: Bytes that the pass over a file reads at once.
WINDOW = 1 << 20
#: After so many records of one sort the next ones are guessed to be, too.
FEW = 8
#: Of a record, from its leading marker on: where it tells whether it has its L1C pixel (`DayVersion`, -1 without).
DAY_VERSION = 54


@dataclass(frozen=True)
class Index:
    """Runs of neighbouring records of one sort.

    Attributes
    ----------
    first, offset, shape : numpy.ndarray
        Of each run the first pixel, where in the file it begins and the sort (run), int64.
    count : int
        Records of the file.
    verified : bool
        Whether all markers have been looked at; if not, those of a record are when it is read.
    """

    shapes: Sequence[Shape]
    first: Integers
    offset: Integers
    shape: Integers
    count: int
    verified: bool

    def records(self, begin: int, end: int) -> tuple[Integers, Integers]:
        """Where the records from `begin` to before `end` are in the file, and their sorts (record)."""
        pixels = np.arange(begin, end)
        run = np.searchsorted(self.first, pixels, "right") - 1
        lengths = np.array([shape.length for shape in self.shapes])
        shape = self.shape[run]
        return self.offset[run] + (pixels - self.first[run]) * lengths[shape], shape

    def used(self) -> list[Shape]:
        """The sorts of which there are records."""
        return [self.shapes[i] for i in np.unique(self.shape)]


@dataclass
class _Runs:
    """Runs as they are found."""

    first: array[int] = field(default_factory=lambda: array("q"))
    offset: array[int] = field(default_factory=lambda: array("q"))
    shape: array[int] = field(default_factory=lambda: array("q"))
    count: int = 0

    def add(self, offset: int, shape: int, count: int) -> None:
        if not self.shape or self.shape[-1] != shape:
            self.first.append(self.count)
            self.offset.append(offset)
            self.shape.append(shape)
        self.count += count

    def index(self, shapes: Sequence[Shape], verified: bool = True) -> Index:
        first, offset, shape = (np.array(x, np.int64) for x in (self.first, self.offset, self.shape))
        return Index(shapes, first, offset, shape, self.count, verified)


def sorts(header: Header, selected: npt.NDArray[np.intp] | None) -> list[Shape]:
    """The sorts of records that a file may have, shortest first among those that compete; the first is `EMPTY`."""
    counts: list[tuple[int, npt.NDArray[np.intp] | None]] = [(header.channels.size, None)]
    if selected is not None:
        counts.append((selected.size, selected))
    return [EMPTY] + [make_shape(header, Choice(extra, *count)) for count in counts
                      for extra in extra_blocks(header.blocks)]


def make_index(path: str, descriptor: int, size: int, header: Header, whole: bool, take: Take | None = None) -> Index:
    """Finds the records of a binary file.

    Parameters
    ----------
    descriptor
        The open file.
    size
        Its bytes.
    whole
        Look at all markers, however large the file is.
    take
        Gets the records that have been looked at, with their place in the file; some perhaps more than once.

    Raises
    ------
    FormatError
        Where there is no record of a sort that the file can have.
    """
    error: FormatError | None = None
    for selected in channel_selections(header.channels):
        if error and selected is not None and not _can_begin(descriptor, size, header, selected.size):
            continue
        shapes = sorts(header, selected)
        scan = _Scan(path, descriptor, size, header, shapes)
        if not whole and size > SMALL and selected is None and (index := scan.equal_records()):
            return index
        try:
            return scan.all_records(take)
        except FormatError as found:
            error = found if error is None or found.offset > error.offset else error
    assert error is not None
    raise error


def _can_begin(descriptor: int, size: int, header: Header, spectrum: int) -> bool:
    """Whether the first record can be one with its L1C pixel and a spectrum of so many values."""
    pair = struct.Struct(header.order + "ii")
    begin = os.pread(descriptor, DAY_VERSION + 2, header.length)
    if len(begin) < DAY_VERSION + 2 or begin[DAY_VERSION:] == b"\xff\xff" or pair.unpack_from(begin)[1] == header.marker:
        return True  # it lacks the pixel, or has no content, and tells nothing
    two = pair.pack(header.marker, header.marker)
    for extra in extra_blocks(header.blocks):
        fixed = sum(block.size(block.name in extra) for block in header.blocks)
        end = header.length + 4 + fixed + 4 * spectrum
        if os.pread(descriptor, 8, end) == (two if end + 4 < size else two[:4]):
            return True
    return False


class _Scan:
    """One pass over the markers of a file, with one idea of its channels."""

    def __init__(self, path: str, descriptor: int, size: int, header: Header, shapes: Sequence[Shape]) -> None:
        self.path, self.descriptor, self.size, self.header, self.shapes = path, descriptor, size, header, shapes
        self.word = struct.Struct(header.order + "i")
        self.pair = struct.Struct(header.order + "ii")
        self.marker = header.marker
        self.two = self.pair.pack(self.marker, self.marker)  # the end of a record and the begin of the next one
        self.tells = any(shape.selected is not None for shape in shapes)  # DayVersion tells sorts apart
        self.lengths = [shape.length for shape in shapes]
        self.longest = max(self.lengths)
        # By whether the record lacks its L1C pixel: the sorts that it may be of.
        cut = [i for i, shape in enumerate(shapes) if shape.selected is not None]
        full = [i for i, shape in enumerate(shapes) if i and shape.selected is None]
        self.candidates = {False: cut or full, True: full}

    # A record at `place` of the window `data`, which ends with the file when `last`.

    def fits(self, data: bytes, place: int, shape: int, last: bool) -> bool:
        """Whether a record of this sort can end where it would: at a marker that another one or the end follows."""
        end = place + self.lengths[shape]
        if end + 4 <= len(data):
            return data.startswith(self.two, end - 4)
        return last and end == len(data) and self.word.unpack_from(data, end - 4)[0] == self.marker

    def lacks(self, data: bytes, place: int) -> bool:
        """Whether the record lacks its L1C pixel, where that matters."""
        return self.tells and data[place + DAY_VERSION:place + DAY_VERSION + 2] == b"\xff\xff"

    def one(self, data: bytes, place: int, begin: int, last: bool) -> int:
        """The sort of the record; `begin` is the window's place in the file."""
        if len(data) < place + 8:
            raise FormatError(self.path, self.size, "a record, the file ends")
        marker, second = self.pair.unpack_from(data, place)
        if marker != self.marker:
            raise FormatError(self.path, begin + place, f"the marker {self.marker}, found {marker}")
        if second == self.marker:
            if self.fits(data, place, 0, last):
                return 0
            raise FormatError(self.path, begin + place + 8, f"the marker {self.marker}")
        candidates = self.candidates[self.lacks(data, place)]
        for shape in candidates:
            if self.fits(data, place, shape, last):
                return shape
        end = begin + place + self.shapes[candidates[0]].length
        if end > self.size:
            raise FormatError(self.path, self.size, f"a record up to byte {end}, the file ends")
        raise FormatError(self.path, end - 4, f"the marker {self.marker}, followed by another or the end of the file")

    def words(self, data: bytes, place: int, step: int, count: int, code: str = "i4") -> npt.NDArray[Any]:
        return np.ndarray((count,), self.header.order + code, data, place, (step,))

    def like_first(self, data: bytes, place: int, shape: int, count: int) -> npt.NDArray[np.bool_]:
        """Of `count` records at equal distances, all followed by 4 bytes in the window: which are of this sort."""
        step = self.shapes[shape].length
        alike: npt.NDArray[np.bool_] = self.words(data, place, step, count) == self.marker
        alike &= self.words(data, place + step - 4, step, count) == self.marker
        alike &= self.words(data, place + step, step, count) == self.marker
        alike &= (self.words(data, place + 4, step, count) == self.marker) == (shape == 0)
        if shape == 0:
            return alike
        lacking = self.tells and self.lacks(data, place)
        if self.tells:
            alike &= (self.words(data, place + DAY_VERSION, step, count, "i2") == -1) == lacking
        for other in self.candidates[lacking]:
            shorter = self.shapes[other].length
            if shorter >= step:
                break
            alike &= ((self.words(data, place + shorter - 4, step, count) != self.marker)
                      | (self.words(data, place + shorter, step, count) != self.marker))
        return alike

    def run(self, data: bytes, place: int, shape: int) -> int:
        """How many records from here on are of this sort, as far as the window tells; at least the one that is."""
        step, found, count = self.shapes[shape].length, 0, 16
        room = (len(data) - 4 - place) // step
        while found < room:
            count = min(count, room - found)
            alike = self.like_first(data, place + found * step, shape, count)
            if not alike.all():
                return max(1, found + int(alike.argmin()))
            found, count = found + count, 16 * count
        return max(1, found)

    def all_records(self, take: Take | None = None) -> Index:
        """Looks at every marker of the file."""
        runs, begin, alike, before = _Runs(), self.header.length, 0, -1
        window = max(WINDOW, 2 * self.longest)
        while begin < self.size:
            data = os.pread(self.descriptor, window, begin)
            last = begin + len(data) >= self.size
            if not last and len(data) < self.longest + 4:
                raise FormatError(self.path, begin + len(data), "a record, the file ends")
            place = 0
            while place < len(data) and (last or place + self.longest + 4 <= len(data)):
                shape = self.one(data, place, begin, last)
                alike = alike + 1 if shape == before else 0
                count = self.run(data, place, shape) if alike >= FEW else 1
                runs.add(begin + place, shape, count)
                place += count * self.lengths[shape]
                before = shape
            if take:
                take(begin, memoryview(data)[:place])
            begin += place
        return runs.index(self.shapes)

    def equal_records(self) -> Index | None:
        """The records of a large file when a sample says that they are all of one sort."""
        content = self.size - self.header.length
        for shape in self.candidates[False]:
            step = self.shapes[shape].length
            count, rest = divmod(content, step)
            if rest == 0 and all(self.is_there(int(i), shape, step) for i in np.linspace(0, count - 1, SAMPLES)):
                runs = _Runs()
                runs.add(self.header.length, shape, count)
                return runs.index(self.shapes, verified=False)
        return None

    def is_there(self, pixel: int, shape: int, step: int) -> bool:
        begin = self.header.length + pixel * step
        data = os.pread(self.descriptor, step + 4, begin)
        try:
            return self.one(data, 0, begin, len(data) == step) == shape
        except FormatError:
            return False
