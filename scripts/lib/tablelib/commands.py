"""What the command lines of the programs take, read from the programs themselves."""

import argparse
import re
import subprocess
import sys
import types
from collections.abc import Iterator
from dataclasses import dataclass, field, replace

from .common import ROOT, Object

#: What completes a value, by what stands for it in capitals; "text": nothing does.
VALUES = {
    **dict.fromkeys(("FILE", "OUT", "GRID", "LOG", "PATH", "PLAN", "TEMPLATE"), "path"),
    **dict.fromkeys(("DIR", "FOLDER", "OUTDIR", "ROOT"), "folder"),
    **dict.fromkeys(("0,5-7", "0", "HH:MM", "K", "LIST", "LOW,HIGH", "MINUTES", "N", "NAME", "NAME,...", "NUMBER",
                     "OPTIONS", "S", "TEXT", "V", "YYYY-MM-DD"), "text")}
WORD = re.compile(r"[\w.-]+")


@dataclass(frozen=True)
class Word:
    """An option with its value, or what is told by its place and has no names."""

    names: tuple[str, ...] = ()
    form: str = ""
    value: str = "none"  # none, path, folder, word (of words), words (with commas between) or text
    words: tuple[str, ...] = ()
    help: str = ""
    section: str = ""
    needed: bool = False
    many: bool = False
    rivals: tuple[str, ...] = ()  # options that exclude it


@dataclass(frozen=True)
class Command:
    """A program, or one of its commands: the words that lead to it, what it takes and has below it."""

    path: tuple[str, ...]
    help: str = ""
    notes: str = ""
    options: list[Word] = field(default_factory=list)
    places: list[Word] = field(default_factory=list)
    below: dict[str, "Command"] = field(default_factory=dict)
    tail: str = ""  # what follows behind --
    epilog: str = ""

    def all(self) -> Iterator["Command"]:
        """This one and all below it."""
        yield self
        for command in self.below.values():
            yield from command.all()


def value_of(shown: str) -> tuple[str, tuple[str, ...]]:
    """What completes a value that is shown so, and its words: those of a|b that are not in capitals."""
    if shown in VALUES:
        return VALUES[shown], ()
    words = tuple(word for word in shown.split("|") if not re.search("[A-Z]", word))
    if "|" not in shown or not all(map(WORD.fullmatch, words)):
        raise SystemExit(f"What completes {shown}? The VALUES of scripts/lib/tablelib/commands.py do not tell")
    return "word", words


# vex, as vex-tables prints it


def vex(options: list[Object]) -> Command:
    def word(row: Object) -> Word:
        words = ("1", "0") if row["value"] == "switch" else tuple(sub["word"] for sub in row["sub"])
        value = "word" if row["value"] == "switch" else row["value"]
        return Word(("-" + row["name"],), row["form"] or "|".join(words), value, words, row["help"], row["section"],
                    many=row["adds"])
    return Command(("vex",), options=[word(row) for row in options])


# vex-sample, by its help


def sample(folder: str) -> Command:
    printed = subprocess.run([f"{folder}/vex-sample", "--help"], capture_output=True, check=True, text=True).stdout
    usage, about, rows = printed.split("\n\n")
    place = re.fullmatch(r"Usage: vex-sample (\w+) \[options\]", usage)
    form = r"^  ((?:-\w, )?--[\w-]+) ?(\S*) +(.+(?:\n {8,}.+)*)"
    options = [listed(Word(tuple(names.split(", ")), shown, *(value_of(shown) if shown else ("none", ())),
                           help=" ".join(words.split())))
               for names, shown, words in re.findall(form, rows, re.M)]
    if not place or len(options) != len(re.findall("^  -", rows, re.M)):
        raise SystemExit("The help of vex-sample has another form than scripts/lib/tablelib/commands.py reads")
    return Command(("vex-sample",), " ".join(about.split()), options=options,
                   places=[Word(form=place[1], value=value_of(place[1])[0], needed=True)])


def listed(option: Word) -> Word:
    """With the words of "of a,b,c"."""
    words = re.match(r"of ((?:\w+,)+\w+)", option.help)
    return replace(option, value="words", words=tuple(words[1].split(","))) if words else option


# vex-status, by its help


def status() -> Command:
    printed = subprocess.run([ROOT / "bin/vex-status", "--help"], capture_output=True, check=True, text=True).stdout
    usage, about, *_ = printed.split("\n\n")
    if usage != "usage: vex-status [--help] LOG...":
        raise SystemExit("The help of vex-status has another form than scripts/lib/tablelib/commands.py reads")
    return Command(("vex-status",), " ".join(about.split()), options=[Word(("-h", "--help"), help="show the help")],
                   places=[Word(form="LOG", value=value_of("LOG")[0], needed=True, many=True)], epilog=printed)


# vex-archive, by its help


def archive(folder: str) -> Command:
    printed = subprocess.run([f"{folder}/vex-archive", "--help"], capture_output=True, check=True, text=True).stdout
    head, status, epilog = printed.partition("exit status:\n")
    _, about, *blocks, last = head.strip().split("\n\n")
    program = Command(("vex-archive",), about, options=[Word(("-h", "--help"), help="print the help")], epilog=status + epilog)
    for block in blocks:
        call, rows = re.fullmatch(r"vex-archive (.+)\n((?:.|\n)+)", block).groups()  # type: ignore[union-attr]
        name, *words = call.replace("[options] ", "").split()
        found = re.findall(r"^  (--[\w-]+) ?(\S*) +(.+)$", rows, re.M)
        options = [Word((option,), shown, *(value_of(shown) if shown else ("none", ())), help=text)
                   for option, shown, text in found]
        places = [Word(form=word.removesuffix("..."), value=value_of(word.removesuffix("..."))[0], needed=True,
                       many=word.endswith("...")) for word in words]
        program.below[name] = Command(("vex-archive", name), " ".join(rows.split("\n  --")[0].split()), options=options,
                                      places=places)
    if not last.startswith("  -h, --help") or head.count("\n  --") != sum(len(one.options) for one in program.below.values()):
        raise SystemExit("The help of vex-archive has another form than scripts/lib/tablelib/commands.py reads")
    return program


# vexfile and vex-batch, by their parsers


def packages() -> tuple[Command, Command]:
    """vexfile and vex-batch. Of the package only modules that need no other libraries are imported."""
    sys.path.insert(0, str(ROOT / "python"))
    for name in ("vexfile", "vexbatch"):
        package = types.ModuleType(name)
        package.__path__ = [str(ROOT / "python" / name)]
        sys.modules[name] = package
    from vexbatch import options
    from vexfile import command
    batch = parsed(options.make_parser(), ("vex-batch",))
    for name, (_, about) in options.COMMANDS.items():
        batch.below[name] = parsed(options.command_parser(name), ("vex-batch", name), about)
    return parsed(command._parser(), ("vexfile",)), batch


def parsed(parser: argparse.ArgumentParser, path: tuple[str, ...], about: str = "") -> Command:
    rivals = [{name for action in group._group_actions for name in action.option_strings}
              for group in parser._mutually_exclusive_groups]
    command = Command(path, about or parser.description or "", re.split(r"(?m)^examples?:", parser.epilog or "")[0],
                      tail=(parser.usage or "").partition("-- ")[2], epilog=parser.epilog or "")
    for group in parser._action_groups:
        section = "" if group.title in ("options", "positional arguments") else group.title or ""
        for action in group._group_actions:
            if isinstance(action, argparse._SubParsersAction):
                for name, below in action.choices.items():
                    command.below[name] = parsed(below, (*path, name))
            else:
                word = taken(action, section, rivals)
                (command.options if word.names else command.places).append(word)
    return command


def taken(action: argparse.Action, section: str, rivals: list[set[str]]) -> Word:
    names = tuple(action.option_strings)
    others = tuple(sorted({name for group in rivals if names[0] in group for name in group} - {*names})) if names else ()
    words = tuple(map(str, action.choices or ()))
    shown = "" if action.nargs == 0 else str(action.metavar or "|".join(words) or action.dest.upper())
    value = ("none", ()) if action.nargs == 0 else ("word", words) if words else value_of(shown)
    return Word(names, shown, *value, help=(action.help or "").replace("show this help message and exit", "show the help"),
                section=section, needed=action.required, many=action.nargs == "+", rivals=others)
