"""Pieces joined to one: statistics merged, records one after the other."""

from __future__ import annotations

import os
import time

from . import files, state
from ..errors import BatchError, DiskFull, NO_ROOM
from .piece import finish
from ..planning.plan import Piece, Plan
from .state import State


def join_pieces(plan: Plan) -> State | None:
    """Joins the pieces, file by file, if that has not been done with the same ones.

    Returns
    -------
    dict
        The state of what was made; None when it was there. Its input files are those of the pieces, by their checksums.

    Raises
    ------
    BatchError
        A piece is not complete, or somebody else is at it.
    """
    joining = plan.joining()
    assert joining
    sources = _sources(plan)
    if not state.joining_fault(plan, joining, sources):
        return None
    os.makedirs(os.path.dirname(joining.out) or os.curdir, exist_ok=True)
    log = files.lock(joining.log)
    if log is None:
        raise BatchError(f"{joining.log}: another call is joining the pieces")
    try:
        state.clear(plan, joining)
        return _join(plan, joining, sources)
    except OSError as error:
        state.clear(plan, joining)
        if error.errno in NO_ROOM:
            raise DiskFull(os.path.dirname(joining.out)) from None
        raise
    except BaseException:
        state.clear(plan, joining)
        raise
    finally:
        os.close(log)


def _sources(plan: Plan) -> list[State]:
    """The states of the pieces that have output."""
    found = []
    for piece in plan.pieces:
        made = state.read_state(piece)
        if made is None or state.fault(plan, piece, made) or state.undigested(plan, made):
            raise BatchError(f"{piece.name} is not complete, so that nothing is joined")
        found.append(made)
    return [made for made in found if made["outputs"]]


def _join(plan: Plan, joining: Piece, sources: list[State]) -> State:
    begun = time.monotonic()
    made: State = {"name": joining.name, "first": joining.first, "last": joining.last, "out": joining.out,
                   "outcome": "complete", "why": "", "attempt": 1, "options": plan.settings.options,
                   "version": plan.settings.version, "program": plan.settings.program,
                   "inputs": state.joined_from(sources), "counts": {}, "complaints": {}, "absent": {}, "said": "",
                   "outputs": [], "peak_memory": 0, "input_bytes": 0, "seconds": 0.0}
    if not sources:
        made["outcome"] = state.NO_INPUT
        files.write_json(joining.state, made)
        return made
    try:
        said = [text for suffix in plan.settings.suffixes for text in _join_files(plan, joining, suffix, sources)]
        with open(joining.log, "w", encoding="utf-8", errors="surrogateescape") as log:
            log.writelines(f"{text}\n" for text in dict.fromkeys(said))
        return finish(plan, joining, made | {"seconds": round(time.monotonic() - begun, 3)})
    except ValueError as error:
        state.clear_parts(plan, joining)
        made |= {"outcome": state.FAILED, "why": " ".join(str(error).split())}
        files.write_json(joining.state, made)
        return made


def _join_files(plan: Plan, joining: Piece, suffix: str, sources: list[State]) -> list[str]:
    """Joins the files of one suffix; gives what there is to know of the result."""
    paths = [made["out"] + suffix for made in sources]
    if plan.settings.format != "txtstat":
        from vexfile.commands.joining import join
        join(paths, joining.part + suffix, force=True)
        return []
    from vexfile.statistics.merging import merge_statistics
    reference = float(plan.settings.value("tbref") or 0)
    with_temperatures = plan.settings.value("tb") == "1" and reference > 0
    return merge_statistics(paths, joining.part + suffix, reference if with_temperatures else None,
                            (joining.first, joining.last), force=True)
