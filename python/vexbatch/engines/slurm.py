"""Pieces as array jobs of SLURM."""

from __future__ import annotations

import argparse
import contextlib
import dataclasses
import os
import re
import shlex
import sys
import time
from collections.abc import Callable, Sequence

from ..running import files, state
from ..errors import BatchError, UsageError
from .jobs import Queued, ask, calls, claims, home, in_queue, job_name, queued
from .local import Report
from ..planning.plan import PLAN, Plan

#: Tasks of an array where SLURM does not tell its limit, which is then the default one.
ARRAY_SIZE = 1000
#: Seconds between two looks at the states of pieces; until SLURM is asked again, the first time and at most, twice as long
#: each time. Where all pieces have ended it is asked sooner.
LOOK, FIRST, ASK = 1.0, 10.0, 60.0
#: States that are looked at in a second, at most: they may lie on a file system that many share.
LOOKS = 100
#: Seconds until it is asked for again where SLURM does not answer.
PAUSES = (5, 15, 60, 240)
#: Options of sbatch that are set here, or that would let it do something else.
OURS = ("--array", "--output", "--error", "--wrap", "--wait", "--clusters", "--chdir", "--parsable", "--test-only",
        "--job-name", "-a", "-o", "-e", "-W", "-M", "-D", "-J")

SCRIPT = """\
#!/bin/bash
echo "$(hostname): job ${{SLURM_JOB_ID:-}}"
export PYTHONPATH={root}${{PYTHONPATH:+:$PYTHONPATH}}
"""
TASK = """\
mapfile -t tasks < {tasks}
read -r -a numbers <<< "${{tasks[SLURM_ARRAY_TASK_ID]}}"
exec {python} -m vexbatch run-piece {plan} "${{numbers[@]}}"
"""
JOIN = "{python} -m vexbatch run-piece {plan} {number}\n"
SUMMARY = "exec {python} -m vexbatch status {output}\n"


def _words(text: str) -> list[str]:
    """Options for sbatch."""
    try:
        words = shlex.split(text)
    except ValueError as error:
        raise argparse.ArgumentTypeError(f"{text!r}: {error}") from None
    for word in words:
        for own in OURS:
            if word.split("=")[0] == own or len(own) == 2 and word.startswith(own):
                raise argparse.ArgumentTypeError(f"{word} is not for --sbatch: vex-batch says itself what the jobs do")
    return words


def add_options(parser: argparse.ArgumentParser, positive: Callable[[str], int]) -> None:
    """The options of this engine; `positive` reads a number above 0."""
    group = parser.add_argument_group("jobs of SLURM (--engine slurm)")
    group.add_argument("--sbatch", type=_words, metavar="OPTIONS", default=[],
                       help="for sbatch, in quotes: account, partition, time, memory")
    group.add_argument("--max-tasks", type=positive, metavar="N", help="tasks at a time")
    group.add_argument("--pieces-per-task", type=positive, metavar="N", default=1, help="pieces of a task (1)")
    group.add_argument("--array-size", type=positive, metavar="N", help="tasks of an array (the limit of the cluster)")
    group.add_argument("--wait", action="store_true", help="wait for the end, and show the summary")


def glue(argv: Sequence[str]) -> list[str]:
    """The words of a call, with what follows --sbatch as a part of it: it begins as an option does."""
    words: list[str] = []
    for word in argv:
        if words and words[-1] == "--sbatch":
            words[-1] += "=" + word
        else:
            words.append(word)
    return words


# --- Submitting -----------------------------------------------------------------------------------------------------


def submit(plan: Plan, numbers: Sequence[int], wish: argparse.Namespace) -> str:
    """Submits pieces.

    Parameters
    ----------
    wish
        What was asked for with the options of `add_options`.

    Returns
    -------
    str
        What sbatch said when it took only a part of them.

    Raises
    ------
    UsageError
        It took none.
    """
    step, limit = wish.pieces_per_task, _array_limit()
    tasks = [numbers[place:place + step] for place in range(0, len(numbers), step)]
    size = min(wish.array_size or ARRAY_SIZE, limit)
    call = _make_call(plan)
    ids: list[str] = []
    try:
        for place in range(0, len(tasks), size):
            ids.append(_submit_array(plan, call, tasks[place:place + size], wish, ids))
    except BatchError as error:
        if not ids:
            with contextlib.suppress(BatchError):  # where it is not known whether sbatch took it, it stays
                import shutil
                if not in_queue(call, home(plan)):
                    shutil.rmtree(call)
            raise UsageError(str(error)) from None
        return f"{error}; call again for the rest"
    finally:
        if ids:
            _submit_summary(plan, call, wish, ids)
    return ""


def _make_call(plan: Plan) -> str:
    folder = home(plan)
    if "\n" in folder:
        raise UsageError(f"{folder}: has a line feed, and squeue tells the paths of scripts line by line")
    last = max((int(os.path.basename(call)) for call in calls(folder)), default=0)
    call = os.path.join(folder, f"{last + 1:04d}")
    os.makedirs(call)
    files.write_json(os.path.join(call, PLAN), dataclasses.asdict(plan))
    return call


def _array_limit() -> int:
    """The most tasks of an array.

    Raises
    ------
    UsageError
        SLURM does not answer.
    """
    try:
        said = ask(["scontrol", "show", "config"])
    except BatchError as error:
        raise UsageError(str(error)) from None
    match = re.search(r"MaxArraySize\s*=\s*(\d+)", said)
    return max(1, int(match[1])) if match else ARRAY_SIZE


def _submit_array(plan: Plan, call: str, tasks: Sequence[Sequence[int]], wish: argparse.Namespace,
                  before: Sequence[str]) -> str:
    name = os.path.join(call, f"array{len(before)}")
    with open(name + ".tasks", "w", encoding="utf-8") as file:
        file.writelines(" ".join(map(str, numbers)) + "\n" for numbers in tasks)
    most = f"%{wish.max_tasks}" if wish.max_tasks else ""
    words = [f"--array=0-{len(tasks) - 1}{most}", f"--output={_log(call, '%A_%a')}"]
    if most and before:  # the limit is one for all arrays
        words.append(f"--dependency=afterany:{before[-1]}")
    job = _sbatch(name, TASK, [*wish.sbatch, *words], tasks=name + ".tasks", plan=os.path.join(call, PLAN))
    pieces = sum(map(len, tasks))
    print(f"submitted job {job}: {len(tasks)} tasks, {pieces} pieces", flush=True)
    return job


def _submit_summary(plan: Plan, call: str, wish: argparse.Namespace, ids: Sequence[str]) -> None:
    output = os.path.join(os.path.dirname(os.path.dirname(call)), "")
    words = [f"--dependency=afterany:{':'.join(ids)}", f"--output={_log(call, 'summary')}"]
    script = (JOIN if plan.joined else "") + SUMMARY
    try:
        job = _sbatch(os.path.join(call, "summary"), script, [*wish.sbatch, *words], output=output,
                      plan=os.path.join(output, PLAN), number=str(len(plan.pieces)))
        print(f"submitted job {job}: the summary", flush=True)
    except BatchError as error:
        print(f"vex-batch: warning: {error}; vex-batch status makes the summary", file=sys.stderr, flush=True)


def _log(call: str, name: str) -> str:
    """A path for sbatch, which reads %A in it."""
    return os.path.join(call.replace("%", "%%"), name + ".log")


def _sbatch(name: str, script: str, words: Sequence[str], **paths: str) -> str:
    """Writes a script and submits it; gives the number of the job, which is also written beside it."""
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    known = {"root": root, "python": sys.executable} | paths
    with open(name + ".sh", "w", encoding="utf-8", errors="surrogateescape") as file:
        file.write((SCRIPT + script).format(**{key: shlex.quote(path) for key, path in known.items()}))
    job = job_name(os.path.dirname(os.path.dirname(name)))
    said = ask(["sbatch", "--parsable", f"--job-name={job}", *words, name + ".sh"])
    match = re.search(r"^(\d+)(;.*)?$", said, re.MULTILINE)
    if not match:
        raise BatchError(f"sbatch says: {' '.join(said.split()) or 'nothing'}")
    job = match[1]
    with open(name + ".job", "w", encoding="utf-8") as file:
        file.write(job + "\n")
    return job


def watch(plan: Plan, numbers: Sequence[int], report: Report) -> None:
    """Waits until no job is left that works in the output folder, and tells what came of pieces as they end."""
    waiting, pause, last = set(numbers), FIRST, LOOK
    before = {number: _stamp(plan, number) for number in numbers}
    try:
        while rows := _patiently(plan):
            _report(plan, waiting - claims(plan, rows).keys(), report)
            waiting &= claims(plan, rows).keys()
            until = time.monotonic() + (pause if waiting else last)
            pause, last = (min(ASK, pause * 2), last) if waiting else (pause, min(ASK, last * 2))
            while time.monotonic() < until:
                time.sleep(max(LOOK, len(waiting) / LOOKS))
                ended = {number for number in waiting if _stamp(plan, number) != before[number] and _is_over(plan, number)}
                _report(plan, ended, report)
                waiting -= ended
                if ended and not waiting:
                    break
        _report(plan, waiting, report)
    except BaseException:
        print("jobs that were submitted go on: squeue shows them, scancel ends them", file=sys.stderr)
        raise


def _patiently(plan: Plan) -> list[Queued]:
    """What is in the queue; SLURM may not answer for some minutes."""
    for pause in PAUSES:
        try:
            return queued(plan)
        except UsageError as error:
            print(f"vex-batch: warning: {error}; asking again", file=sys.stderr, flush=True)
            time.sleep(pause)
    return queued(plan)


def _stamp(plan: Plan, number: int) -> int:
    """When the state of a piece was written, ns; 0 when there is none."""
    try:
        return os.stat(plan.pieces[number].state).st_mtime_ns
    except OSError:
        return 0


def _is_over(plan: Plan, number: int) -> bool:
    """Whether a piece is complete, or was tried for the last time."""
    made = state.read_state(plan.pieces[number])
    return made is not None and (made["outcome"] in state.COMPLETE or made["attempt"] > plan.retries)


def _report(plan: Plan, ended: set[int], report: Report) -> None:
    for number in sorted(ended):
        made = state.read_state(plan.pieces[number])
        report(number, made or {"outcome": state.FAILED, "why": "its task did not come to its end"}, True)
