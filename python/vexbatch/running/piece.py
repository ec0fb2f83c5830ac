"""One piece: run, looked at, and given its name only when it is sound. All engines come through here."""

from __future__ import annotations

import contextlib
import errno
import os
import time
from collections.abc import Iterator, Sequence

from . import files, outcome, output, seen, state
from ..errors import NO_ROOM, BatchError, DiskFull
from ..planning.listing import Archive, Inputs, join
from ..planning.plan import Piece, Plan
from ..planning.program import digest
from .process import UNWRITTEN, Ended, run
from ..planning.settings import command, configuration_text, dates
from .state import State

#: Bytes that a folder takes when it is not full; vex writes blocks of a quarter of that.
ROOM = 1 << 20


def run_piece(plan: Plan, piece: Piece, attempt: int = 1, inputs: Inputs | None = None) -> State:
    """Does a piece, whatever there is of it, unless it is complete.

    Parameters
    ----------
    attempt
        How often it has been tried, this time included.
    inputs
        Its input when that was listed just now.

    Returns
    -------
    dict
        Its state, which is also written beside it. When it failed, none of its files is there.

    Raises
    ------
    DiskFull
        There is no room for its output, or for what is written of it.
    BatchError
        Somebody else works on it.
    """
    inputs = inputs or Archive(plan.settings).inputs(piece.first, piece.last)
    with _room(piece):
        os.makedirs(os.path.dirname(piece.out) or os.curdir, exist_ok=True)
        with _held(piece) as log:
            if (made := _meanwhile(plan, piece, inputs)) is not None:
                return made
            state.clear(plan, piece)
            if (why := seen.out_of_sight(plan, piece, inputs)) or inputs.none:
                files.remove([piece.log, piece.errors])
                found = {"why": why} if why else {"outcome": state.NO_INPUT}
                return _settle(piece, _base(plan, piece, inputs, attempt) | found)
            try:
                return _run(plan, piece, inputs, attempt, log)
            except BaseException:
                state.clear(plan, piece)
                raise


def _meanwhile(plan: Plan, piece: Piece, inputs: Inputs) -> State | None:
    """The state of a piece that somebody else has done while its log was waited for, or that lacks digests alone."""
    judged, made = state.judge(plan, piece, inputs), state.read_state(piece)
    if judged.note and state.fault(plan, piece, made):
        raise BatchError(f"{piece.name}: {judged.note}")
    if made and judged.reason == state.UNDIGESTED:
        made |= {"outputs": [one | {"sha256": output.digest(one["path"])} for one in made["outputs"]]}
        files.write_json(piece.state, made)
        return made
    return None if judged.reason else made


@contextlib.contextmanager
def _room(piece: Piece) -> Iterator[None]:
    """Says in one way that the folder is full."""
    try:
        yield
    except OSError as error:
        if error.errno in NO_ROOM:
            raise DiskFull(os.path.dirname(piece.out)) from None
        raise


@contextlib.contextmanager
def _held(piece: Piece) -> Iterator[int]:
    """The log, locked; vex has it open as well, so that it is held until the last one of both has gone."""
    log = files.lock(piece.log, os.O_APPEND)
    if log is None:
        raise BatchError(f"{piece.log}: another run of this piece is at work")
    try:
        yield log
    finally:
        os.close(log)


def _base(plan: Plan, piece: Piece, inputs: Inputs, attempt: int) -> State:
    """What is known before a run."""
    return {"name": piece.name, "first": piece.first, "last": piece.last, "out": piece.out, "outcome": state.FAILED,
            "why": "", "attempt": attempt, "options": plan.settings.options, "version": plan.settings.version,
            "program": plan.settings.program, "absent": seen.absent(plan.settings, piece, inputs),
            "inputs": [list(file) for file in inputs.all()], "input_bytes": inputs.size, "counts": {}, "complaints": {},
            "said": "", "outputs": [], "seconds": 0.0, "peak_memory": 0}


def _run(plan: Plan, piece: Piece, inputs: Inputs, attempt: int, log: int) -> State:
    ended, found, count = _try(plan, piece, inputs, log, plan.index)
    if count < len(inputs.files) and not ended.why and _is_empty_by_filter(found):
        ended, found, count = _try(plan, piece, inputs, log, None)
    made = _base(plan, piece, inputs, attempt) | {
        "version": found.version, "counts": found.counts, "complaints": dict(found.complaints), "said": found.said,
        "seconds": round(ended.seconds, 3), "peak_memory": ended.memory}
    why = _why(plan, ended, found) or _unseen(found, inputs, count)
    if not why:
        try:
            return finish(plan, piece, made | {"outcome": found.outcome})
        except ValueError as error:  # a FormatError of vexfile
            why = f"its output is not sound: {error}"
    if found.complaints["write failure"] and _is_full(piece):
        raise OSError(errno.ENOSPC, os.strerror(errno.ENOSPC))
    state.clear_parts(plan, piece)
    return _settle(piece, made | {"why": why})


def _try(plan: Plan, piece: Piece, inputs: Inputs, log: int, index: str | None) -> tuple[Ended, outcome.Outcome, int]:
    """Runs vex; tells how that ended, what it says, and how many files were handed over."""
    os.ftruncate(log, 0)
    files.remove([piece.errors])
    with _roots(plan, inputs, index) as (roots, count):
        ended = run(_words(plan, piece, roots), log, plan.timeout)
        with open(piece.log, "rb") as lines:
            found = outcome.judge(lines, ended.errors)  # looks at the files, by their links
    if ended.errors:
        with open(piece.errors, "wb") as errors:
            errors.write(ended.errors)
    for option, folder in roots:  # one may begin with the other
        found.said = found.said.replace(join(folder, ""), join(plan.settings.value(option) or "", ""))
    return ended, found, count


def _is_empty_by_filter(found: outcome.Outcome) -> bool:
    """Whether all boxes have pixels, but none was selected: files without a pixel in a box may have some that were."""
    boxes = [box for box in found.counts["boxes"].values() if isinstance(box, dict)]
    return found.outcome == "nothing" and bool(boxes) and all(all(box.values()) for box in boxes)


@contextlib.contextmanager
def _roots(plan: Plan, inputs: Inputs, index: str | None) -> Iterator[tuple[list[tuple[str, str]], int]]:
    """Folders of links to the files that can hold a wanted pixel, by the options of their roots, and the number of
    files; without an index no folders, and all files.

    Files are those of the listing that is kept with the state: what changes after it makes the piece one to be done again.
    """
    if index is None:
        yield [], len(inputs.files)
        return
    from ..index import archive
    with archive.narrow(index, plan.settings.vex, _narrowing(plan.settings.options), inputs) as (found, selected):
        yield sorted(found.items()), selected.files if found else len(inputs.files)


def _narrowing(options: dict[str, list[str]]) -> dict[str, list[str]]:
    """The options by which files are left out. What is counted in boxes need not pass other filters, and these counts
    tell whether a piece has something or nothing: with boxes, only boxes leave out files.
    """
    from ..index.conditions import NARROWING
    left = set(NARROWING) - {"box"} if "box" in options else set()
    return {name: values for name, values in options.items() if name not in left}


def _words(plan: Plan, piece: Piece, roots: Sequence[tuple[str, str]]) -> list[str]:
    """The command line. A configuration file is given as a copy, in which the days come last."""
    own, settings, copy = dates(piece.first, piece.last), plan.settings, None
    if settings.configuration is not None:
        copy = piece.part + ".cfg"
        with open(copy, "wb") as file:
            file.write(configuration_text(settings.configuration, [*roots, *own]))
    return command(settings.vex, settings.words, [("out", piece.part), *roots, *own], copy)


def _why(plan: Plan, ended: Ended, found: outcome.Outcome) -> str:
    """What makes a run a failed one; empty when nothing does."""
    if ended.why:
        return ended.why
    if found.complaints["write failure"]:
        return UNWRITTEN
    if found.outcome == state.FAILED:
        return found.said or "vex did not come to its end"
    if found.version != plan.settings.version:
        return f"another version of vex: {found.version}"
    if digest(plan.settings.vex) != plan.settings.program:
        return f"another build of vex than when the call began: {plan.settings.vex}"
    return ""


def _unseen(found: outcome.Outcome, inputs: Inputs, count: int) -> str:
    """What shows that input went out of sight while vex ran; empty when nothing does."""
    selected = sum(number for number in found.counts["files"].values() if isinstance(number, int))
    if selected != count:
        return f"vex found {selected} files where {count} had been listed: the archive went out of sight, or changes"
    grids = [grid for grid in inputs.grid if grid.size >= 0]
    if found.complaints["file not read"] or grids and found.complaints["no grid of altitudes"]:
        return f"input could not be read: {found.said}"
    return ""


def _is_full(piece: Piece) -> bool:
    """Whether the folder takes no more, while the output is still there."""
    path = piece.part + ".room"
    try:
        with open(path, "wb", buffering=0) as file:
            os.unlink(path)  # it goes whatever happens
            view = memoryview(bytes(ROOM))
            while view:
                view = view[file.write(view):]
            os.fsync(file.fileno())
    except OSError as error:
        return error.errno in NO_ROOM
    return False


def finish(plan: Plan, piece: Piece, made: State) -> State:
    """Looks at the output of a run, gives all files their names, and writes the state last.

    Raises
    ------
    ValueError
        A file is not sound, or not there.
    """
    pairs = [(piece.part + suffix, piece.out + suffix) for suffix in plan.settings.suffixes]
    for part, out in pairs:
        if os.path.isfile(part):
            files.sync(part)
    made = made | {"outputs": [output.describe(plan, part, out, made["counts"]) for part, out in pairs]}
    written = files.write_part(piece.state, made)  # tells what there may be, if this is the end
    for part, out in pairs:
        os.replace(part, out)
    files.remove([piece.part + ".cfg"])
    os.replace(written, piece.state)
    files.sync_folder(piece.state)
    return made


def _settle(piece: Piece, made: State) -> State:
    """Writes the state of a piece without output."""
    files.write_json(piece.state, made)
    return made


def abandon(plan: Plan, piece: Piece, why: str, attempt: int) -> State:
    """Removes what there is of a piece that could not be done, and tells why it could not."""
    with _room(piece), _held(piece):
        state.clear(plan, piece)
        return _settle(piece, _base(plan, piece, Inputs(), attempt) | {"why": why})


def settle(plan: Plan, piece: Piece, tries: int) -> State:
    """Does a piece, with some tries and pauses between them."""
    for attempt in range(1, tries + 1):
        made = run_piece(plan, piece, attempt)
        if made["outcome"] in state.COMPLETE or attempt == tries:
            break
        time.sleep(min(30, attempt))
    return made
