"""What is raised when a file is not what it should be."""

from __future__ import annotations

import os


class FormatError(ValueError):
    """A file is damaged, cut short, or not of vex.

    Parameters
    ----------
    path
        The file.
    offset
        Bytes from its beginning to where it is wrong.
    expected
        What had to be there.

    Attributes
    ----------
    path : str
    offset : int
    expected : str
    """

    def __init__(self, path: str | os.PathLike[str], offset: int, expected: str) -> None:
        super().__init__(path, offset, expected)
        self.path = os.fspath(path)
        self.offset = offset
        self.expected = expected

    def __str__(self) -> str:
        return f"{self.path}: at byte {self.offset}: expected {self.expected}"
