"""The input files of a span, listed by the rules of vex."""

from __future__ import annotations

import os
from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import NamedTuple

from ..index.tree import Folder, chosen
from .settings import Settings

#: Digits in the names of the folders of years, months and days.
DIGITS = (4, 2, 2)
#: Where vex sees nothing; any other error is a folder that could not be read.
NONE = (FileNotFoundError, NotADirectoryError)


class InputFile(NamedTuple):
    """A file that a run reads: its product, or "grid"; bytes, times of change of its content and of its status, ns; -1
    if it is gone.
    """

    kind: str
    path: str
    size: int
    time: int
    status: int

    @property
    def stamp(self) -> tuple[int, ...]:
        """What tells whether it has changed."""
        return self[2:]


class _Product(NamedTuple):
    """A product under a root: the option and path of this one, its folder in those of days, and what names have."""

    option: str
    kind: str
    root: str
    folder: str
    endings: tuple[str, ...]
    motifs: list[str]

    def those(self, names: list[str]) -> list[str]:
        """Those of some names whose files a run reads."""
        return chosen(names, self.endings, self.motifs)


class Listed(NamedTuple):
    """A folder: how the paths of its files begin, and which of all files these are; None when it could not be read."""

    option: str
    kind: str
    root: str
    begin: str
    files: slice | None


@dataclass
class Inputs:
    """What there is for a span, folder by folder, and the folders that could not be listed."""

    files: list[InputFile] = field(default_factory=list)
    grid: list[InputFile] = field(default_factory=list)
    unreadable: list[str] = field(default_factory=list)
    listed: list[Listed] = field(default_factory=list)

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

    def folders(self, option: str, kind: str) -> Iterator[Folder]:
        """The folders of a product under the root of an option."""
        for one in self.listed:
            if (one.option, one.kind) == (option, kind):
                parts = one.begin[len(join(one.root, "")):].rstrip("/")
                yield Folder(parts, None if one.files is None else self._stamps(one.files, len(one.begin)))

    def _stamps(self, files: slice, begin: int) -> dict[str, tuple[int, int] | None]:
        return {path[begin:]: (size, time) if size >= 0 else None for _, path, size, time, _ in self.files[files]}


def join(folder: str, name: str) -> str:
    """A path as vex makes it."""
    return f"{folder}{'' if not folder or folder.endswith('/') else '/'}{name}"


class Archive:
    """Lists folders; those of years and months once."""

    def __init__(self, settings: Settings) -> None:
        self._settings = settings
        self._names: dict[str, list[str]] = {}

    def inputs(self, first: str, last: str) -> Inputs:
        """The files of the days from `first` to `last`, YYYY-MM-DD."""
        found = Inputs()
        span = tuple(map(int, first.split("-"))), tuple(map(int, last.split("-")))
        for product in self._products():
            before = len(found.unreadable)
            if product.option == "myd2":
                _take(found, product, join(product.root, product.kind))
            else:
                for day in self._days(product.root, 0, span, (True, True), found):
                    _take(found, product, join(day, product.folder))
            found.listed += [Listed(*product[:3], folder, None) for folder in found.unreadable[before:]]
        if grid := self._settings.value("alt"):
            found.grid.append(_look("grid", grid))
        return found

    def _products(self) -> Iterator[_Product]:
        settings = self._settings
        kinds = [("d", "L1C", "", "ef", "mf")] if settings.l1c else []
        kinds += [(option, kind, kind, "ef2", "mf2") for option in ("d2", "myd2") for kind in settings.l2_kinds]
        for option, kind, folder, endings, motifs in kinds:
            root = settings.value(option)
            if root is not None:
                yield _Product(option, kind, root, folder, tuple(settings.endings(endings)), settings.motifs(motifs))

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


def _take(found: Inputs, product: _Product, folder: str) -> None:
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
    found.listed.append(Listed(*product[:3], begin, slice(first, len(found.files))))


def _list(folder: str, found: Inputs) -> list[str]:
    """The names in a folder; one that is not there has none, and neither has what is no folder."""
    try:
        return os.listdir(folder)
    except NONE:
        return []
    except OSError:
        found.unreadable.append(folder)
        return []


def _look(kind: str, path: str, name: str | None = None, folder: int | None = None) -> InputFile:
    """A file; that it is looked at from its open folder is faster than by its path."""
    try:
        status = os.stat(path if name is None else name, dir_fd=folder)
    except OSError:
        return InputFile(kind, path, -1, -1, -1)
    return InputFile(kind, path, status.st_size, status.st_mtime_ns, status.st_ctime_ns)
