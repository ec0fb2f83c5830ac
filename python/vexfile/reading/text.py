"""Values of text files, read when they are asked for.

When a file is opened its lines are counted and the columns of each. Memory: 9 bytes a line, a few MB that are read at
once, the columns of the last lines (64 MB at most), and the result.
"""

from __future__ import annotations

import contextlib
import io
import os
import re
import sys
from collections.abc import Iterator
from dataclasses import replace
from typing import Any

import numpy as np
import numpy.typing as npt

from .binary import TYPES
from ..errors import FormatError
from .header import Header, read_text_header
from .index import EMPTY
from .kept import Kept
from .shapes import Choice, Place, Shape, channel_selections, extra_blocks, make_shape
from .structure import is_text

Array = npt.NDArray[Any]
Integers = npt.NDArray[np.int64]

#: What is read at once, bytes.
CHUNK = 1 << 22
#: Files up to this size are parsed without pandas, bytes.
SMALL = 1 << 20
#: The longest line that names columns, bytes.
LONGEST_HEADER = 1 << 26
#: What numbers of a text file, inf and nan among them, and what is between them consist of.
PRINTED = b"0123456789+-.einfa\t\n"
STRANGE = re.compile(b"[^%s]" % re.escape(PRINTED))
#: The largest integer.
LARGEST = (1 << 31) - 1
#: Lines of more bytes are looked at one by one.
LONG = 1 << 13
#: Lines whose columns, those of the spectrum excepted, are kept together.
LINES = 512


def has_no_line(path: str) -> bool:
    """Whether a file is a text file of vex with the names of its columns and nothing else."""
    with open(path, "rb") as file:
        return is_text(file.readline(LONGEST_HEADER)) and not file.read(1)


class TextFile:
    """A text file of vex.

    Parameters
    ----------
    path
        The file. It is open only while it is read.

    Attributes
    ----------
    header : Header
    pixels : int
        Number of records: of lines behind the first one.
    """

    def __init__(self, path: str) -> None:
        self.path = path
        with open(path, "rb") as file:
            status = os.fstat(file.fileno())
            self._stamp = (status.st_size, status.st_mtime_ns)
            head = file.readline(LONGEST_HEADER)
            if not is_text(head):
                raise FormatError(path, 0, "the columns of a text file of vex")
            self.header: Header = read_text_header(path, head)
            self._offsets, columns = _lines(path, file, len(head))
        self.pixels = len(columns)
        self.shapes, self._shape = self._sorts(columns)
        self._kept: Kept[dict[int, tuple[Integers, Array]]] = Kept()
        if self._shape.any():
            pixel = int(np.flatnonzero(self._shape)[0])  # the first one with content
            satellite, tb = (self._first(name, pixel) for name in ("satellite", "tb"))
            self.header = replace(self.header, satellite=satellite, brightness_temperature=tb == 1)

    @property
    def size(self) -> int:
        """Bytes of the file."""
        return self._stamp[0]

    def _sorts(self, columns: npt.NDArray[np.int32]) -> tuple[list[Shape], npt.NDArray[np.uint8]]:
        """The sorts of lines, and of each line the one that it is of."""
        error: FormatError | None = None
        lacking = self._lacking(columns)
        for shapes in self._ideas(columns, lacking):
            sort = np.zeros(columns.size, np.uint8)
            known = columns == 0
            for number, shape in enumerate(shapes[1:], 1):
                fit = ~known & (columns == shape.length)
                if lacking is not None:
                    fit &= lacking == (shape.selected is None)
                sort[fit], known = number, known | fit
            wrong = np.flatnonzero(~known)
            if not wrong.size:
                return shapes, sort
            found = FormatError(self.path, int(self._offsets[wrong[0]]),
                                f"a line of {shapes[1].length} columns, found {columns[wrong[0]]}")
            error = error if error and error.offset >= found.offset else found
        assert error is not None
        raise error

    def _ideas(self, columns: npt.NDArray[np.int32],
               lacking: npt.NDArray[np.bool_] | None) -> Iterator[list[Shape]]:
        """Sets of sorts that the lines may be of."""
        named = self.header.channels.size
        extras = list(extra_blocks(self.header.blocks))
        hidden = 0
        if lacking is not None and lacking.any():
            hidden = self._hidden(int(lacking.argmax()), int(columns[lacking.argmax()]))
        for selected in channel_selections(self.header.channels):
            counts: list[tuple[int, npt.NDArray[np.intp] | None]] = [(named + hidden, None)]
            if lacking is not None:
                counts.append((named, np.arange(named)) if selected is None else (selected.size, selected))
            yield [EMPTY] + [make_shape(self.header, Choice(e, *count)) for count in counts for e in extras]

    def _usual(self) -> list[int]:
        """Columns that lines have when all channels have a name and a value."""
        return [make_shape(self.header, Choice(extra, self.header.channels.size)).length
                for extra in extra_blocks(self.header.blocks)]

    def _lacking(self, columns: npt.NDArray[np.int32]) -> npt.NDArray[np.bool_] | None:
        """Which lines lack their L1C pixel; None where that makes no difference."""
        if channel_selections(self.header.channels)[0] is None and set(np.unique(columns)) <= {0, *self._usual()}:
            return None
        lacking = np.zeros(columns.size, bool)
        if self.header.l1c:
            place = make_shape(self.header, Choice(frozenset(), 0)).places["day_version"].offset
            for number in np.flatnonzero(columns > place).tolist():
                lacking[number] = self._line(number)[place] == b"-1"
        return lacking

    def _line(self, number: int) -> list[bytes]:
        with open(self.path, "rb") as file:
            file.seek(self._offsets[number])
            return file.readline().rstrip(b"\n").split(b"\t")

    def _first(self, name: str, number: int) -> int:
        """An integer of a line, without pandas, which takes half a second to import."""
        text = self._line(number)[self.shapes[self._shape[number]].places[name].offset]
        return int(text) if re.fullmatch(rb"-?\d{1,9}", text) else int(self.read(name, number, number + 1)[0])

    def _hidden(self, number: int, columns: int) -> int:
        """Channels without a name of a line that lacks its L1C pixel, those of ranges that begin below 0: it has a
        missing value for each of them, too."""
        place = make_shape(self.header, Choice(frozenset(), 0)).places[self.header.spectrum].offset
        values = self._line(number)[place:]
        missing = b"0" if b"0" in values[:1] else b"-777"
        equal = next((i for i, value in enumerate(values) if value != missing), len(values))
        return max((columns - usual for usual in self._usual() if columns - usual <= equal - self.header.channels.size),
                   default=0)

    def counts(self, name: str) -> tuple[int, ...]:
        """Values of a field in each of its dimensions, in the line that has most."""
        used = [self.shapes[i] for i in np.unique(self._shape)]
        places = [shape.places[name] for shape in used if name in shape.places] or [self.shapes[1].places[name]]
        return tuple(max(place.counts[i] for place in places) for i in range(len(places[0].counts)))

    def read(self, name: str, begin: int, end: int) -> Array:
        """Values of a field as they stand in the file; see `BinaryFile.read`. An empty column is the missing value."""
        field = self.header.fields[name]
        kind = TYPES.get(field.type, np.dtype("i4"))
        out = np.full((end - begin, *self.counts(name)), field.missing_text, kind)
        for number in range(begin // LINES, -(-end // LINES) if end > begin else 0):
            low = number * LINES
            for sort, (rows, values) in (self._kept.get(number) or self._load(number)).items():
                there = (rows + low >= begin) & (rows + low < end)
                place = self.shapes[sort].places.get(name)
                if place is None or not there.any():
                    continue
                place = self._without_spectrum(self.shapes[sort], place)
                picked = values[there][:, _columns(place)]
                if kind.kind == "i":
                    self.refuse_fractions(rows[there] + low, picked)
                    picked = np.where(np.isfinite(picked), picked, field.missing_text)
                out[(rows[there] + low - begin, *(slice(count) for count in place.counts))] = picked
        return out

    def _without_spectrum(self, shape: Shape, place: Place) -> Place:
        spectrum = shape.places.get(self.header.spectrum)
        behind = spectrum and place.offset > spectrum.offset
        return replace(place, offset=place.offset - spectrum.counts[0]) if spectrum and behind else place

    def _load(self, number: int) -> dict[int, tuple[Integers, Array]]:
        """All columns of a block of lines but the spectra: of each sort of lines the rows and their values."""
        begin = number * LINES
        found = {}
        for sort, rows, lines in self._lines_of(begin, min(self.pixels, begin + LINES)):
            shape = self.shapes[sort]
            spectrum = shape.places.get(self.header.spectrum)
            wanted = np.arange(shape.length)
            if spectrum:
                wanted = np.delete(wanted, slice(spectrum.offset, spectrum.offset + spectrum.counts[0]))
            found[sort] = (rows, self._parse(lines, begin + rows, shape.length, wanted))
        return self._kept.put(number, found, sum(values.nbytes for _, values in found.values()))

    def sorts(self) -> list[tuple[Shape, int]]:
        """The sorts of lines that the file has, and how many lines are of each."""
        return [(self.shapes[sort], int(count)) for sort, count in zip(*np.unique(self._shape, return_counts=True))]

    def lines(self, begin: int, end: int) -> Iterator[tuple[Shape, Integers, list[bytes]]]:
        """The lines from `begin` to before `end` that have content: of each sort that sort, the pixels and the lines."""
        for sort, rows, lines in self._lines_of(begin, end):
            yield self.shapes[sort], rows + begin, lines

    def tables(self, begin: int, end: int) -> Iterator[tuple[Shape, Integers, Array]]:
        """The same, with all columns as float64 (line, column) in place of lines; an empty column is NaN."""
        for shape, pixels, lines in self.lines(begin, end):
            yield shape, pixels, self.table(shape, pixels, lines)

    def table(self, shape: Shape, pixels: Integers, lines: list[bytes]) -> Array:
        """All columns of lines of one sort as float64 (line, column); an empty column is NaN."""
        return self._parse(lines, pixels, shape.length, np.arange(shape.length))

    def place(self, pixel: int) -> int:
        """Where the line of a pixel begins, bytes."""
        return int(self._offsets[pixel])

    def _lines_of(self, begin: int, end: int) -> Iterator[tuple[int, Integers, list[bytes]]]:
        """Sorts, rows (from `begin`) and contents of lines."""
        first, last = int(self._offsets[begin]), int(self._offsets[end])
        with open(self.path, "rb") as file:
            status = os.fstat(file.fileno())
            if (status.st_size, status.st_mtime_ns) != self._stamp:
                raise FormatError(self.path, min(status.st_size, self.size), "the file as it was when it was opened")
            file.seek(first)
            data = file.read(last - first)
        bounds = (self._offsets[begin:end + 1] - first).tolist()
        for sort in np.unique(self._shape[begin:end]):
            rows = np.flatnonzero(self._shape[begin:end] == sort)
            if self.shapes[sort].places:
                yield int(sort), rows, [data[bounds[row]:bounds[row + 1]] for row in rows.tolist()]

    def _parse(self, lines: list[bytes], numbers: Integers, columns: int, wanted: Integers) -> Array:
        """Columns of equal lines as float64 (line, column); an empty one is NaN."""
        data = b"".join(lines)
        if data.translate(None, PRINTED):
            raise self._no_number(lines, numbers)
        if self.size <= SMALL and "pandas" not in sys.modules:  # which takes longer to import than this to parse
            with contextlib.suppress(ValueError):  # of empty columns
                return np.loadtxt(io.BytesIO(data), np.float64, None, "\t", usecols=wanted.tolist(), ndmin=2)
        import pandas
        try:
            table = pandas.read_csv(io.BytesIO(data), sep="\t", header=None, names=range(columns),
                                    usecols=wanted.tolist(), dtype=np.float64, na_values=["", "nan", "-nan"],
                                    keep_default_na=False, quoting=3, skip_blank_lines=False)
            if len(table) == len(lines):
                return np.asarray(table.to_numpy(), np.float64)
        except ValueError:
            pass
        raise self._no_number(lines, numbers)

    def _no_number(self, lines: list[bytes], numbers: Integers) -> FormatError:
        for line, number in zip(lines, numbers.tolist()):
            place = int(self._offsets[number])
            if strange := STRANGE.search(line):
                return FormatError(self.path, place + strange.start(), f"a number, found {strange[0].decode('latin-1')!r}")
            for text in line[:-1].split(b"\t"):
                try:
                    float(text or b"0")
                except ValueError:
                    return FormatError(self.path, place, f"a number, found {text[:20].decode('ascii')!r}")
                place += len(text) + 1
        return FormatError(self.path, int(self._offsets[numbers[0]]), "lines of numbers")

    def refuse_fractions(self, pixels: Integers, values: Array) -> None:
        """Raises FormatError for what is not an integer of 32 bits, nor inf or nan, in values (pixel, ...)."""
        wrong = np.isfinite(values) & ((values != np.floor(values)) | (np.abs(values) > LARGEST))
        if wrong.any():
            row = int(wrong.reshape(len(values), -1).any(axis=1).argmax())
            raise FormatError(self.path, self.place(int(pixels[row])), f"integers of 32 bits, found {values[wrong][0]:g}")

    def read_spectrum(self, begin: int, end: int, channels: slice | Integers, mask: bool) -> npt.NDArray[np.float32]:
        """Values of the spectrum, float32 (pixel, channel); see `BinaryFile.read_spectrum`."""
        wanted = np.arange(self.header.channels.size)[channels]
        missing = 0 if self.header.brightness_temperature else -777
        out = np.full((end - begin, wanted.size), missing, np.float32)
        step = max(1, CHUNK * (end - begin) // max(1, int(self._offsets[end] - self._offsets[begin])))
        for low in range(begin, end, step):
            for sort, rows, lines in self._lines_of(low, min(end, low + step)):
                shape = self.shapes[sort]
                place = shape.places[self.header.spectrum]
                there = wanted if shape.selected is None else np.searchsorted(shape.selected, wanted)
                held = np.full(wanted.size, True) if shape.selected is None else np.isin(wanted, shape.selected)
                unique, back = np.unique(there[held], return_inverse=True)
                if unique.size:
                    values = self._parse(lines, low + rows, shape.length, place.offset + unique)
                    out[np.ix_(rows + low - begin, np.flatnonzero(held))] = values[:, back]
        if mask:
            out[out <= 0 if self.header.brightness_temperature else out == -777] = np.nan
        return out


def _columns(place: Place) -> Integers:
    """The columns of a field, of the shape of its dimensions."""
    columns = np.array(place.offset)
    for step, count in zip(place.steps, place.counts):
        columns = columns[..., None] + step * np.arange(count)
    return columns


def _lines(path: str, file: io.BufferedReader, begin: int) -> tuple[Integers, npt.NDArray[np.int32]]:
    """Where each line begins (and the last one ends), and the number of its columns, 0 of an empty line."""
    ends, tabs, place, seen = [np.array([begin])], [np.array([0])], begin, 0
    while data := file.read(CHUNK):
        block = np.frombuffer(data, np.uint8)
        breaks = np.flatnonzero(block == 10)
        there, count = _tabs_before(block == 9, breaks)
        ends.append(breaks + place + 1)
        tabs.append(there + seen)
        seen += count
        place += block.size
    offsets = np.concatenate(ends)
    if offsets[-1] != place:
        raise FormatError(path, place, "the end of a line, the file ends")
    columns = np.diff(np.concatenate(tabs)) + 1
    columns[np.diff(offsets) == 1] = 0
    return offsets, columns.astype(np.int32)


def _tabs_before(tabs: npt.NDArray[np.bool_], breaks: Integers) -> tuple[Integers, int]:
    """The tabs of a block before each of its breaks, and all of them."""
    if breaks.size * LONG > tabs.size:
        places = np.flatnonzero(tabs)
        return np.searchsorted(places, breaks), places.size
    counts = [np.count_nonzero(part) for part in np.split(tabs, breaks)]
    return np.cumsum(counts[:-1], dtype=np.int64), sum(counts)
