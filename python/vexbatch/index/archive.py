"""An index of an archive: where the pixels of its files lie, so that a run reads only the files that it needs.

`update` makes and keeps it. It costs a run of vex for each new file; of the others it compares names, sizes and times
with what a listing of the archive says. Who has listed it already can look for news in that listing first, with `News`.
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
import os
import shutil
import signal
import time
from collections.abc import Callable, Iterable, Iterator, Mapping
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, NamedTuple

import numpy as np

from .conditions import Conditions, Options, conditions, may_hold, narrows
from .extent import CHANGED, SIZE, Extents, join, load, nothing, save
from .survey import L1C, File, survey, version_of
from .tree import Folder, Span, Stamp, chosen, link_tree, look, walk

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

    def those(self, names: list[str]) -> list[str]:
        """Those of some names whose files a run reads."""
        return chosen(names, self.endings, self.motifs)

    def folders(self, span: Span | None) -> Iterator[Folder]:
        """Its folders of the days of a span, or of all days."""
        if self.option == "myd2":
            return look(self.root, self.kind, self.those)
        return walk(self.root, "" if self.kind == L1C else self.kind, self.those, span)


#: Gives the folders of a source, with those of their files that a run reads.
Listing = Callable[[Source], Iterable[Folder]]


def listing(span: Span | None = None) -> Listing:
    """What is on the disk when it is asked for: of the days of a span, or of all days."""
    return lambda source: source.folders(span)


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


class News:
    """Finds the folders that an update has to look at, in listings that are made anyway.

    Most often there are none; then nothing more needs to be done, and nothing is written.

    Attributes
    ----------
    files : int
        In all folders of these listings.
    """

    def __init__(self, index: str, wanted: Iterable[Source], version: str) -> None:
        self._places = {source: _place(index, source) for source in wanted}
        self._folders: dict[Source, list[Folder]] = {source: [] for source in self._places}
        self._seen: set[tuple[Source, str]] = set()
        self._index, self._version, self.files = index, version, 0

    def see(self, listed: Listing) -> None:
        """Looks at a listing, but not at folders that were in an earlier one."""
        for source, place in self._places.items():
            for folder in listed(source):
                if folder.files is None or (source, folder.parts) in self._seen:
                    continue
                self._seen.add((source, folder.parts))
                self.files += len(folder.files)
                stored = load(_file(place, folder.parts), self._version)
                if not folder.files.items() <= _stamps(stored).items():
                    self._folders[source].append(folder)

    def update(self, vex: str, processes: int) -> Updated:
        """Updates the index by the folders that have news; raises what `update` does."""
        if not any(self._folders.values()):
            return Updated()
        return update(self._index, self._folders, vex, lambda source: self._folders[source], processes)


def update(index: str, wanted: Iterable[Source], vex: str, listed: Listing, processes: int = 1) -> Updated:
    """Brings an index up to date.

    What was found is written all the time: an update that is killed goes on where it was. Of two at once one waits.

    Parameters
    ----------
    index
        The folder, made when it is not there.
    wanted
        The sources; files that are none of theirs are not looked at.
    listed
        What there is.
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
        for keeper, kind, files in _new(index, wanted, version, listed, done):
            for first in range(0, len(files), TASK):
                some = files[first:first + TASK]
                tasks[workers.submit(survey, vex, kind, some, work)] = keeper, len(some)
        for task in as_completed(list(tasks)):
            keeper, count = tasks.pop(task)
            found = keeper.add(task.result())
            done.seen, done.left = done.seen + found, done.left + count - found
    return done


def _new(index: str, wanted: Iterable[Source], version: str, listed: Listing,
         done: Updated) -> Iterator[tuple[_Keeper, str, list[File]]]:
    """The folders, their product, and the files that are to be looked at."""
    for source in wanted:
        place = _place(index, source)
        for folder in listed(source):
            if folder.files is not None:  # if it could not be read, what is known of it may be of use again
                keeper = _Keeper(_file(place, folder.parts), version, source, folder.files)
                yield keeper, source.kind, keeper.begin(os.path.join(source.root, folder.parts), done)


@dataclass
class _Keeper:
    """The extents of one folder, as they are kept, and what is in the folder now."""

    path: str
    version: str
    source: Source
    files: Mapping[str, Stamp]

    def begin(self, folder: str, done: Updated) -> list[File]:
        """Drops what is gone, or not as it was; gives the files that are to be looked at."""
        stored = load(self.path, self.version)
        same = _stamps(stored)
        done.files += len(self.files)
        if self.files == same:
            return []
        if len(self._sound(stored)) < len(stored.names):
            self._write(nothing())
        late = time.time_ns() - FRESH
        paths = [(os.path.join(folder, name), stamp) for name, stamp in self.files.items()
                 if stamp and stamp != same.get(name)]
        new = [File(path, *stamp) for path, stamp in paths if os.path.isfile(path)]
        settled = [file for file in new if file.changed < late]
        done.left += len(new) - len(settled)
        return settled

    def add(self, found: Extents) -> int:
        """Keeps what was found of some files, and gives their number."""
        if found.names:
            self._write(found)
        return len(found.names)

    def _write(self, found: Extents) -> None:
        stored = load(self.path, self.version)
        names = self._sound(stored) - set(found.names)
        places = np.array([place for place, name in enumerate(stored.names) if name in names], np.int64)
        save(self.path, join([stored.take(places), found]), self.version)

    def _sound(self, stored: Extents) -> set[str]:
        """Files that are as they were, and those that other runs read, which are not in this listing."""
        own = set(self.source.those(stored.names))
        return {name for name, stamp in _stamps(stored).items() if name not in own or self.files.get(name) == stamp}


def _stamps(stored: Extents) -> dict[str, Stamp]:
    """The files as they were."""
    return dict(zip(stored.names, zip(stored.files[:, SIZE].tolist(), stored.files[:, CHANGED].tolist())))


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


def select(index: str, version: str, source: Source, asked: Conditions, folders: Iterable[Folder]) -> Selected:
    """What a run has to read of a source.

    Parameters
    ----------
    version
        The first line of the vex that will run: what another one found does not count.
    folders
        What there is of it.
    """
    found, place = Selected(), _place(index, source)
    least: list[tuple[int, str]] = []
    for folder in folders:
        if folder.files is None:
            found.parts.append(folder.parts)
            continue
        left = _not_needed(load(_file(place, folder.parts), version), folder.files, asked)
        for name in folder.files.keys() - left.keys():
            found.take(f"{folder.parts}/{name}", (folder.files[name] or (0, 0))[0])
        found.all_files, found.all_bytes = found.all_files + len(left), found.all_bytes + sum(left.values())
        if left and not found.files:
            least.append(min((size, f"{folder.parts}/{name}") for name, size in left.items()))
    found.all_files, found.all_bytes = found.all_files + found.files, found.all_bytes + found.bytes
    if least and not found.files:
        size, part = min(least)
        found.take(part, size)
    return found


def _not_needed(extents: Extents, files: Mapping[str, Stamp], asked: Conditions) -> dict[str, int]:
    """Files without a pixel that meets the conditions, and their bytes.

    Names with a | stay in: it stands between the motifs of -mf as they are echoed, so that these cannot be told then.
    """
    sizes, changed = extents.files[:, SIZE].tolist(), extents.files[:, CHANGED].tolist()
    columns = zip(extents.names, zip(sizes, changed), may_hold(asked, extents).tolist())
    return {name: stamp[0] for name, stamp, may in columns if not may and files.get(name) == stamp and "|" not in name}


def place_of_links() -> str | None:
    """Where trees of links are best made: in memory. A disk may take seconds for the folders of a year.

    None, as for tempfile, stands for the usual place of temporary files.
    """
    return MEMORY if os.access(MEMORY, os.W_OK | os.X_OK) else None


def narrow(index: str, version: str, options: Options, listed: Listing,
           folder: str) -> tuple[dict[str, str], Selected]:
    """Makes trees of links to what a run has to read.

    Nothing of the archive is changed by it. vex does not write to a file that is among its inputs, but knows of those
    that are handed over only: that the output is none of the others is up to the caller.

    Parameters
    ----------
    version
        The first line of the vex that will run.
    options
        What is in force, by names of options, as vex echoes it.
    listed
        What there is of the days of the run. A file that has changed since then may be left out by what it was.
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
        found = select(index, version, source, asked, listed(source))
        total.add(found)
        trees.setdefault(source.option, (source.root, []))[1].extend(found.parts)
    for option, (root, parts) in trees.items():
        roots[option] = os.path.join(os.path.abspath(folder), option)
        link_tree(root, parts, roots[option])
    return roots, total
