"""What all pictures share: one style, units, legends, and files that are whole or not there."""

from __future__ import annotations

import contextlib
import os
import re
import textwrap
from collections.abc import Iterator, Mapping, Sequence
from typing import Any

import numpy as np
from numpy.typing import NDArray

from ..writing import replacing

Array = NDArray[np.float64]
PathName = str | os.PathLike[str]

ONE_COLUMN = 3.5  # inches: 89 mm, a column of a journal page
TWO_COLUMNS = 7.0
LINE = 0.6  # points: thin, and still there in print
GREY = "0.6"
DPI = 200  # of PNG, and of what is rasterised in PDF and SVG
STYLE = {
    "font.family": "DejaVu Sans",  # comes with matplotlib: the same picture on every machine
    "font.size": 8,
    "axes.titlesize": 8,
    "axes.labelsize": 8,
    "legend.fontsize": 8,
    "legend.title_fontsize": 8,
    "xtick.labelsize": 8,
    "ytick.labelsize": 8,
    "axes.linewidth": LINE,
    "lines.linewidth": 0.9,
    "patch.linewidth": LINE,
    "hatch.linewidth": 0.4,
    "grid.color": "0.88",
    "grid.linewidth": 0.4,
    "axes.axisbelow": True,
    "xtick.direction": "in",
    "ytick.direction": "in",
    "xtick.top": True,
    "ytick.right": True,
    **{f"{axis}tick.{kind}.width": LINE for axis in "xy" for kind in ("major", "minor")},
    "legend.frameon": False,
    "legend.handlelength": 2.4,
    "axes.formatter.limits": (-3, 5),
    "axes.formatter.use_mathtext": True,
    "axes.formatter.useoffset": False,
    "image.cmap": "viridis",
    "savefig.dpi": DPI,
    "figure.dpi": DPI,
    "pdf.fonttype": 42,  # letters stay letters that journals can embed and search
    "svg.fonttype": "path",
    "svg.hashsalt": "vexfile",  # names of parts are random without it
}
# Without dates and versions the same data give the same bytes.
METADATA: dict[str, dict[str, None]] = {
    "png": {"Software": None},
    "pdf": {"CreationDate": None, "Creator": None, "Producer": None},
    "svg": {"Date": None, "Creator": None},
}
# Colours from dark to light, so that lines differ in grey as well; each comes solid and then dashed.
COLOURS = ("#440154", "#31688e", "#1fa187", "#a0c92f")
DASHES: tuple[Any, ...] = ("-", (0, (4, 1.2)))
MOST_LINES = len(COLOURS) * len(DASHES)  # that a legend can tell apart

# Factor and text for the units of a Dataset.
UNITS = {
    "W m-2 sr-1 m": (1e5, "mW m$^{-2}$ sr$^{-1}$ cm"),
    "Pa": (1e-2, "hPa"),
    "kg m-2": (1e3, "g m$^{-2}$"),
    "kg kg-1": (1e3, "g kg$^{-1}$"),
    "Hz": (1e-12, "THz"),
    "percent": (1.0, "%"),
    "degree": (1.0, "°"),
    "degrees": (1.0, "°"),
    "degrees_north": (1.0, "°"),
    "degrees_east": (1.0, "°"),
    "1": (1.0, ""),
    "": (1.0, ""),
}


def suffix(out: PathName) -> str:
    """``png``, ``pdf`` or ``svg``, by the end of the name."""
    end = os.path.splitext(os.fspath(out))[1].lower().lstrip(".")
    if end not in METADATA:
        raise ValueError(f"{os.fspath(out)}: the name of a picture ends in .png, .pdf or .svg")
    return end


@contextlib.contextmanager
def picture(out: PathName) -> Iterator[Any]:
    """A figure in the style of all. Without an error it is written, and replaces `out`."""
    from matplotlib import style
    from matplotlib.figure import Figure

    form = suffix(out)
    with replacing(os.fspath(out), True) as part, style.context(STYLE, after_reset=True):
        figure = Figure(figsize=(TWO_COLUMNS, TWO_COLUMNS / 2), layout="constrained")
        yield figure
        figure.savefig(part, format=form, metadata=METADATA[form])
        if form == "svg":
            name_clips(part)


def name_clips(path: str) -> None:
    """Numbers the clip paths of an SVG file, which matplotlib names after places in memory."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    for number, name in enumerate(re.findall(r'<clipPath id="(\w+)"', text)):
        text = text.replace(name, f"clip{number}")
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def unit(attrs: Mapping[Any, Any]) -> tuple[float, str]:
    """What values are multiplied by to be shown, and the unit that they have then."""
    written = str(attrs.get("units", ""))
    return UNITS.get(written) or (1.0, re.sub(r"(?<=[A-Za-z])(-?\d+)", r"$^{\1}$", written))


def label(attrs: Mapping[Any, Any], name: str) -> str:
    """Text of an axis: what it is, in words, and the unit as shown."""
    words = re.sub("^(l2|ozo|trg|clp|twt|ems) ", "", str(attrs.get("long_name") or name.replace("_", " ")), flags=re.I)
    words = re.sub(r"\b(N2O|CH4|CO2|O3)\b", lambda found: re.sub(r"(\d)", r"$_\1$", found[0]), words)
    return with_unit(words[:1].upper() + words[1:], unit(attrs)[1])


def with_unit(words: str, shown: str) -> str:
    return f"{words} ({shown})" if shown else words


def wrapped(title: str, width: float) -> str:
    """A title in lines that fit into `width` inches."""
    return "\n".join(line for part in title.split("\n") for line in textwrap.wrap(part, int(16 * width)))


def line_style(number: int, total: int) -> dict[str, Any]:
    """Style of a line of several: one each when a legend tells them apart, else colours from dark to light."""
    if total <= MOST_LINES:
        return {"color": COLOURS[number % len(COLOURS)], "linestyle": DASHES[number // len(COLOURS)]}
    import matplotlib

    return {"color": matplotlib.colormaps["viridis"](0.9 * number / (total - 1)), "linewidth": 0.5}


def letters(panels: Sequence[Any], room: float = 0.1) -> None:
    """a, b, c in the upper left of several panels. The share `room` of their height becomes free for them."""
    for letter, panel in zip("abcdefgh", panels if len(panels) > 1 else []):
        panel.annotate(letter, (0, 1), (5, -4), "axes fraction", "offset points", weight="bold", va="top")
        if panel is panels[0] or not panel.get_shared_y_axes().joined(panel, panels[0]):
            scale = panel.yaxis.get_transform()
            lower, upper = scale.transform(np.array(panel.get_ylim()))
            panel.set_ylim(top=scale.inverted().transform(upper + room / (1 - room) * (upper - lower)))


def apart(places: Sequence[float], least: float) -> list[float]:
    """Those of some places, the first ones first, that are not closer than `least` to one taken before."""
    taken: list[float] = []
    for place in places:
        if all(abs(place - other) >= least for other in taken):
            taken.append(place)
    return taken


def legend_below(figure: Any, handles: Sequence[Any], columns: int, title: str | None = None) -> None:
    """A legend under all panels, where it hides nothing; they make room for it."""
    columns = min(columns, len(handles))
    figure.legend(handles=handles, loc="lower center", ncols=columns, borderaxespad=0.3, title=title)
    lines = -(-len(handles) // columns) + bool(title)
    strip = (0.17 * lines + 0.06) / figure.get_figheight()  # 0.17 inches a line
    figure.get_layout_engine().set(rect=(0, strip, 1, 1 - strip))
