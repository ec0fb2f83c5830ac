"""Opens binary and text files."""

from __future__ import annotations

import os
from collections.abc import Callable
from typing import Any, TypeVar

from .binary import BinaryFile
from ..errors import FormatError
from .structure import sort_of
from .text import TextFile

T = TypeVar("T")


def path_of(path: Any) -> str:
    """An absolute path, which holds after a change of folder and in other processes; ``~`` is the home folder.

    Raises
    ------
    TypeError
        It is no path.
    """
    if not isinstance(path, (str, bytes, os.PathLike)):
        what = "an open file" if hasattr(path, "read") else f"an object of type {type(path).__name__}"
        raise TypeError(f"the path of a file is needed, not {what}")
    return os.path.abspath(os.path.expanduser(os.fsdecode(path)))


def open_file(path: str, index: bool = False) -> BinaryFile | TextFile:
    """Opens a binary or text file of vex; see `vexfile.open` for what is raised."""
    return TextFile(path) if sort_of(path) == "text" else BinaryFile(path, index)


def with_index(work: Callable[[bool], T]) -> T:
    """Works on files that are opened with the argument as `index`: first without, then, when that fails, with it.

    A large file may have other records than the few that are looked at when it is opened.
    """
    try:
        return work(False)
    except FormatError:
        return work(True)
