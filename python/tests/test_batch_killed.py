"""Calls of vex-batch that are killed, and resumed: VEX_KILLS (8) of them; from 50 on over a year of 365 days."""

from __future__ import annotations

import os
import pathlib
import random
import shutil
import time

import pytest
from batch_runs import Batch, alive, children, kill, wait_for
from conftest import Archive

pytestmark = pytest.mark.long
KILLS = int(os.environ.get("VEX_KILLS", "8"))
DAYS = 365 if KILLS >= 50 else 14
OPTIONS = "-c 1-500 -box -90-0,-180-180,south -box 0-90,-180-180,north -fd 2013-01-01 -ld " + (
    "2013-12-31" if KILLS >= 50 else "2013-01-14")
OWN = "-j 2 --retries 1 --by day"


@pytest.fixture
def batch(tmp_path: pathlib.Path, vex: pathlib.Path, archive: Archive) -> Batch:
    """An archive in which some days are empty, some damaged, and one is unreadable."""
    made = Batch(tmp_path / "a span", vex, archive(
        "--first-date", "2013-01-01", "--days", str(DAYS), *"--messages 2 --pixels 40 --kinds l1c".split()))
    days = sorted((made.folder / "A/L1C").glob("*/*/*"))
    for number, day in enumerate(days):
        if number % 12 == 3 or number == 8:
            shutil.rmtree(day)
        elif number % 50 == 5:
            os.truncate(next(day.iterdir()), 90_000)
        if number == 8:
            day.symlink_to(day.name)
    return made


def _hit(batch: Batch, whom: str, delay: float) -> None:
    """Begins a call, and kills vex, a worker, vex-batch, or it and vex when some time has passed."""
    call = batch.begin(OWN, OPTIONS)
    time.sleep(delay)
    found: list[int] = []

    def running() -> bool:
        found[:] = [pid for pid, name in children(call.pid) if (name == "vex") == (whom != "worker")]
        return bool(found) or call.poll() is not None

    if whom != "vex-batch":
        wait_for(running)
    for pid in [*found[:2 if whom == "both" else 1], *[call.pid] * (whom in ("vex-batch", "both"))]:
        kill(pid)
    call.communicate(timeout=600)
    assert wait_for(lambda: not alive(batch.folder, batch.vex), 10), "vex outlived vex-batch"


def test_killed_and_resumed(batch: Batch) -> None:
    """Whatever is killed at whatever moment, in the end all is as it is of an undisturbed call, to the byte."""
    begun = time.monotonic()
    status, said = batch.call(OWN, OPTIONS)
    took = time.monotonic() - begun
    assert status == 1 and ", 1 failed, " in said and "with damaged input" in said and "no input" in said, said
    wanted = batch.result()
    drawn = random.Random(11)
    for number in range(KILLS):
        shutil.rmtree(batch.folder / "out")
        for _ in range(drawn.choice((1, 1, 2, 3))):
            _hit(batch, ("vex", "vex-batch", "both", "worker")[number % 4], drawn.uniform(0.1, took))
        again, said = batch.call(OWN, OPTIONS)
        assert again == status, said
        found = batch.result()
        assert found.keys() == wanted.keys()
        assert [name for name in wanted if found[name] != wanted[name]] == [], number
