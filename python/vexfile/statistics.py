"""The statistics files of vex."""

from __future__ import annotations

import xarray

from .errors import FormatError


def is_statistics(head: bytes) -> bool:
    """Whether a file that begins so holds statistics."""
    return False


def open_statistics(path: str, mask: bool = True) -> xarray.Dataset:
    """Opens a statistics file."""
    raise FormatError(path, 0, "a binary or text file")
