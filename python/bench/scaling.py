#!/usr/bin/env python3
"""Measures what a second process brings to vex-batch, and what it costs beside vex alone.

Usage: scaling.py BUILD_DIR FOLDER [--days N] [--messages N]

Each job runs over the same days, which are in memory: vex alone a day at a time, vex-batch with one process and with two.
Beside them the same bytes as the output are written by one process and by two, to tell what the disk or the memory gives.
"""

from __future__ import annotations

import argparse
import datetime
import json
import os
import shutil
import subprocess
import sys
import time
from collections.abc import Callable, Sequence
from pathlib import Path

JOBS = {"full spectra": "-c 1-8461", "brightness temperatures": "-c 1-8461 -tb 1", "text": "-c 1-8461 -of txt",
        "ten channels": "-c 100,200,300,400,500,600,700,800,900,1000"}
FIRST = datetime.date(2013, 4, 20)
REPEATS = 3


def seconds(action: Callable[[], None]) -> float:
    """The shortest of some times."""
    best = float("inf")
    for _ in range(REPEATS):
        begin = time.perf_counter()
        action()
        best = min(best, time.perf_counter() - begin)
    return best


def fresh(folder: Path) -> Path:
    """The folder, empty."""
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    return folder


def write_copies(sizes: Sequence[int], folder: Path, processes: int) -> None:
    """Files of these sizes, written by some processes."""
    fresh(folder)
    block = bytes(1 << 20)
    children = []
    for number in range(processes):
        child = os.fork()
        if child:
            children.append(child)
            continue
        for i in range(number, len(sizes), processes):
            with open(folder / str(i), "wb") as file:
                for _ in range(sizes[i] >> 20):
                    file.write(block)
        os._exit(0)
    for child in children:
        os.waitpid(child, 0)


def main() -> None:
    """Makes the archive and prints the figures."""
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--days", type=int, default=8)
    parser.add_argument("--messages", type=int, default=24)
    arguments = parser.parse_args()
    build, folder = arguments.build.resolve(), arguments.folder.resolve()
    folder.mkdir(parents=True, exist_ok=True)
    archive, out = folder / f"archive-{arguments.days}-{arguments.messages}", folder / "out"
    if not archive.exists():
        subprocess.run([build / "vex-sample", archive, "--days", str(arguments.days), "--messages",
                        str(arguments.messages), "--kinds", "l1c"], check=True, stdout=subprocess.DEVNULL)
    days = [str(FIRST + datetime.timedelta(i)) for i in range(arguments.days)]
    common = ["-d", str(archive / "L1C"), "-alt", str(archive / "land_sea_alti_map.dat")]

    def alone(options: list[str]) -> None:
        fresh(out)
        for day in days:
            subprocess.run([build / "vex", *common, "-fd", day, "-ld", day, "-out", out / day, *options], check=True,
                           stdout=subprocess.DEVNULL)

    def batch(options: list[str], processes: int) -> None:
        fresh(out)
        subprocess.run([sys.executable, "-m", "vexbatch", "--vex", build / "vex", "-j", str(processes), "--out",
                        out / "{date}", "--", *common, "-fd", days[0], "-ld", days[-1], *options], check=True,
                       stdout=subprocess.DEVNULL)

    figures = {}
    for name, words in JOBS.items():
        options = words.split()
        single = seconds(lambda options=options: alone(options))
        sizes = [path.stat().st_size for path in out.iterdir()]
        one, two = (seconds(lambda options=options, n=n: batch(options, n)) for n in (1, 2))
        writes = [seconds(lambda sizes=sizes, n=n: write_copies(sizes, folder / "copies", n)) for n in (1, 2)]
        figures[name] = {"output, MB": sum(sizes) / 1e6, "vex alone, s": single, "one process, s": one,
                         "two processes, s": two, "speed-up": one / two, "of vex alone": single / one,
                         "writing alone, s": writes[0], "writing speed-up": writes[0] / writes[1]}
    shutil.rmtree(out)
    shutil.rmtree(folder / "copies")
    print(json.dumps({name: {what: round(value, 3) for what, value in found.items()}
                      for name, found in figures.items()}, indent=1))


if __name__ == "__main__":
    main()
