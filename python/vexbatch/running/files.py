"""Files that are there as a whole or not at all, and locks."""

from __future__ import annotations

import contextlib
import errno
import fcntl
import json
import os
import time
from collections.abc import Iterable, Iterator
from typing import Any

#: Errors of file systems without locks.
NO_LOCKS = (errno.ENOSYS, errno.ENOLCK, errno.EOPNOTSUPP)
#: Seconds until a lock is said to be held: what was killed lets go of it when it is gone.
PATIENCE = 2.0


def write_part(path: str, content: Any) -> str:
    """Writes one line of JSON beside a path, to the disk; gives the path of what was written."""
    part = path + ".part"
    try:
        with open(part, "w", encoding="utf-8") as file:
            file.write(json.dumps(content) + "\n")  # json.dump takes ten times as long
            file.flush()
            os.fsync(file.fileno())
    except BaseException:
        remove([part])
        raise
    return part


def write_json(path: str, content: Any) -> None:
    """Writes one line of JSON under a path."""
    os.replace(write_part(path, content), path)
    sync_folder(path)


def read_json(path: str) -> dict[str, Any] | None:
    """An object; None when there is none, or none that can be read."""
    try:
        with open(path, encoding="utf-8") as file:
            found = json.load(file)
    except (OSError, ValueError, RecursionError):
        return None
    return found if isinstance(found, dict) else None


def has_form(value: Any, form: Any) -> bool:
    """Whether what was read is of a form: a type; {str: form} and [form] of any number, {name: form}, (form, ...)."""
    if isinstance(form, dict) and str in form:
        return isinstance(value, dict) and all(has_form(one, form[str]) for one in value.values())
    if isinstance(form, dict):
        return isinstance(value, dict) and all(has_form(value.get(name), one) for name, one in form.items())
    if isinstance(form, list):
        return isinstance(value, list) and all(has_form(one, form[0]) for one in value)
    if isinstance(form, tuple):
        return isinstance(value, list) and len(value) == len(form) and all(map(has_form, value, form))
    return isinstance(value, form)


def sync(path: str) -> None:
    """Brings a file, or a folder's names, to the disk."""
    descriptor = os.open(path, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)


def sync_folder(path: str) -> None:
    """Brings the names in the folder of a path to the disk."""
    sync(os.path.dirname(path) or os.curdir)


@contextlib.contextmanager
def folder_for_now() -> Iterator[str]:
    """A new folder of files for the time of a block; `tempfile` takes longer to import than all else here."""
    place = os.environ.get("TMPDIR", "")
    path = os.path.join(place if os.path.isdir(place) else "/tmp", f"vex-batch-{os.getpid()}-{time.time_ns()}")
    os.mkdir(path, 0o700)
    try:
        yield path
    finally:
        remove(entry.path for entry in list(os.scandir(path)))
        os.rmdir(path)


def remove(paths: Iterable[str]) -> None:
    """Removes files that are there."""
    for path in paths:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(path)


def size(path: str) -> int:
    """Bytes of a file; -1 when it is not there."""
    try:
        return os.stat(path).st_size
    except OSError:
        return -1


def is_held(path: str) -> bool:
    """Whether somebody holds a file that is there."""
    try:
        descriptor = lock(path, patience=0) if size(path) >= 0 else -1
    except OSError:
        return False
    if descriptor is not None and descriptor >= 0:
        os.close(descriptor)
    return descriptor is None


def lock(path: str, flags: int = 0, patience: float = PATIENCE) -> int | None:
    """Opens a file that nobody else holds; None when somebody does. What is locked stays so in children, too."""
    descriptor = os.open(path, os.O_RDWR | os.O_CREAT | os.O_CLOEXEC | flags, 0o666)
    until = time.monotonic() + patience
    while True:
        try:
            fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
            return descriptor
        except BlockingIOError:
            if time.monotonic() >= until:
                os.close(descriptor)
                return None
            time.sleep(0.05)
        except OSError as error:
            if error.errno in NO_LOCKS:
                return descriptor
            os.close(descriptor)
            raise
