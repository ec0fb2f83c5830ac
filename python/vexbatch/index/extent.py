"""Where the pixels of files lie: small covers, made of the values of all pixels, and kept a file a folder.

A cover holds every pixel, and may hold places without any. Its numbers are those that vex compares, the ones that stand
for missing values included (a latitude of -777 is one like any other), so that no pixel needs a rule of its own.
"""

from __future__ import annotations

import contextlib
import os
import tempfile
import zlib
from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any

import numpy as np
import numpy.typing as npt

from ..planning.listing import Stamp

Integers = npt.NDArray[np.int64]
Reals = npt.NDArray[np.float32]
Flags = npt.NDArray[np.bool_]

#: Height of the bands that areas are made of, degrees. Swaths are slant: lower bands follow them closer.
BAND = 2.0
#: Pixels further apart than this at the equator are in two areas, degrees of longitude. It is divided by the cosine of
#: the latitude, since neighbours are further apart towards the poles; by this at least.
APART = 2.0
LEAST_COSINE = 0.05
#: Values that are kept as ranges, and how far apart neighbours of one range may be: `time_code`, orbits, scan lines.
TIME, ORBIT, LINE = range(3)
NEIGHBOURS = (2000, 1, 16)
#: The form of what is kept: what has another one is made anew.
FORM = "2"
#: Columns of `Extents.files`, behind the stamp.
PIXELS, ALWAYS = 3, 4
#: Arrays of `Extents`, their types in files, and their shapes.
CHECKSUM = 4
ARRAYS = (("files", "<i8", (-1, 5)), ("areas", "<f4", (-1, 4)), ("area_file", "<i4", (-1,)), ("ranges", "<i4", (-1, 4)))


@dataclass(frozen=True)
class Pixels:
    """Values of the pixels of a file as vex writes them, one element a pixel."""

    latitude: Reals
    longitude: Reals
    hour: Integers
    minute: Integers
    milliseconds: Integers
    orbit_number: Integers
    scan_line_number: Integers


@dataclass(frozen=True)
class Extents:
    """What is known of some files of a folder.

    Attributes
    ----------
    names : list of str
        The files.
    files : numpy.ndarray
        int64 (file, 5): the stamp; pixels; 1 when it is never to be left out.
    areas : numpy.ndarray
        float32 (area, 4): south, north, west and east end, degrees, all included.
    area_file : numpy.ndarray
        int64 (area): the file, as its place among the names.
    ranges : numpy.ndarray
        int64 (range, 4): file, quantity (`TIME`, `ORBIT`, `LINE`), least and greatest value.
    """

    names: list[str]
    files: Integers
    areas: Reals
    area_file: Integers
    ranges: Integers

    def stamps(self) -> dict[str, Stamp]:
        """The files as they were when they were looked at."""
        sizes, times, status = self.files[:, :PIXELS].T.tolist()
        return dict(zip(self.names, zip(sizes, times, status)))

    def take(self, places: Integers) -> Extents:
        """Some of the files, in ascending order of their places."""
        new = np.full(len(self.names), -1, np.int64)
        new[places] = np.arange(places.size)
        areas, ranges = new[self.area_file] >= 0, new[self.ranges[:, 0]] >= 0
        taken = self.ranges[ranges].copy()
        taken[:, 0] = new[taken[:, 0]]
        return Extents([self.names[place] for place in places.tolist()], self.files[places], self.areas[areas],
                       new[self.area_file[areas]], taken)


def time_code(hour: Any, minute: Any, second: Any) -> Any:
    """A time of day as one number, in the order of vex, also where hours, minutes or seconds are none."""
    return (hour * 1000 + minute) * 1000 + second


def _pieces(group: Integers, value: npt.NDArray[Any], apart: npt.NDArray[Any]) -> tuple[Integers, Integers]:
    """Groups of pixels cut where neighbours are further apart than `apart` of them.

    Returns
    -------
    tuple
        The pixels in the order of groups and values, and where in it each piece begins.
    """
    order = np.lexsort((value, group))
    begins = np.ones(order.size, bool)
    begins[1:] = (np.diff(group[order]) != 0) | (np.diff(value[order]) > apart[order][1:])
    return order, np.flatnonzero(begins)


def _ends(values: npt.NDArray[Any], begins: Integers) -> list[npt.NDArray[Any]]:
    """Least and greatest value of each piece."""
    return [np.minimum.reduceat(values, begins), np.maximum.reduceat(values, begins)]


def _areas(pixels: Pixels) -> Reals:
    band = np.floor(pixels.latitude / BAND).astype(np.int64)
    cosine = np.cos(np.radians((band + 0.5) * BAND))
    order, begins = _pieces(band, pixels.longitude, APART / np.maximum(np.abs(cosine), LEAST_COSINE))
    return np.stack([*_ends(pixels.latitude[order], begins), *_ends(pixels.longitude[order], begins)], 1)


def _ranges(pixels: Pixels) -> Integers:
    seconds = (pixels.milliseconds / 1000).astype(np.int64)  # towards 0, as vex does
    values = time_code(pixels.hour, pixels.minute, seconds), pixels.orbit_number, pixels.scan_line_number
    found = []
    for quantity, (value, apart) in enumerate(zip(values, NEIGHBOURS)):
        order, begins = _pieces(np.zeros(value.size, int), value, np.full(value.size, apart))
        low, high = _ends(value[order], begins)
        found.append(np.stack([np.zeros(low.size, int), np.full(low.size, quantity), low, high], 1))
    return np.concatenate(found)


def cover(name: str, stamp: Stamp, always: bool, pixels: Pixels | None) -> Extents:
    """The extents of one file.

    Parameters
    ----------
    always
        Whether it is never to be left out.
    pixels
        Its pixels, as far as they are known.
    """
    count = 0 if pixels is None else pixels.latitude.size
    known = pixels if count else None
    areas = np.empty((0, 4), np.float32) if known is None else _areas(known)
    ranges = np.empty((0, 4), np.int64) if known is None else _ranges(known)
    return Extents([name], np.array([[*stamp, count, always]], np.int64), areas, np.zeros(len(areas), np.int64), ranges)


def nothing() -> Extents:
    """The extents of no file."""
    return join([])


def join(parts: Sequence[Extents]) -> Extents:
    """Extents of files of one folder, one after the other."""
    before = np.cumsum([0, *(len(part.names) for part in parts)])
    ranges = [part.ranges + [first, 0, 0, 0] for part, first in zip(parts, before)]
    return Extents([name for part in parts for name in part.names],
                   np.concatenate([np.empty((0, 5), np.int64), *(part.files for part in parts)]),
                   np.concatenate([np.empty((0, 4), np.float32), *(part.areas for part in parts)]),
                   np.concatenate([np.empty(0, np.int64), *(part.area_file + n for part, n in zip(parts, before))]),
                   np.concatenate([np.empty((0, 4), np.int64), *ranges]))


def save(path: str, extents: Extents, program: str) -> None:
    """Writes extents; the file is there as a whole or not at all.

    It is a line with form, digest of vex and the bytes of each part, the names and arrays as they are, and a checksum: a
    year has hundreds of these files, and opening an archive of arrays for each would take longer than all the rest.
    """
    os.makedirs(os.path.dirname(path), exist_ok=True)
    parts = [b"\0".join(map(os.fsencode, extents.names)),
             *(getattr(extents, name).astype(code).tobytes() for name, code, _ in ARRAYS)]
    data = b"%b%b\n%b" % (_head(program), b" ".join(b"%d" % len(one) for one in parts), b"".join(parts))
    descriptor, part = tempfile.mkstemp(".part", os.path.basename(path) + ".", os.path.dirname(path))
    try:
        with os.fdopen(descriptor, "wb") as file:
            file.write(data + _checksum(data))
        os.chmod(part, 0o666 & ~_mask())
        os.replace(part, path)
    except BaseException:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(part)
        raise


def _head(program: str) -> bytes:
    return f"{FORM} {program} ".encode()


def _checksum(data: bytes | memoryview) -> bytes:
    return zlib.crc32(data).to_bytes(CHECKSUM, "little")


def _mask() -> int:
    """What new files may not be, for this process."""
    mask = os.umask(0o22)
    os.umask(mask)
    return mask


def load(path: str, program: str) -> Extents:
    """Extents that were written; those of no file when there are none, none that are sound, or none by this vex."""
    try:
        with open(path, "rb", buffering=0) as file:
            data = file.read()
    except OSError:
        return nothing()
    head = _head(program)
    if not data.startswith(head) or data[-CHECKSUM:] != _checksum(memoryview(data)[:-CHECKSUM]):
        return nothing()
    place = data.index(b"\n") + 1
    length, *sizes = map(int, data[len(head):place].split())
    text, place, arrays = data[place:place + length], place + length, []
    for (_, code, shape), size in zip(ARRAYS, sizes):
        arrays.append(np.frombuffer(data, code, size // np.dtype(code).itemsize, place).reshape(shape))
        place += size
    return Extents(os.fsdecode(text).split("\0") if text else [], *arrays)
