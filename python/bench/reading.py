#!/usr/bin/env python3
"""Measures how files are read, each figure against plain reads of the same bytes in the same run.

Usage: reading.py BUILD_DIR FOLDER [--size GB]

BUILD_DIR has vex and vex-sample. The files are made in FOLDER, which needs room for them (10 GB and a fifth of that),
and memory that holds them too when the figures shall be those of the package and not of the disk.
"""

from __future__ import annotations

import argparse
import json
import struct
import subprocess
import sys
import time
from collections.abc import Callable
from pathlib import Path

import numpy as np

import vexfile
from vexfile.reading.binary import BinaryFile

REPEATS = 5
CHUNK = 1 << 20
SPECTRA = 60_000


def make(build: Path, folder: Path, name: str, date: str, options: str, size: float) -> Path:
    """A file of `size` bytes: the records of a small run again and again."""
    archive, small, large = folder / f"archive-{date}", folder / f"small-{name}", folder / name
    if large.exists():
        return large
    if not archive.exists():
        subprocess.run([build / "vex-sample", archive, "--first-date", date, "--messages", "8", "--gaps"], check=True,
                       capture_output=True)
    subprocess.run([build / "vex", "-d", archive / "L1C", "-d2", archive / "L2", "-fd", date, "-ld", date, "-alt", "none",
                    "-out", small, *options.split()], check=True, capture_output=True)
    content = small.read_bytes()
    begin = struct.unpack_from("<i", content)[0] + 8
    times = max(1, int(5e7 / (len(content) - begin)))
    with open(large, "wb") as file:
        file.write(content[:begin])
        while file.tell() < size:
            file.write(content[begin:] * times)
    return large


def plain_read(path: Path) -> None:
    """All bytes, into the same small buffer again and again."""
    with open(path, "rb", buffering=0) as file:
        buffer = bytearray(CHUNK)
        while file.readinto(buffer):
            pass


def seconds(*actions: Callable[[], object]) -> list[float]:
    """The shortest times of actions that take turns."""
    best = [float("inf")] * len(actions)
    for _ in range(REPEATS):
        for number, action in enumerate(actions):
            begin = time.perf_counter()
            kept = action()
            best[number] = min(best[number], time.perf_counter() - begin)
            del kept
    return best


PEAK = """
import sys, vexfile
def most():  # of this program alone, which ru_maxrss is not
    return int(next(line for line in open("/proc/self/status") if line.startswith("VmHWM")).split()[1]) / 1024
data = vexfile.open(sys.argv[1])
data.latitude[:1].values
before = most()
kept = {}
print(most() - before)
"""


def peak(values: str, path: Path) -> float:
    """By how many MB a process of its own grows while it reads values of the Dataset `data`."""
    return float(subprocess.run([sys.executable, "-c", PEAK.format(values), path], check=True, capture_output=True).stdout)


def main() -> None:
    """Makes the files and prints the figures."""
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--size", type=float, default=10, help="of the large file, GB")
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    where = (arguments.build.resolve(), arguments.folder.resolve())
    equal = make(*where, "equal.bin", "2013-04-20", "-c 1-8461", arguments.size * 1e9)
    long = make(*where, "long.bin", "2015-04-20", "-t2 ozo,twt", arguments.size * 2e8)
    mixed = make(*where, "mixed.bin", "2014-09-30", "-t2 trg,twt", arguments.size * 2e8)
    figures: dict[str, float] = {}

    vexfile.open(equal).close()  # imports
    (opening,) = seconds(lambda: vexfile.open(equal).close())
    figures["open, ms"] = 1000 * opening

    for path in (long, mixed):
        plain, index = seconds(lambda: plain_read(path), lambda: BinaryFile(str(path), True))
        figures[f"index of {path.name}, GB/s"] = path.stat().st_size / index / 1e9
        figures[f"index of {path.name}, of a plain read"] = plain / index

    data = vexfile.open(equal)
    file = BinaryFile(str(equal))
    step, count = file.index.shapes[1].length, min(SPECTRA, file.pixels)
    data.radiance[:count, 0].load()  # markers are looked at once
    plain, spectra = seconds(lambda: np.fromfile(equal, np.uint8, count * step, offset=file.header.length),
                             lambda: data.radiance[:count].values)
    figures["spectra, GB/s"] = count * step / spectra / 1e9
    figures["spectra, of a plain read"] = plain / spectra
    (channel,) = seconds(lambda: vexfile.open(equal).radiance[:, 4000].values)
    figures["one channel of all, s"] = channel
    figures["one channel of all, MB of the result"] = 4 * file.pixels / 1e6
    figures["one channel of all, MB more at the peak"] = peak("data.radiance[:, 4000].values", equal)
    figures["latitudes of all, MB more at the peak"] = peak("data.latitude.values", equal)
    figures["pixels"] = file.pixels
    print(json.dumps({name: round(value, 3) for name, value in figures.items()}, indent=1))


if __name__ == "__main__":
    main()
