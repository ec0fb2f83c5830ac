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
    """Checks whether a file or folder may be written.

    Raises
    ------
    FileExistsError
        It exists, and is not to be replaced.
    FileNotFoundError
        The folder that it is to be in does not exist.
    ValueError
        It is one of the inputs or holds one, or is neither a file nor, for a name in .zarr, a folder of zarr.
    """
    folder = os.path.dirname(out) or os.curdir
    if not os.path.isdir(folder):
        raise FileNotFoundError(errno.ENOENT, "no such folder", folder)
    if not os.path.lexists(out):
        return
    place = os.path.realpath(out)
    for path in filter(os.path.exists, inputs):
        if os.path.exists(out) and os.path.samefile(path, out) or os.path.realpath(path).startswith(place + os.sep):
            raise ValueError(f"{out}: is also an input")
    if not force:
        raise FileExistsError(errno.EEXIST, "exists already; --force replaces it", out)
    if not (os.path.exists(os.path.join(out, ".zgroup")) if _is_folder(out) else os.path.isfile(out)):
        raise ValueError(f"{out}: is a folder" if os.path.isdir(out) else f"{out}: is not a file that can be replaced")


def _is_folder(out: str) -> bool:
    """Whether a folder is what is written."""
    return out.endswith(".zarr")


def _new(out: str) -> str:
    """An empty file or folder beside `out` under a name that did not exist."""
    while True:
        path = f"{out}.{os.urandom(4).hex()}.part"
        with contextlib.suppress(FileExistsError):
            if _is_folder(out):
                os.mkdir(path)
            else:
                os.close(os.open(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o666))
            return path


def remove(path: str) -> None:
    """Removes a file, or a folder with all that is in it, if it exists."""
    if os.path.isdir(path) and not os.path.islink(path):
        shutil.rmtree(path)
    elif os.path.lexists(path):
        os.remove(path)


def _rename(part: str, out: str) -> None:
    """Gives what is finished its name. A folder cannot replace another one in one step: the old one moves aside."""
    if not os.path.isdir(out):
        os.replace(part, out)
        return
    old = _new(out)
    os.replace(out, old)
    os.replace(part, out)
    remove(old)


@contextlib.contextmanager
def replacing(out: str, force: bool, inputs: Iterable[str] = ()) -> Iterator[str]:
    """Gives the path to write to, an empty file or, for a name in .zarr, folder; in the end what is there becomes `out`,
    or is removed when anything was raised.

    See `refuse` for what is not replaced.
    """
    out = out.rstrip(os.sep) or out
    inputs = list(inputs)
    refuse(out, force, inputs)
    part = ""
    try:
        part = _new(out)
        yield part
        refuse(out, force, inputs)  # it may have come to exist
        _rename(part, out)
    except BaseException as error:
        remove(part)
        if isinstance(error, OSError) and (
                error.filename in (part, os.fsencode(part)) or error.errno in FULL and not error.filename):
            error.filename = out
        raise
