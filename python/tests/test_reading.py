"""What the package reads is what vex prints as text."""

from __future__ import annotations

import pickle
import struct
from collections.abc import Callable, Iterator
from pathlib import Path

import numpy as np
import pytest
import xarray
from conftest import ARCHIVES, Runs
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import vexfile
from vexfile.reading import index, scatter
from vexfile.reading.engine import VexBackendEntrypoint
from vexfile.reading.header import Header, read_text_header

EVERYTHING = "-avhrr 1 -t2 ozo,trg,clp,twt,ems"
OPTIONS = ["-c 1-5,2000,8461 " + EVERYTHING, "-c 1-5,2000,8461 -tb 1 " + EVERYTHING, "-avhrr 1", "-t2 ozo,clp", "-t2 twt",
           "-t2 trg,ems", "-c 1-3 -maxres 0", "-c 7,3,5-6,3", "-c 8400-8461 -t2 ozo,twt", "-c 1-100 -t2 clp",
           "-c 8455-8470 -tb 1 -t2 ems", "-c 9-1", "-c 9-1 -t2 ozo,trg"]
#: Columns that lines have more than the header line names, and the blocks that they are of.
LONGER: dict[int, tuple[str, ...]] = {0: (), 291: ("ozo",), 44: ("twt",), 335: ("ozo", "twt")}
Copy = Callable[[Path, bytes], Path]


def header_of(text: Path) -> Header:
    with open(text, "rb") as file:
        return read_text_header("", file.readline())


def values_of_line(header: Header, data: xarray.Dataset, pixel: int, count: int) -> Iterator[np.generic]:
    """The values of a record in the order of a line of `count` columns, the first two excepted."""
    longer = LONGER[count - sum(len(list(b.column_names())) for b in header.blocks) - header.channels.size]
    for block in header.blocks:
        if block.spectrum:
            yield from data["radiance" if "radiance" in data else "brightness_temperature"].values[pixel]
            continue
        for group in block.groups:
            for i in range(group.times_recent if block.name in longer else group.times):
                for field in group.fields:
                    if field.size:
                        values = data[field.name].values[pixel]
                        yield values[i] if group.times > 1 else values
                for j in range(group.inner_times):
                    yield from (data[field.name].values[pixel, i, j] for field in group.inner)


def agree(value: np.generic, text: str) -> bool:
    """Whether a column shows a value of a binary file; some missing ones have two forms."""
    if text == "":
        return value in (0, -1)
    shown = "%g" % value if isinstance(value, np.floating) else "%d" % value
    return shown == text or (value, text) in ((0, "-1"), (-1, "-777"))


def with_kilometres(names: list[str], line: list[str]) -> list[str]:
    """A line with its height in kilometres; records whose first product is an L2 one have metres."""
    at = names.index("HeightOfStation")
    if not line[at].startswith("-") and (names[at + 1] != "DayVersion" or line[at + 1] == "-1"):
        line[at] = f"{float(line[at]) / 1000:g}"
    return line


@pytest.mark.parametrize("day", [*ARCHIVES, "real"])
@pytest.mark.parametrize("options", OPTIONS)
def test_values_are_those_of_the_text(runs: Runs, day: str, options: str) -> None:
    """Every value of every variable of both byte orders; and text that is read gives the same Dataset."""
    if day in ("day1", "real"):  # have no products of level 2
        options = options.partition("-t2")[0].strip() or "-c 1-3"
    path = runs.run(day, options, "txt")
    names, *lines = [line.split("\t") for line in path.read_text().splitlines()]
    lines = [with_kilometres(names, line) for line in lines]
    with vexfile.open(path) as text, vexfile.open(path, mask=False) as plain:
        text.load(), plain.load()
    for order in ("", " -bi 1"):
        with vexfile.open(runs.run(day, options + order), mask=False) as data:
            data.load()
        assert data.sizes["pixel"] == len(lines)
        for pixel, line in enumerate(lines):
            values = values_of_line(header_of(path), data, pixel, len(line))
            wrong = [(i, v, t) for i, (v, t) in enumerate(zip(values, line[2:], strict=True)) if not agree(v, t)]
            assert not wrong, (pixel, wrong[:3])
        with vexfile.open(runs.run(day, options + order)) as masked:
            assert set(text.variables) - set(masked.variables) == {"satellite", "tb"}
            xarray.testing.assert_allclose(masked.load(), text[list(masked.variables)], rtol=6e-6)
    for name in ("latitude", "cloud_fraction", "twt_temperature", "ozo_integrated_o3_density", "ems_emissivity"):
        if name in text and len(lines):
            missing = np.isin(plain[name], [-777, -1])
            assert np.array_equal(missing, np.isnan(text[name])) and (missing.any() or day != "old" or name == "latitude")


def test_a_whole_real_message(runs: Runs) -> None:
    """All channels of all pixels."""
    text = runs.run("real", "-c 1-8461 -avhrr 1", "txt")
    shown = np.array([line.split("\t")[30:30 + 8461] for line in text.read_text().splitlines()[1:]])
    with vexfile.open(runs.run("real", "-c 1-8461 -avhrr 1"), mask=False) as data:
        assert shown.shape == (15, 8461) and np.array_equal(np.char.mod("%g", data.radiance.values), shown)


@pytest.mark.parametrize(("options", "there", "same"), [
    ("-c 0-5,7", slice(6, 7), "-c 7"), ("-c -3-5,10-12", slice(9, 12), "-c 10-12"), ("-c 1-4,-3--1", slice(0, 4), "-c 1-4"),
    ("-c 8455-8800", slice(0, 246), "-c 8455-8700"), ("-c -2-3,4-6", slice(6, 9), "-c 4-6"), ("-c 9000-9001", slice(0), "")])
@pytest.mark.parametrize("products", [" -t2 trg", " -t2 ozo,twt,ems", ""])
def test_channels_that_no_archive_has(runs: Runs, options: str, there: slice, same: str, products: str) -> None:
    """They are NaN, and what is between and behind them stays in its place."""
    for archive in ("old", "change"):
        with vexfile.open(runs.run(archive, options + products)) as data, vexfile.open(
                runs.run(archive, options + products, "txt")) as text:
            wanted = {variable: data[variable].values for variable in data.variables if "channel" not in data[variable].dims}
            assert np.isnan(np.delete(data.radiance.values, there, axis=1)).all()
            assert all(np.allclose(text[name], values, 6e-6, equal_nan=True) for name, values in wanted.items()
                       if values.dtype.kind == "f")
            if same:
                with vexfile.open(runs.run(archive, same + products)) as plain:
                    assert np.array_equal(data.radiance[:, there], plain.radiance, equal_nan=True)
                    assert all(np.array_equal(plain[name], values, equal_nan=values.dtype.kind in "fM")
                               for name, values in wanted.items())


RANGES = st.lists(st.tuples(st.integers(-3, 8720), st.integers(0, 12)), max_size=4)
KINDS = st.sets(st.sampled_from(["ozo", "trg", "clp", "twt", "ems"])).map(",".join)


@settings(max_examples=60, derandomize=True, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(archive=st.sampled_from(["old", "change", "recent"]), ranges=RANGES, kinds=KINDS, switches=st.sets(
    st.sampled_from(["-tb 1", "-avhrr 1", "-bi 1"])), most=st.integers(0, 60), choice=st.randoms(use_true_random=False))
def test_any_options(runs: Runs, archive: str, ranges: list[tuple[int, int]], kinds: str, switches: set[str], most: int, choice) -> None:
    """Binary and text are the same, whatever is asked for, and a part of a Dataset is that part of the whole."""
    if not ranges and not kinds:
        ranges = [(1, 0)]
    channels = ",".join(f"{first}-{first + more}" for first, more in ranges)
    named = [first >= 0 for first, more in ranges for _ in range(more + 1)]  # in the header line of text
    options = " ".join([f"-maxres {most}", *(["-c " + channels] if channels else []), *(["-t2 " + kinds] if kinds else []),
                        *sorted(switches)])
    with vexfile.open(runs.run(archive, options)) as data, vexfile.open(runs.run(archive, options, "txt")) as text:
        assert data.sizes["pixel"] == text.sizes["pixel"]
        whole = data.compute()
        for name in set(whole.variables) & set(text.variables) - {"wavenumber", "channel"}:
            found, wanted = whole[name].values, text[name].values
            if "channel" in whole[name].dims:
                found = found[:, named]
            assert found.dtype == wanted.dtype and (
                np.array_equal(found, wanted, equal_nan=True) if found.dtype.kind == "M" else
                np.allclose(found, wanted, 6e-6, 0, equal_nan=True)), name
        for name, variable in whole.data_vars.items():
            key = tuple(choice.choice([slice(None), slice(1, None, 2), slice(None, None, -1), slice(0, size // 2),
                                       sorted(choice.sample(range(size), size // 3) if size else []), choice.randrange(size) if size else
                                       slice(None)]) for size in variable.shape)
            xarray.testing.assert_identical(data[name][key].compute(), variable[key])


@pytest.fixture
def equal(runs: Runs, monkeypatch: pytest.MonkeyPatch) -> Path:
    """A file of equal records that is taken for a large one: markers are looked at when records are read."""
    monkeypatch.setattr(index, "SMALL", 0)
    monkeypatch.setattr(index, "SAMPLES", 3)
    return runs.run("old", "-c 1-3000 -t2 trg")


def test_large_files(equal: Path, copy: Copy, monkeypatch: pytest.MonkeyPatch) -> None:
    """The same values by any way of reading, and damage between the samples is told when it is met."""
    with vexfile.open(equal, index=True) as data:
        whole = data.load()
    monkeypatch.setattr(scatter, "LARGE", 0)  # two threads
    for part in (np.s_[:], np.s_[3:50:7], np.s_[::-1], np.s_[5]):
        for channel in (np.s_[:], np.s_[100:2900], np.s_[5], np.s_[::50], [0, 2999], [7, 3, 7]):
            with vexfile.open(equal) as data:  # anew: nothing is known of the markers
                assert np.array_equal(data.radiance[part, channel], whole.radiance[part, channel], equal_nan=True)
                assert np.array_equal(data.trg_integrated_co_density[part], whole.trg_integrated_co_density[part], True)
    content = bytearray(equal.read_bytes())
    with pytest.raises(vexfile.FormatError):  # whole records and a piece of one more
        vexfile.open(copy(equal, bytes(content[:-9])))
    step = struct.unpack_from("<i", content, struct.unpack_from("<i", content)[0] + 8)[0] + 8
    place = struct.unpack_from("<i", content)[0] + 8 + 21 * step
    content[place] ^= 1
    for read in (lambda d: d.radiance, lambda d: d.radiance[:, 5], lambda d: d.radiance[:, ::50], lambda d: d.latitude):
        with vexfile.open(copy(equal, bytes(content))) as data, pytest.raises(vexfile.FormatError) as error:
            read(data).load()
        assert abs(error.value.offset - place) <= step
    with pytest.raises(vexfile.FormatError):
        vexfile.open(copy(equal, bytes(content)), index=True)
    with pytest.raises(vexfile.FormatError):  # the last record is cut
        vexfile.open(copy(equal, equal.read_bytes()[:-100]))


def test_xarray_and_dask(runs: Runs) -> None:
    """The engine by its name, chunks, several files across the change of layers, other processes, closed files."""
    paths = [runs.run(archive, "-c 1-5 -t2 ozo,twt") for archive in ("old", "change", "recent")]
    plain = [vexfile.open(path).load() for path in paths]
    assert [data.sizes["ozo_layer"] for data in plain] == [4, 101, 101]
    xarray.testing.assert_identical(xarray.open_dataset(paths[0], engine="vex").load(), plain[0])
    xarray.testing.assert_identical(xarray.open_dataset(paths[0]).load(), plain[0])  # engine guessed
    joined = vexfile.open(paths, chunks={})
    for wrong in (10**6, [0, 10**6], [-10**6]):
        with pytest.raises(IndexError):
            vexfile.open(paths[0]).latitude[wrong].load()
    assert joined.radiance.chunks is not None and joined.sizes["ozo_layer"] == 101
    assert np.array_equal(joined.radiance, np.concatenate([data.radiance for data in plain]), equal_nan=True)
    first = joined.ozo_integrated_o3_density[:plain[0].sizes["pixel"]]
    assert np.array_equal(first[:, :4], plain[0].ozo_integrated_o3_density, True) and np.isnan(first[:, 4:]).all()
    again = pickle.loads(pickle.dumps(vexfile.open(paths[1])))
    xarray.testing.assert_identical(again.load(), plain[1])


def test_paths(runs: Runs, tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Relative ones hold after a change of folder, ~ is the home, and an open file is refused as such."""
    for form in ("bin", "txt"):
        (tmp_path / f"a.{form}").write_bytes(runs.run("old", "-c 1-3", form).read_bytes())
    plain = vexfile.open(tmp_path / "a.bin").load()
    monkeypatch.setenv("HOME", str(tmp_path))
    monkeypatch.chdir(tmp_path)
    found = [vexfile.open(path) for path in ("a.bin", Path("a.bin"), "~/a.bin", b"a.bin")]
    together = vexfile.open(["a.bin", "~/a.txt"])
    monkeypatch.chdir("/")
    for data in found:
        xarray.testing.assert_identical(data.load(), plain)
    assert np.allclose(together.latitude, np.tile(plain.latitude, 2), 6e-6)
    assert len(vexfile.read_table("~/a.txt")) == plain.sizes["pixel"]
    with open(tmp_path / "a.txt", "rb") as file:
        for read in (vexfile.open, vexfile.read_table, lambda one: xarray.open_dataset(one, engine=VexBackendEntrypoint)):
            with pytest.raises(TypeError, match="not an open file"):
                read(file)


def test_text_without_pixels_among_others(runs: Runs) -> None:
    """Its unit is not known: it is that of the others."""
    paths = [runs.run("old", options, "txt") for options in ("-c 1-3 -tb 1 -maxres 0", "-c 1-3 -tb 1")]
    xarray.testing.assert_equal(vexfile.open(paths).load(), vexfile.open(paths[1]).load())
    assert vexfile.open([paths[0], paths[0]]).sizes["pixel"] == 0


def test_decoding(runs: Runs) -> None:
    """What xarray calls decoding can be switched off."""
    path = runs.run("old", "-c 1-3 -t2 trg")
    decoded, raw = vexfile.open(path).load(), vexfile.open(path, mask=False).load()
    numbers = vexfile.open(path, decode_times=False)
    assert numbers.time.dtype == np.float64 and xarray.decode_cf(numbers).time.equals(decoded.time)
    xarray.testing.assert_identical(numbers.drop_vars("time").load(), decoded.drop_vars("time"))
    xarray.testing.assert_identical(vexfile.open(path, mask_and_scale=False).load(), raw)
    neither = vexfile.open(path, decode_cf=False).load()
    assert neither.time.equals(numbers.time) and neither.drop_vars("time").equals(raw.drop_vars("time"))


def test_content_that_vex_may_leave_out(runs: Runs, copy: Copy) -> None:
    """Records without content, at the begin, in the middle and at the end, in binary and in text."""
    path = runs.run("recent", "-t2 ozo,twt")
    content = path.read_bytes()
    begin = struct.unpack_from("<i", content)[0] + 8
    marker = content[begin:begin + 4]
    cut = content.index(2 * marker, begin) + 4
    odd = copy(path, content[:begin] + 2 * marker + content[begin:cut] + 4 * marker + content[cut:] + 2 * marker)
    lines = runs.run("recent", "-t2 ozo,twt", "txt").read_bytes().splitlines(keepends=True)
    text = copy(Path("text"), b"".join([lines[0], b"\n", lines[1], b"\n\n", *lines[2:], b"\n"]))
    plain = vexfile.open(path).load()
    for name in (odd, text):
        data = vexfile.open(name).load()
        empty = np.flatnonzero(np.isnat(data.time))
        assert empty.tolist() == [0, 2, 3, data.sizes["pixel"] - 1] and np.isnan(data.twt_temperature[empty]).all()
        assert np.allclose(np.delete(data.twt_temperature.values, empty, 0), plain.twt_temperature, 6e-6, equal_nan=True)


def outcome(path: Path) -> xarray.Dataset | None:
    """All that a file gives; None when it is refused."""
    try:
        with vexfile.open(path) as data:
            return data.load()
    except vexfile.FormatError as error:
        assert error.path == str(path) and 0 <= error.offset <= path.stat().st_size and error.expected
        return None


@pytest.mark.parametrize(("options", "form"), [("-c 1-3 -t2 clp -maxres 3", "bin"), ("-t2 ozo -maxres 3", "bin"), (
    "-c 5 -tb 1 -maxres 2 -bi 1", "bin"), ("-c 1-3 -t2 trg -maxres 3", "txt")])
def test_damage(runs: Runs, copy: Copy, options: str, form: str) -> None:
    """A file cut at every byte and with every header bit flipped is refused or gives the right values."""
    path = runs.run("recent", options, form)
    content, whole = path.read_bytes(), vexfile.open(path).load()
    for length in range(len(content)):
        data = outcome(copy(path, content[:length]))
        if data is not None:  # cut between two records
            xarray.testing.assert_equal(data, whole.isel(pixel=slice(data.sizes["pixel"]), **{
                d: slice(data.sizes[d]) for d in ("ozo_layer", "twt_level") if d in data.sizes}))
    begin = len(content.partition(b"\n")[0]) if form == "txt" else struct.unpack_from(
        ">i" if content[4] else "<i", content)[0] + 8
    refused, bits = 0, range(0, 8 * begin, 9 if form == "txt" else 1)  # of names one bit in each byte is enough
    for bit in bits:
        changed = bytearray(content)
        changed[bit // 8] ^= 1 << bit % 8
        data = outcome(copy(path, bytes(changed)))
        refused += data is None
        if data is not None:  # another satellite or channel number, which no one can tell
            assert set(data.data_vars) == set(whole.data_vars)
            for name in data.data_vars:
                assert np.array_equal(data[name], whole[name], equal_nan=True)
    assert refused > len(bits) / 2


def test_what_is_no_file_of_vex(tmp_path: Path, runs: Runs) -> None:
    """Other contents are refused at their first byte, folders and absent files as Python does."""
    for content in (b"", b"\0", b"GRIB" * 100, b"\x89HDF\r\n" * 50, bytes(range(256)) * 8, b"SatelliteIdentifier\tTb\n"):
        (tmp_path / "other").write_bytes(content)
        with pytest.raises(vexfile.FormatError):
            vexfile.open(tmp_path / "other")
    huge = bytearray(runs.run("old", "-c 1-3 -maxres 2").read_bytes())
    huge[:4], huge[18:22] = struct.pack("<i", 2**31 - 9), struct.pack("<i", (2**31 - 30) // 4)
    (tmp_path / "huge").write_bytes(huge)
    with pytest.raises(vexfile.FormatError):
        vexfile.open(tmp_path / "huge")
    with pytest.raises(FileNotFoundError):
        vexfile.open(tmp_path / "none")
    with pytest.raises(OSError):
        vexfile.open(tmp_path)
