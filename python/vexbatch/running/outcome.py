"""What came of a run of vex, by what it printed. Its exit status is always 0.

The decisions are those of the program vex-status.
"""

from __future__ import annotations

import os
import re
from collections import Counter
from collections.abc import Iterable
from dataclasses import dataclass, field
from typing import NamedTuple

SUCCEEDED = re.compile(rb"Extraction succeeded in")
NOT_OPENED = re.compile(rb"ERROR: ouverture fichier")
#: What vex says when output is lost; it goes on reading all the same.
WRITE_FAILURE = b"ERROR: Writing failure!"

#: What vex says on standard error of input that is there and could not be read, or not be held in memory. A log may have
#: both streams, and marks of messages then stand before it.
LOST = re.compile(rb"(?:day[12]|\.)*vex: (.*)")
UNREAD, NO_MEMORY, SATELLITES = "input not read", "not enough memory", "satellites differ"


class Rule(NamedTuple):
    """A sort of complaint, and the lines that are one."""

    kind: str
    pattern: re.Pattern[bytes]


def _rule(kind: str, pattern: bytes) -> Rule:
    return Rule(kind, re.compile(pattern))


#: The first rule that matches gives a line its kind. The last ones take what no other took.
RULES = (
    _rule("output not opened", rb"ERROR: ouverture fichier"),
    _rule("write failure", rb"ERROR: (?:Writing failure!|write failure on output)|(?i:error): Unable to write header"),
    _rule("file not read", rb"ERROR: Unable to open file .*!"),
    _rule(NO_MEMORY, rb"ERROR: .* would need more memory"),
    _rule("no grid of altitudes", rb"ERROR: (?:Unable to initialize altitude|Unable to open file|no altitude file)"),
    _rule("configuration not read", rb"ERROR: unable to open configuration"),
    _rule("extraction failed", rb"Error: extraction failed!"),
    _rule("other product", rb"Error: data are not"),
    _rule("pairing", rb"Probleme calcul|pb calcul"),
    _rule("damaged message", rb"Probleme |Message BUFR |non conforme|ERROR: Suspicious compression"
          rb"|ERROR: Data width too high|ERROR: unable to interpret input file"),
    _rule(SATELLITES, rb"Satellite id different"),
    _rule("other", rb"ERROR: |Error: "),
)
#: How a complaint begins. Some do not end their line: marks of messages or another one may follow.
COMPLAINT = re.compile(rb"ERROR: |Error: |Probleme |Message BUFR |non conforme|pb calcul|Satellite id different")
UNENDED = "no end of a message"
#: Complaints of the file that was opened last, or of one of those of several products.
OF_FILE = ("damaged message", "other product")

ASKED = re.compile(rb"-t2 (.*)|-c \d|-avhrr 1$")
ROOT = re.compile(rb"-(?:d|d2|myd2) (.*)")
NO_PATH = re.compile(rb"Unable to open|^Output file")
NO_FILES = re.compile(rb"No (\S*).* data files")
FILES = re.compile(rb"(\d+) (\S+) data files selected")
SELECTED = re.compile(rb"(-?\d+) (\S+) data selected out of (-?\d+)")
IN_BOX = re.compile(rb"\tIn box (.*): (-?\d+) (\S+) data selected")
#: The end of a message lies within the last bytes of a file.
TAIL, END = 64, b"7777"


@dataclass
class Outcome:
    """What a log says.

    Attributes
    ----------
    outcome : str
        ``complete``; ``failed``; ``damaged``: complete, but input was damaged or not there; ``nothing``: complete, but a
        product or a box has no pixel. A run is ``failed``, too, that tells of lost input on standard error.
    complaints : Counter
        Numbers of lines by kind.
    said : str
        The first complaint.
    version : str
        The first line.
    counts : dict
        ``files`` and ``pixels`` [selected, read] by product, ``boxes`` by name and product.
    """

    outcome: str = "failed"
    complaints: Counter[str] = field(default_factory=Counter)
    said: str = ""
    version: str = ""
    counts: dict[str, dict[str, object]] = field(default_factory=lambda: {"files": {}, "pixels": {}, "boxes": {}})


class _Log:
    """Takes the lines of a log one after the other."""

    def __init__(self) -> None:
        self.found = Outcome()
        self.succeeded = self.not_opened = self.no_pixels = self.empty_box = False
        self.current: dict[bytes, bytes] = {}  # the last path of each product
        self.satellites = b""
        self.roots: list[bytes] = []
        self.paths: list[bytes] = []
        self.without: set[bytes] = set()
        self.lost: list[bytes] = []

    def take(self, line: bytes) -> None:
        if match := LOST.match(line):
            self.lost.append(match[1])
            return
        self.succeeded |= SUCCEEDED.match(line) is not None
        self.not_opened |= NOT_OPENED.match(line) is not None
        if root := ROOT.match(line):
            self.roots.append(root[1].rstrip(b"/") + b"/")
            return
        if asked := ASKED.match(line):
            self.without.add(asked[1] or b"L1C")
        self._count(line)
        if line.startswith(b"-"):  # an option, whose value may look like a complaint or a path
            return
        self._complain(line)
        if not NO_PATH.search(line):
            self._path(line)

    def _complain(self, line: bytes) -> None:
        """The marks of messages may stand before a complaint, another one or the path of the next file behind it."""
        begins = [match.start() for match in COMPLAINT.finditer(line)]
        for begin, end in zip(begins, [*begins[1:], None]):
            said = line[begin:end]
            kind = next(rule.kind for rule in RULES if rule.pattern.search(said))
            if kind == SATELLITES:
                self.satellites = said
            elif kind not in OF_FILE or not self.current:
                self.complain(kind, said)
            else:
                place = self._place(said)
                self.complain(kind, b" or ".join(self.current.values()) + b": " + said[:None if place < 0 else place])

    def complain(self, kind: str, line: bytes) -> None:
        self.found.complaints[kind] += 1
        self.found.said = self.found.said or os.fsdecode(line.strip()[:300])

    def _count(self, line: bytes) -> None:
        counts = self.found.counts
        if match := NO_FILES.match(line):
            self.without.add(match[1])
        elif match := SELECTED.match(line):
            self.without.discard(match[2])
            self.no_pixels |= int(match[1]) == 0
            counts["pixels"][os.fsdecode(match[2])] = [int(match[1]), int(match[3])]
        elif match := IN_BOX.match(line):
            self.empty_box |= int(match[2]) == 0
            box = counts["boxes"].setdefault(os.fsdecode(match[1]), {})
            assert isinstance(box, dict)
            box[os.fsdecode(match[3])] = int(match[2])
        elif match := FILES.match(line):
            counts["files"][os.fsdecode(match[2])] = int(match[1])

    def _path(self, line: bytes) -> None:
        """The path of an input file may follow the marks of the messages of the one before."""
        if (place := self._place(line)) >= 0:
            path = line[place:]
            self.paths.append(path)
            self.current[os.path.basename(os.path.dirname(path)).lstrip(b"0123456789")] = path

    def _place(self, line: bytes) -> int:
        """Where a path begins; -1 where there is none. One root may be a part of the other, and a mark a part of one:
        "../" may be "." and "./". Then what is there counts.
        """
        places = sorted({place for place in (line.find(root) for root in self.roots) if place >= 0})
        there = (place for place in places if len(places) > 1 and os.path.lexists(line[place:]))
        return next(there, places[0] if places else -1)

    def _lose(self) -> None:
        for line in self.lost:
            self.found.complaints[NO_MEMORY if b": not enough memory" in line else UNREAD] += 1
        more = f" and {len(self.lost) - 1} more" if len(self.lost) > 1 else ""
        self.found.said = f"input could not be read: {os.fsdecode(self.lost[0][:300])}{more}"

    def close(self) -> Outcome:
        if self.satellites and not self.no_pixels:  # else one has no satellite, which is not another one
            self.complain(SATELLITES, self.satellites)
        if self.lost:
            self._lose()
        if self.lost or not self.succeeded or self.not_opened:
            return self.found
        for path in self.paths:
            if not ends(path):
                self.complain(UNENDED, UNENDED.encode() + b": " + path)
        nothing = self.no_pixels or self.empty_box or bool(self.without)
        self.found.outcome = "damaged" if self.found.complaints else "nothing" if nothing else "complete"
        return self.found


def ends(path: str | bytes) -> bool:
    """Whether the last bytes of a file have the end of a message."""
    try:
        with open(path, "rb") as file:
            file.seek(0, os.SEEK_END)
            file.seek(-min(TAIL, file.tell()), os.SEEK_END)
            return END in file.read()
    except OSError:
        return False


def judge(lines: Iterable[bytes], errors: bytes = b"") -> Outcome:
    """What came of a run, by the lines of its log and by what it printed on standard error. The files that it read are
    looked at for the end of a message.
    """
    log = _Log()
    for number, line in enumerate(lines):
        bare = line.rstrip(b"\n")
        if number == 0:
            log.found.version = os.fsdecode(bare)
        log.take(bare)
    log.lost += [match[1] for match in map(LOST.match, errors.split(b"\n")) if match]
    return log.close()
