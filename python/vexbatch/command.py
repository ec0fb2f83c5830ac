"""The command `vex-batch`."""

from __future__ import annotations

import argparse
import contextlib
import importlib
import os
import shlex
import sys
from collections.abc import Callable, Container, Iterator, Sequence
from typing import TYPE_CHECKING

from .engines import jobs, local, slurm
from .running import files, seen, state
from vexfile.program import DEBUG, Stopped, run_command
from .errors import BatchError, DiskFull, Halted, UsageError
from .planning.listing import Archive, Inputs
from .options import command_parser, make_parser
from .planning.plan import (
    LOCK, PLAN, Piece, Plan, find_roots, joined_path, known_input, make_pieces, output_folder, read_plan, refuse_paths,
    write_plan)
from .running.progress import Progress, amount, line
from .planning.settings import Settings, find_vex, read_settings
from .running.state import COMPLETE, Judgement
from .running.summary import SOME_FAILED, Summary, summarise, table, write_summary
from .engines.task import run_task

if TYPE_CHECKING:
    from .index import archive

# --- The plan -------------------------------------------------------------------------------------------------------


def make_plan(arguments: argparse.Namespace, words: Sequence[str]) -> Plan:
    """Checks all that was asked for; says what vex warns of."""
    settings, warned = read_settings(find_vex(arguments.vex), words)
    for said in warned:
        _warn(f"vex says: {said}")
    if settings.value("myd2") is not None and settings.l2_kinds:
        _warn("each piece reads all files of -myd2, which have no dates")
    for name in ("d", "d2", "myd2"):
        if (root := settings.value(name)) is not None and not os.path.exists(root):
            _warn(f"there is no -{name} {root}: its pieces have no input")
    _refuse_joining(arguments, settings)
    _refuse_forgotten(settings)
    wish, out = arguments.merge or arguments.cat, _no_option(arguments.out)
    joined = (_no_option(arguments.merge_out) or joined_path(settings, out)) if wish else None
    plan = Plan(settings, os.getcwd(), output_folder(out), arguments.timeout, arguments.retries,
                arguments.strict, joined, make_pieces(settings, out, arguments.by), find_roots(settings),
                os.path.abspath(arguments.index) if arguments.index else None, digest=arguments.digest)
    refuse_paths(plan)
    if not arguments.accept_missing:
        seen.merge(plan.seen, known_input(plan, seen.OF_INPUT))
    return plan


def _no_option(path: str | None) -> str:
    """A path that vex does not take for an option."""
    return os.path.join(os.curdir, path) if path and path.startswith("-") else path or ""


def _refuse_joining(arguments: argparse.Namespace, settings: Settings) -> None:
    form = settings.format
    for option in ("maxres", "skip"):
        if arguments.merge and not (settings.value(option) or "-").startswith("-"):
            raise UsageError(f"--merge is not for runs with -{option}: statistics do not tell which pixels it chose")
    if arguments.merge and form != "txtstat":
        raise UsageError("--merge is for statistics (-of txtstat); --cat joins records")
    if arguments.cat and form == "txtstat":
        raise UsageError("--cat is for records; --merge merges statistics")
    if arguments.merge_out and not (arguments.merge or arguments.cat):
        raise UsageError("--merge-out is of no use without --merge or --cat")


def _refuse_forgotten(settings: Settings) -> None:
    """Raises UsageError where vex would go without a product that is asked for, as if the archive had none."""
    if settings.l1c and settings.value("d") is None:
        raise UsageError("-c or -avhrr is given without -d: there would be no L1C data")
    if settings.l2_kinds and settings.value("d2") is None and settings.value("myd2") is None:
        kinds = ",".join(settings.l2_kinds)
        raise UsageError(f"-t2 {kinds} is given without -d2 or -myd2: all {kinds} data would be missing")


def _warn(text: str) -> None:
    print(f"vex-batch: warning: {text}", file=sys.stderr, flush=True)


class Survey:
    """The pieces that are to be done but for those to leave, why, and the bytes of their input.

    What there is of it is shown to `look`: all of it at once would take much memory. `learn` sees all pieces.
    """

    def __init__(self, plan: Plan, every: bool = False, leave: Container[int] = (),
                 look: Callable[[Inputs], None] = lambda inputs: None,
                 learn: Callable[[Piece, Inputs], None] = lambda piece, inputs: None) -> None:
        archive = Archive(plan.settings)
        self.pieces: list[Piece] = []
        self.reasons: list[str] = []
        self.sizes: list[int] = []
        self.counts: list[int] = []
        self.kept = 0  # pieces that can not be done as is wanted now
        for piece in plan.pieces:
            if piece.number in leave:
                continue
            inputs = archive.inputs(piece.first, piece.last)
            learn(piece, inputs)
            judged = state.judge(plan, piece, inputs)
            if judged.note:
                _warn(f"{piece.name}: {judged.note}")
                self.kept += state.fault(plan, piece, state.read_state(piece)) != ""
            if judged.reason or every:
                self._take(piece, judged, len(inputs.files), inputs.size)
                look(inputs)

    def _take(self, piece: Piece, judged: Judgement, count: int, size: int) -> None:
        self.pieces.append(piece)
        self.reasons.append(judged.reason)
        self.counts.append(count)
        self.sizes.append(size)


# --- What can be asked for ------------------------------------------------------------------------------------------


def _read(argv: Sequence[str]) -> tuple[argparse.Namespace, Plan]:
    """What is asked for, and the plan."""
    place = argv.index("--") if "--" in argv else len(argv)
    arguments = make_parser().parse_args(slurm.glue(argv[:place]))
    return arguments, make_plan(arguments, argv[place + 1:])


def _run(argv: Sequence[str]) -> int:
    """The whole."""
    arguments, plan = _read(argv)
    if arguments.dry_run:
        return _show(plan, arguments)
    if arguments.halt and arguments.engine == "slurm":
        raise UsageError("--halt is for pieces on this machine; scancel ends jobs")
    if arguments.engine == "slurm":
        return _submit(plan, arguments)
    with _locked(plan):
        jobs.refuse_queued(plan)
        return _work(plan, arguments)


@contextlib.contextmanager
def _locked(plan: Plan) -> Iterator[None]:
    """Holds the output folder."""
    try:
        os.makedirs(plan.output or os.curdir, exist_ok=True)
        lock = files.lock(os.path.join(plan.output, LOCK))
    except OSError as error:
        raise UsageError(f"{error.filename}: {error.strerror}") from None
    if lock is None:
        raise UsageError(f"{plan.output or '.'}: another vex-batch is at work there")
    try:
        yield
    finally:
        os.close(lock)


def _learning(plan: Plan, arguments: argparse.Namespace) -> Callable[[Piece, Inputs], None]:
    return lambda piece, inputs: state.learn(plan, piece, inputs, arguments.accept_missing)


def _show(plan: Plan, arguments: argparse.Namespace) -> int:
    survey = Survey(plan, every=True, learn=_learning(plan, arguments))
    for piece, reason, count, size in zip(survey.pieces, survey.reasons, survey.counts, survey.sizes):
        said = f"to do: {reason}" if reason else "complete"
        print(f"{piece.out}  {piece.name}  {count} files, {amount(size)}  {said}")
    todo = [size for size, reason in zip(survey.sizes, survey.reasons) if reason]
    print(f"{len(todo)} of {len(plan.pieces)} pieces to do, {amount(sum(todo))} of input")
    return 0


def _work(plan: Plan, arguments: argparse.Namespace) -> int:
    _sweep(plan)
    index = _Index(plan)
    survey = Survey(plan, look=index.look, learn=_learning(plan, arguments))
    write_plan(plan)
    _say_what(plan, survey, 0)
    if survey.pieces:
        index.update(arguments.jobs)
        _import_checks(plan)
        _do(plan, survey, arguments)
    return _close(plan)


def _say_what(plan: Plan, survey: Survey, queued: int) -> None:
    """Says what is done again, and how many pieces need not be done."""
    for piece, reason in zip(survey.pieces, survey.reasons):
        if reason != state.MISSING:
            print(f"{piece.name} again: {reason}", flush=True)
    complete = len(plan.pieces) - len(survey.pieces) - survey.kept - queued
    for count, what in ((complete, "complete"), (queued, "in the queue")):
        if count:
            print(f"{count} of {len(plan.pieces)} pieces are {what}", flush=True)


def _submit(plan: Plan, arguments: argparse.Namespace) -> int:
    """Leaves the work to SLURM; waits for the end if that is asked for."""
    with _locked(plan):
        rows = jobs.queued(plan)
        jobs.note_ended(plan, rows)
        claimed = jobs.claims(plan, rows)
        jobs.refuse_others(plan, claimed)
        if not rows:
            _sweep(plan)
        index = _Index(plan)
        survey = Survey(plan, leave=claimed, look=index.look, learn=_learning(plan, arguments))
        write_plan(plan)
        _say_what(plan, survey, len(claimed))
        if not survey.pieces and not rows:
            return _close(plan)
        if survey.pieces:
            index.update(arguments.jobs)
        left = slurm.submit(plan, [piece.number for piece in survey.pieces], arguments) if survey.pieces else ""
    if left:
        _warn(left)
    if not arguments.wait:
        print(f"vex-batch status {shlex.quote(plan.output or os.curdir)} tells what comes of it")
        return SOME_FAILED if left else 0
    pieces = [*survey.pieces, *(plan.pieces[number] for number in claimed)]
    progress = Progress(pieces, [*survey.sizes, *[0] * len(claimed)])
    slurm.watch(plan, [piece.number for piece in pieces], progress.report)
    progress.close()
    return _status([plan.output or os.curdir])


def _sweep(plan: Plan) -> None:
    """Removes what killed calls left, but not of pieces that somebody is at."""
    if plan.index is not None:
        from .index import tree
        for place in tree.places():
            tree.sweep(place)
    for out, left in state.leftovers(plan.pieces).items():
        log = files.lock(out + ".log", patience=0) if files.size(out + ".log") >= 0 else -1
        if log is None:
            continue
        kept = (out + ".part", out + ".json.part")  # tell what happened; the piece itself removes them
        files.remove(path for path in left if path not in kept or files.size(out + ".json") >= 0)
        if log >= 0:
            os.close(log)


class _Index:
    """The index of the archive, if there is to be one, brought up to date with what was listed."""

    def __init__(self, plan: Plan) -> None:
        self._plan, self._news = plan, _news(plan)

    def look(self, inputs: Inputs) -> None:
        """Finds in a listing what is new."""
        if self._news:
            self._news.see(inputs)

    def update(self, processes: int) -> None:
        """Has it looked at."""
        if not self._news:
            return
        try:
            done = self._news.update(processes)
        except (OSError, RuntimeError) as error:
            path, why = self._plan.index or "", str(error)
            if isinstance(error, OSError):
                path, why = error.filename or path, error.strerror or why
            if not os.path.isdir(self._plan.index or ""):
                raise UsageError(f"{path}: {why}") from None
            _warn(f"the index cannot be updated ({path}: {why}); runs read all files that it does not know")
            return
        print(f"index: {self._news.files} files, {done.seen} of them new or changed", flush=True)
        if done.left:
            _warn(f"{done.left} files could not be looked at for the index; all runs of their days read them")


def _news(plan: Plan) -> archive.News | None:
    if plan.index is None:
        return None
    from .index import archive
    return archive.News(plan.index, plan.settings.vex)


def _import_checks(plan: Plan) -> None:
    """What workers need is imported once, before there are any."""
    os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")
    importlib.import_module("vexfile.reading.structure")
    if plan.settings.l2_kinds or "box" in plan.settings.options:  # records and lines may differ in length
        importlib.import_module("vexfile.reading.opening")
    if plan.settings.format == "txtstat":
        importlib.import_module("vexfile.statistics.merging")


def _do(plan: Plan, survey: Survey, arguments: argparse.Namespace) -> None:
    progress = Progress(survey.pieces, survey.sizes)
    try:
        local.run_all(plan, [piece.number for piece in survey.pieces], arguments.jobs, progress.report, arguments.halt)
    except (DiskFull, Halted, Stopped):
        progress.close()
        _write(plan, summarise(plan))
        raise
    progress.close()


def _write(plan: Plan, made: Summary) -> None:
    """Writes the summary, if there is room for it."""
    try:
        write_summary(plan, made)
    except OSError as error:
        _warn(f"summary.json: {error.strerror}")


def _close(plan: Plan) -> int:
    """Joins the pieces when all are complete, and tells what came of all."""
    made = summarise(plan)
    if plan.joined and set(made["outcomes"]) <= set(COMPLETE):
        from .running.merge import join_pieces
        joined = join_pieces(plan)
        there = "is complete" if made["output_files"] else state.NO_INPUT
        print(f"{plan.joined} {there if joined is None else line(joined)}")
        made = summarise(plan)
    _write(plan, made)
    print(table(made), flush=True)
    if made["damaged"]:
        _warn(f"input of {len(made['damaged'])} pieces was damaged or is not there")
    if made["absent"]:
        _warn(f"{len(made['absent'])} days have no file of a product that was asked for")
    status: int = made["exit_status"]
    return status


def _status(argv: Sequence[str]) -> int:
    folder = command_parser("status").parse_args(argv).outdir
    plan = read_plan(os.path.join(folder, PLAN))
    _refuse_moved(plan, folder)
    os.chdir(plan.folder)
    lock: int | None = -1
    with contextlib.suppress(OSError):  # others may look, too
        lock = files.lock(os.path.join(plan.output, LOCK), patience=0)
    queued, lines = jobs.look(plan)
    made = summarise(plan, lambda piece: _waiting(piece, queued, lock is None))
    if lock is not None and lock >= 0:
        _write(plan, made)
        os.close(lock)
    print(table(made), *lines, sep="\n")
    status: int = made["exit_status"]
    return status


def _refuse_moved(plan: Plan, folder: str) -> None:
    """Raises UsageError when an output folder is not the one that its plan is of."""
    there = os.path.join(plan.folder, plan.output)
    if not os.path.exists(there) or not os.path.samefile(folder or os.curdir, there):
        raise UsageError(f"{folder}: its plan is of {there}; the same call with --out for this folder looks at it anew")


def _waiting(piece: Piece, queued: dict[int, str], at_work: bool) -> str:
    """Whether a piece that is not complete is queued or running; empty when it is neither."""
    if files.is_held(piece.log):
        return state.RUNNING
    found = state.read_state(piece)
    failed = found is not None and found["outcome"] == state.FAILED
    return queued.get(piece.number, state.QUEUED if at_work and not failed else "")


def _run_piece(argv: Sequence[str]) -> int:
    """Some pieces; behind the last one counts what they are joined to."""
    arguments = command_parser("run-piece").parse_args(argv)
    plan = read_plan(arguments.plan)
    os.chdir(plan.folder)
    for number in arguments.numbers:
        if number >= len(plan.pieces) + (plan.joined is not None):
            raise UsageError(f"{number}: the plan has no such piece")
    return run_task(plan, arguments.numbers)


def _plan(argv: Sequence[str]) -> int:
    """Writes a plan and no more; says where."""
    arguments, plan = _read(argv)
    with _locked(plan):
        jobs.refuse_queued(plan)
        Survey(plan, learn=_learning(plan, arguments))
        print(write_plan(plan))
    return 0


def _todo(argv: Sequence[str]) -> int:
    """The numbers of the pieces that are to be done; also that of what they are joined to, if it has to be made."""
    plan = read_plan(command_parser("todo").parse_args(argv).plan)
    os.chdir(plan.folder)
    jobs.refuse_queued(plan)
    numbers = [piece.number for piece in Survey(plan).pieces]
    joining = plan.joining()
    states = filter(None, map(state.read_state, plan.pieces))
    if joining and (numbers or state.joining_fault(plan, joining, states)):
        numbers.append(joining.number)
    print(*numbers)
    return 0


def _workflow(argv: Sequence[str]) -> int:
    """Where the rules for Snakemake are."""
    command_parser("workflow").parse_args(argv)
    print(os.path.join(os.path.dirname(os.path.abspath(__file__)), "engines", "workflow", "Snakefile"))
    return 0


def main(argv: Sequence[str] | None = None) -> int:
    """Runs the command.

    Parameters
    ----------
    argv
        The words behind its name; None: those that it was started with.

    Returns
    -------
    int
        The exit status, as the help has it.
    """
    words = list(sys.argv[1:] if argv is None else argv)
    commands = {"status": _status, "run-piece": _run_piece, "plan": _plan, "todo": _todo, "workflow": _workflow}

    def work() -> int:
        if words and not words[0].startswith("-") and words[0] not in commands:
            raise UsageError(f"{words[0]}: unknown command, known are {', '.join(commands)} (see vex-batch --help)")
        return commands[words[0]](words[1:]) if words and words[0] in commands else _run(words)

    return run_command("vex-batch", words, work, _explained, "interrupted; call again to go on")


def _explained(error: BaseException) -> tuple[int, str]:
    """The exit status of what ended a call, and what is said of it in one line."""
    if isinstance(error, BatchError):
        return error.status, str(error)
    if isinstance(error, OSError):
        return SOME_FAILED, f"{os.fsdecode(error.filename or 'output')}: {error.strerror or error}"
    return SOME_FAILED, f"{' '.join(f'{type(error).__name__}: {error}'.split())} ({DEBUG} shows where)"
