"""The output of a run: what is checked before it gets its name, and what is recorded of it.

vex reports each write that fails, so that no value is read again here. What is checked is that nothing of a file is
missing: see docs/trust.md.
"""

from __future__ import annotations

import errno
import os
from typing import Any

from ..planning.plan import Plan

#: What is written of a file.
FORM = {"path": str, "bytes": int, "time": int, "records": int, "sha256": str | None}

Output = dict[str, Any]

#: Errors of file systems that do not tell where holes are.
UNTOLD = (errno.EINVAL, errno.EOPNOTSUPP)


def describe(plan: Plan, part: str, out: str, counts: dict[str, Any]) -> Output:
    """A file that is sound: its path `out`, bytes, time of change (ns), records, lines or rows, and SHA-256 if wanted.

    Parameters
    ----------
    counts
        What vex printed of its run; empty where other programs wrote the file.

    Raises
    ------
    ValueError
        It is not sound, or not there.
    """
    from vexfile.reading.structure import structure
    if not os.path.isfile(part):
        raise ValueError(f"{out} was not written")
    selected = _selected(plan, counts)
    records = structure(part, selected[0] if len(selected) == 1 else None).records
    # Of several products some pixels share a record, and those without a key may be in none.
    if selected and (records > sum(selected) or records < (selected[0] if len(selected) == 1 else any(selected))):
        counted = " and ".join(map(str, selected))
        raise ValueError(f"{out} has {records} records, and vex has counted {counted} pixels")
    status = os.stat(part)
    if (place := hole(part)) < status.st_size:
        raise ValueError(f"{out} has a hole at byte {place}, which nobody has written")
    made = {"path": out, "bytes": status.st_size, "time": status.st_mtime_ns, "records": records}
    return made | {"sha256": digest(part)} if plan.digests else made


def _selected(plan: Plan, counts: dict[str, Any]) -> list[int]:
    """Of each product the pixels that vex selected for its output; none where that does not tell the number of records:
    pixels in boxes are counted before other filters.
    """
    if plan.settings.format == "txtstat" or counts.get("boxes"):
        return []
    return [selected for selected, _ in counts.get("pixels", {}).values()]


def hole(path: str) -> int:
    """Where the first part of a file is that nobody has written; its length when there is none."""
    descriptor = os.open(path, os.O_RDONLY | os.O_CLOEXEC)
    try:
        size = os.fstat(descriptor).st_size
        return os.lseek(descriptor, 0, os.SEEK_HOLE) if size else 0
    except OSError as error:
        if error.errno not in UNTOLD:
            raise
        return size
    finally:
        os.close(descriptor)


def digest(path: str) -> str:
    """The SHA-256 of a file, in hexadecimal digits."""
    import hashlib
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def fault(found: Output) -> str:
    """How a file differs from what is written of it; empty when it does not."""
    try:
        status = os.stat(found["path"])
    except OSError:
        return f"{found['path']} is gone"
    if status.st_size != found["bytes"]:
        return f"{found['path']} has {status.st_size} bytes in place of {found['bytes']}"
    return "" if status.st_mtime_ns == found["time"] else f"{found['path']} was changed"
