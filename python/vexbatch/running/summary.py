"""What came of all pieces, by their states alone: whoever makes it gets the same."""

from __future__ import annotations

import os
from collections import Counter
from collections.abc import Callable
from typing import Any

from . import files, state
from ..planning.plan import SUMMARY, Piece, Plan
from .progress import WORDS, amount
from .state import State

Summary = dict[str, Any]

#: Exit statuses.
ALL_COMPLETE, SOME_FAILED, NOTHING, DAMAGED = 0, 1, 3, 4
#: Pieces that are named in the table.
SHOWN = 10


def summarise(plan: Plan, waiting: Callable[[Piece], str] = lambda piece: "") -> Summary:
    """The summary of a plan.

    Parameters
    ----------
    waiting
        Tells whether a piece that is not complete is queued or running; empty when it is neither.

    Returns
    -------
    dict
        As summary.json has it: numbers of pieces by outcome, pixels [selected, read] by product, files and bytes of
        input, files, bytes and records of output, ``selected`` records (pixels of statistics), seconds of vex and bytes
        of input in one of them, peak memory of one run (bytes), complaints by kind; ``incomplete`` and ``damaged`` tell
        what was said of such pieces, by name, ``absent`` which products have no file of a day.
    """
    made = _empty(plan)
    states = [state.read_state(piece) for piece in plan.pieces]
    for piece, found in zip(plan.pieces, states):
        _add(made, plan, piece, found, waiting)
    if joining := plan.joining():
        why = state.joining_fault(plan, joining, filter(None, states))
        made["joined"] = not why
        if why and set(made["outcomes"]) <= set(state.COMPLETE):
            made["incomplete"]["joining"] = why
    pixels = sum(selected for selected, _ in made["pixels"].values())
    made["selected"] = pixels if plan.settings.format == "txtstat" else made["records"]
    made["rate"] = round(made["input_bytes"] / made["seconds"]) if made["seconds"] else 0
    made["seconds"] = round(made["seconds"], 3)
    made["exit_status"] = _status(made, plan.strict)
    return made


def _empty(plan: Plan) -> Summary:
    return {"vex": plan.settings.version, "first": plan.settings.first, "last": plan.settings.last,
            "options": plan.settings.options, "pieces": len(plan.pieces), "outcomes": Counter(), "pixels": {},
            "input_files": 0, "input_bytes": 0, "output_files": 0, "output_bytes": 0, "records": 0, "selected": 0,
            "seconds": 0.0, "peak_memory": 0, "complaints": Counter(), "incomplete": {}, "damaged": {}, "absent": {}}


def _add(made: Summary, plan: Plan, piece: Piece, found: State | None, waiting: Callable[[Piece], str]) -> None:
    fault = state.fault(plan, piece, found)
    if fault and (word := waiting(piece)):
        made["outcomes"][word] += 1
        return
    if not found or fault:
        failed = found is not None and found["outcome"] == state.FAILED
        made["outcomes"][state.FAILED if failed else state.MISSING] += 1
        made["incomplete"][piece.name] = found["why"] if found and failed else fault
        return
    made["outcomes"][found["outcome"]] += 1
    if found["outcome"] == "damaged":
        made["damaged"][piece.name] = found["said"]
    made["absent"] |= found["absent"]
    made["complaints"].update(found["complaints"])
    for kind, counts in found["counts"].get("pixels", {}).items():
        before = made["pixels"].get(kind, [0, 0])
        made["pixels"][kind] = [one + other for one, other in zip(before, counts)]
    made["input_files"] += sum(kind != "grid" for kind, *_ in found["inputs"])
    made["input_bytes"] += found["input_bytes"]
    made["output_files"] += len(found["outputs"])
    made["output_bytes"] += sum(output["bytes"] for output in found["outputs"])
    made["records"] += sum(output["records"] for output in found["outputs"])
    made["seconds"] += found["seconds"]
    made["peak_memory"] = max(made["peak_memory"], found["peak_memory"])


def _status(made: Summary, strict: bool) -> int:
    going = {state.QUEUED, state.RUNNING} & set(made["outcomes"])
    if made["incomplete"] or made.get("joined") is False and not going:
        return SOME_FAILED
    if (made["damaged"] or made["absent"]) and strict:
        return DAMAGED
    return ALL_COMPLETE if made["selected"] or going else NOTHING


def write_summary(plan: Plan, made: Summary) -> None:
    """Writes summary.json."""
    files.write_json(os.path.join(plan.output, SUMMARY), made)


def table(made: Summary) -> str:
    """The summary for people."""
    outcomes = ", ".join(f"{count} {_word(outcome)}" for outcome, count in sorted(made["outcomes"].items()))
    rows = [("pieces", f"{made['pieces']}: {outcomes}")]
    rows += [("pixels", f"{selected} {kind} selected of {read}") for kind, (selected, read) in made["pixels"].items()]
    rows += [("input", f"{amount(made['input_bytes'])} in {made['input_files']} files"),
             ("output", f"{amount(made['output_bytes'])} in {made['output_files']} files"),
             ("rate", f"{amount(made['rate'])}/s of input in one run"),
             ("runs", f"{made['seconds']:.1f} s, {amount(made['peak_memory'])} of memory at most")]
    rows += [("complaints", f"{count} {kind}") for kind, count in sorted(made["complaints"].items())]
    for word in ("absent", "damaged", "incomplete"):
        rows += [(word, f"{name}: {said if isinstance(said, str) else ', '.join(said)}")
                 for name, said in list(made[word].items())[:SHOWN]]
        rows += [(word, f"and {len(made[word]) - SHOWN} more")] * (len(made[word]) > SHOWN)
    return "\n".join(f"{name:<12}{value}" for name, value in rows)


def _word(outcome: str) -> str:
    return WORDS.get(outcome, outcome)
