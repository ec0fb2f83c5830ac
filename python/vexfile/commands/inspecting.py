"""What is in files, and whether they are sound."""

from __future__ import annotations

import os
import textwrap
from collections.abc import Iterator
from typing import Any

import numpy as np
import numpy.typing as npt

from ..reading.binary import BinaryFile
from ..reading.columns import columns, positions
from ..errors import FormatError
from ..reading.layout import Field
from .numerals import surely_numbers
from ..reading.opening import open_file, with_index
from ..reading.structure import Sound, counted, sort_of, structure
from ..reading.text import TextFile
from ..reading.variables import VexFile, missing, ranges, read_time, stored, variables

#: Pixels that are looked at together; a multiple of what the readers keep together.
PIXELS = 1 << 16
#: Bytes of text that are verified together.
CHUNK = 1 << 20
#: Longitudes that leave no gap of this size go around the globe, degrees.
GAP = 5.0
#: Width of the table for people, columns of the screen.
WIDTH = 100
#: Dimensions whose number differs between records.
LAYERS = {"ozo": "ozo_pressure_top", "twt": "twt_temperature"}

Facts = dict[str, Any]


def facts(path: str) -> Facts:
    """What is in a file, as JSON has it.

    Returns
    -------
    dict
        ``path``, ``sort`` and ``bytes`` of all files. Of binary and text files besides: ``byte_order`` (null of text),
        ``satellite`` and ``platform``, ``products``, ``imager``, ``spectrum``, ``channel_count``, ``channels``,
        ``pixels``, ``without_content``, ``layers``, ``first_time`` and ``last_time`` (UTC), and in degrees ``south``,
        ``north``, ``west`` and ``east``; west is above east when the box goes over the dateline. Of statistics:
        ``kind``, ``rows``, ``columns`` and ``comments``. What no pixel tells is null.

    Raises
    ------
    FormatError
        The file is damaged, cut short, or not of vex.
    """
    sort = sort_of(path)
    found: Facts = {"path": path, "sort": sort, "bytes": os.path.getsize(path)}
    if sort == "statistics":
        return found | _of_statistics(path)
    return found | with_index(lambda index: _of_records(open_file(path, index)))


def _of_statistics(path: str) -> Facts:
    from ..statistics.files import read_statistics
    file = read_statistics(path)
    return {"kind": file.kind, "rows": len(file.columns[file.names[0]]), "columns": list(file.names),
            "comments": list(file.comments)}


def _of_records(file: VexFile) -> Facts:
    header = file.header
    spectrum = "brightness_temperature" if header.brightness_temperature else "radiance"
    order = "big-endian" if header.big_endian else "little-endian"
    return {"byte_order": None if header.text else order,
            "satellite": header.satellite if header.satellite >= 0 else None, "platform": header.platform or None,
            "products": ["L1C"] * header.l1c + list(header.kinds), "imager": header.avhrr,
            "spectrum": spectrum if header.channels.size else None, "channel_count": int(header.channels.size),
            "channels": ranges(header.channels.tolist()), "pixels": file.pixels,
            "without_content": sum(count for shape, count in file.sorts() if not shape.places),
            "layers": _layers(file), **_extent(file)}


def _layers(file: VexFile) -> dict[str, list[int]]:
    return {block: sorted({shape.places[name].counts[0] for shape, _ in file.sorts() if name in shape.places})
            for block, name in LAYERS.items() if block in file.header.kinds}


class Extent:
    """When and where pixels are, by blocks of their coordinates."""

    def __init__(self) -> None:
        self._ends: dict[str, list[Any]] = {"time": [], "latitude": []}
        self._longitudes = [np.empty(0)]

    def add(self, name: str, values: npt.NDArray[Any]) -> None:
        """Takes in times (datetime64), latitudes or longitudes."""
        if name == "longitude":
            self._longitudes.append(np.unique(values[np.abs(values) <= 360]))
        else:
            self._ends[name] += _ends(values[~np.isnat(values) if name == "time" else np.abs(values) <= 90])

    def facts(self) -> Facts:
        """First and last time, and the smallest box in degrees; null where no pixel tells."""
        first, last = _ends(np.array(self._ends["time"], "M8[ns]")) or [None, None]
        south, north = _ends(np.array(self._ends["latitude"])) or [None, None]
        west, east = _box(np.concatenate(self._longitudes))
        return {"first_time": _iso(first), "last_time": _iso(last), "south": _short(south), "north": _short(north),
                "west": _short(west), "east": _short(east)}


def _extent(file: VexFile) -> Facts:
    found = Extent()
    for begin in range(0, file.pixels, PIXELS):
        end = min(file.pixels, begin + PIXELS)
        found.add("time", read_time(file, begin, end))
        for name in ("latitude", "longitude"):
            found.add(name, file.read(name, begin, end))
    return found.facts()


def _ends(values: npt.NDArray[Any]) -> list[Any]:
    return [values.min(), values.max()] if values.size else []


def _box(longitude: npt.NDArray[Any]) -> tuple[float | None, float | None]:
    """The western and eastern end of the smallest box."""
    if not longitude.size:
        return None, None
    there = np.unique(longitude.astype(np.float64))
    gaps = np.diff(there, append=there[0] + 360)
    widest = int(gaps.argmax())
    if gaps[widest] < GAP:
        widest = there.size - 1
    return float(there[(widest + 1) % there.size]), float(there[widest])


def _iso(time: np.datetime64 | None) -> str | None:
    return None if time is None else str(np.datetime_as_string(time, "ms")) + "Z"


def _short(number: float | None) -> float | None:
    """A single-precision number without the digits that it does not have."""
    return None if number is None else float(str(np.float32(number)))


# --- For people -----------------------------------------------------------------------------------------------------


def table(found: Facts) -> str:
    """What is in a file as lines of a table."""
    rows = _statistics_rows(found) if found["sort"] == "statistics" else _record_rows(found)
    lines = [found["path"]]
    for name, value in rows:
        lines += textwrap.wrap(value.replace(",", ", ") if name == "channels" else value, WIDTH,
                               initial_indent=f"  {name:<12}", subsequent_indent=" " * 14, break_on_hyphens=False)
    return "\n".join(lines)


def _statistics_rows(found: Facts) -> Iterator[tuple[str, str]]:
    yield "sort", f"statistics ({found['kind'].replace('_', ' ')}), {found['bytes']} bytes"
    yield "rows", str(found["rows"])
    columns = found["columns"]
    yield "columns", f"{len(columns)}: " + " ".join(columns[:20]) + " ..." * (len(columns) > 20)
    for comment in found["comments"]:
        yield "", comment


def _record_rows(found: Facts) -> Iterator[tuple[str, str]]:
    order = f", {found['byte_order']}" if found["byte_order"] else ""
    yield "sort", f"{found['sort']}{order}, {found['bytes']} bytes"
    if found["platform"]:
        yield "satellite", f"{found['platform']}, identifier {found['satellite']}"
    yield "products", " ".join(found["products"]) + ", with imager" * found["imager"]
    if found["spectrum"]:
        yield "spectrum", f"{found['spectrum'].replace('_', ' ')}, {counted(found['channel_count'], 'channel')}"
        yield "channels", found["channels"]
    without = f", {found['without_content']} of them without content" if found["without_content"] else ""
    yield "pixels", f"{found['pixels']}{without}"
    for block, counts in found["layers"].items():
        yield f"{block} " + ("layers" if block == "ozo" else "levels"), " and ".join(map(str, counts)) or "-"
    if found["first_time"]:
        yield "time", " to ".join(found[name].replace("T", " ").rstrip("Z") for name in ("first_time", "last_time"))
    if found["south"] is not None:
        yield "latitude", f"{found['south']:g} to {found['north']:g}"
    if found["west"] is not None:
        over = ", over the dateline" if found["west"] > found["east"] else ""
        yield "longitude", f"{found['west']:g} to {found['east']:g}{over}"


# --- Verification ---------------------------------------------------------------------------------------------------


def check(path: str, values: bool = False) -> Sound:
    """Checks every record length marker of a binary file, every number of a text or statistics file.

    Parameters
    ----------
    path
        The file.
    values
        Also hold the values of all fields against their ranges and codes.

    Returns
    -------
    Sound
        What it is.

    Raises
    ------
    FormatError
        The file is damaged, cut short, or not of vex.
    """
    if sort_of(path) == "text":
        lines = TextFile(path)
        check_numbers(lines)
        if values:
            check_values(lines)
        return Sound(path, "text", lines.pixels)
    found = structure(path)
    if found.sort == "binary":
        file = BinaryFile(path)  # says whether the header belongs to the records
        if values:
            check_values(file)
    return found


def check_values(file: VexFile) -> None:
    """Holds values that are not missing against the ranges and codes of their fields, some pixels at a time."""
    found = [one for one in variables(file).values() if one.field.valid_range or one.field.codes]
    for begin in range(0, file.pixels, PIXELS):
        for variable in found:
            values = stored(file, variable, begin, min(file.pixels, begin + PIXELS))
            wrong = ~(_allowed(variable.field, values) | missing(variable, values)).reshape(len(values), -1)
            if wrong.any():
                row = int(wrong.any(axis=1).argmax())
                raise FormatError(file.path, file.place(begin + row), f"{variable.field.column} {_words(variable.field)}, "
                                  f"found {values.reshape(wrong.shape)[row][wrong[row]][0]:.9g}")


def _allowed(field: Field, values: npt.NDArray[Any]) -> npt.NDArray[np.bool_]:
    if not field.valid_range:
        return np.isin(values, [code for code, _ in field.codes])
    low, high = np.array(field.valid_range, np.float32)
    allowed: npt.NDArray[np.bool_] = (values >= low) & (values <= high)
    return allowed


def _words(field: Field) -> str:
    if field.valid_range:
        return "from {:.9g} to {:.9g}".format(*field.valid_range)
    return "of " + ranges(code for code, _ in field.codes)


def check_numbers(file: TextFile) -> None:
    """Looks at every number of a text file."""
    found = columns(file)
    whole = np.array([column.field.text == "int" for column in found])
    integers = {id(shape): places[whole & (places >= 0)]
                for shape, _ in file.sorts() if shape.places for places in [positions(found, shape)]}
    step = max(1, CHUNK * file.pixels // max(1, file.size))
    for begin in range(0, file.pixels, step):
        for shape, pixels, lines in file.lines(begin, min(file.pixels, begin + step)):
            if not surely_numbers(b"".join(lines), shape.length, integers[id(shape)]):
                file.refuse_fractions(pixels, file.table(shape, pixels, lines)[:, integers[id(shape)]])
