"""Folders that a process has to itself, and trees of links in them that stand for a part of an archive."""

from __future__ import annotations

import contextlib
import glob
import os
import shutil
import sys
import tempfile
from collections.abc import Iterable, Iterator, Mapping

from ..errors import NO_ROOM, DiskFull
from ..running import files

#: How the names of these folders begin, and the file in them that is locked as long as they are in use.
OWN, LOCK = "vex-batch-tree-", "lock"
#: A file system in memory, on Linux.
MEMORY = "/dev/shm"


def places() -> list[str]:
    """Where trees are made, best first: a disk may take seconds for the folders of a year."""
    return [MEMORY] * os.access(MEMORY, os.W_OK | os.X_OK) + [tempfile.gettempdir()]


@contextlib.contextmanager
def own_folder(place: str) -> Iterator[str]:
    """A new folder, which goes in the end; `sweep` leaves it alone until then, whoever calls it, wherever."""
    held = None
    while held is None:
        folder = tempfile.mkdtemp(prefix=OWN, dir=place)
        held = _lock(folder)
    try:
        yield folder
    finally:
        shutil.rmtree(folder, ignore_errors=True)
        os.close(held)


def _lock(folder: str) -> int | None:
    """The lock of a folder; None when somebody else has it, or has swept the folder just now."""
    path = os.path.join(folder, LOCK)
    with contextlib.suppress(FileNotFoundError):
        held = files.lock(path, patience=0)
        if held is None or os.path.exists(path) and os.path.samestat(os.fstat(held), os.stat(path)):
            return held
        os.close(held)
    return None


def sweep(place: str) -> None:
    """Removes own folders whose makers were killed; all of them stay where the file system has no locks."""
    for folder in glob.iglob(os.path.join(glob.escape(place), OWN + "*")):
        with contextlib.suppress(OSError):  # it has gone
            if os.lstat(folder).st_uid == os.geteuid() and (held := _lock(folder)) is not None:
                if files.is_held(os.path.join(folder, LOCK)):
                    shutil.rmtree(folder, ignore_errors=True)
                os.close(held)


@contextlib.contextmanager
def link_trees(wanted: Mapping[str, tuple[str, Iterable[str]]]) -> Iterator[dict[str, str]]:
    """Makes trees of links, and removes them; by names what stands for each root, of which some parts are wanted.

    Raises
    ------
    DiskFull
        No place has room for them.
    """
    with contextlib.ExitStack() as stack:
        for place in places():
            try:
                folder = stack.enter_context(own_folder(place))
                found = {name: os.path.join(folder, name) for name in wanted}
                for name, (root, parts) in wanted.items():
                    link_tree(root, parts, found[name])
                break
            except OSError as error:
                stack.close()
                if error.errno not in NO_ROOM:
                    raise
                print(f"vex-batch: warning: {place}: no room left for links to input files", file=sys.stderr, flush=True)
        else:
            raise DiskFull(place)
        yield found


def link_tree(root: str, parts: Iterable[str], folder: str) -> None:
    """Makes links to files, or whole folders, of a root below another folder, under the same paths.

    Parameters
    ----------
    parts
        Paths below the root; an empty one stands for the root itself.
    folder
        Is made, and stands for the root.
    """
    target, wanted = os.path.realpath(root), set(parts)
    holders: dict[str, list[str]] = {}
    for part in wanted:
        holders.setdefault(os.path.dirname(part), []).append(part)
    if "" in wanted:
        os.symlink(target, folder)
        return
    os.mkdir(folder)
    for holder in sorted(holders):
        if holder in wanted or any(above in wanted for above in _above(holder)):
            continue  # it is there by a link, and nothing is made behind one
        os.makedirs(os.path.join(folder, holder), exist_ok=True)
        for part in holders[holder]:
            os.symlink(f"{target}/{part}", f"{folder}/{part}")


def _above(part: str) -> Iterator[str]:
    """The folders above a path."""
    while part:
        part = os.path.dirname(part)
        yield part
