"""Records as text: a binary file as ``vex -of txt`` would have written it, and columns of chosen pixels."""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator, Sequence
from typing import BinaryIO

import numpy as np
import numpy.typing as npt

from ..reading.binary import BinaryFile
from ..reading.columns import Column, columns, header_names, positions, unique_names
from ..errors import FormatError, no_field
from ..reading.layout import Block
from ..reading.opening import open_file
from ..reading.structure import sort_of
from ..reading.text import TextFile
from ..reading.variables import TIME_FIELDS, VexFile

Values = npt.NDArray[np.float64]

#: Values that are printed together.
BLOCK = 1 << 20
#: Bytes that are copied at once.
CHUNK = 1 << 20
#: The most pixels that are printed together.
PIXELS = 1024
DAY_VERSION = "day_version"
#: Versions of the archive in which fields are lacking.
DAY_ONE = (0, 1)


def dump(path: str, out: BinaryIO, pixels: Sequence[int] | None = None, fields: Sequence[str] | None = None) -> None:
    """Prints the records of a file.

    Parameters
    ----------
    path
        A binary or text file; or one of statistics, of which all is printed.
    out
        Where lines go, the first of which names the columns.
    pixels
        Those to print, in this order. None: all.
    fields
        Names of variables, of all columns of which the values are printed, or of columns; ``time`` is all that make up
        the time. None: all, in lines as vex writes them. With fields all lines have the same columns, some empty where
        a record has fewer layers or levels or no content, and names of columns that repeat have a number as in
        `vexfile.read_table`.

    Raises
    ------
    FormatError
        The file is damaged, cut short, or not of vex.
    ValueError
        It has no such pixel or field.
    """
    if sort_of(path) == "statistics":
        if pixels is not None or fields is not None:
            raise ValueError(f"{path}: pixels and fields cannot be chosen of statistics")
        from ..statistics.files import read_statistics
        read_statistics(path)
        _copy(path, out)
        return
    file = open_file(path)
    if isinstance(file, TextFile) and pixels is None and fields is None:
        _copy(path, out)
        return
    grows = fields is not None and any(block.extra for block in file.header.blocks)
    if grows or max(pixels or [0]) >= file.pixels:  # all records tell the columns, and how many pixels there are
        file = open_file(path, index=True)
    out.write("\t".join(header_names(file.header) if fields is None else choose(file, fields)).encode() + b"\n")
    _print(file, fields, None if pixels is None else _runs(file, pixels), out)


def _print(file: VexFile, fields: Sequence[str] | None, runs: list[tuple[int, int]] | None, out: BinaryIO) -> None:
    """Prints the lines of runs of pixels; None: of all."""
    wanted = [(0, file.pixels)] if runs is None else runs
    done = 0
    try:
        for count, text in _printed(file, fields, wanted):
            out.write(text)
            done += count
    except FormatError:
        file = open_file(file.path, index=True)  # a large file may have other records than the few that were looked at
        wanted = [(0, file.pixels)] if runs is None else runs
        for _, text in _printed(file, fields, _behind(wanted, done)):
            out.write(text)


def _behind(runs: Iterable[tuple[int, int]], count: int) -> Iterator[tuple[int, int]]:
    """What is left of runs behind so many pixels."""
    for begin, end in runs:
        yield min(begin + count, end), end
        count = max(0, count - (end - begin))


def _printed(file: VexFile, fields: Sequence[str] | None,
             runs: Iterable[tuple[int, int]]) -> Iterator[tuple[int, bytes]]:
    """Numbers of pixels, and their lines."""
    chosen = columns(file) if fields is None else list(choose(file, fields).values())
    printer = _Printer(file, chosen, fields is not None)
    for begin, end in runs:
        for low in range(begin, end, printer.step):
            high = min(end, low + printer.step)
            yield high - low, "".join(printer.lines(low, high)).encode("latin-1")


def _copy(path: str, out: BinaryIO) -> None:
    with open(path, "rb") as file:
        while data := file.read(CHUNK):
            out.write(data)


def choose(file: VexFile, fields: Iterable[str]) -> dict[str, Column]:
    """The columns of fields by their unique names, in the order of the fields."""
    chosen: dict[str, Column] = {}
    found = columns(file)
    names = unique_names(found)
    for name in fields:
        wanted = TIME_FIELDS if name == "time" else (name,)
        there = [i for one in wanted for i, column in enumerate(found) if _variable(file, column) == one]
        if not there and name not in names:
            raise ValueError(f"{file.path}: {no_field(name, [*(_variable(file, column) for column in found), *names])}")
        chosen |= {names[i]: found[i] for i in there or [names.index(name)]}
    return chosen


def _variable(file: VexFile, column: Column) -> str:
    temperature = column.spectrum and file.header.brightness_temperature
    return "brightness_temperature" if temperature else column.field.name


def _runs(file: VexFile, pixels: Sequence[int]) -> list[tuple[int, int]]:
    """Pixels that follow one another, each with the one behind the last."""
    runs: list[tuple[int, int]] = []
    for pixel in pixels:
        if not 0 <= pixel < file.pixels:
            raise ValueError(f"{file.path}: no pixel {pixel}; there are {file.pixels}, counted from 0")
        if runs and runs[-1][1] == pixel:
            runs[-1] = (runs[-1][0], pixel + 1)
        else:
            runs.append((pixel, pixel + 1))
    return runs


class _Printer:
    """Makes lines of some columns; `alike`: all of them with the same columns."""

    def __init__(self, file: VexFile, chosen: Sequence[Column], alike: bool) -> None:
        self.file, self.chosen, self.alike = file, chosen, alike
        self.empty = "\t" * (len(chosen) - 1) * alike + "\n"  # the line of a record without content
        widest = max((shape.length for shape, _ in file.sorts()), default=1) if file.header.text else len(chosen)
        self.step = max(1, min(PIXELS, BLOCK // widest))
        fields = {column.field.name: column.field for column in chosen}
        self.places = {name: [i for i, column in enumerate(chosen) if column.field.name == name] for name in fields}
        self.forms: dict[tuple[int, bool], tuple[list[str], list[int]]] = {}
        self.old = any(field.day_one is not None for field in fields.values())

    def lines(self, begin: int, end: int) -> list[str]:
        """The lines of the pixels from `begin` to before `end`."""
        lines = [self.empty] * (end - begin)
        file = self.file
        found = self.of_text(file, begin, end) if isinstance(file, TextFile) else self.of_binary(file, begin, end)
        for row, line in found:
            lines[row] = line
        return lines

    def of_text(self, file: TextFile, begin: int, end: int) -> Iterator[tuple[int, str]]:
        for shape, pixels, lines in file.lines(begin, end):
            places = positions(self.chosen, shape).tolist() if self.alike else []
            for row, line in zip((pixels - begin).tolist(), lines):
                text = line.decode("latin-1")
                if self.alike:
                    parts = [*text[:-1].split("\t"), ""]
                    text = "\t".join([parts[place] for place in places]) + "\n"  # -1: none
                yield row, text

    def of_binary(self, file: BinaryFile, begin: int, end: int) -> Iterator[tuple[int, str]]:
        sorts = file.index.records(begin, end)[1]
        old = np.isin(file.read(DAY_VERSION, begin, end), DAY_ONE) if self.old else np.full(end - begin, False)
        values = self.values(file, begin, end)
        for sort, day_one in {*zip(sorts.tolist(), old.tolist())}:
            if not file.index.shapes[sort].places:
                continue
            forms, held = self.forms.get((sort, day_one)) or self.make_forms(file, sort, day_one)
            rows = np.flatnonzero((sorts == sort) & (old == day_one))
            yield from zip(rows.tolist(), _formatted(forms, held, values[rows]))

    def make_forms(self, file: BinaryFile, sort: int, day_one: bool) -> tuple[list[str], list[int]]:
        """What the columns of one sort of records are printed by, and which of them have a value."""
        there = positions(self.chosen, file.index.shapes[sort]) >= 0
        forms, held = [], []
        for i, column in enumerate(self.chosen):
            field = column.field
            if there[i] or field.type == "text":
                fixed = field.day_one if day_one else None
                forms.append(("%g" if field.text == "real" else "%d") if fixed is None else fixed)
                held += [i] * (fixed is None)
            elif self.alike:
                forms.append("")
        self.forms[sort, day_one] = forms, held
        return forms, held

    def values(self, file: BinaryFile, begin: int, end: int) -> Values:
        """The values of the columns as text has them, (pixel, column)."""
        values = np.empty((end - begin, len(self.chosen)))
        for name, places in self.places.items():
            column = self.chosen[places[0]]
            index = np.array([self.chosen[place].index for place in places], np.int64).T
            if column.spectrum:
                values[:, places] = file.read_spectrum(begin, end, index[0], False)
            elif column.field.type == "text":
                values[:, places] = _of_header(file, name)
            else:
                found = file.read(name, begin, end)
                values[:, places] = found[(slice(None), *index)] if index.size else found[:, None]
        for block in file.header.blocks:
            self.put_missing_forms(file, block, begin, end, values)
        return values

    def put_missing_forms(self, file: BinaryFile, block: Block, begin: int, end: int, values: Values) -> None:
        """Products without a pixel may stand in binary and in text as different numbers."""
        fields = [row for group in block.groups if not block.spectrum for row in (*group.fields, *group.inner)]
        differing = [row for row in fields if row.missing != row.missing_text and row.name in self.places]
        if not differing:
            return
        missing = np.full(end - begin, True)
        for row in fields:
            missing &= (file.read(row.name, begin, end) == row.missing).reshape(end - begin, -1).all(axis=1)
        for row in differing:
            values[np.ix_(missing, np.array(self.places[row.name]))] = row.missing_text


def _of_header(file: BinaryFile, name: str) -> int:
    """What each line of a text file has and a binary one in its header."""
    if name == "tb":
        return int(file.header.brightness_temperature) if file.header.l1c else -1
    return file.header.satellite


def _formatted(forms: list[str], held: list[int], values: Values) -> Iterator[str]:
    """Lines of rows. `held`: the columns of which there are values in the forms."""
    form = "\t".join(forms) + "\n"
    part = values[:, held] if len(held) < values.shape[1] else values
    negative = np.isnan(part) & np.signbit(part)
    for row, odd in zip(part, negative.any(axis=1)):
        line = form % tuple(row.tolist())
        yield _with_signs(line, row) if odd else line


def _with_signs(line: str, row: Values) -> str:
    """Python prints a negative nan without its sign."""
    negative = iter(np.signbit(row[np.isnan(row)]).tolist())
    return re.sub(r"\bnan\b", lambda found: "-nan" if next(negative) else "nan", line)
