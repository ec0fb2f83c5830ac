"""The files of vex as an engine of xarray: ``xarray.open_dataset("spectra.bin", engine="vex")``."""

from __future__ import annotations

import functools
import os
from collections.abc import Callable, Iterable
from typing import Any

import numpy as np
import numpy.typing as npt
import xarray
from xarray.backends import BackendArray, BackendEntrypoint
from xarray.core import indexing

from . import variables
from ..physics import wavenumber
from .opening import open_file, path_of
from ..statistics.files import CONVENTIONS, is_statistics, open_statistics
from .structure import HEAD, is_binary, is_text
from .variables import Variable, VexFile

Array = npt.NDArray[Any]
#: A chunk of dask holds about this many bytes of a variable.
DASK_CHUNK = 64 << 20
#: Pixels that are read as one stretch, with those between them, are at most this far apart.
NEAR = 16


class LazyArray(BackendArray):  # type: ignore[misc]
    """Values of a file that are read when they are asked for.

    Parameters
    ----------
    read
        Gives values from a first pixel to before a last one; of a spectrum for channels that are the third argument.
    """

    def __init__(self, shape: tuple[int, ...], dtype: np.dtype[Any], read: Callable[..., Array],
                 spectrum: bool = False) -> None:
        self.shape, self.dtype, self._read, self._spectrum = shape, dtype, read, spectrum

    def __getitem__(self, key: indexing.ExplicitIndexer) -> Array:
        found: Array = indexing.explicit_indexing_adapter(key, self.shape, indexing.IndexingSupport.OUTER, self._outer)
        return found

    def _outer(self, key: tuple[Any, ...]) -> Array:
        pixels, rest = key[0], key[1:]
        if self._spectrum:
            channels = rest[0]
            values = self._pixels(pixels, np.array([channels]) if _is_number(channels) else channels)
            return values[..., 0] if _is_number(channels) else values
        values = self._pixels(pixels)
        before = () if _is_number(pixels) else (slice(None),)
        for axis in reversed(range(len(rest))):
            values = values[(*before, *(slice(None),) * axis, rest[axis])]
        return values

    def _pixels(self, pixels: Any, *channels: Any) -> Array:
        """Values of pixels: a number, a slice or an array of them."""
        if _is_number(pixels):
            pixel = int(self._from_begin(np.array([pixels]))[0])
            one: Array = self._read(pixel, pixel + 1, *channels)[0]
            return one
        if isinstance(pixels, slice):
            begin, end, step = pixels.indices(self.shape[0])
            if step == 1:
                return self._read(begin, max(begin, end), *channels)
            pixels = np.arange(begin, end, step)
        unique, back = np.unique(self._from_begin(np.asarray(pixels, np.int64)), return_inverse=True)
        if not unique.size:
            return self._read(0, 0, *channels)
        pieces = np.split(unique, np.flatnonzero(np.diff(unique) > NEAR) + 1)
        found = [self._read(int(p[0]), int(p[-1]) + 1, *channels)[p - p[0]] for p in pieces]
        values: Array = np.concatenate(found)[back]
        return values

    def _from_begin(self, pixels: npt.NDArray[np.int64]) -> npt.NDArray[np.int64]:
        """Negative numbers count from the end."""
        count = self.shape[0]
        if pixels.size and (pixels.min() < -count or pixels.max() >= count):
            raise IndexError(f"there are {count} pixels")
        return np.where(pixels < 0, pixels + count, pixels)


def _is_number(key: Any) -> bool:
    return isinstance(key, (int, np.integer))


def preferred_chunks(variable: Variable) -> dict[str, int]:
    """The sizes of dask's chunks: all of a dimension but that of the pixels."""
    rest = dict(zip(variable.dimensions[1:], variable.shape[1:]))
    row = max(1, int(np.prod(variable.shape[1:], dtype=np.int64))) * variable.masked.itemsize
    return {"pixel": max(1, min(max(1, variable.shape[0]), DASK_CHUNK // row)), **rest}


def _lazy(file: VexFile, variable: Variable, masked: bool) -> xarray.Variable:
    encoding: dict[str, Any] = {"preferred_chunks": preferred_chunks(variable)}
    if masked:
        fill = None if variable.name in variables.COORDINATES else variable.raw.type(variable.fill)
        encoding |= {"dtype": variable.raw, "_FillValue": fill}
    array = LazyArray(variable.shape, variable.masked if masked else variable.raw,
                      functools.partial(variables.read, file, variable, masked), variable.spectrum)
    return xarray.Variable(variable.dimensions, indexing.LazilyIndexedArray(array), variable.attributes, encoding)


def _time(file: VexFile, decoded: bool) -> xarray.Variable:
    array = LazyArray((file.pixels,), np.dtype("M8[ns]" if decoded else "f8"),
                      functools.partial(variables.read_time if decoded else variables.read_milliseconds, file))
    attributes: dict[str, Any] = {"long_name": "time of the measurement, UTC", "standard_name": "time",
                                  "vex_name": "Year Month Day Hour Minute Milliseconds"}
    encoding: dict[str, Any] = {"dtype": np.dtype("f8"), "_FillValue": None,
                                "preferred_chunks": {"pixel": max(1, file.pixels)}}
    (encoding if decoded else attributes).update(variables.TIME_UNITS)
    return xarray.Variable(("pixel",), indexing.LazilyIndexedArray(array), attributes, encoding)


def _coordinates(file: VexFile, found: dict[str, Variable], decoded: bool) -> dict[str, xarray.Variable]:
    """Time and those that are known without reading."""
    coordinates = {"time": _time(file, decoded)}
    if any(variable.spectrum for variable in found.values()):
        channels = file.header.channels
        coordinates["channel"] = xarray.Variable("channel", channels, {"long_name": "channel number", "units": "1"})
        coordinates["wavenumber"] = xarray.Variable(
            "channel", wavenumber(channels),
            {"long_name": "wavenumber of the channel", "units": "cm-1",
             "standard_name": "sensor_band_central_radiation_wavenumber"}, {"_FillValue": None})
    for variable in found.values():
        for dimension, size in zip(variable.dimensions[1:], variable.shape[1:]):
            if dimension != "channel":
                coordinates[dimension] = xarray.Variable(
                    dimension, np.arange(1, size + 1, dtype=np.int32),
                    {"long_name": "number of the " + dimension.replace("_", " "), "units": "1"})
    return coordinates


def attributes(file: VexFile) -> dict[str, Any]:
    """What is said of a file as a whole."""
    header = file.header
    found = {"Conventions": CONVENTIONS, "title": "IASI " + " and ".join(
        ["spectra"] * header.l1c + ["retrievals"] * bool(header.kinds)), "source": "vex", "instrument": "IASI",
        "platform": header.platform, "satellite_identifier": np.int32(header.satellite),
        "products": " ".join(["L1C"] * header.l1c + list(header.kinds)),
        "vex_format": "text" if header.text else "binary, big-endian" if header.big_endian else "binary"}
    return {name: value for name, value in found.items() if not isinstance(value, str) or value}


def dataset(file: VexFile, mask: bool = True, drop: Iterable[str] = (), times: bool = True) -> xarray.Dataset:
    """The Dataset of a binary or text file; nothing is read yet. `times`: as such, not as numbers."""
    found = variables.variables(file)
    dropped = {*drop, *(variables.TIME_FIELDS if mask else ())}
    lazy = {name: _lazy(file, variable, mask) for name, variable in found.items() if name not in dropped}
    lazy |= {name: value for name, value in _coordinates(file, found, times).items() if name not in dropped}
    _refer(lazy)
    data = xarray.Dataset(lazy, attrs=attributes(file))
    return data.set_coords([name for name in (*variables.COORDINATES, "wavenumber") if name in data])


def _refer(data: dict[str, xarray.Variable]) -> None:
    """Names the coordinates of each variable that has pixels, and the flags of the spectrum."""
    flags = " ".join(name for name in data if name.startswith("quality_flag_"))
    for name, variable in data.items():
        if "pixel" in variable.dims and name not in variables.COORDINATES:
            spectrum = "channel" in variable.dims
            there = [one for one in (*variables.COORDINATES, *["wavenumber"] * spectrum) if one in data]
            if there:
                variable.encoding["coordinates"] = " ".join(there)
            if spectrum and flags:
                variable.attrs["ancillary_variables"] = flags


class VexBackendEntrypoint(BackendEntrypoint):  # type: ignore[misc]
    """The engine "vex": binary, text and statistics files."""

    description = "Files of vex: IASI spectra, retrievals and statistics"
    open_dataset_parameters = ("filename_or_obj", "drop_variables", "mask", "index", "mask_and_scale", "decode_times")

    def open_dataset(self, filename_or_obj: str | os.PathLike[str], *, drop_variables: Iterable[str] | str | None = None,
                     mask: bool = True, index: bool = False, mask_and_scale: bool = True,
                     decode_times: bool = True) -> xarray.Dataset:
        """Opens a file without `drop_variables`; see `vexfile.open` for the others and for what is raised."""
        path, mask = path_of(filename_or_obj), mask and mask_and_scale
        drop = [drop_variables] if isinstance(drop_variables, str) else list(drop_variables or ())
        with open(path, "rb") as file:
            head = file.read(HEAD)
        if is_statistics(head):
            return open_statistics(path, mask).drop_vars(drop, errors="ignore")
        return dataset(open_file(path, index), mask, drop, decode_times)

    def guess_can_open(self, filename_or_obj: Any) -> bool:
        """Whether the file begins as one of vex does."""
        try:
            with open(path_of(filename_or_obj), "rb") as file:
                head = file.read(HEAD)
        except (OSError, TypeError, ValueError):
            return False
        return len(head) >= 18 and (is_binary(head) or is_text(head) or is_statistics(head))
