"""Files that appear under their name when they are whole."""

from __future__ import annotations

import contextlib
import errno
import os
import shutil
from collections.abc import Iterable, Iterator

#: Errors of what is written, not of what is read.
FULL = (errno.ENOSPC, errno.EDQUOT, errno.EFBIG)


def refuse(out: str, force: bool, inputs: Iterable[str] = ()) -> None:
    """Looks whether a file or folder may be written.

    Raises
    ------
    FileExistsError
        It is there, and not to be replaced.
    FileNotFoundError
        The folder that it is to be in is not there.
    ValueError
        It is one of the inputs, or a folder that is not of zarr.
    """
    folder = os.path.dirname(out) or os.curdir
    if not os.path.isdir(folder):
        raise FileNotFoundError(errno.ENOENT, "no such folder", folder)
    if not os.path.lexists(out):
        return
    if any(os.path.exists(path) and os.path.samefile(path, out) for path in inputs if os.path.exists(out)):
        raise ValueError(f"{out}: is also an input")
    if not force:
        raise FileExistsError(errno.EEXIST, "exists already; --force replaces it", out)
    if os.path.isdir(out) and not os.path.exists(os.path.join(out, ".zgroup")):
        raise ValueError(f"{out}: is a folder")


def remove(path: str) -> None:
    """Removes a file, or a folder with all that is in it, if it is there."""
    if os.path.isdir(path) and not os.path.islink(path):
        shutil.rmtree(path)
    elif os.path.lexists(path):
        os.remove(path)


@contextlib.contextmanager
def replacing(out: str, force: bool, inputs: Iterable[str] = ()) -> Iterator[str]:
    """Gives the path to write to; in the end what is there becomes `out`, or goes when anything was raised.

    See `refuse` for what is not replaced.
    """
    out = out.rstrip(os.sep) if len(out) > 1 else out
    refuse(out, force, inputs)
    part = out + ".part"
    remove(part)
    try:
        yield part
        if os.path.isdir(out):
            shutil.rmtree(out)
        os.replace(part, out)
    except BaseException as error:
        remove(part)
        if isinstance(error, OSError) and (
                error.filename in (part, os.fsencode(part)) or error.errno in FULL and not error.filename):
            error.filename = out
        raise
