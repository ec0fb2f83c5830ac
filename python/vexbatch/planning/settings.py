"""What stands behind ``--``: vex's own words, checked by a run of vex that reads nothing.

Later options override earlier ones, a configuration file overrides the command line, and some options add up. None of
this is known here: vex is run with the same words and ``-maxres 0``, and what it echoes is what is in force.
"""

from __future__ import annotations

import datetime
import os
import re
from collections.abc import Sequence
from dataclasses import dataclass
from typing import NamedTuple

from vexfile.reading.layout import tables

from ..running import files, outcome, process
from ..errors import UsageError
from .program import digest

Date = datetime.date

#: Options whose values add up; of the others the last one counts.
ADDING = ("c", "t2", "box", "tr", "on", "sln", "fov")
#: Options whose numbers are echoed with six digits.
REALS = ("mila", "mala", "milo", "malo", "box", "va", "lf", "sf", "avg", "var", "tbref", "histlat", "histpix",
         "histcloud", "histland", "histsnow", "histavg", "histvar")
NUMBER = re.compile(r"(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?")
BLANKS = " \t\r\n"
#: Options that are not those of the result: each piece has its own, and a file's lines are echoed one by one.
OWN = ("out", "fd", "ld", "cfg")
#: A date that no archive has.
NEVER = "0001-01-01"
#: Endings of files as vex takes them without -ef and -ef2.
ENDINGS = {"ef": "l1_bufr|bin", "ef2": "l2_bufr|bin"}
#: Formats whose files ``vexfile`` can check.
CHECKED = ("bin", "txt", "txtstat")
#: What vex says of words that it does not understand.
WRONG = re.compile(r"(Unknown|Missing value for|Invalid|Unable to|ERROR:|Error:) ?")
HELP = "VEX application"
BEGUN = "Prepare for reading..."


@dataclass(frozen=True)
class Settings:
    """What is asked of vex, apart from dates and output.

    Attributes
    ----------
    vex : str
        Path of the program.
    words : tuple of str
        The words behind ``--``.
    configuration : str or None
        What is in the file of ``-cfg``, read when the call began.
    version : str
        The line that vex says first.
    program : str
        The digest of the program, which tells builds of one version apart.
    options : dict
        Values in force by names of options, in vex's own spelling. Those whose numbers lost digits in it stand there a
        second time, as they were given, by names like "mila exactly".
    suffixes : tuple of str
        What follows the path of ``-out`` in the names of the files that a run writes.
    first, last : str
        The span, YYYY-MM-DD.
    """

    vex: str
    words: tuple[str, ...]
    configuration: str | None
    version: str
    program: str
    options: dict[str, list[str]]
    suffixes: tuple[str, ...]
    first: str
    last: str

    def value(self, name: str) -> str | None:
        """The value of an option that is in force; None when it was not given."""
        return self.options[name][-1] if name in self.options else None

    def endings(self, name: str) -> list[str]:
        """The endings of -ef or -ef2."""
        value = self.value(name)
        return (ENDINGS[name] if value is None else value).split("|")

    def motifs(self, name: str) -> list[str]:
        """The motifs of -mf or -mf2, in one of which a name is to have a part; none takes all names.

        They are echoed with a | between them, which can be a part of one as well: then the words tell.
        """
        echoed = self.value(name)
        for value in reversed(given(self.words, self.configuration, name)):
            parts = [part.strip(BLANKS) for part in value.split(",")]
            if "|".join(parts) == echoed:
                return parts
        return [] if echoed is None else echoed.split("|")

    @property
    def format(self) -> str:
        """One of CHECKED."""
        return format_of(self.options)

    @property
    def l1c(self) -> bool:
        """Whether spectra or imager data are asked for."""
        return "c" in self.options or self.value("avhrr") == "1"

    @property
    def kinds(self) -> list[str]:
        """All products that are asked for."""
        return ["L1C"] * self.l1c + self.l2_kinds

    @property
    def l2_kinds(self) -> list[str]:
        """The L2 products that are asked for."""
        return self.options.get("t2", [])


class Configuration(NamedTuple):
    """The file of -cfg: its path, and what is in it unless it cannot be read."""

    path: str | None
    text: str | None


def format_of(options: dict[str, list[str]]) -> str:
    """The word of -of, which is echoed as a number; the number itself when vexfile does not know it."""
    number = options["of"][-1] if "of" in options else "1"
    names = {str(row["number"]): str(row["name"]) for row in tables()["formats"]}
    return names.get(number, number)


def given(words: Sequence[str], configuration: str | None, name: str) -> list[str]:
    """What an option was given, the value in force last: a word is an option wherever it stands, and a file follows."""
    found = [value for word, value in zip(words, words[1:]) if word == "-" + name]
    for line in (configuration or "").split("\n"):
        parts = [part.strip(BLANKS) for part in line.split("=")]
        if len(parts) == 2 and parts[0] == name and not line.startswith("#"):
            found.append(parts[1])
    return found


def command(vex: str, words: Sequence[str], own: Sequence[tuple[str, str]], configuration: str | None) -> list[str]:
    """vex with its words and, behind them so that they are in force, these options and the path of a configuration."""
    added = [word for name, value in own for word in ("-" + name, value)]
    return [vex, *words, *added, *(["-cfg", configuration] if configuration else [])]


def configuration_text(text: str, own: Sequence[tuple[str, str]]) -> bytes:
    """A configuration file in which these options come last, and so are in force."""
    return os.fsencode(text + "".join(f"\n{name} = {value}" for name, value in own) + "\n")


def dates(first: str, last: str) -> list[tuple[str, str]]:
    """The options of a span."""
    return [("fd", first), ("ld", last)]


def find_vex(path: str | None) -> str:
    """The program, by its path or among those of the shell."""
    name = path or "vex"
    paths = [name] if os.sep in name else [os.path.join(folder, name) for folder in os.get_exec_path()]
    found = next((one for one in paths if os.path.isfile(one) and os.access(one, os.X_OK)), None)
    if not found:
        raise UsageError(f"{path}: no such program" if path else "there is no vex in PATH; name it with --vex")
    return os.path.abspath(found)


def read_settings(vex: str, words: Sequence[str]) -> tuple[Settings, list[str]]:
    """Checks the words behind ``--``.

    Returns
    -------
    tuple
        What they stand for, and what vex warns of.

    Raises
    ------
    UsageError
        vex does not take them, in its own words.
    """
    program = _program(vex)
    _refuse_words(vex, words)
    configuration = _configuration(words)
    with files.folder_for_now() as folder:
        if "=" in folder:
            raise UsageError(f"{folder}: the folder of temporary files (TMPDIR) has a = in its path")
        own = [("out", os.path.join(folder, "out")), *dates(NEVER, NEVER), ("maxres", "0")]
        copy = os.path.join(folder, "cfg") if configuration.text is not None else None
        if copy:
            with open(copy, "wb") as file:
                file.write(configuration_text(configuration.text or "", own))
        log, errors = _say(command(vex, words, own, copy) if copy or not configuration.path else [vex, *words])
        lines = _without(log.split("\n"), [f"-{name} {value}" for name, value in own])
        written = sorted(name[len("out"):] for name in os.listdir(folder) if name.startswith("out"))
        _refuse_run(lines, outcome.judge(os.fsencode(log).split(b"\n"), errors), folder)
    found = _options(lines)
    if (form := format_of(found)) not in CHECKED:
        raise UsageError(f"-of {form}: vexfile cannot check files of this format; formats that it can check: "
                         + ", ".join(CHECKED))
    first, last = _span(found)
    options = {name: values for name, values in found.items() if name not in OWN}
    options |= _exact(words, configuration.text, options)
    settings = Settings(vex, tuple(words), configuration.text, lines[0], program, options, tuple(written), first, last)
    return settings, [line for line in lines if re.match("Warning: |ERROR: ", line)]


def _program(vex: str) -> str:
    try:
        return digest(vex)
    except OSError as error:
        raise UsageError(f"{vex}: {error.strerror}") from None


def _say(words: Sequence[str]) -> tuple[str, bytes]:
    """What vex prints on standard output and standard error."""
    try:
        said, errors = process.say(words)
    except OSError as error:
        raise UsageError(f"{words[0]}: {error.strerror}") from None
    return os.fsdecode(said), errors


def _refuse_words(vex: str, words: Sequence[str]) -> None:
    if not words:
        raise UsageError("options of vex are wanted behind --")
    if any("\n" in word for word in words):
        raise UsageError("a word behind -- has a line feed: vex says line by line what it does")
    if "-out" in words:
        raise UsageError("-out is not for behind --: --out names the files of the pieces")
    if re.match(r"-(?!\d)", words[-1]):  # it would take what is added for its value
        said = _complaints(_say([vex, words[-1]])[0].split("\n"))
        raise UsageError(f"vex says: {said or words[-1]}")


def _configuration(words: Sequence[str]) -> Configuration:
    """The file of the last -cfg; a word is an option wherever it stands."""
    places = [place for place, word in enumerate(words[:-1]) if word == "-cfg"]
    if not places:
        return Configuration(None, None)
    path = words[places[-1] + 1]
    try:
        with open(path, "rb") as file:
            return Configuration(path, os.fsdecode(file.read()))
    except OSError:
        return Configuration(path, None)  # vex says so


def _without(lines: list[str], block: list[str]) -> list[str]:
    """Lines without the echo of what was added."""
    kept: list[str] = []
    for line in lines:
        kept.append(line)
        if kept[-len(block):] == block:
            del kept[-len(block):]
    return kept


def _complaints(lines: Sequence[str]) -> str:
    before = lines[:lines.index(HELP)] if HELP in lines else lines
    return "; ".join(line for line in before if WRONG.match(line))


def _refuse_run(lines: list[str], found: outcome.Outcome, folder: str) -> None:
    said = _complaints(lines).replace(os.path.join(folder, "out"), "OUT")
    if BEGUN not in lines or found.outcome == "failed":
        lost = found.said if found.complaints[outcome.UNREAD] else ""
        raise UsageError("vex says: " + ("; ".join(filter(None, (said, lost))) or "nothing of what is wrong with its options"))
    if HELP in lines:
        raise UsageError("-h is of no use behind --: see vex -h")
    if any(line.startswith("-out ") for line in lines):
        raise UsageError("the configuration file names an output: --out names the files of the pieces")


def _options(lines: Sequence[str]) -> dict[str, list[str]]:
    """Options by name, as they are in force."""
    found: dict[str, list[str]] = {}
    for line in lines[:lines.index(BEGUN)]:
        match = re.fullmatch(r"-(\w+) (.*)", line)
        if match and match[1] in ADDING:
            found.setdefault(match[1], []).append(match[2])
        elif match:
            found[match[1]] = [match[2]]
    if "t2" in found:
        found["t2"] = sorted(set(found["t2"]))
    return dict(sorted(found.items()))


def _exact(words: Sequence[str], configuration: str | None, options: dict[str, list[str]]) -> dict[str, list[str]]:
    """Options whose numbers have more digits than their echo."""
    def is_short(text: str) -> bool:
        return all(float(f"{float(number):g}") == float(number) for number in NUMBER.findall(text))

    found = {name: given(words, configuration, name)[0 if name in ADDING else -1:] for name in REALS if name in options}
    return {f"{name} exactly": values for name, values in found.items() if not all(map(is_short, values))}


def _span(options: dict[str, list[str]]) -> tuple[str, str]:
    for name in ("fd", "ld"):
        if name not in options:
            raise UsageError(f"-{name} is wanted behind --: pieces are made of the days from -fd to -ld")
        try:
            Date.fromisoformat(options[name][0])
        except ValueError:
            raise UsageError(f"-{name} {options[name][0]}: there is no such day") from None
    first, last = options["fd"][0], options["ld"][0]
    if first > last:
        raise UsageError("vex says: Error: last date must be after first date")
    return first, last
