"""Statistics files against the pixels of the same runs, merged files against one run over all pixels, and damage."""

from __future__ import annotations

import os
import pathlib
import re
import tracemalloc
from collections.abc import Sequence
from typing import Any

import hypothesis
import hypothesis.strategies as st
import numpy as np
import numpy.typing as npt
import pytest
from conftest import Archive, Run

from vexfile.errors import FormatError
from vexfile.statistics.merging import Moments, combine, merge_statistics
from vexfile.statistics.files import Statistics, is_statistics, open_statistics, read_statistics

DAYS = ("2013-04-20", "2013-04-21", "2013-04-22", "2013-04-23")  # the archives lack the last one
SAMPLE = ("--messages", "8", "--messages-per-file", "2", "--days", "3", "--gaps")
CHANNELS = ("-c", "1-3,1021,8461")
STATISTICS = ("-of", "txtstat")
HISTOGRAMS = ("-histlat", "-60-60,7", "-histcloud", "0-90,5", "-histland", "0-100,3", "-histsnow", "0-100,3",
              "-histavg", "0-0.002,20", "-histvar", "0-0.001,7", "-histpix", "0.0002-0.0012,9")
ALL_PRODUCTS = ("-t2", "ozo,trg,clp,twt,ems")


def days(first: int, last: int | None = None) -> tuple[str, ...]:
    return "-fd", DAYS[first], "-ld", DAYS[first if last is None else last]


def pixels(run: Run, archive: pathlib.Path, *options: str) -> dict[str, npt.NDArray[Any]]:
    """The columns of a text file, NaN where they are missing."""
    lines = run(archive, "-of", "txt", *days(0), *options).read_text().splitlines()
    rows = np.array([line.split("\t") for line in lines[1:]], float)
    return dict(zip(lines[0].split("\t"), np.where(rows == -777, np.nan, rows).T))


def moments(values: npt.NDArray[Any]) -> list[float]:
    """Count, mean, deviation, skewness, kurtosis."""
    values = values[~np.isnan(values)].astype(np.longdouble)
    count, apart = len(values), values - values.mean()
    m2, m3, m4 = ((apart**power).mean() for power in (2, 3, 4))
    return [count, values.mean(), np.sqrt(m2 * count / (count - 1)), m3 / m2**1.5, m4 / m2**2 - 3]


def planck(wave: float, kelvin: Any) -> Any:
    return 1.1910659e-10 * wave**3 / (np.exp(1.438833 * wave / kelvin) - 1)


@pytest.mark.parametrize("options", [(), ("-tb", "1"), ("-tb", "1", "-tbref", "260.1")], ids=" ".join)
def test_spectra_hold_the_moments_of_the_pixels(run: Run, archive: Archive, options: tuple[str, ...]) -> None:
    folder = archive(*SAMPLE, "--missing")
    text = pixels(run, folder, *CHANNELS)
    data = open_statistics(run(folder, *STATISTICS, *days(0), *CHANNELS, "-sk", "1", *options))
    cloud = text["CloudFraction"]
    assert list(data.channel) == [1, 2, 3, 1021, 8461] and list(data.wavenumber[[0, 4]]) == [645, 2760]
    assert data.average.units == data.standard_deviation.units == ("K" if options else "W m-2 sr-1 m")
    for group, those in (("all", cloud > -2), ("clear", cloud == 0), ("cloudy", cloud >= 95)):
        for one in data.sel(group=group).transpose("channel", ...).to_dataframe().itertuples():
            count, mean, deviation, *higher = moments(text[str(one.Index)][those])
            if options:
                radiance, mean = mean, one.average
                assert planck(one.wavenumber, mean) == pytest.approx(float(radiance), 1e-6)
                at = 260.1 if len(options) > 2 else mean
                deviation /= np.diff(planck(one.wavenumber, at + np.array([-0.01, 0.01])))[0] / 0.02
            assert one.count == count
            assert [one.average, one.standard_deviation] == pytest.approx([float(mean), float(deviation)], 1e-6)
            assert [one.skewness, one.kurtosis] == pytest.approx([float(h) for h in higher], abs=1e-7)
    assert data.attrs["pixels"] == len(cloud) and data.attrs["cloudy_pixels"] == (cloud >= 95).sum()
    assert (data.satellite, data.first_date, data.last_date, data.filters) == ("MetOp-A", DAYS[0], DAYS[0], "none")


def test_histograms_hold_the_pixels_of_each_class(run: Run, archive: Archive) -> None:
    folder = archive(*SAMPLE, "--missing")
    text = pixels(run, folder, *CHANNELS)
    out = str(run(folder, *STATISTICS, *days(0), *CHANNELS, *HISTOGRAMS))
    position = text["FieldOfViewNumber"] % 4 + 1
    cloud = np.where(text["CloudFraction"] < 0, np.nan, text["CloudFraction"])
    for name, values in (("Latitude", text["Latitude"]), ("Cloud", cloud)):
        data = open_statistics(f"{out}.Histo{name}.txt")
        bounds = np.append(data.class_min, data.class_max[-1])
        for which, label in enumerate(["all", "pix1", "pix2", "pix3", "pix4"]):
            mine = values[(position == which) | (which == 0)]
            inside = np.digitize(np.where(mine == bounds[-1], bounds[-2], mine), bounds) - 1
            for place, one in enumerate(data.sel(position=label).to_dataframe().itertuples()):
                held = mine[inside == place]
                assert one.count == held.size and np.isnan(one.average) == (held.size == 0)
                if held.size > 1:
                    wanted = [held.mean(), held.std(ddof=1)]
                    assert [one.average, one.standard_deviation] == pytest.approx(wanted, 1e-5, 1e-4)
            assert data.attrs[f"{label}_below"] == (mine < bounds[0]).sum()
    imager = open_statistics(f"{out}.HistoAvg.txt")
    assert np.allclose(planck(869.5, imager.temperature), imager.average, 1e-7, 0, equal_nan=True)
    assert np.isnan(imager.temperature).any() and not np.isnan(imager.temperature).all()
    raw = open_statistics(f"{out}.HistoAvg.txt", mask=False)
    assert (raw.temperature.values[raw["count"] == 0] == 0).all() and (raw.average == -777).any()
    radiances = open_statistics(f"{out}.HistoPix.txt")
    for channel in radiances.channel.values:
        bounds = np.append(radiances.class_min, radiances.class_max[-1])
        assert np.array_equal(radiances["count"].sel(channel=channel), np.histogram(text[str(channel)], bounds)[0])


def test_grids_hold_the_means_of_the_pixels(run: Run, archive: Archive) -> None:
    folder = archive(*SAMPLE, "--missing")
    data = open_statistics(f"{run(folder, *STATISTICS, *days(0), '-c', '1', *ALL_PRODUCTS, '-boxstat', '3-5')}.boxstat")
    assert data.l1c_cloud_fraction.dims == ("latitude", "longitude") and list(data.latitude) == [-60, 0, 60]
    assert data.longitude_bounds.values.tolist()[-1] == [108, 180] and data.latitude.bounds == "latitude_bounds"
    sources = {  # the product and the columns of a pixel, which are added up, but not those of ems
        "l1c_cloud_fraction": ("L1C", ["CloudFraction"]),
        "ozo_total_column": ("ozo", [f"IntegratedO3Density{i}" for i in range(1, 5)]),
        **{f"trg_integrated_{gas.lower()}_density": ("trg", [f"Integrated{gas}Density"])
           for gas in ("N2O", "CO", "CH4", "CO2")},
        "clp_cloud_amount_in_segment": ("clp", ["CloudAmountInSegment1"]),
        "clp_pressure": ("clp", ["Pressure1"]),
        "clp_temperature": ("clp", ["Temperature/dry-bulbTemperature1"]),
        "twt_skin_temperature": ("twt", ["SkinTemperature"]),
        "ems_emissivity": ("ems", [f"Emissivity{i}" for i in range(1, 13)]),
    }
    for name, (product, columns) in sources.items():
        text = pixels(run, folder, *(("-c", "1") if product == "L1C" else ("-t2", product)))
        values = np.array([np.where(text[column] == -1, np.nan, text[column]) for column in columns])
        if product == "ozo":  # a column of ozone wants the pressures of its layers, too
            values += 0 * sum(text[f"Pressure{layer}{side}"] for layer in range(1, 5) for side in (1, 2))
        values = values if product == "ems" else values.sum(0, keepdims=True)
        row, column = ((text["Latitude"] + 90) // 60).astype(int), ((text["Longitude"] + 180) // 72).astype(int)
        for i, j in np.ndindex(3, 5):
            cell = (row == i) & (column == j)
            there = values[:, cell][~np.isnan(values[:, cell])]
            assert data[f"{product.lower()}_count"].values[i, j] == cell.sum()
            wanted = there.mean() if there.size else np.nan
            assert data[name].values[i, j] == pytest.approx(wanted, 1e-5, nan_ok=True), name


def test_comments_are_taken_as_they_stand(run: Run, archive: Archive, tmp_path: pathlib.Path) -> None:
    filters = ["-ef", "l1_bufr|x y", "-mf", "IASI,\udcff\x0b\x85é", "-mila", "-85.5", "-malo", "1e-05",
               "-fov", "0-9,61", "-va", "-0.5-60", "-tr", "00h00m00s-12h00m01s", "-tp", "day", "-qlt", "yny",
               "-lca", "1", "-sf", "0-9.5"]
    for options in (filters, ["-c", "9000"]):  # a run without channels has files without rows
        path = run(archive(*SAMPLE), *STATISTICS, *days(0), "-avhrr", "1", *options)
        merge_statistics([path], tmp_path / "same", force=True)
        assert (tmp_path / "same").read_bytes() == path.read_bytes()
        wanted = " ".join(options).replace("\udcff", "\ufffd") if options is filters else "none"
        assert open_statistics(path).filters == wanted


SPECTRA = ("-c", "1-20,2000-2005,6400-6411", "-sk", "1")
CASES = {  # options, and the temperature of -tbref
    "radiances": ((*SPECTRA, "-stsext", "1"), None),
    "temperatures": ((*SPECTRA, "-tb", "1", "-stsext", "1"), None),
    "reference": ((*SPECTRA, "-tb", "1", "-tbref", "260.1"), 260.1),
    "histograms": ((*CHANNELS, *HISTOGRAMS, "-stsext", "1"), None),
    "fine grid": (("-c", "1", *ALL_PRODUCTS, "-boxstat", "1"), None),
}
PARTS = {  # first and last days of the runs
    "two runs": [(0, 0), (1, 2)],
    "an empty run and three": [(3, 3), (2, 2), (0, 0), (1, 1)],
    "step by step": [(2, 2), (0, 0), (1, 1)],
    "halves of the orbits": [(0, 2), (0, 2)],
}


def halves(folder: pathlib.Path, where: pathlib.Path) -> list[pathlib.Path]:
    """An archive as two, with every other file each: the days are the same, the orbits are not."""
    for number, path in enumerate(sorted(folder.rglob("*.*"))):
        for half in ("a", "b") if path.suffix == ".dat" else "ab"[number % 2]:
            (where / half / path.relative_to(folder)).parent.mkdir(parents=True, exist_ok=True)
            os.link(path, where / half / path.relative_to(folder))
    return [where / "a", where / "b"]


def check_alike(merged: Statistics, whole: Statistics) -> None:
    """The same file up to what the nine digits of its sources allow."""
    assert (merged.comments, merged.names) == (whole.comments, whole.names)
    kelvin = "reference" in whole.fields
    for name, wanted in whole.columns.items():
        group = re.sub("Average|StdDev|Skewness|Kurtosis", "", name)
        got = merged.columns[name]
        if name == group:  # counts and the like
            np.testing.assert_allclose(got, wanted, 0 if wanted.dtype == np.int64 else 1e-8)
            continue
        if group + "StdDev" not in whole.columns:
            np.testing.assert_allclose(got, wanted, 1e-8)
            continue
        mean, deviation = (np.abs(whole.columns[group + column]) for column in ("Average", "StdDev"))
        digits = 1.438833 * whole.columns["WaveNumber"] / np.maximum(mean, 1) if kelvin else 1
        error = 1e-8 * (digits + mean / np.where(deviation > 0, deviation, np.inf))
        scale = {"Average": 1e-8 * (mean + deviation), "StdDev": error * deviation,
                 "Skewness": error * (1 + np.abs(wanted)), "Kurtosis": error * (3 + wanted)}
        assert (np.abs(got - wanted) <= np.where(wanted == -777, 0, scale[name.removeprefix(group)])).all(), name


@pytest.mark.parametrize("case", CASES)
@pytest.mark.parametrize("parts", PARTS)
def test_merged_files_are_those_of_one_run(run: Run, archive: Archive, tmp_path: pathlib.Path, case: str,
                                           parts: str) -> None:
    options, reference = CASES[case]
    folder = archive(*SAMPLE)
    split = PARTS[parts]
    folders = halves(folder, tmp_path) if parts == "halves of the orbits" else [folder] * len(split)
    runs = [run(one, *STATISTICS, *days(*pair), *options) for one, pair in zip(folders, split)]
    whole = run(folder, *STATISTICS, *days(0, max(last for _, last in split)), *options)
    for path in sorted(whole.parent.glob("out*")):
        files = [one.with_name(path.name) for one in runs]
        if parts == "step by step":
            merge_statistics(files[:2], tmp_path / "first", reference, force=True)
            files[:2] = [tmp_path / "first"]
        said = merge_statistics(files, tmp_path / path.name, reference, force=True)
        assert said == []
        check_alike(read_statistics(tmp_path / path.name), read_statistics(path))


def test_means_of_shared_cells_are_weighted_and_said_to_be(run: Run, archive: Archive, tmp_path: pathlib.Path) -> None:
    options = ("-c", "1", "-t2", "clp", "-boxstat", "1-2")
    folder, out = archive(*SAMPLE), tmp_path / "all"
    files = [pathlib.Path(f"{run(folder, *STATISTICS, *days(day), *options)}.boxstat") for day in range(4)]
    empty = files.pop()
    cloudless = tmp_path / "cloudless"  # in its last cell
    cloudless.write_text(re.sub(r"\S+\t\S+\t\S+\n\Z", "-777\t-777\t-777\n", files[0].read_text()))
    parts = [read_statistics(file) for file in files]
    said = merge_statistics(files, out)
    merged, whole = read_statistics(out), read_statistics(f"{run(folder, *STATISTICS, *days(0, 2), *options)}.boxstat")
    assert merged.comments == [*whole.comments, "Merged: " + said[0]] and "exact only when" in said[0]
    for name in merged.names:
        if name.endswith("Count") or name == "L1CCloudFraction":  # all pixels have a cloud fraction
            np.testing.assert_allclose(merged.columns[name], whole.columns[name], 1e-8)
    weights = [part.columns["clpCount"] for part in parts]
    wanted = np.average([part.columns["clpPressure"] for part in parts], 0, weights)
    np.testing.assert_allclose(merged.columns["clpPressure"], wanted, 1e-8)
    assert not np.allclose(wanted, whole.columns["clpPressure"], 1e-5)  # pixels without clouds have no pressure
    merge_statistics([cloudless, *files[1:]], tmp_path / "two values")
    wanted[-1] = np.average([part.columns["clpPressure"][-1] for part in parts[1:]], 0, [w[-1] for w in weights[1:]])
    np.testing.assert_allclose(read_statistics(tmp_path / "two values").columns["clpPressure"], wanted, 1e-8)
    assert merge_statistics([empty, out], tmp_path / "again") == said
    assert (tmp_path / "again").read_text() == out.read_text().replace(f"to {DAYS[2]}", f"to {DAYS[3]}")


def test_files_that_do_not_belong_together_are_refused(run: Run, archive: Archive, tmp_path: pathlib.Path) -> None:
    folder, other = archive(*SAMPLE), archive(*SAMPLE, "--satellite", "3")
    first = run(folder, *STATISTICS, *days(0), *CHANNELS)

    def second(*options: str, of: pathlib.Path = folder) -> pathlib.Path:
        return run(of, *STATISTICS, *days(1), *(options or CHANNELS))

    warm = ("-tb", "1", "-tbref", "280", *CHANNELS)
    refused: list[tuple[Sequence[pathlib.Path | str], str]] = [
        ([], "no file"),
        ([first, first], "the same file"),
        ([first, second("-c", "1-5")], "other values of Channel"),
        ([first, second("-mila", "10", *CHANNELS)], "filter -mila: 10, not none"),
        ([first, second("-tb", "1", *CHANNELS)], "radiance unit"),
        ([first, second(of=other)], "satellite 3, others are of 4"),
        ([second("-maxres", "5", *CHANNELS)], "-maxres 5 chooses"),
        ([first, f"{second(*CHANNELS, *HISTOGRAMS)}.HistoLatitude.txt"], "another kind"),
        ([f"{second(*CHANNELS, '-histlat', limits)}.HistoLatitude.txt" for limits in ("-9-9,3", "-9-8,3")], "ClassMin"),
        ([f"{second(*CHANNELS, '-histlat', limits)}.HistoLatitude.txt" for limits in ("-9-9,1", "-9-8,1")], "ClassMax"),
        ([run(folder, *STATISTICS, *days(0), *warm), second(*warm)], "-tbref"),
    ]
    for files, message in refused:
        with pytest.raises(ValueError, match=message):
            merge_statistics(files, tmp_path / "out")
    before = first.read_bytes()
    with pytest.raises(ValueError, match="also an input"):
        merge_statistics([first, second()], first)
    assert first.read_bytes() == before
    assert list(tmp_path.iterdir()) == []


def test_temperatures_of_zero_are_not_merged_as_if_known(run: Run, archive: Archive, tmp_path: pathlib.Path) -> None:
    files = []
    for day in range(2):
        source = run(archive(*SAMPLE), *STATISTICS, *days(day), "-c", "1-2", "-tb", "1")
        files.append(tmp_path / f"{day}")
        text = re.sub(r"(\n1\t645\t\d+)\t\S+\t\S+", r"\1\t0\t0" if day else r"\g<0>", source.read_text())
        files[-1].write_text(text)
    said = merge_statistics(files, tmp_path / "merged")
    data = open_statistics(tmp_path / "merged")
    assert "temperature of 0" in said[0] and said[0] in data.comments
    assert np.isnan(data.average.sel(group="all")).values.tolist() == [True, False]
    assert (data["count"].sel(group="all") == sum(open_statistics(f)["count"].sel(group="all") for f in files)).all()
    assert merge_statistics([tmp_path / "merged"], tmp_path / "again") == said


@hypothesis.settings(database=None, derandomize=True)
@hypothesis.given(st.lists(st.lists(st.integers(-1000, 1000), max_size=9), min_size=1, max_size=4),
                  st.sampled_from([0, 1e6]))
def test_moments_of_parts_combine_to_those_of_the_whole(parts: list[list[int]], offset: float) -> None:
    def direct(values: list[int]) -> Moments:
        mean = sum(values) / max(len(values), 1)
        sums = [sum((value - mean) ** power for value in values) for power in (2, 3, 4)]
        return Moments(*(np.array([float(number)]) for number in (len(values), mean + offset * bool(values), *sums)))

    total = direct(parts[0])
    for part in parts[1:]:
        total = combine(total, direct(part))
    values = [value for part in parts for value in part]
    wanted, spread = direct(values), max(values, default=0) - min(values, default=0)
    for name, power in (("count", 0), ("mean", 1), ("m2", 2), ("m3", 3), ("m4", 4)):
        error = abs(getattr(total, name) - getattr(wanted, name))[0]
        assert error <= (1e-9 + 1e-13 * spread) * len(values) * spread ** max(power - 1, 0), name


SMALL = {
    "": (*CHANNELS, "-sk", "1"),
    ".HistoLatitude.txt": (*CHANNELS, "-histlat", "-60-60,3"),
    ".HistoPix.txt": (*CHANNELS, "-histpix", "0-0.002,3"),
    ".boxstat": ("-c", "1", "-t2", "ozo", "-boxstat", "2-1", "-mf", "IASI,é"),
}


@pytest.mark.parametrize("suffix", SMALL)
def test_damage_is_told_or_does_no_harm(run: Run, archive: Archive, tmp_path: pathlib.Path, suffix: str) -> None:
    content = pathlib.Path(f"{run(archive(*SAMPLE), *STATISTICS, *days(0), *SMALL[suffix])}{suffix}").read_bytes()
    assert is_statistics(content[:64]) and not is_statistics(content[1:65])
    damaged = tmp_path / "damaged"
    draw = np.random.default_rng(1)
    read = 0
    for place in range(len(content)):
        flipped = bytearray(content)
        flipped[place] ^= 1 << int(draw.integers(8))
        for version in (content[:place], bytes(flipped), content[:place] + b"\n" + content[place:]):
            damaged.unlink(missing_ok=True)  # some file systems write to disk when a file is overwritten
            damaged.write_bytes(version)
            try:
                file = read_statistics(damaged)
            except FormatError as error:
                assert 0 <= error.offset <= len(version) and error.expected
                continue
            read += 1
            rows = [line.split(b"\t") for line in version.split(b"\n") if not line.startswith(b"#")][1:-1]
            for name, texts in zip(file.names, zip(*rows)):
                assert file.columns[name].tolist() == [float(text) for text in texts]
    assert 0 < read < len(content)


@pytest.mark.parametrize("suffix, pattern, damage, expected", [
    ("", "# Satellite: 4", "@# Satellite: x", 'the line "# Satellite: {satellite}"'),
    ("", "# Filters: none", "@# Filter: -box 1", "Filters"),
    ("", "Channel\t", "@# nothing\nChannel\t", "the names of the columns"),
    ("", r"\n2\t645.25", r"\n2\t@645.5", "the wavenumber of the channel in column WaveNumber"),
    ("", r"\n2\t(\S+)\t(\d+)", r"\n2\t\1\t@\2.5", "an integer in column AllCount"),
    ("", r"\n2\t(\S+)\t(\d+)", r"\n@2\t\1", "a row of 17 columns"),
    ("", r"\n3\t", r"\n@2\t", "a channel above"),
    ("", r"\n\Z", "@", "a line feed"),
    (".HistoLatitude.txt", r"\n-20", r"\n@-19", "the ClassMax of the row before"),
    (".HistoLatitude.txt", r"All pixels: (\d+)", r"All pixels: \g<1>0", "add up"),
    (".HistoPix.txt", r"\t8461\n", r"\t8461\t1021\n", "the numbers of channels"),
    (".boxstat", r"\n[^\n]+\n\Z", r"\n@", "2 times 1 rows"),
    (".boxstat", r"\n0\t90", r"\n@1\t90", "the edge of a cell in column LatMin"),
])
def test_what_is_wrong_is_told_with_its_place(run: Run, archive: Archive, tmp_path: pathlib.Path, suffix: str,
                                              pattern: str, damage: str, expected: str) -> None:
    text = pathlib.Path(f"{run(archive(*SAMPLE), *STATISTICS, *days(0), *SMALL[suffix])}{suffix}").read_text()
    damaged = re.sub(pattern, damage, text, 1)
    (tmp_path / "damaged").write_text(damaged.replace("@", ""))
    with pytest.raises(FormatError, match=re.escape(expected)) as error:
        read_statistics(tmp_path / "damaged")
    if "@" in damaged:
        assert error.value.offset == len(damaged[:damaged.index("@")].encode())


def test_hostile_files_take_little_memory(run: Run, archive: Archive, tmp_path: pathlib.Path) -> None:
    content = run(archive(*SAMPLE), *STATISTICS, *days(0), *CHANNELS).read_bytes()
    start = content.index(b"Channel\t")
    rows = content.index(b"\n", start) + 1
    size = 1 << 21
    for hostile in (content + b"\n" * size, content[:start] + b"\t" * size + b"\n",
                    content[:rows] + b"\t" * size + b"\n", content[:rows] + b"0\t" * size,
                    content[:start] + b"# Filter: -mila 1\n" * (size // 16), b"# " + b"x" * size,
                    content[:rows] + b"1" * size + b"\n"):
        (tmp_path / "hostile").write_bytes(hostile)
        tracemalloc.start()
        with pytest.raises(FormatError):
            read_statistics(tmp_path / "hostile")
        peak = tracemalloc.get_traced_memory()[1]
        tracemalloc.stop()
        assert peak < 5 * len(hostile)
