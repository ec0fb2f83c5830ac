"""Which sort of file it is, told by its first bytes; nothing is imported that the sort does not need."""

from __future__ import annotations

import os
from collections.abc import Callable
from typing import Any, Literal, TypeVar

from .binary import BinaryFile
from ..errors import FormatError
from .header import is_binary, is_text
from .text import TextFile

T = TypeVar("T")
Sort = Literal["binary", "text", "statistics"]

#: What tells the sorts of files apart, bytes.
HEAD = 512


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


def sort_of(path: str) -> Sort:
    """The sort of a file.

    Raises
    ------
    FormatError
        It is not of vex; what is wrong is told as of a binary file.
    """
    with open(path, "rb") as file:
        head = file.read(HEAD)
    if is_text(head):
        return "text"
    if head.startswith(b"# ") and not is_binary(head):
        from ..statistics.files import is_statistics
        if is_statistics(head):
            return "statistics"
    if not is_binary(head) and (place := head.find(b"BUFR")) >= 0:
        raise FormatError(path, place, "a file that vex wrote, found a BUFR message; vex reads these from the folders of an "
                          "archive: vex -d ARCHIVE/L1C -fd 2013-04-20 -ld 2013-04-20 -c 1021 -out OUT.bin")
    if not is_binary(head):
        BinaryFile(path)
    return "binary"


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
