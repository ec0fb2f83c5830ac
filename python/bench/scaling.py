#!/usr/bin/env python3
"""Measures what vex-batch costs beside a shell loop of vex, and what a second process brings.

Usage: scaling.py BUILD_DIR FOLDER [--days N] [--messages N] [--repeats N]

Each output is made of the same days by a shell loop, by vex-batch with one process and by vex-batch with two, in turn;
the medians count. Processor time is that of all processes, in user and system mode. What the disk adds is that of
`fsync` on the same files, in the same folder: near nothing where FOLDER is in memory.
"""

from __future__ import annotations

import argparse
import datetime
import os
import resource
import shlex
import shutil
import statistics
import subprocess
import sys
import time
from collections.abc import Callable
from pathlib import Path

JOBS = {"all channels": "-c 1-8461", "`-tb 1`": "-c 1-8461 -tb 1", "text": "-c 1-8461 -of txt",
        "ten channels": "-c 100,200,300,400,500,600,700,800,900,1000"}
FIRST = datetime.date(2013, 4, 20)
COLUMNS = ("Output", "MB", "loop, s", "`-j 1`, s", "`-j 2`, s", "loop / `-j 2`", "loop, s of CPU", "`-j 1`, s of CPU",
           "CPU, `-j 1` / loop", "CPU, `-j 2` / loop", "fsync, s")


def times(action: Callable[[], None], out: Path) -> tuple[float, float]:
    """Seconds that pass, and seconds of the processors, with an empty folder."""
    shutil.rmtree(out, ignore_errors=True)
    out.mkdir()
    before, begin = resource.getrusage(resource.RUSAGE_CHILDREN), time.perf_counter()
    action()
    passed, after = time.perf_counter() - begin, resource.getrusage(resource.RUSAGE_CHILDREN)
    return passed, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def sync(out: Path) -> float:
    """Seconds until all files of a folder are on the disk."""
    begin = time.perf_counter()
    for path in out.iterdir():
        with open(path, "rb") as file:
            os.fsync(file.fileno())
    return time.perf_counter() - begin


def measure(build: Path, archive: Path, days: list[str], out: Path, options: str, repeats: int) -> list[float]:
    """The figures of a row, in the order of COLUMNS."""
    common = f"-d {shlex.quote(str(archive / 'L1C'))} -alt {shlex.quote(str(archive / 'land_sea_alti_map.dat'))} {options}"
    program, target = shlex.quote(str(build / "vex")), shlex.quote(str(out))
    loop = f"for d in {' '.join(days)}; do {program} {common} -fd $d -ld $d -out {target}/$d >/dev/null; done"
    batch = [f"exec {shlex.quote(sys.executable)} -m vexbatch --vex {program} -j {jobs} --out {target}/'{{date}}' "
             f"-- {common} -fd {days[0]} -ld {days[-1]} >/dev/null" for jobs in (1, 2)]
    found: list[list[tuple[float, float]]] = [[], [], []]
    synced: list[float] = []
    for _ in range(repeats):
        for one, script in zip(found, (loop, *batch)):
            one.append(times(lambda script=script: subprocess.run(["sh", "-c", script], check=True), out))
            if script is loop:
                synced.append(sync(out))
                size = sum(path.stat().st_size for path in out.iterdir()) / 1e6
    wall, cpu = ([statistics.median(row[i] for row in one) for one in found] for i in (0, 1))
    return [size, *wall, wall[0] / wall[2], cpu[0], cpu[1], cpu[1] / cpu[0], cpu[2] / cpu[0], statistics.median(synced)]


def main() -> None:
    """Makes the archive and prints the table."""
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--days", type=int, default=8)
    parser.add_argument("--messages", type=int, default=46, help="of a day; 46 are 61 MB")
    parser.add_argument("--repeats", type=int, default=5)
    parser.add_argument("--only", default="", help="outputs whose options have this")
    arguments = parser.parse_args()
    build, folder = arguments.build.resolve(), arguments.folder.resolve()
    folder.mkdir(parents=True, exist_ok=True)
    archive, out = folder / f"archive-{arguments.days}-{arguments.messages}", folder / "out"
    if not archive.exists():
        subprocess.run([build / "vex-sample", archive, "--days", str(arguments.days), "--messages",
                        str(arguments.messages), "--kinds", "l1c"], check=True, stdout=subprocess.DEVNULL)
    days = [str(FIRST + datetime.timedelta(i)) for i in range(arguments.days)]
    print("| " + " | ".join(COLUMNS) + " |\n|---" + "|--:" * (len(COLUMNS) - 1) + "|", flush=True)
    for name, options in JOBS.items():
        if arguments.only in options:
            row = measure(build, archive, days, out, options, arguments.repeats)
            print(f"| {name} | {row[0]:.0f} | " + " | ".join(f"{value:.2f}" for value in row[1:]) + " |", flush=True)
    shutil.rmtree(out)


if __name__ == "__main__":
    main()
