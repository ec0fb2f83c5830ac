"""What the statistics files of ``vex -of txtstat`` look like: their lines of comment, and their columns as vex lists them."""

from __future__ import annotations

import functools
import itertools
import re
from collections.abc import Callable, Mapping
from dataclasses import dataclass
from typing import Any

import numpy as np
import numpy.typing as npt

from vexfile.reading.layout import tables

MISSING = -777.0
RADIANCE = "W/(m2 sr m-1)"
# Others are spelled alike. The variance of imager radiances is "as in the product", whose element table (0 40 019) has
# the unit of a radiance.
UDUNITS = {RADIANCE: "W m-2 sr-1 m", "as in the product": "W m-2 sr-1 m", "kg/m2": "kg m-2", "degrees": "degrees_north"}

# What vex prints of its tables.
CHANNEL_LIMIT: int = tables()["channel_limit"]
FILES: dict[str, dict[str, Any]] = {file["kind"]: file for file in tables()["statistics"]}
INTEGERS = {part["prefix"] + column["name"] for file in FILES.values() for group in file["groups"]
            for part in group["sets"] for column in group["columns"] if column["type"] == "int"}


def prefixes(kind: str) -> list[str]:
    """What the columns of a group of pixels begin with."""
    return [part["prefix"] for part in FILES[kind]["groups"][1]["sets"]]


GROUPS = tuple(prefixes("spectral"))
POSITIONS = tuple(prefix or "All pixels" for prefix in prefixes("histogram"))


@dataclass(frozen=True)
class Quantity:
    """A column of the grid: the product it belongs to, its name behind that, the unit (none for counts of pixels)."""

    product: str
    name: str
    unit: str
    long_name: str
    standard_name: str

    @property
    def column(self) -> str:
        return self.product + self.name


def _quantity(product: str, row: dict[str, str]) -> Quantity:
    own = f"{product} " if row["name"] == "Count" else ""
    return Quantity(product, row["name"], row["unit"], own + row["meaning"], row["standard_name"])


OBSERVATIONS = "number_of_observations"
QUANTITIES = tuple(_quantity(group["product"], row) for group in FILES["grid"]["groups"] if group["product"]
                   for row in group["columns"])
PRODUCTS = tuple(dict.fromkeys(quantity.product for quantity in QUANTITIES))


def quantities(product: str) -> list[Quantity]:
    """The columns of a product, its count of pixels first."""
    return [quantity for quantity in QUANTITIES if quantity.product == product]


FILTERS: dict[str, str] = {row["option"]: ".+" if row["text"] else r"\S+" for row in tables()["filters"]}
DATE = r"[-\d]\d{3}-[-\d]\d-[-\d]\d"
VALUES = {value["name"]: value["unit"] for value in tables()["histogram_values"]}
# What merging says of values that the files of the runs do not tell.
REMARKS = {
    "weighted": "a mean of a cell where more than one run has values is weighted by pixels, which is exact only when "
                "all of them have the value",
    "hidden": "a temperature of 0 or a deviation of -777 does not tell the radiances; where such a run and others have "
              "values Average is 0, StdDev and what follows -777",
}
COUNT = r"\d{1,18}"
# What may stand in the place of a name in a line; a name that is not here stands for a count.
FIELDS = {
    "satellite": r"unknown|\d+",
    "first_date": DATE,
    "last_date": DATE,
    **{f"filter_{option}": value for option, value in FILTERS.items()},
    "no_filter": "none",
    "set": r"all pixels|pixel position [1-4] \(FieldOfViewNumber mod 4 \+ 1\)"
           "|surface (?:all|sea|land), time of day (?:all|day|night)",
    "radiance_unit": re.escape(RADIANCE),
    "reference": "Average|the temperature given with -tbref",
    "moments": "Skewness",
    "value": "|".join(re.escape(f"{value}, {unit}") for value, unit in VALUES.items()),
    "latitudes": r"[1-9]\d{0,9}",
    "longitudes": r"[1-9]\d{0,9}",
    **{name: re.escape(remark) for name, remark in REMARKS.items()},
}
Found = Mapping[str, str]  # what stands in the lines, by the names in the templates


@dataclass(frozen=True)
class Line:
    """A line of comment: its text with {names}, and when it is there, judged by what the lines above it hold."""

    template: str
    when: Callable[[Found], bool] = lambda found: True
    optional: bool = False

    @functools.cached_property
    def pattern(self) -> re.Pattern[str]:
        parts = re.split(r"\{(\w+)\}", self.template)  # texts and, in between, names
        texts = [re.escape(text) for text in parts[0::2]]
        values = [f"(?P<{name}>{FIELDS.get(name, COUNT)})" for name in parts[1::2]]
        return re.compile("".join(itertools.chain(*itertools.zip_longest(texts, values, fillvalue=""))))


def _has(name: str) -> Callable[[Found], bool]:
    return lambda found: name in found


def _lacks(name: str) -> Callable[[Found], bool]:
    return lambda found: name not in found


def _has_no_filter(found: Found) -> bool:
    return not any(name.startswith("filter_") for name in found)


def _is_imager_average(found: Found) -> bool:
    return found["value"].startswith("imager average")


HEADER = (
    Line("Satellite: {satellite}"),
    Line("Dates: {first_date} to {last_date}"),
    *(Line(f"Filter: -{option} {{filter_{option}}}", optional=True) for option in FILTERS),
    Line("Filters: {no_filter}", _has_no_filter),
)
SKY = "Clear: CloudFraction 0; cloudy: CloudFraction 95 or more"
CLASS = Line("A class holds ClassMin and what lies between it and ClassMax, the last class also its ClassMax")
DEVIATION = Line("StdDev divides by Count - 1 and is 0 for one value")
SPECTRAL = (
    *HEADER,
    Line("Set: {set}"),
    Line("Pixels: {pixels} all, {clear_pixels} clear, {cloudy_pixels} cloudy"),
    Line(SKY + "; other pixels and those without: in all only"),
    Line("WaveNumber: cm-1"),
    Line("Average, StdDev: {radiance_unit}", optional=True),
    Line("Average: K, brightness temperature of the mean radiance, 0 where that is not above 0",
         _lacks("radiance_unit")),
    Line("StdDev: K, deviation of the radiances over the slope of the Planck function at {reference}",
         _lacks("radiance_unit")),
    DEVIATION,
    Line("{moments}: m3 / m2^1.5; Kurtosis: m4 / m2^2 - 3; 0 where m2 is 0; m2, m3, m4 divide by Count",
         optional=True),
    Line("Missing radiances are not counted; without a counted value: -777, a temperature 0"),
    Line("Merged: {hidden}", _lacks("radiance_unit"), optional=True),
)


def _outside(name: str) -> str:
    return f"{{{name}_below}} below, {{{name}_above}} above, {{{name}_missing}} missing"


def key(position: str) -> str:
    """What the names of the counts of a position begin with: "All pixels" to "all"."""
    return position.split()[0].lower()


HISTOGRAM = (
    *HEADER,
    Line("Value: {value}"),
    CLASS,
    Line("Pix1 to Pix4: pixel positions, FieldOfViewNumber mod 4 + 1"),
    *(Line(f"{name}: {{{key(name)}_counted}} counted, {_outside(key(name))}") for name in POSITIONS),
    DEVIATION,
    Line("Temperature: K, of Average in the imager band, 0 in an empty class", _is_imager_average),
    Line("Average and StdDev of an empty class: -777"),
)
RADIANCES = (
    *HEADER,
    Line("Set: {set}"),
    Line(f"Value: radiance, {RADIANCE}; a column holds the counts of the channel it is named after"),
    CLASS,
    Line("Pixels: {pixels}"),
    Line("Radiances of all channels: " + _outside("radiances")),
)
GRID = (
    *HEADER,
    Line("Cells: {latitudes} by {longitudes}, from south to north and west to east, in degrees"),
    Line("A cell holds its LatMin and LonMin; the last ones to the north and the east also LatMax and LonMax"),
    *(Line(f"{product} pixels: {{{product.lower()}_in_cells}} in cells, {{{product.lower()}_without_cell}} without a "
           "cell", optional=True) for product in PRODUCTS),
    *(Line(f"{quantity.column}: mean, {quantity.unit}", _has(f"{quantity.product.lower()}_in_cells"))
      for quantity in QUANTITIES if quantity.unit),
    Line(SKY, _has("l1c_in_cells")),
    Line("Counts are of pixels, with or without values; without a value a mean is -777"),
    Line("Merged: {weighted}", optional=True),
)


def products(found: Found) -> list[str]:
    """The products that a grid has columns of."""
    return [product for product in PRODUCTS if f"{product.lower()}_in_cells" in found]


# Options with which a file has a column, as far as its comments tell them.
OPTIONS: dict[str, Callable[[Found], bool]] = {
    "": lambda found: True, "-sk 1": _has("moments"), "-histavg": _is_imager_average}


def column_names(kind: str, found: Found) -> list[str] | None:
    """The columns of a file; None when they are named by channels."""
    groups = [group for group in FILES[kind]["groups"]
              if not group["product"] or f"{group['product'].lower()}_in_cells" in found]
    if any(group["channels"] for group in groups):
        return None
    return [part["prefix"] + column["name"] for group in groups for part in group["sets"] for column in group["columns"]
            if OPTIONS[column["option"]](found)]


@dataclass(frozen=True)
class Kind:
    """A kind of file: its title and its lines of comment."""

    title: str
    lines: tuple[Line, ...]


LINES = {"spectral": SPECTRAL, "histogram": HISTOGRAM, "radiance_histogram": RADIANCES, "grid": GRID}
KINDS = {kind: Kind(file["title"], LINES[kind]) for kind, file in FILES.items()}


def comments(kind: str, found: Found) -> list[str]:
    """The lines of comment of a file, without their "# ", from what they hold."""
    lines = [line for line in KINDS[kind].lines
             if line.when(found) and (not line.optional or line.pattern.groupindex.keys() <= found.keys())]
    return [KINDS[kind].title] + [line.template.format_map(found) for line in lines]


def is_count(name: str) -> bool:
    """True for columns of integers."""
    return name in INTEGERS or name.isdecimal()


def edges(low: float, high: float, count: int) -> npt.NDArray[np.float64]:
    """The edges of equal classes, (count + 1,)."""
    return np.append(low + (high - low) * np.arange(count) / count, high)
