"""What came of pieces, as it is written beside them, and whether it still holds.

A piece is complete when its state says so and agrees with its options, its input and its output. All else is absent: it
is done again, and what is left of it goes.
"""

from __future__ import annotations

import glob
import os
from collections.abc import Iterable, Sequence
from typing import Any, NamedTuple

from . import files, output, seen
from ..planning.listing import InputFile, Inputs
from ..planning.plan import Piece, Plan

State = dict[str, Any]

NO_INPUT, FAILED = "no input", "failed"
COMPLETE = ("complete", "nothing", "damaged", NO_INPUT)
MISSING, QUEUED, RUNNING = "missing", "queued", "running"
UNDIGESTED = "its output has no digest"
#: What is written of a piece.
FORM = {
    "name": str, "first": str, "last": str, "outcome": str, "why": str, "said": str, "version": str, "program": str, "attempt": int,
    "options": {str: [str]}, "inputs": [(str, str, int, int, int)], "input_bytes": int, "seconds": int | float,
    "peak_memory": int, "complaints": {str: int}, "counts": {str: dict}, "absent": {str: [str]},
    "outputs": [output.FORM],
}
PIXELS = {str: (int, int)}


class Judgement(NamedTuple):
    """Why a piece is to be done, empty when it is not, and what there is to be said of it otherwise."""

    reason: str
    note: str = ""


def read_state(piece: Piece) -> State | None:
    """What is written of a piece; None when there is nothing, or nothing that can be read."""
    found = files.read_json(piece.state)
    sound = files.has_form(found, FORM) and files.has_form((found or {})["counts"].get("pixels", {}), PIXELS)
    return found if sound else None


def fault(plan: Plan, piece: Piece, state: State | None) -> str:
    """Why a piece is not complete, whatever there is of its input; empty when it is."""
    if state is None and os.path.lexists(piece.part):
        return "was interrupted"
    if state is None:
        return f"{piece.state} is not the state of a piece" if os.path.lexists(piece.state) else MISSING
    if state["outcome"] not in COMPLETE:
        return f"failed before: {state.get('why', '')}"
    reasons = (_days(piece, state), _options(plan, state), _version(plan, state), _counts(plan, state), _outputs(state))
    return "; ".join(reason for reason in reasons if reason)


def joined_from(states: Iterable[State]) -> list[list[object]]:
    """The outputs of pieces as the input of what they are joined to: it is known by their checksums."""
    return [[one.get("sha256"), one["path"], one["bytes"], 0, 0] for state in states for one in state["outputs"]]


def joining_fault(plan: Plan, joining: Piece, states: Iterable[State]) -> str:
    """Why what the pieces of these states are joined to is not complete; empty when it is."""
    found = read_state(joining)
    if found is not None and found["outcome"] == FAILED:
        return str(found["why"])
    if (why := fault(plan, joining, found)) or found is None:
        return why
    return "" if found["inputs"] == joined_from(states) else "the pieces have changed"


def learn(plan: Plan, piece: Piece, inputs: Inputs, give_up: bool) -> None:
    """Adds to what a new plan has seen the input that there is of a piece, and unless that is given up the input that it
    had when it was done.
    """
    seen.merge(plan.seen, seen.tally(plan.settings, inputs.all()))
    found = None if give_up else read_state(piece)
    if found and seen.same_input(found["options"], plan.settings.options):
        seen.merge(plan.seen, seen.tally(plan.settings, (InputFile(*file) for file in found["inputs"])))


def judge(plan: Plan, piece: Piece, inputs: Inputs) -> Judgement:
    """Whether a piece is to be done, by its state and the input that there is now."""
    state = read_state(piece)
    found = fault(plan, piece, state)
    if state is None or state["outcome"] not in COMPLETE:
        return Judgement(found)
    lost = seen.out_of_sight(plan, piece, inputs)
    if state["outputs"] and lost and not _outputs(state):
        return Judgement("", f"its output is kept: {lost}")
    reasons = found, _inputs(state, inputs.all()), lost
    return Judgement("; ".join(filter(None, reasons)) or undigested(plan, state))


def _days(piece: Piece, state: State) -> str:
    days = state.get("first"), state.get("last")
    return "" if days == (piece.first, piece.last) else f"other days: was {days[0]} to {days[1]}"


def _options(plan: Plan, state: State) -> str:
    now, before = plan.settings.options, state["options"]
    other = [name for name in sorted(now.keys() | before.keys()) if now.get(name) != before.get(name)]
    said = [f"-{name} {_short(now.get(name))} (was {_short(before.get(name))})" for name in other]
    return f"other options: {', '.join(said)}" if said else ""


def _short(values: Sequence[str] | None) -> str:
    text = "not given" if values is None else ",".join(values)
    return text if len(text) <= 40 else text[:37] + "..."


def _version(plan: Plan, state: State) -> str:
    if state["version"] != plan.settings.version:
        return f"another version: was {state['version']}"
    return "" if state["program"] == plan.settings.program else "another build of vex"


def _counts(plan: Plan, state: State) -> str:
    """What shows that a run did not see its input, whatever came of it."""
    counted = state["counts"].get("files", {})
    unseen = {kind for kind, *_ in state["inputs"]} & set(plan.settings.kinds) - {kind for kind in counted if counted[kind]}
    return f"its run has read no {', '.join(sorted(unseen))}" if unseen else ""


def _inputs(state: State, inputs: Iterable[InputFile]) -> str:
    before = {(kind, path): tuple(stamp) for kind, path, *stamp in state["inputs"]}
    now = {(file.kind, file.path): file.stamp for file in inputs}
    counts = {"came": len(now.keys() - before.keys()), "went": len(before.keys() - now.keys()),
              "changed": sum(now[key] != before[key] for key in now.keys() & before.keys())}
    said = [f"{count} {what}" for what, count in counts.items() if count]
    return f"input files: {', '.join(said)}" if said else ""


def _outputs(state: State) -> str:
    """What is wrong with the output."""
    return next(filter(None, map(output.fault, state["outputs"])), "")


def undigested(plan: Plan, state: State) -> str:
    """Says that the output has no digests, if they are wanted."""
    return UNDIGESTED if plan.digests and not all(one.get("sha256") for one in state["outputs"]) else ""


def clear(plan: Plan, piece: Piece) -> None:
    """Removes what there is of a piece, its state last. The log stays."""
    clear_parts(plan, piece)
    found = read_state(piece)
    known = [one["path"] for one in found["outputs"]] if found else []
    files.remove([*(path for path in known if path.startswith(piece.out)), *plan.paths(piece)])
    files.remove([piece.state])


def clear_parts(plan: Plan, piece: Piece) -> None:
    """Removes what a run left that did not come to its end, and files that have their names without a state."""
    begun = files.read_json(piece.state + ".part")
    if begun and files.has_form(begun, FORM):
        files.remove(one["path"] for one in begun["outputs"] if one["path"].startswith(piece.out))
    files.remove(piece.part + suffix for suffix in ("", ".cfg", *plan.settings.suffixes))
    files.remove(glob.glob(glob.escape(piece.part) + "*.part"))  # of files that were being joined
    files.remove([piece.state + ".part"])


def leftovers(pieces: Iterable[Piece]) -> dict[str, list[str]]:
    """Files of runs that did not come to their end, by the output of their piece, in one look at each folder."""
    outs = {piece.out for piece in pieces}
    found: dict[str, list[str]] = {}
    for folder in sorted({os.path.dirname(out) for out in outs}):
        for name in _names(folder):
            path = os.path.join(folder, name)
            if (out := _owner(path, outs)) is not None:
                found.setdefault(out, []).append(path)
    return found


def _owner(path: str, outs: set[str]) -> str | None:
    place = path.find(".part")
    while place >= 0:
        for out in (path[:place], path[:place].removesuffix(".json")):
            if out in outs and path[place + len(".part"):][:1] in ("", "."):
                return out
        place = path.find(".part", place + 1)
    return None


def _names(folder: str) -> list[str]:
    try:
        return os.listdir(folder or os.curdir)
    except OSError:
        return []
