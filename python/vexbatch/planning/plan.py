"""What is to be done: the pieces of a span."""

from __future__ import annotations

import dataclasses
import datetime
import json
import os
import re
from collections.abc import Iterator, Sequence
from dataclasses import dataclass, field
from typing import Any

from ..running import files
from ..errors import UsageError
from .settings import Settings

Date = datetime.date
Span = tuple[Date, Date]
#: Files and bytes, by product and day.
Seen = dict[str, dict[str, list[int]]]

PLAN, SUMMARY, LOCK = "plan.json", "summary.json", ".vex-batch.lock"
#: Where files of an archive are, below its root: in dated folders, or anywhere.
DATED, ANY = re.compile(r"\d{4}/\d\d/\d\d/"), re.compile(r"(?!\.\./)")
#: What is written of a plan.
FORM = {
    "settings": {"vex": str, "words": [str], "configuration": str | None, "version": str, "program": str,
                 "options": {str: [str]}, "suffixes": [str], "first": str, "last": str},
    "folder": str, "output": str, "timeout": int | float | None, "retries": int, "strict": bool,
    "joined": str | None, "pieces": [{"number": int, "first": str, "last": str, "out": str}], "roots": [str],
    "index": str | None, "seen": {str: {str: (int, int)}}, "digest": bool,
}
FIELDS = "date, first, last, year, month, day"


@dataclass(frozen=True)
class Piece:
    """One run of vex.

    Attributes
    ----------
    number : int
        Its place in the plan, from 0.
    first, last : str
        Its days, YYYY-MM-DD.
    out : str
        The path of its output: what -out names when the run is complete.
    """

    number: int
    first: str
    last: str
    out: str

    @property
    def name(self) -> str:
        """Its days."""
        return self.first if self.first == self.last else f"{self.first} to {self.last}"

    @property
    def part(self) -> str:
        """The path of -out while vex runs."""
        return self.out + ".part"

    @property
    def log(self) -> str:
        """What vex prints."""
        return self.out + ".log"

    @property
    def errors(self) -> str:
        """What vex prints on standard error; there when it printed something."""
        return self.out + ".err"

    @property
    def state(self) -> str:
        """The file that tells what came of it."""
        return self.out + ".json"


@dataclass(frozen=True)
class Plan:
    """All that an engine has to know. Relative paths are those of `folder`.

    Attributes
    ----------
    folder : str
        Where the call was made.
    output : str
        The folder of plan, summary and lock.
    timeout : float or None
        Seconds that a piece may take.
    retries : int
        How often a piece that fails is tried again.
    strict : bool
        Whether damaged input shows in the exit status.
    joined : str or None
        The path of what the pieces are joined to in the end.
    roots : tuple of str
        The folders of input, and the grid, that were there when the plan was made.
    seen : dict
        How much input there is, or was before and has not been given up, by product and day: see `running.seen`.
    index : str or None
        The folder of the index of the archive, by which runs are handed only the files that they need.
    digest : bool
        Whether digests of the output are asked for.
    """

    settings: Settings
    folder: str
    output: str
    timeout: float | None
    retries: int
    strict: bool
    joined: str | None
    pieces: tuple[Piece, ...]
    roots: tuple[str, ...] = ()
    index: str | None = None
    seen: Seen = field(default_factory=dict)
    digest: bool = False

    @property
    def digests(self) -> bool:
        """Whether the outputs of pieces have digests: what pieces are joined to is known by them."""
        return self.digest or self.joined is not None

    def paths(self, piece: Piece) -> list[str]:
        """The files of a complete piece."""
        return [piece.out + suffix for suffix in self.settings.suffixes]

    def joining(self) -> Piece | None:
        """What the pieces are joined to, as one more piece."""
        last = len(self.pieces)
        return Piece(last, self.settings.first, self.settings.last, self.joined) if self.joined else None


def find_roots(settings: Settings) -> tuple[str, ...]:
    """The folders of input and the grid, those that are there."""
    paths = (settings.value(name) for name in ("d", "d2", "myd2", "alt"))
    return tuple(path for path in paths if path and os.path.exists(path))


def spans(first: Date, last: Date, by: str) -> Iterator[Span]:
    """The days of each piece, in order.

    Parameters
    ----------
    by
        ``day``, ``month`` (those of the calendar) or a number of days as ``7days``.
    """
    match = re.fullmatch(r"(\d{1,6})days?", by)
    if by not in ("day", "month") and not (match and int(match[1])):
        raise UsageError(f"--by {by}: day, month or a number of days as 7days is wanted")
    while True:
        days = int(match[1]) if match else 1
        if by == "month":
            import calendar
            days = calendar.monthrange(first.year, first.month)[1] - first.day + 1
        end = first + datetime.timedelta(min(days - 1, (last - first).days))
        yield first, end
        if end == last:  # which may be the last day there is
            return
        first = end + datetime.timedelta(1)


def fill(template: str, first: Date, last: Date, date: str) -> str:
    """The path of an output."""
    try:
        return template.format(date=date, first=first, last=last, year=f"{first:%Y}", month=f"{first:%m}",
                               day=f"{first:%d}")
    except (KeyError, IndexError, ValueError, AttributeError, TypeError):
        raise UsageError(f"--out {template}: the fields are {FIELDS}, each in braces") from None


def make_pieces(settings: Settings, template: str, by: str) -> tuple[Piece, ...]:
    """The pieces of a span, by day."""
    first, last = Date.fromisoformat(settings.first), Date.fromisoformat(settings.last)
    return tuple(Piece(number, str(one), str(end), fill(template, one, end, str(one)))
                 for number, (one, end) in enumerate(spans(first, last, by)))


def output_folder(template: str) -> str:
    """The last folder that all pieces share; empty for the one of the call."""
    return os.path.dirname(template.split("{")[0])


def joined_path(settings: Settings, template: str) -> str:
    """The path of what pieces are joined to, made of their template: {date} stands for both ends of the span."""
    if "{first}" not in template and "{date}" not in template or re.search(r"\{(year|month|day)\}", template):
        raise UsageError("name what the pieces are joined to with --merge-out")
    first, last = Date.fromisoformat(settings.first), Date.fromisoformat(settings.last)
    return fill(template, first, last, f"{first}_{last}")


def refuse_paths(plan: Plan) -> None:
    """Raises UsageError when two files would have one path, or one could not be written."""
    joining = plan.joining()
    taken = {_real(os.path.join(plan.output, name)): "vex-batch itself" for name in (PLAN, SUMMARY, LOCK)}
    for piece in [*plan.pieces, *([joining] if joining else [])]:
        if not os.path.basename(piece.out):
            raise UsageError(f"--out {piece.out}: is a folder, the name of a file is wanted")
        for path in {*plan.paths(piece), piece.log, piece.errors, piece.state, piece.part}:
            if (real := _real(path)) in taken:
                raise UsageError(f"{path}: would be written by {taken[real]} and by {piece.name}")
            taken[real] = piece.name
            _refuse_archive(plan.settings, path, real)
            if os.path.lexists(path) and not os.path.isfile(path):
                raise UsageError(f"{path}: is there, and is not a file")


def _real(path: str) -> str:
    """The one true path of a file in a folder; it may itself be a link, which is replaced."""
    return os.path.join(os.path.realpath(os.path.dirname(path) or os.curdir), os.path.basename(path))


def _refuse_archive(settings: Settings, path: str, real: str) -> None:
    """Raises UsageError when a path lies where the archive has its files: they would be removed or replaced."""
    for name, pattern in (("d", DATED), ("d2", DATED), ("myd2", ANY)):
        root = settings.value(name)
        if root and pattern.match(os.path.relpath(real, os.path.realpath(root))):
            raise UsageError(f"{path}: lies in the archive, -{name} {root}")
    grid = settings.value("alt")
    if grid and real == os.path.realpath(grid):
        raise UsageError(f"{path}: is the grid of -alt")


def write_plan(plan: Plan) -> str:
    """Writes plan.json, and gives its path."""
    path = os.path.join(plan.output, PLAN)
    files.write_json(path, dataclasses.asdict(plan))
    return path


def known_input(plan: Plan, options: Sequence[str]) -> Seen:
    """The input that the plan before this one has seen, if these options of both are equal."""
    try:
        before = read_plan(os.path.join(plan.output, PLAN))
    except UsageError:
        return {}
    now, then = plan.settings.options, before.settings.options
    same = before.folder == plan.folder and all(now.get(name) == then.get(name) for name in options)
    return before.seen if same else {}


def read_plan(path: str) -> Plan:
    """The plan that was written, for the folder where it was made."""
    try:
        with open(path, encoding="utf-8") as file:
            found: Any = json.load(file)
        if not files.has_form(found, FORM):
            raise ValueError
        settings = found["settings"]
        settings.update({name: tuple(settings[name]) for name in ("words", "suffixes")})
        pieces = tuple(Piece(**piece) for piece in found["pieces"])
        if [piece.number for piece in pieces] != list(range(len(pieces))):
            raise ValueError
        return Plan(**(found | {"settings": Settings(**settings), "pieces": pieces, "roots": tuple(found["roots"])}))
    except OSError as error:
        raise UsageError(f"{path}: {error.strerror}") from None
    except (ValueError, TypeError, RecursionError):
        raise UsageError(f"{path}: is not a plan of this vex-batch; the call that made it makes it anew") from None
