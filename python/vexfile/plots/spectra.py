"""Pictures of spectra: the mean of all pixels with its spread, or some pixels."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any

import numpy as np
import xarray as xr
from numpy.typing import NDArray

from . import data
from . import style
from ..physics import SPACING
from .data import Moments
from .style import Array, PathName

SPECTRA = ("brightness_temperature", "radiance")


def spectrum_of(dataset: xr.Dataset) -> xr.DataArray:
    """The radiances or brightness temperatures, with dimensions pixel and channel."""
    for name in SPECTRA:
        if name in dataset and dataset.sizes["channel"]:
            return dataset[name]
    raise ValueError(f"no spectra: the file has {data.listed([str(name) for name in dataset.data_vars])}")


def runs(wavenumber: Array) -> list[slice]:
    """Slices of neighbouring channels of an ascending sequence; between them are gaps."""
    edges = np.flatnonzero(np.diff(wavenumber) > 1.5 * SPACING) + 1
    bounds = [0, *edges.tolist(), len(wavenumber)]
    return [slice(begin, end) for begin, end in zip(bounds, bounds[1:])]


def broken(wavenumber: Array, *values: Array) -> list[Array]:
    """Wavenumbers and values with a NaN in each gap, which breaks lines."""
    gaps = [run.start for run in runs(wavenumber)[1:]]
    return [np.insert(column, gaps, np.nan) for column in (wavenumber, *values)]


def alone(wavenumber: Array) -> NDArray[np.bool_]:
    """True for channels with too few neighbours for a line that can be seen; they are drawn as points."""
    single = np.zeros(len(wavenumber), bool)
    least = (wavenumber[-1] - wavenumber[0]) / 300
    for run in runs(wavenumber):
        single[run] = run.stop - run.start == 1 or wavenumber[run][-1] - wavenumber[run][0] < least
    return single


def draw_line(panel: Any, wavenumber: Array, values: Array, **look: Any) -> Any:
    """A spectrum as a line that breaks in gaps, with points for channels that stand alone. Returns the handle."""
    single = alone(wavenumber)
    (line,) = panel.plot(*broken(wavenumber, values), **look)
    if single.any():
        points = {**look, "linestyle": "none", "marker": "o", "markersize": 3.5 if single.sum() < 60 else 1.2}
        (dots,) = panel.plot(wavenumber[single], values[single], **points, markeredgewidth=0)
        return dots if single.all() else line
    return line


def draw_spread(panel: Any, wavenumber: Array, low: Array, high: Array, **look: Any) -> Any:
    """A band between two spectra, with bars for channels that stand alone. Returns the handle."""
    single = alone(wavenumber)
    band = panel.fill_between(*broken(wavenumber, low, high), linewidth=0, **look)
    if single.any():
        width = 2.0 if single.sum() < 60 else 0.8
        panel.vlines(wavenumber[single], low[single], high[single], color=look["color"], linewidth=width, zorder=1)
    return band


def micrometres(low: float, high: float, ticks: int = 14) -> list[float]:
    """Round wavelengths between two wavenumbers (cm-1), the roundest first, that do not crowd each other."""
    waves: list[float] = []
    for step in (s * 10.0**e for e in range(1, -6, -1) for s in (1, 0.5, 0.2)):
        first, last = np.ceil(1e4 / high / step), np.floor(1e4 / low / step)
        new = np.arange(first, min(last, first + 200) + 1) * step
        waves = style.apart([*waves, *(1e4 / new)], (high - low) / ticks)
        if len(waves) > ticks // 2:
            break
    return [1e4 / wave for wave in waves]


def wave_axes(panel: Any, wavenumber: Array, bottom: bool = True, top: bool = True) -> None:
    """Wavenumbers below and wavelengths above a panel."""
    low, high = wavenumber.min(), wavenumber.max()
    margin = max(0.01 * (high - low), 2 * SPACING)
    low, high = max(low - margin, 1.0), high + margin
    panel.set_xlim(low, high)
    panel.ticklabel_format(axis="x", useOffset=False)
    if bottom:
        panel.set_xlabel("Wavenumber (cm$^{-1}$)")
    if not top:
        return
    panel.tick_params(axis="x", which="both", top=False)
    above = panel.secondary_xaxis("top", functions=(inverse, inverse))
    marks = micrometres(low, high)
    above.set_xticks(marks, [f"{mark:.6g}" for mark in marks])
    above.minorticks_off()
    above.set_xlabel("Wavelength (µm)")


def inverse(values: Array) -> Array:
    """Wavenumbers in cm-1 as wavelengths in micrometres, and back."""
    return 1e4 / np.maximum(values, 1e-9)


def collect(spectrum: xr.DataArray) -> tuple[Moments, int]:
    """Moments of each channel over all pixels, and how many pixels have any value; in blocks of pixels."""
    pixels, channels = spectrum.sizes["pixel"], spectrum.sizes["channel"]
    moments, seen = Moments.of_none(channels), 0
    for block in data.blocks(pixels, channels):
        values = data.load(spectrum, block)
        moments.add(values)
        seen += int(np.isfinite(values).any(1).sum())
    return moments, seen


def draw_mean(panel: Any, wavenumber: Array, moments: Moments, scale: float) -> list[Any]:
    mean, deviation = scale * moments.average(), scale * moments.deviation()
    look = {"color": "black", "linewidth": 0.5, "label": "mean"}
    if np.isnan(deviation).all():
        return [draw_line(panel, wavenumber, mean, **look)]
    band = draw_spread(
        panel, wavenumber, mean - deviation, mean + deviation, color="#9ecae1", label="± standard deviation"
    )
    return [draw_line(panel, wavenumber, mean, **look), band]


def draw_pixels(panel: Any, wavenumber: Array, spectra: Array, names: Sequence[str]) -> list[Any]:
    """One line a pixel; handles of those that the legend names, up to eight."""
    lines = [
        draw_line(panel, wavenumber, values, **{"linewidth": 0.5, **style.line_style(i, len(spectra)), "label": name})
        for i, (values, name) in enumerate(zip(spectra, names))
    ]
    return lines if len(lines) <= style.MOST_LINES else []


def plot_spectrum(dataset: xr.Dataset, out: PathName, pixels: Sequence[int] | None = None) -> Any:
    """Draw the mean spectrum of all pixels with its standard deviation, or the spectra of some pixels.

    Parameters
    ----------
    dataset
        With ``radiance`` (W m-2 sr-1 m) or ``brightness_temperature`` (K) of dimensions pixel and channel, and
        ``wavenumber`` (cm-1). It may be lazy: a block of pixels is read at a time.
    out
        The picture, a name that ends in .png, .pdf or .svg.
    pixels
        Which pixels, counted from 0; up to eight are named in the legend.

    Returns
    -------
    matplotlib.figure.Figure
        What was written. Radiances are in mW m-2 sr-1 cm.

    Raises
    ------
    ValueError
        No spectra, no such pixel, or no values.
    """
    with style.picture(out) as figure:
        spectrum = spectrum_of(dataset)
        wavenumber = np.asarray(dataset["wavenumber"].values, np.float64)
        order = np.unique(wavenumber, return_index=True)[1]
        wavenumber = wavenumber[order]
        scale, _ = style.unit(spectrum.attrs)
        panel = figure.add_subplot()
        if pixels is None:
            moments, seen = collect(spectrum)
            moments = Moments(moments.count[order], moments.mean[order], moments.squares[order])
            handles = draw_mean(panel, wavenumber, moments, scale)
        else:
            pixels = data.chosen(dataset, pixels)
            spectra = scale * data.load(spectrum, pixels)[:, order]
            handles = draw_pixels(panel, wavenumber, spectra, data.name_pixels(dataset, pixels))
            seen = int(np.isfinite(spectra).any(1).sum())
        if not seen:
            raise ValueError(f"{spectrum.name}: all values are missing")
        figure.set_size_inches(style.TWO_COLUMNS, 3.2)
        wave_axes(panel, wavenumber)
        panel.grid()
        panel.set_ylabel(style.label(spectrum.attrs, str(spectrum.name)))
        when = data.span(data.times(dataset, pixels))
        panel.set_title(data.heading(dataset, when, data.counted(seen, "pixel")))
        if handles:
            style.legend_below(figure, handles, 2)
    return figure
