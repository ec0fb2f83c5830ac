"""Pieces on the cores of this machine.

Each worker is a process that does one piece at a time, in the order of their days. Workers die with this process, and
vex with its worker, also when they are killed.
"""

from __future__ import annotations

import contextlib
import json
import os
import re
import select
import signal
import sys
from collections import deque
from collections.abc import Callable, Iterator, Sequence
from types import FrameType
from typing import BinaryIO, NoReturn

from ..running import state
from vexfile.program import SIGNALS, Stopped
from ..errors import BatchError, DiskFull, Halted
from ..running.piece import abandon, run_piece
from ..planning.plan import Plan
from ..running.process import die_with
from ..running.state import State

#: Seconds that workers have to end vex and to remove what it left.
LEAVE = 20.0

#: Takes the number of a piece, what came of a try and whether that was the last one.
Report = Callable[[int, State, bool], None]


def cores() -> int:
    """Those that this process may use."""
    return len(os.sched_getaffinity(0))


def run_all(plan: Plan, numbers: Sequence[int], jobs: int, report: Report, halt: int | None = None) -> None:
    """Does pieces.

    Parameters
    ----------
    halt
        The number of pieces after which no more is tried when they have failed in the same way, one after the other.

    Raises
    ------
    DiskFull
        There is no room left. The others were ended.
    Halted
        As `halt` says; the same.
    Stopped
        By a signal; the same.
    """
    tasks = deque((number, 1) for number in numbers)
    row = _Row()
    with _Crew(plan, min(jobs, len(tasks))) as crew:
        while tasks or crew.busy:
            crew.hand_out(tasks)
            for number, attempt, made in crew.results():
                if "full" in made:
                    raise DiskFull(made["full"])
                again = made["outcome"] == state.FAILED and attempt <= plan.retries
                if again:
                    tasks.append((number, attempt + 1))
                elif made.get("killed"):
                    _forget(plan, number, made["why"], attempt)
                report(number, made, not again)
                if row.add(number, made) == halt:
                    raise Halted(halt, made["why"])


class _Row:
    """Pieces that failed in the same way, one after the other."""

    def __init__(self) -> None:
        self._way, self._numbers = "", set[int]()

    def add(self, number: int, made: State) -> int:
        """Takes what came of a try; gives how many there are in the row."""
        failed = made["outcome"] == state.FAILED
        way = re.sub(r"\S*[\d/]\S*", "", made["why"]) if failed else ""  # without numbers, days and paths
        if way != self._way:
            self._numbers.clear()
        self._way = way
        self._numbers |= {number} if failed else set()
        return len(self._numbers)


def _forget(plan: Plan, number: int, why: str, attempt: int) -> None:
    try:
        abandon(plan, plan.pieces[number], why, attempt)
    except DiskFull:
        raise
    except (BatchError, OSError):  # what it began is still at work, or the folder is gone; the next call removes it
        pass


class _Worker:
    """A process and the piece that it is at."""

    def __init__(self, plan: Plan) -> None:
        tasks, self._tasks = os.pipe()
        self.results, results = os.pipe()
        self.task: tuple[int, int] | None = None
        parent = os.getpid()
        signal.pthread_sigmask(signal.SIG_BLOCK, SIGNALS)  # until it has its own ways with them
        self._process = os.fork()
        if not self._process:
            os.close(self._tasks)
            os.close(self.results)
            _work(plan, open(tasks, "rb"), results, parent)
        signal.pthread_sigmask(signal.SIG_UNBLOCK, SIGNALS)
        os.close(tasks)
        os.close(results)
        self._lines = open(self.results, "rb")

    def give(self, task: tuple[int, int]) -> None:
        self.task = task
        with contextlib.suppress(OSError):  # it has died, which is seen when its result is waited for
            os.write(self._tasks, b"%d %d\n" % task)

    def result(self) -> State | None:
        """What came of the task; None when the worker died of it."""
        text = self._lines.readline()
        if not text.endswith(b"\n"):
            return None
        found: State = json.loads(text)
        return found

    def end(self) -> None:
        """Asks it to end; `wait` has to follow."""
        os.kill(self._process, signal.SIGTERM)

    def wait(self, seconds: float) -> None:
        """Waits for its end, and kills it when that takes longer."""
        poll = select.poll()
        poll.register(self.results, 0)  # the other end is closed when it has gone
        if not poll.poll(seconds * 1000):
            os.kill(self._process, signal.SIGKILL)
        os.waitpid(self._process, 0)
        self._lines.close()
        os.close(self._tasks)


class _Crew:
    """The workers."""

    def __init__(self, plan: Plan, count: int) -> None:
        self._plan, self._count = plan, count
        self._workers: list[_Worker] = []

    def __enter__(self) -> _Crew:
        return self

    @property
    def busy(self) -> bool:
        return any(worker.task for worker in self._workers)

    def hand_out(self, tasks: deque[tuple[int, int]]) -> None:
        while len(self._workers) < self._count and len(self._workers) < len(tasks) + self.busy_count():
            self._workers.append(_Worker(self._plan))
        for worker in self._workers:
            if tasks and not worker.task:
                worker.give(tasks.popleft())

    def busy_count(self) -> int:
        return sum(worker.task is not None for worker in self._workers)

    def results(self) -> Iterator[tuple[int, int, State]]:
        """Waits for results; a worker that died gives way to a new one."""
        busy = {worker.results: worker for worker in self._workers if worker.task}
        poll = select.poll()
        for descriptor in busy:
            poll.register(descriptor, select.POLLIN)
        for descriptor, _ in poll.poll():
            worker = busy[descriptor]
            assert worker.task
            (number, attempt), made = worker.task, worker.result()
            worker.task = None
            if made is None:
                worker.wait(LEAVE)
                self._workers.remove(worker)
                made = {"outcome": state.FAILED, "why": "the process that ran it was killed", "killed": True}
            yield number, attempt, made

    def __exit__(self, *_: object) -> None:
        for worker in self._workers:
            worker.end()
        for worker in self._workers:
            worker.wait(LEAVE)


def _work(plan: Plan, tasks: BinaryIO, results: int, parent: int) -> NoReturn:
    """The life of a worker."""
    def stop(number: int, _: FrameType | None) -> None:
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
        raise Stopped(number)

    try:
        die_with(parent)
        for one in SIGNALS:  # the terminal sends its signals to all; the parent tells what is to be done
            signal.signal(one, signal.SIG_IGN)
        signal.signal(signal.SIGTERM, stop)
        signal.pthread_sigmask(signal.SIG_UNBLOCK, SIGNALS)
        for line in tasks:
            number, attempt = map(int, line.split())
            text = json.dumps(_brief(_result(plan, number, attempt))).encode() + b"\n"
            while text:
                text = text[os.write(results, text):]
    except (OSError, Stopped):
        pass
    except BaseException:
        sys.excepthook(*sys.exc_info())
    finally:
        os._exit(0)


def _result(plan: Plan, number: int, attempt: int) -> State:
    piece = plan.pieces[number]
    try:
        try:
            return run_piece(plan, piece, attempt)
        except (OSError, ValueError, MemoryError) as error:
            return abandon(plan, piece, " ".join(f"{type(error).__name__}: {error}".split()), attempt)
    except DiskFull as error:
        return {"full": error.folder}
    except (BatchError, OSError) as error:
        return {"outcome": state.FAILED, "why": str(error)}


def _brief(made: State) -> State:
    """Without what may be long."""
    return {name: value for name, value in made.items() if name not in ("inputs", "options")}
