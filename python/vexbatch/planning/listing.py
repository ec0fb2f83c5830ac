"""The input files of a span, listed by the rules of vex."""

from __future__ import annotations

import os
from collections.abc import Iterator, Mapping
from dataclasses import dataclass, field
from typing import NamedTuple

from .settings import Settings

#: Digits in the names of the folders of years, months and days.
DIGITS = (4, 2, 2)
#: Where vex sees nothing; any other error is a folder that could not be read.
NONE = (FileNotFoundError, NotADirectoryError)
#: The product of level 1.
L1C = "L1C"


#: What tells a file from what it was: bytes, times of change of its content and of its status, ns; -1 if it is gone.
Stamp = tuple[int, int, int]
GONE: Stamp = (-1, -1, -1)


class InputFile(NamedTuple):
    """A file that a run reads: its product, or "grid", and its stamp."""

    kind: str
    path: str
    size: int
    time: int
    status: int

    @property
    def stamp(self) -> Stamp:
        """What tells whether it has changed."""
        return self[2:]


class Product(NamedTuple):
    """A product under a root.

    Attributes
    ----------
    option : str
        That names the root: d, d2 or myd2.
    kind : str
        L1C, or a product of level 2.
    root : str
        Its path.
    endings, motifs : tuple of str
        Of which one each has to be at the end, and in, the name of a file; without motifs none has to.
    """

    option: str
    kind: str
    root: str
    endings: tuple[str, ...]
    motifs: tuple[str, ...]

    def those(self, names: list[str]) -> list[str]:
        """Those of some names whose files a run reads; an ending has to be behind something else."""
        found = [name for name in names if name.endswith(self.endings)]
        if self.motifs:
            found = [name for name in found if any(motif in name for motif in self.motifs)]
        if not set(self.endings).isdisjoint(found):
            found = [name for name in found if any(name.endswith(end) and end != name for end in self.endings)]
        return found


class Folder(NamedTuple):
    """A folder of a product: its path below the root, and the files by name; None when it could not be read."""

    parts: str
    files: Mapping[str, Stamp] | None


@dataclass
class Inputs:
    """What there is for a span, folder by folder, and the folders that could not be listed.

    Attributes
    ----------
    listed : dict
        By product its folders: how the paths of their files begin, and which of all files these are.
    """

    files: list[InputFile] = field(default_factory=list)
    grid: list[InputFile] = field(default_factory=list)
    unreadable: list[str] = field(default_factory=list)
    listed: dict[Product, list[tuple[str, slice | None]]] = field(default_factory=dict)

    @property
    def none(self) -> bool:
        """Whether a run would read nothing, and would not complain either."""
        return not self.files and not self.unreadable

    @property
    def size(self) -> int:
        """Bytes."""
        return sum(max(0, file.size) for file in self.files)

    def all(self) -> list[InputFile]:
        """The grid with the others."""
        return self.files + self.grid

    def folders(self, product: Product) -> Iterator[Folder]:
        """The folders of a product, and those above them that could not be read."""
        for begin, files in self.listed[product]:
            parts = begin[len(join(product.root, "")):].rstrip("/")
            yield Folder(parts, None if files is None else {one[1][len(begin):]: one[2:] for one in self.files[files]})


def join(folder: str, name: str) -> str:
    """A path as vex makes it."""
    return f"{folder}{'' if not folder or folder.endswith('/') else '/'}{name}"


def products(settings: Settings) -> Iterator[Product]:
    """The products of a run."""
    kinds = [("d", L1C, "ef", "mf")] if settings.l1c else []
    kinds += [(option, kind, "ef2", "mf2") for option in ("d2", "myd2") for kind in settings.l2_kinds]
    for option, kind, endings, motifs in kinds:
        root = settings.value(option)
        if root is not None:
            yield Product(option, kind, root, tuple(settings.endings(endings)), tuple(settings.motifs(motifs)))


class Archive:
    """Lists folders; those of years and months once."""

    def __init__(self, settings: Settings) -> None:
        self._settings = settings
        self._names: dict[str, list[str]] = {}

    def inputs(self, first: str, last: str) -> Inputs:
        """The files of the days from `first` to `last`, YYYY-MM-DD."""
        found = Inputs()
        span = tuple(map(int, first.split("-"))), tuple(map(int, last.split("-")))
        for product in products(self._settings):
            before, found.listed[product] = len(found.unreadable), []
            days = [product.root] if product.option == "myd2" else self._days(product.root, 0, span, (True, True), found)
            for day in days:
                _take(found, product, day if product.option == "d" else join(day, product.kind))
            found.listed[product] += [(folder, None) for folder in found.unreadable[before:]]
        if grid := self._settings.value("alt"):
            found.grid.append(_look("grid", grid))
        return found

    def _days(self, folder: str, level: int, span: tuple[tuple[int, ...], ...], on: tuple[bool, bool],
              found: Inputs) -> Iterator[str]:
        """The folders of days. `on` tells whether the levels above are those of the first and of the last day."""
        if level == len(DIGITS):
            yield folder
            return
        for name in self._listed(folder, found):
            if len(name) != DIGITS[level] or not (name.isascii() and name.isdigit()):
                continue
            number, first, last = int(name), span[0][level], span[1][level]
            if not (on[0] and number < first or on[1] and number > last):
                below = on[0] and number == first, on[1] and number == last
                yield from self._days(join(folder, name), level + 1, span, below, found)

    def _listed(self, folder: str, found: Inputs) -> list[str]:
        if folder not in self._names:
            before = len(found.unreadable)
            names = sorted(_list(folder, found), key=os.fsencode)
            if len(found.unreadable) > before:
                return names  # other pieces are to be told, too
            self._names[folder] = names
        return self._names[folder]


def _take(found: Inputs, product: Product, folder: str) -> None:
    """Looks at the files of a folder."""
    begin, first = join(folder, ""), len(found.files)
    try:
        opened = os.open(folder, os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
    except NONE:
        return
    except OSError:
        found.unreadable.append(folder)
        return
    try:
        names = sorted(product.those(os.listdir(opened)), key=os.fsencode)
        found.files += [_look(product.kind, begin + name, name, opened) for name in names]
    except OSError:
        found.unreadable.append(folder)
        return
    finally:
        os.close(opened)
    found.listed[product].append((begin, slice(first, len(found.files))))


def _list(folder: str, found: Inputs) -> list[str]:
    """The names in a folder; one that is not there has none, and neither has what is no folder."""
    try:
        return os.listdir(folder)
    except NONE:
        return []
    except OSError:
        found.unreadable.append(folder)
        return []


def stamp_of(status: os.stat_result) -> Stamp:
    """The stamp of a file."""
    return status.st_size, status.st_mtime_ns, status.st_ctime_ns


def _look(kind: str, path: str, name: str | None = None, folder: int | None = None) -> InputFile:
    """A file; that it is looked at from its open folder is faster than by its path."""
    try:
        status = os.stat(path if name is None else name, dir_fd=folder)
    except OSError:
        return InputFile(kind, path, *GONE)
    return InputFile(kind, path, *stamp_of(status))
