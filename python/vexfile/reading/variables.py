"""The variables of a file, as xarray, NetCDF and the tables of the command have them."""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from dataclasses import dataclass
from typing import Any

import numpy as np
import numpy.typing as npt

from .binary import TYPES, BinaryFile
from .layout import Field
from .text import TextFile

Array = npt.NDArray[Any]
VexFile = BinaryFile | TextFile

TIME_FIELDS = ("year", "month", "day", "hour", "minute", "milliseconds")
COORDINATES = ("time", "latitude", "longitude")
#: Kilometres in records whose first product is L1C, metres in those whose first product is an L2 one.
HEIGHT = "satellite_height"

#: By seconds some tools take the pixels for the steps of a series of maps. Milliseconds that 64-bit reals hold are
#: exact as nanoseconds, too, from 1991 to 2028.
TIME_UNITS = {"units": "milliseconds since 2010-01-01 00:00:00", "calendar": "standard"}
EPOCH = np.datetime64("2010-01-01", "ns")


@dataclass(frozen=True)
class Variable:
    """One variable of a file.

    Attributes
    ----------
    name : str
    dimensions : tuple of str
        The first one is ``pixel``.
    shape : tuple of int
    raw : numpy.dtype
        As the file has it; masked integers become reals.
    field : Field
        Where it comes from.
    spectrum : bool
        Whether it is the spectrum.
    attributes : dict
        CF and the package's own.
    """

    name: str
    dimensions: tuple[str, ...]
    shape: tuple[int, ...]
    raw: np.dtype[Any]
    field: Field
    spectrum: bool
    attributes: dict[str, Any]

    @property
    def masked(self) -> np.dtype[Any]:
        """Type of the values when missing ones are NaN: integers as reals that hold them all."""
        return self.raw if self.raw.kind == "f" else np.dtype("f4" if self.raw.itemsize < 4 else "f8")

    @property
    def fill(self) -> float | int:
        """What a missing value is in NetCDF."""
        return -1 if self.raw.kind == "i" else float("nan")


def missing(variable: Variable, values: Array) -> npt.NDArray[np.bool_]:
    """Which values, not of the spectrum, are missing."""
    row = variable.field
    found = np.isin(values, np.array([*{row.missing, row.missing_text, row.missing_value}], values.dtype))
    if row.column == "AvhrrStdDevRadiance":
        found |= values < 0  # -700 over a power of ten
    return found


def mask(variable: Variable, values: Array) -> Array:
    """Values whose missing ones are NaN, of the type `variable.masked`."""
    masked = values.astype(variable.masked)
    masked[missing(variable, values)] = np.nan
    return masked


def fill(variable: Variable, values: Array) -> Array:
    """The same values, of the file's own type; missing ones are made `Variable.fill`."""
    values[missing(variable, values)] = variable.fill
    return values


def _speaking(name: str) -> str:
    words = {"o3": "ozone", "co": "CO", "n2o": "N2O", "ch4": "CH4", "co2": "CO2", "avhrr": "AVHRR", "l2": "L2"}
    return " ".join(words.get(word, word) for word in name.split("_"))


def _attributes(row: Field, raw: np.dtype[Any]) -> dict[str, Any]:
    attributes: dict[str, Any] = {"long_name": _speaking(row.name), "vex_name": row.column}
    if row.unit or raw.kind == "f" or row.standard_name:
        attributes["units"] = row.unit or "1"
    if row.standard_name:
        attributes["standard_name"] = row.standard_name
    if row.meaning:
        meaning = row.meaning.partition(";")[0] if row.name == HEIGHT else row.meaning
        attributes["comment"] = meaning.replace("`", "")
    if row.valid_range:
        attributes["valid_range"] = np.array(row.valid_range, raw)
    if row.codes:
        attributes["flag_values"] = np.array([value for value, _ in row.codes], raw)
        attributes["flag_meanings"] = " ".join(re.sub(r"[^\w+.@-]+", "_", meaning) for _, meaning in row.codes)
    return attributes


def _of_group(file: VexFile, row: Field, dimensions: tuple[str, ...]) -> Variable | None:
    if row.type == "text" and not isinstance(file, TextFile):
        return None
    raw = TYPES.get(row.type, np.dtype("i4"))
    shape = (file.pixels, *file.counts(row.name))
    return Variable(row.name, ("pixel", *dimensions), shape, raw, row, False, _attributes(row, raw))


def _rows(file: VexFile) -> Iterator[Variable | None]:
    for block in file.header.blocks:
        for group in block.groups:
            if block.spectrum:
                row = group.fields[0]
                if file.header.brightness_temperature and row.temperature:
                    row = row.temperature
                yield Variable(row.name, ("pixel", "channel"), (file.pixels, file.header.channels.size), np.dtype("f4"),
                               row, True, _attributes(row, np.dtype("f4")))
                continue
            outer = (group.dimension,) if group.times > 1 else ()
            for row in group.fields:
                yield _of_group(file, row, outer)
            for row in group.inner:
                yield _of_group(file, row, (*outer, group.inner_dimension))


def variables(file: VexFile) -> dict[str, Variable]:
    """All variables of a file by name, in the order of its records; those of time are still year, month and so on."""
    return {variable.name: variable for variable in _rows(file) if variable}


def ranges(numbers: Iterable[int]) -> str:
    """Numbers as the options of vex give them: ``1-5,8``."""
    found: list[list[int]] = []
    for number in numbers:
        if found and number == found[-1][1] + 1:
            found[-1][1] = number
        else:
            found.append([number, number])
    return ",".join(str(first) if first == last else f"{first}-{last}" for first, last in found)


def stored(file: VexFile, variable: Variable, begin: int, end: int) -> Array:
    """Values of a variable, not of the spectrum, as they stand in the file; heights in kilometres in all records."""
    values = file.read(variable.field.name, begin, end)
    if variable.name == HEIGHT:
        metres = ~missing(variable, values)
        if file.header.l1c:
            metres &= file.read("day_version", begin, end) == -1  # the record has no L1C pixel
        values[metres] /= 1000
    return values


def read(file: VexFile, variable: Variable, masked: bool, begin: int, end: int,
         channels: slice | npt.NDArray[np.int64] = slice(None)) -> Array:
    """Values of a variable for the pixels from `begin` to before `end`; of a spectrum for some channels."""
    if variable.spectrum:
        return file.read_spectrum(begin, end, channels, masked)
    values = stored(file, variable, begin, end)
    return mask(variable, values) if masked else values


def read_time(file: VexFile, begin: int, end: int) -> npt.NDArray[np.datetime64]:
    """Times of pixels, datetime64[ns], UTC; NaT where a part of it is missing or cannot be."""
    year, month, day, hour, minute, milliseconds = (file.read(name, begin, end).astype(np.int64)
                                                    for name in TIME_FIELDS)
    there = ((year >= 1678) & (year <= 2261) & (month >= 1) & (month <= 12) & (day >= 1) & (day <= 31) & (hour >= 0)
             & (hour <= 24) & (minute >= 0) & (minute <= 60) & (milliseconds >= 0))
    months = np.where(there, (year - 1970) * 12 + month - 1, 0).astype("datetime64[M]")
    days = months.astype("datetime64[D]") + (day - 1)
    there &= days.astype("datetime64[M]") == months  # no 31st of April
    moment = days.astype("datetime64[ms]") + ((hour * 60 + minute) * 60000 + milliseconds)
    time: npt.NDArray[np.datetime64] = moment.astype("datetime64[ns]")
    time[~there] = np.datetime64("NaT")
    return time


def read_milliseconds(file: VexFile, begin: int, end: int) -> npt.NDArray[np.float64]:
    """Times of pixels in `TIME_UNITS`; NaN for NaT."""
    milliseconds: npt.NDArray[np.float64] = (read_time(file, begin, end) - EPOCH) / np.timedelta64(1, "ms")
    return milliseconds
