"""Pieces on the cores of this machine.

Each worker is a process that does one piece at a time, in the order of their days. Workers die with this process, and
vex with its worker, also when they are killed.
"""

from __future__ import annotations

import contextlib
import multiprocessing
import os
import re
import signal
from collections import deque
from collections.abc import Callable, Iterator, Sequence
from multiprocessing.connection import Connection, wait
from multiprocessing.context import ForkProcess
from types import FrameType
from typing import Any

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
        context = multiprocessing.get_context("fork")
        self.connection, theirs = context.Pipe()
        self.task: tuple[int, int] | None = None
        self.process: ForkProcess = context.Process(target=_work, args=(plan, theirs, os.getpid()), daemon=True)
        signal.pthread_sigmask(signal.SIG_BLOCK, SIGNALS)  # until it has its own ways with them
        self.process.start()
        signal.pthread_sigmask(signal.SIG_UNBLOCK, SIGNALS)
        theirs.close()

    def give(self, task: tuple[int, int]) -> None:
        self.task = task
        with contextlib.suppress(OSError):  # it has died, which is seen when its result is waited for
            self.connection.send(task)

    def result(self) -> State | None:
        """What came of the task; None when the worker died of it."""
        try:
            found: State = self.connection.recv()
        except (EOFError, OSError):
            return None
        return found


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
        by_connection: dict[Any, _Worker] = {worker.connection: worker for worker in self._workers if worker.task}
        for connection in wait(list(by_connection)):
            worker = by_connection[connection]
            assert worker.task
            (number, attempt), made = worker.task, worker.result()
            worker.task = None
            if made is None:
                worker.process.join()
                self._workers.remove(worker)
                made = {"outcome": state.FAILED, "why": "the process that ran it was killed", "killed": True}
            yield number, attempt, made

    def __exit__(self, *_: object) -> None:
        for worker in self._workers:
            worker.process.terminate()
        for worker in self._workers:
            worker.process.join(LEAVE)
            worker.process.kill()
            worker.process.join()


def _work(plan: Plan, connection: Connection, parent: int) -> None:
    """The life of a worker."""
    def stop(number: int, _: FrameType | None) -> None:
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
        raise Stopped(number)

    die_with(parent)
    for one in SIGNALS:  # the terminal sends its signals to all; the parent tells what is to be done
        signal.signal(one, signal.SIG_IGN)
    try:
        signal.signal(signal.SIGTERM, stop)
        signal.pthread_sigmask(signal.SIG_UNBLOCK, SIGNALS)
        while True:
            number, attempt = connection.recv()
            connection.send(_brief(_result(plan, number, attempt)))
    except (EOFError, OSError, Stopped):
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
