#!/usr/bin/env python3
"""Plots statistics files of vex -of txtstat. Needs numpy and matplotlib.

plot_statistics.py spectrum STATFILE OUT.png        mean spectra and their spread: all, clear and cloudy pixels
plot_statistics.py map BOXSTATFILE COLUMN OUT.png   a column of the grid as a map; cells without a value stay blank
"""
import io
import sys

import matplotlib
import numpy as np
from PIL import Image

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402  after the choice of what draws


def read(path):
    """The lines of comment, and the columns by their names."""
    with open(path, encoding="utf-8", errors="replace") as file:
        lines = file.read().split("\n")
    comments = [line[2:] for line in lines if line.startswith("#")]
    names, *rows = [line.split("\t") for line in lines if not line.startswith("#")]
    if not comments or len(rows) < 2 or rows.pop() != [""] or any(len(row) != len(names) for row in rows):
        raise ValueError(f"{path} is no statistics file, has no rows or is cut short")
    return comments, dict(zip(names, np.array(rows, float).T))


def column(columns, name):
    if name not in columns:
        raise ValueError(f"there is no column {name}; the file has {' '.join(columns)}")
    return columns[name]


def finish(figure, axes, comments, stream, out):
    shown = ("Satellite:", "Dates:", "Filter:", "Pixels:", stream + " pixels:")
    axes.set_title(", ".join(line for line in comments if line.startswith(shown)), fontsize=9)
    image = io.BytesIO()
    figure.savefig(image, format="png", dpi=100)
    Image.open(image).convert("RGB").quantize(256).save(out, optimize=True)  # half the bytes


def plot_spectrum(path, out):
    comments, columns = read(path)
    wave_number = column(columns, "WaveNumber")
    kelvin = any(line.startswith("Average: K") for line in comments)
    figure, (upper, lower) = plt.subplots(2, figsize=(9, 5.6), height_ratios=(3, 2), sharex=True, layout="constrained")
    for name, colour, order in (("All", "0.25", 2), ("Clear", "tab:orange", 3), ("Cloudy", "tab:blue", 1)):
        mean, spread = (column(columns, name + s) for s in ("Average", "StdDev"))
        blank = (column(columns, name + "Count") == 0) | (kelvin & (mean == 0))  # here the lines are broken
        mean, spread = (np.where(blank, np.nan, values) for values in (mean, spread))
        upper.plot(wave_number, mean, color=colour, linewidth=0.6, zorder=order)
        lower.plot(wave_number, spread, color=colour, linewidth=0.6, zorder=order)
        upper.plot([], color=colour, label=name.lower())
        if name == "All":
            upper.fill_between(wave_number, mean - spread, mean + spread, color="0.88", linewidth=0, zorder=0,
                               label="all ± standard deviation")
    quantity = "temperature\n(K)" if kelvin else "radiance\n(W/(m$^2$ sr m$^{-1}$))"
    upper.set(ylabel="Mean " + quantity, xlim=(wave_number[0] - 0.125, wave_number[-1] + 0.125))
    lower.set(ylabel="Deviation of " + quantity, xlabel="Wavenumber (cm$^{-1}$)")
    upper.legend(frameon=False, ncols=4, fontsize=9)
    finish(figure, upper, comments, "L1C", out)


def plot_map(path, name, out):
    comments, columns = read(path)
    # Rows go from south to north and, within, from west to east.
    latitudes, longitudes = (np.append(np.unique(column(columns, c + "Min")), column(columns, c + "Max").max())
                             for c in ("Lat", "Lon"))
    values = np.ma.masked_equal(column(columns, name), 0 if name.endswith("Count") else -777)
    if values.size != (len(latitudes) - 1) * (len(longitudes) - 1):
        raise ValueError(f"{path} lacks cells of its grid")
    figure, axes = plt.subplots(figsize=(9, 4.6), layout="constrained")
    mesh = axes.pcolormesh(longitudes, latitudes, values.reshape(len(latitudes) - 1, -1))
    unit = [line.split(", ", 1)[1] for line in comments if line.startswith(name + ": mean, ")]
    figure.colorbar(mesh, label=name + (f" ({unit[0]})" if unit else ""), shrink=0.85)
    axes.set(xticks=range(-180, 181, 60), yticks=range(-90, 91, 30), aspect="equal",
             xlabel="Longitude (degrees)", ylabel="Latitude (degrees)")
    axes.grid(linewidth=0.4, color="0.5", alpha=0.5)
    finish(figure, axes, comments, name[:3], out)


if __name__ == "__main__":
    plot = {("spectrum", 4): plot_spectrum, ("map", 5): plot_map}.get(("".join(sys.argv[1:2]), len(sys.argv)))
    try:
        sys.exit(plot(*sys.argv[2:]) if plot else __doc__)
    except (OSError, ValueError) as error:
        sys.exit(f"plot_statistics.py: {error}")
