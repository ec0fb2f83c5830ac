"""Pictures of pixels on a map."""

from __future__ import annotations

import textwrap
from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any

import numpy as np
import xarray as xr

from . import data
from . import style
from .globe import add_map, bar_width, middle_and_width, project, projection_of
from .spectra import spectrum_of
from .style import Array, PathName
from ..errors import no_field
from ..reading.variables import ranges

CELLS = 1500  # across a map, about a dot of print each: of several pixels in one the last can be seen
MOST = 1_000_000  # pixels that are drawn before those that others hide are left out
LARGEST = 8.0  # points, of the mark of a pixel; the smallest is a dot of print
SMALLEST = 0.5
CATEGORIES = 12  # that colours can tell apart, next to each other
WINDOW = 900.0  # cm-1: the channel that is drawn unless another one is asked for, clear of strong lines


@dataclass(frozen=True)
class Pixels:
    """What a map shows: positions in degrees and values in the units of the file, all of shape (pixel).

    `count` is the number of pixels with a value, also of those that are hidden and left out.
    """

    longitude: Array
    latitude: Array
    values: Array
    count: int = 0

    def __len__(self) -> int:
        return len(self.values)


# --- which values


def channel_index(dataset: xr.Dataset, channel: float) -> int:
    """Place of a channel by its number (an integer) or its wavenumber in cm-1 (any other number)."""
    numbers = np.asarray(dataset["channel"].values)
    if isinstance(channel, (int, np.integer)):
        found = np.flatnonzero(numbers == channel)
        wanted = f"channel {channel}"
    else:
        distance = np.abs(np.asarray(dataset["wavenumber"].values) - channel)
        found = np.flatnonzero((distance == distance.min()) & (distance <= 0.126))
        wanted = f"channel at {channel:g} cm-1"
    if not found.size:
        there = ranges(numbers.tolist()).split(",")
        raise ValueError(f"no {wanted}: the file has the channels {', '.join(there[:10])}{', ...' * (len(there) > 10)}")
    return int(found[0])


def pick_channel(dataset: xr.Dataset, channel: float | None) -> tuple[xr.DataArray, str]:
    """A channel as a field of pixels, and the text of its colour bar."""
    spectrum = spectrum_of(dataset)
    if channel is None:
        distance = np.abs(np.asarray(dataset["wavenumber"].values) - WINDOW)
        channel = int(dataset["channel"].values[distance.argmin()])
    chosen = spectrum.isel(channel=channel_index(dataset, channel))
    words, _, unit = style.label(spectrum.attrs, str(spectrum.name)).partition(" (")
    return chosen, f"{words} at {float(chosen['wavenumber']):.2f} cm$^{{-1}}$ ({unit}"


def drawable(dataset: xr.Dataset) -> list[str]:
    """The fields of a file that a map can show."""
    fields = dataset.data_vars.items()
    return [str(name) for name, field in fields if "pixel" in field.dims and field.dtype.kind in "fiu"]


def pick_field(dataset: xr.Dataset, name: str, index: int | Sequence[int]) -> tuple[xr.DataArray, str]:
    """A field of pixels, one layer of it where it has layers, and the text of its colour bar."""
    if name not in drawable(dataset):
        raise ValueError(no_field(name, drawable(dataset)))
    field = dataset[name]
    words, _, unit = style.label(field.attrs, name).partition(" (")
    others = [str(dim) for dim in field.dims if dim != "pixel"]
    at = [index] * len(others) if isinstance(index, (int, np.integer)) else list(index)
    if len(at) != len(others):
        raise ValueError(f"{name}: {len(at)} indices, and {len(others)} dimensions besides pixel")
    for dim, place in zip(others, at):
        if not 0 <= place < field.sizes[dim]:
            raise ValueError(f"{name}: {dim} {place} is not there; it counts from 0 to {field.sizes[dim] - 1}")
        words += f", {dim.rpartition('_')[2]} {place + 1} of {field.sizes[dim]}"
        field = field.isel({dim: place})
    return field, f"{words} ({unit}" if unit else words


def collect(dataset: xr.Dataset, field: xr.DataArray) -> Pixels:
    """Pixels that have a position and a value, read in blocks; those that later ones hide may be left out."""
    if not {"latitude", "longitude"} <= set(dataset.variables):
        raise ValueError("no latitude and longitude to draw a map with")
    total = dataset.sizes["pixel"]
    parts: list[Pixels] = []
    count = 0
    for block in data.blocks(total, 1):
        longitude, latitude = (data.load(dataset[name], block) for name in ("longitude", "latitude"))
        values = data.load(field, block)
        there = np.isfinite(values) & (np.abs(latitude) <= 90) & (np.abs(longitude) <= 360)
        count += int(there.sum())
        parts.append(Pixels(longitude[there], latitude[there], values[there]))
        if sum(map(len, parts)) > MOST:
            parts = [thin(join(parts))]
    pixels = join(parts) if parts else Pixels(*np.empty((3, 0)))
    if not len(pixels):
        raise ValueError(f"{field.name}: none of {data.counted(total, 'pixel')} has a value and a position")
    return Pixels(pixels.longitude, pixels.latitude, pixels.values, count)


def join(parts: Sequence[Pixels]) -> Pixels:
    return Pixels(*(np.concatenate([getattr(p, n) for p in parts]) for n in ("longitude", "latitude", "values")))


def thin(pixels: Pixels) -> Pixels:
    """Without pixels that a later one of the same small cell hides, so that any number of them fits into memory."""
    cell = max(float(np.ptp(pixels.latitude)), middle_and_width(pixels.longitude)[1]) / CELLS
    row = np.floor((pixels.latitude + 90) / cell)
    column = np.floor((pixels.longitude % 360) * np.cos(np.radians(row * cell - 90)) / cell)
    last = len(pixels) - 1 - np.unique((row * 1e6 + column)[::-1], return_index=True)[1]
    last.sort()
    return Pixels(pixels.longitude[last], pixels.latitude[last], pixels.values[last])


# --- colours


@dataclass(frozen=True)
class Colours:
    """How values become colours: a norm of matplotlib and a colour map, and which ends of the bar go on."""

    norm: Any
    cmap: Any
    extend: str = "neither"


def categories(values: Array, attrs: Any) -> list[tuple[float, str]]:
    """Values and meanings of a field of categories, those that occur; none for other fields, and when they are many.

    Codes and flags without meanings are categories, too.
    """
    if "flag_values" not in attrs and attrs.get("comment") not in ("code", "flags"):
        return []
    flags = np.atleast_1d(attrs.get("flag_values", [])).tolist()
    words = dict(zip(flags, (word.replace("_", " ") for word in str(attrs.get("flag_meanings", "")).split())))
    found = np.unique(values).tolist()
    return [(value, words.get(value, f"{value:g}")) for value in found] if len(found) <= CATEGORIES else []


def key_texts(found: Sequence[tuple[float, str]], width: float) -> tuple[list[str], str]:
    """What stands below each category of a colour bar of `width` inches, and below all of them.

    Meanings that do not fit side by side are listed by their numbers.
    """
    letters = int(15 * width / len(found)) - 1
    if max(len(word) for _, words in found for word in words.split()) <= letters:
        return [textwrap.fill(words, letters) for _, words in found], ""
    numbers = [f"{value:g}" for value, _ in found]
    listed = [f"{number}\N{NO-BREAK SPACE}{words}" for number, (_, words) in zip(numbers, found) if words != number]
    return numbers, "\n" + textwrap.fill(", ".join(listed), int(15 * width)) if listed else ""


def category_colours(found: Sequence[tuple[float, str]]) -> Colours:
    import matplotlib
    from matplotlib.colors import BoundaryNorm, ListedColormap

    flags = np.array([value for value, _ in found], float)
    edges = np.concatenate([[flags[0] - 0.5], (flags[1:] + flags[:-1]) / 2, [flags[-1] + 0.5]])
    shades = matplotlib.colormaps["viridis"](np.linspace(0.08, 0.95, len(flags)) if len(flags) > 1 else [0.5])
    return Colours(BoundaryNorm(edges, len(flags)), ListedColormap(shades))


def robust_limits(values: Array) -> tuple[float, float]:
    """The lowest and the highest value, or the 1st and the 99th percentile where that is far beyond them."""
    low, high = (float(limit) for limit in np.percentile(values, (1, 99)))
    least, most = float(values.min()), float(values.max())
    margin = 0.1 * (high - low) or most - least
    return least if low - least <= margin else low, most if most - high <= margin else high


def colours(values: Array, limits: tuple[float, float] | None) -> Colours:
    """Limits by `robust_limits`, symmetric where values lie to both sides of zero.

    Both colour maps become steadily lighter, so that they can be read in grey and without seeing red or green.
    """
    import matplotlib
    from matplotlib.colors import Normalize

    low, high = limits or robust_limits(values)
    two_sided = limits is None and low < 0 < high and min(-low, high) > 0.2 * max(-low, high)
    if two_sided:
        low, high = -max(-low, high), max(-low, high)
    if low >= high:
        margin = 0.05 * abs(low) if 0 < abs(low) < 10 else 0.5
        low, high = low - margin, high + margin
    below, above = bool(values.min() < low), bool(values.max() > high)
    extend = {(False, False): "neither", (True, False): "min", (False, True): "max", (True, True): "both"}[below, above]
    return Colours(Normalize(low, high), matplotlib.colormaps["cividis" if two_sided else "viridis"], extend)


def draw_colour_bar(
    figure: Any, box: Any, drawn: Any, look: Colours, words: str, meanings: Sequence[str] | None = None
) -> None:
    """Categories have their `meanings` below their colours."""
    bar = figure.colorbar(drawn, cax=box, orientation="horizontal", extend=look.extend, extendfrac=0.03, label=words)
    bar.outline.set_linewidth(style.LINE)
    box.tick_params(which="both", direction="out", top=False, pad=2)
    if meanings:
        edges = look.norm.boundaries
        bar.set_ticks((edges[1:] + edges[:-1]) / 2, labels=meanings)
        box.tick_params(length=0)
        box.minorticks_off()


# --- the map


def spacing(x: Array, y: Array) -> float:
    """About the distance of neighbouring pixels, in the units of `x` and `y`; 0 for a single pixel.

    It is that of a square lattice whose eighth neighbour is as far as that of most pixels of a sample.
    """
    neighbours = min(8, len(x) - 1)
    if not neighbours:
        return 0.0
    sample = np.linspace(0, len(x) - 1, min(len(x), max(20, min(200, 10**7 // len(x))))).astype(int)
    distances = [np.partition((x - x[i]) ** 2 + (y - y[i]) ** 2, neighbours)[neighbours] for i in sample]
    return float(np.sqrt(np.percentile(distances, 75) * np.pi / neighbours))


def local_spacing(x: Array, y: Array) -> Array:
    """The same around each pixel, from the number of pixels in 5 by 5 cells, between `spacing` and twice that."""
    typical = spacing(x, y)
    cell = max(typical, float(np.ptp(x)) / 2000, float(np.ptp(y)) / 2000)
    if not cell:
        return np.zeros(len(x))
    column, row = (np.floor((along - along.min()) / cell).astype(int) + 3 for along in (x, y))
    counts = np.zeros((column.max() + 3, row.max() + 3))
    np.add.at(counts, (column, row), 1)
    sums = counts.cumsum(0).cumsum(1)
    right, left = (sums[column + to, row + 2] - sums[column + to, row - 3] for to in (2, -3))
    found: Array = 5 * cell / np.sqrt(right - left)
    return np.clip(found, typical, 2 * typical)


def mark_sizes(axes: Any, x: Array, y: Array) -> Array:
    """Diameters in points of marks that fill a swath, and that can be seen where pixels are few."""
    inches = axes.figure.get_figwidth() * axes.get_position().width / np.ptp(axes.get_xlim())
    distance = local_spacing(x, y) * inches * 72
    return np.where(distance > 0, np.clip(1.8 * distance, SMALLEST, LARGEST), LARGEST)


def plot_map(dataset: xr.Dataset, out: PathName, field: str | None = None, channel: float | None = None,
             limits: tuple[float, float] | None = None, projection: str | None = None, title: str | None = None,
             index: int | Sequence[int] = 0, land: PathName | None = None) -> Any:
    """Draw the pixels of a channel or of a field on a map.

    Parameters
    ----------
    dataset
        With ``latitude`` and ``longitude`` (degrees) of dimension pixel, and what is drawn. It may be lazy: no more
        than these fields is read, a block of pixels at a time.
    out
        The picture, a name that ends in .png, .pdf or .svg.
    field
        Name of a variable with the dimension pixel.
    channel
        Number of a channel (an integer) or its wavenumber in cm-1 (any other number), of radiances or brightness
        temperatures. Without `field` and `channel` it is the channel next to 900 cm-1.
    limits
        Lowest and highest value of the colour bar, in the unit that it shows.
    projection
        ``robinson``, ``platecarree``, ``lambert`` or ``stereographic``; by default what suits the data.
    title
        In place of satellite, dates and counts.
    index
        Which layer, counted from 0, of a field that has another dimension; one number for each of them.
    land
        The grid of land and sea that vex had as ``-alt``: its coasts are drawn, in place of those of the Earth.

    Returns
    -------
    matplotlib.figure.Figure
        What was written.

    Raises
    ------
    ValueError
        No such field, channel, layer or projection, or no pixel with a value and a position.
    """
    if field is not None and channel is not None:
        raise ValueError(f"either the field {field} or the channel {channel:g}, not both")
    with style.picture(out) as figure:
        chosen, words = pick_channel(dataset, channel) if field is None else pick_field(dataset, field, index)
        pixels = collect(dataset, chosen)
        crs = projection_of(projection, pixels.longitude, pixels.latitude)
        x, y, pixels = seen(crs, pixels)
        title = title or data.heading(dataset, data.span(data.times(dataset)), data.counted(pixels.count, "pixel"))
        draw_pixels(figure, crs, x, y, pixels.values, chosen.attrs, words, limits, title, land)
    return figure


def seen(crs: Any, pixels: Pixels) -> tuple[Array, Array, Pixels]:
    """Positions on the map, and the pixels without those that it cannot show."""
    x, y = project(crs, pixels.longitude, pixels.latitude)
    there = np.isfinite(x) & np.isfinite(y)
    if type(crs).__name__ == "Stereographic":
        there &= pixels.latitude * crs.proj4_params["lat_0"] >= 0
    if there.all():
        return x, y, pixels
    if not there.any():
        raise ValueError("no pixel is on the map of this projection")
    rest = Pixels(pixels.longitude[there], pixels.latitude[there], pixels.values[there], int(there.sum()))
    return x[there], y[there], rest


def draw_pixels(figure: Any, crs: Any, x: Array, y: Array, values: Array, attrs: Any, words: str,
                limits: tuple[float, float] | None, title: str, land: PathName | None) -> None:
    found = categories(values, attrs)
    shown = values if found else style.unit(attrs)[0] * values
    look = category_colours(found) if found else colours(shown, limits)
    meanings, listed = key_texts(found, bar_width(crs, x, y)) if found else ([], "")
    lines = max((text.count("\n") for text in meanings), default=0) + listed.count("\n")
    axes, bar = add_map(figure, crs, x, y, title, land, below=lines)
    sizes = mark_sizes(axes, x, y) ** 2
    drawn = axes.scatter(x, y, sizes, shown, norm=look.norm, cmap=look.cmap, linewidths=0, rasterized=len(x) > 2000)
    draw_colour_bar(figure, bar, drawn, look, words + listed, meanings)
