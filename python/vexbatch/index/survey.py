"""Finds out with vex where the pixels of files lie: one run a file, without filters.

A run over several files does not tell which pixel is from which. What a run of one file costs besides reading it, 2 to
3 ms, is little beside a file of spectra.
"""

from __future__ import annotations

import contextlib
import os
import re
import subprocess
import tempfile
from collections.abc import Sequence
from typing import NamedTuple

import numpy as np

from .extent import Extents, Pixels, cover, join

L1C = "L1C"
#: The date of the folder that a file is linked to.
DATE = "0001-01-01"
#: Keeps every pixel: with the bounds of longitude the wrong way round none counts. One channel, which has to be named.
ALL_PIXELS = ("-mila", "-1e30", "-mala", "1e30", "-milo", "1", "-malo", "0")
#: What vex says first.
VERSION = re.compile(r"vex application version .+")
#: What it says of a sound file, from the line with the file's path on; the numbers are those of pixels.
USUAL = re.compile(rb"(?:day[12]\.)?\.*\n(\d+) \w+ data selected out of (\d+)\n"
                   rb"(?:\*{60}\n(?:\*\* .*\*\*\n)+\*{60}\n)*Extraction succeeded in \d+s\n")
#: What is said when output is lost, or input that is there could not be read: something else than the file is to blame.
LOST = b"Error: extraction failed!"
#: The end of a message lies within the last bytes of a file.
TAIL, END = 64, b"7777"


class File(NamedTuple):
    """A file to look at: its path, bytes, and when it was changed, ns."""

    path: str
    size: int
    changed: int


def version_of(vex: str) -> str:
    """The line that vex says first.

    Raises
    ------
    ValueError
        The program is something else.
    """
    said = subprocess.run([vex], stdin=subprocess.DEVNULL, capture_output=True).stdout.decode(errors="replace")
    first = said.partition("\n")[0]
    if not VERSION.fullmatch(first):
        raise ValueError(f"{vex}: is not vex")
    return first


def survey(vex: str, kind: str, files: Sequence[File], work: str) -> Extents:
    """The extents of files of one folder.

    Files that have changed, or could not be read just now, are left out.

    Parameters
    ----------
    vex
        The program.
    kind
        L1C, or a product of level 2.
    files
        The files as they were listed.
    work
        A folder for what is needed for a moment.
    """
    found = []
    with tempfile.TemporaryDirectory(dir=work) as folder:
        for file in files:
            seen = _see(vex, kind, file.path, folder)
            if seen and _is_same(file):
                found.append(cover(os.path.basename(file.path), (file.size, file.changed), *seen))
    return join(found)


def _is_same(file: File) -> bool:
    try:
        status = os.stat(file.path)
    except OSError:
        return False
    return (status.st_size, status.st_mtime_ns) == (file.size, file.changed)


def _see(vex: str, kind: str, path: str, folder: str) -> tuple[bool, Pixels | None] | None:
    """Whether a file is never to be left out, and its pixels; None when something else than the file went wrong."""
    said, link, out = _run(vex, kind, path, folder)
    before, _, after = said.partition(os.fsencode(link) + b"\n")
    if not after or LOST in after:
        return None
    match = USUAL.fullmatch(after)
    expected = b"\n1 " + kind.encode() + b" data files selected\n"
    if not match or match[1] != match[2] or not before.endswith(expected) or not _ends(path):
        return True, None
    pixels = _pixels(out, int(match[1]))
    return pixels is None, pixels


def _run(vex: str, kind: str, path: str, folder: str) -> tuple[bytes, str, str]:
    """What vex says, the path that it knows the file by, and its output."""
    day = os.path.join(folder, *DATE.split("-"), *([] if kind == L1C else [kind]))
    link, out = os.path.join(day, "file.bin"), os.path.join(folder, "out")
    os.makedirs(day, exist_ok=True)
    with contextlib.suppress(FileNotFoundError):
        os.unlink(link)
    os.symlink(os.path.realpath(path), link)
    asked = ("-d", folder, "-c", "1") if kind == L1C else ("-d2", folder, "-t2", kind)
    words = [vex, *asked, "-fd", DATE, "-ld", DATE, "-out", out, "-alt", os.path.join(folder, "none"), *ALL_PIXELS]
    done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return (done.stdout if done.returncode == 0 else b""), link, out


def _ends(path: str) -> bool:
    """Whether the last bytes of a file have the end of a message."""
    try:
        with open(path, "rb") as file:
            file.seek(-min(TAIL, file.seek(0, os.SEEK_END)), os.SEEK_END)
            return END in file.read()
    except OSError:
        return False


def _pixels(path: str, count: int) -> Pixels | None:
    """The pixels of an output file, None when it is not as expected."""
    from vexfile.reading.binary import BinaryFile
    try:
        file = BinaryFile(path, whole=True)
        latitude, longitude, *whole = (file.read(name, 0, file.pixels) for name in Pixels.__annotations__)
    except (OSError, ValueError):  # a FormatError of vexfile
        return None
    if file.pixels != count or not (np.isfinite(latitude) & np.isfinite(longitude)).all():
        return None
    return Pixels(latitude, longitude, *(column.astype(np.int64) for column in whole))
