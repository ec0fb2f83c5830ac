"""Runs of vex as children, which do not outlive what started them."""

from __future__ import annotations

import contextlib
import ctypes
import os
import re
import resource
import select
import signal
import time
from collections.abc import Callable, Iterable, Sequence
from typing import NamedTuple

from vexfile.program import SIGNALS
from . import outcome

PR_SET_PDEATHSIG = 1
#: Seconds between two looks at the log of a run, the first ones and the longest.
LOOK, LONG_LOOK = 0.05, 0.5
UNWRITTEN = "output could not be written"
#: With this status ends what could not be started, as in the shell.
UNSTARTED = 127
#: Looks after which a run has all the memory that it will need: what a message takes is taken with the first ones.
ENOUGH = 20
#: Bytes of standard error that are kept.
MOST = 1 << 20
_libc = ctypes.CDLL(None, use_errno=True)


class Ended(NamedTuple):
    """How a run ended: why it was ended here or died (empty: by itself), its seconds, its peak memory in bytes, and what
    it printed on standard error.
    """

    why: str
    seconds: float
    memory: int
    errors: bytes


def die_with(parent: int) -> None:
    """Lets the kernel kill this process when its parent, which is to be `parent`, has died."""
    _libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)
    if os.getppid() != parent:  # it died before that call
        os._exit(1)


def run(words: Sequence[str], log: int, timeout: float | None) -> Ended:
    """Runs vex, its output going to the file `log`, in a process group of its own.

    It is killed when it says that output cannot be written (it would go on reading), after `timeout` seconds, and when
    anything is raised here, as by a signal.
    """
    begun, child, errors = time.monotonic(), None, _Errors()
    mask = signal.pthread_sigmask(signal.SIG_BLOCK, SIGNALS)  # until what is begun will be ended
    try:
        child = _begin(words, log, errors.end, mask)
        signal.pthread_sigmask(signal.SIG_SETMASK, mask)
        watch = _Watch(child, log, errors, begun + timeout if timeout else None)
        why = watch.wait()
        _kill(child)
    except BaseException:
        if child is not None:
            _kill(child)
            os.waitpid(child, 0)
        raise
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, mask)
        errors.close()
    _, status, usage = os.wait4(child, 0)
    return Ended(why or _why(os.waitstatus_to_exitcode(status)), time.monotonic() - begun, watch.peak(usage.ru_maxrss),
                 bytes(errors.seen))


class _Errors:
    """What a child prints on standard error, `end` of a pipe: unlike a file it takes all, whatever disks are full."""

    def __init__(self) -> None:
        self._pipe, self.end = os.pipe()
        os.set_blocking(self._pipe, False)
        self.seen = bytearray()

    def look(self) -> None:
        """Takes what there is. What is more than anybody reads is dropped."""
        with contextlib.suppress(BlockingIOError):
            while data := os.read(self._pipe, 1 << 16):
                self.seen += data[:max(0, MOST - len(self.seen))]

    def close(self) -> None:
        """Takes what is left."""
        os.close(self.end)
        self.look()
        os.close(self._pipe)


def _begin(words: Sequence[str], log: int, errors: int, mask: Iterable[int]) -> int:
    """The number of a child that has a mask of signals, and does not outlive this process."""
    parent = os.getpid()
    if child := os.fork():
        return child
    try:
        die_with(parent)
        os.setpgid(0, 0)
        for place, descriptor in enumerate((os.open(os.devnull, os.O_RDONLY), log, errors)):
            os.dup2(descriptor, place)
        for one in (signal.SIGPIPE, signal.SIGXFSZ):  # Python ignores them
            signal.signal(one, signal.SIG_DFL)
        signal.pthread_sigmask(signal.SIG_SETMASK, mask)
        os.execvp(words[0], list(words))
    finally:
        os._exit(UNSTARTED)


def say(words: Sequence[str]) -> tuple[bytes, bytes]:
    """What a program prints on standard output and standard error."""
    reading, writing = os.pipe()
    with open(reading, "rb") as pipe, open(os.memfd_create("errors"), "w+b") as errors:
        try:
            child = os.posix_spawn(words[0], list(words), os.environ, file_actions=[
                (os.POSIX_SPAWN_OPEN, 0, os.devnull, os.O_RDONLY, 0), (os.POSIX_SPAWN_DUP2, writing, 1),
                (os.POSIX_SPAWN_DUP2, errors.fileno(), 2)], setsigdef=[signal.SIGPIPE, signal.SIGXFSZ])
        finally:
            os.close(writing)
        try:
            said = pipe.read()
        except BaseException:
            os.kill(child, signal.SIGKILL)
            raise
        finally:
            os.waitpid(child, 0)
        errors.seek(0)
        return said, errors.read()


def _kill(group: int) -> None:
    with contextlib.suppress(ProcessLookupError, PermissionError):
        os.killpg(group, signal.SIGKILL)


def _why(code: int) -> str:
    if code < 0:
        known = {int(one): f" ({one.name})" for one in signal.Signals}
        return f"killed by signal {-code}{known.get(-code, '')}"
    return "could not be started" if code == UNSTARTED else f"ended with status {code}" if code else ""


class _Watch:
    """Looks at a run from time to time."""

    def __init__(self, pid: int, log: int, errors: _Errors, until: float | None) -> None:
        self._pid, self._log, self._errors, self._until = pid, log, errors, until
        self._seen, self._memory, self._looks, self._last = 0, 0, 0, b""
        self._descriptor: int | None = None  # of the process

    def wait(self) -> str:
        """Waits for its end; says why it is to be ended before."""
        ended, pause = self._poller(), LOOK
        try:
            while True:
                self._looks += 1
                if self._looks >= ENOUGH:
                    self._memory = max(self._memory, self._held())
                self._errors.look()
                if ended(pause):
                    return ""
                pause = min(LONG_LOOK, pause * 1.2)
                if self._write_failed():
                    return UNWRITTEN
                if self._until is not None and time.monotonic() >= self._until:
                    return "took longer than --timeout"
        finally:
            if self._descriptor is not None:
                os.close(self._descriptor)

    def _poller(self) -> Callable[[float], bool]:
        """Waits for some seconds, and tells whether the child has ended; the child is left to be waited for."""
        try:
            self._descriptor = os.pidfd_open(self._pid)
        except OSError:  # kernels before 5.3
            return self._ended_slowly
        poll = select.poll()
        poll.register(self._descriptor, select.POLLIN)
        return lambda seconds: bool(poll.poll(seconds * 1000))

    def _ended_slowly(self, seconds: float) -> bool:
        time.sleep(seconds)
        return os.waitid(os.P_PID, self._pid, os.WEXITED | os.WNOHANG | os.WNOWAIT) is not None

    def _write_failed(self) -> bool:
        data = os.pread(self._log, 1 << 20, self._seen)
        self._seen += len(data)
        found = outcome.WRITE_FAILURE in self._last + data
        self._last = (self._last + data)[-len(outcome.WRITE_FAILURE):]
        return found

    def _held(self) -> int:
        """Peak memory so far, bytes."""
        try:
            with open(f"/proc/{self._pid}/status", encoding="ascii", errors="replace") as file:
                match = re.search(r"VmHWM:\s*(\d+) kB", file.read())
        except OSError:
            return 0
        return int(match[1]) * 1024 if match else 0

    def peak(self, kilobytes: int) -> int:
        """Peak memory, bytes, of what wait4 has told.

        That counts what this process held when it made the child, too. Where it is not more, and the run was looked at
        often enough, what was seen last is nearer to the truth.
        """
        here = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        return self._memory if kilobytes <= here and self._looks >= ENOUGH else kilobytes * 1024
