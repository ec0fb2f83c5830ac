"""vexfile grid: heights of any NetCDF grid and the coast lines of GMT become what vex looks up."""

from __future__ import annotations

import os
import pathlib
import shutil
import subprocess

import numpy as np
import pytest
from numpy.typing import NDArray

from vexfile import command
from vexfile.commands import grid
from vexfile.reading.altitudes import COLUMN_EDGES, NOT_GIVEN, ROW_EDGES, Altitudes, read_grid

netCDF4 = pytest.importorskip("netCDF4")
Capture = pytest.CaptureFixture[str]
#: Heights of cells of a degree, from the south and from Greenwich eastward.
HEIGHTS = np.random.default_rng(7).integers(-300, 900, (180, 360)) * 2
#: How a file has them: cells or nodes, the westernmost edge, from the south, from the west, latitude first.
FORMS = [("cells", 0, True, True, True), ("cells", -180, False, True, True), ("cells", -180, True, False, False),
         ("nodes", 0, False, True, False), ("nodes", -180, True, False, True), ("nodes", 20, False, False, True)]


def write(path: pathlib.Path, nodes: bool = False, west: int = 0, southward: bool = False, westward: bool = False,
          transposed: bool = False, units: str = "m", name: str = "z") -> pathlib.Path:
    """HEIGHTS as a file; nodes are the corners of the south-west, with those of the east and the north once more."""
    latitude, longitude = np.arange(-90, 90) + 0.5 * (not nodes), west + np.arange(360) + 0.5 * (not nodes)
    heights = np.roll(HEIGHTS, -west, 1)
    if nodes:
        latitude, longitude = np.arange(-90.0, 91), west + np.arange(361.0)
        heights = np.pad(heights, ((0, 1), (0, 1)), "wrap")
    values = heights[::-1 if southward else 1, ::-1 if westward else 1]
    with netCDF4.Dataset(path, "a" if path.exists() else "w") as file:
        for axis, centres, unit in (("v", latitude[::-1] if southward else latitude, "degrees_north"),
                                    ("u", longitude[::-1] if westward else longitude, "degrees_east")):
            if axis not in file.dimensions:
                file.createDimension(axis, len(centres))
                file.createVariable(axis, "f4", (axis,))[:] = centres
                file[axis].units = unit
        file.createVariable(name, "f4", ("u", "v") if transposed else ("v", "u"))[:] = values.T if transposed else values
        file[name].units = units
    return path


def expected(nodes: bool) -> NDArray[np.float64]:
    """Means over cells of 1/6 degree: each has one height, or half of each of two neighbours."""
    north = HEIGHTS[::-1].astype(float)
    if not nodes:  # a column that is centred on a whole degree has both sides of it
        columns = np.repeat(north, 6, 1)
        columns[:, 5:-1:6] = (north[:, :-1] + north[:, 1:]) / 2
        return np.repeat(columns, 6, 0)
    wrapped = np.pad(north, ((1, 0), (0, 1)), "wrap")
    columns = np.repeat(wrapped, 6, 1)[:, 3:-3]  # the third one has half of two nodes
    columns[:, 2::6] = (wrapped[:, :-1] + wrapped[:, 1:]) / 2
    return np.repeat(columns, 6, 0)[3:-3]


def shown(heights: NDArray[np.float64]) -> NDArray[np.float64]:
    return np.where(heights >= 0, heights, NOT_GIVEN)


def cell(latitude: float, longitude: float) -> tuple[int, int]:
    """Row and column of a place."""
    column = np.searchsorted(COLUMN_EDGES, longitude % 360, "right") - 1
    return int(np.searchsorted(-ROW_EDGES, -latitude, "right").clip(1, 1080)) - 1, int(column)


@pytest.fixture(autouse=True)
def without_gmt(request: pytest.FixtureRequest, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    if "real" not in request.node.name:
        monkeypatch.setenv("PATH", str(tmp_path))
        monkeypatch.setattr(grid, "ETOPO5", str(tmp_path / "none"))


@pytest.mark.parametrize("form", FORMS)
def test_heights_of_all_forms(form: tuple[str, int, bool, bool, bool], tmp_path: pathlib.Path,
                              monkeypatch: pytest.MonkeyPatch) -> None:
    """The mean over each cell, whatever the order and registration; read in bands as large files are."""
    kind, west, south_first, west_first, latitude_first = form
    source = write(tmp_path / "z.nc", kind == "nodes", west, not south_first, not west_first, not latitude_first)
    monkeypatch.setattr(grid, "BAND", 50_000)
    assert "by the heights" in grid.grid(str(tmp_path / "grid"), str(source))
    np.testing.assert_allclose(read_grid(tmp_path / "grid"), shown(expected(kind == "nodes")), atol=0.5)


def test_coasts_count_before_heights(tmp_path: pathlib.Path) -> None:
    """Land below sea level is land, sea above it is sea; without a height land has altitude 0."""
    source, mask = write(tmp_path / "z.nc"), write(tmp_path / "m.nc", units="")
    with netCDF4.Dataset(source, "a") as file:
        file["z"][30:60, 40:80] = np.nan
    land = np.random.default_rng(8).random(HEIGHTS.shape) < 0.3
    with netCDF4.Dataset(mask, "a") as file:
        file["z"][:], file.GMT_version = land, "6.4.0 [64-bit]"
    program = tmp_path / "gmt"
    program.write_text(f'#!/bin/sh\necho "$@" >{tmp_path}/asked\n/bin/cp {mask} mask.nc\n')
    program.chmod(0o755)
    for lakes, asked in ((None, "-N0/1/1/1/1"), ("sea", "-N0/1/0/1/0")):
        said = grid.grid(str(tmp_path / "grid"), str(source), lakes=lakes, force=True)
        assert f"GMT 6.4.0, GSHHG; lakes are {lakes or 'land'}" in said
        assert asked in (tmp_path / "asked").read_text()
    made = read_grid(tmp_path / "grid")[:, :-1].reshape(180, 6, -1)[:, 0, 1::6]
    heights = HEIGHTS.copy()
    heights[30:60, 40:80] = 0
    assert (made == np.where(land, heights.clip(0), NOT_GIVEN)[::-1]).all()
    program.write_text("#!/bin/sh\necho 'gmt [ERROR]: no coast lines' >&2\nexit 1\n")
    with pytest.raises(OSError, match=r"gmt \[ERROR\]: no coast lines \(is the Debian package"):
        grid.grid(str(tmp_path / "new"), str(source))
    assert not (tmp_path / "new").exists()


def test_vex_reads_it(vex: pathlib.Path, sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    """The surface of each pixel is that of the cell that has it; -st land keeps those of land."""
    grid.grid(str(tmp_path / "grid"), str(write(tmp_path / "z.nc")))
    check_by_vex(vex, sample, tmp_path, read_grid(tmp_path / "grid"))


def check_by_vex(vex: pathlib.Path, sample: pathlib.Path, folder: pathlib.Path, altitudes: Altitudes) -> None:
    subprocess.run([sample, folder / "A", "--messages", "60", "--messages-per-file", "1", "--kinds", "l1c"], check=True,
                   stdout=subprocess.DEVNULL)
    common = [vex, "-d", folder / "A/L1C", "-c", "1", "-of", "txt", "-fd", "2013-04-20", "-ld", "2013-04-20", "-alt",
              folder / "grid", "-out"]
    subprocess.run([*common, folder / "all"], check=True, stdout=subprocess.DEVNULL)
    said = subprocess.run([*common, folder / "land", "-st", "land"], check=True, capture_output=True, text=True).stdout
    names = (folder / "all").open().readline().split("\t")
    places = np.loadtxt(folder / "all", skiprows=1, usecols=[names.index(name) for name in
                                                             ("Latitude", "Longitude", "SurfaceType")])
    wanted = np.array([altitudes[cell(latitude, longitude)] >= 0 for latitude, longitude, _ in places])
    assert len(places) == 7200 and 0.02 < wanted.mean() < 0.98
    assert f"\n{int(places[:, 2].sum())} L1C data selected out of 7200\n" in said
    wrong = places[wanted != places[:, 2]]  # four digits may put a pixel beyond an edge
    assert (np.abs((wrong[:, :2] * 12 + 0.5) % 1 - 0.5).min(1) < 12 * 6e-5).all() and len(wrong) < 20


#: Name, latitude, longitude, and what it is; a lake is what --lakes says.
PLACES = """
Caspian depression,48.5,47.5,land;Death Valley,36.25,-116.83,land;Dead Sea shore,31.5,35.2,land;Qattara,29.8,27,land
Turpan,42.8,89.2,land;Danakil,14.2,40.3,land;Amsterdam,52.3,4.9,land;Lake Superior,47.7,-87.5,lake
Lake Victoria,-1,33,lake;Lake Baikal,53.5,108.2,lake;Lake Ladoga,60.8,31.5,lake;Caspian Sea,41,51,lake
Reykjavik,64.05,-21.8,land;Greenland,72,-40,land;Mauna Loa,19.5,-155.6,land;Tahiti,-17.65,-149.45,land
Reunion,-21.1,55.55,land;Tenerife,28.28,-16.6,land;Crete,35.2,24.9,land;Cyprus,35,33.2,land;Puerto Rico,18.2,-66.4,land
Kerguelen,-49.3,69.5,land;South Georgia,-54.4,-36.6,land;Mauritius,-20.3,57.55,land;North Pole,90,0,sea
near the North Pole,89.99,123.4,sea;South Pole,-90,0,land;near the South Pole,-89.99,-123.4,land
Chukotka in the west,66.5,179.9,land;Chukotka in the east,66.5,-179.9,land;Taveuni in the west,-16.85,179.97,land
Taveuni in the east,-16.85,-179.98,land;Wrangel in the east,71.2,-179.5,land;Wrangel in the west,71.2,179.5,land
Pacific west of the date line,0,179.99,sea;Pacific east of the date line,0,-179.99,sea;Suez,30,32.3,land
Gulf of Suez,28.5,33.1,sea;Red Sea,20,38.5,sea;Mediterranean,35,18,sea;Greenwich,51.48,0.02,land;Ghana,6,-0.01,land
Gulf of Guinea,0,0.01,sea;west of it,0,-0.01,sea;Algeria,32,0,land;Black Sea,43,34,sea;Baltic Sea,58,20,sea
Hudson Bay,60,-86,sea;Persian Gulf,27.5,51,sea;Strait of Dover,51,1.45,sea;Lhasa,29.65,91.1,land;Manaus,-3,-60,land
Alice Springs,-23.7,133.9,land;Drake Passage,-58,-65,sea;Ross Ice Shelf,-81.5,-175,land;Weddell Sea,-70,-40,sea
Bass Strait,-40,146,sea;Cook Strait,-41.2,174.6,sea;Point Nemo,-48.9,-123.4,sea"""


@pytest.mark.skipif(not (shutil.which("gmt") and os.path.exists(grid.ETOPO5)), reason="needs gmt and ferret-datasets")
def test_real_places(vex: pathlib.Path, sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    """Places on Earth by the coast lines of GMT, and heights of some by ETOPO5."""
    places = [one.split(",") for one in PLACES.replace("\n", ";").split(";") if one]
    assert len(places) >= 50
    for lakes in ("sea", "land"):
        grid.grid(str(tmp_path / "grid"), lakes=lakes, force=True)
        altitudes = read_grid(tmp_path / "grid")
        found = {name: altitudes[cell(float(latitude), float(longitude))] for name, latitude, longitude, _ in places}
        wrong = [name for name, _, _, what in places if (found[name] >= 0) != ((lakes if what == "lake" else what) == "land")]
        assert not wrong
    assert found["Lhasa"] > 3500 and found["Greenland"] > 2500 and found["Death Valley"] >= 0 and found["Amsterdam"] < 20
    check_by_vex(vex, sample, tmp_path, altitudes)


#: Words of the command, and what it says.
REFUSED = {"": "no elevation model: give --elevation FILE.nc, or install the Debian package ferret-datasets",
           "--elevation z.nc --lakes sea": "--lakes takes the coast lines of GMT: install the Debian package gmt",
           "--elevation two.nc": "two.nc: has z, more over latitude and longitude; choose by --variable",
           "--elevation z.nc --variable u": "z.nc: has z over latitude and longitude",
           "--elevation km.nc": "z is in km, not in m", "--elevation half.nc": "the cells of z do not cover the Earth",
           "--elevation none.nc": "none.nc: No such file", "--elevation text.nc": "text.nc: NetCDF: Unknown file format",
           "--elevation z.nc ": "out: exists already; --force replaces it"}


@pytest.mark.parametrize("words", REFUSED)
def test_refused(words: str, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch, capsys: Capture) -> None:
    monkeypatch.chdir(tmp_path)
    write(write(pathlib.Path("two.nc")), name="more")
    write(pathlib.Path("z.nc"))
    write(pathlib.Path("km.nc"), units="km")
    with netCDF4.Dataset(write(pathlib.Path("half.nc")), "a") as file:
        file["u"][:] = file["u"][:] / 2
    pathlib.Path("text.nc").write_text("text")
    if words.endswith(" "):
        pathlib.Path("out").touch()
    assert command.main(["grid", "out", *words.split()]) in (1, 2)
    assert REFUSED[words] in capsys.readouterr().err
    assert pathlib.Path("out").exists() == words.endswith(" ") and not list(tmp_path.glob("*.part"))
