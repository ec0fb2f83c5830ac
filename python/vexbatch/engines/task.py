"""What a job of an engine does: some pieces, by the numbers that they have in a plan."""

from __future__ import annotations

import os
import sys
from collections.abc import Sequence

from ..running import state
from ..errors import BatchError, DiskFull
from ..planning.listing import Archive
from ..running.piece import abandon, settle
from ..planning.plan import Piece, Plan
from ..running.progress import line
from ..running.state import COMPLETE, State
from ..running.summary import ALL_COMPLETE, SOME_FAILED


def run_task(plan: Plan, numbers: Sequence[int]) -> int:
    """Does pieces one after the other, in the folder of the plan; one that fails does not keep the others from it.

    Parameters
    ----------
    numbers
        Those of pieces, from 0; behind the last one that of what they are joined to.

    Returns
    -------
    int
        The exit status: 1 when a piece failed.
    """
    return max([_do(plan, number) for number in numbers], default=ALL_COMPLETE)


def _do(plan: Plan, number: int) -> int:
    try:
        return _join(plan) if number == len(plan.pieces) else _piece(plan, plan.pieces[number])
    except DiskFull:
        raise
    except BatchError as error:
        print(f"vex-batch: {error}", file=sys.stderr, flush=True)
        return error.status


def _join(plan: Plan) -> int:
    from ..running.merge import join_pieces
    made = join_pieces(plan)
    return ALL_COMPLETE if made is None else _tell(plan.joined or "", made)


def _piece(plan: Plan, piece: Piece) -> int:
    if unseen := not_seen(plan):
        if not state.fault(plan, piece, state.read_state(piece)):
            raise BatchError(f"{piece.name}: {unseen}")
        return _tell(piece.name, abandon(plan, piece, unseen, 1))
    judged = state.judge(plan, piece, Archive(plan.settings).inputs(piece.first, piece.last))
    if not judged.reason:
        print(f"{piece.name} {judged.note or 'is complete'}", flush=True)
        return SOME_FAILED if judged.note and state.fault(plan, piece, state.read_state(piece)) else ALL_COMPLETE
    try:
        return _tell(piece.name, settle(plan, piece, plan.retries + 1))
    except (OSError, ValueError, MemoryError) as error:
        return _tell(piece.name, abandon(plan, piece, " ".join(f"{type(error).__name__}: {error}".split()), 1))


def _tell(name: str, made: State) -> int:
    print(f"{name} {line(made)}", flush=True)
    return ALL_COMPLETE if made["outcome"] in COMPLETE else SOME_FAILED


def not_seen(plan: Plan) -> str:
    """What there was where the plan was made and is not here: without its archive a piece would seem to have no input.
    """
    gone = [path for path in (plan.settings.vex, *plan.roots) if not os.path.exists(path)]
    return f"{os.uname().nodename} sees no {', '.join(gone)}" if gone else ""
