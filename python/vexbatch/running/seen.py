"""How much input there was of each day: what goes out of sight is no gap of the archive.

An archive that is not mounted, or a node that does not see it, looks like one without files. So a plan keeps how much
each call has seen, and a run that sees less has failed.
"""

from __future__ import annotations

import datetime
import functools
import os
import re
from collections.abc import Iterable, Iterator

from ..planning.listing import InputFile, Inputs, join
from ..planning.plan import Piece, Plan, Seen
from ..planning.settings import Settings

#: Options that tell which files of an archive are input.
OF_INPUT = ("d", "d2", "myd2", "ef", "ef2", "mf", "mf2", "alt")
#: The day of what has none.
ALWAYS = ""
GRID = "alt grid"
GIVE_UP = "add --accept-missing if they are gone for good"


def tally(settings: Settings, files: Iterable[InputFile]) -> Seen:
    """Files and bytes by product ("d L1C", "d2 trg", "myd2 trg", and "alt grid") and day; "" is the day of what has none."""
    found: Seen = {}
    place = functools.cache(functools.partial(_place, settings))
    for file in files:
        folder = file.path.rpartition("/")[0]
        product, day = (GRID, ALWAYS) if file.kind == "grid" else place(file.kind, folder)
        if file.kind != "grid" or file.size >= 0:
            count = found.setdefault(product, {}).setdefault(day, [0, 0])
            count[0] += 1
            count[1] += max(0, file.size)
    return found


def _place(settings: Settings, kind: str, folder: str) -> tuple[str, str]:
    """The product and the day of the files in a folder."""
    for option, below in (("d", ""), ("d2", f"/{kind}")):
        root = settings.value(option)
        if root is not None and (kind == "L1C") == (option == "d") and folder.startswith(begin := join(root, "")):
            if match := re.fullmatch(r"(\d{4})/(\d\d)/(\d\d)" + below, folder[len(begin):]):
                return f"{option} {kind}", "-".join(match.groups())
    return f"myd2 {kind}", ALWAYS


def merge(seen: Seen, other: Seen) -> None:
    """Adds to `seen` what `other` has more of."""
    for product, days in other.items():
        for day, counts in days.items():
            before = seen.setdefault(product, {}).get(day, [0, 0])
            seen[product][day] = [max(pair) for pair in zip(before, counts)]


def same_input(one: dict[str, list[str]], other: dict[str, list[str]]) -> bool:
    """Whether the options of two runs name the same files of an archive."""
    return all(one.get(name) == other.get(name) for name in OF_INPUT)


def out_of_sight(plan: Plan, piece: Piece, inputs: Inputs) -> str:
    """What there is, or was, of the input of a piece and cannot be read now; empty when there is as much, or more."""
    return _unread(inputs.unreadable) or _fewer(plan, piece, inputs)


def _unread(folders: list[str]) -> str:
    """Folders that could not be listed."""
    if not folders:
        return ""
    reason = "could not be read just now"
    try:
        os.listdir(folders[0])
    except OSError as error:
        reason = error.strerror
    others = len(set(folders)) - 1  # several products may have one root
    more = f" and {others} more folders" if others else ""
    return f"input could not be read: {folders[0].rstrip('/')}: {reason}{more}"


def _fewer(plan: Plan, piece: Piece, inputs: Inputs) -> str:
    """Days of which there was more."""
    now = tally(plan.settings, inputs.all())
    found = []
    for product, days in plan.seen.items():
        if product == GRID and not inputs.files:
            continue  # it is of use to no run
        for day in (ALWAYS, *_days(piece)):
            files, size = days.get(day, (0, 0))
            files_now, size_now = now.get(product, {}).get(day, (0, 0))
            if files_now < files or size_now < size:
                what = product.split()[1] + (f" of {day}" if day else "")
                found.append(f"{files_now} of {files} files of {what} ({size_now} of {size} bytes)")
    more = f" and less of {len(found) - 1} others" if len(found) > 1 else ""
    return f"{os.uname().nodename} sees {found[0]}{more}; {GIVE_UP}" if found else ""


def absent(settings: Settings, piece: Piece, inputs: Inputs) -> dict[str, list[str]]:
    """The products that are asked for and have no file, by day."""
    now = tally(settings, inputs.files)
    found = {}
    for day in _days(piece):
        kinds = [kind for kind in settings.kinds if not any(
            place in now.get(f"{option} {kind}", {}) for option, place in (("d", day), ("d2", day), ("myd2", ALWAYS)))]
        if kinds:
            found[day] = kinds
    return found


def _days(piece: Piece) -> Iterator[str]:
    first, last = map(datetime.date.fromisoformat, (piece.first, piece.last))
    for number in range((last - first).days + 1):
        yield str(first + datetime.timedelta(number))
