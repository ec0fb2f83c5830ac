"""Files joined into one."""

from __future__ import annotations

import os
from collections.abc import Callable, Sequence
from typing import BinaryIO

import numpy as np

from ..reading.binary import BinaryFile
from ..errors import FormatError
from ..reading.header import Header
from ..reading.index import make_index
from .inspecting import check_numbers
from ..reading.opening import open_file
from ..reading.text import TextFile
from ..reading.variables import VexFile
from ..writing import replacing

#: Bytes that are copied at once.
CHUNK = 1 << 20
#: Where a binary file has its satellite identifier, and how long that is.
SATELLITE = slice(9, 13)

#: What records have in common, in words; without the numbers of channels.
WORDS: tuple[Callable[[Header], str], ...] = (
    lambda header: "text" if header.text else "binary",
    lambda header: "L1C" if header.l1c else "no L1C",
    lambda header: "imager data" if header.avhrr else "no imager data",
    lambda header: "products " + (" ".join(header.kinds) or "none"),
)


def _unit(header: Header) -> str:
    return "brightness temperatures" if header.brightness_temperature else "radiances"


def _order(header: Header) -> str:
    return "big-endian" if header.big_endian else "little-endian"


def difference(one: VexFile, other: VexFile) -> str:
    """The first difference between what records of two files have, in words; empty when there is none."""
    for word in (*WORDS, *([_unit] if _tell_unit(one) and _tell_unit(other) else [])):
        if word(one.header) != word(other.header):
            return f"{word(other.header)} in place of {word(one.header)}"
    mine, theirs = one.header.channels, other.header.channels
    if mine.size != theirs.size:
        return f"{theirs.size} channels in place of {mine.size}"
    differ = np.flatnonzero(mine != theirs)
    return f"channel {theirs[differ[0]]} in place of {mine[differ[0]]}" if differ.size else ""


def _tell_unit(file: VexFile) -> bool:
    """A text file has the unit of spectra in its lines."""
    return file.pixels > 0 or not file.header.text


def join(paths: Sequence[str], out: str, force: bool = False) -> int:
    """Joins the records of files of equal headers.

    Each file is verified while it is copied. Binary headers may differ in their satellite when one is of a run that
    read nothing; the result has the one that is known. Text files may be of several satellites.

    Parameters
    ----------
    paths
        Binary files, or text files.
    out
        The file to write.
    force
        Replace it if it is there.

    Returns
    -------
    int
        Number of records.

    Raises
    ------
    FormatError
        One of them is damaged, cut short, or not of vex.
    ValueError
        Headers differ, or `out` is one of the files.
    """
    pixels = 0
    with replacing(out, force, paths) as part, open(part, "wb", buffering=0) as target:
        reference = open_file(paths[0])
        _copy(paths[0], 0, reference.header.length, target)
        for path in paths:
            file = open_file(path)
            refuse_other(reference, file)
            pixels += _append_text(file, target) if isinstance(file, TextFile) else _append_binary(file, target)
            reference = max(reference, file, key=_known)
        if isinstance(reference, BinaryFile):
            with open(reference.path, "rb") as known:
                os.pwrite(target.fileno(), known.read(SATELLITE.stop)[SATELLITE], SATELLITE.start)
    return pixels


def _known(file: VexFile) -> tuple[bool, bool]:
    return file.header.satellite >= 0, file.pixels > 0


def refuse_other(reference: VexFile, file: VexFile) -> None:
    """Raises ValueError when the records of a file cannot follow those of another one."""
    found = difference(reference, file)
    satellites = reference.header.satellite, file.header.satellite
    if not found and _order(reference.header) != _order(file.header):
        found = f"{_order(file.header)} in place of {_order(reference.header)}"
    if not found and not file.header.text and min(satellites) >= 0 and satellites[0] != satellites[1]:
        found = f"satellite {satellites[1]} in place of {satellites[0]}"
    if found:
        raise ValueError(f"{file.path}: {found}, unlike {reference.path}")


def _append_binary(file: BinaryFile, target: BinaryIO) -> int:
    begin = target.seek(0, os.SEEK_END) - file.header.length

    def take(place: int, records: memoryview) -> None:
        while records:
            written = os.pwrite(target.fileno(), records, begin + place)
            place, records = place + written, records[written:]

    with open(file.path, "rb", buffering=0) as source:
        return make_index(file.path, source.fileno(), file.size, file.header, True, take).count


def _append_text(file: TextFile, target: BinaryIO) -> int:
    check_numbers(file)
    _copy(file.path, file.header.length, file.size, target)
    return file.pixels


def _copy(path: str, begin: int, end: int, target: BinaryIO) -> None:
    with open(path, "rb") as source:
        source.seek(begin)
        while begin < end:
            data = source.read(min(CHUNK, end - begin))
            if not data:
                raise FormatError(path, begin, f"{end - begin} bytes more, the file ends")
            view = memoryview(data)
            while view:
                view = view[target.write(view):]
            begin += len(data)
