"""What tests share: the programs, named by their folder in VEX_BUILD, archives made by vex-sample, and runs of vex."""

from __future__ import annotations

import functools
import os
import pathlib
import subprocess
from collections.abc import Callable

import hypothesis
import pytest

# How long an example takes says more of the machine than of the code.
hypothesis.settings.register_profile("vex", deadline=None)
hypothesis.settings.load_profile("vex")

Archive = Callable[..., pathlib.Path]
Run = Callable[..., pathlib.Path]

#: Archives by name: the first date and what `vex-sample` is told besides.
ARCHIVES = {
    "old": ("2013-04-20", "--messages 4 --pixels 40 --gaps --missing"),
    "change": ("2014-09-30", "--messages 4 --pixels 20 --messages-per-file 2 --gaps --missing"),
    "recent": ("2014-10-01", "--messages 4 --pixels 20 --messages-per-file 2 --gaps --missing --seed 3"),
    "day1": ("2008-01-10", "--layout 1 --messages 2 --pixels 20 --missing"),
}


@pytest.fixture(scope="session")
def build() -> pathlib.Path:
    """The folder of vex and vex-sample."""
    folder = os.environ.get("VEX_BUILD")
    if not folder:
        pytest.skip("VEX_BUILD does not name the folder of vex and vex-sample")
    for program in ("vex", "vex-sample"):
        if not os.access(pathlib.Path(folder, program), os.X_OK):
            pytest.fail(f"there is no {program} in VEX_BUILD, {folder}")
    return pathlib.Path(folder).resolve()


@pytest.fixture(scope="session")
def vex(build: pathlib.Path) -> pathlib.Path:
    return build / "vex"


@pytest.fixture(scope="session")
def sample(build: pathlib.Path) -> pathlib.Path:
    return build / "vex-sample"


@pytest.fixture(scope="session")
def archive(sample: pathlib.Path, tmp_path_factory: pytest.TempPathFactory) -> Archive:
    """archive(*options): the folder of an archive that vex-sample makes; one for the same options."""

    @functools.cache
    def make(*options: str) -> pathlib.Path:
        folder = tmp_path_factory.mktemp("an archive")
        subprocess.run([sample, folder, *options], check=True, stdout=subprocess.DEVNULL)
        return folder

    return make


@pytest.fixture(scope="session")
def run(vex: pathlib.Path, tmp_path_factory: pytest.TempPathFactory) -> Run:
    """run(archive, *options): the path that was given as -out, in a folder of its own; one run for the same options.

    The archive's folders and grid need not be given, first and last date (-fd, -ld) have to be.
    """

    @functools.cache
    def make(archive: pathlib.Path, *options: str) -> pathlib.Path:
        out = tmp_path_factory.mktemp("a run") / "out"
        words: list[str | pathlib.Path] = [vex, "-d", archive / "L1C", "-d2", archive / "L2", "-out", out]
        words += ["-alt", archive / "land_sea_alti_map.dat", *options]
        done = subprocess.run(words, capture_output=True, text=True, errors="replace")
        assert "Extraction succeeded" in done.stdout, done.stdout
        return out

    return make


class Runs:
    """Runs over the archives of `ARCHIVES`, each done once."""

    def __init__(self, run: Run, archive: Archive, folder: pathlib.Path) -> None:
        self._run, self._archive, self._folder = run, archive, folder

    def _real(self) -> pathlib.Path:
        message = pathlib.Path(os.environ.get("VEX_TEST_DATA", ""), "ias1_240.bufr")
        if not message.is_file():
            pytest.skip("VEX_TEST_DATA does not name a folder with the real message ias1_240.bufr")
        day = self._folder / "L1C/2012/11/02"
        if not day.exists():
            day.mkdir(parents=True)
            (day / "real.l1_bufr").write_bytes(message.read_bytes())
        return self._folder

    def archive(self, name: str) -> pathlib.Path:
        """The folder of an archive; "real" is that of a message of the folder VEX_TEST_DATA."""
        if name == "real":
            return self._real()
        date, options = ARCHIVES[name]
        return self._archive("--first-date", date, *options.split())

    def run(self, archive: str, options: str, form: str = "bin") -> pathlib.Path:
        """The output file of a run over an archive's day, in the format `form`."""
        date = "2012-11-02" if archive == "real" else ARCHIVES[archive][0]
        return self._run(self.archive(archive), "-fd", date, "-ld", date, "-of", form, *options.split())


@pytest.fixture(scope="session")
def runs(run: Run, archive: Archive, tmp_path_factory: pytest.TempPathFactory) -> Runs:
    """Archives and output files."""
    return Runs(run, archive, tmp_path_factory.mktemp("real"))


@pytest.fixture
def copy(tmp_path: pathlib.Path) -> Callable[[pathlib.Path, bytes], pathlib.Path]:
    """Writes other bytes under a file's name, to a folder of the test's own."""
    def write(path: pathlib.Path, data: bytes) -> pathlib.Path:
        (tmp_path / path.name).write_bytes(data)
        return tmp_path / path.name
    return write
