"""The input files of a span, listed by the rules of vex."""

from __future__ import annotations

import os
from collections.abc import Iterator
from dataclasses import dataclass, field
from typing import NamedTuple

from .settings import Settings

#: Digits in the names of the folders of years, months and days.
DIGITS = (4, 2, 2)


class InputFile(NamedTuple):
    """A file that a run reads: its product, or "grid"; bytes, and when it was changed, ns; -1 if it is gone."""

    kind: str
    path: str
    size: int
    time: int


@dataclass
class Inputs:
    """What there is for a span, and the folders that could not be listed."""

    files: list[InputFile] = field(default_factory=list)
    grid: list[InputFile] = field(default_factory=list)
    unreadable: list[str] = field(default_factory=list)

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
        found, settings = Inputs(), self._settings
        span = tuple(map(int, first.split("-"))), tuple(map(int, last.split("-")))
        kinds = [("L1C", settings.value("d"), "", "ef", "mf")] if settings.l1c else []
        kinds += [(kind, settings.value("d2"), kind, "ef2", "mf2") for kind in settings.l2_kinds]
        for kind, root, folder, endings, motifs in kinds:
            if root is not None:
                for day in self._days(root, 0, span, (True, True), found):
                    self._take(found, kind, join(day, folder), endings, motifs)
        undated = settings.value("myd2")
        for kind in settings.l2_kinds if undated is not None else []:
            self._take(found, kind, join(undated or "", kind), "ef2", "mf2")
        if grid := settings.value("alt"):
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

    def _take(self, found: Inputs, kind: str, folder: str, endings: str, motifs: str) -> None:
        ends, wanted = self._settings.endings(endings), self._settings.motifs(motifs)
        names = [name for name in _list(folder, found)
                 if any(name.endswith(end) and len(end) < len(name) for end in ends)
                 and (not wanted or any(motif in name for motif in wanted))]
        found.files += [_look(kind, join(folder, name)) for name in sorted(names, key=os.fsencode)]


def _list(folder: str, found: Inputs) -> list[str]:
    """The names in a folder; one that is not there has none."""
    try:
        return os.listdir(folder)
    except FileNotFoundError:
        return []
    except OSError:
        found.unreadable.append(folder)
        return []


def _look(kind: str, path: str) -> InputFile:
    try:
        status = os.stat(path)
    except OSError:
        return InputFile(kind, path, -1, -1)
    return InputFile(kind, path, status.st_size, status.st_mtime_ns)
