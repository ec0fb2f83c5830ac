"""The command, in this process and as a program of its own."""

from __future__ import annotations

import csv
import importlib.util
import json
import os
import pathlib
import re
import resource
import shutil
import struct
import subprocess
import sys
import tomllib
from collections.abc import Callable

import numpy as np
import pytest
import xarray
from conftest import Runs

import vexfile
from vexfile import command
from vexfile.commands import convert
from vexfile.reading.binary import BinaryFile

#: For programs that import the package that is tested.
HERE = {**os.environ, "PYTHONPATH": str(pathlib.Path(vexfile.__file__).parents[1])}
ALL = "-c 1-3,100 -avhrr 1 -t2 ozo,trg,clp,twt,ems"
Copy = Callable[[pathlib.Path, bytes], pathlib.Path]
Capture = pytest.CaptureFixture[bytes]


def vexfile_says(capture: Capture, *words: object) -> tuple[int, bytes, bytes]:
    """Exit status and both outputs of the command in this process."""
    capture.readouterr()
    status = command.main([str(word) for word in words])
    return status, *capture.readouterr()


def program(*words: object, stdout: object = subprocess.PIPE, **options: object) -> subprocess.CompletedProcess[bytes]:
    """The command as a program of its own."""
    return subprocess.run([sys.executable, "-m", "vexfile", *map(str, words)], env=HERE, stdout=stdout,
                          stderr=subprocess.PIPE, timeout=120, **options)


def with_empty_records(binary: pathlib.Path, text: pathlib.Path) -> tuple[bytes, bytes]:
    """Files that begin and end with a record without content, and have more of them between."""
    file, data, lines = BinaryFile(str(binary)), binary.read_bytes(), text.read_bytes().splitlines(True)
    begins = [*file.index.records(0, file.pixels)[0].tolist(), len(data)]
    marker = struct.pack("<i", file.header.marker) * 2
    records = [data[a:b] + marker * (i % 7 == 3) for i, (a, b) in enumerate(zip(begins, begins[1:]))]
    printed = [line + b"\n" * (i % 7 == 3) for i, line in enumerate(lines[1:])]
    return (data[:begins[0]] + marker + b"".join(records) + marker,
            lines[0] + b"\n" + b"".join(printed) + b"\n")


# --- dump and tables


@pytest.mark.parametrize(("days", "options"), [
    ("old", ALL), ("change", ALL), ("recent", "-t2 ozo,twt"), ("old", "-c 1-8461"), ("old", "-c 5-9 -tb 1 -bi 1 -t2 ems"),
    ("day1", "-c 1-4 -avhrr 1"), ("day1", "-c 7 -tb 1 -bi 1"), ("old", "-c 8455-8470 -t2 clp"), ("change", "-c 3,1-2,2 -t2 ozo"),
    ("old", "-c -3-5,8-9 -t2 trg"), ("old", "-c 8700-8702,9000 -tb 1 -t2 ems"), ("old", "-t2 ems -tb 1"), ("old", "-avhrr 1"),
    ("old", "-c 1-3 -maxres 0")])
def test_dump_is_what_vex_prints(runs: Runs, capfdbinary: Capture, days: str, options: str) -> None:
    text = runs.run(days, options, "txt")
    for form in ("bin", "txt"):
        assert vexfile_says(capfdbinary, "dump", runs.run(days, options, form)) == (0, text.read_bytes(), b"")


def test_records_without_content(runs: Runs, capfdbinary: Capture, tmp_path: pathlib.Path) -> None:
    files = tmp_path / "a.bin", tmp_path / "a.txt"
    for file, data in zip(files, with_empty_records(runs.run("change", ALL), runs.run("change", ALL, "txt"))):
        file.write_bytes(data)
    table = vexfile.read_table(files[1])
    empty = table.isna().all(axis=1).to_numpy()
    assert empty[0] and empty[-1] and not empty.all()
    for file in files:
        assert vexfile_says(capfdbinary, "dump", file)[1] == files[1].read_bytes()
        found, = json.loads(vexfile_says(capfdbinary, "info", "--json", file)[1])
        assert (found["pixels"], found["without_content"], found["satellite"]) == (empty.size, empty.sum(), 4)
    outs = [vexfile_says(capfdbinary, "dump", file, "--pixels", "0,1,9-20", "--fields", "latitude,2")[1] for file in files]
    assert outs[0] == outs[1] and outs[0].splitlines()[:2] == [b"Latitude\t2", b"\t"]


def test_a_part_of_the_records(runs: Runs, capfdbinary: Capture) -> None:
    """The same of both forms, and of fields what the table has; columns that a record lacks are empty."""
    table = vexfile.read_table(runs.run("change", ALL, "txt"))
    fields = "time,IntegratedO3Density100,ems_emissivity,100,AvhrrChannel_8,twt_temperature"
    lines = runs.run("change", ALL, "txt").read_bytes().splitlines()
    for form in ("bin", "txt"):
        file = runs.run("change", ALL, form)
        picked = vexfile_says(capfdbinary, "dump", file, "--pixels", "7,0-2")[1].splitlines()
        assert picked == [lines[0], lines[8], *lines[1:4]]
        rows = [line.decode().split("\t") for line in vexfile_says(capfdbinary, "dump", file, "--fields", fields)[1].splitlines()]
        assert rows[0][:7] == ["Year", "Month", "Day", "Hour", "Minute", "Milliseconds", "IntegratedO3Density100"]
        assert len(set(rows[0])) == len(rows[0]) == 6 + 1 + 12 + 2 + 101
        values = np.array([[float(cell or "nan") for cell in row] for row in rows[1:]])
        assert np.array_equal(values, table[rows[0]], equal_nan=True) and np.isnan(values).any()


def test_table(runs: Runs) -> None:
    """Every value of every line is in a column of its own, under the name that the header line gives."""
    path = runs.run("change", ALL, "txt")
    names, *lines = [line.split("\t") for line in path.read_text().splitlines()]
    table = vexfile.read_table(path)
    assert table.columns.is_unique and len(table.columns) == len(names) + 291 + 44
    assert [name for name in names if names.count(name) == 1] == [n for n in table.columns if names.count(n) == 1]
    long = max(len(line) for line in lines)
    for line, (_, row) in zip(lines, table.iterrows()):
        there = row.dropna().to_numpy()
        assert np.array_equal(there, np.array(line, float)) and (len(line) < long or len(there) == len(row))
    assert table["Year"].dtype == np.int64 and table["Latitude"].dtype == np.float64
    first = len(names) - names[::-1].index("Temperature/dry-bulbTemperature1") - 1  # of twt, behind that of clp
    short = [len(line) == len(names) for line in lines]
    assert any(short) and list(table["Temperature/dry-bulbTemperature1_2"][short]) == [
        float(line[first]) for line, is_short in zip(lines, short) if is_short]
    with pytest.raises(vexfile.FormatError, match="vexfile.open"):
        vexfile.read_table(runs.run("change", ALL))


def test_table_of_statistics(runs: Runs) -> None:
    table = vexfile.read_table(runs.run("old", "-c 1-5", "txtstat"))
    assert list(table["Channel"]) == [1, 2, 3, 4, 5] and table.attrs["comments"][1] == "Satellite: 4"


# --- info and check


def test_info(runs: Runs, capfdbinary: Capture) -> None:
    table = vexfile.read_table(runs.run("change", ALL, "txt"))
    for form in ("bin", "txt"):
        found, = json.loads(vexfile_says(capfdbinary, "info", "--json", runs.run("change", ALL, form))[1])
        assert (found["sort"], found["pixels"], found["channels"]) == ("binary" if form == "bin" else "text", len(table), "1-3,100")
        assert found["products"] == ["L1C", "ozo", "trg", "clp", "twt", "ems"] and found["imager"]
        assert found["layers"] == {"ozo": [4, 101], "twt": [90, 101]} and found["platform"] == "MetOp-A"
        at = table.sort_values(["Month", "Day", "Hour", "Minute", "Milliseconds"]).iloc[-1]
        assert found["last_time"].startswith(f"2014-09-30T{at.Hour:02.0f}:{at.Minute:02.0f}:{at.Milliseconds / 1000:06.3f}")
        assert [found["south"], found["north"]] == pytest.approx([table.Latitude.min(), table.Latitude.max()], rel=1e-5)


@pytest.mark.parametrize(("longitudes", "west", "east"), [
    ((170, 179, -175), 170, -175), ((-10, 20, 30), -10, 30), (tuple(range(-180, 180, 4)), -180, 176), ((5, 5, 5), 5, 5),
    ((-90, 0, 120), -90, 120), ((-777, 3, -777), 3, 3), ((-777, -777), None, None)])
def test_smallest_box(runs: Runs, copy: Copy, capfdbinary: Capture, longitudes: tuple[float, ...], west: float, east: float) -> None:
    path = runs.run("old", "-t2 trg")
    file, data = BinaryFile(str(path)), bytearray(path.read_bytes())
    for i, begin in enumerate(file.index.records(0, file.pixels)[0].tolist()):
        struct.pack_into("<f", data, begin + 4 + 14, longitudes[i % len(longitudes)])
    found, = json.loads(vexfile_says(capfdbinary, "info", "--json", copy(path, bytes(data)))[1])
    assert (found["west"], found["east"]) == (west, east)


@pytest.mark.parametrize(("form", "change", "said"), [
    ("bin", lambda data: data[:-100], b"the file ends"), ("bin", lambda data: data[:9], b"the file ends"),
    ("bin", lambda data: data[:-4] + b"abcd", b"marker"), ("bin", lambda data: b"", b"header"),
    ("txt", lambda data: data[:-1], b"end of a line"), ("txt", lambda data: data[:-3] + b"x\t\n", b"columns"),
    ("txt", lambda data: data.replace(b"\t2013\t", b"\t2O13\t", 1), b"a number"),
    ("txt", lambda data: data.replace(b"\t2013\t", b"\t2.13\t", 1), b"integers"),
    ("txt", lambda data: data.replace(b"\t2013\t", b"\t 013\t", 1), b"a number, found ' '"),
    ("txt", lambda data: data.replace(b"\n4\t", b"\n\0\t", 1), b"a number, found '\\x00'"),
    ("txt", lambda data: b"\t".join([*data.split(b"\t")[:-3], b"0.01 ", b"\0", b"\n"]), b"a number, found ' '"),
    ("txtstat", lambda data: data[:-1], b"line feed"), ("txt", lambda data: b"Name\tAge\n", b"header"),
], ids=lambda value: value.decode() if isinstance(value, bytes) else None)
def test_damage(runs: Runs, copy: Copy, capfdbinary: Capture, form: str, change: Callable[[bytes], bytes], said: bytes) -> None:
    """One line with path, place and what had to be there; the other files are looked at all the same."""
    good = runs.run("old", "-c 1-5", form)
    bad = copy(good, change(good.read_bytes()))
    status, out, err = vexfile_says(capfdbinary, "check", bad, good)
    assert status == 1 and out.startswith(str(good).encode() + b": sound, ") and out.count(b"\n") == 1
    assert err.startswith(f"vexfile: {bad}: at byte ".encode()) and said in err and err.count(b"\n") == 1
    for words in (("convert", bad, bad.with_suffix(".nc")), ("cat", good, bad, "-o", bad.with_name("both"))):
        if form != "txtstat":
            assert vexfile_says(capfdbinary, *words)[0] == 1 and os.listdir(bad.parent) == [bad.name]


def test_values(runs: Runs, copy: Copy, capfdbinary: Capture) -> None:
    """What vex writes is in the ranges and codes of the tables, in both forms; other values are refused with their place."""
    for days in ("old", "change", "recent", "day1"):
        for options in (ALL, "-c 1 -tb 1 -t2 twt", "-t2 ozo,clp", "-t2 trg -maxres 0")[:1 if days == "day1" else 4]:
            for form in ("bin", "txt"):
                path = runs.run(days, options.partition(" -t2")[0] if days == "day1" else options, form)
                assert vexfile_says(capfdbinary, "check", "--values", path)[0] == 0
    path = runs.run("old", "-c 1 -t2 clp")
    file, data = BinaryFile(str(path)), path.read_bytes()
    begins = file.index.records(0, file.pixels)[0].tolist()
    places = next(shape.places for shape in file.index.used() if shape.places)
    for name, form, value, said in (
            ("latitude", "f", 91.5, "Latitude from -90 to 90, found 91.5"), ("hour", "B", 24, "Hour from 0 to 23, found 24"),
            ("longitude", "f", np.nan, "Longitude from -180 to 180, found nan"), ("l2_land_sea_qualifier", "B", 3, "found 3"),
            ("clp_cloud_phase", "i", 7, "CloudPhase# from 0 to 6, found 7"), ("l2_day_night_qualifier", "B", 3, "of 0-2, found 3"),
            ("satellite_height", "f", 829900e3, "found 829900")):
        pixel = next(i for i in range(file.pixels) if file.read("clp_cloud_phase", i, i + 1)[0, 0] >= 0)
        bad = bytearray(data)
        struct.pack_into("<" + form, bad, begins[pixel] + places[name].offset, value)
        bad_path = copy(path, bytes(bad))
        status, _, err = vexfile_says(capfdbinary, "check", "--values", bad_path)
        assert status == 1 and err.startswith(f"vexfile: {bad_path}: at byte {begins[pixel]}: expected ".encode())
        assert said.encode() in err and vexfile_says(capfdbinary, "check", bad_path)[0] == 0


# --- convert


def as_dataset(path: pathlib.Path) -> xarray.Dataset:
    return xarray.open_dataset(path, engine="zarr" if path.is_dir() else "netcdf4").load()


@pytest.mark.filterwarnings("ignore:invalid value encountered in cast")
@pytest.mark.parametrize(("days", "options", "form"), [
    ("change", ALL, "bin"), ("change", ALL, "txt"), ("old", "-c 1-1100 -tb 1 -bi 1", "bin"), ("day1", "-avhrr 1", "bin"),
    ("old", "-t2 clp,ems", "bin"), ("old", "-c 1 -maxres 0", "bin")])
def test_converted_values(runs: Runs, tmp_path: pathlib.Path, days: str, options: str, form: str) -> None:
    path = runs.run(days, options, form)
    with vexfile.open(path) as data:
        data = data.load() if data.sizes.get("channel") else data.drop_dims("channel", errors="ignore").load()
    for name in ("a.nc", "a.zarr", "a.csv"):
        assert command.main(["convert", str(path), str(tmp_path / name)]) == 0
    for name in ("a.nc", "a.zarr"):
        back = as_dataset(tmp_path / name)
        xarray.testing.assert_equal(back, data)
        assert set(back.coords) == set(data.coords) and data.attrs.items() <= back.attrs.items()
        assert all(back[one].dtype == data[one].dtype and back[one].encoding.get("dtype") == data[one].encoding.get(
            "dtype", data[one].dtype) for one in data.data_vars)
    with open(tmp_path / "a.csv", newline="") as file:
        rows = list(csv.reader(file))
    assert len(rows) == data.sizes["pixel"] + 1 and rows[0][:3] == ["latitude", "longitude", "time"]
    for name in ("latitude", "orbit_number", "time", "avhrr_channel", "radiance", "brightness_temperature"):
        if name in data and len(rows) > 1:
            last = data[name].values[-1].ravel()[-1]
            at = max(i for i, one in enumerate(rows[0]) if one.rstrip("_0123456789") == name)
            assert rows[-1][at] == (str(last)[:23] + "Z" if name == "time" else "" if np.isnan(last) else f"{last:.9g}") or (
                np.float32(rows[-1][at]) == last)


def test_converted_files_follow_one_another(runs: Runs, tmp_path: pathlib.Path) -> None:
    paths = [runs.run(days, "-c 1-3 -t2 ozo,twt") for days in ("old", "recent", "change")]
    assert command.main(["convert", *map(str, paths), str(tmp_path / "a.zarr"), "--uncompressed"]) == 0
    parts = [vexfile.open(path).load() for path in paths]
    whole = xarray.concat(parts, "pixel", data_vars="minimal", coords="minimal", compat="override", join="outer",
                          combine_attrs="drop_conflicts")
    xarray.testing.assert_equal(as_dataset(tmp_path / "a.zarr"), whole)
    paths = [runs.run("old", "-c 1-3 -tb 1" + more, "txt") for more in (" -maxres 0", "")]  # the first does not tell the unit
    assert command.main(["convert", *map(str, paths), str(tmp_path / "a.csv")]) == 0
    assert "brightness_temperature_2" in (tmp_path / "a.csv").read_text()


@pytest.mark.skipif(not all(map(shutil.which, ("ncdump", "cdo", "ncks"))), reason="without ncdump, cdo or ncks")
@pytest.mark.parametrize("options", [ALL, "-c 1-2 -tb 1", "-t2 twt"])
def test_other_tools_do_not_complain(runs: Runs, tmp_path: pathlib.Path, options: str) -> None:
    out = tmp_path / "a.nc"
    assert command.main(["convert", str(runs.run("change", options)), str(out)]) == 0
    for words in (["ncdump", "-t"], ["ncks", "-m"], ["cdo", "-s", "sinfo"], ["cdo", "-s", "infon"]):
        done = subprocess.run([*words, out], capture_output=True, text=True)
        # cdo wants no coordinates but positions, and these of two dimensions at most; all others are there for CF.
        said = re.sub(r"Warning \(cdf.*(variable (time|wavenumber) can't|variable avhrr_).*\n", "", done.stderr)
        assert (done.returncode, said) == (0, ""), words
        assert "unstructured" in done.stdout or words[-1] != "sinfo"  # pixels are places, not times


def test_statistics_are_converted(runs: Runs, tmp_path: pathlib.Path) -> None:
    path = runs.run("old", "-c 1-5", "txtstat")
    for name in ("a.nc", "a.zarr", "a.csv"):
        assert command.main(["convert", str(path), str(tmp_path / name)]) == 0
    for name in ("a.nc", "a.zarr"):
        xarray.testing.assert_equal(as_dataset(tmp_path / name), vexfile.open(path).load())
        assert as_dataset(tmp_path / name).attrs["input_sha256"].endswith(f"  {path}")


#: A command that gets a SIGTERM when it reads pixels.
KILLED = """\
import os, signal, sys, time
from vexfile import command
from vexfile.commands import convert
convert.Source.read = lambda *_: os.kill(os.getpid(), signal.SIGTERM) or time.sleep(9)
sys.exit(command.main())
"""


@pytest.mark.parametrize("name", ["a.nc", "a.zarr", "a.csv"])
def test_nothing_is_left_behind(runs: Runs, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch, capfdbinary: Capture,
                                name: str) -> None:
    """Neither when it is interrupted nor when there is no room; what was there stays."""
    path, out = runs.run("old", "-c 1-5000"), tmp_path / name
    full = program("convert", path, out, preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 14,) * 2))
    assert full.returncode == 1 and full.stderr.startswith(f"vexfile: {out}: ".encode()) and full.stderr.count(b"\n") == 1
    assert not os.listdir(tmp_path)
    assert vexfile_says(capfdbinary, "convert", path, out)[0] == 0
    before = sorted(str(one) for one in tmp_path.rglob("*"))
    assert vexfile_says(capfdbinary, "convert", path, out) == (
        1, b"", f"vexfile: {out}: exists already; --force replaces it\n".encode())
    read = convert.Source.read

    def interrupted(self: convert.Source, item: convert.Item, begin: int, end: int) -> object:
        if item.spectrum:
            raise KeyboardInterrupt
        return read(self, item, begin, end)

    with monkeypatch.context() as patch:
        patch.setattr(convert.Source, "read", interrupted)
        assert vexfile_says(capfdbinary, "convert", "--force", path, out)[0] == 130
    ended = subprocess.run([sys.executable, "-c", KILLED, "convert", "--force", path, out], stderr=subprocess.PIPE)
    assert (ended.returncode, ended.stderr) == (143, b"vexfile: interrupted\n")
    assert sorted(str(one) for one in tmp_path.rglob("*")) == before
    assert vexfile_says(capfdbinary, "convert", "--force", path, out)[0] == 0


def content(folder: pathlib.Path) -> dict[str, bytes]:
    return {str(path): path.read_bytes() for path in folder.rglob("*") if path.is_file()}


@pytest.mark.parametrize(("inputs", "out", "words"), [
    ("a.part", "a", ["cat", "a.part", "-o", "a"]), ("a.nc.part", "a.nc", ["convert", "a.nc.part", "a.nc"]),
    ("b.csv.part", "b.csv", ["convert", "b.csv.part", "b.csv"]), ("s.part t", "s", ["merge-stat", "s.part", "t", "-o", "s"]),
    ("d.zarr.part", "d.zarr", ["convert", "d.zarr.part", "d.zarr"]),
    ("a.png.part", "a.png", ["plot", "map", "a.png.part", "a.png", "--channel", "1"])])
def test_only_the_output_changes(runs: Runs, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch, capfdbinary: Capture,
                                 inputs: str, out: str, words: list[str]) -> None:
    """Inputs stay, whatever their names; outputs that are inputs, by whatever path, or hold one are refused."""
    if words[0] == "plot":
        pytest.importorskip("cartopy")
    monkeypatch.chdir(tmp_path)
    for name, day in zip(inputs.split(), ("old", "recent")):
        shutil.copy(runs.run(day, "-c 1-5", "txtstat" if words[0] == "merge-stat" else "bin"), name)
    first = inputs.split()[0]
    (tmp_path / f"{out}.part.other").mkdir()
    before = content(tmp_path)
    assert vexfile_says(capfdbinary, *words)[0] == 0
    made = [path for path in os.listdir() if path not in (*inputs.split(), f"{out}.part.other")]
    assert made == [out] and before.items() <= content(tmp_path).items()
    assert os.stat(out).st_mode & 0o777 == (0o755 if out.endswith(".zarr") else 0o644)
    if words[0] != "plot":
        assert vexfile_says(capfdbinary, *words)[0] == 1
    link = f"link{pathlib.Path(out).suffix}"
    if out.endswith(".zarr"):
        shutil.copy(first, f"{out}/inside")
        first, link = f"{out}/inside", out
    else:
        os.link(first, link)
    before = content(tmp_path)
    for word in ([], ["--force"]):
        refused = [link if one == out else first if one == inputs.split()[0] else one for one in words]
        status, _, err = vexfile_says(capfdbinary, *refused, *(word if words[0] != "plot" else []))
        assert (status, err) == (2, f"vexfile: {link}: is also an input\n".encode()) and content(tmp_path) == before
    for name in ("x.part.other", os.devnull):
        if words[0] in ("cat", "merge-stat"):
            (tmp_path / "x.part.other").mkdir(exist_ok=True)
            assert vexfile_says(capfdbinary, *words[:-1], name, "--force")[0] == 2 and os.path.exists(os.devnull)


# --- cat


@pytest.mark.parametrize("form", ["bin", "txt"])
@pytest.mark.parametrize(("days", "options"), [("old", "-c 1-3 -avhrr 1"), ("change", "-t2 ozo -bi 1"), ("day1", "-c 2")])
def test_parts_make_the_whole(runs: Runs, tmp_path: pathlib.Path, days: str, options: str, form: str) -> None:
    """Of a run and of the two halves of it; of a run that read nothing as well."""
    parts = [runs.run(days, options + more, form) for more in (" -maxres 0", " -maxres 9", " -skip 9")]
    assert command.main(["cat", *map(str, parts), "-o", str(tmp_path / "both")]) == 0
    assert (tmp_path / "both").read_bytes() == runs.run(days, options, form).read_bytes()


@pytest.mark.parametrize(("first", "other", "said"), [
    ("-c 1-3", "-c 1-2", "2 channels in place of 3"), ("-c 1-3", "-c 1,3,2", "channel 3 in place of 2"),
    ("-c 1-3", "-c 1-3 -bi 1", "big-endian in place of little-endian"), ("-c 1", "-c 1 -avhrr 1", "imager data in place of no imager data"),
    ("-c 1", "-c 1 -tb 1", "brightness temperatures in place of radiances"), ("-c 1", "-t2 ozo", "no L1C in place of L1C"),
    ("-t2 ozo", "-t2 ozo,twt", "products ozo twt in place of products ozo")])
def test_other_headers_are_refused(runs: Runs, tmp_path: pathlib.Path, capfdbinary: Capture, first: str, other: str, said: str) -> None:
    for form in ("bin", "txt"):
        if form == "txt" and "-bi" in other:
            continue
        paths = runs.run("old", first, form), runs.run("old", other, form)
        expected = f"vexfile: {paths[1]}: {said}, unlike {paths[0]}\n"
        assert vexfile_says(capfdbinary, "cat", *paths, "-o", tmp_path / "a") == (2, b"", expected.encode())
        if "-bi" not in other:
            assert vexfile_says(capfdbinary, "convert", *paths, tmp_path / "a.nc") == (2, b"", expected.encode())
    assert not os.listdir(tmp_path)


# --- the rest


def test_merged_statistics(runs: Runs, tmp_path: pathlib.Path, capfdbinary: Capture) -> None:
    both = [runs.run(days, "-c 1-5", "txtstat") for days in ("old", "recent")]
    assert vexfile_says(capfdbinary, "merge-stat", *both, "-o", tmp_path / "both.txt")[0] == 0
    assert vexfile_says(capfdbinary, "check", tmp_path / "both.txt")[0] == 0
    assert vexfile_says(capfdbinary, "merge-stat", *both, "-o", tmp_path / "both.txt")[0] == 1


def test_pictures(runs: Runs, tmp_path: pathlib.Path, capfdbinary: Capture) -> None:
    pytest.importorskip("cartopy")
    path, statistics = runs.run("old", ALL), runs.run("old", "-c 1-5", "txtstat")
    for words in (("map", path, "--channel", "100"), ("map", path, "--field", "ozo_pressure_bottom", "--index", "2", "--limits", "0,900"),
                  ("spectrum", path, "--pixels", "0,3-4"), ("profile", path), ("statistics", statistics)):
        status, out, err = vexfile_says(capfdbinary, "plot", words[0], words[1], tmp_path / "a.png", *words[2:])
        assert (status, out) == (0, b"") and err.count(b"\n") <= 1, err
        assert (tmp_path / "a.png").read_bytes().startswith(b"\x89PNG")
        (tmp_path / "a.png").unlink()
    status, out, err = vexfile_says(capfdbinary, "plot", "map", path, tmp_path / "a.png", "--channel", "7")
    assert (status, out, err.count(b"\n")) == (2, b"", 1)


def test_words_for_people(runs: Runs, tmp_path: pathlib.Path, capfdbinary: Capture) -> None:
    """A BUFR file is told as such, with what to run; unknown fields are told with a few that are alike; --debug tells where."""
    bufr = next(runs.archive("old").rglob("*l1_bufr"))
    status, _, err = vexfile_says(capfdbinary, "info", bufr)
    assert status == 1 and b"found a BUFR message; vex reads these" in err and b"vex -d" in err and err.count(b"\n") == 1
    path = runs.run("old", ALL)
    for words in (("dump", path, "--fields", "clp_cloud_phse"),
                  ("plot", "map", path, tmp_path / "a.png", "--field", "clp_cloud_phse")):
        if words[0] == "plot" and not importlib.util.find_spec("cartopy"):
            continue
        status, _, err = vexfile_says(capfdbinary, *words)
        assert status == 2 and b"no field 'clp_cloud_phse'; similar: clp_cloud_phase" in err and len(err) < 250
    assert b"vexfile(5) lists fields" in vexfile_says(capfdbinary, "dump", path, "--fields", "qqq")[2]
    for words in (("--debug", "check", bufr), ("check", bufr, "--debug"), ("dump", path, "--debug", "--fields", "qqq")):
        err = vexfile_says(capfdbinary, *words)[2]
        assert err.startswith(b"Traceback") and err.splitlines()[-1].startswith(b"vexfile: ")


@pytest.mark.parametrize("words", [
    (), ("nothing",), ("dump",), ("dump", "f", "--pixels", "3-1"), ("dump", "f", "--pixels", ""),
    ("dump", "f", "--pixels", "5,0-99999999999"), ("cat", "f"), ("convert", "f"),
    ("convert", "f", "g.nc", "--compression", "10"), ("plot", "map", "f", "g.png", "--limits", "1"), ("convert", "f", "g.txt")])
def test_wrong_words(capfdbinary: Capture, words: tuple[str, ...]) -> None:
    status, out, err = vexfile_says(capfdbinary, *words)
    assert (status, out) == (2, b"") and err.startswith(b"vexfile: ") and err.count(b"\n") == 1


def test_as_a_program(runs: Runs) -> None:
    """Pipes that close, a full device, versions; and what is not imported to start fast."""
    path = runs.run("old", "-c 1-5000")
    with subprocess.Popen([sys.executable, "-m", "vexfile", "dump", path], env=HERE, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE) as process:
        assert process.stdout and process.stderr and process.stdout.read(19) == b"SatelliteIdentifier"
        process.stdout.close()
        assert (process.wait(), process.stderr.read()) == (141, b"")
    with open("/dev/full", "wb") as full:
        done = program("dump", path, stdout=full)
    assert (done.returncode, done.stderr) == (1, b"vexfile: output: No space left on device\n")
    done = program("info", "nothing.bin", path)
    assert (done.returncode, done.stderr) == (1, b"vexfile: nothing.bin: No such file or directory\n")
    version = tomllib.loads(pathlib.Path(__file__).parents[1].joinpath("pyproject.toml").read_text())["project"]["version"]
    assert program("--version").stdout.decode() == f"vexfile {version}\n" and b"exit status" in program("--help").stdout
    slow = "import sys; from vexfile.command import main; main(sys.argv[1:]); print({'xarray', 'pandas'} & {*sys.modules})"
    for one in (path, runs.run("old", ALL, "txt")):
        done = subprocess.run([sys.executable, "-c", slow, "info", one], env=HERE, capture_output=True, text=True)
        assert done.stdout.endswith("set()\n"), done
