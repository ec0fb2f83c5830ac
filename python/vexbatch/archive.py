"""An index of an archive: where the pixels of its files lie, so that a run reads only the files that it needs.

`update` makes and keeps it. It costs a run of vex for each new file; of the others it looks at names, sizes and times.
`narrow` makes trees of links to the files that a run can need; with them in place of its roots the records and headers
are the same bytes. What may be left out stands in `archive_conditions`.

In the index there is a folder for each root, named by a digest of its path; in it one for each product; in that a file
for each folder of the product, by its date. All of it is a copy of what the archive says: what is lost is made anew.
"""

from __future__ import annotations

import contextlib
import ctypes
import errno
import fcntl
import glob
import hashlib
import itertools
import os
import shutil
import signal
import time
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, NamedTuple

import numpy as np

from .archive_conditions import Conditions, Options, conditions, may_hold, narrows
from .archive_extent import CHANGED, SIZE, Extents, join, load, nothing, save
from .archive_survey import L1C, File, survey, version_of
from .archive_tree import Folder, Span, Stamp, link_tree, look, walk

if TYPE_CHECKING:
    from concurrent.futures import Future, ProcessPoolExecutor

#: Endings as vex takes them without -ef and -ef2.
ENDINGS = {"ef": ("l1_bufr", "bin"), "ef2": ("l2_bufr", "bin")}
#: Files that one process looks at before what it found is written.
TASK = 64
#: A file that was changed so short a time ago may change again within one tick of the clock of its times, ns.
FRESH = 20_000_000
#: Errors of file systems without locks.
NO_LOCKS = (errno.ENOSYS, errno.ENOLCK, errno.EOPNOTSUPP)
PR_SET_PDEATHSIG = 1
#: A file system in memory, on Linux.
MEMORY = "/dev/shm"


class Source(NamedTuple):
    """The files of one product under one root.

    Attributes
    ----------
    option : str
        That names the root: d, d2 or myd2.
    root : str
        Its path.
    kind : str
        L1C, or a product of level 2.
    endings, motifs : tuple of str
        Of which one each has to be at the end, and in, the name of a file; without motifs none has to.
    """

    option: str
    root: str
    kind: str
    endings: tuple[str, ...]
    motifs: tuple[str, ...]

    def takes(self, name: str) -> bool:
        """Whether a run reads a file of this name."""
        if not name.endswith(self.endings) or self.motifs and not any(motif in name for motif in self.motifs):
            return False
        return name not in self.endings or any(name.endswith(end) and end != name for end in self.endings)

    def folders(self, span: Span | None) -> Iterator[Folder]:
        """Its folders of the days of a span, or of all days."""
        if self.option == "myd2":
            return look(self.root, self.kind)
        return walk(self.root, "" if self.kind == L1C else self.kind, span)


@dataclass
class Updated:
    """What an update did: files that there are, that were looked at, and that could not be; they stay in all runs."""

    files: int = 0
    seen: int = 0
    left: int = 0


@dataclass
class Selected:
    """What a run reads of a source.

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
        """Counts what there is of another source."""
        for name in ("files", "bytes", "all_files", "all_bytes"):
            setattr(self, name, getattr(self, name) + getattr(other, name))


def sources(options: Options) -> list[Source]:
    """The sources of a run.

    Parameters
    ----------
    options
        What is in force, by names of options, as vex echoes it: of those that add up, such as -t2, all values.
    """
    level1 = "c" in options or _last(options, "avhrr") == "1"
    wanted = [("d", L1C, "ef", "mf")] if level1 else []
    wanted += [(option, kind, "ef2", "mf2") for option in ("d2", "myd2") for kind in sorted(set(options.get("t2", ())))]
    return [Source(option, root, kind, _parts(options, ends) or ENDINGS[ends], _parts(options, motifs))
            for option, kind, ends, motifs in wanted if (root := _last(options, option))]


def _last(options: Options, name: str) -> str:
    """The value of an option of which the last one counts; empty without one."""
    return options[name][-1] if options.get(name) else ""


def _parts(options: Options, name: str) -> tuple[str, ...]:
    """The parts of a list, none when it was not given. An empty part is in every name."""
    return tuple(options[name][-1].split("|")) if options.get(name) else ()


def _place(index: str, source: Source) -> str:
    """Where the extents of a source are kept, up to what tells its folders apart."""
    root = hashlib.sha256(os.fsencode(os.path.realpath(source.root))).hexdigest()[:16]
    return os.path.join(index, root, source.kind, "undated" if source.option == "myd2" else "")


def _file(place: str, parts: str) -> str:
    """Where those of one folder are."""
    return place if place.endswith("undated") else place + "-".join(parts.split("/")[:3])


# Keeping it.


def update(index: str, wanted: Iterable[Source], vex: str, span: Span | None = None, processes: int = 1) -> Updated:
    """Brings an index up to date.

    What was found is written all the time: an update that is killed goes on where it was. Of two at once one waits.

    Parameters
    ----------
    index
        The folder, made when it is not there.
    wanted
        The sources; files that are none of theirs are not looked at.
    span
        Only the days from the first to the last; all without it.
    processes
        How many runs of vex there may be at a time.

    Raises
    ------
    OSError
        vex cannot be started, or the index not be written.
    ValueError
        The program is not vex.
    RuntimeError
        A process was killed.
    """
    from concurrent.futures import as_completed
    version, done = version_of(vex), Updated()
    os.makedirs(index, exist_ok=True)
    with _held(index) as work, _workers(processes) as workers:
        tasks: dict[Future[Extents], tuple[_Keeper, int]] = {}
        for keeper, kind, files in _new(index, wanted, version, span, done):
            for first in range(0, len(files), TASK):
                some = files[first:first + TASK]
                tasks[workers.submit(survey, vex, kind, some, work)] = keeper, len(some)
        for task in as_completed(list(tasks)):
            keeper, count = tasks.pop(task)
            found = keeper.add(task.result())
            done.seen, done.left = done.seen + found, done.left + count - found
    return done


def _new(index: str, wanted: Iterable[Source], version: str, span: Span | None,
         done: Updated) -> Iterator[tuple[_Keeper, str, list[File]]]:
    """The folders, their product, and the files that are to be looked at."""
    for source in wanted:
        place = _place(index, source)
        for folder in source.folders(span):
            if folder.files is not None:  # if it could not be read, what is known of it may be of use again
                keeper = _Keeper(_file(place, folder.parts), version, folder.files)
                yield keeper, source.kind, keeper.begin(source, os.path.join(source.root, folder.parts), done)


@dataclass
class _Keeper:
    """The extents of one folder, as they are kept, and what is in the folder now."""

    path: str
    version: str
    files: Mapping[str, Stamp]

    def begin(self, source: Source, folder: str, done: Updated) -> list[File]:
        """Drops what is gone, or not as it was; gives the files that are to be looked at."""
        stored = load(self.path, self.version)
        same = {name for name, _ in _unchanged(stored, self.files)}
        if len(same) < len(stored.names):
            self._write(nothing())
        late = time.time_ns() - FRESH
        new = [File(os.path.join(folder, name), *stamp) for name, stamp in self.files.items()
               if stamp and name not in same and source.takes(name)]
        settled = [file for file in new if file.changed < late]
        done.files += sum(map(source.takes, self.files))
        done.left += len(new) - len(settled)
        return settled

    def add(self, found: Extents) -> int:
        """Keeps what was found of some files, and gives their number."""
        if found.names:
            self._write(found)
        return len(found.names)

    def _write(self, found: Extents) -> None:
        stored = load(self.path, self.version)
        names = {name for name, _ in _unchanged(stored, self.files)} - set(found.names)
        places = np.array([place for place, name in enumerate(stored.names) if name in names], np.int64)
        save(self.path, join([stored.take(places), found]), self.version)


def _unchanged(stored: Extents, files: Mapping[str, Stamp]) -> list[tuple[str, int]]:
    """The files that are as they were, and their bytes."""
    stamps = zip(stored.files[:, SIZE].tolist(), stored.files[:, CHANGED].tolist())
    return [(name, stamp[0]) for name, stamp in zip(stored.names, stamps) if files.get(name) == stamp]


@contextlib.contextmanager
def _held(index: str) -> Iterator[str]:
    """Waits until nobody else updates the index; gives a folder for what is needed for a moment."""
    work = os.path.join(index, "work")
    descriptor = os.open(os.path.join(index, "lock"), os.O_RDWR | os.O_CREAT | os.O_CLOEXEC, 0o666)
    alone = False
    try:
        if alone := _lock(descriptor):
            _clean(index, work)
        os.makedirs(work, exist_ok=True)
        yield work
    finally:
        if alone:
            shutil.rmtree(work, ignore_errors=True)
        os.close(descriptor)


def _lock(descriptor: int) -> bool:
    """False where the file system has no locks. What two updates write at once is sound there, too."""
    try:
        fcntl.flock(descriptor, fcntl.LOCK_EX)
    except OSError as error:
        if error.errno not in NO_LOCKS:
            raise
        return False
    return True


def _clean(index: str, work: str) -> None:
    """Removes what an update has left that was killed."""
    shutil.rmtree(work, ignore_errors=True)
    for part in glob.iglob(os.path.join(glob.escape(index), "*", "*", "*.part")):
        os.unlink(part)


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
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)
    if os.getppid() != parent:  # it died before that call
        os._exit(1)


# Using it.


def select(index: str, version: str, source: Source, asked: Conditions, span: Span) -> Selected:
    """What a run has to read of a source.

    Parameters
    ----------
    version
        The first line of the vex that will run: what another one found does not count.
    span
        Its days, ignored for folders without dates.
    """
    found, place = Selected(), _place(index, source)
    least: list[tuple[int, str]] = []
    for folder in source.folders(span):
        if folder.files is None:
            found.parts.append(folder.parts)
            continue
        left = _not_needed(source, load(_file(place, folder.parts), version), folder.files, asked)
        for name in folder.files.keys() - left.keys():
            if source.takes(name):
                found.take(f"{folder.parts}/{name}", (folder.files[name] or (0, 0))[0])
        found.all_files, found.all_bytes = found.all_files + len(left), found.all_bytes + sum(left.values())
        if left and not found.files:
            least.append(min((size, f"{folder.parts}/{name}") for name, size in left.items()))
    found.all_files, found.all_bytes = found.all_files + found.files, found.all_bytes + found.bytes
    if least and not found.files:
        size, part = min(least)
        found.take(part, size)
    return found


def _not_needed(source: Source, extents: Extents, files: Mapping[str, Stamp], asked: Conditions) -> dict[str, int]:
    """Files without a pixel that meets the conditions, and their bytes.

    Names with a | stay in: it stands between the motifs of -mf as they are echoed, so that these cannot be told then.
    """
    may = set(itertools.compress(extents.names, may_hold(asked, extents)))
    return {name: size for name, size in _unchanged(extents, files)
            if name not in may and source.takes(name) and "|" not in name}


def place_of_links() -> str | None:
    """Where trees of links are best made: in memory. A disk may take seconds for the folders of a year.

    None, as for tempfile, stands for the usual place of temporary files.
    """
    return MEMORY if os.access(MEMORY, os.W_OK | os.X_OK) else None


def narrow(index: str, version: str, options: Options, span: Span, folder: str) -> tuple[dict[str, str], Selected]:
    """Makes trees of links to what a run has to read.

    Nothing of the archive is changed by it. vex does not write to a file that is among its inputs, but knows of those
    that are handed over only: that the output is none of the others is up to the caller.

    Parameters
    ----------
    version
        The first line of the vex that will run.
    options
        What is in force, by names of options, as vex echoes it.
    span
        The days of the run.
    folder
        Where the trees are made, best in `place_of_links`; the caller removes it after the run.

    Returns
    -------
    tuple
        Roots by their options (d, d2, myd2), to be used in place of the run's own, none when it has no conditions that
        leave out files; and what is read of all sources.
    """
    roots: dict[str, str] = {}
    total = Selected()
    trees: dict[str, tuple[str, list[str]]] = {}
    if not narrows(options):
        return roots, total
    asked = conditions(options)
    for source in sources(options):
        found = select(index, version, source, asked, span)
        total.add(found)
        trees.setdefault(source.option, (source.root, []))[1].extend(found.parts)
    for option, (root, parts) in trees.items():
        roots[option] = os.path.join(os.path.abspath(folder), option)
        link_tree(root, parts, roots[option])
    return roots, total
