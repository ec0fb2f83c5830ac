"""What ends a call."""

from __future__ import annotations

import errno

#: Errors of a file system that takes no more.
NO_ROOM = (errno.ENOSPC, errno.EDQUOT)


class BatchError(Exception):
    """Is told in one line and ends the call."""

    status = 1


class UsageError(BatchError):
    """The command line is wrong, or nothing could begin."""

    status = 2


class DiskFull(BatchError):
    """There is no room left for output."""

    def __init__(self, folder: str) -> None:
        super().__init__(f"{folder or '.'}: no room left; what is complete stays, make room and call again")
        self.folder = folder


class Halted(BatchError):
    """One task after the other failed in the same way."""

    def __init__(self, count: int, why: str) -> None:
        super().__init__(f"{count} pieces in a row failed in the same way, the last one: {why}; call again to go on")
