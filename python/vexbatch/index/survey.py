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

from ..planning.listing import L1C, Stamp, stamp_of
from ..running.outcome import ends
from .extent import Extents, Pixels, cover, join

#: The date of the folder that a file is linked to.
DATE = "0001-01-01"
#: Keeps every pixel: with the bounds of longitude the wrong way round none counts. One channel, which has to be named.
ALL_PIXELS = ("-mila", "-1e30", "-mala", "1e30", "-milo", "1", "-malo", "0")
#: What it says of a sound file, from the line with the file's path on; the numbers are those of pixels.
USUAL = re.compile(rb"(?:day[12]\.)?\.*\n(\d+) \w+ data selected out of (\d+)\n"
                   rb"(?:\*{60}\n(?:\*\* .*\*\*\n)+\*{60}\n)*Extraction succeeded in \d+s\n")
#: What is said when output is lost: something else than the file is to blame, as where input cannot be read, for which
#: there are lines on standard error.
LOST = b"Error: extraction failed!"


class File(NamedTuple):
    """A file to look at."""

    path: str
    stamp: Stamp


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
                found.append(cover(os.path.basename(file.path), file.stamp, *seen))
    return join(found)


def _is_same(file: File) -> bool:
    try:
        return stamp_of(os.stat(file.path)) == file.stamp
    except OSError:
        return False


def _see(vex: str, kind: str, path: str, folder: str) -> tuple[bool, Pixels | None] | None:
    """Whether a file is never to be left out, and its pixels; None when something else than the file went wrong."""
    said, link, out = _run(vex, kind, path, folder)
    before, _, after = said.partition(os.fsencode(link) + b"\n")
    if not after or LOST in after:
        return None
    match = USUAL.fullmatch(after)
    expected = b"\n1 " + kind.encode() + b" data files selected\n"
    if not match or match[1] != match[2] or not before.endswith(expected) or not ends(os.fsencode(path)):
        return True, None
    pixels = _pixels(out, int(match[1]))
    return pixels is None, pixels


def _run(vex: str, kind: str, path: str, folder: str) -> tuple[bytes, str, str]:
    """What vex says, nothing if it could not do its work, the path that it knows the file by, and its output."""
    day = os.path.join(folder, *DATE.split("-"), *([] if kind == L1C else [kind]))
    link, out = os.path.join(day, "file.bin"), os.path.join(folder, "out")
    os.makedirs(day, exist_ok=True)
    with contextlib.suppress(FileNotFoundError):
        os.unlink(link)
    os.symlink(os.path.realpath(path), link)
    asked = ("-d", folder, "-c", "1") if kind == L1C else ("-d2", folder, "-t2", kind)
    words = [vex, *asked, "-fd", DATE, "-ld", DATE, "-out", out, "-alt", os.path.join(folder, "none"), *ALL_PIXELS]
    done = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True)
    return (b"" if done.returncode or done.stderr else done.stdout), link, out


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
