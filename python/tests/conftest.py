"""Archives and files of the real programs, made once for all tests."""

from __future__ import annotations

import os
import subprocess
from collections.abc import Callable
from pathlib import Path

import pytest

#: Archives by name: the first date and what `vex-sample` is told besides.
ARCHIVES = {
    "old": ("2013-04-20", "--messages 4 --pixels 40 --gaps --missing"),
    "change": ("2014-09-30", "--messages 4 --pixels 20 --messages-per-file 2 --gaps --missing"),
    "recent": ("2014-10-01", "--messages 4 --pixels 20 --messages-per-file 2 --gaps --missing --seed 3"),
    "day1": ("2008-01-10", "--layout 1 --messages 2 --pixels 20 --missing"),
}


class Runs:
    """Runs vex on sample archives, each run once a session."""

    def __init__(self, build: Path, folder: Path) -> None:
        self.build, self.folder = build, folder
        self._done: dict[tuple[str, ...], Path] = {}

    def archive(self, name: str) -> Path:
        """The folder of an archive of `ARCHIVES`."""
        place = self.folder / name
        if not place.exists():
            date, options = ARCHIVES[name]
            subprocess.run([self.build / "vex-sample", place, "--first-date", date, *options.split()],
                           check=True, capture_output=True)
        return place

    def run(self, archive: str, options: str, form: str = "bin") -> Path:
        """The output file of a run over an archive's day, in the format `form`."""
        key = (archive, options, form)
        if key not in self._done:
            place, date = self.archive(archive), ARCHIVES[archive][0]
            out = self.folder / f"{len(self._done)}.{form}"
            said = subprocess.run([self.build / "vex", "-d", place / "L1C", "-d2", place / "L2", "-fd", date, "-ld", date,
                                   "-alt", place / "land_sea_alti_map.dat", "-out", out, "-of", form, *options.split()],
                                  check=True, capture_output=True).stdout
            assert b"Extraction succeeded" in said, said
            self._done[key] = out
        return self._done[key]


@pytest.fixture(scope="session")
def build() -> Path:
    """The folder of vex and vex-sample, from the environment variable VEX_BUILD."""
    return Path(os.environ["VEX_BUILD"]).resolve()


@pytest.fixture(scope="session")
def runs(build: Path, tmp_path_factory: pytest.TempPathFactory) -> Runs:
    """Archives and output files."""
    return Runs(build, tmp_path_factory.mktemp("runs"))


@pytest.fixture
def copy(tmp_path: Path) -> Callable[[Path, bytes], Path]:
    """Writes other bytes under a file's name, to a folder of the test's own."""
    def write(path: Path, data: bytes) -> Path:
        (tmp_path / path.name).write_bytes(data)
        return tmp_path / path.name
    return write
