"""The words of the command line."""

from __future__ import annotations

import argparse
import os
from typing import NoReturn

from vexfile.program import BAD_USE, DEBUG
from vexfile.version import VERSION

from .engines import local, slurm


USAGE = "vex-batch [options] --out TEMPLATE -- OPTIONS OF VEX"
DESCRIPTION = "Runs vex over a span of days, piece by piece, and says truthfully what came of it."
EPILOG = """\
Everything behind -- is vex's own, -cfg files and -box included, without -out. A piece is complete or absent: it is
looked at before it gets its name. Called again, vex-batch does what is missing, failed or changed.

examples:
  vex-batch --out 'out/{date}.bin' -- -d L1C -fd 2013-01-01 -ld 2013-12-31 -c 1-8461 -alt grid.dat
  vex-batch --dry-run --out 'out/{date}.bin' -- -cfg year.cfg          what would be done, and why
  vex-batch -j 4 --by month --merge --out 'stat/{year}-{month}.txt' --merge-out stat/all.txt -- -of txtstat ...
  vex-batch status out                                                 what is there
  vex-batch run-piece out/plan.json 7                                  one piece, counted from 0
  vex-batch plan --out 'out/{date}.bin' -- ...                         writes out/plan.json alone
  vex-batch todo out/plan.json                                         the pieces that are to be done
  vex-batch workflow                                                   the path of the Snakefile
  vex-batch --engine slurm --sbatch '--time=60' --out 'out/{date}.bin' -- -cfg year.cfg

exit status:
  0    all pieces are complete, or are under way
  1    a piece failed or is missing
  2    the command line is wrong, or nothing could begin
  3    all are complete, but nothing was selected
  4    all are complete, but input was damaged, or a product has no file of a day (with --strict; else a warning)
  130  interrupted; 143 by SIGTERM, 129 by SIGHUP
"""


class Help(argparse.RawDescriptionHelpFormatter):
    """As wide as the terminal; argparse imports shutil, and with it libraries of compression, to know that."""

    def __init__(self, prog: str) -> None:
        try:
            width = int(os.environ.get("COLUMNS", 0)) or os.get_terminal_size().columns
        except (OSError, ValueError):
            width = 0
        super().__init__(prog, width=(width or 80) - 2)


class Parser(argparse.ArgumentParser):
    """Says what is wrong in one line."""

    def error(self, message: str) -> NoReturn:
        self.exit(BAD_USE, f"vex-batch: {message} (see vex-batch --help)\n")


def natural(text: str) -> int:
    """A number, 0 included."""
    if not text.isdigit():
        raise argparse.ArgumentTypeError(f"{text!r} is not a number")
    return int(text)


def _positive(text: str) -> int:
    if not natural(text):
        raise argparse.ArgumentTypeError("at least 1 is wanted")
    return int(text)


def _seconds(text: str) -> float:
    try:
        value = float(text)
    except ValueError:
        value = 0
    if not 0 < value < 1e9:
        raise argparse.ArgumentTypeError("a number of seconds above 0 is wanted")
    return value


def make_parser() -> Parser:
    """That of the call itself."""
    parser = Parser(prog="vex-batch", description=DESCRIPTION, epilog=_listed() + EPILOG, usage=USAGE,
                    formatter_class=Help, allow_abbrev=False)
    _add_debug(parser)
    parser.add_argument("--version", action="version", version=f"vex-batch {VERSION}")
    parser.add_argument("-j", "--jobs", type=_positive, metavar="N", default=local.cores(),
                        help="pieces at a time (all cores)")
    parser.add_argument("--by", default="day", metavar="day|month|Ndays", help="what a piece is (day)")
    parser.add_argument("--out", required=True, metavar="TEMPLATE",
                        help="path of a piece, with {date} {first} {last} {year} {month} {day}")
    parser.add_argument("--retries", type=natural, default=1, metavar="N",
                        help="how often a piece that fails is tried again (1)")
    parser.add_argument("--timeout", type=_seconds, metavar="S", help="seconds that a piece may take")
    parser.add_argument("--halt", type=_positive, metavar="N",
                        help="end when N pieces in a row have failed in the same way (go on with the others)")
    parser.add_argument("--accept-missing", action="store_true",
                        help="do without input files that earlier calls saw and that are gone")
    parser.add_argument("--dry-run", action="store_true", help="say what would be done; nothing is written")
    parser.add_argument("--strict", action="store_true", help="damaged or missing input shows in the exit status")
    joined = parser.add_mutually_exclusive_group()
    joined.add_argument("--merge", action="store_true", help="in the end merge the statistics of all pieces")
    joined.add_argument("--cat", action="store_true", help="in the end join the records of all pieces")
    parser.add_argument("--merge-out", metavar="PATH",
                        help="path of what they are joined to (the template, FIRST_LAST for {date})")
    parser.add_argument("--digest", action="store_true", help="record the SHA-256 of output files (only of joined tasks)")
    parser.add_argument("--vex", metavar="PATH", help="the program (vex)")
    parser.add_argument("--index", metavar="FOLDER",
                        help="keep an index of the archive there, and read only files that can hold a wanted pixel")
    parser.add_argument("--engine", choices=("local", "slurm"), default="local", help="where pieces run (local)")
    slurm.add_options(parser, _positive)
    return parser


def _listed() -> str:
    """The commands, for the help."""
    rows = ((f"{name} {' '.join(words or ('...',) * (words is None))}", does) for name, (words, does) in COMMANDS.items())
    return "commands:\n" + "".join(f"  {call:<23}  {does}\n" for call, does in rows) + "\n"


def _add_debug(parser: Parser) -> None:
    parser.add_argument(DEBUG, action="store_true", help="show where in vex-batch an error came from")


#: Commands: their words, each in its place, and what they do. One without words takes those of the call itself.
COMMANDS: dict[str, tuple[tuple[str, ...] | None, str]] = {
    "status": (("OUTDIR",), "tell what is there, and make the summary"),
    "run-piece": (("PLAN", "NUMBER"), "do pieces, counted from 0, unless they are complete; the number behind the last "
                                      "one joins the pieces"),
    "plan": (None, "write the plan alone, and print its path; takes the words of the call itself"),
    "todo": (("PLAN",), "print the numbers of the pieces that are to be done"),
    "workflow": ((), "print the path of the Snakefile"),
}


def command_parser(name: str) -> Parser:
    """That of one of `COMMANDS`; the words are its attributes in small letters."""
    words, does = COMMANDS[name]
    if words is None:
        return make_parser()
    parser = Parser(prog=f"vex-batch {name}", description=f"{does[0].upper()}{does[1:]}.",
                    formatter_class=Help, allow_abbrev=False)
    _add_debug(parser)
    for word in words:
        if word == "NUMBER":
            parser.add_argument("numbers", metavar=word, nargs="+", type=natural)
        else:
            parser.add_argument(word.lower(), metavar=word)
    return parser
