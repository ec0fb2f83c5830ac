"""Jobs of SLURM that work in an output folder.

Each call that submits something makes a folder OUTDIR/slurm/NNNN with a copy of its plan, so that jobs in the queue
keep theirs. ``arrayN.sh`` is the script of an array, line I of ``arrayN.tasks`` has the pieces of its task I,
``arrayN.job`` the number that SLURM gave it; ``summary.sh`` runs when all of them have ended, however that was. What is
in the queue is asked of squeue by the paths of the scripts: they hold where a call was killed before it could write
down a number.
"""

from __future__ import annotations

import hashlib
import os
from collections import Counter
from collections.abc import Iterable, Iterator, Sequence
from typing import NamedTuple

from ..running import state
from ..errors import BatchError, UsageError
from ..planning.plan import PLAN, Piece, Plan, read_plan

FOLDER = "slurm"
#: A file in the folder of a call all of whose jobs have ended.
ENDED = "ended"
#: Tasks that are told of.
SHOWN = 10
#: States of tasks that have not begun.
WAITING = ("PENDING", "REQUEUED", "REQUEUE_HOLD", "REQUEUE_FED", "RESV_DEL_HOLD", "SPECIAL_EXIT", "CONFIGURING")
QUEUE = ["squeue", "-h", "-r", "-o", "%F|%K|%T|%r|%o"]


class Queued(NamedTuple):
    """A job, or a task of an array, that has not ended: its number, place in the array, state, reason, script."""

    job: str
    place: str
    status: str
    reason: str
    script: str


class Claim(NamedTuple):
    """A piece that is in the queue: its job, whether it would be done as is wanted now, and whether it is running."""

    job: str
    same: bool
    status: str


def home(plan: Plan) -> str:
    """The folder of all calls, by its one true name."""
    return os.path.join(os.path.realpath(os.path.join(plan.folder, plan.output)), FOLDER)


def calls(folder: str) -> list[str]:
    """Theirs, in their order."""
    names = os.listdir(folder) if os.path.isdir(folder) else []
    return [os.path.join(folder, name) for name in sorted(filter(str.isdecimal, names), key=int)]


def ask(words: Sequence[str]) -> str:
    """What a program of SLURM says."""
    import subprocess
    try:
        done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              encoding="utf-8", errors="surrogateescape")
    except OSError as error:
        raise BatchError(f"{words[0]}: {error.strerror}") from None
    if done.returncode:
        raise BatchError(f"{words[0]} says: {' '.join(done.stderr.split()) or done.returncode}")
    return done.stdout


def job_name(folder: str) -> str:
    """That of the jobs of all calls in a folder: SLURM is asked for no others."""
    return "vex-batch-" + hashlib.sha256(os.fsencode(folder)).hexdigest()[:12]


def in_queue(folder: str, all_calls: str) -> list[Queued]:
    """All that is in the queue of what was submitted from the scripts below a folder, that of all calls or of one."""
    rows = []
    for line in ask([*QUEUE, f"--name={job_name(all_calls)}"]).split("\n"):
        job, _, rest = line.partition("|")
        if os.path.join(folder, "") not in line:
            continue
        if rest.count("|") < 3 or not job.isdecimal():
            raise BatchError(f"squeue says: {line}")
        rows.append(Queued(job, *rest.split("|", 3)))
    return [row for row in rows if row.script.startswith(os.path.join(folder, ""))]


def queued(plan: Plan) -> list[Queued]:
    """What there is in the queue for the output folder of a plan.

    Raises
    ------
    UsageError
        It is not known whether jobs have ended.
    """
    folder = home(plan)
    going = [call for call in calls(folder) if not os.path.exists(os.path.join(call, ENDED))]
    if not going:
        return []
    try:
        return in_queue(folder, folder)
    except BatchError as error:
        raise UsageError(f"it is not known whether the jobs of {going[-1]} have ended: {error} (remove {folder} if "
                         "they have)") from None


def note_ended(plan: Plan, rows: Iterable[Queued]) -> None:
    """Notes which calls have nothing in the queue any more. For who holds the lock: nobody is about to submit."""
    busy = {os.path.dirname(row.script) for row in rows}
    for call in calls(home(plan)):
        if call not in busy:
            with open(os.path.join(call, ENDED), "w", encoding="utf-8"):
                pass


def numbers(rows: Iterable[Queued]) -> str:
    """The numbers of jobs, for people and for scancel."""
    return " ".join(sorted({row.job for row in rows}, key=int))


def refuse_queued(plan: Plan) -> None:
    """Raises UsageError when jobs are at work in the output folder."""
    rows = queued(plan)
    if rows:
        raise UsageError(f"{plan.output or '.'}: jobs of SLURM are at work there: {numbers(rows)} (scancel ends them)")
    note_ended(plan, rows)


def _pieces(row: Queued) -> list[int]:
    """The pieces of a task."""
    lines = _tasks(row.script)
    place = int(row.place) if row.place.isdigit() else len(lines)
    return lines[place] if place < len(lines) else []


def _tasks(script: str) -> list[list[int]]:
    """The pieces of all tasks of an array; none of a job that makes a summary."""
    try:
        with open(script.removesuffix(".sh") + ".tasks", encoding="utf-8") as file:
            return [[int(number) for number in line.split()] for line in file]
    except (FileNotFoundError, ValueError):
        return []


def claims(plan: Plan, rows: Iterable[Queued]) -> dict[int, Claim]:
    """The pieces of a plan that are in the queue, by their numbers."""
    wanted = {_path(plan, piece): piece for piece in plan.pieces}
    plans: dict[str, Plan] = {}
    found: dict[int, Claim] = {}
    for row in rows:
        call = os.path.dirname(row.script)
        there = plans.get(call) or plans.setdefault(call, read_plan(os.path.join(call, PLAN)))
        for theirs in _of(there, _pieces(row)):
            if mine := wanted.get(_path(there, theirs)):
                same = there.settings == plan.settings and (mine.first, mine.last) == (theirs.first, theirs.last)
                status = state.QUEUED if row.status in WAITING else state.RUNNING
                found[mine.number] = Claim(row.job, same, status)
    return found


def _of(plan: Plan, wanted: Iterable[int]) -> list[Piece]:
    """The pieces of these numbers that there are."""
    return [plan.pieces[number] for number in wanted if number < len(plan.pieces)]


def _path(plan: Plan, piece: Piece) -> str:
    return os.path.realpath(os.path.join(plan.folder, piece.out))


def refuse_others(plan: Plan, claimed: dict[int, Claim]) -> None:
    """Raises UsageError when a piece is in the queue that would be done in another way."""
    for number, claim in claimed.items():
        if not claim.same:
            raise UsageError(f"{plan.pieces[number].out} is about to be written by job {claim.job} with other options "
                             f"or days: wait for it, or scancel {claim.job}")


def look(plan: Plan) -> tuple[dict[int, str], list[str]]:
    """The pieces in the queue by their numbers, `state.QUEUED` or `state.RUNNING`, and lines about the jobs."""
    if not calls(home(plan)):
        return {}, []
    try:
        rows = queued(plan)
        return {number: claim.status for number, claim in claims(plan, rows).items()}, _tell(plan, rows)
    except (BatchError, OSError) as error:
        return {}, [str(error)]


def _tell(plan: Plan, rows: Sequence[Queued]) -> list[str]:
    """What is in the queue, and what kept tasks from doing pieces."""
    found = Counter((row.job, row.status.lower(), row.reason) for row in rows)
    lines = [f"job {job}: {count} {status}" + (f" ({reason})" if reason not in ("None", "") else "")
             for (job, status, reason), count in sorted(found.items())]
    lost = [f"{name}: {why}" for name, why in _lost(plan, rows)]
    return lines + lost[:SHOWN] + [f"and {len(lost) - SHOWN} more"] * (len(lost) > SHOWN)


def _lost(plan: Plan, rows: Sequence[Queued]) -> Iterator[tuple[str, str]]:
    """The tasks of the last call that ended without a word on a piece that is missing, and what their logs say last."""
    call = calls(home(plan))[-1]
    there, claimed = read_plan(os.path.join(call, PLAN)), claims(plan, rows)
    mine = {_path(plan, piece): piece for piece in plan.pieces}
    for task, numbers in _ended_tasks(call):
        log = _read_log(os.path.join(call, f"{task}.log"))
        for theirs in _of(there, numbers):
            piece = mine.get(_path(there, theirs))
            told = any(line.startswith(theirs.name + " ") for line in log)
            if piece and not told and piece.number not in claimed and state.read_state(piece) is None:
                yield f"{piece.name}: job {task}", log[-1]


def _ended_tasks(call: str) -> Iterator[tuple[str, list[int]]]:
    """Tasks, as SLURM names them, and the numbers of their pieces."""
    for name in sorted(name for name in os.listdir(call) if name.startswith("array") and name.endswith(".job")):
        path = os.path.join(call, name)
        with open(path, encoding="utf-8") as file:
            job = file.read().strip()
        for place, numbers in enumerate(_tasks(path.removesuffix(".job") + ".sh")):
            yield f"{job}_{place}", numbers


def _read_log(path: str) -> list[str]:
    """The lines of a task's log, at least one."""
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            return [line.strip() for line in file if line.strip()] or ["said nothing"]
    except OSError:
        return [f"left no log: it never began, or its node does not see {os.path.dirname(path)}"]
