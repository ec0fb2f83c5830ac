"""Random archives: those of vex-sample, and damages to them. See compare."""

import dataclasses
import functools
import hashlib
import itertools
import pathlib
import re
import subprocess
from collections.abc import Callable, Iterator

KINDS = ("ozo", "trg", "clp", "twt", "ems")
Octets = bytes | bytearray
Pieces = list[bytearray]  # of a file: its messages and what damage put between them
Files = dict[str, bytes | pathlib.Path | None]  # of a run: bytes, a file to link to, or None for a folder


class Dice:
    """Random numbers that depend on nothing but the seed and the number of the run."""

    def __init__(self, seed: int, run: int) -> None:
        self._key, self._drawn = f"{seed} {run} ", 0

    def bytes(self, count: int) -> bytes:
        made = b""
        while len(made) < count:
            made += hashlib.sha256(f"{self._key}{self._drawn}".encode()).digest()
            self._drawn += 1
        return made[:count]

    def below(self, limit: int) -> int:
        return int.from_bytes(self.bytes(8), "big") % limit

    def among(self, first: int, last: int) -> int:
        return first + self.below(last - first + 1)

    def chance(self, percent: int) -> bool:
        return self.below(100) < percent

    def pick(self, choices):
        return choices[self.below(len(choices))]

    def some(self, choices, count: int) -> list:
        return [self.pick(choices) for _ in range(count)]


@dataclasses.dataclass(frozen=True)
class Sample:
    """Options of vex-sample, and what the names of the files that are used have in common."""

    date: str
    options: str
    part: str = ""


SAMPLES = (
    Sample("2013-04-20", "--messages 6 --messages-per-file 3 --pixels 8"),
    Sample("2013-04-20", "--messages 6 --messages-per-file 3 --pixels 9 --gaps --missing --indep"),
    Sample("2013-04-20", "--messages 4 --messages-per-file 2 --pixels 20 --gaps --indep --seed 2"),
    Sample("2012-05-10", "--messages 4 --messages-per-file 4 --pixels 12 --missing --seed 3 --satellite 3 --layout 1"),
    Sample("2013-12-31", "--messages 3 --messages-per-file 2 --pixels 6 --days 3 --gaps --seed 4"),
    Sample("2013-04-20", "--messages 2 --messages-per-file 1 --pixels 60 --seed 5 --missing --gaps --indep"),
    Sample("2013-04-20", "--messages 3 --messages-per-file 3 --pixels 1 --seed 6 --layout 1"),
    Sample("2007-11-02", "--messages 4 --messages-per-file 2 --pixels 10 --layout 1 --indep --gaps"),
    Sample("2008-02-28", "--messages 2 --messages-per-file 1 --pixels 7 --layout 1 --days 2 --missing"),
    Sample("2010-06-21", "--messages 4 --messages-per-file 3 --pixels 9 --edition 3 --gaps --missing"),
    Sample("2009-06-21", "--messages 4 --messages-per-file 2 --pixels 9 --edition 3 --layout 1 --indep"),
    Sample("2014-09-29", "--messages 2 --messages-per-file 1 --pixels 5 --days 3 --gaps --indep"),
    Sample("2014-09-30", "--messages 13 --messages-per-file 1 --pixels 4 --gaps --seed 7"),
    Sample("2014-09-30", "--messages 41 --messages-per-file 1 --pixels 330 --kinds ozo,twt,trg", "072248Z_"),
    Sample("2013-04-20", "--messages 4 --messages-per-file 2 --pixels 8 --l2-version 3 --indep"),
    Sample("2015-03-15", "--messages 4 --messages-per-file 2 --pixels 8 --l2-version 3 --gaps --missing"),
    Sample("2016-01-31", "--messages 4 --messages-per-file 2 --pixels 8 --l2-version 4 --missing --satellite 5"),
    Sample("2017-03-01", "--messages 4 --messages-per-file 2 --pixels 8 --l2-version 5 --gaps --missing --indep"),
    Sample("2017-09-15", "--messages 4 --messages-per-file 2 --pixels 8 --l2-version 6 --missing"),
    Sample("2018-09-15", "--messages 4 --messages-per-file 2 --pixels 8 --l2-version 7 --gaps --missing --indep"),
    Sample("2019-10-27", "--messages 4 --messages-per-file 2 --pixels 11 --l2-version 8 --gaps --missing --indep"),
    Sample("2020-02-29", "--messages 4 --messages-per-file 1 --pixels 8 --l2-version 0 --missing --layout 1"),
    Sample("2019-05-13", "--messages 2 --messages-per-file 1 --pixels 6 --days 2 --missing --seed 8"),
)

# Widths in bits of the fields of a message. Of L2 those that all kinds and versions share; in some versions
# the identification of the software stands before the third.
L1C_HEADER = (10, 16, 11, 9, 12, 4, 6, 5, 6, 16, 25, 26, 15, 16, 15, 16, 8, 24, 13, 8, 15)
L1C_QUALITY = {1: (2, 7, 7, 7, 7, 24), 2: (14, 14, 2) * 3 + (7, 7, 7, 7, 24, 17)}
L1C_BANDS, L1C_SAMPLES = (14, 14, 6) * 10, (14, 16) * 8700
L1C_IMAGER = (11, 7) + ((24, 24, 7) + (6, 6, 31, 6, 31) * 6) * 7 + (7, 8, 7, 8, 24, 24, 7)
L2_HEADER = (10, 16, 11, 9, 12, 4, 6, 5, 6, 6, 24, 13, 25, 26, 8)
L2_SOFTWARE = L2_HEADER[:2] + (14,) + L2_HEADER[2:]
L1C_FIELD = {"year": 4, "latitude": 10, "longitude": 11, "orbit": 17, "line": 18}
L2_FIELD = {"year": 4, "orbit": 10, "line": 11, "latitude": 12, "longitude": 13}
L1C_SEQUENCE = 0xE8  # first octet of 3-40-001 and 3-40-007
INCREMENT = 6  # width of the width of a field's increments


def number(data: Octets, first: int, count: int) -> int:
    return int.from_bytes(data[first:first + count], "big")


def bits(data: Octets, place: int, width: int) -> int:
    eight = data[place >> 3:(place >> 3) + 8]
    return int.from_bytes(eight.ljust(8, b"\0"), "big") >> (64 - (place & 7) - width) & (1 << width) - 1


def set_bits(data: bytearray, place: int, width: int, value: int) -> None:
    first, shift = place >> 3, 64 - (place & 7) - width
    word = number(data, first, 8) & ~((1 << width) - 1 << shift) | (value & (1 << width) - 1) << shift
    data[first:first + 8] = word.to_bytes(8, "big")


def sections(message: Octets) -> tuple[int, int, int, int]:
    """Where sections 1, 3, 4 and 5 begin, as the lengths of a message without a section 2 have it."""
    third = 8 + number(message, 8, 3)
    fourth = third + number(message, third, 3)
    return 8, third, fourth, fourth + number(message, fourth, 3)


def subsets(message: Octets) -> int:
    return number(message, sections(message)[1] + 4, 2)


def field_places(message: Octets, widths: tuple[int, ...]) -> Iterator[tuple[int, int]]:
    """First bit and width of one field after the other, as far as they lie inside of the message."""
    place, count = 8 * (sections(message)[2] + 4), subsets(message)
    for width in widths:
        if place + width + INCREMENT > 8 * len(message) - 64:
            return
        yield place, width
        place += width + INCREMENT + bits(message, place + width, INCREMENT) * count


def header_fields(message: Octets) -> tuple[list[tuple[int, int]], dict[str, int]]:
    """Places of the header's fields and their indices; empty when the message has none to be found."""
    _, third, _, _ = sections(message)
    layouts = ((L1C_HEADER, L1C_FIELD),) if number(message, third + 7, 1) == L1C_SEQUENCE else (
        (L2_HEADER, L2_FIELD), (L2_SOFTWARE, {name: at + 1 for name, at in L2_FIELD.items()}))
    for widths, names in layouts:
        places = list(field_places(message, widths))
        if len(places) == len(widths) and 2006 <= bits(message, *places[names["year"]]) <= 2060:
            return places, names
    return [], {}


def split(data: bytes) -> list[bytes]:
    messages = []
    while data:
        messages.append(data[:number(data, 4, 3)])
        data = data[len(messages[-1]):]
    return messages


class Archive:
    def __init__(self, sample: Sample, program: str, folder: pathlib.Path, grid: pathlib.Path) -> None:
        options = ["--first-date", sample.date, "--grid", "off", *sample.options.split()]
        subprocess.run([program, folder, *options], check=True)
        names = sorted(str(path.relative_to(folder)) for path in folder.rglob("*_bufr") if sample.part in path.name)
        self.sample, self.folder, self.grid = sample, folder, grid
        self.files = {name: split((folder / name).read_bytes()) for name in names}  # messages by path
        if not names:
            raise ValueError(f"an archive of {sample} has no file {sample.part}: vex-sample spreads its files otherwise")
        self.digest = hashlib.sha256(repr(self.files).encode() + grid.read_bytes()).hexdigest()

    def kinds(self) -> list[str]:
        return [kind for kind in KINDS if any(f"/{kind}/" in name for name in self.files)]


def change_place(dice: Dice, message: bytearray, length: int) -> int:
    """Where a change of so many octets begins: often in front, or at the end where the imager's data are."""
    *_, fourth, end = sections(message)
    parts = ((0, fourth + 200), (fourth, fourth + 600), (end - 4000, end), (0, len(message)))
    first, last = dice.pick(parts)
    last = max(0, min(last, len(message)) - length)
    return dice.among(max(0, min(first, last)), last)


def flip(dice: Dice, message: bytearray) -> None:
    for _ in range(dice.pick((1, 1, 2, 8))):
        message[change_place(dice, message, 1)] ^= 1 << dice.below(8)


def splice(dice: Dice, message: bytearray) -> None:
    """A stretch overwritten, cut out or put in."""
    length = min(dice.pick((1, 2, 3, 8, 40, 1000, 3000)), len(message) // 2)
    text = dice.pick((bytes(length), b"\xff" * length, dice.bytes(length), b"BUFR", b"7777", b""))
    first, before, fourth = change_place(dice, message, length), len(message), sections(message)[2]
    message[first:first + dice.pick((length, length, 0))] = text
    if first >= fourth + 4 and dice.chance(50):
        lengthen(message, fourth, len(message) - before)


def lengthen(message: bytearray, section: int, count: int) -> None:
    message[section:section + 3] = ((number(message, section, 3) + count) % (1 << 24)).to_bytes(3, "big")


def octets(dice: Dice, message: bytearray) -> None:
    """Lengths of sections, edition, flags, date and time, count of subsets, descriptor, end marker."""
    first, third, fourth, end = sections(message)
    lengths = tuple((at, 3) for at in (4, first, third, fourth))
    at, count = dice.pick(((third + 4, 2), (third + 7, 2), (end, 4), *lengths, *lengths[1:],
                           dice.pick(((7, 1), (15, 1), (17, 1), (third + 6, 1), (dice.among(22, 28), 1)))))
    old = number(message, at, count)
    value = dice.pick((0, 1, 3, 7, old - 1, old + 1, old + 2, 2 * old, old // 2, old + 20, old - 20, 120, -1,
                       0xE801, 0xE807, number(message, *dice.pick(lengths))))
    value = value % (1 << 8 * count) if at != third + 4 else value % 300  # the records of a run stay few
    message[at:at + count] = value.to_bytes(count, "big")


def optional_section(dice: Dice, message: bytearray) -> None:
    third = sections(message)[1]
    message[17 if third - 8 > 21 else 15] |= 0x80
    length = dice.pick((4, 5, 24))
    message[third:third] = dice.pick((length, length, 0, 3)).to_bytes(3, "big") + bytes(length - 3)


def any_field(dice: Dice, message: bytearray) -> tuple[int, int]:
    """First bit and width of a field, (0, 0) where there is none."""
    third = sections(message)[1]
    groups, chosen = (L2_SOFTWARE if header_fields(message)[1].get("year") == 5 else L2_HEADER,), 0
    if number(message, third + 7, 1) == L1C_SEQUENCE:
        groups = L1C_HEADER, L1C_QUALITY.get(message[third + 8], (2,)), L1C_BANDS, L1C_SAMPLES, L1C_IMAGER
        chosen = dice.pick((0, 0, 1, 2, 2, 2, 3, 3, 4))
    at = dice.below(min(len(groups[chosen]), 400))
    if chosen == 2:
        at = dice.pick((2, 5, 8, 11, 14, at))  # the scales of the five bands that are in use
    at += sum(map(len, groups[:chosen]))
    return next(itertools.islice(field_places(message, sum(groups, ())), at, None), (0, 0))


def field(dice: Dice, message: bytearray) -> None:
    """The value of a field for all pixels or for one, or the width of its increments."""
    place, width = any_field(dice, message)
    increment = bits(message, place + width, INCREMENT)
    pixel = place + width + INCREMENT + increment * dice.below(subsets(message) or 1)
    values = (0, -1, -1, bits(message, place, width) ^ 1, dice.below(1 << width))
    match dice.below(3) if width else None:
        case 0:
            set_bits(message, place + width, INCREMENT, dice.pick((0, 1, width - 1, width, width + 1, 40, 63)))
        case 1 if 0 < increment <= 32 and pixel >> 3 < len(message) - 8:
            set_bits(message, pixel, increment, dice.pick((0, -1)))
        case 1 | 2:
            set_bits(message, place, width, dice.pick(values))


def spread(dice: Dice, message: bytearray) -> None:
    """A field that is the same for all pixels gets increments; what is behind it moves on."""
    place, width = any_field(dice, message)
    count, increment = subsets(message), dice.pick((1, 1, 2, 3, width))
    *_, fourth, end = sections(message)
    data = message[fourth + 4:end]
    behind = 8 * (fourth + 4 + len(data)) - place - width - INCREMENT
    if width == 0 or behind < 0 or bits(message, place + width, INCREMENT) != 0 or not 0 < count <= 1000:
        return
    whole = int.from_bytes(data, "big")
    front, rest = whole >> behind, whole & (1 << behind) - 1
    added = int.from_bytes(dice.bytes(count * increment // 8 + 1), "big") & (1 << count * increment) - 1
    total, unused = 8 * len(data) + count * increment, -count * increment % 8
    value = ((front + increment << count * increment) + added << behind) + rest << unused
    message[fourth + 4:end] = value.to_bytes((total + unused) // 8, "big")
    lengthen(message, fourth, (total + unused) // 8 - len(data))


def repetitions(dice: Dice, message: bytearray) -> None:
    """The number of layers, points or levels: eight bits that are the same for all pixels."""
    if len(message) > 1 << 17:
        return splice(dice, message)
    text = f"{int.from_bytes(message, 'big'):0{8 * len(message)}b}"
    found = [[match.start() for count in counts for match in re.finditer(f"{count:08b}000000", text)]
             for counts in ((90, 101), (4, 12))]
    if any(found):
        place = min(dice.pick(dice.pick([places for places in found if places])), 8 * len(message) - 64)
        set_bits(message, place, 8, dice.pick((0, 4, 12, 89, 90, 100, 101, 102, 255)))


def in_message(damage: Callable[[Dice, bytearray], None]) -> Callable[[Dice, Pieces], None]:
    @functools.wraps(damage)
    def damage_one(dice: Dice, pieces: Pieces) -> None:
        message = dice.pick(pieces)
        if len(message) > 100 and sections(message)[3] + 4 <= len(message):
            damage(dice, message)
        else:
            message[:0] = b"BUFR"
    return damage_one


def messages_moved(dice: Dice, pieces: Pieces) -> None:
    """One twice, one lost, two in the other's place, something between them."""
    first, second = dice.below(len(pieces)), dice.below(len(pieces))
    match dice.below(4):
        case 0:
            pieces.insert(second, bytearray(pieces[first]))
        case 1 if len(pieces) > 1:
            del pieces[first]
        case 2:
            pieces.insert(second, bytearray(dice.pick((b"\0", b"BUF", dice.bytes(50))) * dice.pick((1, 2, 7, 3000))))
        case _:
            pieces[first], pieces[second] = pieces[second], pieces[first]


def file_end(dice: Dice, pieces: Pieces) -> None:
    last = pieces[-1]
    match dice.below(4):
        case 0:
            del last[dice.below(len(last) + 1):]
        case 1:
            del last[-dice.among(1, 20):]
        case 2:
            last += dice.pick((b"BUFR", b"\0" * 10, last[:50], b"BUFR\0\0\x10\4", dice.bytes(1000)))
        case _:
            pieces[:] = [bytearray(dice.pick((b"", b"BUFR", b"7777")))]


FILE_DAMAGES = (*map(in_message, (flip, flip, splice, splice, splice, octets, octets, octets, optional_section,
                                  field, field, field, field, spread, spread, spread, repetitions)),
                messages_moved, file_end)


def folder_damage(dice: Dice, files: Files, names: list[str]) -> str:
    """A file that is in the wrong place, there twice, missing, or none."""
    name, other = dice.pick(names), dice.pick(names)
    copy = name + dice.pick((".bin", "x.bin", ".old"))
    what, changed, content = dice.pick((
        ("is lost", name, ...), ("is a copy", copy, files[name]), (f"holds {other}", name, files[other]),
        ("is a folder", name, None), ("leads nowhere", name, pathlib.Path("nowhere")), ("is empty", copy, b"")))
    files.pop(changed, None)
    if content is not ...:
        files[changed] = content
    return f"{changed} {what}"


def grid_damage(dice: Dice, grid: bytes) -> bytes | None:
    at = dice.below(len(grid) // 2)
    return dice.pick((None, b"", grid[:at], grid[:at] + dice.bytes(64) + grid[at + 64:], grid[at:], dice.bytes(5000)))


def damage(dice: Dice, archive: Archive, files: Files, folders: list[str]) -> list[str]:
    """Damages files that the run reads; says which and how."""
    told, changed = [], {}
    folders = [folder for folder in folders if any(name.startswith(folder) for name in archive.files)] or ["L2"]
    for _ in range(dice.pick((1, 2, 3, 3, 4, 6, 8))):
        folder = dice.pick(folders)
        name = dice.pick([name for name in archive.files if name.startswith(folder)])
        pieces = changed.setdefault(name, [bytearray(message) for message in archive.files[name]])
        change = dice.pick(FILE_DAMAGES)
        change(dice, pieces)
        told.append(f"{name}: {change.__name__}")
    files.update((name, b"".join(pieces)) for name, pieces in changed.items())
    if dice.chance(12):
        told.append(folder_damage(dice, files, [name for name in archive.files if name.startswith(tuple(folders))]))
    return told
