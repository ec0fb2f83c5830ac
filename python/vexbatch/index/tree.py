"""Folders of an archive as vex walks them, and trees of links that stand for a part of them."""

from __future__ import annotations

import os
import stat
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from typing import NamedTuple

#: Digits in the names of the folders of years, months and days.
DIGITS = (4, 2, 2)
#: First and last day, each year, month and day.
Span = tuple[tuple[int, ...], tuple[int, ...]]
#: Bytes of a file, and when it was changed, ns; None for what is no regular file, or cannot be looked at.
Stamp = tuple[int, int] | None
#: Gives those of some names of files that are wanted.
Chooser = Callable[[list[str]], list[str]]


class Folder(NamedTuple):
    """A folder of one product's files.

    Attributes
    ----------
    parts : str
        Its path below the root. That of a folder above it when that one could not be read.
    files : dict or None
        The wanted ones of what is in it, by name; None when it could not be read.
    """

    parts: str
    files: Mapping[str, Stamp] | None


def span_of(first: str, last: str) -> Span:
    """The span from one day to another, YYYY-MM-DD, as numbers."""
    one, end = (tuple(map(int, day.split("-"))) for day in (first, last))
    return one, end


def chosen(names: list[str], endings: tuple[str, ...], motifs: Sequence[str]) -> list[str]:
    """The names that a run takes: with one of the endings behind something else, and with one of the motifs if there are any."""
    found = [name for name in names if name.endswith(endings)]
    if motifs:
        found = [name for name in found if any(motif in name for motif in motifs)]
    if not set(endings).isdisjoint(found):
        found = [name for name in found if any(name.endswith(end) and end != name for end in endings)]
    return found


def walk(root: str, below: str, wanted: Chooser, span: Span | None) -> Iterator[Folder]:
    """The folders ROOT/YYYY/MM/DD/`below` that are there, in the order of vex; those of all days without a span.

    A name of digits is a day when it lies within the span, whatever the calendar says.
    """
    for parts, readable in _days(root, "", 0, span or ((), ()), (span is not None,) * 2):
        if readable:
            yield from look(root, os.path.join(parts, below).rstrip("/"), wanted)
        else:
            yield Folder(parts, None)


def _days(root: str, parts: str, level: int, span: Span, on: tuple[bool, bool]) -> Iterator[tuple[str, bool]]:
    """The folders of days, and those above them that cannot be read.

    `on` tells whether the levels above are those of the first and of the last day, which then bound this one.
    """
    if level == len(DIGITS):
        yield parts, True
        return
    try:
        names = sorted(os.listdir(os.path.join(root, parts)))
    except OSError as error:
        if not isinstance(error, (FileNotFoundError, NotADirectoryError)):
            yield parts, False
        return
    for name in names:
        if len(name) != DIGITS[level] or not (name.isascii() and name.isdigit()):
            continue
        number = int(name)
        if not (on[0] and number < span[0][level] or on[1] and number > span[1][level]):
            bound = on[0] and number == span[0][level], on[1] and number == span[1][level]
            yield from _days(root, os.path.join(parts, name), level + 1, span, bound)


def look(root: str, parts: str, wanted: Chooser) -> Iterator[Folder]:
    """A folder with the wanted ones of what is in it, if it is there."""
    try:
        opened = os.open(os.path.join(root, parts), os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
    except (FileNotFoundError, NotADirectoryError):
        return
    except OSError:
        yield Folder(parts, None)
        return
    try:
        files = {name: _stamp(name, opened) for name in wanted(os.listdir(opened))}
    except OSError:
        files = None
    finally:
        os.close(opened)
    yield Folder(parts, files)


def _stamp(name: str, folder: int) -> Stamp:
    """Looking at it from its folder is faster than by its path."""
    try:
        status = os.stat(name, dir_fd=folder)
    except OSError:
        return None
    return (status.st_size, status.st_mtime_ns) if stat.S_ISREG(status.st_mode) else None


def link_tree(root: str, parts: Iterable[str], folder: str) -> None:
    """Makes links to files, or whole folders, of a root below another folder, under the same paths.

    Parameters
    ----------
    parts
        Paths below the root; an empty one stands for the root itself.
    folder
        Is made, and stands for the root. The caller removes it.
    """
    target, wanted = os.path.realpath(root), set(parts)
    holders: dict[str, list[str]] = {}
    for part in wanted:
        holders.setdefault(os.path.dirname(part), []).append(part)
    if "" in wanted:
        os.makedirs(os.path.dirname(folder), exist_ok=True)
        os.symlink(target, folder)
        return
    os.makedirs(folder, exist_ok=True)
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
