"""Which sort of file it is, told by its first bytes; nothing is imported that the sort does not need."""

from __future__ import annotations

from typing import Literal

from .binary import BinaryFile
from .header import is_binary, is_text
from .text import TextFile

Sort = Literal["binary", "text", "statistics"]

#: What tells the sorts of files apart, bytes.
HEAD = 512


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
        from .statistics import is_statistics
        if is_statistics(head):
            return "statistics"
    if not is_binary(head):
        BinaryFile(path)
    return "binary"


def open_file(path: str, index: bool = False) -> BinaryFile | TextFile:
    """Opens a binary or text file of vex; see `vexfile.open` for what is raised."""
    return TextFile(path) if sort_of(path) == "text" else BinaryFile(path, index)
