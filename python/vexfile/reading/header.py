"""What the header of a file says: of a binary file its first record, of a text file its first line."""

from __future__ import annotations

import functools
import struct
from dataclasses import dataclass
from typing import BinaryIO

import numpy as np
import numpy.typing as npt

from ..errors import FormatError
from .layout import Block, Field, layout
from .structure import HEADER_CONSTANTS, HEADER_LENGTH, is_binary

#: A message has ten bits for it.
LARGEST_SATELLITE = 1023


def platform(satellite: int) -> str:
    """Name of a satellite by its identifier; its number when it has none, and nothing when it is not known."""
    names = dict(layout().blocks["Common"].groups[0].fields[0].codes)
    return names.get(satellite, f"satellite {satellite}" if satellite >= 0 else "")


@dataclass(frozen=True)
class Header:
    """What all records of a file have in common.

    Attributes
    ----------
    text : bool
        Text, or binary.
    big_endian : bool
        Byte order of a binary file.
    satellite : int
        Identifier of the first pixel's satellite, -1 without one.
    brightness_temperature : bool
        Whether spectra are brightness temperatures (K), or radiances (W m-2 sr-1 m).
    channels : numpy.ndarray
        The channel numbers that the header names, int32 (channel).
    length : int
        Bytes to the first record.
    marker : int
        Content length of every record as the header makes it (binary).
    """

    text: bool
    big_endian: bool
    satellite: int
    brightness_temperature: bool
    channels: npt.NDArray[np.int32]
    avhrr: bool
    kinds: tuple[str, ...]
    length: int
    marker: int
    blocks: tuple[Block, ...]

    @property
    def order(self) -> str:
        """Byte order as numpy and struct have it."""
        return ">" if self.big_endian else "<"

    @property
    def platform(self) -> str:
        """Name of the satellite, see `platform`."""
        return platform(self.satellite)

    @property
    def l1c(self) -> bool:
        """Whether records have the blocks of L1C."""
        return bool(self.spectrum)

    @functools.cached_property
    def fields(self) -> dict[str, Field]:
        """All fields of the records by their names."""
        return {field.name: field for block in self.blocks for group in block.groups
                for field in (*group.fields, *group.inner)}

    @functools.cached_property
    def spectrum(self) -> str:
        """Name of the spectrum's field, empty without one."""
        return next((block.groups[0].fields[0].name for block in self.blocks if block.spectrum), "")


def _marker(blocks: tuple[Block, ...]) -> int:
    """What the markers of records say, without channels."""
    return sum(block.size(False) for block in blocks)


def _blocks(channels: int, avhrr: bool, kinds: tuple[str, ...], first: bytes, order: str) -> tuple[Block, ...]:
    """The blocks of a file's records. `first`: its first marker, if it has one.

    A range of channels that ends before it begins asks for L1C and for no channel; only the marker tells.
    """
    without, with_l1c = (tuple(layout().of(l1c, avhrr, kinds)) for l1c in (False, True))
    if channels > 0 or avhrr or not kinds:
        return with_l1c
    return with_l1c if first == struct.pack(order + "i", _marker(with_l1c)) else without


class _Reader:
    """Numbers of a header record, each with what it has to be."""

    def __init__(self, path: str, data: bytes, order: str) -> None:
        self.path, self.data, self.order, self.place = path, data, order, 0

    def wrong(self, place: int, expected: str) -> FormatError:
        return FormatError(self.path, place, expected)

    def number(self, code: str, least: int, most: int, what: str) -> int:
        form = struct.Struct(self.order + code)
        if self.place + form.size > len(self.data):
            raise self.wrong(len(self.data), f"{what}, the file ends")
        value: int = form.unpack_from(self.data, self.place)[0]
        if not least <= value <= most:
            raise self.wrong(self.place, f"{what}, found {value}")
        self.place += form.size
        return value

    def numbers(self, count: int, what: str) -> npt.NDArray[np.int32]:
        if self.place + 4 * count > len(self.data):
            raise self.wrong(len(self.data), f"{what}, the file ends")
        found = np.frombuffer(self.data, self.order + "i4", count, self.place).astype(np.int32)
        self.place += 4 * count
        return found


def read_binary_header(path: str, file: BinaryIO, size: int) -> Header:
    """The header record of a binary file.

    Parameters
    ----------
    path
        For messages.
    file
        At its beginning.
    size
        Bytes of the file: what the header announces must be there.
    """
    head = file.read(18)
    if not is_binary(head):
        raise FormatError(path, 0, "the header of a file of vex" if len(head) == 18 else
                          "the header of a file of vex, the file ends")
    order = "<>"[head[4]]
    marker = struct.unpack_from(order + "i", head)[0]
    if marker + 8 > size:
        raise FormatError(path, size, f"a header of {marker + 8} bytes, the file ends")
    read = _Reader(path, head + file.read(marker + 8 - len(head)), order)
    read.number("i", marker, marker, "a marker")
    big = read.number("b", 0, 1, "a byte order")
    read.number("i", HEADER_CONSTANTS[0], HEADER_CONSTANTS[0], "the number 5")
    satellite = read.number("i", -1, LARGEST_SATELLITE, "a satellite identifier")
    read.number("i", HEADER_CONSTANTS[1], HEADER_CONSTANTS[1], "the number 95")
    tb = read.number("b", 0, 1, "0 for radiances or 1 for brightness temperatures")
    count = read.number("i", 0, (marker - HEADER_LENGTH) // 4, "a number of channels")
    channels = read.numbers(count, "channels")
    avhrr = bool(read.number("b", 0, 1, "0, or 1 for imager data"))
    kinds = _kinds(read)
    read.number("i", marker, marker, f"the marker {marker}")
    if read.place != marker + 8:
        raise FormatError(path, 0, f"a header of {read.place - 8} bytes, found a marker of {marker}")
    blocks = _blocks(count, avhrr, kinds, file.read(4), order)
    length = _marker(blocks) + 4 * count
    return Header(False, bool(big), satellite, bool(tb), channels, avhrr, kinds, read.place, length, blocks)


def _kinds(read: _Reader) -> tuple[str, ...]:
    codes = layout().codes
    count = read.number("h", 0, len(codes), "a number of products")
    place = read.place
    found = [int(code) for code in read.numbers(count, "products")]
    if sorted(set(found) & set(codes.values())) != found:
        raise FormatError(read.path, place, f"codes of products in ascending order, found {found}")
    return tuple(kind for kind, code in codes.items() if code in found)


def read_text_header(path: str, line: bytes) -> Header:
    """The first line of a text file, which names the columns. `line` ends with its line feed."""
    if not line.endswith(b"\n"):
        raise FormatError(path, len(line), "the end of the line that names the columns, the file ends")
    names = line[:-1].decode("ascii", "replace").split("\t")
    place = 0

    def take(wanted: list[str]) -> bool:
        nonlocal place
        there = names[place:place + len(wanted)] == wanted
        place += len(wanted) if there else 0
        return there

    def columns(block: str) -> list[str]:
        return list(layout().blocks[block].column_names())

    if not take(columns("Common")):
        raise FormatError(path, 0, "the columns of a text file of vex")
    l1c, begin = take(columns("L1C")), place
    while l1c and place < len(names) and _is_channel(names[place]):
        place += 1
    channels = np.array([int(name) for name in names[begin:place]], np.int32)
    avhrr = take(columns("AVHRR"))
    l2 = take(columns("L2 common"))
    kinds = tuple(kind for kind in layout().codes if l2 and take(columns(kind)))
    if place != len(names):
        raise FormatError(path, len("\t".join(names[:place])), f"the columns of a block, found {names[place][:40]!r}")
    if l2 != bool(kinds):
        raise FormatError(path, len(line) - 1, "the columns of a product")
    # The blocks of L1C are there, too, when all channels that were asked for have no name.
    blocks = tuple(layout().of(l1c, avhrr, kinds))
    return Header(True, False, -1, False, channels, avhrr, kinds, len(line), 0, blocks)


def _is_channel(name: str) -> bool:
    return name.isascii() and name.isdigit() and len(name) <= 9
