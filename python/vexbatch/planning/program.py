"""Which vex it is: the first line that it prints is the same for all builds."""

from __future__ import annotations

import functools
import hashlib
import os


def digest(path: str) -> str:
    """The SHA-256 of the file of a program, in hexadecimal digits.

    Of a script that starts vex, as in a container, it is that of the script.

    Raises
    ------
    OSError
        It cannot be read.
    """
    status = os.stat(path)
    return _digest(path, (status.st_dev, status.st_ino, status.st_size, status.st_mtime_ns, status.st_ctime_ns))


@functools.lru_cache(8)
def _digest(path: str, _: tuple[int, ...]) -> str:
    """It is read once as long as it stays the same file."""
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()
