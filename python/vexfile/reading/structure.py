"""Whether a file has the structure that vex gives it: what a check after a run costs must not be felt.

Files of equal records are checked without numpy, whose import takes longer than the check.
"""

from __future__ import annotations

import os
import struct
from typing import Literal, NamedTuple

from ..errors import FormatError

Sort = Literal["binary", "text", "statistics"]

#: What files of a type consist of.
UNITS = {"binary": "record", "text": "line", "statistics": "row"}
#: What tells the types of files apart, bytes.
HEAD = 512
#: Two numbers that every binary header has.
HEADER_CONSTANTS = (5, 95)
#: Bytes of the header record, without the lists of channels and kinds.
HEADER_LENGTH = 21
#: What is read at once, bytes.
CHUNK = 1 << 18
#: Of records and lines that are longer, only their ends are read, bytes.
LONG = 1 << 12


class Sound(NamedTuple):
    """A file that was found to be sound; as text, a line that says so.

    Attributes
    ----------
    records : int
        How many it has; of text lines, of statistics rows.
    """

    path: str
    sort: Sort
    records: int

    def __str__(self) -> str:
        return f"{self.path}: sound, {self.sort}, {counted(self.records, UNITS[self.sort])}"


def counted(number: int, what: str) -> str:
    """A number of things in words."""
    return f"{number} {what}" + "s" * (number != 1)


def is_binary(head: bytes) -> bool:
    """Whether the first bytes of a file (18 or more) can be those of a binary file of vex."""
    if len(head) < 18 or head[4] > 1:
        return False
    order = "<>"[head[4]]
    numbers = struct.unpack_from(order + "i", head, 5)[0], struct.unpack_from(order + "i", head, 13)[0]
    marker: int = struct.unpack_from(order + "i", head)[0]
    return numbers == HEADER_CONSTANTS and marker >= HEADER_LENGTH


def is_text(head: bytes) -> bool:
    """Whether the first bytes of a file can be those of a text file of vex."""
    from .layout import layout
    names = b"\t".join(name.encode() for name in layout().blocks["Common"].column_names())
    return len(head) > 0 and head[:len(names)] == names[:len(head)]


def sort_of(path: str) -> Sort:
    """The sort of a file.

    Raises
    ------
    FormatError
        It was not written by vex; the message describes the difference from a binary file.
    """
    with open(path, "rb") as file:
        head = file.read(HEAD)
    if is_binary(head):
        return "binary"
    if is_text(head):
        return "text"
    if head.startswith(b"# "):
        from ..statistics.files import is_statistics
        if is_statistics(head):
            return "statistics"
    if (place := head.find(b"BUFR")) >= 0:
        raise FormatError(path, place, "a file that vex wrote, found a BUFR message; vex reads these from the folders of an "
                          "archive: vex -d ARCHIVE/L1C -fd 2013-04-20 -ld 2013-04-20 -c 1021 -out OUT.bin")
    from .binary import BinaryFile
    BinaryFile(path)
    return "binary"


def structure(path: str, expected: int | None = None) -> Sound:
    """Checks all record length markers of a binary file, all lines of a text file, a statistics file as a whole.

    Parameters
    ----------
    expected
        The number of lines, where it is known. When as many line feeds are where the length of the line before lets one
        expect them, the text between them is not read; otherwise all is read, and the columns of each line are counted.

    Raises
    ------
    FormatError
        The file is damaged, cut short, or not of vex.
    """
    sort = sort_of(path)
    if sort == "statistics":
        from ..statistics.files import read_statistics
        found = read_statistics(path)
        return Sound(path, sort, len(found.columns[found.names[0]]))
    with open(path, "rb", buffering=0) as file:
        size = os.fstat(file.fileno()).st_size
        if sort == "text":
            count = expected if expected is not None and _lines(file.fileno(), size) == expected + 1 else None
        else:
            count = _equal_records(file.fileno(), size)
    if count is None:
        from .opening import open_file
        count = open_file(path, True).pixels
    return Sound(path, sort, count)


def _equal_records(descriptor: int, size: int) -> int | None:
    """The number of records of a binary file, if each is as long as its record length markers say; otherwise None."""
    head = os.pread(descriptor, 5, 0)
    word = struct.Struct("<>"[head[4]] + "i")
    begin = word.unpack_from(head)[0] + 8
    marker = os.pread(descriptor, 4, begin)
    if os.pread(descriptor, 4, begin - 4) != head[:4]:
        return None
    if size == begin:
        return 0
    step = word.unpack(marker)[0] + 8 if len(marker) == 4 else 0
    count, rest = divmod(size - begin, max(1, step))
    whole = step > 12 and not rest
    if not whole or os.pread(descriptor, 4, begin + 4) == marker or os.pread(descriptor, 4, size - 4) != marker:
        return None
    many = CHUNK // (step if step <= LONG else 12)
    seams = range(begin + step - 4, size - 4, step)
    sound = all(_are_sound(descriptor, seams[first:first + many], marker) for first in range(0, count - 1, many))
    return count if sound else None


def _are_sound(descriptor: int, seams: range, marker: bytes) -> bool:
    """Whether at all these places a record ends and another one starts, which has content."""
    every = seams.step if seams.step <= LONG else 12
    if every == seams.step:
        data = os.pread(descriptor, seams[-1] - seams[0] + 12, seams[0])
    else:
        data = b"".join([os.pread(descriptor, 12, place) for place in seams])
    column = [data[place::every][:len(seams)] for place in range(12)]
    markers = all(column[place] == marker[place % 4:place % 4 + 1] * len(seams) for place in range(8))
    return markers and tuple(marker) not in zip(*column[8:])


def _lines(descriptor: int, size: int) -> int | None:
    """The number of line feeds, as far as they are where the length of the line before lets one expect them; of short
    lines, all. None when the last line has none.
    """
    count = place = length = 0
    while place < size:
        if length > LONG:
            end = _line_feed(descriptor, place + length - length // 16, length // 8)
            if not 0 < end - place <= length + length // 2:  # it may be that of the next line
                end = _line_feed(descriptor, place, CHUNK)
            count, length = count + 1, end - place
        else:
            data = os.pread(descriptor, CHUNK, place)
            length = data.find(b"\n") if b"\n" in data else LONG + 1
            end = place + data.rfind(b"\n") if b"\n" in data else _line_feed(descriptor, place, CHUNK)
            count += data.count(b"\n") or 1
        if end < place:
            return None
        place = end + 1
    return count


def _line_feed(descriptor: int, place: int, step: int) -> int:
    """Where the next line feed is; -1 when there is none."""
    while data := os.pread(descriptor, step, place):
        if (end := data.find(b"\n")) >= 0:
            return place + end
        place += len(data)
    return -1
