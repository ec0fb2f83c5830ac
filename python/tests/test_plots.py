"""Pictures: what they show, what they refuse, and that they are the same each time."""

from __future__ import annotations

import functools
import socket
import struct
from pathlib import Path
from typing import Any

import numpy as np
import pytest
import xarray as xr
from xarray.backends import BackendArray
from xarray.core import indexing

cartopy = pytest.importorskip("cartopy")
from vexfile.plots import data as plot_data  # noqa: E402
from vexfile.reading.engine import VexBackendEntrypoint  # noqa: E402
from vexfile.plots import plot_map, plot_profile, plot_spectrum, plot_statistics  # noqa: E402

CHANNELS = np.array([*range(1, 41), 60, *range(1000, 1021)])


def scene(south: float = -80, north: float = 80, west: float = -180, east: float = 180, side: int = 20) -> xr.Dataset:
    """A field of side by side pixels, with spectra, clouds and times; some values are missing."""
    random = np.random.default_rng(1)
    grid = np.meshgrid(np.linspace(west, east, side), np.linspace(south, north, side))
    longitude, latitude = ((grid[0].ravel() + 180) % 360 - 180), grid[1].ravel()
    pixels = len(latitude)
    radiance = random.normal(8e-4, 1e-4, (pixels, len(CHANNELS))).astype("f4")
    radiance[random.random(radiance.shape) < 0.1] = np.nan
    latitude[3], longitude[5] = np.nan, np.nan
    times = np.datetime64("2013-04-20T10:00", "ns") + np.arange(pixels) * np.timedelta64(1, "s")
    times[7] = np.datetime64("NaT")
    phase = np.where(random.random((pixels, 3)) < 0.5, 1.0, 3.0)
    return xr.Dataset(
        {"radiance": (("pixel", "channel"), radiance, {"units": "W m-2 sr-1 m"}),
         "clp_cloud_top_pressure": (("pixel", "clp_layer"), random.uniform(2e4, 9e4, (pixels, 3)), {"units": "Pa"}),
         "clp_cloud_phase": (("pixel", "clp_layer"), phase,
                             {"flag_values": np.arange(4), "flag_meanings": "unknown water ice mixed_phase"}),
         "empty": ("pixel", np.full(pixels, np.nan))},
        {"latitude": ("pixel", latitude), "longitude": ("pixel", longitude), "time": ("pixel", times),
         "channel": CHANNELS, "wavenumber": ("channel", 644.75 + 0.25 * CHANNELS)},
        {"platform": "MetOp-A"})  # fmt: skip


def profiles(levels: int, layers: int, pixels: int = 30) -> xr.Dataset:
    """Temperature and water vapour at levels; ozone in layers, four that all begin at the ground, or on each other."""
    random = np.random.default_rng(2)
    pressure = np.broadcast_to(np.geomspace(10, 1e5, levels), (pixels, levels))
    edges = np.geomspace(10, 1e5, layers + 1)
    top, bottom = edges[:-1], np.full(layers, 1e5) if layers == 4 else edges[1:]
    ozone = np.sort(random.uniform(1e-3, 7e-3, (pixels, layers)), axis=1)[:, ::-1]  # the tallest layer has all of it
    warm, wet = random.normal(250, 9, pressure.shape), random.uniform(0, 0.01, pressure.shape)
    level, layer = ("pixel", "twt_level"), ("pixel", "ozo_layer")
    return xr.Dataset({
        "twt_temperature_pressure": (level, pressure), "twt_temperature": (level, warm),
        "twt_humidity_pressure": (level, pressure), "twt_mixing_ratio": (level, wet),
        "ozo_pressure_top": (layer, np.broadcast_to(top, ozone.shape)),
        "ozo_pressure_bottom": (layer, np.broadcast_to(bottom, ozone.shape)),
        "ozo_integrated_o3_density": (layer, ozone)})  # fmt: skip


def check_png(path: Path, figure: Any) -> None:
    """Of the size that the figure says at 200 dpi, not blank, and without leftovers."""
    data = path.read_bytes()
    assert struct.unpack(">2I", data[16:24]) == tuple(int(200 * inches) for inches in figure.get_size_inches())
    assert len(data) > 9000 and not list(path.parent.glob("*.part"))


REGIONS = {  # extent: south, north, west, east, pixels of a side; then the projection and the width of the figure
    "globe": ((-80, 80, -180, 178, 20), "Robinson", 7.0),
    "mid-latitudes": ((35, 60, -10, 30, 12), "LambertConformal", 3.5),
    "tropics": ((-15, 10, 80, 140, 12), "PlateCarree", 3.5),
    "date line": ((-20, 10, 165, 200, 12), "PlateCarree", 3.5),
    "north": ((65, 89, -180, 170, 12), "Stereographic", 3.5),
    "south, a few": ((-89, -88, 20, 22, 3), "Stereographic", 3.5),
}


@pytest.mark.parametrize("region", REGIONS)
def test_map_fits_the_data(region: str, tmp_path: Path) -> None:
    where, projection, width = REGIONS[region]
    dataset = scene(*where)
    figure = plot_map(dataset, tmp_path / "map.png", channel=1010)
    axes, bar = figure.axes
    marks = axes.collections[-1]
    x, y = marks.get_offsets().T
    there = np.isfinite(dataset.radiance.sel(channel=1010) + dataset.latitude + dataset.longitude).values
    assert type(axes.projection).__name__ == projection and figure.get_figwidth() == width
    assert len(x) == there.sum() > 0
    assert np.array_equal(marks.get_array(), 1e5 * dataset.radiance.sel(channel=1010).values[there].astype(float))
    (left, right), (lower, upper) = axes.get_xlim(), axes.get_ylim()
    assert ((left <= x) & (x <= right) & (lower <= y) & (y <= upper)).all()
    assert abs(x.min() + x.max()) <= 0.1 * np.ptp(x) or projection == "Stereographic"
    assert region in ("globe", "south, a few") or np.ptp(x) > 0.25 * (right - left)
    assert "897.25 cm" in bar.get_xlabel() and "mW m" in bar.get_xlabel()
    assert axes.get_title().startswith("MetOp-A, 20 April 2013, 10:0") and f"{there.sum()} pixel" in axes.get_title()
    check_png(tmp_path / "map.png", figure)


def test_map_of_fields(tmp_path: Path) -> None:
    dataset = scene(40, 50, 0, 20)
    draw = functools.partial(plot_map, dataset, tmp_path / "map.png")
    axes, bar = draw("clp_cloud_top_pressure", index=2, limits=(300, 500), title="My title").axes
    values = dataset.clp_cloud_top_pressure[:, 2].values[np.isfinite(dataset.latitude + dataset.longitude)]
    assert np.allclose(axes.collections[-1].get_array(), values / 100) and axes.collections[-1].get_clim() == (300, 500)
    assert "layer 3 of 3 (hPa)" in bar.get_xlabel() and axes.get_title() == "My title"
    bar = draw("clp_cloud_phase").axes[1]
    assert [text.get_text() for text in bar.get_xticklabels()] == ["water", "mixed phase"]
    for channel, number in ((660.0, None), (659.75, 60), (60, 60)):
        if number is None:
            with pytest.raises(ValueError, match=r"no channel at 660 cm-1: the file has the channels 1-40, 60, 1000-1020"):
                draw(channel=channel)
        else:
            marks = draw(channel=channel).axes[0].collections[-1].get_array()
            shown = dataset.radiance.sel(channel=number).values[np.isfinite(dataset.latitude + dataset.longitude)]
            assert np.array_equal(marks, 1e5 * shown[np.isfinite(shown)].astype(float))
    for projection in ("robinson", "platecarree", "stereographic"):
        check_png(tmp_path / "map.png", draw(projection=projection))


def test_many_pixels_are_thinned(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Of pixels at the same place the last one is drawn; all are counted."""
    monkeypatch.setattr("vexfile.plots.maps.MOST", 100)
    monkeypatch.setattr(plot_data, "blocks", functools.partial(plot_data.blocks, most=90))
    once = scene(40, 60, 0, 30)
    number = once.latitude * 0 + np.arange(400)
    again = once.assign(empty=number + 400).isel(pixel=slice(50, 150))
    axes = plot_map(xr.concat([once.assign(empty=number), again], "pixel"), tmp_path / "map.png", "empty").axes[0]
    assert "498 pixels" in axes.get_title()
    assert sorted(axes.collections[-1].get_array()) == sorted({*range(50), *range(150, 400), *range(450, 550)} - {3, 5})


def test_coasts_come_from_this_machine_only(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    def refuse(*_: object) -> None:
        raise AssertionError("a socket is opened")

    monkeypatch.setattr(socket, "socket", refuse)
    lines = len(plot_map(scene(), tmp_path / "map.png").axes[0].lines)
    for name in ("pre_existing_data_dir", "data_dir", "repo_data_dir"):
        monkeypatch.setitem(cartopy.config, name, str(tmp_path))
    with pytest.warns(UserWarning, match="python-cartopy-data"):
        figure = plot_map(scene(), tmp_path / "map.png")
    assert len(figure.axes[0].lines) == lines - 1
    check_png(tmp_path / "map.png", figure)


def test_spectrum(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(plot_data, "blocks", functools.partial(plot_data.blocks, most=1000))
    dataset = scene()
    figure = plot_spectrum(dataset, tmp_path / "spectrum.png")
    panel = figure.axes[0]
    line, dots = panel.lines
    drawn = np.isfinite(line.get_xdata())
    mean = 1e5 * dataset.radiance.values.astype(float)
    assert np.allclose(line.get_ydata()[drawn], np.nanmean(mean, 0)) and (~drawn).sum() == 2  # gaps
    assert np.allclose(dots.get_ydata(), np.nanmean(mean, 0)[40:41])
    band = panel.collections[0].get_paths()[0].get_extents()
    low, high = (np.nanmean(mean, 0) + sign * np.nanstd(mean, 0, ddof=1) for sign in (-1, 1))
    assert np.allclose([band.y0, band.y1], [low[:40].min(), high[:40].max()])
    assert "mW m" in panel.get_ylabel() and "cm" in panel.get_xlabel()
    assert panel.child_axes[0].get_xlabel() == "Wavelength (µm)"
    check_png(tmp_path / "spectrum.png", figure)
    warm = dataset.rename(radiance="brightness_temperature")
    warm.brightness_temperature.attrs["units"] = "K"
    for number, chosen in enumerate((warm, warm.isel(channel=[3]), warm.isel(pixel=[4]))):
        figure = plot_spectrum(chosen, tmp_path / "spectrum.png", [0] if number else [0, 9, 4])
        assert len(figure.axes[0].lines) == (6, 2, 2)[number] and "(K)" in figure.axes[0].get_ylabel()
        check_png(tmp_path / "spectrum.png", figure)


@pytest.mark.parametrize("layers", (4, 101))
def test_ozone_keeps_its_column(layers: int, tmp_path: Path) -> None:
    """The partial pressures of the steps, over the logarithm of pressure, add up to the column."""
    dataset = profiles(90, layers)
    figure = plot_profile(dataset, tmp_path / "profile.png", [5])
    line = figure.axes[2].lines[0]
    pressure, partial = line.get_ydata()[::2], line.get_xdata()[::2]
    thickness = np.log(line.get_ydata()[1::2] / pressure)
    total = (1e-3 * partial * thickness / 9.80665 * 47.9982 / 28.9644).sum()
    density = dataset.ozo_integrated_o3_density[5].values
    assert total == pytest.approx(density[0] if layers == 4 else density.sum()) and (thickness > 0).all()


def test_profiles(tmp_path: Path) -> None:
    short, long = profiles(90, 4), profiles(101, 101)
    longer = {"twt_level": (0, 11), "ozo_layer": (0, 97)}
    both = xr.concat([short.pad(longer), long], "pixel")
    cold = long.drop_vars("twt_temperature")
    for dataset, panels, lines in ((short, 3, 1), (long, 3, 1), (both, 3, 2), (cold, 2, 1)):
        figure = plot_profile(dataset, tmp_path / "profile.png")
        axes = figure.axes
        assert len(axes) == panels and [len(panel.lines) for panel in axes] == [lines] * panels
        assert axes[0].get_yscale() == "log" and axes[0].yaxis_inverted() and "hPa" in axes[0].get_ylabel()
        assert axes[-2].get_xscale() == "log" and "mPa" in axes[-1].get_xlabel()
        assert any("standard deviation" in text.get_text() for text in figure.legends[0].get_texts())
        check_png(tmp_path / "profile.png", figure)
    apart = both.isel(pixel=slice(0, 2)).copy(deep=True)  # one pixel has temperatures, the other ozone
    apart["twt_temperature"][1], apart["twt_mixing_ratio"][1], apart["ozo_integrated_o3_density"][0] = np.nan, np.nan, np.nan
    for pixels in (None, [0, 1]):
        assert "2 profiles" in plot_profile(apart, tmp_path / "profile.png", pixels)._suptitle.get_text()
    mean = plot_profile(short, tmp_path / "profile.png").axes[0].lines[0]
    assert np.allclose(mean.get_xdata(), short.twt_temperature.mean("pixel"))
    assert np.allclose(mean.get_ydata(), short.twt_temperature_pressure[0] / 100)


STATISTICS = {  # file: number of panels, and what their labels say
    "": (5, ("Mean brightness", "Difference", "deviation", "Skewness", "Kurtosis")),
    ".HistoAvg.txt": (2, ("Pixels", "Share")),
    ".HistoPix.txt": (2, ("Radiance (mW", "Pixels of a class")),
    ".boxstat": (2, ("", "")),
}


def test_statistics(runs: Any, tmp_path: Path) -> None:
    options = "-c 1-8461 -tb 1 -sk 1 -boxstat 1 -histavg 0-0.002,40 -histpix 0-0.0016,30"
    path = runs.run("old", options, "txtstat")
    for end, (panels, labels) in STATISTICS.items():
        figure = plot_statistics(f"{path}{end}", tmp_path / "picture.png")
        assert len(figure.axes) == panels
        assert all(label in panel.get_ylabel() for panel, label in zip(figure.axes, labels))
        check_png(tmp_path / "picture.png", figure)
    assert figure.axes[1].get_xlabel() == "Mean cloud fraction (%)"
    count = plot_statistics(f"{path}.boxstat", tmp_path / "picture.png", "l1c_count").axes[0].collections[-1]
    assert count.get_array().max() == xr.open_dataset(f"{path}.boxstat", engine=VexBackendEntrypoint).l1c_count.max()
    with pytest.raises(ValueError, match="no field ozone: the file has l1c_count"):
        plot_statistics(f"{path}.boxstat", tmp_path / "picture.png", "ozone")


def test_real_files(runs: Any, tmp_path: Path) -> None:
    """What the reader makes of files of the day when layers and levels changed."""
    path = runs.run("change", "-c 1-8461 -t2 ozo,twt,clp")
    dataset = xr.open_dataset(path, engine=VexBackendEntrypoint)
    check_png(tmp_path / "a.png", plot_map(dataset, tmp_path / "a.png", "clp_cloud_phase",
                                           land=runs.archive("change") / "land_sea_alti_map.dat"))
    check_png(tmp_path / "b.png", plot_spectrum(dataset, tmp_path / "b.png"))
    assert len(plot_profile(dataset, tmp_path / "c.png").axes) == 3


REFUSED: dict[str, tuple[Any, str]] = {
    "no field": (lambda d, out: plot_map(d, out, "ozone"), "no field 'ozone'; vexfile.5. lists fields"),
    "no values": (lambda d, out: plot_map(d, out, "empty"), "empty: none of 400 pixels has a value and a position"),
    "no layer": (lambda d, out: plot_map(d, out, "clp_cloud_phase", index=3), "clp_layer 3 is not there"),
    "too many layers": (lambda d, out: plot_map(d, out, "empty", index=[0]), "empty: 1 indices, and 0 dim"),
    "no channel": (lambda d, out: plot_map(d, out, channel=61), "no channel 61: the file has the channels 1-40, 60, 1000-"),
    "no grid": (lambda d, out: plot_map(d, out, land=__file__), "test_plots.py is not a valid grid of land and sea"),
    "no place": (lambda d, out: plot_map(d.drop_vars("latitude"), out), "no latitude and longitude"),
    "both hemispheres": (lambda d, out: plot_map(d, out, projection="lambert"), "lambert shows one hemisphere"),
    "no projection": (lambda d, out: plot_map(d, out, projection="flat"), "no projection flat: there are robinson"),
    "no spectra": (lambda d, out: plot_spectrum(d.drop_vars("radiance"), out), "no spectra: the file has clp_"),
    "no radiances": (lambda d, out: plot_spectrum(d * np.nan, out), "radiance: all values are missing"),
    "no pixel": (lambda d, out: plot_spectrum(d, out, [400]), "no pixel 400: the file has the pixels 0 to 399"),
    "no profiles": (lambda d, out: plot_profile(d, out), "no profiles: the file has radiance"),
    "no statistics": (lambda d, out: plot_statistics(d, out), "no statistics: the dimensions are"),
    "no picture": (lambda d, out: plot_map(d, f"{out}.gif"), "ends in .png, .pdf or .svg"),
}


@pytest.mark.parametrize("what", REFUSED)
def test_refused(what: str, tmp_path: Path) -> None:
    """In one line, and a picture of before stays."""
    call, says = REFUSED[what]
    (tmp_path / "old.png").write_bytes(b"before")
    with pytest.raises(ValueError, match=says) as error:
        call(scene(), tmp_path / "old.png")
    assert "\n" not in str(error.value)
    assert [(path.name, path.read_bytes()) for path in tmp_path.iterdir()] == [("old.png", b"before")]


@pytest.mark.parametrize("form", ("png", "pdf", "svg"))
def test_same_bytes_twice(form: str, tmp_path: Path) -> None:
    for number, draw in enumerate((plot_map, plot_spectrum, plot_profile)):
        dataset = profiles(101, 101) if draw is plot_profile else scene()
        paths = [tmp_path / f"{number}{time}.{form}" for time in "ab"]
        for path in paths:
            draw(dataset, path)
        assert paths[0].read_bytes() == paths[1].read_bytes() and paths[0].stat().st_size > 9000


class Watched(BackendArray):
    """Values that note how many are read at a time."""

    def __init__(self, values: Any) -> None:
        self.values, self.shape, self.dtype, self.most = values, values.shape, values.dtype, 0

    def __getitem__(self, key: Any) -> Any:
        return indexing.explicit_indexing_adapter(key, self.shape, indexing.IndexingSupport.OUTER, self.read)

    def read(self, key: Any) -> Any:
        found = self.values[key]
        self.most = max(self.most, found.size)
        return found


def test_reads_what_it_draws_in_blocks(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(plot_data, "blocks", functools.partial(plot_data.blocks, most=1000))
    dataset = scene()
    watched = {name: Watched(dataset[name].values) for name in ("radiance", "clp_cloud_top_pressure")}
    for name, array in watched.items():
        dataset[name] = (dataset[name].dims, indexing.LazilyIndexedArray(array), dataset[name].attrs)
    plot_map(dataset, tmp_path / "map.png", channel=60)
    assert watched["radiance"].most == 400
    plot_spectrum(dataset, tmp_path / "spectrum.png")
    assert watched["radiance"].most <= 1000 and watched["clp_cloud_top_pressure"].most == 0
