"""What is raised when a file is not what it should be."""

from __future__ import annotations

import difflib
import os
from collections.abc import Iterable


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


def no_field(name: str, names: Iterable[str]) -> str:
    """Tells that there is no field of a name, and which ones are like it."""
    known = list(dict.fromkeys(names))
    alike = difflib.get_close_matches(name, known, 4, 0.5) or [one for one in known if name.lower() in one.lower()][:4]
    return f"no field {name!r}" + (f"; similar: {', '.join(alike)}" if alike else "; vexfile(5) lists fields")
