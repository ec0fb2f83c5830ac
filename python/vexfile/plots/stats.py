"""Pictures of statistics: spectra, histograms, and grids of the globe."""

from __future__ import annotations

import re
from collections.abc import Callable
from typing import Any

import numpy as np
import xarray as xr
from numpy.typing import NDArray

from . import data
from . import style
from .globe import add_map, project, projection_of
from .maps import colours, draw_colour_bar
from .spectra import draw_line, runs, wave_axes
from .style import Array, PathName
from ..physics import SPACING

SMOOTH = 10.0  # cm-1
# The three groups differ in lightness, colour, dashes and width.
GROUPS: dict[str, dict[str, Any]] = {
    "clear": {"color": "#e08214", "linewidth": 1.4},
    "all": {"color": "black", "linewidth": 0.9},
    "cloudy": {"color": "#2166ac", "linewidth": 1.4, "linestyle": (0, (4, 1.2))},
}
FEW_CHANNELS = 8  # that are drawn as a line each
HATCHED = {"facecolor": "white", "hatch": 8 * "/", "edgecolor": "0.65", "linewidth": 0}  # cells without pixels
BARS = {"color": "#9ecae1", "edgecolor": "black", "linewidth": 0.3}


# --- titles


def days(dataset: xr.Dataset) -> str:
    """The dates of a run in words, as they stand where they are none of the calendar."""
    first, last = (str(dataset.attrs.get(name, "")) for name in ("first_date", "last_date"))
    try:
        return data.span(np.array([first, last], "datetime64[D]"))
    except ValueError:
        return first if first == last else f"{first} to {last}"


def title_of(dataset: xr.Dataset, counts: str) -> str:
    """Satellite, dates and counts; the pixels that the file is of and the filters where there are some."""
    group, filters = (str(dataset.attrs.get(name, "")) for name in ("set", "filters"))
    lines = [data.heading(dataset, days(dataset), counts)]
    lines += [re.sub(r" \(.*\)", "", group)] if group not in ("", "all pixels") else []
    return "\n".join(lines + [f"filters: {filters}"] * (filters not in ("", "none")))


# --- spectra


def smooth(wavenumber: Array, values: Array, times: int = 2) -> Array:
    """Means over `SMOOTH`, and means of these. What is missing stays so and counts for nothing."""
    begin, end = (np.searchsorted(wavenumber, wavenumber + side * SMOOTH / 2) for side in (-1, 1))
    there = np.isfinite(values)
    sums, counts = (np.append(0, np.cumsum(x)) for x in (np.where(there, values, 0), there))
    means = np.where(there, (sums[end] - sums[begin]) / np.maximum(counts[end] - counts[begin], 1), np.nan)
    return smooth(wavenumber, means, times - 1) if times > 1 else means


def spectral_panels(dataset: xr.Dataset) -> list[tuple[str, Array]]:
    """Label and values, of shape (group, channel), of each panel."""
    average = dataset["average"]
    scale, unit = style.unit(average.attrs)
    what = "brightness\ntemperature" if unit == "K" else "radiance"
    values = scale * np.asarray(average.values, float)
    panels = [(f"Mean {what}", values)]
    rest = values[1:] - values[:1]
    if np.isfinite(rest).any():
        panels.append(("Difference of\nmean from all", np.concatenate([values[:1] * 0, rest])))
    panels.append(("Standard\ndeviation", scale * np.asarray(dataset["standard_deviation"].values, float)))
    joint = "\n" if len(unit) > 2 else " "
    panels = [(f"{label}{joint}({unit})", columns) for label, columns in panels]
    for name in ("skewness", "kurtosis"):
        if name in dataset:
            panels.append((name.capitalize(), np.asarray(dataset[name].values, float)))
    return panels


def draw_groups(panel: Any, wavenumber: Array, values: Array, smoothed: bool) -> list[Any]:
    handles = []
    for row, (name, look) in enumerate(sorted(GROUPS.items())):  # all, clear, cloudy, as in the file
        line = smooth(wavenumber, values[row]) if smoothed else values[row]
        if np.isfinite(line).any():
            handles.append(draw_line(panel, wavenumber, line, label=name, zorder=2 + (name == "all"), **look))
    return handles


def draw_spectral(figure: Any, dataset: xr.Dataset) -> None:
    wavenumber = np.asarray(dataset["wavenumber"].values, float)
    panels = spectral_panels(dataset)
    if not np.isfinite(panels[0][1]).any():
        raise ValueError("no spectrum is counted: all means are missing")
    figure.set_size_inches(style.TWO_COLUMNS, 1.5 + 1.35 * len(panels))
    heights = [1.3] + [1.0] * (len(panels) - 1)
    axes = figure.subplots(len(panels), sharex=True, squeeze=False, gridspec_kw={"height_ratios": heights})[:, 0]
    smoothed = max(run.stop - run.start for run in runs(wavenumber)) > 4 * SMOOTH / SPACING
    handles: list[Any] = []
    for panel, (label, values) in zip(axes, panels):
        drawn = draw_groups(panel, wavenumber, values, smoothed)
        handles = handles or drawn
        panel.set_ylabel(label)
        panel.grid()
        wave_axes(panel, wavenumber, bottom=panel is axes[-1], top=panel is axes[0])
    if smoothed:
        look = {"color": "0.75", "linewidth": 0.4, "zorder": 1}
        handles.append(draw_line(axes[0], wavenumber, panels[0][1][0], label="all, each channel", **look))
    figure.align_ylabels(axes)
    style.letters(axes)
    note = f"Smoothed over {SMOOTH:g} cm$^{{-1}}$" if smoothed else None
    style.legend_below(figure, handles, 4, note)
    counts = [int(dataset.attrs.get(name, 0)) for name in ("pixels", "clear_pixels", "cloudy_pixels")]
    words = data.counted(counts[0], "pixel")
    if counts[1] or counts[2]:
        words += f": {data.thousands(counts[1])} clear and {data.thousands(counts[2])} cloudy"
    axes[0].set_title(style.wrapped(title_of(dataset, words), style.TWO_COLUMNS))


# --- histograms


def class_edges(dataset: xr.Dataset) -> tuple[Array, str]:
    """Edges of the classes as shown, and the text of their axis."""
    low, high = dataset["class_min"], dataset["class_max"]
    scale, unit = style.unit(low.attrs)
    words = str(low.attrs.get("long_name", "value")).partition(":")[0]
    edges = scale * np.append(low.values, high.values[-1:])
    return edges, style.with_unit(words[:1].upper() + words[1:], unit)


def draw_histogram(figure: Any, dataset: xr.Dataset) -> None:
    """Counts of all pixels as bars; the shares of the four positions, which are a quarter each by chance."""
    edges, words = class_edges(dataset)
    counts = np.asarray(dataset["count"].values, float)
    if not counts[0].any():
        raise ValueError("no pixel is counted in any class")
    figure.set_size_inches(style.ONE_COLUMN, 4.0)
    upper, lower = figure.subplots(2, sharex=True, gridspec_kw={"height_ratios": [3, 2]})
    upper.bar(edges[:-1], counts[0], np.diff(edges), align="edge", **BARS)
    upper.set_ylabel("Pixels")
    handles = draw_shares(lower, counts, edges)
    lower.set(xlabel=words, ylabel="Share of positions (%)", xlim=(edges[0], edges[-1]))
    for panel in (upper, lower):
        panel.grid()
    if "temperature" in dataset:
        upper.tick_params(top=False)
        temperature_axis(upper, dataset)
    figure.align_ylabels()
    style.letters((upper, lower))
    style.legend_below(figure, handles, 2)
    missing = sum(int(dataset.attrs.get(f"all_{name}", 0)) for name in ("below", "above"))
    outside = f", {data.thousands(missing)} outside" if missing else ""
    title = title_of(dataset, data.counted(int(counts[0].sum()), "pixel") + outside)
    upper.set_title(style.wrapped(title, 0.85 * style.ONE_COLUMN))


def draw_shares(panel: Any, counts: Array, edges: Array) -> list[Any]:
    """Lines of the four positions. Classes of few pixels do not set the limits: their shares are noise."""
    with np.errstate(invalid="ignore"):
        shares = np.where(counts[0] > 0, 100 * counts[1:] / counts[0], np.nan)
    common = counts[0] > 0.01 * counts[0].sum()
    off = max(2.0, 1.2 * np.abs(shares[:, common] - 25).max()) if common.any() else 25.0
    panel.axhline(25, color=style.GREY, linewidth=0.5)
    handles = [
        panel.stairs(share, edges, baseline=None, label=f"position {number + 1}", **style.line_style(number, 4))
        for number, share in enumerate(shares)
    ]
    panel.set_ylim(25 - off, 25 + off)
    return handles


def temperature_axis(panel: Any, dataset: xr.Dataset) -> None:
    """Brightness temperatures of the classes' means, above the panel."""
    means = style.unit(dataset["average"].attrs)[0] * np.asarray(dataset["average"].values[0], float)
    kelvin = np.asarray(dataset["temperature"].values[0], float)
    there = np.isfinite(means) & np.isfinite(kelvin)
    if there.sum() < 2:
        return
    ticks = np.arange(np.ceil(kelvin[there].min() / 10), kelvin[there].max() / 10 + 1e-9) * 10
    places = np.interp(ticks, kelvin[there], means[there])
    taken = style.apart(places[::-1].tolist(), 0.12 * float(np.ptp(panel.get_xlim())))
    above = panel.secondary_xaxis("top")
    above.set_xticks(taken, [f"{np.interp(at, means[there], kelvin[there]):.0f}" for at in taken])
    above.set_xlabel("Brightness temperature at 869.5 cm$^{-1}$ (K)")


def draw_radiance_histogram(figure: Any, dataset: xr.Dataset) -> None:
    edges, words = class_edges(dataset)
    counts = np.asarray(dataset["count"].values, float)
    if not counts.any():
        raise ValueError("no radiance is counted in any class")
    figure.set_size_inches(style.TWO_COLUMNS, 3.2)
    panel = figure.add_subplot()
    wavenumber = np.asarray(dataset["wavenumber"].values, float)
    if len(wavenumber) <= FEW_CHANNELS:
        draw_channels(figure, panel, wavenumber, counts, edges)
        panel.set(xlabel=words, ylabel="Pixels")
    else:
        draw_image(figure, panel, wavenumber, counts, edges)
        panel.set_ylabel(words)
    title = title_of(dataset, data.counted(int(dataset.attrs.get("pixels", 0)), "pixel"))
    panel.set_title(style.wrapped(title, style.TWO_COLUMNS))


def draw_channels(figure: Any, panel: Any, wavenumber: Array, counts: Array, edges: Array) -> None:
    handles = [
        panel.stairs(row, edges, label=f"{at:.2f} cm$^{{-1}}$", **style.line_style(number, len(wavenumber)))
        for number, (at, row) in enumerate(zip(wavenumber, counts))
    ]
    panel.grid()
    seen = np.flatnonzero(counts.any(0))
    panel.set_xlim(edges[seen[0]], edges[seen[-1] + 1])
    panel.set_ylim(0)
    style.legend_below(figure, handles, 4)


def draw_image(figure: Any, panel: Any, wavenumber: Array, counts: Array, edges: Array) -> None:
    """Channels by classes, their counts as colours, white where there is none; gaps between channels stay white."""
    from matplotlib.colors import LogNorm

    sides, rows = [], []
    for run in runs(wavenumber):
        sides += [wavenumber[run] - 0.125, wavenumber[run][-1:] + 0.125]
        rows += [counts[run], np.full((1, counts.shape[1]), np.nan)]
    image = np.concatenate(rows)[:-1].T
    norm = LogNorm(1, max(2.0, counts.max()))
    drawn = panel.pcolormesh(np.concatenate(sides), edges, np.where(image > 0, image, np.nan), norm=norm)
    drawn.set_rasterized(True)
    wave_axes(panel, wavenumber)
    seen = np.flatnonzero(counts.any(0))
    panel.set_ylim(edges[seen[0]], edges[seen[-1] + 1])
    bar = figure.colorbar(drawn, ax=panel, pad=0.01, aspect=30, label="Pixels of a class")
    bar.outline.set_linewidth(style.LINE)


# --- grid


def grid_field(dataset: xr.Dataset, name: str | None) -> xr.DataArray:
    """A column of the grid; by default the first mean that has a value."""
    columns = [str(column) for column in dataset.data_vars if dataset[column].dims == ("latitude", "longitude")]
    if name is not None and name not in columns:
        raise ValueError(f"no field {name}: the file has {data.listed(columns)}")
    means = [column for column in columns if not column.endswith("_count")]
    for column in [name] if name else means + columns:
        values = np.asarray(dataset[column].values, float)
        if np.isfinite(values).any() and np.nanmax(np.abs(values)) > 0:
            return dataset[column]
    raise ValueError(f"no cell has a value of {name or data.listed(columns)}")


def seen_part(seen: NDArray[np.bool_]) -> tuple[slice, NDArray[np.int64]]:
    """Rows and columns with pixels; columns from west to east, across the date line where that is shorter."""
    with_pixels, columns = np.flatnonzero(seen.any(1)), np.flatnonzero(seen.any(0))
    rows, total = slice(int(with_pixels[0]), int(with_pixels[-1]) + 1), seen.shape[1]
    gaps = np.diff(np.append(columns, columns[0] + total))
    if gaps.max() < total / 6:
        return rows, np.arange(total)
    begin = int(columns[(gaps.argmax() + 1) % len(columns)])
    return rows, (begin + np.arange(total - int(gaps.max()) + 1)) % total


def corners(bounds: Array, places: slice | NDArray[np.int64]) -> Array:
    """Edges of neighbouring cells; longitudes go on beyond 180 degrees."""
    chosen: Array = bounds[places]
    widths = np.cumsum(chosen[:, 1] - chosen[:, 0])
    return np.append(chosen[0, 0], chosen[0, 0] + widths)


def draw_grid(figure: Any, dataset: xr.Dataset, field: str | None, limits: tuple[float, float] | None,
              projection: str | None, land: PathName | None) -> None:
    chosen = grid_field(dataset, field)
    count = np.asarray(dataset[str(chosen.name).split("_")[0] + "_count"].values)
    rows, columns = seen_part(count > 0)
    latitude = corners(np.asarray(dataset["latitude_bounds"].values), rows)
    longitude = corners(np.asarray(dataset["longitude_bounds"].values), columns)
    values = style.unit(chosen.attrs)[0] * np.asarray(chosen.values, float)[rows][:, columns]
    count = count[rows][:, columns]
    crs = projection_of(projection, (longitude[1:] + longitude[:-1]) / 2, latitude)
    x, y = project(crs, *np.meshgrid(longitude, latitude))
    there = np.isfinite(x) & np.isfinite(y)
    title = title_of(dataset, data.counted(int(count.sum()), "pixel"))
    keys = cell_keys(empty=bool((count == 0).any()), blank=bool((np.isnan(values) & (count > 0)).any()))
    axes, bar = add_map(figure, crs, x[there], y[there], title, land, keys)
    axes.patch.set(**HATCHED)
    mesh = {"rasterized": True, "shading": "flat"}
    axes.pcolormesh(x, y, np.where(count > 0, 1.0, np.nan), cmap="binary", vmin=1, vmax=2, **mesh)
    look = colours(values[np.isfinite(values)], limits)
    drawn = axes.pcolormesh(x, y, values, norm=look.norm, cmap=look.cmap, **mesh)
    draw_colour_bar(figure, bar, drawn, look, style.label(chosen.attrs, str(chosen.name)))


def cell_keys(empty: bool, blank: bool) -> list[Any]:
    """What the legend says of cells without colour."""
    from matplotlib.patches import Patch

    framed = {"facecolor": "white", "edgecolor": "0.3", "linewidth": 0.5}
    keys = [Patch(**HATCHED, label="no pixels")] if empty else []
    return keys + ([Patch(**framed, label="pixels, but no value")] if blank else [])


# --- all of them

KINDS: dict[frozenset[str], Callable[[Any, xr.Dataset], None]] = {
    frozenset(("group", "channel")): draw_spectral,
    frozenset(("position", "class")): draw_histogram,
    frozenset(("channel", "class")): draw_radiance_histogram,
}
GRID = {"latitude", "longitude"}


def plot_statistics(statistics: xr.Dataset | PathName, out: PathName, field: str | None = None,
                    limits: tuple[float, float] | None = None, projection: str | None = None,
                    land: PathName | None = None) -> Any:
    """Draw a statistics file: spectra, a histogram, a histogram of radiances or a grid.

    Parameters
    ----------
    statistics
        A file of ``vex -of txtstat``, or its Dataset.
    out
        The picture, a name that ends in .png, .pdf or .svg.
    field
        Of a grid, which variable; by default the first mean that has values.
    limits
        Of a grid, lowest and highest value of the colour bar, in the unit that it shows.
    projection, land
        Of a grid, as of `plot_map`.

    Returns
    -------
    matplotlib.figure.Figure
        What was written.

    Raises
    ------
    ValueError
        No such field, or nothing was counted.
    FormatError
        The file is damaged.
    """
    if isinstance(statistics, xr.Dataset):
        dataset = statistics
    else:
        from ..statistics.files import open_statistics

        dataset = open_statistics(statistics)
    names = {str(name) for name in dataset.dims}
    with style.picture(out) as figure:
        draw = next((draw for dims, draw in KINDS.items() if dims <= names), None)
        if GRID <= names:
            draw_grid(figure, dataset, field, limits, projection, land)
        elif draw and field is None:
            draw(figure, dataset)
        else:
            wanted = f"no field {field} of a grid" if field else "no statistics"
            raise ValueError(f"{wanted}: the dimensions are {data.listed(sorted(names))}")
    return figure
