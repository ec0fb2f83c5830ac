#!/usr/bin/env python3
"""Measures runs over a window of 4 by 4 degrees through an index of the archive, against runs over all files.

Usage: indexing.py BUILD_DIR FOLDER [--days N] [--files N] [--kind KIND] [--messages N] [--pixels N]

BUILD_DIR has vex and vex-sample. The archive is made in FOLDER: N days of one product, each with some files spread over
the day, of 22 messages of a scan line each, which are three minutes. A year of 100 files a day of `clp` takes 3.5 GB.
The archive is listed once for a run: vex-batch has to, with an index or without. `scan` is vex alone, and lists nothing
but what it reads. Figures are the shortest of some repeats, from a warm cache, scans and runs in turn, so that both see
the same machine: those of a cold cache, and of files with spectra, differ more, since all files come from the disk.
"""

from __future__ import annotations

import argparse
import json
import subprocess
import sys
import time
from datetime import date, timedelta
from pathlib import Path

from vexbatch.index import archive
from vexbatch.planning.listing import Archive, Inputs
from vexbatch.planning.settings import read_settings

REPEATS = 9
FIRST, LAST = "2013-01-01", "2014-12-31"
WINDOWS = {"mid-latitudes": (44, 48, 8, 12), "date line": (-2, 2, 176, 180), "near the pole": (80, 84, 20, 24)}
DAYS_A_CALL = 20


def make(build: Path, folder: Path, arguments: argparse.Namespace) -> None:
    """The archive, some days a call of vex-sample."""
    if folder.exists():
        return
    part, begin = folder.with_suffix(".part"), date.fromisoformat(FIRST)
    for day in range(0, arguments.days, DAYS_A_CALL):
        days = min(DAYS_A_CALL, arguments.days - day)
        subprocess.run([build / "vex-sample", part, "--first-date", str(begin + timedelta(day)), "--days", str(days),
                        "--grid", "off", "--kinds", arguments.kind, "--pixels", str(arguments.pixels),
                        "--messages", str(arguments.files * arguments.messages),
                        "--messages-per-file", str(arguments.messages)], check=True, capture_output=True)
    part.rename(folder)


class Runs:
    """Runs over one window."""

    def __init__(self, build: Path, folder: Path, kind: str, window: tuple[int, ...]) -> None:
        self.vex, self.folder, self.index = str(build / "vex"), folder, str(folder / "index")
        self.option = "d" if kind == "l1c" else "d2"
        self.root = str(folder / "archive" / ("L1C" if kind == "l1c" else "L2"))
        self.bounds = dict(zip(("mila", "mala", "milo", "malo"), map(str, window)))
        self.product = {"c": "1021"} if kind == "l1c" else {"t2": kind}
        self.settings, _ = read_settings(self.vex, self.words(self.root))
        self.inputs = Inputs()

    def words(self, root: str) -> list[str]:
        """What vex is asked for."""
        asked = {self.option: root, "fd": FIRST, "ld": LAST, "alt": "none"} | self.product | self.bounds
        return [word for name, value in asked.items() for word in (f"-{name}", value)]

    def run(self, root: str, out: str) -> bytes:
        """What vex writes."""
        subprocess.run([self.vex, *self.words(root), "-out", self.folder / out], check=True, capture_output=True)
        return (self.folder / out).read_bytes()

    def scan(self) -> bytes:
        """All files."""
        return self.run(self.root, "all")

    def list(self) -> None:
        """Lists the archive."""
        self.inputs = Archive(self.settings).inputs(FIRST, LAST)

    def update(self) -> archive.Updated:
        """Brings the index up to date."""
        news = archive.News(self.index, self.vex)
        news.see(self.inputs)
        return news.update(2)

    def through(self) -> tuple[bytes, archive.Selected]:
        """The files that the index selects: their tree made, read and removed."""
        with archive.narrow(self.index, self.vex, self.settings.options, self.inputs) as (roots, found):
            return self.run(roots[self.option], "some"), found


def seconds(runs: Runs) -> dict[str, float]:
    """The shortest time of each action."""
    best = dict.fromkeys(("scan", "list", "update", "through"), float("inf"))
    for _ in range(REPEATS):
        for action, before in best.items():
            begin = time.perf_counter()
            getattr(runs, action)()
            best[action] = min(before, time.perf_counter() - begin)
    return best


def main() -> None:
    """Makes the archive and prints the figures."""
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("folder", type=Path)
    for name, value in (("days", 365), ("files", 100), ("messages", 22), ("pixels", 120)):
        parser.add_argument(f"--{name}", type=int, default=value)
    parser.add_argument("--kind", default="clp")
    arguments = parser.parse_args()
    build, folder = arguments.build.resolve(), arguments.folder.resolve()
    make(build, folder / "archive", arguments)
    figures: dict[str, object] = {}
    for name, window in WINDOWS.items():
        runs = Runs(build, folder, arguments.kind, window)
        begin = time.perf_counter()
        runs.list()
        if done := runs.update().seen:
            figures["first update, s"], figures["files looked at"] = round(time.perf_counter() - begin, 2), done
        expected = runs.scan()
        written, found = runs.through()
        if written != expected:
            sys.exit(f"{name}: the records differ")
        took = seconds(runs)
        figures[name] = {"files": [found.files, found.all_files],
                         "MB": [found.bytes // 10**6, found.all_bytes // 10**6], "bytes written": len(written),
                         **{action: round(value, 3) for action, value in took.items()},
                         "scan / (list + through)": round(took["scan"] / (took["list"] + took["through"]), 1),
                         "scan / (list + update + through)": round(took["scan"] / (sum(took.values()) - took["scan"]), 1)}
    index = [path.stat().st_size for path in (folder / "index").rglob("*") if path.is_file()]
    print(json.dumps(figures | {"index, MB": round(sum(index) / 1e6, 1)}, indent=1))


if __name__ == "__main__":
    main()
