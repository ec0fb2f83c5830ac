"""The tables of docs/options.md."""

from itertools import groupby

from .commands import Command, Word
from .common import Object, Tables
from .formats import code, markdown
from .manual import vex_text


def row_of(row: Object, option: Word) -> list[str]:
    form = option.form.replace("|", "\\|")
    return [code(f"{option.names[0]} {form}".strip()), vex_text(row, option),
            code(str(row["default"])) if row["default"] else ""]


def page_tables(command: Command, rows: list[Object]) -> Tables:
    """The options of vex, by the titles under which its help has them."""
    sections = groupby(zip(rows, command.options), lambda pair: pair[1].section)
    return {section: markdown(["Option", "What it does", "Without it"], [row_of(*pair) for pair in pairs])
            for section, pairs in sections}
