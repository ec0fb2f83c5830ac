"""Pictures of the grid of land and sea."""

from __future__ import annotations

from typing import Any

import numpy as np

from ..reading.altitudes import COLUMN_EDGES, ROW_EDGES, read_grid
from . import style
from .style import PathName

SEA = "#d6e4f0"


def plot_grid(grid: PathName, out: PathName) -> Any:
    """Draw the grid of ``vex -alt``: altitudes of land, and sea.

    Parameters
    ----------
    grid
        The grid, or one that ``vexfile grid`` or ``vex-sample`` has made.
    out
        The picture, a name that ends in .png, .pdf or .svg.

    Returns
    -------
    matplotlib.figure.Figure
        What was written.

    Raises
    ------
    ValueError
        The file is not a valid grid.
    """
    altitudes = read_grid(grid)
    west = int(np.searchsorted(COLUMN_EDGES, 180))  # columns from here on are drawn to the left of Greenwich
    edges = np.concatenate([COLUMN_EDGES[west:] - 360, COLUMN_EDGES[1:west + 1]])
    metres = np.roll(np.where(altitudes < 0, np.nan, altitudes), -west, 1)
    with style.picture(out) as figure:
        axes = figure.add_subplot(facecolor=SEA)
        drawn = axes.pcolormesh(edges, ROW_EDGES, metres, cmap="viridis", vmin=0, vmax=5000, rasterized=True)
        axes.set(aspect="equal", xlim=(-180, 180), ylim=(-90, 90), xlabel="Longitude (°)", ylabel="Latitude (°)",
                 xticks=range(-180, 181, 60), yticks=range(-90, 91, 30))
        figure.colorbar(drawn, ax=axes, label="Altitude (m)", extend="max", shrink=0.8)
    return figure
