"""Maps to draw on: projections that suit the data, coasts, lines of latitude and longitude."""

from __future__ import annotations

import importlib
import os
import warnings
from collections.abc import Callable, Sequence
from typing import Any

import numpy as np

from ..reading.altitudes import read_grid
from . import data
from . import style
from .style import Array, PathName

PROJECTIONS = ("robinson", "platecarree", "lambert", "stereographic")
METRES = 111.2e3  # of a degree of latitude
NARROWEST = 5.0  # degrees from the middle of a map to its sides, at least: coasts are crude

# Shapefiles of coast lines below cartopy's folders, from coarse to fine. The first one is Debian's.
COASTS = (
    "gshhs/c/GSHHS_c_L1.shp",
    "natural_earth/physical/ne_110m_coastline.shp",
    "natural_earth/physical/ne_50m_coastline.shp",
    "gshhs/l/GSHHS_l_L1.shp",
    "natural_earth/physical/ne_10m_coastline.shp",
    "gshhs/i/GSHHS_i_L1.shp",
)

# Inches around a map. Meridians have their numbers below, around the pole on all sides; the colour bar is below that.
LEFT, RIGHT, TOP, BOTTOM = 0.45, 0.2, 0.27, 0.74
LABELS, KEYS, TEXT = 0.14, 0.18, 0.14  # inches for the numbers of meridians and a legend above it, and a line of text
LONGEST = 5.5  # inches, of the sides of a map
# Along which axis the numbers of a side lie (0 is x), at which end of the other one, and how they are put.
SIDES: dict[str, tuple[int, int, dict[str, Any]]] = {
    "left": (1, 0, {"ha": "right", "va": "center", "xytext": (-3, 0)}),
    "right": (1, 1, {"ha": "left", "va": "center", "xytext": (3, 0)}),
    "bottom": (0, 0, {"ha": "center", "va": "top", "xytext": (0, -3)}),
    "top": (0, 1, {"ha": "center", "va": "bottom", "xytext": (0, 2)}),
}
Line = tuple[Array, Array]  # coordinates of points on a map
Limits = tuple[float, float, float, float]  # of a map in these coordinates: left, right, lower, upper


# --- which part of the globe


def middle_and_width(longitude: Array) -> tuple[float, float]:
    """Middle and width of the shortest arc with all longitudes, in degrees; it may cross the date line."""
    bins = np.unique(np.floor(longitude % 360).astype(int))
    gaps = np.diff(np.append(bins, bins[0] + 360))
    widest = int(gaps.argmax())
    begin, width = int(bins[(widest + 1) % len(bins)]), 361 - int(gaps[widest])
    return (begin + width / 2 + 180) % 360 - 180, float(min(width, 360))


def choose(longitude: Array, latitude: Array) -> str:
    """The projection that suits the extent of the data."""
    width = middle_and_width(longitude)[1]
    south, north = latitude.min(), latitude.max()
    if south > 45 or north < -45:
        return "stereographic" if width > 90 or max(abs(south), abs(north)) > 75 else "lambert"
    if width > 180:
        return "robinson"
    return "lambert" if abs(south + north) / 2 > 25 and south * north > 0 else "platecarree"


def projection_of(name: str | None, longitude: Array, latitude: Array) -> Any:
    """One of `PROJECTIONS` or what suits the data, centred on them."""
    import cartopy.crs as crs

    middle, width = middle_and_width(longitude)
    south, north = latitude.min(), latitude.max()
    hemisphere, sixth = (1 if south + north >= 0 else -1), max((north - south) / 6, 1.0)
    made: dict[str, Callable[[], Any]] = {
        "robinson": lambda: crs.Robinson(0 if width > 300 else round(middle)),
        "platecarree": lambda: crs.PlateCarree(0 if width > 300 else round(middle)),
        "lambert": lambda: crs.LambertConformal(
            middle, (south + north) / 2, standard_parallels=(south + sixth, north - sixth), cutoff=-30 * hemisphere
        ),
        "stereographic": lambda: crs.Stereographic(90 * hemisphere, 0 if width > 180 else round(middle)),
    }
    name = name or choose(longitude, latitude)
    if name not in made:
        raise ValueError(f"no projection {name}: there are {data.listed(PROJECTIONS)}")
    if name == "lambert" and (south if hemisphere > 0 else -north) < -20:
        raise ValueError("lambert shows one hemisphere, and the pixels are in both")
    return made[name]()


def project(crs: Any, longitude: Array, latitude: Array) -> tuple[Array, Array]:
    """Positions in the coordinates of a projection; NaN where it has none."""
    from cartopy.crs import PlateCarree

    points = crs.transform_points(PlateCarree(), np.asarray(longitude, float), np.asarray(latitude, float))
    points[~np.isfinite(points).all(-1)] = np.nan
    return points[..., 0], points[..., 1]


def degree(crs: Any) -> float:
    """Length of a degree in the coordinates of a projection."""
    return 1.0 if crs.x_limits[1] < 400 else METRES


def is_globe(crs: Any, x: Array) -> bool:
    """Whether points reach around the globe, in a projection that shows all of it."""
    return type(crs).__name__ in ("Robinson", "PlateCarree") and np.ptp(x) > 0.75 * np.ptp(crs.x_limits)


def extent(crs: Any, x: Array, y: Array) -> Limits:
    """The part of a projection that a map shows: all points and a margin, neither tiny nor a strip."""
    if is_globe(crs, x):
        return crs.x_limits[0], crs.x_limits[1], crs.y_limits[0], crs.y_limits[1]
    half = [max(0.53 * float(np.ptp(along)), NARROWEST * degree(crs)) for along in (x, y)]
    half = [max(half[0], half[1] / 1.8), max(half[1], half[0] / 2.2)]
    middle = [(along.min() + along.max()) / 2 for along in (x, y)]
    limits = (crs.x_limits, crs.y_limits)
    (left, right), (lower, upper) = (
        (max(m - h, low), min(m + h, high)) for m, h, (low, high) in zip(middle, half, limits)
    )
    return left, right, lower, upper


# --- coasts


def find_coasts(fine: bool) -> str | None:
    """A shapefile of coast lines that is on this machine; cartopy is not asked, since it would download one."""
    import cartopy

    folders: list[str] = [cartopy.config[name] for name in ("pre_existing_data_dir", "data_dir", "repo_data_dir")]
    for name in COASTS[::-1] if fine else COASTS:
        for folder in filter(None, folders):
            path = os.path.join(folder, "shapefiles", *name.split("/"))
            if os.path.exists(path):
                return path
    warnings.warn("the map has no coast lines: Debian's package python-cartopy-data brings them", stacklevel=2)
    return None


def read_coasts(path: str) -> list[Array]:
    """Lines of longitudes and latitudes, each of shape (point, 2)."""
    shapefile = importlib.import_module("shapefile")  # cartopy reads them with it, and has it print of lakes
    with shapefile.Reader(path) as reader:
        shapes = [(np.asarray(shape.points), shape.parts) for shape in reader.iterShapes()]
    return [without_cuts(line) for points, parts in shapes for line in np.split(points, parts[1:])]


def without_cuts(line: Array) -> Array:
    """Edges of polygons along the date line, and along Greenwich and the pole in Antarctica, are no coasts."""
    longitude, latitude = line.T
    on_cut = (np.abs(np.abs(longitude) - 180) < 1e-6) | (latitude < -89.9)
    on_cut |= (latitude < -63) & (np.abs(longitude) < 1e-6)
    along = np.flatnonzero(on_cut[1:] & on_cut[:-1]) + 1
    return np.insert(line, along, np.nan, axis=0)


def read_land(path: PathName) -> list[Array]:
    """The coasts of the grid of land and sea that vex has as ``-alt``, smoothed to a degree."""
    from contourpy import contour_generator

    land = read_grid(path) >= 0
    share = np.roll(land.reshape(180, 6, 360, 6).mean((1, 3)), 180, 1)
    share = np.hstack([share[:, -1:], share, share[:, :1]])  # so that lines reach the date line
    lines = contour_generator(np.arange(-1, 361) - 179.42, 89.5 - np.arange(180), share).lines(0.5)
    return [np.asarray(line) for line in lines]


def unwrapped(crs: Any, line: Array) -> Line:
    """A line of longitudes and latitudes on a map; where it leaves on one side to go on on the other, it breaks."""
    x, y = project(crs, line[:, 0], line[:, 1])
    away = np.flatnonzero(np.abs(np.diff(x)) > np.ptp(crs.x_limits) / 2) + 1
    return np.insert(x, away, np.nan), np.insert(y, away, np.nan)


def draw_coasts(axes: Any, land: PathName | None) -> None:
    """Coasts of the Earth, finer ones on a map of less than 60 degrees, or those of the grid `land`."""
    from matplotlib.patheffects import withStroke

    path = None if land else find_coasts(np.ptp(axes.get_xlim()) < 60 * degree(axes.projection))
    if not (land or path):
        return
    lines = read_land(land) if land else read_coasts(str(path))
    joined = np.concatenate([np.append(line, [[np.nan, np.nan]], axis=0) for line in lines])
    halo = [withStroke(linewidth=1.0, foreground="white", alpha=0.7)]  # so that they show on dark colours as well
    look = {"linewidth": 0.5, "solid_joinstyle": "round", "path_effects": halo, "zorder": 3}
    axes.plot(*unwrapped(axes.projection, joined), color="black", **look)
    axes.autoscale(False)


# --- lines of latitude and longitude


def round_step(width: float) -> float:
    """Degrees between lines, so that there are about four."""
    steps = [1.0, 2.0, 5.0, 10.0, 15.0, 20.0, 30.0, 45.0, 60.0]
    return min(steps, key=lambda step: float(abs(np.log(width / step / 4))))


def covered(axes: Any) -> tuple[Array, Array]:
    """Longitudes and latitudes of points all over a map."""
    from cartopy.crs import PlateCarree

    (left, right), (lower, upper) = axes.get_xlim(), axes.get_ylim()
    x, y = np.meshgrid(np.linspace(left, right, 40), np.linspace(lower, upper, 40))
    points = PlateCarree().transform_points(axes.projection, x.ravel(), y.ravel())
    inside = np.isfinite(points).all(-1)
    return points[inside, 0], points[inside, 1]


def steps_of(axes: Any, globe: bool) -> tuple[float, float]:
    """Degrees between meridians, and between parallels."""
    if globe:
        return 60.0, 30.0
    longitude, latitude = covered(axes)
    width = middle_and_width(longitude)[1]
    return (45.0 if width > 300 else round_step(width)), round_step(float(np.ptp(latitude)))


def meridians(crs: Any, step: float) -> list[tuple[str, Line]]:
    """Lines on the map and what they are called, each from the South Pole to the North Pole."""
    latitude = np.linspace(-90, 90, 361)
    values = np.arange(-int(180 / step), int(180 / step) + 1) * step
    lines = [np.column_stack([np.full_like(latitude, value), latitude]) for value in values]
    return [(degrees(value, "E", "W"), unwrapped(crs, line)) for value, line in zip(values, lines)]


def parallels(crs: Any, step: float) -> list[tuple[str, Line]]:
    """Lines on the map and what they are called, each from its left to its right."""
    longitude = np.linspace(-180, 180, 1441) + crs.proj4_params.get("lon_0", 0)
    values = np.arange(-int(89.9 / step), int(89.9 / step) + 1) * step
    lines = [np.column_stack([longitude, np.full_like(longitude, value)]) for value in values]
    return [(degrees(value, "N", "S"), unwrapped(crs, line)) for value, line in zip(values, lines)]


def degrees(value: float, positive: str, negative: str) -> str:
    side = "" if value in (0, 180, -180) else positive if value > 0 else negative
    return f"{abs(value):g}°{side}"


def crossings(line: Line, axes: Any, side: str) -> list[tuple[float, float]]:
    """Where a line crosses a side of the map."""
    along, end, _ = SIDES[side]
    limits = (axes.get_xlim(), axes.get_ylim())
    level, (low, high) = limits[1 - along][end], limits[along]
    u, v = line[along], line[1 - along]
    at = np.flatnonzero((v[1:] > level) != (v[:-1] > level))
    places = u[at] + (u[at + 1] - u[at]) * (level - v[at]) / (v[at + 1] - v[at])
    places = places[(places >= low) & (places <= high)]
    return [(level, float(p)) if along else (float(p), level) for p in places]


def put_labels(axes: Any, found: Sequence[tuple[tuple[float, float], str]], side: str) -> None:
    """Numbers of lines along a side of the map, without those that would come too close to the one before."""
    along, _, look = SIDES[side]
    limits = (axes.get_xlim(), axes.get_ylim())
    inches = (axes.figure.get_size_inches() * axes.get_position().size)[along] / np.ptp(limits[along])
    before = -np.inf
    for place, words in sorted(found, key=lambda label: label[0][along]):
        if (place[along] - before) * inches >= (0.2 if along else 0.45):
            axes.annotate(words, place, textcoords="offset points", annotation_clip=False, **look)
            before = place[along]


def label_circles(axes: Any, lines: Sequence[tuple[str, Line]]) -> None:
    """Numbers of parallels around a pole, on the way to the farthest corner of the map."""
    from matplotlib.patheffects import withStroke

    corner = np.array([max(axes.get_xlim(), key=abs), max(axes.get_ylim(), key=abs)])
    halo = [withStroke(linewidth=1.5, foreground="white")]
    for words, line in lines:
        radius = float(np.nanmax(np.hypot(*line)))
        if 0 < radius < 0.95 * np.hypot(*corner):
            at = corner / np.hypot(*corner) * radius
            axes.annotate(words, at, ha="center", va="center", fontsize=7, path_effects=halo, zorder=4)


def shows_pole(crs: Any, limits: Limits) -> bool:
    """Whether meridians meet within the map."""
    left, right, lower, upper = limits
    return type(crs).__name__ == "Stereographic" and left < 0 < right and lower < 0 < upper


def draw_graticule(axes: Any, globe: bool, pole: bool) -> None:
    """Meridians and parallels with their numbers: below and on the left, around a pole on all sides."""
    across, up = steps_of(axes, globe)
    upright, level = meridians(axes.projection, across), parallels(axes.projection, up)
    for _, line in upright + level:
        axes.plot(*line, color="0.5", linewidth=0.3, zorder=2.5)
    if pole:
        label_circles(axes, level)
    for side in SIDES if pole else ("bottom", "left"):
        lines = level if side == "left" and not pole else upright
        if globe:
            found = [((line[0][0], line[1][0]), words) for words, line in lines]
        else:
            found = [(at, words) for words, line in lines for at in crossings(line, axes, side)]
        put_labels(axes, found, side)


# --- the map


def add_map(figure: Any, crs: Any, x: Array, y: Array, title: str, land: PathName | None, keys: Sequence[Any] = (),
            below: int = 0) -> tuple[Any, Any]:
    """Axes of a map for points in the coordinates of the projection, and below them axes for a colour bar.

    The figure takes the size that they need: two columns wide for the globe, one column for a region. `keys` make a
    legend above the map, and `below` more lines of text have room below the bar.
    """
    limits = extent(crs, x, y)
    globe, pole = is_globe(crs, x), shows_pole(crs, limits)
    words = style.wrapped(title, style.TWO_COLUMNS if globe else style.ONE_COLUMN)
    over = LABELS * pole + KEYS * bool(keys)
    width, height, box = layout(limits, globe, over + TEXT * words.count("\n"), TEXT * below)
    figure.set_layout_engine("none")
    figure.set_size_inches(width, height)
    scale = np.array([width, height] * 2)
    axes = figure.add_axes(np.array(box) / scale, projection=crs)
    axes.axis(limits)
    axes.spines["geo"].set_linewidth(style.LINE)
    draw_coasts(axes, land)
    draw_graticule(axes, globe, pole)
    axes.set_title(words, pad=5 + 72 * over)
    if keys:
        at = (0.5, 1 + LABELS * pole / box[3])
        axes.legend(handles=keys, loc="lower center", bbox_to_anchor=at, ncols=len(keys), borderaxespad=0.1)
    bar = bar_width(crs, x, y)
    return axes, figure.add_axes(np.array([box[0] + (box[2] - bar) / 2, 0.4 + TEXT * below, bar, 0.09]) / scale)


def layout(limits: Limits, globe: bool, above: float, below: float) -> tuple[float, float, Limits]:
    """Width and height of a figure, and left, lower side, width and height of its map, all in inches."""
    width = style.TWO_COLUMNS if globe else style.ONE_COLUMN
    room = width - LEFT - (RIGHT if globe else LEFT)
    shape = (limits[3] - limits[2]) / (limits[1] - limits[0])
    wide = min(room, LONGEST / shape)
    tall = BOTTOM + below + wide * shape + TOP + above
    return width, tall, (LEFT + (room - wide) / 2, BOTTOM + below, wide, wide * shape)


def bar_width(crs: Any, x: Array, y: Array) -> float:
    """Inches of the colour bar of a map."""
    width, _, box = layout(extent(crs, x, y), is_globe(crs, x), 0, 0)
    return max(0.8 * box[2], min(2.6, width - 0.9))
