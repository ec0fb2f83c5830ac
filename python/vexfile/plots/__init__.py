"""Pictures of the files of vex that can go into a paper as they are: PNG, PDF or SVG.

Needs matplotlib, and for maps cartopy. Coast lines come from shapefiles on this machine (Debian's package
python-cartopy-data); nothing is downloaded. The same data give the same bytes.
"""

from .grids import plot_grid
from .maps import plot_map
from .profiles import plot_profile
from .spectra import plot_spectrum
from .stats import plot_statistics

__all__ = ["plot_grid", "plot_map", "plot_profile", "plot_spectrum", "plot_statistics"]
