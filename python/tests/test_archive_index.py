"""An index of an archive leaves out files, and not one byte of what runs write."""

from __future__ import annotations

import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import numpy as np
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

from vexbatch.index import archive, conditions, extent, survey, tree
from vexbatch.planning.listing import Archive as Inputs
from vexbatch.planning.settings import read_settings
from vexfile.reading.binary import BinaryFile

Options = dict[str, list[str]]
#: Two neighbouring days, one after the layouts changed, and one of day 1. Files have two scan lines.
DAYS = {"2013-04-20": "--days 2", "2014-10-01": "--seed 3", "2008-01-10": "--layout 1"}
SAMPLE = "--messages 20 --messages-per-file 2 --pixels 120 --gaps --missing --grid off --kinds l1c,clp,trg,ozo"
DATES = "2008-01-01", "2014-12-31"
SPAN = tree.span_of(*DATES)
#: What is said of messages that were read, or of the file that is opened next, may stand behind a complaint.
COMPLAINT = re.compile(r"(ERROR: .*|[^/]*(?:Error: |Probleme |BUFR|non conforme|synchro)[^/]*?)(?:day\d|\.)*(?:/.*)?")


class Archive:
    """An archive, its index, and runs over all of it and over what the index selects."""

    def __init__(self, root: pathlib.Path, vex: pathlib.Path) -> None:
        self.root, self.index, self.vex = root, str(root / "index"), str(vex)
        self.version = survey.version_of(self.vex)

    def roots(self) -> dict[str, str]:
        return {"d": str(self.root / "L1C"), "d2": str(self.root / "L2"), "myd2": str(self.root / "L2indep")}

    def run(self, folder: pathlib.Path, words: list[str], roots: dict[str, str]) -> tuple[dict[str, bytes], str]:
        """The files that a run writes, by name, and what it says."""
        folder.mkdir()
        done = subprocess.run([self.vex, *self.words(words, roots), "-out", str(folder / "out")], capture_output=True,
                              text=True, errors="replace")
        return {path.name: path.read_bytes() for path in folder.iterdir()}, done.stdout

    def words(self, words: list[str], roots: dict[str, str]) -> list[str]:
        named = [word for option, root in roots.items() if f"-{option}" in words for word in (f"-{option}", root)]
        plain = [word for word in words if word not in ("-d", "-d2", "-myd2")]
        return [*named, *plain, "-fd", DATES[0], "-ld", DATES[1], "-alt", "none"]

    def narrow(self, options: Options, folder: pathlib.Path) -> tuple[dict[str, str], archive.Selected]:
        return archive.narrow(self.index, self.version, options, archive.listing(SPAN), str(folder))

    def listings(self, words: list[str], options: Options) -> list[dict[tuple[archive.Source, str], set[str] | None]]:
        """What is in the folders of all sources, as the disk says, and as vex-batch lists its input."""
        inputs = Inputs(read_settings(self.vex, self.words(words, self.roots()))[0]).inputs(*DATES)
        ways = archive.listing(SPAN), lambda source: inputs.folders(source.option, source.kind)
        return [{(source, folder.parts): folder.files and set(folder.files)
                 for source in archive.sources(options) for folder in way(source)} for way in ways]

    def update(self, **options: list[str]) -> archive.Updated:
        asked = {name: [root] for name, root in self.roots().items()} | {"c": ["1"], "t2": ["clp", "trg", "ozo"]}
        return archive.update(self.index, archive.sources(asked | options), self.vex, archive.listing(), processes=2)

    def pixels(self) -> dict[str, np.ndarray]:
        """All pixels of L1C."""
        with tempfile.TemporaryDirectory() as folder:
            words = ["-d", "-c", "1", *survey.ALL_PIXELS]
            self.run(pathlib.Path(folder, "run"), words, self.roots())
            file = BinaryFile(os.path.join(folder, "run", "out"))
            return {name: file.read(name, 0, file.pixels) for name in extent.Pixels.__annotations__}


def echoed(said: str) -> Options:
    """The options in force, by what vex echoes."""
    found: Options = {}
    for name, value in re.findall(r"^-(\w+) (.*)$", said.partition("Prepare for reading")[0], re.M):
        found.setdefault(name, []).append(value)
    return found


def damage(root: pathlib.Path) -> None:
    """Files cut short, with wrong bytes, empty, none of BUFR; a folder, a link to nothing, a year that is none."""
    day = root / "L1C/2013/04/20"
    first, second, third, fourth, *_ = sorted(day.iterdir())
    first.write_bytes(first.read_bytes()[:-5000])
    for path, place in (second, 60), (third, 120):  # vex complains of the first one only
        data = bytearray(path.read_bytes())
        data[place:place + 40] = b"\xff" * 40
        path.write_bytes(data)
    fourth.write_bytes(b"")
    (day / "text.bin").write_text("no message 7777")
    (day / "a folder.bin").mkdir()
    (day / "gone.bin").symlink_to("nowhere")
    clp = sorted((root / "L2/2013/04/21/clp").iterdir())[1]
    clp.write_bytes(clp.read_bytes()[:200])
    (root / "L1C/2012").write_text("a year that cannot be read")


def make(sample: pathlib.Path, vex: pathlib.Path, root: pathlib.Path) -> Archive:
    for date, options in DAYS.items():
        words = [*SAMPLE.split(), *options.split(), *(["--indep"] if date.startswith("2014") else [])]
        subprocess.run([sample, root, "--first-date", date, *words], check=True, stdout=subprocess.DEVNULL)
    damage(root)
    made = Archive(root, vex)
    time.sleep(archive.FRESH / 1e9)
    made.update()
    return made


@pytest.fixture(scope="module")
def known(sample: pathlib.Path, vex: pathlib.Path, tmp_path_factory: pytest.TempPathFactory) -> Archive:
    """An archive that is indexed."""
    return make(sample, vex, tmp_path_factory.mktemp("an archive"))


@pytest.fixture(scope="module")
def places(known: Archive) -> dict[str, np.ndarray]:
    """Columns of all its pixels of L1C."""
    return known.pixels()


@pytest.fixture
def own(known: Archive, tmp_path: pathlib.Path) -> Archive:
    """A copy that a test may change, indexed."""
    shutil.copytree(known.root, tmp_path / "own", symlinks=True)
    made = Archive(tmp_path / "own", pathlib.Path(known.vex))
    made.update()
    return made


@st.composite
def filters(draw: st.DrawFn, pixels: dict[str, np.ndarray]) -> list[str]:
    """Words of filters around, at the edge of, or away from a pixel."""

    def pixel() -> dict[str, float]:
        row = draw(st.integers(0, len(pixels["latitude"]) - 1))
        return {name: values[row] for name, values in pixels.items()}

    at = pixel()
    size = draw(st.sampled_from([0, 0.01, 2, 30]))
    number = st.one_of(st.just(0.0), st.just(size), st.floats(-size - 0.1, size + 0.1))

    def bounds(value: float) -> tuple[str, str]:
        return f"{value - draw(number):.6g}", f"{value + draw(number):.6g}"

    words: list[str] = []
    if draw(st.booleans()):
        words += [word for names, value in (("-mila -mala", at["latitude"]), ("-milo -malo", at["longitude"]))
                  if draw(st.booleans()) for pair in zip(names.split(), bounds(value)) for word in pair]
    for number_of_box in range(draw(st.sampled_from([0, 0, 1, 2]))):
        other = pixel() if number_of_box else at
        low, high = zip(bounds(other["latitude"]), bounds(other["longitude"]))
        words += ["-box", f"{low[0]}-{high[0]},{low[1]}-{high[1]},box{number_of_box}"]
    if draw(st.integers(0, 3)) == 3:
        hour, width = int(at["hour"]), draw(st.integers(-1, 2))
        words += ["-tr", f"{hour:02d}h{int(at['minute']) % 60:02d}m00s-{hour + width:02d}h30m07s"]
    for option, name in (("-on", "orbit_number"), ("-sln", "scan_line_number")):
        if draw(st.integers(0, 3)) == 3:
            words += [option, f"{at[name]},{at[name] + draw(st.integers(-3, 3))}-{at[name] + 5}"]
    return words + draw(st.sampled_from([[], [], ["-maxres", "7"], ["-skip", "5"], ["-mca", "40"], ["-qlt", "yyy"]]))


RUNS = ("-d -c 1", "-d -avhrr 1 -d2 -t2 clp", "-d2 -t2 clp,trg,ozo", "-d -c 5 -d2 -myd2 -t2 ozo,trg -mf2 M02,_",
        "-d -c 1,2 -of txt -d2 -t2 trg", "-myd2 -t2 clp -of txt", "-d -c 1 -ef bin|l1_bufr -of txtstat -stsext 1",
        "-d -c 1 -d2 -t2 clp -of txtstat -boxstat 1", "-d -c 1 -mf 2013042007,_1C_M02_20080110")


@settings(max_examples=100, deadline=None, suppress_health_check=list(HealthCheck))
@given(data=st.data())
def test_runs_write_the_same_bytes(known: Archive, places: dict[str, np.ndarray], data: st.DataObject) -> None:
    words = [*data.draw(st.sampled_from(RUNS)).split(), *data.draw(filters(places))]
    if "txtstat" in words and "-box" in words:
        words = words[:words.index("-box")]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        expected, said = known.run(folder / "all", words, known.roots())
        options = echoed(said)
        one, other = known.listings(words, options)
        assert one == other
        roots, selected = known.narrow(options, folder / "links")
        found, also = known.run(folder / "some", words, known.roots() | roots)
        assert found == expected
        assert selected.files <= selected.all_files
        assert told(also, known.roots(), roots) == told(said, known.roots(), {})


def told(said: str, known: dict[str, str], roots: dict[str, str]) -> list[str]:
    """Complaints, and without boxes how many pixels of each product were selected."""
    for option in sorted(roots, reverse=True):
        said = said.replace(roots[option] + "/", known[option] + "/")
    said = said.partition("Prepare for reading")[2]
    counts = [] if "In box" in said else re.findall(r"\d+ \w+ data selected(?= out)|^No .*", said, re.M)
    return counts + [match[1] for match in map(COMPLAINT.fullmatch, said.split("\n")) if match]


def test_small_windows_need_few_files(known: Archive, places: dict[str, np.ndarray], tmp_path: pathlib.Path) -> None:
    """Of 4 by 4 degrees around pixels all over the globe, poles and date line included; damaged files stay in."""
    sound = np.flatnonzero((np.abs(places["latitude"]) <= 90) & (places["orbit_number"] > 0))
    rows = sound[np.linspace(0, sound.size - 1, 60).astype(int)]
    assert np.ptp(places["longitude"][rows]) > 300 and np.abs(places["latitude"][rows]).max() > 80

    def taken(kind: str, **conditions: float) -> archive.Selected:
        asked = {kind: [known.roots()[kind]], "c": ["1"], "t2": ["clp"]}
        with tempfile.TemporaryDirectory() as folder:
            return known.narrow(asked | {name: [f"{value:.6g}"] for name, value in conditions.items()},
                                pathlib.Path(folder, "links"))[1]

    centres = zip(places["latitude"][rows].tolist(), places["longitude"][rows].tolist())
    files = [taken("d", mila=south - 2, mala=south + 2, milo=west - 2, malo=west + 2).files for south, west in centres]
    damaged = taken("d", on=999999)
    assert damaged.files == 5 and damaged.all_files > 35
    assert min(files) >= damaged.files and damaged.files + 0.5 < np.mean(files) < damaged.files + 2
    assert taken("myd2", on=999999).files == 1  # a product without files is something else


def test_changes_are_seen(own: Archive, tmp_path: pathlib.Path) -> None:
    """What is new or changed stays in until it is looked at; nothing is looked at twice."""
    asked = {"d": [own.roots()["d"]], "c": ["1"], "on": ["1"]}
    day = own.root / "L1C/2014/10/01"
    one, two, three, four, *_ = sorted(day.iterdir())

    def taken() -> set[str]:
        with tempfile.TemporaryDirectory() as folder:
            roots, _ = own.narrow(asked, pathlib.Path(folder, "links"))
            return {path.name for path in pathlib.Path(roots["d"]).glob("2014/10/01/*")}

    assert own.update().seen == 0 and taken() == set()
    os.utime(one, ns=(0, one.stat().st_mtime_ns - 1))
    two.write_bytes(two.read_bytes() + b"7777")
    three.rename(day / "new.bin")
    four.unlink()
    assert taken() == {one.name, two.name, "new.bin"}
    time.sleep(archive.FRESH / 1e9)
    assert own.update().seen == 3 and taken() == set()
    (day / "fresh.bin").write_bytes(one.read_bytes())
    os.utime(day / "fresh.bin", (time.time() + 60,) * 2)
    assert own.update().left == 1 and taken() == {"fresh.bin"}
    for path in pathlib.Path(own.index).glob("*/L1C/2014-10-01"):
        path.write_bytes(path.read_bytes()[:-1])
    assert len(taken()) == len(list(day.iterdir()))


def test_news(own: Archive) -> None:
    """What changed is looked at once, by runs that read it; what is known of files that they do not read stays."""
    day = own.root / "L1C/2014/10/01"
    one, two, *others = sorted(day.iterdir())

    def seen(**options: list[str]) -> tuple[int, int]:
        asked = {"d": [own.roots()["d"]], "c": ["1"]} | options
        news = archive.News(own.index, archive.sources(asked), own.version)
        for _ in range(2):  # as pieces do that read the same files
            news.see(archive.listing(tree.span_of("2014-10-01", "2014-10-01")))
        return news.files, news.update(own.vex, 1).seen

    assert seen() == (2 + len(others), 0)
    for path in one, two:
        os.utime(path, ns=(0, path.stat().st_mtime_ns - 1))
    assert [seen(mf=[two.name]) for _ in range(2)] == [(1, 1), (1, 0)]
    assert [seen(), seen()] == [(2 + len(others), 1), (2 + len(others), 0)]


def kept(index: pathlib.Path, version: str) -> dict[str, bytes]:
    """All that is in an index, by files of the archive."""
    found = {}
    for path in index.glob("*/*/*"):
        extents = extent.load(str(path), version)
        for place, name in enumerate(extents.names):
            one = extents.take(np.array([place]))
            found[f"{path.relative_to(index)}/{name}"] = b"".join([one.files, one.areas, one.ranges])
    return found


UPDATE = """
import sys
from vexbatch.index import archive
archive.TASK = 3
_, index, first, second, vex = sys.argv
wanted = archive.sources({"d": [first], "c": ["1"], "d2": [second], "t2": ["clp"]})
archive.update(index, wanted, vex, archive.listing(), processes=2)
"""


def start(index: pathlib.Path, of: Archive) -> subprocess.Popen[bytes]:
    roots = of.roots()
    return subprocess.Popen([sys.executable, "-c", UPDATE, index, roots["d"], roots["d2"], of.vex],
                            env=os.environ | {"PYTHONPATH": os.pathsep.join(sys.path)})


def test_updates_at_once_and_killed_ones(known: Archive, tmp_path: pathlib.Path) -> None:
    plain, version = tmp_path / "plain", known.version
    began = time.monotonic()
    assert start(plain, known).wait() == 0
    needed, expected = time.monotonic() - began, kept(plain, version)
    assert len(expected) > 80
    both = [start(tmp_path / "two", known) for _ in range(2)]
    assert [update.wait() for update in both] == [0, 0] and kept(tmp_path / "two", version) == expected
    index, chance = tmp_path / "killed", random.Random(5)
    for _ in range(3):
        update = start(index, known)
        time.sleep(chance.uniform(0.2, 0.9) * needed)
        update.send_signal(signal.SIGKILL)
        update.wait()
        assert kept(index, version).items() <= expected.items()
    assert start(index, known).wait() == 0 and kept(index, version) == expected
    assert not [path for path in index.rglob("*") if path.name == "work" or path.suffix == ".part"]


@pytest.mark.parametrize("options, place, taken", [
    ({"mila": ["10"], "mala": ["20"]}, (20.0005, 0), True),  # what six digits may hide
    ({"mila": ["10"], "mala": ["20"]}, (20.01, 0), False),
    ({"milo": ["170"], "malo": ["-170"]}, (0, 0), True),  # the wrong way round: no filter
    ({"milo": ["10"], "malo": ["10"]}, (0, 0), True),  # 10.000001 to 10, for all that is known
    ({"milo": ["170"], "malo": ["190"]}, (0, -175), False),  # nothing goes around
    ({"mila": ["nan"]}, (0, 0), True),
    ({"mila": ["-1e+30"]}, (-777, 0), True),
    ({}, (-777, 0), False),  # the window is there without options, too
    ({"box": ["1: -51--50, 20-30, sea", "2: 1e-05-1, -5--4, a-b,c"]}, (0.5, -4.5), True),
    ({"box": ["1: -51--50, 20-30, sea"]}, (0.5, -4.5), False),
    ({"box": ["1: -51--50, 20-30, sea"], "skip": ["1"]}, (0.5, -4.5), True),
    ({"box": ["1: -51--50, 20-30, sea", "2: ?"]}, (0.5, -4.5), True),
    ({"tr": ["23h00m00s-01h00m00s"]}, (0, 0), False),
    ({"tr": ["23h00m00s-01h00m00s", "12h34m56s"]}, (0, 0), True),
    ({"tr": ["12h34m57s-13h00m00s"]}, (0, 0), False),
    ({"on": ["5-8"], "sln": ["10"]}, (0, 0), True),
    ({"on": ["8-5"], "sln": ["10"]}, (0, 0), False),
    ({"on": ["-1"]}, (0, 0), False),
])
def test_conditions(options: Options, place: tuple[float, float], taken: bool) -> None:
    """Of a pixel of 12:34:56, orbit 7 and scan line 10."""
    real = [np.array([value], np.float32) for value in place]
    pixel = extent.Pixels(*real, *(np.array([value]) for value in (12, 34, 56999, 7, 10)))
    extents = extent.cover("file", (0, 0), False, pixel)
    assert conditions.may_hold(conditions.conditions(options), extents).tolist() == [taken]


def test_a_swath_over_the_date_line_has_two_ends() -> None:
    longitude = np.concatenate([np.arange(170, 180, 0.5), np.arange(-180, -170, 0.5)]).astype(np.float32)
    same = [np.zeros(longitude.size, int)] * 5
    extents = extent.cover("file", (0, 0), False, extent.Pixels(longitude * 0, longitude, *same))
    assert extents.areas.tolist() == [[0, 0, -180, -170.5], [0, 0, 170, 179.5]]


def test_nothing_is_made_behind_a_link(tmp_path: pathlib.Path) -> None:
    (tmp_path / "root/2013/04").mkdir(parents=True)
    parts = ["2013/04/20/a.bin", "2013", "2014/01/01/b.bin"]
    tree.link_tree(str(tmp_path / "root"), parts, str(tmp_path / "links"))
    assert (tmp_path / "links/2013").is_symlink() and (tmp_path / "links/2014/01/01/b.bin").is_symlink()
    assert not list((tmp_path / "root/2013/04").iterdir())
