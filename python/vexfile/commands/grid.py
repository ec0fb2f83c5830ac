"""Makes the grid of land and sea for ``vex -alt`` from an elevation model and the coast lines of GMT."""

from __future__ import annotations

import errno
import os
import re
import shutil
import subprocess
import tempfile
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

import numpy as np
import numpy.typing as npt

from ..reading.altitudes import COLUMN_EDGES, COLUMNS, NOT_GIVEN, ROW_EDGES, ROWS, Altitudes, write_grid
from ..writing import replacing

Array = npt.NDArray[np.float64]

ETOPO5 = "/usr/share/ferret-vis/data/etopo5.cdf"
NO_HEIGHTS = "no elevation model: give --elevation FILE.nc, or install the Debian package ferret-datasets (28 MB)"
NO_COASTS = "--lakes takes the coast lines of GMT: install the Debian package gmt"
#: Names and units of coordinates: of latitude, of longitude.
AXES = ({"lat", "latitude", "y"}, {"lon", "longitude", "x"})
UNITS = (re.compile("degrees?_?n(orth)?$", re.I), re.compile("degrees?_?e(ast)?$", re.I))
METRES = re.compile(r"(m|met(er|re)s?)?$", re.I)
BAND = 1 << 24  # values that are read at once


@dataclass(frozen=True)
class Source:
    """A variable over latitude and longitude, its axes in the order of the file; edges ascend."""

    variable: Any
    latitude_first: bool
    south_first: bool
    west_first: bool
    latitudes: Array
    longitudes: Array

    def rows(self, begin: int, end: int) -> tuple[Array, Array]:
        """Values of rows, counted from the south, and 1 where there is one: (row, column from west to east)."""
        count = len(self.latitudes) - 1
        taken = slice(begin, end) if self.south_first else slice(count - end, count - begin)
        found = self.variable[taken, :] if self.latitude_first else self.variable[:, taken].T
        found = found[::1 if self.south_first else -1, ::1 if self.west_first else -1][:, :len(self.longitudes) - 1]
        values: Array = found.astype(float).filled(np.nan)
        return np.nan_to_num(values, posinf=0, neginf=0), np.isfinite(values).astype(float)


def _edges(centres: Array) -> Array:
    middles = (centres[1:] + centres[:-1]) / 2
    return np.concatenate([[2 * centres[0] - middles[0]], middles, [2 * centres[-1] - middles[-1]]])


def _axis(file: Any, dimension: str) -> int | None:
    """0 for latitude, 1 for longitude, by the variable of that name."""
    variable = file.variables.get(dimension)
    if variable is None or variable.dimensions != (dimension,) or len(variable) < 2:
        return None
    units, name = str(getattr(variable, "units", "")), str(getattr(variable, "standard_name", dimension)).lower()
    return next((axis for axis in (0, 1) if UNITS[axis].match(units) or name in AXES[axis]), None)


def open_source(file: Any, path: str, name: str | None) -> Source:
    """The variable of that name, or the only one over latitude and longitude, of an open NetCDF file.

    Raises
    ------
    ValueError
        There is none or there are several, it is not in metres, or its cells do not cover the Earth.
    """
    fitting = [one for one, variable in file.variables.items()
               if {_axis(file, dimension) for dimension in variable.dimensions} == {0, 1} and variable.ndim == 2]
    if name not in fitting if name else len(fitting) != 1:
        said = f"has {', '.join(fitting)} over latitude and longitude" if fitting else "has no variable over latitude and longitude"
        raise ValueError(f"{path}: {said}" + "; choose by --variable" * bool(fitting))
    variable = file.variables[name or fitting[0]]
    if not METRES.match(units := str(getattr(variable, "units", ""))):
        raise ValueError(f"{path}: {variable.name} is in {units}, not in m")
    latitude_first = _axis(file, variable.dimensions[0]) == 0
    centres: list[Array] = [file.variables[dimension][:].astype(float).filled(np.nan) for dimension in variable.dimensions]
    latitude, longitude = centres if latitude_first else centres[::-1]
    south_first, west_first = bool(latitude[0] < latitude[1]), bool(longitude[0] < longitude[1])
    rows, columns = (_edges(one if ascends else one[::-1])
                     for one, ascends in ((latitude, south_first), (longitude, west_first)))
    high, wide = rows[1] - rows[0], columns[1] - columns[0]
    if columns[-1] - columns[0] > 360 + wide / 2:  # the last node is the first one once more
        columns = columns[:-1]
    if not (np.diff(rows).min() > 0 < np.diff(columns).min() and max(rows[0] + 90, 90 - rows[-1]) < high
            and abs(columns[-1] - columns[0] - 360) < wide / 2):
        raise ValueError(f"{path}: the cells of {variable.name} do not cover the Earth")
    rows[[0, -1]], columns[-1] = (-90, 90), columns[0] + 360
    return Source(variable, latitude_first, south_first, west_first, rows.clip(-90, 90), columns)


def _bands(source: Source) -> Iterator[tuple[range, int, int]]:
    """Rows of the grid, and the rows of the source that they need."""
    step = max(1, BAND * ROWS // ((len(source.latitudes) - 1) * (len(source.longitudes) - 1)))
    for first in range(0, ROWS, step):
        rows = range(first, min(first + step, ROWS))
        begin = int(np.searchsorted(source.latitudes, ROW_EDGES[rows.stop], "right")) - 1
        yield rows, begin, int(np.searchsorted(source.latitudes, ROW_EDGES[rows.start], "left"))


def cell_means(source: Source) -> Array:
    """Means over the area of each cell, of shape (row, column); NaN where half of the cell or more has no value."""
    made = np.full((ROWS, COLUMNS), np.nan)
    for rows, begin, end in _bands(source):
        values, valid = source.rows(begin, end)
        for row in rows:
            inside = np.sin(np.radians(source.latitudes[begin:end + 1].clip(ROW_EDGES[row + 1], ROW_EDGES[row])))
            weights = np.diff(inside)
            some = np.flatnonzero(weights)
            part = slice(some[0], some[-1] + 1)
            total, area = (_along(weights[part] @ one[part], source.longitudes) for one in (values, valid))
            there = area > weights.sum() * np.diff(COLUMN_EDGES) / 2
            np.divide(total, area, out=made[row], where=there)
    return made


def _along(row: Array, edges: Array) -> Array:
    """Integrals of a row of values over the columns of the grid."""
    below = np.concatenate([[0], np.cumsum(row * np.diff(edges))])
    turns, rest = np.divmod(COLUMN_EDGES - edges[0], 360)
    at: Array = np.interp(edges[0] + rest, edges, below) + turns * below[-1]
    return np.diff(at)


def read_means(path: str, name: str | None = None) -> tuple[Array, str, dict[str, Any]]:
    """Means of a NetCDF file by cell, the name and size of the variable, and the attributes of the file."""
    import netCDF4
    with netCDF4.Dataset(path) as file:
        source = open_source(file, path, name)
        shape = " x ".join(map(str, source.variable.shape))
        return cell_means(source), f"{source.variable.name} ({shape})", {one: file.getncattr(one) for one in file.ncattrs()}


def land_share(lakes: str) -> tuple[Array, str]:
    """The share of land in each cell by the coast lines of GMT (GSHHG), and where it is from."""
    lake = int(lakes == "land")
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run(["gmt", "grdlandmask", "-Rg", "-I2.5m", "-r", "-Df+f", f"-N0/1/{lake}/1/{lake}",
                               "-Gmask.nc=nb"], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True, text=True)
        mask = os.path.join(folder, "mask.nc")
        if done.returncode or not os.path.exists(mask):
            last = (done.stderr.strip().splitlines() or ["failed"])[-1]
            raise OSError(errno.EIO, f"{last.strip()} (is the Debian package gmt-common installed?)", "gmt")
        share, _, said = read_means(mask)
    resolution = re.search(r"the (\w+) resolution", str(said.get("description", "")))
    return share, f"GMT {str(said.get('GMT_version', '')).split(' ')[0]}, GSHHG" + (
        f" of {resolution[1]} resolution" if resolution else "")


def altitudes_of(heights: Array, share: Array | None) -> Altitudes:
    """Altitudes in m; land is 0 or more. Without shares of land, heights of 0 or more are land."""
    heights = np.round(heights, 6)
    land = heights >= 0 if share is None else share >= 0.5 - 1e-9
    return np.where(land, np.rint(np.nan_to_num(heights)).clip(0, 32767), NOT_GIVEN).astype(np.int16)


def grid(out: str, elevation: str | None = None, variable: str | None = None, lakes: str | None = None,
         force: bool = False) -> str:
    """Writes the grid, and tells from which sources.

    Parameters
    ----------
    out
        The file to write.
    elevation
        A NetCDF file with heights in m over latitude and longitude. None: ETOPO5 of Debian's ferret-datasets.
    variable
        Its variable, where several fit.
    lakes
        ``land`` (also None) or ``sea``, by the coast lines of GMT. Without GMT heights of 0 or more are land.
    force
        Replace `out` if it exists.

    Raises
    ------
    ValueError
        There are no heights or no fitting ones, or `lakes` is given without GMT.
    """
    path = elevation or ETOPO5
    if not elevation and not os.path.exists(path):
        raise ValueError(NO_HEIGHTS)
    if lakes and not shutil.which("gmt"):
        raise ValueError(NO_COASTS)
    with replacing(out, force, [path]) as part:
        heights, name, _ = read_means(path, variable)
        share, coasts = land_share(lakes or "land") if shutil.which("gmt") else (None, "")
        altitudes = altitudes_of(heights, share)
        write_grid(part, altitudes)
    area = -np.outer(np.diff(np.sin(np.radians(ROW_EDGES))), np.diff(COLUMN_EDGES))
    percent = 100 * area[altitudes >= 0].sum() / area.sum()
    coasts = f"{coasts}; lakes are {lakes or 'land'}" if coasts else "by the heights: land below 0 m is sea (GMT is not installed)"
    return f"heights  {path}, variable {name}\ncoasts   {coasts}\nland     {percent:.1f} % of the Earth"
