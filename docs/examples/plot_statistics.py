#!/usr/bin/env python3
"""Plots statistics files of vex -of txtstat. Needs numpy, matplotlib and pillow.

plot_statistics.py spectrum STATFILE OUT.png             spectra of all, clear and cloudy pixels: means, their
                                                         differences, and the spread
plot_statistics.py map BOXSTATFILE COLUMN OUT.png [GRID] a column of the grid of cells as a map, with the coasts of the
                                                         grid of land and sea that was given to vex as -alt
"""
import datetime
import io
import re
import sys

import matplotlib
import numpy as np
from PIL import Image

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402  after the choice of what draws

WIDTH = 5.2  # inches; texts of 9 points can still be read when it is set in a column of 3.5
matplotlib.rcParams.update({
    "font.family": "DejaVu Sans", "font.size": 9, "axes.titlesize": 9, "legend.fontsize": 8, "xtick.labelsize": 8,
    "ytick.labelsize": 8, "axes.linewidth": 0.6, "grid.linewidth": 0.4, "grid.color": "0.85", "axes.axisbelow": True,
    "xtick.direction": "in", "ytick.direction": "in", "legend.frameon": False, "hatch.linewidth": 0.5,
    "axes.formatter.limits": (-2, 5), "axes.formatter.use_mathtext": True})
SATELLITES = {"3": "MetOp-B", "4": "MetOp-A", "5": "MetOp-C"}
# The three groups differ in lightness, colour and dashes.
GROUPS = {"Clear": ("#e08214", "-", 1.4), "All": ("black", "-", 0.9), "Cloudy": ("#2166ac", (0, (4, 1.2)), 1.4)}
SMOOTH = 10  # cm-1
QUANTITIES = {
    "L1CCount": "Spectra", "L1CClearCount": "Clear spectra", "L1CCloudyCount": "Cloudy spectra",
    "L1CCloudFraction": "Cloud fraction", "L1CAverageIIS": "Imager radiance", "ozoTotalColumn": "Ozone column",
    "trgIntegratedN2ODensity": "N$_2$O column", "trgIntegratedCODensity": "CO column",
    "trgIntegratedCH4Density": "CH$_4$ column", "trgIntegratedCO2Density": "CO$_2$ column",
    "clpCloudAmountInSegment": "Cloud amount", "clpPressure": "Cloud-top pressure",
    "clpTemperature": "Cloud-top temperature", "twtSkinTemperature": "Skin temperature",
    "emsEmissivity": "Surface emissivity", "percent": "%", "W/(m2 sr m-1)": "W m$^{-2}$ sr$^{-1}$ m",
    "kg/m2": "kg m$^{-2}$"}


def read(path):
    """What the lines of comment say by their first words (several filters joined), and the columns by their names."""
    with open(path, encoding="utf-8", errors="replace") as file:
        lines = file.read().split("\n")
    comments = {}
    for line in lines:
        if line.startswith("#"):
            word, _, text = line[2:].partition(": ")
            comments[word] = comments[word] + " " + text if word in comments else text
    names, *rows = [line.split("\t") for line in lines if not line.startswith("#")]
    if not comments or len(rows) < 2 or rows.pop() != [""] or any(len(row) != len(names) for row in rows):
        raise ValueError(f"{path} is no statistics file, has no rows or is cut short")
    return comments, dict(zip(names, np.array(rows, float).T))


def column(columns, name):
    if name not in columns:
        raise ValueError(f"there is no column {name}; the file has {' '.join(columns)}")
    return columns[name]


def title(comments, counts):
    """Satellite and dates in words; the filters where there are some."""
    first, last = (datetime.date.fromisoformat(day) for day in comments["Dates"].split(" to "))
    days = [f"{day.day} {day:%B %Y}" for day in (first, last)[:1 + (first != last)]]
    satellite = SATELLITES.get(comments["Satellite"], "satellite " + comments["Satellite"])
    counts = re.sub(r"\d{4,}", lambda number: f"{int(number[0]):,}".replace(",", "\N{THIN SPACE}"), counts)
    return f"{satellite}, {' to '.join(days)}, {counts}" + ("\n" + comments["Filter"] if "Filter" in comments else "")


def save(figure, out):
    image = io.BytesIO()
    figure.savefig(image, format="png", dpi=200)
    Image.open(image).convert("RGB").quantize(256).save(out, optimize=True)  # half the bytes


def smooth(wave_number, values, times=2):
    """Means over SMOOTH cm-1, and means of these; what is not there (NaN) stays so and counts for nothing."""
    begin, end = (np.searchsorted(wave_number, wave_number + side * SMOOTH / 2, "left") for side in (-1, 1))
    there = ~np.isnan(values)
    sums, counts = (np.append(0, np.cumsum(x)) for x in (np.where(there, values, 0), there))
    means = np.where(there, (sums[end] - sums[begin]) / np.maximum(counts[end] - counts[begin], 1), np.nan)
    return smooth(wave_number, means, times - 1) if times > 1 else means


def plot_spectrum(path, out):
    comments, columns = read(path)
    wave_number = column(columns, "WaveNumber")
    kelvin = comments.get("Average", "").startswith("K")
    scale = 1 if kelvin else 1e5  # W/(m2 sr m-1) to mW/(m2 sr cm-1)
    mean, spread = {}, {}
    for name in GROUPS:
        for values, suffix in ((mean, "Average"), (spread, "StdDev")):
            blank = (column(columns, name + "Count") == 0) | (kelvin & (column(columns, name + "Average") == 0))
            values[name] = np.where(blank, np.nan, scale * column(columns, name + suffix))
    gaps = np.flatnonzero(np.diff(wave_number) > 0.25) + 1  # lines are broken there, unless channels stand alone
    gaps = gaps if 2 * gaps.size < wave_number.size else []

    def draw(panel, values, **style):
        panel.plot(np.insert(wave_number, gaps, np.nan), np.insert(values, gaps, np.nan), **style)

    figure, panels = plt.subplots(3, figsize=(WIDTH, 5.6), height_ratios=(4, 3, 3), sharex=True, layout="constrained")
    for name, (colour, dashes, width) in GROUPS.items():
        style = {"color": colour, "linestyle": dashes, "linewidth": width}
        draw(panels[0], smooth(wave_number, mean[name]), label=name.lower(), **style)
        draw(panels[1], smooth(wave_number, mean[name] - mean["All"]), **style)
        draw(panels[2], smooth(wave_number, spread[name]), **style)
    draw(panels[0], mean["All"], color="0.75", linewidth=0.4, zorder=1, label="all, each channel")
    what, unit = ("brightness\ntemperature", " (K)") if kelvin else ("radiance", "\n(mW m$^{-2}$ sr$^{-1}$ cm)")
    labels = ("Mean " + what, "Difference of\nmean from all", "Standard\ndeviation")
    for letter, panel, label in zip("abc", panels, labels):
        panel.set_ylabel(label + unit)
        panel.grid()
        panel.tick_params(top=True, right=True)
        panel.text(0.02, 0.94, letter, transform=panel.transAxes, weight="bold", va="top")
        panel.margins(y=0.12)
    panels[2].set(xlabel="Wavenumber (cm$^{-1}$)", xlim=(wave_number[0] - 0.125, wave_number[-1] + 0.125))
    panels[2].legend(*panels[0].get_legend_handles_labels(), loc="upper center", bbox_to_anchor=(0.5, -0.3), ncols=4)
    counts = comments["Pixels"].replace(" all,", " pixels:").replace(", ", " and ")
    panels[0].set_title(title(comments, counts))
    save(figure, out)


def read_land(path):
    """1 for land, 0 for sea: 1080 rows from north to south of 2160 columns from longitude 1/6 degree eastward."""
    data = np.fromfile(path, ">i2")
    land, place = np.zeros((1080, 2160)), 0
    for row in land:
        pairs = data[place + 3:place + 3 + 2 * data[place + 2]].reshape(-1, 2)
        row[pairs[:, 0] - 1] = pairs[:, 1] >= 0
        place += 5 + pairs.size
    return land


def draw_coasts(axes, path):
    land = read_land(path).reshape(180, 6, 360, 6).mean((1, 3))  # in cells of a degree
    land = np.roll(land, 180, 1)
    axes.contour(np.arange(360) - 179.42, 89.5 - np.arange(180), land, [0.5], colors="black", linewidths=0.6)


def degrees(value, positive, negative):
    return f"{abs(value)}°" + ("" if value in (0, 180, -180) else " " + (positive if value > 0 else negative))


def plot_map(path, name, out, grid=None):
    comments, columns = read(path)
    # Rows go from south to north and, within, from west to east.
    latitudes, longitudes = (np.append(np.unique(column(columns, c + "Min")), column(columns, c + "Max").max())
                             for c in ("Lat", "Lon"))
    count = column(columns, name[:3] + "Count")
    values, shape = column(columns, name), (len(latitudes) - 1, len(longitudes) - 1)
    if values.size != shape[0] * shape[1]:
        raise ValueError(f"{path} lacks cells of its grid")
    figure, axes = plt.subplots(figsize=(WIDTH, 3.8), layout="constrained")
    seen = np.ma.masked_where((values == -777) | (count == 0), values).reshape(shape)
    mesh = axes.pcolormesh(longitudes, latitudes, seen)
    unseen = np.ma.masked_where(count > 0, count).reshape(shape)
    hatched = {"hatch": 8 * "/", "edgecolor": "0.3", "linewidth": 0}
    axes.pcolor(longitudes, latitudes, unseen, cmap="binary", vmin=0, vmax=1, **hatched)
    if grid:
        draw_coasts(axes, grid)
    axes.set_xticks(range(-180, 181, 60), [degrees(x, "E", "W") for x in range(-180, 181, 60)])
    axes.set_yticks(range(-90, 91, 30), [degrees(y, "N", "S") for y in range(-90, 91, 30)])
    axes.tick_params(direction="out", pad=4)
    axes.set(aspect="equal", xlabel="Longitude", ylabel="Latitude")
    unit = comments.get(name, "").partition("mean, ")[2]
    unit = f" ({QUANTITIES.get(unit, unit)})" if unit else ""
    figure.colorbar(mesh, label=QUANTITIES.get(name, name) + unit, location="bottom", shrink=0.8, aspect=35)
    frame = {"edgecolor": "0.3", "linewidth": 0.5}
    patches = [matplotlib.patches.Patch(facecolor="white", label=label, **style)
               for label, style in (("no pixels", hatched), ("pixels, but no value", frame))]
    axes.legend(handles=patches, loc="lower center", bbox_to_anchor=(0.5, 1), ncols=2)
    counts = comments[name[:3] + " pixels"].replace(" in cells, 0 without a cell", " pixels")
    axes.set_title(title(comments, counts), pad=20)
    save(figure, out)


if __name__ == "__main__":
    arguments = sys.argv[2:]
    plot = {("spectrum", 2): plot_spectrum, ("map", 3): plot_map, ("map", 4): plot_map}.get(
        ("".join(sys.argv[1:2]), len(arguments)))
    try:
        sys.exit(plot(*arguments) if plot else __doc__)
    except (OSError, ValueError, IndexError) as error:
        sys.exit(f"plot_statistics.py: {error}")
