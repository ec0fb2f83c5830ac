"""Pictures of profiles: temperature, water vapour and ozone against pressure."""

from __future__ import annotations

from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import Any

import numpy as np
import xarray as xr
from numpy.typing import NDArray

from . import data
from . import style
from .data import Moments
from .style import Array, PathName

GRAVITY = 9.80665  # m s-2
AIR_TO_OZONE = 28.9644 / 47.9982  # molar masses
TOP = 1.0  # Pa, where a layer ends that reaches to the top of the atmosphere: above there is next to no ozone
# Levels and layers of pixels acquired before 2014-09-30 07:23; later ones have 101 (docs/formats.md).
SHORT_LEVELS, SHORT_LAYERS = 90, 4
SHORT, LONG = "90 levels or 4 layers: ", "101 levels or layers: "
RARE = 0.05  # a level that fewer of the pixels have is no mean of them: most lie below the ground

ONLY: dict[str, Any] = {"color": "black"}
OTHER: dict[str, Any] = {"color": "#31688e", "linestyle": (0, (4, 1.2))}  # short profiles beside long ones

TEMPERATURE = ("twt_temperature_pressure", "twt_temperature")  # Pa, K
HUMIDITY = ("twt_humidity_pressure", "twt_mixing_ratio")  # Pa, kg kg-1
OZONE = ("ozo_pressure_top", "ozo_pressure_bottom", "ozo_integrated_o3_density")  # Pa, Pa, kg m-2

Profile = tuple[Array, Array]  # pressure in hPa and values, both of shape (pixel, level)


@dataclass(frozen=True)
class Quantity:
    """A panel: its axis, the variables that it needs, how they are read, and the levels of short profiles."""

    axis: str
    needs: tuple[str, ...]
    read: Callable[[xr.Dataset, slice | Sequence[int]], Profile]
    short: int
    log: bool = False


@dataclass
class Mean:
    """Moments of pressures and values of one quantity, for profiles of one length."""

    pressure: Moments
    values: Moments


# --- reading


def read_temperature(dataset: xr.Dataset, pixels: slice | Sequence[int]) -> Profile:
    pressure, values = (data.load(dataset[name], pixels) for name in TEMPERATURE)
    return pressure / 100, values


def read_humidity(dataset: xr.Dataset, pixels: slice | Sequence[int]) -> Profile:
    pressure, values = (data.load(dataset[name], pixels) for name in HUMIDITY)
    return pressure / 100, np.where(values > 0, 1000 * values, np.nan)


def read_ozone(dataset: xr.Dataset, pixels: slice | Sequence[int]) -> Profile:
    """The mean partial pressure of each layer in mPa, once at its top and once at its bottom, so that lines are steps.

    It is the mean over the logarithm of pressure: on a logarithmic axis equal areas are equal columns.
    """
    top, bottom, column = (data.load(dataset[name], pixels) for name in OZONE)
    top, bottom = np.maximum(np.minimum(top, bottom), TOP), np.maximum(top, bottom)
    top, bottom, column = disjoint(top, bottom, column)
    with np.errstate(divide="ignore", invalid="ignore"):
        partial = 1e3 * AIR_TO_OZONE * GRAVITY * column / np.log(bottom / top)
    partial[~np.isfinite(partial)] = np.nan
    edges = np.stack([top, bottom], -1).reshape(len(top), -1)
    return edges / 100, np.repeat(partial, 2, axis=1)


def disjoint(top: Array, bottom: Array, column: Array) -> tuple[Array, Array, Array]:
    """Layers (Pa, kg m-2) as they are, or the shells between them where each of four holds another one.

    Pixels with four layers that lack one of them get none.
    """
    layers = np.stack([top, bottom, column])
    short = ~np.isfinite(column[:, SHORT_LAYERS:]).any(1)
    four = layers[:, short, :SHORT_LAYERS]
    complete = np.isfinite(four).all((0, 2))
    four[:, ~complete] = np.nan
    around, inner, outer = nesting(four)
    four[:, around] = shells(inner[:, around], outer[:, around])
    layers[:, short, :SHORT_LAYERS] = four
    return layers[0], layers[1], layers[2]


def nesting(layers: Array) -> tuple[NDArray[np.bool_], Array, Array]:
    """Which pixels have nested layers; each layer from the thickest on, and the one within it, empty in the last."""
    outer = np.take_along_axis(layers, np.argsort(layers[0] - layers[1], axis=1)[None], axis=2)
    inner = np.concatenate([outer[:, :, 1:], outer[:, :, -1:]], axis=2)
    inner[0, :, -1], inner[2, :, -1] = inner[1, :, -1], 0
    near = 1.0  # Pa: pressures are rounded in the archive
    within = (inner[0] >= outer[0] - near) & (inner[1] <= outer[1] + near)
    return within.all(1), inner, outer


def shells(inner: Array, outer: Array) -> Array:
    """What layers have around the ones within them: above these when they share their bottom, else below."""
    above = np.abs(inner[1] - outer[1]) <= np.abs(inner[0] - outer[0])
    top, bottom = np.where(above, outer[0], inner[1]), np.where(above, inner[0], outer[1])
    return np.stack([top, bottom, outer[2] - inner[2]])


QUANTITIES = (
    Quantity("Temperature (K)", TEMPERATURE, read_temperature, SHORT_LEVELS),
    Quantity("Water vapour (g kg$^{-1}$)", HUMIDITY, read_humidity, SHORT_LEVELS, log=True),
    Quantity("Ozone partial pressure (mPa)", OZONE, read_ozone, 2 * SHORT_LAYERS),
)


def available(dataset: xr.Dataset) -> list[Quantity]:
    found = [quantity for quantity in QUANTITIES if set(quantity.needs) <= set(dataset.variables)]
    if not found:
        raise ValueError(f"no profiles: the file has {data.listed([str(name) for name in dataset.data_vars])}")
    return found


# --- means


def collect(dataset: xr.Dataset, quantity: Quantity) -> tuple[dict[str, Mean], NDArray[np.bool_]]:
    """Moments at each level over all pixels, short and long profiles apart, and which pixels have one.

    A quantity on a logarithmic axis has the moments of its logarithms.
    """
    means: dict[str, Mean] = {}
    seen = np.zeros(dataset.sizes["pixel"], bool)
    total, levels = dataset.sizes["pixel"], max(dataset[name].shape[1] for name in quantity.needs)
    for block in data.blocks(total, levels):
        pressure, values = quantity.read(dataset, block)
        there = np.isfinite(pressure) & np.isfinite(values) & (pressure > 0)
        long = there[:, quantity.short :].any(1)
        seen[block] = there.any(1)
        for length, rows in ((SHORT, ~long & there.any(1)), (LONG, long)):
            if rows.any():
                add(means, length, np.where(there, pressure, np.nan)[rows], shown(quantity, values[rows], there[rows]))
    return means, seen


def shown(quantity: Quantity, values: Array, there: Array) -> Array:
    values = np.where(there, values, np.nan)
    return np.log(values) if quantity.log else values


def add(means: dict[str, Mean], length: str, pressure: Array, values: Array) -> None:
    levels = values.shape[1]
    mean = means.setdefault(length, Mean(Moments.of_none(levels), Moments.of_none(levels)))
    mean.pressure.add(pressure)
    mean.values.add(values)


def read_chosen(dataset: xr.Dataset, quantity: Quantity, pixels: Sequence[int]) -> tuple[Profile, NDArray[np.bool_]]:
    """The profiles of some pixels, and which of these have one."""
    pressure, values = quantity.read(dataset, pixels)
    there = np.isfinite(pressure) & np.isfinite(values) & (pressure > 0)
    return (np.where(there, pressure, np.nan), np.where(there, values, np.nan)), there.any(1)


# --- drawing


def draw_mean(panel: Any, quantity: Quantity, mean: Mean, label: str, look: dict[str, Any]) -> list[Any]:
    common = mean.values.count >= RARE * mean.values.count.max()
    pressure = mean.pressure.average()[common]
    average, deviation = mean.values.average()[common], mean.values.deviation()[common]
    low, high = average - deviation, average + deviation
    if quantity.log:
        average, low, high = np.exp(average), np.exp(low), np.exp(high)
    (line,) = panel.plot(average, pressure, label=f"{label}mean", **look)
    if np.isnan(deviation).all():
        return [line]
    words = f"{label}± standard deviation"
    band = panel.fill_betweenx(pressure, low, high, color=look["color"], alpha=0.25, linewidth=0, label=words)
    return [line, band]


def draw_means(panel: Any, quantity: Quantity, means: dict[str, Mean]) -> list[Any]:
    """Lines with their spread; where the file has short and long profiles, both."""
    handles = []
    for length, mean in sorted(means.items()):
        look = ONLY if length == LONG or len(means) == 1 else OTHER
        handles += draw_mean(panel, quantity, mean, length if len(means) > 1 else "", look)
    return handles


def draw_chosen(panel: Any, profile: Profile, names: Sequence[str]) -> list[Any]:
    lines = []
    for number, (pressure, values, name) in enumerate(zip(*profile, names)):
        there = np.isfinite(pressure) & np.isfinite(values)
        lines += panel.plot(values[there], pressure[there], label=name, **style.line_style(number, len(names)))
    return lines if len(lines) <= style.MOST_LINES else []


def set_axes(panels: Sequence[Any], quantities: Sequence[Quantity]) -> None:
    from matplotlib.ticker import FuncFormatter, LogLocator, NullFormatter

    for panel, quantity in zip(panels, quantities):
        panel.set_xlabel(quantity.axis)
        panel.grid()
        if quantity.log:
            panel.set_xscale("log")
            panel.xaxis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:g}"))
            panel.xaxis.set_minor_formatter(NullFormatter())
    first = panels[0]
    first.set_yscale("log")
    first.margins(y=0.005)
    low, high = sorted(first.get_ylim())
    first.set_ylim(high, low)
    subs = (1.0,) if high / low > 100 else (1.0, 2.0, 5.0)
    first.yaxis.set_major_locator(LogLocator(subs=subs))
    first.yaxis.set_major_formatter(FuncFormatter(lambda value, _: f"{value:g}"))
    first.yaxis.set_minor_formatter(NullFormatter())
    first.set_ylabel("Pressure (hPa)")
    style.letters(panels, 0.07)


def plot_profile(dataset: xr.Dataset, out: PathName, pixels: Sequence[int] | None = None) -> Any:
    """Draw profiles of temperature, water vapour and ozone, those that the file has, against pressure.

    Parameters
    ----------
    dataset
        With ``twt_temperature`` and ``twt_mixing_ratio`` at ``twt_temperature_pressure`` and
        ``twt_humidity_pressure``, of dimensions pixel and twt_level, or with ``ozo_integrated_o3_density`` between
        ``ozo_pressure_top`` and ``ozo_pressure_bottom``, of dimensions pixel and ozo_layer. It may be lazy: a block of
        pixels is read at a time.
    out
        The picture, a name that ends in .png, .pdf or .svg.
    pixels
        Which pixels, counted from 0; up to eight are named in the legend. Without it the mean of all at each level
        with its standard deviation is drawn, of water vapour those of the logarithms; profiles of 90 and of 101
        levels are kept apart.

    Returns
    -------
    matplotlib.figure.Figure
        What was written. Ozone is the partial pressure that the column of each layer amounts to; where layers hold
        each other, that of the shells between them.

    Raises
    ------
    ValueError
        No profiles, no such pixel, or no values.
    """
    with style.picture(out) as figure:
        quantities = available(dataset)
        if pixels is None:
            handles, count = draw_found(figure, [(one, *collect(dataset, one)) for one in quantities], draw_means)
        else:
            names = data.name_pixels(dataset, data.chosen(dataset, pixels))
            handles, count = draw_found(figure, [(one, *read_chosen(dataset, one, pixels)) for one in quantities],
                                        lambda panel, _, profile: draw_chosen(panel, profile, names))
        when = data.span(data.times(dataset, pixels))
        title = data.heading(dataset, when, data.counted(count, "profile"))
        figure.suptitle(style.wrapped(title, figure.get_figwidth()), fontsize=8)
        if handles:
            named = {handle.get_label(): handle for handle in handles}  # the same in all panels
            logarithms = pixels is None and any(quantity.log for quantity in quantities)
            note = "Of water vapour, mean and deviation of logarithms" if logarithms else None
            style.legend_below(figure, list(named.values()), 2, note)
    return figure


def draw_found(figure: Any, found: list[tuple[Quantity, Any, NDArray[np.bool_]]],
               draw: Callable[[Any, Quantity, Any], list[Any]]) -> tuple[list[Any], int]:
    """A panel for each quantity that any pixel has. Returns what the legend shows, and the number of pixels with a profile."""
    drawn = [(quantity, profiles, seen) for quantity, profiles, seen in found if seen.any()]
    panels = add_panels(figure, [quantity for quantity, _, _ in drawn])
    handles = [handle for panel, (quantity, profiles, _) in zip(panels, drawn) for handle in draw(panel, quantity, profiles)]
    set_axes(panels, [quantity for quantity, _, _ in drawn])
    return handles, int(np.any([seen for _, _, seen in drawn], axis=0).sum())


def add_panels(figure: Any, quantities: Sequence[Quantity]) -> list[Any]:
    """Panels side by side with one axis of pressure."""
    if not quantities:
        raise ValueError("no pixel has a profile: all values are missing")
    figure.set_size_inches({1: style.ONE_COLUMN, 2: 5.2}.get(len(quantities), style.TWO_COLUMNS), 3.7)
    return list(figure.subplots(1, len(quantities), sharey=True, squeeze=False)[0])
