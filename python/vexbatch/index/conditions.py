"""Which files can be left out of a run without a change of its records and headers.

vex walks the files of each product message after message and keeps the pixels that pass its filters; pixels that do not
pass leave no trace. Each product brings its kept pixels one after the other (with -box those that lie in a box), and
they are paired by their numbers. The header has the satellite of the first message with a kept pixel, of the first
product that has files. So a product's file may be left out when none of its own pixels can be kept:

- -mila, -mala, -milo, -malo: latitude and longitude within the bounds, which are included, as plain numbers: nothing
  goes around at 180 degrees. With -malo below -milo longitudes do not count. Without options the bounds are 90 and 180.
- -tr: hour, minute and second within a period, both ends included; one across midnight holds nothing. -on, -sln: the
  number within a range, both ends included. All of these hold for L1C and L2 alike. Missing values are compared as the
  numbers that stand for them: -1, and -777 in positions.
- -box: position within a box, both ends included. -maxres and -skip count pixels that pass the filters, in whatever
  place: with one of them boxes leave out nothing. The filters above do, for what does not pass them is not counted.
- Other filters (fields of view, angles, surface, clouds, quality ...) leave out nothing.

These stay in: a file of which vex says anything but its usual lines, or whose end has no end of a message (logs are
looked at for both); one that is not indexed, or has another size or time than it had then; one that is no regular file;
folders that cannot be read. When nothing is left of a product's files under a root, one of them stays in: a product
without files has no part in pairing, and is not what a product without pixels is.

Counts of pixels read, and of pixels in boxes, which count pixels that do not pass, too, are in the log only. They are
those of the files that are handed over. The same goes for the warning about day 1 archives.
"""

from __future__ import annotations

import math
import re
from collections.abc import Callable, Mapping, Sequence
from dataclasses import dataclass
from typing import Any

import numpy as np
import numpy.typing as npt

from .extent import ALWAYS, LINE, ORBIT, TIME, Extents, Flags, time_code

#: Options in force by name, each with its values as vex echoes them. Of those that do not add up the last one counts.
Options = Mapping[str, Sequence[str]]
#: Least and greatest value, both included.
Range = tuple[float, float]

#: What an echo (six digits) and single precision may take from a bound: this much, and this part of it.
MARGIN, PART = 1e-3, 1e-5
DEFAULTS = {"mila": -90.0, "mala": 90.0, "milo": -180.0, "malo": 180.0}
ALL: Range = (-math.inf, math.inf)
#: Options that conditions come from.
NARROWING = (*DEFAULTS, "box", "tr", "on", "sln")

NUMBER = r"([-+]?(?:\d+\.?\d*(?:e[-+]?\d+)?|inf|nan))"
BOX = re.compile(rf"\d+: {NUMBER}-{NUMBER}, {NUMBER}-{NUMBER}, ")
TIME_OF_DAY = r"(-?\d+)h(-?\d+)m(-?\d+)s"


@dataclass(frozen=True)
class Conditions:
    """What a pixel's position, time and numbers have to be.

    Attributes
    ----------
    latitude, longitude : tuple of float
        The window, degrees.
    boxes : tuple or None
        Ranges of latitude and longitude, of which one has to hold the pixel; None when it may lie anywhere.
    ranges : dict
        By quantity (`TIME`, `ORBIT`, `LINE`) the ranges of which one has to hold it. Any value will do for others.
    """

    latitude: Range
    longitude: Range
    boxes: tuple[tuple[Range, Range], ...] | None
    ranges: dict[int, tuple[Range, ...]]


def conditions(options: Options) -> Conditions:
    """The conditions of a run. What is not understood does not count, so that it leaves out nothing."""
    bounds = {name: _number(options[name][-1]) if options.get(name) else value for name, value in DEFAULTS.items()}
    counted = any(options.get(name) for name in ("maxres", "skip"))
    found = {TIME: _ranges(options.get("tr"), _period), ORBIT: _ranges(options.get("on"), _integers),
             LINE: _ranges(options.get("sln"), _integers)}
    return Conditions(_wider(bounds["mila"], bounds["mala"]), _longitudes(bounds["milo"], bounds["malo"]),
                      None if counted else _boxes(options.get("box")),
                      {quantity: ranges for quantity, ranges in found.items() if ranges is not None})


def narrows(options: Options) -> bool:
    """Whether there is a condition at all."""
    return any(options.get(name) for name in NARROWING)


def _number(text: str) -> float:
    """A number as vex echoes it, NaN for what is none."""
    return float(text) if re.fullmatch(NUMBER, text.strip()) else math.nan


def _wider(low: float, high: float) -> Range:
    """A range with all that its ends may have been."""
    return (-math.inf if math.isnan(low) else low - MARGIN - PART * abs(low) if math.isfinite(low) else low,
            math.inf if math.isnan(high) else high + MARGIN + PART * abs(high) if math.isfinite(high) else high)


def _longitudes(west: float, east: float) -> Range:
    """The longitudes of a window: all of them when its bounds may be the wrong way round."""
    if math.isnan(west) or math.isnan(east) or east - MARGIN - PART * abs(east) < west + MARGIN + PART * abs(west):
        return ALL
    return _wider(west, east)


def _boxes(texts: Sequence[str] | None) -> tuple[tuple[Range, Range], ...] | None:
    matches = [BOX.match(text) for text in texts or ()]
    found = [tuple(float(number) for number in match.groups()) for match in matches if match]
    if not found or len(found) < len(matches) or any(map(math.isnan, sum(found, ()))):
        return None
    return tuple((_wider(*box[:2]), _wider(*box[2:])) for box in found)


def _ranges(texts: Sequence[str] | None, read: Callable[[str], Range | None]) -> tuple[Range, ...] | None:
    """Ranges; None when there are no texts, or one is not understood."""
    found = [read(text) for text in texts or ()]
    known = tuple(one for one in found if one is not None)
    return known if known and len(known) == len(found) else None


def _period(text: str) -> Range | None:
    match = re.fullmatch(f"{TIME_OF_DAY}(?:-{TIME_OF_DAY})?", text.strip())
    if not match:
        return None
    numbers = [int(number) for number in match.groups() if number is not None]
    return time_code(*numbers[:3]), time_code(*numbers[-3:])


def _integers(text: str) -> Range | None:
    match = re.fullmatch(r"(-?\d+)(?:-(-?\d+))?", text.strip())
    return (int(match[1]), int(match[2] or match[1])) if match else None


def may_hold(asked: Conditions, extents: Extents) -> Flags:
    """Whether a file may hold a pixel that meets all conditions (file); always true of one that is never left out."""
    found = _any(len(extents.names), extents.area_file, _in_place(asked, extents))
    quantity, low, high = extents.ranges[:, 1:].T
    for number, ranges in asked.ranges.items():
        within = np.zeros(low.size, bool)
        for least, greatest in ranges:
            within |= (low <= greatest) & (high >= least)
        found &= _any(len(extents.names), extents.ranges[:, 0], within & (quantity == number))
    found |= extents.files[:, ALWAYS] != 0
    return found


def _any(files: int, of: npt.NDArray[np.integer[Any]], flags: Flags) -> Flags:
    """Whether a flag of a file is set (file)."""
    found = np.zeros(files, bool)
    found[of[flags]] = True
    return found


def _in_place(asked: Conditions, extents: Extents) -> Flags:
    """Whether an area touches the window and, if there are boxes, one of them (area)."""
    south, north, west, east = extents.areas.T

    def touches(latitude: Range, longitude: Range) -> Flags:
        touched: Flags = ((south <= latitude[1]) & (north >= latitude[0])
                          & (west <= longitude[1]) & (east >= longitude[0]))
        return touched

    found = touches(asked.latitude, asked.longitude)
    if asked.boxes is None:
        return found
    within = np.zeros(found.size, bool)
    for box in asked.boxes:
        within |= touches(*box)
    found &= within
    return found
