"""The command `vexfile`. What a subcommand needs is imported when it runs."""

from __future__ import annotations

import argparse
import contextlib
import os
import re
import sys
import warnings
from collections.abc import Callable, Iterator, Sequence
from typing import Any, NoReturn

from .errors import FormatError
from .program import BAD_USE, DEBUG, report, run_command
from .version import VERSION

#: Does what a subcommand is for, and gives the exit status.
Run = Callable[[argparse.Namespace], int]

FINE, BAD_FILE, CLOSED = 0, 1, 141
#: The longest list of pixels that is taken.
MOST_PIXELS = 10_000_000

DESCRIPTION = "Looks into, verifies, prints, converts, joins and draws the files that vex writes."
EXAMPLES = """\
examples:
  vexfile info *.bin                        what is in files
  vexfile check night.bin night.txt         whether they are sound
  vexfile dump spectra.bin | head           records as vex -of txt would have printed them
  vexfile convert spectra.bin spectra.nc    NetCDF, zarr or CSV, by the suffix
  vexfile cat mon.bin tue.bin -o both.bin   one file of several
  vexfile plot map spectra.bin map.png --channel 1021
  vexfile grid grid.dat                     the grid of land and sea for vex -alt

exit status:
  0    all went well
  1    a file is damaged or not of vex, or cannot be read or written
  2    the command line is wrong, or asks for what the files do not have
  130  interrupted; 143 by SIGTERM, 129 by SIGHUP
  141  nobody reads the output any more
An error is one line: vexfile: PATH: at byte N: expected ...
"""

INFO = """\
examples:
  vexfile info spectra.bin
  vexfile info --json *.txt | python3 -m json.tool
"""
CHECK = """\
Every record length marker of a binary file is checked, and every number of a text or statistics file.
With --values the values of all fields are held against the ranges and codes of vexfile(5), too; the
spectrum has none.

example:
  vexfile check /data/*.bin || echo "not all are sound"
"""
DUMP = """\
Without options a binary file is printed byte for byte as vex -of txt would have written it. With
--pixels the lines of these follow the names of the columns. With --fields each line has the columns
of the fields, by the names of variables (docs/formats.md; all their layers or channels), of columns,
or "time". A value that a record does not have is left empty.

examples:
  vexfile dump spectra.bin > spectra.txt
  vexfile dump spectra.bin --pixels 0,5-7
  vexfile dump retrievals.bin --fields time,latitude,longitude,twt_skin_temperature
"""
CONVERT = """\
The suffix of OUT says what is written: .nc (NetCDF-4, CF-1.9), .zarr (a folder) or .csv (a line for
each pixel). Files of equal layout follow one another. Statistics files are converted one by one.

examples:
  vexfile convert spectra.bin spectra.nc
  vexfile convert day1.bin day2.bin days.zarr --compression 7
"""
CAT = """\
Binary files of one header, or text files of one, are joined; each is verified while it is copied.

example:
  vexfile cat 2013*.bin -o year.bin
"""
MERGE = """\
Statistics of separate runs become those that one run over all their pixels would have written. Other
files of a run (histograms, surfaces, grids) are merged one by one.

example:
  vexfile merge-stat mon.txt tue.txt wed.txt -o days.txt
"""
GRID = """\
Heights are averaged over the cells of 1/6 degree. They come from --elevation (ETOPO, GEBCO or any
NetCDF file with heights in m over latitude and longitude), else from ETOPO5 of the Debian package
ferret-datasets. Where GMT is installed (Debian package gmt), its coast lines tell land from sea, and
land below sea level is land. Otherwise heights below 0 are sea.

examples:
  vexfile grid grid.dat
  vexfile grid grid.dat --elevation GEBCO_2024.nc --lakes sea
"""
PLOT = """\
OUT ends in .png, .pdf or .svg and is replaced if it is there.

examples:
  vexfile plot map spectra.bin map.png --channel 1021
  vexfile plot map spectra.bin map.png --channel 899.75 --limits 220,300
  vexfile plot map clouds.bin clouds.png --field clp_cloud_top_pressure --index 0
  vexfile plot spectrum spectra.bin spectra.pdf --pixels 0,5-7
  vexfile plot profile twt.bin profile.png
  vexfile plot statistics stat.txt stat.svg
  vexfile plot grid grid.dat grid.png
"""


class Parser(argparse.ArgumentParser):
    """Says what is wrong in one line."""

    def __init__(self, **options: Any) -> None:
        super().__init__(formatter_class=argparse.RawDescriptionHelpFormatter, **options)
        self.add_argument(DEBUG, action="store_true", default=argparse.SUPPRESS,
                          help="print the traceback of an error, too")

    def error(self, message: str) -> NoReturn:
        self.exit(BAD_USE, f"vexfile: {message} (see {self.prog} --help)\n")


# --- Words of the command line --------------------------------------------------------------------------------------


def pixels(text: str) -> list[int]:
    """Numbers and ranges as ``0,5-7``."""
    found: list[int] = []
    for part in text.split(","):
        match = re.fullmatch(r"(\d{1,18})(?:-(\d{1,18}))?", part)
        if not match or match[2] and int(match[2]) < int(match[1]):
            raise argparse.ArgumentTypeError(f"{text!r} is not a list of pixels as 0,5-7")
        wanted = range(int(match[1]), int(match[2] or match[1]) + 1)
        if len(found) + len(wanted) > MOST_PIXELS:
            raise argparse.ArgumentTypeError(f"{text!r} names more than {MOST_PIXELS} pixels")
        found += wanted
    return found


def fields(text: str) -> list[str]:
    """Names between commas."""
    return [name for name in text.split(",") if name]


def limits(text: str) -> tuple[float, float]:
    """Two numbers as ``220,300``."""
    low, high = map(float, text.split(","))
    return low, high


def channel(text: str) -> float:
    """The number of a channel, or with a point a wavenumber (cm-1)."""
    return int(text) if text.isdigit() else float(text)


def _parser() -> Parser:
    parser = Parser(prog="vexfile", description=DESCRIPTION, epilog=EXAMPLES)
    parser.add_argument("--version", action="version", version=f"vexfile {VERSION}")
    commands = parser.add_subparsers(metavar="COMMAND", required=True)

    def command(name: str, run: Run, words: str, epilog: str, many: bool = True) -> Parser:
        sentence = words[0].upper() + words[1:] + "."
        made: Parser = commands.add_parser(name, help=words, description=sentence, epilog=epilog)
        made.set_defaults(run=run)
        if many:
            made.add_argument("files", metavar="FILE", nargs="+")
        else:
            made.add_argument("file", metavar="FILE")
        return made

    info = command("info", _info, "say what is in files", INFO)
    info.add_argument("--json", action="store_true", help="as a list of objects")
    check = command("check", _check, "verify files", CHECK)
    check.add_argument("--values", action="store_true", help="also hold values against their ranges and codes")
    dump = command("dump", _dump, "print records as text", DUMP, many=False)
    dump.add_argument("--pixels", type=pixels, metavar="0,5-7", help="which records, counted from 0")
    dump.add_argument("--fields", type=fields, metavar="NAME,...", help="which variables or columns")
    convert = command("convert", _convert, "write files as NetCDF, zarr or CSV", CONVERT)
    convert.add_argument("out", metavar="OUT")
    level = convert.add_mutually_exclusive_group()
    level.add_argument("--compression", type=int, choices=range(10), metavar="N",
                       help="0 to 9; 1 is usual of NetCDF (zlib), 5 of zarr (zstd)")
    level.add_argument("--uncompressed", dest="compression", action="store_const", const=0, help="as --compression 0")
    cat = command("cat", _cat, "join files", CAT)
    merge = command("merge-stat", _merge, "merge statistics of separate runs", MERGE)
    merge.add_argument("--tbref", type=float, metavar="K", help="the temperature of -tbref, if the runs had it")
    for one in (cat, merge):
        one.add_argument("-o", "--out", metavar="OUT", required=True, help="the file to write")
    grid = commands.add_parser("grid", help="make the grid of vex -alt from heights and coast lines", epilog=GRID,
                               description="Make the grid of vex -alt from heights and coast lines.")
    grid.set_defaults(run=_grid)
    grid.add_argument("out", metavar="OUT")
    grid.add_argument("--elevation", metavar="FILE", help="NetCDF file with heights; without it, ETOPO5 of ferret-datasets")
    grid.add_argument("--variable", metavar="NAME", help="which variable of it, where several fit")
    grid.add_argument("--lakes", choices=("land", "sea"), help="what lakes are, by the coast lines of GMT (land)")
    for one in (convert, cat, merge, grid):
        one.add_argument("--force", action="store_true", help="replace OUT if it is there")
    _add_plots(commands)
    return parser


def _add_plots(commands: Any) -> None:
    plot = commands.add_parser("plot", help="draw maps, spectra, profiles and statistics", epilog=PLOT,
                               description="Draw maps, spectra, profiles and statistics.")
    kinds = plot.add_subparsers(metavar="KIND", required=True)
    made = {}
    for name, words in (("map", "pixels of a channel or a field on a map"), ("spectrum", "the mean spectrum, or some"),
                        ("profile", "the mean profiles, or some"), ("statistics", "what a statistics file has"),
                        ("grid", "the grid of vex -alt")):
        made[name] = kinds.add_parser(name, help=words, description=f"Draw {words}.", epilog=PLOT)
        made[name].set_defaults(run=_plot, kind=name)
        made[name].add_argument("file", metavar="FILE")
        made[name].add_argument("out", metavar="OUT")
    for name in ("spectrum", "profile"):
        made[name].add_argument("--pixels", type=pixels, metavar="0,5-7", help="which pixels, counted from 0")
    made["map"].add_argument("--channel", type=channel, metavar="N", help="a number; with a point a wavenumber, cm-1")
    made["map"].add_argument("--index", type=pixels, metavar="0", help="which layer of a field, counted from 0")
    made["map"].add_argument("--title", metavar="TEXT", help="in place of satellite, dates and counts")
    for name in ("map", "statistics"):
        made[name].add_argument("--field", metavar="NAME", help="which variable" + " of a grid" * (name != "map"))
        made[name].add_argument("--limits", type=limits, metavar="LOW,HIGH",
                                help="of the colours; write --limits=-5,5 when LOW is below 0")
        made[name].add_argument("--projection", metavar="robinson|platecarree|lambert|stereographic",
                                help="of the map; without it, one that suits the data")
        made[name].add_argument("--land", metavar="GRID", help="the grid of vex -alt, whose coasts are drawn")


# --- Subcommands ----------------------------------------------------------------------------------------------------


def _each(arguments: argparse.Namespace, work: Callable[[str], None]) -> int:
    """Works on files one by one; what is wrong with one does not keep the others."""
    status = FINE
    for path in arguments.files:
        try:
            work(path)
        except BrokenPipeError:
            raise
        except (FormatError, OSError) as error:
            status = report("vexfile", error, _explained, arguments.debug)
    return status


def _info(arguments: argparse.Namespace) -> int:
    import json

    from .commands.inspecting import facts, table
    found: list[dict[str, Any]] = []

    def look(path: str) -> None:
        found.append(facts(path))
        if not arguments.json:
            print("\n" * (len(found) > 1) + table(found[-1]))

    status = _each(arguments, look)
    if arguments.json:
        print(json.dumps(found, indent=2))
    return status


def _check(arguments: argparse.Namespace) -> int:
    from .commands.inspecting import check
    return _each(arguments, lambda path: print(check(path, arguments.values), flush=True))


def _dump(arguments: argparse.Namespace) -> int:
    from .commands.dumping import dump
    sys.stdout.flush()
    dump(arguments.file, sys.stdout.buffer, arguments.pixels, arguments.fields)
    return FINE


def _convert(arguments: argparse.Namespace) -> int:
    from .commands.convert import convert
    convert(arguments.files, arguments.out, arguments.force, arguments.compression, sys.stderr.isatty())
    return FINE


def _cat(arguments: argparse.Namespace) -> int:
    from .commands.joining import join
    join(arguments.files, arguments.out, arguments.force)
    return FINE


def _merge(arguments: argparse.Namespace) -> int:
    from .statistics.merging import merge_statistics
    for said in merge_statistics(arguments.files, arguments.out, arguments.tbref, force=arguments.force):
        print(f"vexfile: warning: {said}", file=sys.stderr)
    return FINE


def _grid(arguments: argparse.Namespace) -> int:
    from .commands.grid import grid
    print(grid(arguments.out, arguments.elevation, arguments.variable, arguments.lakes, arguments.force))
    return FINE


def _plot(arguments: argparse.Namespace) -> int:
    from . import open as open_dataset
    from . import plots
    from .reading.opening import with_index
    from .writing import refuse
    refuse(arguments.out, True, [arguments.file])
    draw: Callable[..., object] = getattr(plots, "plot_" + arguments.kind)
    given = {name: value for name, value in vars(arguments).items()
             if name not in ("run", "kind", "file", "out", "debug") and value is not None}
    if arguments.kind in ("statistics", "grid"):
        draw(arguments.file, arguments.out, **given)
    else:
        with_index(lambda index: draw(open_dataset(arguments.file, index=index), arguments.out, **given))
    return FINE


# --- What goes wrong ------------------------------------------------------------------------------------------------


def _explained(error: BaseException) -> tuple[int, str]:
    """The exit status of an error, and what it says in one line."""
    if isinstance(error, BrokenPipeError):
        return CLOSED, ""
    if isinstance(error, FormatError):
        return BAD_FILE, str(error)
    if isinstance(error, OSError) and error.strerror:
        return BAD_FILE, f"{os.fsdecode(error.filename) if error.filename else 'output'}: {error.strerror}"
    if isinstance(error, ImportError):
        return BAD_USE, f"the Python package {error.name} is needed" if error.name else str(error)
    if isinstance(error, ValueError):
        return BAD_USE, " ".join(str(error).split())
    if isinstance(error, MemoryError):
        return BAD_FILE, "not enough memory"
    return BAD_FILE, " ".join(f"{type(error).__name__}: {error}".split())


def _end(status: int) -> NoReturn:
    """Ends at once: output that failed would fail again, and HDF5 that could not write all crashes."""
    with contextlib.suppress(OSError):
        sys.stdout.flush()
    sys.stderr.flush()
    os._exit(status)


@contextlib.contextmanager
def _warnings() -> Iterator[None]:
    """What libraries warn of is one line; what they say of their own code or of numbers is nothing to a user."""
    def show(message: Warning | str, *_: Any, **__: Any) -> None:
        print("vexfile: warning:", " ".join(str(message).split()), file=sys.stderr)

    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        warnings.simplefilter("default", UserWarning)
        warnings.showwarning = show
        yield


def main(argv: Sequence[str] | None = None) -> int:
    """Runs the command.

    Parameters
    ----------
    argv
        The words behind its name; None: those that it was started with.

    Returns
    -------
    int
        The exit status: 0 all went well, 1 a file is damaged or not of vex or cannot be read or written, 2 the command
        line is wrong or asks for what the files do not have, 130 interrupted (143 by SIGTERM, 129 by SIGHUP), 141
        nobody reads the output any more.
    """
    words = list(sys.argv[1:] if argv is None else argv)
    status = run_command("vexfile", words, lambda: _run(words), _explained, "interrupted")
    if status not in (FINE, BAD_USE) and argv is None:
        _end(status)
    return status


def _run(words: Sequence[str]) -> int:
    """The exit status."""
    with _warnings():
        arguments = _parser().parse_args(words, argparse.Namespace(debug=False))
        status: int = arguments.run(arguments)
        sys.stdout.flush()
        return status
