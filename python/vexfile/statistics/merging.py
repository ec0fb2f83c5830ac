"""Puts the statistics files of separate runs together into the file that one run over all their pixels would write.

Counts are exact, and what one run alone has values of stays as it is. All else comes from the nine digits that
files have of each value. With e = 1e-8 * (1 + |mean| / deviation), means come out right to
1e-8 * (|mean| + deviation), deviations to e of themselves, skewness to e * (1 + |skewness|) and kurtosis to
e * (3 + kurtosis). With ``-tb 1`` e is 1e-8 * (x + mean / deviation), both in kelvin, where
x = 1.438833 * wavenumber / mean: 3 at 645 cm-1 and 300 K, 20 at 2760 cm-1 and 200 K; with ``-tbref`` that goes for
temperatures near the means.

Two things are not in the files. Means of a grid lack the number of their values: where more than one run has some,
they are weighted by pixels. And with ``-tb 1`` a mean radiance that is not above 0 is a temperature of 0: where
such a run and others have values, the mean is 0 and the rest -777. A line of comment in the file says so.
"""

from __future__ import annotations

import os
from collections.abc import Iterator, Mapping, Sequence
from dataclasses import dataclass

import numpy as np
import numpy.typing as npt

from vexfile.statistics.files import Columns, Statistics, read_statistics
from vexfile.statistics.format import (
    FIELDS, MISSING, REMARKS, column_names, comments, is_count, prefixes, products, quantities)
from vexfile.physics import brightness_temperature, radiance, slope, wavenumber
from vexfile.writing import replacing

Path = str | os.PathLike[str]
Reals = npt.NDArray[np.float64]

IMAGER_WAVENUMBER = 869.5  # cm-1
CELLS = 1 << 18  # of a table, turned into text at a time


@dataclass(frozen=True)
class Moments:
    """Number and mean of sets of values, and the sums of the powers 2 to 4 of their deviations from the mean.

    All of one shape. A set without values has only zeros.
    """

    count: Reals
    mean: Reals
    m2: Reals
    m3: Reals
    m4: Reals


def combine(a: Moments, b: Moments) -> Moments:
    """The moments of the unions of sets.

    Only the distance of the means and sums about the means are used, so that no digits are lost where the mean is
    large against the deviation.
    """
    count = a.count + b.count
    share_a, share_b = a.count / np.maximum(count, 1), b.count / np.maximum(count, 1)
    apart = b.mean - a.mean
    apart2 = apart * apart
    both = share_a * b.count * apart2
    return Moments(
        count,
        a.mean + apart * share_b,
        a.m2 + b.m2 + both,
        a.m3 + b.m3 + both * apart * (share_a - share_b) + 3 * apart * (share_a * b.m2 - share_b * a.m2),
        a.m4 + b.m4 + both * apart2 * (share_a * share_a - share_a * share_b + share_b * share_b)
        + 6 * apart2 * (share_a * share_a * b.m2 + share_b * share_b * a.m2)
        + 4 * apart * (share_a * b.m3 - share_b * a.m3),
    )


def moments_of(columns: Columns) -> Moments:
    """The moments that the columns Count, Average, StdDev, Skewness and Kurtosis (none: 0) stand for.

    What they do not tell (-777, NaN) is NaN.
    """
    shown = [columns.get(name, np.zeros(len(columns["Count"])))
             for name in ("Count", "Average", "StdDev", "Skewness", "Kurtosis")]
    count, mean, deviation, *higher = (np.where(values == MISSING, np.nan, values) for values in shown)
    m2 = np.where(count < 2, 0, deviation * deviation * (count - 1))
    variance = m2 / np.maximum(count, 1)
    m3, m4 = (np.where(variance == 0, 0, sums * variance * variance * count)
              for sums in (higher[0] / np.sqrt(variance), higher[1] + 3))
    return Moments(count, np.where(count == 0, 0, mean), m2, m3, m4)


def columns_of(moments: Moments) -> Columns:
    """Average, StdDev, Skewness and Kurtosis of sets that have values."""
    count = np.maximum(moments.count, 1)
    variance = moments.m2 / count
    some = np.where(variance == 0, 1, variance)
    return {
        "Average": moments.mean,
        "StdDev": np.sqrt(moments.m2 / np.maximum(count - 1, 1)),
        "Skewness": np.where(variance == 0, 0, moments.m3 / count / some / np.sqrt(some)),
        "Kurtosis": np.where(variance == 0, 0, moments.m4 / count / some / some - 3),
    }


@dataclass(frozen=True)
class Temperatures:
    """How a file of spectra shows radiances in kelvin: by channels, and by the temperature of the slope.

    reference: that of -tbref, in K; NaN where it is not known; None: the mean's own.
    """

    wave: Reals
    reference: float | None

    def to_radiances(self, columns: Columns) -> Columns:
        at: npt.ArrayLike = columns["Average"] if self.reference is None else self.reference
        deviation = np.where(columns["StdDev"] == MISSING, np.nan, columns["StdDev"] * slope(self.wave, at))
        return columns | {"Average": radiance(self.wave, columns["Average"]), "StdDev": deviation}

    def from_radiances(self, columns: Columns) -> Columns:
        average = brightness_temperature(self.wave, columns["Average"])
        deviation = columns["StdDev"] / slope(self.wave, average if self.reference is None else self.reference)
        return columns | {"Average": average, "StdDev": np.where(np.isfinite(deviation), deviation, MISSING)}


def _temperatures(file: Statistics, reference: float | None) -> Temperatures | None:
    if file.kind != "spectral" or "radiance_unit" in file.fields:
        return None
    if file.fields["reference"] == "Average":
        return Temperatures(wavenumber(file.columns["Channel"]), None)
    at = np.nan if reference is None else float(np.float32(reference))  # as vex keeps it
    return Temperatures(wavenumber(file.columns["Channel"]), at)


class _Group:
    """Moments by channel or class of one group of pixels. Those of a row that one run alone has stay as they are."""

    NAMES = ("Count", "Average", "Temperature", "StdDev", "Skewness", "Kurtosis")

    def __init__(self, file: Statistics, prefix: str, temperatures: Temperatures | None) -> None:
        names = [name.removeprefix(prefix) for name in file.names if name.startswith(prefix)]
        self.shown: Columns = {name: file.columns[prefix + name] for name in names if name in _Group.NAMES}
        self.temperatures = temperatures
        self.several = np.zeros(len(self.shown["Count"]), np.bool_)
        self.moments = moments_of(temperatures.to_radiances(self.shown) if temperatures else self.shown)

    def add(self, other: _Group) -> None:
        first = self.moments.count == 0
        self.several |= ~first & (other.moments.count > 0)
        self.shown = {name: np.where(first, other.shown[name], values) for name, values in self.shown.items()}
        self.moments = combine(self.moments, other.moments)

    def unknown(self) -> npt.NDArray[np.bool_]:
        """Rows of several runs whose moments the files do not tell."""
        known = np.isfinite([self.moments.mean, self.moments.m2, self.moments.m3, self.moments.m4])
        return np.logical_and(self.several, ~np.all(known, 0))

    def columns(self) -> Columns:
        made = columns_of(self.moments)
        made["Temperature"] = brightness_temperature(IMAGER_WAVENUMBER, made["Average"])
        if self.temperatures:
            made = self.temperatures.from_radiances(made)
        made["Count"] = self.moments.count.astype(np.int64)
        shown = {name: np.where(self.several, made[name], values) for name, values in self.shown.items()}
        unknown = self.unknown()
        for name, values in shown.items():
            values[unknown] = 0 if name == "Average" else MISSING
        return shown | {"Count": made["Count"]}


class _MomentsMerger:
    """Spectra, and histograms of one value a pixel."""

    def __init__(self, file: Statistics, reference: float | None) -> None:
        self.file = file
        self.reference = reference
        self.groups = self.groups_of(file)
        self.hidden = False

    def groups_of(self, file: Statistics) -> dict[str, _Group]:
        temperatures = _temperatures(file, self.reference)
        return {prefix: _Group(file, prefix, temperatures) for prefix in prefixes(file.kind)}

    def add(self, file: Statistics) -> None:
        for prefix, group in self.groups_of(file).items():
            self.groups[prefix].add(group)

    def columns(self) -> Columns:
        columns = dict(self.file.columns)
        for prefix, group in self.groups.items():
            if group.unknown().any():
                self.judge(group, prefix)
            columns |= {prefix + name: values for name, values in group.columns().items()}
        return columns

    def judge(self, group: _Group, prefix: str) -> None:
        """What is hidden by a temperature of 0 is said, all else that is not known is refused."""
        if group.temperatures is None:
            axis = self.file.names[0]
            place = self.file.columns[axis][int(np.argmax(group.unknown()))]
            raise ValueError(f"what several runs have of {prefix}Average or {prefix}StdDev at {axis} {place:.9g} is no "
                             "number in one of them")
        if np.isnan(group.temperatures.reference or 0):
            raise ValueError("the deviations are at the temperature given with -tbref, which the files do not hold: "
                             "it has to be given")
        self.hidden = True

    def remark(self) -> str:
        return "hidden" if self.hidden else ""


class _RadianceMerger:
    """Histograms of the radiances of each channel."""

    def __init__(self, file: Statistics) -> None:
        self.sums = {name: file.columns[name].copy() for name in file.names}

    def add(self, file: Statistics) -> None:
        for name in filter(is_count, file.names):
            self.sums[name] += file.columns[name]

    def columns(self) -> Columns:
        return self.sums

    def remark(self) -> str:
        return ""


class _GridMerger:
    """Grids. A file without a product counts as one without its pixels."""

    def __init__(self, file: Statistics) -> None:
        self.sums: Columns = {name: file.columns[name] for name in file.names[:4]}
        self.weights: dict[str, Reals] = {}  # pixels behind a mean
        self.exact = True
        self.add(file)

    def add(self, file: Statistics) -> None:
        for product in products(file.fields):
            for quantity in quantities(product):
                values = file.columns[quantity.column]
                if quantity.unit:
                    self.add_mean(quantity.column, values, file.columns[product + "Count"])
                else:
                    self.sums[quantity.column] = self.sums.get(quantity.column, 0) + values

    def add_mean(self, name: str, values: Reals, pixels: npt.NDArray[np.int64]) -> None:
        added = np.where(values == MISSING, 0.0, pixels)
        if name not in self.sums:
            self.sums[name], self.weights[name] = values, added
            return
        weight, mean = self.weights[name], self.sums[name]
        both = (weight > 0) & (added > 0)
        total = weight + added
        middle = mean + (values - mean) * (added / np.maximum(total, 1))
        self.sums[name] = np.where(both, middle, np.where(added > 0, values, mean))
        self.weights[name] = total
        self.exact = self.exact and not both.any()

    def columns(self) -> Columns:
        return self.sums

    def remark(self) -> str:
        return "" if self.exact else "weighted"


def _merger(file: Statistics, reference: float | None) -> _MomentsMerger | _RadianceMerger | _GridMerger:
    if file.kind == "grid":
        return _GridMerger(file)
    if file.kind == "radiance_histogram":
        return _RadianceMerger(file)
    return _MomentsMerger(file, reference)


OF_A_RUN = ("satellite", "first_date", "last_date", *REMARKS)  # may differ between files


def _check_alone(file: Statistics) -> None:
    """Refuses files whose pixels were chosen by their number in the run."""
    for option in ("maxres", "skip"):
        value = file.fields.get(f"filter_{option}", "")
        if value and not value.startswith("-"):
            raise ValueError(f"{file.path} cannot be merged: -{option} {value} chooses pixels by their number in a run")


def _check_alike(first: Statistics, file: Statistics) -> None:
    if file.kind != first.kind:
        raise ValueError(f"{file.path} is a file of another kind than {first.path}: {file.kind}, not {first.kind}")
    for name in FIELDS:
        mine, others = file.fields.get(name, "none"), first.fields.get(name, "none")
        if mine != others and name not in OF_A_RUN:
            what = name.replace("filter_", "filter -").replace("_", " ")
            raise ValueError(f"{file.path} cannot be merged with {first.path}: {what}: {mine}, not {others}")
    if file.kind == "grid":
        return  # its cells follow from their numbers, its columns from the products
    if file.names != first.names:
        raise ValueError(f"{file.path} has other columns than {first.path}")
    for name in ("Channel", "ClassMin", "ClassMax"):
        if name in file.names and not np.array_equal(file.columns[name], first.columns[name]):
            raise ValueError(f"{file.path} has other values of {name} than {first.path}")


def _has_pixels(file: Statistics) -> bool:
    return any(int(value) > 0 for name, value in file.fields.items() if name not in FIELDS)


class _Comments:
    """What stands in the comments of the files, added up."""

    def __init__(self) -> None:
        self.fields: dict[str, str] = {}
        self.warnings: list[str] = []
        self.products: dict[str, list[str]] = {}  # of each file

    def add(self, file: Statistics) -> None:
        fields = file.fields
        self.products[file.path] = products(fields)
        if not self.fields:
            self.fields = dict(fields)
        else:
            self.fields["first_date"] = min(self.fields["first_date"], fields["first_date"])
            self.fields["last_date"] = max(self.fields["last_date"], fields["last_date"])
            for name in fields.keys() - FIELDS.keys():
                self.fields[name] = str(int(self.fields.get(name, "0")) + int(fields[name]))
        self.add_satellite(file)
        self.fields |= {name: remark for name, remark in fields.items() if name in REMARKS}

    def add_satellite(self, file: Statistics) -> None:
        satellite, known = file.fields["satellite"], self.fields["satellite"]
        if satellite == "unknown" and _has_pixels(file):
            self.warnings.append(f"{file.path} does not tell its satellite")
        if known == "unknown":
            self.fields["satellite"] = satellite
        elif satellite not in ("unknown", known):
            raise ValueError(f"{file.path} is of satellite {satellite}, others are of {known}")

    def close(self, remark: str) -> None:
        """What can be told when all files were seen. A file without any product is one of a run without pixels."""
        for path, there in self.products.items():
            lacking = [product for product in products(self.fields) if product not in there]
            if there and lacking:
                self.warnings.append(f"{path} has no columns of {', '.join(lacking)}: it counts as without such pixels")
        if remark:
            self.fields[remark] = REMARKS[remark]
        self.warnings += [text for name, text in self.fields.items() if name in REMARKS]


def _check_paths(paths: Sequence[Path]) -> None:
    """The files that are read are different ones."""
    if not paths:
        raise ValueError("there is no file to merge")
    seen: dict[tuple[int, int], Path] = {}
    for path in paths:
        status = os.stat(path)
        place = status.st_dev, status.st_ino
        if place in seen:
            raise ValueError(f"{os.fspath(path)} and {os.fspath(seen[place])} are the same file")
        seen[place] = path


def _blocks(kind: str, fields: Mapping[str, str], columns: Columns) -> Iterator[bytes]:
    """The content of a file, piece by piece."""
    names = column_names(kind, fields) or list(columns)
    yield "".join(f"# {line}\n" for line in comments(kind, fields)).encode("utf-8", "surrogateescape")
    yield ("\t".join(names) + "\n").encode()
    row = "\t".join("%d" if is_count(name) else "%.9g" for name in names) + "\n"
    rows = max(1, CELLS // len(names))
    for begin in range(0, columns[names[0]].size, rows):
        lists = [columns[name][begin:begin + rows].tolist() for name in names]
        yield "".join(row % values for values in zip(*lists)).encode()


def _merged(paths: Sequence[Path], reference: float | None) -> tuple[str, _Comments, Columns]:
    """The content of the file that is written. Files are read one after the other."""
    first = read_statistics(paths[0])
    _check_alone(first)
    said, merger = _Comments(), _merger(first, reference)
    said.add(first)
    for path in paths[1:]:
        file = read_statistics(path)
        _check_alike(first, file)
        said.add(file)
        merger.add(file)
    columns = merger.columns()
    said.close(merger.remark())
    return first.kind, said, columns


def merge_statistics(paths: Sequence[Path], out: Path, reference_temperature: float | None = None,
                     dates: tuple[str, str] | None = None, force: bool = False) -> list[str]:
    """Merges files of ``vex -of txtstat`` of separate runs into that which one run over all their pixels would write.

    The files are of one kind, satellite and set of pixels, with the same channels, classes or cells and the same
    filters. When runs have pixels in common these count twice; nothing in the files tells. What belongs together with
    a run's other files (histograms, surfaces, ...) is merged file by file.

    Parameters
    ----------
    paths
        The files. None may stand there twice.
    out
        The file that is written; not one of them.
    reference_temperature
        The temperature given with ``-tbref`` (K), which the files of such runs do not hold.
    dates
        First and last day, YYYY-MM-DD, where these are known to have been without input at the ends; without them the
        first and the last of the files.
    force
        Replace `out` if it exists.

    Returns
    -------
    list of str
        What there is to know: values that are not exact or missing, satellites that are not told, products that a file
        lacks.

    Raises
    ------
    FormatError
        A file is damaged.
    ValueError
        The files do not belong together, or `reference_temperature` is wanted.
    """
    _check_paths(paths)
    if reference_temperature is not None and not reference_temperature > 0:
        raise ValueError("a reference temperature is above 0")
    with replacing(os.fspath(out), force, [os.fspath(path) for path in paths]) as part, open(part, "wb") as file:
        with np.errstate(all="ignore"):  # what is no number is looked for at the end
            kind, said, columns = _merged(paths, reference_temperature)
        file.writelines(_blocks(kind, said.fields | dict(zip(("first_date", "last_date"), dates or ())), columns))
    return said.warnings
