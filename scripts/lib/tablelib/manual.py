"""The made parts of the manual pages of the programs."""

import re
from itertools import groupby

from . import echoes
from .commands import Command, Word
from .common import Object, Tables
from .roff import bold, form, italic, marked, prose, roff, title, wrapped


def synopsis(command: Command, short: bool = False) -> str:
    """How a command is called; in short without the options that need not be given."""
    said: set[str] = set()
    parts = [f"[{italic('options')}]"] if short else []
    for option in command.options:
        if short and not option.needed:
            continue
        if option.names[0] in said:
            continue
        rivals = [other for other in command.options if other.names[0] in option.rivals]
        said |= {other.names[0] for other in rivals}
        shown = "|".join(called(one, one.names[:1]) for one in (option, *rivals)).replace(" ", "\\~").replace("|", "|\\:")
        parts.append(shown if option.needed else f"[{shown}]")
    parts += [form(place.form) + (" ..." if place.many else "") for place in command.places]
    parts += [roff("-- ") + form(command.tail)] if command.tail else []
    return "\n".join([f'.SY "{roff(" ".join(command.path))}"', *wrapped(" ".join(parts)), ".YS"])


def called(option: Word, names: tuple[str, ...]) -> str:
    return ", ".join(map(bold, names)) + (" " + form(option.form) if option.form else "")


def option_items(options: list[Word]) -> list[str]:
    return [line for option in options for line in (".TP", called(option, option.names), *prose(sentence(option.help)))]


def sentence(text: str) -> str:
    """A text that begins with a capital and ends with a stop."""
    return text[:1].upper() + text[1:] + "." * (not text.endswith(".")) if text else ""


# vex


def vex_text(row: Object, option: Word) -> str:
    """What an option does, with its words where they need one."""
    words = [f"{sub['word']} is {sub['help']}" for sub in row["sub"] if not row["form"] and " " in sub["help"]]
    kinds = ", ".join(option.words[:-1]) + f" or {option.words[-1]}" if option.value == "words" else ""
    said = [row["meaning"], (", ".join(words) + ".") * bool(words), f"KIND is {kinds}." * bool(kinds),
            "It adds to what was given before." * option.many]
    return " ".join(filter(None, said))


def vex_item(row: Object, option: Word) -> list[str]:
    """One option: its name and value, what it does, and its default."""
    default = f" Default: {row['default']}." * bool(row["default"])
    return [".TP", called(option, option.names), *prose(vex_text(row, option) + default)]


def stage_item(number: int, stage: Object) -> list[str]:
    """The options of a stage of filters, behind what the stage is."""
    return [f".IP {number}. 4", *wrapped(f"{marked(stage['meaning'])} {', '.join(bold('-' + name) for name in stage['filters'])}.")]


def vex_tables(command: Command, layout: Object, folder: str) -> Tables:
    rows = layout["options"]
    stages = [line for number, stage in enumerate(layout["stages"], 1) for line in stage_item(number, stage)]
    lines: list[str] = []
    for section, pairs in groupby(zip(rows, command.options), lambda pair: pair[1].section):
        lines.append(f'.SS "{section.capitalize()} options"')
        lines += [line for row, option in pairs for line in vex_item(row, option)]
    return {"title": title("vex", 1), "options": "\n".join(lines), "filters": "\n".join(stages),
            "echo": echoes.table(folder, rows)}


# The other programs


def sample_tables(command: Command) -> Tables:
    return {"title": title("vex-sample", 1), "synopsis": synopsis(command), "about": "\n".join(prose(command.help)),
            "options": "\n".join(option_items(command.options))}


def statuses(command: Command) -> str:
    """The exit statuses that the help tells."""
    rows = re.findall(r"^  (\d+) +(.+)$", command.epilog.partition("exit status:\n")[2], re.M)
    return "\n".join(line for status, text in rows for line in (".TP", bold(status), *prose(sentence(text))))


def status_tables(command: Command) -> Tables:
    return {"title": title("vex-status", 1), "synopsis": synopsis(command), "about": "\n".join(prose(command.help)),
            "options": "\n".join(option_items(command.options)), "status": statuses(command)}


def subsection(command: Command) -> list[str]:
    """A command: what it does and takes, unless that is what the program itself takes."""
    head = [f'.SS "{roff(" ".join(command.path))}"', *prose(sentence(command.help))]
    if command.tail:
        return head
    notes = [" ".join(part.split()) for part in command.notes.split("\n\n")]
    return [*head, *(line for part in notes if part for line in (".PP", *prose(part))),
            *option_items([option for option in command.options if "--help" not in option.names])]


def package_tables(command: Command) -> Tables:
    """Of a program with commands."""
    leaves = [one for one in command.all() if one is not command and not one.below]
    main: list[str] = []
    for section, options in groupby(command.options, lambda option: option.section):
        main += ([f'.SS "{roff(section[0].upper() + section[1:])}"'] if section else []) + option_items(list(options))
    calls = [synopsis(command)] if command.tail else []
    calls += [synopsis(one, short=bool(one.tail)) for one in leaves]
    return {"title": title(command.path[0], 1), "synopsis": "\n".join(calls), "options": "\n".join(main),
            "commands": "\n".join(line for one in leaves for line in subsection(one)), "status": statuses(command)}
