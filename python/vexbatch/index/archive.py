"""An index of an archive: where the pixels of its files lie, so that a run reads only the files that it needs.

`News` makes and keeps it. It costs a run of vex for each new file; of the others it compares names, sizes and times with
what a listing of the archive says. `narrow` makes trees of links to the files that a run can need; with them in place of
its roots the records and headers are the same bytes. What may be left out stands in `conditions`.

In the index there is a folder for each root, named by a digest of its path; in it one for each product; in that a file
for each folder of the product, by its date, with a checksum. All of it is a copy of what the archive says: what is lost,
damaged, or was found by another program, is made anew. It is no database: file systems of clusters have renames that are
whole, and not always the locks that a database in one file relies on.
"""

from __future__ import annotations

import contextlib
import glob
import hashlib
import math
import os
import signal
import time
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass, field
from typing import TYPE_CHECKING

import numpy as np

from ..planning.listing import Folder, Inputs, Product, Stamp
from ..planning.program import digest
from ..running import files
from ..running.process import die_with
from .conditions import Conditions, Options, conditions, may_hold, narrows
from .extent import Extents, join, load, nothing, save
from .survey import File, survey
from .tree import link_trees, own_folder, sweep

if TYPE_CHECKING:
    from concurrent.futures import Future, ProcessPoolExecutor

#: Files that one process looks at before what it found is written.
TASK = 64
#: A file that was changed so short a time ago may change again within one tick of the clock of its times, ns.
FRESH = 20_000_000


@dataclass
class Updated:
    """What an update did: files that were looked at, and that could not be; they stay in all runs."""

    seen: int = 0
    left: int = 0


@dataclass
class Selected:
    """What a run reads of a product.

    Attributes
    ----------
    parts : list of str
        Files, and folders that could not be read, by their paths below the root.
    files, bytes : int
        Of the files.
    all_files, all_bytes : int
        Of all that a run without the index would read.
    """

    parts: list[str] = field(default_factory=list)
    files: int = 0
    bytes: int = 0
    all_files: int = 0
    all_bytes: int = 0

    def take(self, part: str, size: int) -> None:
        """Takes a file."""
        self.parts.append(part)
        self.files, self.bytes = self.files + 1, self.bytes + size

    def add(self, other: Selected) -> None:
        """Counts what there is of another product."""
        for name in ("files", "bytes", "all_files", "all_bytes"):
            setattr(self, name, getattr(self, name) + getattr(other, name))


def _place(index: str, product: Product) -> str:
    """Where the extents of a product are kept, up to what tells its folders apart."""
    root = hashlib.sha256(os.fsencode(os.path.realpath(product.root))).hexdigest()[:16]
    return os.path.join(index, root, product.kind, "undated" if product.option == "myd2" else "")


def _file(place: str, parts: str) -> str:
    """Where those of one folder are."""
    return place if place.endswith("undated") else place + "-".join(parts.split("/")[:3])


# Keeping it.


class News:
    """Finds the folders that an update has to look at, in listings that are made anyway.

    Most often there are none; then nothing more needs to be done, and nothing is written.

    Parameters
    ----------
    index
        The folder of the index.
    vex
        The program that will run: what another one found does not count.

    Attributes
    ----------
    files : int
        In all folders of these listings.
    """

    def __init__(self, index: str, vex: str) -> None:
        self._index, self._vex, self._program, self.files = index, vex, digest(vex), 0
        self._folders: dict[Product, list[Folder]] = {}
        self._seen: set[tuple[Product, str]] = set()

    def see(self, inputs: Inputs) -> None:
        """Looks at a listing, but not at folders that were in an earlier one."""
        for product in inputs.listed:
            place = _place(self._index, product)
            for folder in inputs.folders(product):
                if folder.files is None or (product, folder.parts) in self._seen:
                    continue  # if it could not be read, what is known of it may be of use again
                self._seen.add((product, folder.parts))
                self.files += len(folder.files)
                if not folder.files.items() <= load(_file(place, folder.parts), self._program).stamps().items():
                    self._folders.setdefault(product, []).append(folder)

    def update(self, processes: int) -> Updated:
        """Brings the index up to date where there are news.

        What was found is written all the time: an update that is killed goes on where it was. Of two at once one waits.

        Parameters
        ----------
        processes
            How many runs of vex there may be at a time.

        Raises
        ------
        OSError
            vex cannot be started, or the index not be written.
        RuntimeError
            A process was killed.
        """
        from concurrent.futures import as_completed
        done = Updated()
        if not self._folders:
            return done
        os.makedirs(self._index, exist_ok=True)
        with _held(self._index) as work, _workers(processes) as workers:
            tasks: dict[Future[Extents], tuple[_Keeper, int]] = {}
            for keeper, folder in self._keepers():
                new = keeper.begin(folder, done)
                for first in range(0, len(new), TASK):
                    some = new[first:first + TASK]
                    tasks[workers.submit(survey, self._vex, keeper.product.kind, some, work)] = keeper, len(some)
            for task in as_completed(list(tasks)):
                keeper, count = tasks.pop(task)
                found = keeper.add(task.result())
                done.seen, done.left = done.seen + found, done.left + count - found
        return done

    def _keepers(self) -> Iterator[tuple[_Keeper, str]]:
        for product, folders in self._folders.items():
            place = _place(self._index, product)
            for parts, listed in folders:
                keeper = _Keeper(_file(place, parts), self._program, product, listed or {})
                yield keeper, os.path.join(product.root, parts)


@dataclass
class _Keeper:
    """The extents of one folder, as they are kept, and what is in the folder now."""

    path: str
    program: str
    product: Product
    files: Mapping[str, Stamp]

    def begin(self, folder: str, done: Updated) -> list[File]:
        """Drops what is gone, or not as it was; gives the files that are to be looked at."""
        stored = load(self.path, self.program)
        same, late = stored.stamps(), time.time_ns() - FRESH
        if len(self._sound(stored)) < len(stored.names):
            self._write(nothing())
        new = [File(path, stamp) for name, stamp in self.files.items()
               if stamp != same.get(name) and os.path.isfile(path := os.path.join(folder, name))]
        settled = [file for file in new if max(file.stamp[1:]) < late]
        done.left += len(new) - len(settled)
        return settled

    def add(self, found: Extents) -> int:
        """Keeps what was found of some files, and gives their number."""
        if found.names:
            self._write(found)
        return len(found.names)

    def _write(self, found: Extents) -> None:
        stored = load(self.path, self.program)
        names = self._sound(stored) - set(found.names)
        places = np.array([place for place, name in enumerate(stored.names) if name in names], np.int64)
        save(self.path, join([stored.take(places), found]), self.program)

    def _sound(self, stored: Extents) -> set[str]:
        """Files that are as they were, and those that other runs read, which are not in this listing."""
        own = set(self.product.those(stored.names))
        return {name for name, stamp in stored.stamps().items() if name not in own or self.files.get(name) == stamp}


@contextlib.contextmanager
def _held(index: str) -> Iterator[str]:
    """Waits until nobody else updates the index; gives a folder for what is needed for a moment.

    What two updates write at once is sound, too, as where the file system has no locks.
    """
    lock = os.path.join(index, "lock")
    held = files.lock(lock, patience=math.inf)
    assert held is not None
    try:
        if files.is_held(lock):  # an update that was killed may have left these
            files.remove(glob.iglob(os.path.join(glob.escape(index), "*", "*", "*.part")))
        sweep(index)
        with own_folder(index) as work:
            yield work
    finally:
        os.close(held)


@contextlib.contextmanager
def _workers(processes: int) -> Iterator[ProcessPoolExecutor]:
    """Processes that do not outlive this one; they begin with the first task."""
    from concurrent.futures import ProcessPoolExecutor
    workers = ProcessPoolExecutor(processes, initializer=_begin_worker, initargs=(os.getpid(),))
    try:
        yield workers
    finally:
        workers.shutdown(cancel_futures=True)


def _begin_worker(parent: int) -> None:
    """Ends with its parent, and leaves Ctrl-C to it."""
    signal.signal(signal.SIGINT, signal.SIG_IGN)
    die_with(parent)


# Using it.


def select(index: str, program: str, product: Product, asked: Conditions, folders: Iterable[Folder]) -> Selected:
    """What a run has to read of a product.

    Parameters
    ----------
    program
        The digest of the vex that will run.
    folders
        What there is of it.
    """
    found, place = Selected(), _place(index, product)
    least: list[tuple[int, str]] = []
    for folder in folders:
        if folder.files is None:
            found.parts.append(folder.parts)
            continue
        left = _not_needed(load(_file(place, folder.parts), program), folder.files, asked)
        for name in folder.files.keys() - left.keys():
            found.take(f"{folder.parts}/{name}", max(0, folder.files[name][0]))
        found.all_files, found.all_bytes = found.all_files + len(left), found.all_bytes + sum(left.values())
        if left and not found.files:
            least.append(min((size, f"{folder.parts}/{name}") for name, size in left.items()))
    found.all_files, found.all_bytes = found.all_files + found.files, found.all_bytes + found.bytes
    if least and not found.files:
        size, part = min(least)
        found.take(part, size)
    return found


def _not_needed(extents: Extents, listed: Mapping[str, Stamp], asked: Conditions) -> dict[str, int]:
    """Files without a pixel that meets the conditions, and their bytes."""
    columns = zip(extents.stamps().items(), may_hold(asked, extents).tolist())
    return {name: stamp[0] for (name, stamp), may in columns if not may and listed.get(name) == stamp}


@contextlib.contextmanager
def narrow(index: str, vex: str, options: Options, inputs: Inputs) -> Iterator[tuple[dict[str, str], Selected]]:
    """Makes trees of links to what a run has to read, which are there as long as the context.

    Nothing of the archive is changed by it. vex does not write to a file that is among its inputs, but knows of those
    that are handed over only: that the output is none of the others is up to the caller.

    Parameters
    ----------
    vex
        The program that will run.
    options
        What is in force, by names of options, as vex echoes it.
    inputs
        What there is of the days of the run. A file that has changed since then may be left out by what it was.

    Returns
    -------
    tuple
        Roots by their options (d, d2, myd2), to be used in place of the run's own, none when it has no conditions that
        leave out files; and what is read of all products.

    Raises
    ------
    DiskFull
        There is no room for the trees.
    """
    total = Selected()
    if not narrows(options):
        yield {}, total
        return
    trees: dict[str, tuple[str, list[str]]] = {}
    asked, program = conditions(options), digest(vex)
    for product in inputs.listed:
        found = select(index, program, product, asked, inputs.folders(product))
        total.add(found)
        trees.setdefault(product.option, (product.root, []))[1].extend(found.parts)
    with link_trees(trees) as roots:
        yield roots, total
