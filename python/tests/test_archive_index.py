"""An index of an archive leaves out files, and not one byte of what runs write."""

from __future__ import annotations

import contextlib
import ctypes
import errno
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
from collections.abc import Iterator

import numpy as np
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

from vexbatch.errors import DiskFull
from vexbatch.index import archive, conditions, extent, survey, tree
from vexbatch.planning import listing
from vexbatch.planning.listing import Archive as Listing
from vexbatch.planning.listing import Inputs
from vexbatch.planning.program import digest
from vexbatch.planning.settings import read_settings
from vexbatch.running import outcome
from vexfile.reading.binary import BinaryFile

Options = dict[str, list[str]]
#: Two neighbouring days, one after the layouts changed, and one of day 1. Files have two scan lines.
DAYS = {"2013-04-20": "--days 2", "2014-10-01": "--seed 3", "2008-01-10": "--layout 1"}
SAMPLE = "--messages 20 --messages-per-file 2 --pixels 120 --gaps --missing --grid off --kinds l1c,clp,trg,ozo"
DATES = "2008-01-01", "2014-12-31"
#: Runs that read all of it, and one day.
ALL, DAY = "-d -c 1 -d2 -myd2 -t2 clp,trg,ozo", ("2014-10-01", "2014-10-01")


class Archive:
    """An archive, its index, and runs over all of it and over what the index selects."""

    def __init__(self, root: pathlib.Path, vex: pathlib.Path) -> None:
        self.root, self.index, self.vex = root, str(root / "index"), str(vex)
        self.program = digest(self.vex)

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

    def inputs(self, words: list[str], dates: tuple[str, str] = DATES) -> tuple[Options, Inputs]:
        """What is in force by these words, and what there is."""
        made, _ = read_settings(self.vex, self.words(words, self.roots()))
        return made.options, Listing(made).inputs(*dates)

    @contextlib.contextmanager
    def narrow(self, words: list[str]) -> Iterator[tuple[dict[str, str], archive.Selected]]:
        with archive.narrow(self.index, self.vex, *self.inputs(words)) as found:
            yield found

    def taken(self, words: str) -> set[str]:
        """The files of L1C of one day that are read."""
        with self.narrow(words.split()) as (roots, _):
            return {path.name for path in pathlib.Path(roots["d"]).glob("2014/10/01/*")}

    def news(self, words: str = ALL, dates: tuple[str, str] = DATES) -> archive.News:
        news = archive.News(self.index, self.vex)
        for _ in range(2):  # as pieces do that read the same files
            news.see(self.inputs(words.split(), dates)[1])
        return news

    def update(self) -> archive.Updated:
        return self.news().update(processes=2)

    def pixels(self) -> dict[str, np.ndarray]:
        """All pixels of L1C."""
        with tempfile.TemporaryDirectory() as folder:
            words = ["-d", "-c", "1", *survey.ALL_PIXELS]
            self.run(pathlib.Path(folder, "run"), words, self.roots())
            file = BinaryFile(os.path.join(folder, "run", "out"))
            return {name: file.read(name, 0, file.pixels) for name in extent.Pixels.__annotations__}


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
    shutil.copytree(known.root, tmp_path / "own", symlinks=True, ignore=shutil.ignore_patterns("index"))
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


@settings(max_examples=100, suppress_health_check=list(HealthCheck))
@given(data=st.data())
def test_runs_write_the_same_bytes(known: Archive, places: dict[str, np.ndarray], data: st.DataObject) -> None:
    words = [*data.draw(st.sampled_from(RUNS)).split(), *data.draw(filters(places))]
    if "txtstat" in words and "-box" in words:
        words = words[:words.index("-box")]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        expected, said = known.run(folder / "all", words, known.roots())
        with known.narrow(words) as (roots, selected):
            found, also = known.run(folder / "some", words, known.roots() | roots)
            assert told(also) == told(said)
        assert found == expected
        assert selected.files <= selected.all_files


def told(said: str) -> object:
    """Complaints, and without boxes how many pixels of each product were selected."""
    found = outcome.judge(os.fsencode(said).split(b"\n"))
    pixels = {kind: selected for kind, (selected, _) in found.counts["pixels"].items()}
    return found.complaints, None if found.counts["boxes"] else (pixels, found.outcome)


def test_small_windows_need_few_files(known: Archive, places: dict[str, np.ndarray], tmp_path: pathlib.Path) -> None:
    """Of 4 by 4 degrees around pixels all over the globe, poles and date line included; damaged files stay in."""
    sound = np.flatnonzero((np.abs(places["latitude"]) <= 90) & (places["orbit_number"] > 0))
    rows = sound[np.linspace(0, sound.size - 1, 60).astype(int)]
    assert np.ptp(places["longitude"][rows]) > 300 and np.abs(places["latitude"][rows]).max() > 80

    def taken(run: str, **asked: float) -> archive.Selected:
        words = [word for name, value in asked.items() for word in (f"-{name}", f"{value:.6g}")]
        with known.narrow([*run.split(), *words]) as (_, selected):
            return selected

    centres = zip(places["latitude"][rows].tolist(), places["longitude"][rows].tolist())
    files = [taken("-d -c 1", mila=south - 2, mala=south + 2, milo=west - 2, malo=west + 2).files for south, west in centres]
    damaged = taken("-d -c 1", on=999999)
    assert damaged.files == 5 and damaged.all_files > 35
    assert min(files) >= damaged.files and damaged.files + 0.5 < np.mean(files) < damaged.files + 2
    assert taken("-myd2 -t2 clp", on=999999).files == 1  # a product without files is something else


def test_changes_are_seen(own: Archive) -> None:
    """What is new or changed stays in until it is looked at; nothing is looked at twice, but by another program."""
    day = own.root / "L1C/2014/10/01"
    one, two, three, four, five, *_ = sorted(day.iterdir())
    assert own.update().seen == 0 and own.taken("-d -c 1 -on 1") == set()
    os.utime(one, ns=(0, one.stat().st_mtime_ns - 1))
    two.write_bytes(two.read_bytes() + b"7777")
    three.rename(day / "new.bin")
    four.unlink()
    was = five.stat()
    five.write_bytes(five.read_bytes()[::-1])  # as long as before, and of the same time
    os.utime(five, ns=(was.st_atime_ns, was.st_mtime_ns))
    changed = {one.name, two.name, "new.bin", five.name}
    assert own.taken("-d -c 1 -on 1") == changed
    time.sleep(archive.FRESH / 1e9)
    assert own.update().seen == 4 and own.taken("-d -c 1 -on 1") == {five.name}
    (day / "fresh.bin").write_bytes(one.read_bytes())
    os.utime(day / "fresh.bin", (time.time() + 60,) * 2)
    assert own.update().left == 1 and own.taken("-d -c 1 -on 1") == {five.name, "fresh.bin"}
    own.vex = shutil.copy(own.vex, own.root / "vex")
    assert own.update().seen == 0
    with open(own.vex, "ab") as file:
        file.write(b"another build")
    assert len(own.taken("-d -c 1 -on 1")) == len(list(day.iterdir())) and own.update().seen > 100


def test_news(own: Archive) -> None:
    """What changed is looked at once, by runs that read it; what is known of files that they do not read stays."""
    day = own.root / "L1C/2014/10/01"
    one, two, *others = sorted(day.iterdir())

    def seen(words: str = "") -> tuple[int, int]:
        news = own.news("-d -c 1 " + words, DAY)
        return news.files, news.update(1).seen

    assert seen() == (2 + len(others), 0)
    for path in one, two:
        os.utime(path, ns=(0, path.stat().st_mtime_ns - 1))
    time.sleep(archive.FRESH / 1e9)
    assert [seen(f"-mf {two.name}") for _ in range(2)] == [(1, 1), (1, 0)]
    assert [seen(), seen()] == [(2 + len(others), 1), (2 + len(others), 0)]


def spoil(data: bytes, chance: random.Random) -> bytes:
    """Bytes with some other than they were, missing, zero, or too many."""
    place, count = chance.randrange(len(data)), chance.choice([1, 2, 8, 100])
    some, wrong = data[place:place + count], chance.randbytes(count)
    return chance.choice([
        lambda: data[:place] + bytes(byte ^ 1 << chance.randrange(8) for byte in some) + data[place + len(some):],
        lambda: data[:place] + wrong + data[place + count:], lambda: data[:place], lambda: data[place + 1:],
        lambda: data[:place] + bytes(len(some)) + data[place + len(some):], lambda: data[:place] + bytes(len(data) - place),
        lambda: bytes(count), lambda: data + wrong, lambda: data + data, lambda: data[:place] + wrong + data[place:],
        lambda: data.replace(b"0", b"1", 1), lambda: wrong])()


def test_damage_is_made_good(own: Archive) -> None:
    """Of a damaged file of an index nothing is believed, and the next update makes it anew."""
    options, inputs = own.inputs([*ALL.split(), "-on", "1"])
    expected, chance = kept(pathlib.Path(own.index), own.program), random.Random(11)
    with archive.narrow(own.index, own.vex, options, inputs) as (_, sound):
        pass
    for path in sorted(pathlib.Path(own.index).glob("*/*/*")):
        data = path.read_bytes()
        names = len(extent.load(str(path), own.program).names)
        for attempt in range(300):
            if (bad := spoil(data, chance)) == data:
                continue  # as when a zero becomes one
            path.write_bytes(bad)
            assert not extent.load(str(path), own.program).names
            if attempt % 50 == 0:
                with archive.narrow(own.index, own.vex, options, inputs) as (_, found):
                    assert found.all_files == sound.all_files
                    assert found.files >= sound.files + names - 5  # those that were damaged or alone were in already
            if attempt == 100:
                news = archive.News(own.index, own.vex)
                news.see(inputs)
                assert news.update(2).seen == names and kept(pathlib.Path(own.index), own.program) == expected
        path.write_bytes(data)
    assert len(expected) > 100 and own.update().seen == 0


def kept(index: pathlib.Path, program: str) -> dict[str, bytes]:
    """All that is in an index, by files of the archive."""
    found = {}
    for path in index.glob("[0-9a-f]*/*/*[0-9d]"):  # no unfinished ones
        extents = extent.load(str(path), program)
        for place, name in enumerate(extents.names):
            one = extents.take(np.array([place]))
            found[f"{path.relative_to(index)}/{name}"] = b"".join([one.files, one.areas, one.ranges])
    return found


UPDATE = """
import sys
from vexbatch.index import archive
from vexbatch.planning.listing import Archive
from vexbatch.planning.settings import read_settings
archive.TASK = 3
_, index, vex, *words = sys.argv
settings, _ = read_settings(vex, words)
news = archive.News(index, vex)
news.see(Archive(settings).inputs(settings.first, settings.last))
news.update(2)
"""


def start(index: pathlib.Path, of: Archive) -> subprocess.Popen[bytes]:
    words = of.words("-d -c 1 -d2 -t2 clp".split(), of.roots())
    return subprocess.Popen([sys.executable, "-c", UPDATE, index, of.vex, *words],
                            env=os.environ | {"PYTHONPATH": os.pathsep.join(sys.path)})


def test_updates_at_once_and_killed_ones(known: Archive, tmp_path: pathlib.Path) -> None:
    plain, program = tmp_path / "plain", known.program
    began = time.monotonic()
    assert start(plain, known).wait() == 0
    needed, expected = time.monotonic() - began, kept(plain, program)
    assert len(expected) > 80
    both = [start(tmp_path / "two", known) for _ in range(2)]
    while any(update.poll() is None for update in both):
        assert kept(tmp_path / "two", program).items() <= expected.items()
    assert [update.wait() for update in both] == [0, 0] and kept(tmp_path / "two", program) == expected
    index, chance = tmp_path / "killed", random.Random(5)
    for _ in range(3):
        update = start(index, known)
        time.sleep(chance.uniform(0.2, 0.9) * needed)
        update.send_signal(signal.SIGKILL)
        update.wait()
        assert kept(index, program).items() <= expected.items()
    assert start(index, known).wait() == 0 and kept(index, program) == expected
    assert not [path for path in index.rglob("*") if path.name.startswith(tree.OWN) or path.suffix == ".part"]


HOLD = "import sys, time; from vexbatch.index import tree\nwith tree.own_folder(sys.argv[1]) as own: print(own, flush=True); time.sleep(60)"


def test_folders_in_use_stay(tmp_path: pathlib.Path) -> None:
    """Also when who has one is not seen, as from another PID namespace; those of killed processes go."""
    python = [sys.executable, "-c"]
    environment = os.environ | {"PYTHONPATH": os.pathsep.join(sys.path)}
    owners = [subprocess.Popen([*python, HOLD, tmp_path], env=environment, stdout=subprocess.PIPE, text=True) for _ in range(2)]
    one, other = (pathlib.Path(owner.stdout.readline().strip()) for owner in owners if owner.stdout)
    owners[1].kill()
    owners[1].wait()
    (tmp_path / f"{tree.OWN}new").mkdir()
    apart = "unshare --pid --fork --mount-proc".split()
    if subprocess.run([*apart, "true"], stderr=subprocess.DEVNULL).returncode:
        apart = []
    subprocess.run([*apart, *python, f"from vexbatch.index import tree; tree.sweep({str(tmp_path)!r})"], env=environment, check=True)
    assert list(tmp_path.iterdir()) == [one] and one.is_dir() and not other.exists()
    owners[0].terminate()
    owners[0].communicate()
    tree.sweep(str(tmp_path))
    assert not list(tmp_path.iterdir())


def test_folders_are_made_while_others_are_swept(tmp_path: pathlib.Path) -> None:
    done = threading.Event()

    def sweep() -> None:
        while not done.is_set():
            tree.sweep(str(tmp_path))

    sweepers = [threading.Thread(target=sweep) for _ in range(2)]
    for sweeper in sweepers:
        sweeper.start()
    try:
        for _ in range(60):
            with tree.own_folder(str(tmp_path)) as own:
                pathlib.Path(own, "mine").touch()
                time.sleep(0.001)
                assert pathlib.Path(own, "mine").exists()
    finally:
        done.set()
        for sweeper in sweepers:
            sweeper.join()
    assert not list(tmp_path.iterdir())


def test_another_place_when_memory_is_full(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    (tmp_path / "full").mkdir()
    (tmp_path / "disk").mkdir()
    real, full = os.symlink, ["full"]

    def symlink(target: str, path: str) -> None:
        if any(f"/{place}/" in path for place in full):
            raise OSError(errno.ENOSPC, os.strerror(errno.ENOSPC), path)
        real(target, path)

    monkeypatch.setattr(os, "symlink", symlink)
    monkeypatch.setattr(tree, "places", lambda: [str(tmp_path / place) for place in ("full", "disk")])
    wanted = {"d": ("root", ["2014/10/01/one"])}
    with tree.link_trees(wanted) as roots:
        assert pathlib.Path(roots["d"]).parts[:-2] == (tmp_path / "disk").parts
        assert os.readlink(f"{roots['d']}/2014/10/01/one") == os.path.realpath("root/2014/10/01/one")
    full.append("disk")
    with pytest.raises(DiskFull, match="disk: no room left"), tree.link_trees(wanted):
        pass
    assert not [*(tmp_path / "full").iterdir(), *(tmp_path / "disk").iterdir()]


def test_an_index_of_somebody_else_is_read(own: Archive) -> None:
    """And the call says that it cannot be updated; what it does not know is read."""
    index = pathlib.Path(own.index)
    for path in [index, *index.rglob("*")]:
        path.chmod(path.stat().st_mode & ~0o222)

    def drop() -> None:
        """Root is to be refused as others are."""
        for capability in (1, 2):  # to overrule permissions
            ctypes.CDLL(None).prctl(24, capability, 0, 0, 0)

    def call(out: str, said: str) -> list[str]:
        """The files that are read."""
        words = own.words("-d -c 1 -on 1".split(), own.roots())
        done = subprocess.run([sys.executable, "-m", "vexbatch", "--vex", own.vex, "--by", "month", "--index", index, "--out",
                               own.root / out, "--", *words, "-fd", DAY[0], "-ld", DAY[1]], preexec_fn=drop, text=True,
                              capture_output=True, env=os.environ | {"PYTHONPATH": os.pathsep.join(sys.path)})
        assert done.returncode == 3 and said in done.stderr and "Traceback" not in done.stderr, done.stderr
        return re.findall("/2014/10/01/(.*)", (own.root / f"{out}.log").read_text(), re.M)

    assert len(call("one", "")) == 1
    (own.root / "L1C/2014/10/01/new.bin").write_bytes(b"")
    assert call("two", "warning: the index cannot be updated") == ["new.bin"]


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
    extents = extent.cover("file", (0, 0, 0), False, pixel)
    assert conditions.may_hold(conditions.conditions(options), extents).tolist() == [taken]


def test_a_swath_over_the_date_line_has_two_ends() -> None:
    longitude = np.concatenate([np.arange(170, 180, 0.5), np.arange(-180, -170, 0.5)]).astype(np.float32)
    same = [np.zeros(longitude.size, int)] * 5
    extents = extent.cover("file", (0, 0, 0), False, extent.Pixels(longitude * 0, longitude, *same))
    assert extents.areas.tolist() == [[0, 0, -180, -170.5], [0, 0, 170, 179.5]]


def test_nothing_is_made_behind_a_link(tmp_path: pathlib.Path) -> None:
    (tmp_path / "root/2013/04").mkdir(parents=True)
    parts = ["2013/04/20/a.bin", "2013", "2014/01/01/b.bin"]
    tree.link_tree(str(tmp_path / "root"), parts, str(tmp_path / "links"))
    assert (tmp_path / "links/2013").is_symlink() and (tmp_path / "links/2014/01/01/b.bin").is_symlink()
    assert not list((tmp_path / "root/2013/04").iterdir())


def test_a_file_that_cannot_be_read_now_is_left_for_later(known: Archive, tmp_path: pathlib.Path) -> None:
    failing = tmp_path / "vex"
    failing.write_text(f'#!/bin/sh\necho "vex: file: Input/output error" >&2\nexec "{known.vex}" "$@"\n')
    failing.chmod(0o755)
    path = max((known.root / "L1C/2014/10/01").iterdir())
    files = [survey.File(str(path), listing.stamp_of(path.stat()))]
    assert survey.survey(known.vex, "L1C", files, str(tmp_path)).names == [path.name]
    assert not survey.survey(str(failing), "L1C", files, str(tmp_path)).names
