"""Reads the statistics files of ``vex -of txtstat``: spectra, histograms, histograms of radiances, and grids."""

from __future__ import annotations

import io
import os
import pathlib
import re
import warnings
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

from vexfile.errors import FormatError
from vexfile.physics import wavenumber
from vexfile.reading.header import platform
from vexfile.statistics.format import (
    CHANNEL_LIMIT, FIELDS, GROUPS, KINDS, MISSING, OBSERVATIONS, POSITIONS, RADIANCE, UDUNITS, Found, Line,
    Quantity, column_names, comments, edges, is_count, key, prefixes, products, quantities)

if TYPE_CHECKING:
    import xarray as xr

Columns = dict[str, npt.NDArray[Any]]
Variable = tuple[Sequence[str], npt.ArrayLike, dict[str, str]]  # what xarray makes one of

CONVENTIONS = "CF-1.9"  # with integers of 64 bits: counts need them
MEAN, DEVIATION, SUM = (f"area: time: {method}" for method in ("mean", "standard_deviation", "sum"))
BLOCK = 1 << 23  # bytes of rows that are parsed at a time
NAMES_LIMIT = 1 << 16  # bytes; the longest line of names, that of a histogram of 8700 channels, has 42,408
INTEGER = re.compile(rb"-?\d+")
REAL = re.compile(rb"-?(\d+(\.\d+)?(e[-+]\d+)?|inf)|nan")


@dataclass(frozen=True)
class Statistics:
    """What a statistics file holds.

    Attributes
    ----------
    path : str
    kind : str
        "spectral", "histogram", "radiance_histogram" or "grid".
    comments : list of str
        The lines of comment without their "# ", the title first. Bytes that are no UTF-8 are surrogates.
    names : list of str
        The names of the columns.
    columns : dict of str to ndarray
        The columns by their names, (row,): counts and channels int64, all else float64 as it stands in the file.
    fields : dict of str to str
        What the comments give: "satellite", "first_date", "pixels", ...
    """

    path: str
    kind: str
    comments: list[str]
    names: list[str]
    columns: Columns
    fields: dict[str, str]


class _Reader:
    """One file, read from its beginning to its end; what is wrong is told with its place."""

    def __init__(self, path: str | os.PathLike[str]) -> None:
        self.path = os.fspath(path)
        self.data = pathlib.Path(path).read_bytes()
        self.place = 0
        self.rows = 0  # where they begin
        self.names: list[str] = []

    def fail(self, expected: str, offset: int | None = None) -> FormatError:
        return FormatError(self.path, self.place if offset is None else offset, expected)

    def line(self, limit: int | None = None) -> bytes:
        """The line at hand, without its line feed."""
        end = self.data.find(b"\n", self.place, None if limit is None else self.place + limit)
        if end >= 0:
            return self.data[self.place:end]
        raise self.fail("a line feed", len(self.data) if limit is None else min(len(self.data), self.place + limit))

    def comment(self) -> str | None:
        """The comment at hand, if the line is one."""
        if not self.data.startswith(b"# ", self.place):
            return None
        return self.line()[2:].decode("utf-8", "surrogateescape")

    def advance(self) -> None:
        self.place = self.data.index(b"\n", self.place) + 1

    def kind(self) -> str:
        title = self.comment()
        for name, kind in KINDS.items():
            if kind.title == title:
                self.advance()
                return name
        raise self.fail("the title of a statistics file")

    def found(self, lines: Sequence[Line]) -> dict[str, str]:
        """What the lines of comment hold."""
        found: dict[str, str] = {}
        text = self.comment()
        for line in lines:
            if not line.when(found):
                continue
            match = None if text is None else line.pattern.fullmatch(text)
            if match:
                found.update(match.groupdict())
                self.advance()
                text = self.comment()
            elif not line.optional:
                raise self.fail(f'the line "# {line.template}"')
        return found

    def read_names(self, expected: list[str] | None) -> None:
        self.names = self.line(NAMES_LIMIT).decode("ascii", "replace").split("\t")
        if expected is None:
            if self.names[:2] != ["ClassMin", "ClassMax"] or not _are_channels(self.names[2:]):
                raise self.fail("ClassMin, ClassMax and the numbers of channels, ascending")
        elif self.names != expected:
            raise self.fail("the names of the columns: " + " ".join(expected))
        self.advance()
        self.rows = self.place

    def table(self) -> Columns:
        """The rows, parsed block after block."""
        count = self.data.count(b"\n", self.rows)
        if not self.data.endswith(b"\n"):
            raise self.fail("a line feed", len(self.data))
        if 2 * count * len(self.names) > len(self.data) - self.rows:
            raise self.blame(len(self.data))
        table = np.empty(count, [(name, np.int64 if is_count(name) else np.float64) for name in self.names])
        filled = 0
        while self.place < len(self.data):
            last = self.data.rfind(b"\n", self.place, self.place + BLOCK)
            end = 1 + (last if last >= 0 else self.data.index(b"\n", self.place))
            rows = self.block(end, table.dtype)
            table[filled:filled + rows.size] = rows
            filled, self.place = filled + rows.size, end
        return {name: table[name] for name in self.names}

    def block(self, end: int, dtype: np.dtype[Any]) -> npt.NDArray[Any]:
        """The rows up to a place."""
        text = self.data[self.place:end]
        row = b"\t" * (len(self.names) - 1) + b"\n"
        if text.translate(None, b"0123456789+-.einfa") != row * text.count(b"\n"):
            raise self.blame(end)
        try:
            with warnings.catch_warnings():
                warnings.simplefilter("error", DeprecationWarning)  # of reals that are read as integers
                return np.loadtxt(io.BytesIO(text), dtype, delimiter="\t", comments=None, ndmin=1)
        except (ValueError, DeprecationWarning) as error:
            raise self.blame(end) from error

    def blame(self, end: int) -> FormatError:
        """Looks for the first field from the place at hand on that is not what it has to be."""
        tabs = len(self.names) - 1
        while self.place < end:
            line = self.line()
            if line.count(b"\t") != tabs:
                return self.fail(f"a row of {tabs + 1} columns")
            for name, field in zip(self.names, line.split(b"\t")):
                pattern, what = (INTEGER, "an integer") if is_count(name) else (REAL, "a number")
                if not pattern.fullmatch(field):
                    return self.fail(f"{what} in column {name}")
                self.place += len(field) + 1
        return self.fail("rows of numbers", self.rows)

    def offset(self, row: int, name: str) -> int:
        """Where a field begins."""
        place = self.rows
        for _ in range(row):
            place = self.data.index(b"\n", place) + 1
        for _ in range(self.names.index(name)):
            place = self.data.index(b"\t", place) + 1
        return place

    def require(self, good: npt.NDArray[np.bool_], name: str, expected: str) -> None:
        """Holds every row to a rule of a column."""
        if not good.all():
            raise self.fail(f"{expected} in column {name}", self.offset(int(np.argmin(good)), name))

    def require_total(self, total: int, expected: str, what: str) -> None:
        if total != int(expected):
            raise self.fail(f"rows whose {what} add up to {expected}", len(self.data))


def _are_channels(names: list[str]) -> bool:
    """True for numbers of channels, ascending."""
    if not all(re.fullmatch("[1-9][0-9]{0,3}", name) for name in names):
        return False
    channels = np.array(names, np.int64)
    return bool(np.all(np.diff(channels) > 0) and np.all(channels <= CHANNEL_LIMIT))


def _check_spectral(reader: _Reader, columns: Columns, found: Found) -> None:
    channel = columns["Channel"]
    ascending = np.diff(channel, prepend=0) > 0
    reader.require(ascending & (channel <= CHANNEL_LIMIT), "Channel", "a channel above the one before")
    reader.require(columns["WaveNumber"] == wavenumber(channel), "WaveNumber", "the wavenumber of the channel")
    for group, name in zip(GROUPS, ("pixels", "clear_pixels", "cloudy_pixels")):
        reader.require(columns[group + "Count"] <= int(found[name]), group + "Count", f"at most {found[name]}")


def _check_classes(reader: _Reader, columns: Columns) -> None:
    low, high = columns["ClassMin"], columns["ClassMax"]
    if low.size == 0:
        raise reader.fail("a row")
    reader.require(low <= high, "ClassMax", "a number not below ClassMin")
    reader.require(np.append(True, low[1:] == high[:-1]), "ClassMin", "the ClassMax of the row before")


def _check_histogram(reader: _Reader, columns: Columns, found: Found) -> None:
    _check_classes(reader, columns)
    for prefix, position in zip(prefixes("histogram"), POSITIONS):
        name = prefix + "Count"
        reader.require_total(int(columns[name].sum()), found[key(position) + "_counted"], name)


def _check_radiances(reader: _Reader, columns: Columns, found: Found) -> None:
    _check_classes(reader, columns)
    channels = reader.names[2:]
    outside = sum(int(found["radiances_" + where]) for where in ("below", "above", "missing"))
    inside = int(found["pixels"]) * len(channels) - outside
    reader.require_total(sum(int(columns[name].sum()) for name in channels), str(inside), "counts")


def _check_grid(reader: _Reader, columns: Columns, found: Found) -> None:
    shape = int(found["latitudes"]), int(found["longitudes"])
    if columns["LatMin"].size != shape[0] * shape[1]:
        raise reader.fail(f"{shape[0]} times {shape[1]} rows", len(reader.data))
    for name, axis, limit in (("Lat", 0, 90.0), ("Lon", 1, 180.0)):
        bounds = np.expand_dims(edges(-limit, limit, shape[axis]), 1 - axis)
        for side, wanted in (("Min", bounds.take(range(shape[axis]), axis)),
                             ("Max", bounds.take(range(1, shape[axis] + 1), axis))):
            near = np.abs(columns[name + side].reshape(shape) - wanted) < 1e-6
            reader.require(near.ravel(), name + side, "the edge of a cell")
    for product in products(found):
        total = int(columns[product + "Count"].sum())
        reader.require_total(total, found[product.lower() + "_in_cells"], product + "Count")


CHECKS = {"spectral": _check_spectral, "histogram": _check_histogram, "radiance_histogram": _check_radiances,
          "grid": _check_grid}


def is_statistics(head: bytes) -> bool:
    """True when a file that begins with these bytes is one of statistics. 64 bytes are enough."""
    return any(head.startswith(f"# {kind.title}\n".encode()) for kind in KINDS.values())


def read_statistics(path: str | os.PathLike[str]) -> Statistics:
    """Reads a file of ``vex -of txtstat``, or what `merge_statistics` made of some.

    Everything is held against what vex writes: each line of comment, the names of the columns, the number of columns
    and the numbers in each row, the edges of classes and cells, and the sums of counts that the comments give. Rows
    that are missing at the end of a file of spectra cannot be told, since nothing says how many channels there are;
    the same goes for the last classes of a histogram when nothing was counted in them.

    Raises
    ------
    FormatError
        Where the file is not what it should be.
    """
    reader = _Reader(path)
    kind = reader.kind()
    found = reader.found(KINDS[kind].lines)
    reader.read_names(column_names(kind, found))
    columns = reader.table()
    for name in filter(is_count, reader.names):
        reader.require(columns[name] >= 0, name, "a count")
    CHECKS[kind](reader, columns, found)
    return Statistics(reader.path, kind, comments(kind, found), reader.names, columns, found)


def _variable(dims: Sequence[str], values: npt.ArrayLike, long_name: str, units: str, vex_name: str,
              standard_name: str = "", cell_methods: str = "") -> Variable:
    attrs = {"long_name": long_name, "units": units, "vex_name": vex_name, "standard_name": standard_name,
             "cell_methods": cell_methods}
    return dims, values, {name: text for name, text in attrs.items() if text}


def _masked(values: npt.NDArray[Any], missing: npt.NDArray[np.bool_], mask: bool) -> npt.NDArray[Any]:
    return np.where(missing, np.nan, values) if mask else values


def _stacked(columns: Columns, names: Sequence[str]) -> npt.NDArray[Any]:
    return np.stack([columns[name] for name in names])


def _channels(channel: npt.ArrayLike) -> dict[str, Variable]:
    return {
        "channel": _variable(["channel"], channel, "channel", "1", "Channel"),
        "wavenumber": _variable(["channel"], wavenumber(channel), "wavenumber", "cm-1", "WaveNumber",
                                "sensor_band_central_radiation_wavenumber"),
    }


def _dataset(variables: Mapping[str, Variable], coordinates: Mapping[str, Any]) -> xr.Dataset:
    """Imports xarray, whose 40 MB those who only look at a file do without."""
    import xarray as xr
    dataset = xr.Dataset(variables, coordinates)
    for coordinate in dataset.coords.values():
        coordinate.encoding["_FillValue"] = None
    return dataset.reset_coords([name for name in dataset.coords if str(name).endswith("_bounds")])


def _spectral(file: Statistics, mask: bool) -> xr.Dataset:
    kelvin = "radiance_unit" not in file.fields
    at_average = file.fields.get("reference") == "Average"
    units = "K" if kelvin else UDUNITS[RADIANCE]
    standard_name = "toa_brightness_temperature" if kelvin else "toa_outgoing_radiance_per_unit_wavenumber"
    stack = {name: _stacked(file.columns, [group + name for group in GROUPS])
             for name in ("Count", "Average", "StdDev", "Skewness", "Kurtosis") if "All" + name in file.columns}
    empty = stack["Count"] == 0
    cold = kelvin & (stack["Average"] == 0)  # no temperature: the mean radiance is not above 0
    rows = (  # name, column, what, units, standard name, cell methods, missing besides -777
        ("average", "Average", "brightness temperature of the mean radiance" if kelvin else "mean radiance", units,
         standard_name, MEAN, cold),
        ("standard_deviation", "StdDev", "standard deviation of the radiance" + ", in kelvin" * kelvin, units, "",
         DEVIATION, empty | cold & at_average),
        ("skewness", "Skewness", "skewness of the radiance", "1", "", "", empty),
        ("kurtosis", "Kurtosis", "excess kurtosis of the radiance", "1", "", "", empty),
    )
    dims = ["group", "channel"]
    variables = {"count": _variable(dims, stack["Count"], "number of radiances", "1", "{All,Clear,Cloudy}Count",
                                    OBSERVATIONS, SUM)}
    for name, column, long_name, unit, standard, method, missing in rows:
        if column in stack:
            values = _masked(stack[column], missing | (stack[column] == MISSING), mask)
            variables[name] = _variable(dims, values, long_name, unit, "{All,Clear,Cloudy}" + column, standard, method)
    group = _variable(["group"], ["all", "clear", "cloudy"], "pixels by their cloud fraction", "", "All, Clear, Cloudy")
    return _dataset(variables, {"group": group, **_channels(file.columns["Channel"])})


def _classes(file: Statistics, what: str, units: str) -> dict[str, Variable]:
    return {f"class_{side.lower()}": _variable(["class"], file.columns["Class" + side], f"{what}: {edge} of the class",
                                               units, "Class" + side)
            for side, edge in (("Min", "lower edge"), ("Max", "upper edge"))}


def _histogram(file: Statistics, mask: bool) -> xr.Dataset:
    what, unit = file.fields["value"].split(", ")
    units = UDUNITS.get(unit, unit)
    rows = (  # name, column, what, units, cell methods, what is missing
        ("count", "Count", f"number of pixels by {what}", "1", SUM, None),
        ("average", "Average", f"mean {what} of the class", units, MEAN, MISSING),
        ("temperature", "Temperature", f"brightness temperature of the mean {what} at 869.5 cm-1", "K", MEAN, 0),
        ("standard_deviation", "StdDev", f"standard deviation of the {what} in the class", units, DEVIATION, MISSING),
    )
    variables = {}
    for name, column, long_name, units_of_row, method, missing in rows:
        if column in file.columns:
            values = _stacked(file.columns, [prefix + column for prefix in prefixes(file.kind)])
            values = values if missing is None else _masked(values, values == missing, mask)
            variables[name] = _variable(["position", "class"], values, long_name, units_of_row,
                                        "{,Pix1,Pix2,Pix3,Pix4}" + column, OBSERVATIONS * (name == "count"), method)
    position = _variable(["position"], [key(name) for name in POSITIONS], "position in the array of 2 x 2 pixels", "",
                         "Pix1, Pix2, Pix3, Pix4")
    return _dataset(variables, {"position": position, **_classes(file, what, units)})


def _radiance_histogram(file: Statistics, mask: bool) -> xr.Dataset:
    names = file.names[2:]
    counts = np.empty((len(names), file.columns["ClassMin"].size), np.int64)
    for row, name in zip(counts, names):
        row[:] = file.columns[name]
    count = _variable(["channel", "class"], counts, "number of radiances", "1", "#", OBSERVATIONS, SUM)
    return _dataset({"count": count}, {**_channels(np.array(names, np.int64)),
                                       **_classes(file, "radiance", UDUNITS[RADIANCE])})


def _axis(name: str, short: str, limit: float, count: int, units: str) -> dict[str, Variable]:
    """The centres of the cells along an axis of the grid, and their edges."""
    bounds = edges(-limit, limit, count)
    pairs = np.stack([bounds[:-1], bounds[1:]], 1)
    columns = f"{short}Min, {short}Max"
    centres = _variable([name], pairs.mean(1), f"{name} of the cell's centre", units, columns, name)
    centres[2]["bounds"] = f"{name}_bounds"
    return {name: centres,
            f"{name}_bounds": _variable([name, "bounds"], pairs, f"{name} of the cell's edges", units, columns)}


def variable_name(quantity: Quantity) -> str:
    """"l1c_cloud_fraction" of the column L1CCloudFraction."""
    words = re.sub("(?<=[a-z])(?=[A-Z])|(?<=[A-Z0-9])(?=[A-Z][a-z])", "_", quantity.name)
    return f"{quantity.product}_{words}".lower()


def _grid(file: Statistics, mask: bool) -> xr.Dataset:
    shape = int(file.fields["latitudes"]), int(file.fields["longitudes"])
    variables = {}
    for product in products(file.fields):
        for quantity in quantities(product):
            values = file.columns[quantity.column].reshape(shape)
            if quantity.unit:
                values = _masked(values, values == MISSING, mask)
            what = f"mean {quantity.long_name}" if quantity.unit else f"number of {quantity.long_name}"
            units = UDUNITS.get(quantity.unit, quantity.unit) or "1"
            variables[variable_name(quantity)] = _variable(["latitude", "longitude"], values, what, units,
                                                           quantity.column, quantity.standard_name,
                                                           MEAN if quantity.unit else SUM)
    return _dataset(variables, {**_axis("latitude", "Lat", 90.0, shape[0], "degrees_north"),
                                **_axis("longitude", "Lon", 180.0, shape[1], "degrees_east")})


DATASETS = {"spectral": _spectral, "histogram": _histogram, "radiance_histogram": _radiance_histogram, "grid": _grid}


def _text(text: str) -> str:
    """What of a text is UTF-8."""
    return text.encode("utf-8", "surrogateescape").decode("utf-8", "replace")


def _attributes(file: Statistics) -> dict[str, Any]:
    satellite = file.fields["satellite"]
    filters = [line.removeprefix("Filter: ") for line in file.comments if line.startswith("Filter: ")]
    number = -1 if satellite == "unknown" else int(satellite)
    attributes = {
        "Conventions": CONVENTIONS, "title": file.comments[0], "source": "vex", "instrument": "IASI",
        **({"platform": platform(number)} if number >= 0 else {}),
        "satellite": platform(number).removeprefix("satellite ") or satellite,
        "satellite_identifier": number,
        "first_date": file.fields["first_date"],
        "last_date": file.fields["last_date"],
        "filters": _text(" ".join(filters) or "none"),
        **{name: file.fields[name] for name in ("set", "value") if name in file.fields},
        **{name: int(value) for name, value in file.fields.items() if name not in FIELDS},
        "comments": _text("\n".join(file.comments)),
    }
    return attributes


def open_statistics(path: str | os.PathLike[str], mask: bool = True) -> xr.Dataset:
    """Reads a statistics file into a Dataset.

    Parameters
    ----------
    path
        A file of ``vex -of txtstat``.
    mask
        NaN for what is missing: -777, and temperatures of 0, which stand for a mean radiance that is missing or not
        above 0. False: all as it stands in the file.

    Returns
    -------
    xarray.Dataset
        Of a file of spectra: `count`, `average`, `standard_deviation` (W m-2 sr-1 m, or K), and where the file has
        them `skewness` and `kurtosis`, (group, channel), with the groups "all", "clear" and "cloudy".
        Of a histogram: `count`, `average`, `standard_deviation` and, of imager averages, `temperature` (K),
        (position, class), with the positions "all" and "pix1" to "pix4".
        Of a histogram of radiances: `count`, (channel, class).
        Of a grid: one variable a column, (latitude, longitude), named like `l1c_count`, `ozo_total_column`.
        Each variable says in `vex_name` which columns of the file it is. Satellite, dates, filters, the counts that
        the comments give, and the comments are attributes of the Dataset.

    Raises
    ------
    FormatError
        Where the file is not what it should be.
    """
    file = read_statistics(path)
    dataset = DATASETS[file.kind](file, mask)
    return dataset.assign_attrs(_attributes(file))
