"""Values of binary files, read when they are asked for.

Memory: what is read at once is 1 to 4 MB; blocks of the last records are kept, 64 MB at most; all else is the result.
"""

from __future__ import annotations

import contextlib
import os
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

import numpy as np
import numpy.typing as npt

from ..errors import FormatError
from .header import Header, read_binary_header
from .index import Index, Integers, make_index
from .kept import Kept
from .layout import Field
from .plausible import RECORDS, misread_block
from .scatter import read_rows
from .shapes import Place, Shape

#: What is read at once: of spectra, and of records as blocks, bytes.
CHUNK, BLOCK = 1 << 20, 1 << 22
#: Records longer than this are read without their spectrum when other fields are wanted, bytes.
LONG = 8192
#: Records of a block without their spectra.
BLOCK_RECORDS = 1024
#: These bits make any real a NaN.
NAN = np.int32(0x7FC00000)
#: Channels further apart than this are read one by one, bytes.
FAR = 4096

Array = npt.NDArray[Any]

CODES = {"int1": "u1", "int2": "i2", "int4": "i4", "real4": "f4"}
TYPES: dict[str, np.dtype[Any]] = {name: np.dtype(code) for name, code in
                                   (("int1", "i2"), ("int2", "i2"), ("int4", "i4"), ("real4", "f4"))}


@dataclass(frozen=True)
class _Block:
    """Some neighbouring records in memory; of long ones without their spectra.

    Attributes
    ----------
    begin : int
        The first pixel.
    offset, shape : numpy.ndarray
        Where in `data` each record begins, and its sort (record).
    sorts : list of int
        The sorts that there are.
    """

    begin: int
    data: bytes
    offset: Integers
    shape: Integers
    sorts: list[int]


class BinaryFile:
    """A binary file of vex.

    Parameters
    ----------
    path
        The file. It is open only while it is read.
    whole
        Look at all markers now. Without it those of a large file of equal records are looked at when they are read.

    Attributes
    ----------
    header : Header
    pixels : int
        Number of records.
    """

    def __init__(self, path: str, whole: bool = False) -> None:
        self.path = path
        with open(path, "rb", buffering=0) as file:
            status = os.fstat(file.fileno())
            self._size, self._stamp = status.st_size, (status.st_size, status.st_mtime_ns)
            self.header: Header = read_binary_header(path, file, self._size)
            self.index: Index = make_index(path, file.fileno(), self._size, self.header, whole)
        self.pixels = self.index.count
        self._verified = np.full(self.pixels if not self.index.verified else 0, False)
        self._kept: Kept[_Block] = Kept()
        self._long, self._records = False, RECORDS
        if block := misread_block(self):
            raise FormatError(path, self.header.length, f"records with what the header says: {block.name}")
        lengths = [shape.length for shape in self.index.used()]
        self._long = bool(self.header.spectrum) and max(lengths, default=0) > LONG
        self._records = BLOCK_RECORDS if self._long else max(1, BLOCK // max(lengths, default=1))
        self._kept = Kept()

    @property
    def size(self) -> int:
        """Bytes of the file."""
        return self._size

    def counts(self, name: str) -> tuple[int, ...]:
        """Values of a field in each of its dimensions, in the record that has most."""
        places = [shape.places[name] for shape in self.index.used() if name in shape.places]
        places = places or [shape.places[name] for shape in self.index.shapes[1:2]]
        return tuple(max(place.counts[i] for place in places) for i in range(len(places[0].counts)))

    def sorts(self) -> list[tuple[Shape, int]]:
        """The sorts of records that the file has, and how many records are of each."""
        counts = np.diff(np.append(self.index.first, self.index.count))
        return [(self.index.shapes[sort], int(counts[self.index.shape == sort].sum()))
                for sort in np.unique(self.index.shape)]

    def place(self, pixel: int) -> int:
        """Where the record of a pixel begins, bytes."""
        return int(self.index.records(pixel, pixel + 1)[0][0])

    @contextlib.contextmanager
    def _open(self) -> Iterator[int]:
        descriptor = os.open(self.path, os.O_RDONLY | os.O_CLOEXEC)
        try:
            status = os.fstat(descriptor)
            if (status.st_size, status.st_mtime_ns) != self._stamp:
                raise FormatError(self.path, min(status.st_size, self._size), "the file as it was when it was opened")
            yield descriptor
        finally:
            os.close(descriptor)

    def _pread(self, descriptor: int, count: int, offset: int) -> bytes:
        data = os.pread(descriptor, count, offset)
        while len(data) < count:
            more = os.pread(descriptor, count - len(data), offset + len(data))
            if not more:
                raise FormatError(self.path, offset + len(data), f"{count - len(data)} bytes more, the file ends")
            data += more
        return data

    # Fields but for the spectrum: blocks of records.

    def read(self, name: str, begin: int, end: int) -> Array:
        """Values of a field as they stand in the file, in the byte order of this machine.

        Parameters
        ----------
        name
            Of a variable, not that of the spectrum.
        begin, end
            Pixels from `begin` to before `end`.

        Returns
        -------
        numpy.ndarray
            (pixel, ...) with the dimensions of `counts`. Where a record has fewer values, or none, stands the field's
            missing value.
        """
        field = self.header.fields[name]
        out = np.full((end - begin, *self.counts(name)), field.missing, TYPES[field.type])
        for block in self._blocks(begin, end):
            low, high = max(begin, block.begin), min(end, block.begin + len(block.offset))
            self._take(block, field, slice(low - block.begin, high - block.begin), out[low - begin:high - begin])
        return out

    def _take(self, block: _Block, field: Field, rows: slice, out: Array) -> None:
        offsets, shapes = block.offset[rows], block.shape[rows]
        for number in block.sorts:
            shape = self.index.shapes[number]
            place = shape.places.get(field.name)
            there: slice | Integers = slice(None) if len(block.sorts) == 1 else np.flatnonzero(shapes == number)
            begins = offsets[there]
            if place is None or not begins.size:
                continue
            values = self._values(block.data, begins + place.offset - self._cut_before(shape, place), field, place)
            out[(there, *map(slice, place.counts))] = values

    def _values(self, data: bytes, offsets: Integers, field: Field, place: Place) -> Array:
        """The values that begin at these places, (offset, ...)."""
        code = self.header.order + CODES[field.type]
        steps = np.diff(offsets)
        if steps.size == 0 or (steps == steps[0]).all():
            step = int(steps[0]) if steps.size else 0
            values: Array = np.ndarray((offsets.size, *place.counts), code, data, int(offsets[0]), (step, *place.steps))
        else:
            span = place.end - place.offset + field.size
            flat = np.frombuffer(data, np.uint8)
            windows = np.lib.stride_tricks.as_strided(flat, (flat.size - span + 1, span), (1, 1), writeable=False)
            picked = np.ascontiguousarray(windows[offsets])
            values = np.ndarray((offsets.size, *place.counts), code, picked, 0, (span, *place.steps))
        if field.type != "int1":
            return values
        small: Array = values.astype(np.int16)
        small[values == 255] = -1
        return small

    def _span(self, shape: Shape) -> tuple[int, int]:
        """From where to where in a record the spectrum is that blocks leave out."""
        place = shape.places.get(self.header.spectrum) if self._long else None
        return (place.offset, place.offset + 4 * place.counts[0]) if place else (shape.length, shape.length)

    def _cut_before(self, shape: Shape, place: Place) -> int:
        low, high = self._span(shape)
        return high - low if place.offset >= high else 0

    def _blocks(self, begin: int, end: int) -> Iterator[_Block]:
        """The blocks that hold these pixels."""
        for number in range(begin // self._records, -(-end // self._records) if end > begin else 0):
            yield self._kept.get(number) or self._load(number)

    def _load(self, number: int) -> _Block:
        begin = number * self._records
        offset, shape = self.index.records(begin, min(self.pixels, begin + self._records))
        lengths = np.array([s.length for s in self.index.shapes])[shape]
        cuts = np.array([self._span(s) for s in self.index.shapes])[shape]
        with self._open() as descriptor:
            data = self._without_spectra(descriptor, offset, lengths, cuts)
        kept = lengths - (cuts[:, 1] - cuts[:, 0])
        block = _Block(begin, data, np.cumsum(kept) - kept, shape, np.unique(shape).tolist())
        if not self.index.verified:
            self._verify(begin, data, int(kept[0]), int(lengths[0]), len(offset))
        return self._kept.put(number, block, len(data))

    def _without_spectra(self, descriptor: int, offset: Integers, lengths: Integers, cuts: Integers) -> bytes:
        """Neighbouring records; what lies between the spectra of two of them is read at once."""
        if not self._long:
            return self._pread(descriptor, int(offset[-1] + lengths[-1] - offset[0]), int(offset[0]))
        ends = offset[-1] + lengths[-1]
        begins = np.append(offset[0], offset + cuts[:, 1])
        counts = np.append(offset + cuts[:, 0], ends) - begins
        return b"".join([self._pread(descriptor, count, begin)
                         for begin, count in zip(begins.tolist(), counts.tolist()) if count])

    def _verify(self, begin: int, data: bytes | bytearray, step: int, length: int, count: int) -> None:
        """Looks at the markers of records of a large file. `step`: from one to the next in `data`."""
        words: list[Array] = [np.ndarray((count,), self.header.order + "i4", data, at, (step,)) for at in (0, step - 4, 4)]
        wrong = np.flatnonzero((words[0] != self.header.marker) | (words[1] != self.header.marker)
                               | (words[2] == self.header.marker))
        if wrong.size:
            offset = self.header.length + (begin + int(wrong[0])) * length
            raise FormatError(self.path, offset, f"a record of {length} bytes, as all the others that were looked at "
                              "when the file was opened (it may be sound: open it with index=True)")
        self._verified[begin:begin + count] = True

    # Spectra.

    def read_spectrum(self, begin: int, end: int, channels: slice | Integers, mask: bool) -> npt.NDArray[np.float32]:
        """Values of the spectrum.

        Parameters
        ----------
        begin, end
            Pixels from `begin` to before `end`.
        channels
            Indices of the header's channels.
        mask
            Missing values, and temperatures that are not above 0 K, become NaN.

        Returns
        -------
        numpy.ndarray
            float32 (pixel, channel).
        """
        wanted = np.arange(self.header.channels.size)[channels]
        out = np.empty((end - begin, wanted.size), np.float32)
        if not all(shape.places and shape.selected is None for shape in self.index.used()):
            out[:] = 0 if self.header.brightness_temperature else -777
        with self._open() as descriptor:
            for low, high, shape in self._runs(begin, end):
                rows = out[low - begin:high - begin]
                columns, positions = self._positions(shape, wanted)
                if positions.size:
                    self._run_of_spectra(descriptor, low, shape, columns, positions, mask, rows)
                else:
                    self._finish(rows, mask)
        return out

    def _runs(self, begin: int, end: int) -> Iterator[tuple[int, int, Shape]]:
        """Pixels that follow one another in one run."""
        index = self.index
        run = int(np.searchsorted(index.first, begin, "right")) - 1
        while begin < end:
            stop = min(end, int(index.first[run + 1]) if run + 1 < index.first.size else index.count)
            shape = index.shapes[index.shape[run]]
            yield begin, stop, shape
            begin, run = stop, run + 1

    def _positions(self, shape: Shape, wanted: Integers) -> tuple[slice | Integers, Integers]:
        """Which columns of the result the records have, and where in their spectra these are."""
        if not shape.places:
            return slice(0, 0), wanted[:0]
        if shape.selected is None:
            return slice(None), wanted
        place = np.minimum(np.searchsorted(shape.selected, wanted), max(0, shape.selected.size - 1))
        there = np.flatnonzero(shape.selected[place] == wanted) if shape.selected.size else wanted[:0]
        return there, place[there]

    def _run_of_spectra(self, descriptor: int, begin: int, shape: Shape, columns: slice | Integers,
                        positions: Integers, mask: bool, out: npt.NDArray[np.float32]) -> None:
        """Fills the columns of `out` from as many equal records as it has rows."""
        start = self.place(begin)
        low, high = int(positions.min()), int(positions.max()) + 1
        first = shape.places[self.header.spectrum].offset + 4 * low
        straight = isinstance(columns, slice) and positions.size == high - low and bool((np.diff(positions) == 1).all())
        if straight and 8 * (high - low) > shape.length:
            self._straight(descriptor, begin, start, shape.length, first, mask, out)
            return
        # Parts of records are read one by one when they are small beside the records.
        parts = np.split(np.arange(positions.size), np.flatnonzero(np.diff(positions) * 4 > FAR) + 1)
        whole = shape.length <= LONG or len(parts) * FAR > shape.length
        chunk = max(1, CHUNK // shape.length) if whole else BLOCK_RECORDS
        for row in range(0, len(out), chunk):
            rows, offset = out[row:row + chunk], start + row * shape.length
            if whole:
                rows[:, columns] = self._whole(descriptor, begin + row, offset, shape.length, first, len(rows), high - low
                                               )[:, positions - low]
            else:
                self._verify_only(descriptor, begin + row, offset, shape.length, len(rows))
                for part in parts:
                    self._sparse(descriptor, offset + first - 4 * low, shape.length, positions[part], rows,
                                 np.arange(out.shape[1])[columns][part])
            self._finish(rows, mask)

    def _whole(self, descriptor: int, begin: int, offset: int, step: int, first: int, count: int, values: int) -> Array:
        """Neighbouring channels, (record, channel), of equal records that are read as a whole."""
        data = self._pread(descriptor, count * step, offset)
        if not self.index.verified:
            self._verify(begin, data, step, step, count)
        return self._spectra(data, count, first, step, values)

    def _verify_only(self, descriptor: int, begin: int, offset: int, step: int, count: int) -> None:
        """Looks at the markers of equal records of which only parts are read, when that has not been done."""
        if self.index.verified or self._verified[begin:begin + count].all():
            return
        # The end of the record in front, the marker, and the number behind it; at last the end of the last record.
        words = [self._pread(descriptor, 12, place - 4) for place in range(offset, offset + count * step, step)]
        words.append(self._pread(descriptor, 4, offset + count * step - 4))
        self._verify(begin, b"".join(words)[4:], 12, step, count)

    def _spectra(self, data: bytes, count: int, offset: int, step: int, values: int) -> Array:
        return np.ndarray((count, values), self.header.order + "f4", data, offset, (step, 4))

    def _sparse(self, descriptor: int, offset: int, step: int, positions: Integers, out: npt.NDArray[np.float32],
                columns: Integers) -> None:
        """Reads only the part of each spectrum that is wanted. `offset`: of the first spectrum."""
        low, high = int(positions.min()), int(positions.max()) + 1
        span, first = 4 * (high - low), offset + 4 * low
        data = b"".join([self._pread(descriptor, span, first + i * step) for i in range(len(out))])
        out[:, columns] = self._spectra(data, len(out), 0, span, high - low)[:, positions - low]

    def _straight(self, descriptor: int, begin: int, offset: int, step: int, low: int, mask: bool,
                  out: npt.NDArray[np.float32]) -> None:
        """Neighbouring channels of whole records, right into `out`."""
        def look(first: int, rows: Array, rest: bytearray) -> None:
            if not self.index.verified:
                self._verify(begin + first, rest, step - 4 * out.shape[1], step, len(rows))
            if self.header.order == ">":
                rows.byteswap(inplace=True)
            self._finish(rows, mask)

        try:
            read_rows(descriptor, offset, step, low, out, look)
        except EOFError as error:
            raise FormatError(self.path, offset + error.args[0] * step, f"a record of {step} bytes, the file ends"
                              ) from None

    def _finish(self, rows: npt.NDArray[np.float32], mask: bool) -> None:
        if not mask:
            return
        missing = rows <= 0 if self.header.brightness_temperature else rows == -777
        if missing.any():
            bits = rows.view(np.int32)
            bits |= np.multiply(missing, NAN, dtype=np.int32)
