"""The tables of docs/examples/read_vex.*: the fields of each block, in the language of the reader."""

from collections.abc import Callable, Iterator
from typing import NamedTuple

from .common import Object, Tables

LETTERS = {"int1": "b", "int2": "h", "int4": "i", "real4": "r"}
WIDTH = 118


class Group(NamedTuple):
    """Fields that a block repeats, and those repeated within each repetition."""

    block: str
    times: int
    recent: int
    name: str
    fields: list[Object]
    inner_times: int
    inner_name: str
    inner: list[Object]

    @property
    def letters(self) -> str:
        return _letters(self.fields) + self.inner_times * _letters(self.inner)


def _letters(fields: list[Object]) -> str:
    return "".join(LETTERS[field["type"]] for field in fields)


def _binary(fields: list[Object]) -> list[Object]:
    return [field for field in fields if field["type"] in LETTERS]


def groups(layout: Object) -> list[Group]:
    """All groups but the spectrum. What stands once in a block is one group as long as nothing is in between."""
    made: list[Group] = []
    for block in layout["blocks"]:
        if block["spectrum"]:
            continue
        key = block["name"].removesuffix(" common")
        prefix = block["prefix"]
        for group in block["groups"]:
            inner = group["inner"] or {"times": 0, "dimension": "", "fields": []}
            fields = _binary(group["fields"])
            last = made[-1] if made else None
            if last and last.block == key and last.recent == group["times_recent"] == 1:
                last.fields.extend(fields)
                continue
            name = (group["dimension"] or "").removeprefix(prefix)
            same = sum(other.block == key and other.name.startswith(name) for other in made) if name else 0
            made.append(Group(key, group["times"], group["times_recent"], name + (f"_{same + 1}" if same else ""),
                              fields, inner["times"], inner["dimension"], _binary(inner["fields"])))
    return made


def runs(fields: list[Object]) -> list[str]:
    """"h year", "b month day": a letter for the type, and the variables of neighbouring fields that have it."""
    made: list[str] = []
    for field in fields:
        letter, name = LETTERS[field["type"]], field["variable"]
        if made and made[-1][0] == letter and len(made[-1]) + len(name) < 90:
            made[-1] += f" {name}"
        else:
            made.append(f"{letter} {name}")
    return made


def wrapped(start: str, words: list[str], end: str, indent: str, more: str = "") -> str:
    """Words between commas in lines of some width; more: what ends a line that is continued."""
    lines, line = [], start
    for number, word in enumerate(words):
        text = word + (end if number == len(words) - 1 else ", ")
        if len(line) + len(text.rstrip()) > WIDTH - len(more):
            lines.append(line.rstrip() + more)
            line = indent
        line += text
    return "\n".join([*lines, line])


def quoted(words: list[str], mark: str = '"') -> list[str]:
    return [mark + word + mark for word in words]


def c(layout: Object) -> str:
    kinds = ", ".join(f'{{"{kind["name"]}", {kind["code"]}}}' for kind in layout["kinds"])
    rows = [f'    {{"{g.block}", {g.times}, {g.recent}, "{g.letters}"}},' for g in groups(layout)]
    return "\n".join([
        "/* Codes of the products in the header, in the order of their blocks. */",
        f"static const struct {{\n  const char* name;\n  int code;\n}} KINDS[] = {{{kinds}}};",
        "/* Fields of the blocks (h int2, b int1, i int4, r real4) and how often they are repeated; recent: in pixels from",
        f" * {layout['recent'].replace('T', ' ')} on. */",
        "static const struct {\n  const char* block;\n  int times, recent;\n  const char* fields;\n} GROUPS[] = {",
        *rows, "};"])


def fortran(layout: Object) -> str:
    names = ", ".join(f"'{kind['name']}'" for kind in layout["kinds"])
    codes = ", ".join(str(kind["code"]) for kind in layout["kinds"])
    found = groups(layout)
    rows = [f"    group('{g.block}', {g.times}, {g.recent}, '{g.letters}')" for g in found]
    count = len(layout["kinds"])
    return "\n".join([
        "  ! Products in the order of their blocks, and their codes in the header.",
        f"  character(*), parameter :: kind_names({count}) = [{names}]",
        f"  integer, parameter :: kind_codes({count}) = [{codes}]",
        "  ! Fields of the blocks (h int2, b int1, i int4, r real4) and how often they are repeated; recent: in pixels",
        f"  ! from {layout['recent'].replace('T', ' ')} on.",
        "  type group",
        f"    character({max(len(g.block) for g in found)}) :: block",
        "    integer :: times, recent",
        f"    character({max(len(g.letters) for g in found)}) :: fields",
        "  end type",
        "  type(group), parameter :: groups(*) = [ &",
        ", &\n".join(rows) + "]"])


def rows_of(layout: Object, shown: Callable[[Group, list[str]], str]) -> Iterator[str]:
    return (shown(group, runs(group.fields)) for group in groups(layout))


def r(layout: Object) -> str:
    kinds = ", ".join(f'{kind["name"]} = {kind["code"]}' for kind in layout["kinds"])

    def row(group: Group, texts: list[str]) -> str:
        start = f'  list("{group.block}", {group.times}, {group.recent}, c('
        if not group.inner:
            return wrapped(start, quoted(texts), "))", "    ")
        return wrapped(start, quoted(texts), ")", "    ") + ",\n" + wrapped(
            f"    {group.inner_times}, c(", quoted(runs(group.inner)), "))", "      ")

    return "\n".join([
        f"vex_kinds <- c({kinds})  # codes of the header, in the order of the blocks",
        "# Groups of fields: block, how often they are repeated, how often in pixels from",
        f"# {layout['recent'].replace('T', ' ')} on, types (h int2, b int1, i int4, r real4) and names; behind them the",
        "# fields that are repeated within each repetition.",
        "vex_groups <- list(", ",\n".join(rows_of(layout, row)) + ")"])


def idl(layout: Object) -> str:
    def row(group: Group, texts: list[str]) -> str:
        inner = [*quoted(runs(group.inner), "'")]
        start = f"  groups.add, list('{group.block.replace('Common', 'pixel')}', {group.times}, {group.recent}, ["
        if not inner:
            return wrapped(start, quoted(texts, "'"), "])", "    ", " $")
        return wrapped(start, quoted(texts, "'"), "], $", "    ", " $") + "\n" + wrapped(
            f"    {group.inner_times}, [", inner, "])", "      ", " $")

    names = ", ".join(f"'{kind['name']}'" for kind in layout["kinds"])
    codes = ", ".join(str(kind["code"]) for kind in layout["kinds"])
    return "\n".join([
        "; Products in the order of their blocks, and their codes in the header.",
        "function vex_kinds", "  compile_opt idl2", f"  return, {{names: [{names}], codes: [{codes}]}}", "end", "",
        "; Groups of fields: block, how often they are repeated, how often in pixels from",
        f"; {layout['recent'].replace('T', ' ')} on, types (h int2, b int1, i int4, r real4) and names; behind them the",
        "; fields that are repeated within each repetition.",
        "function vex_groups", "  compile_opt idl2", "  groups = list()", *rows_of(layout, row),
        "  return, groups", "end"])


def python(layout: Object) -> str:
    kinds = ", ".join(f'{kind["code"]}: "{kind["name"]}"' for kind in layout["kinds"])

    def row(group: Group, texts: list[str]) -> str:
        start = f'    ("{group.block}", {group.times}, {group.recent}, "{group.name}", ['
        if not group.inner:
            return wrapped(start, quoted(texts), "]),", "     ")
        return wrapped(start, quoted(texts), "],", "     ") + "\n" + wrapped(
            f'     {group.inner_times}, "{group.inner_name}", [', quoted(runs(group.inner)), "]),", "      ")

    return "\n".join([
        f"KINDS = {{{kinds}}}  # header code and name, in the order of the blocks",
        "# Groups of fields: block, how often they are repeated, how often in pixels from",
        f"# {layout['recent'].replace('T', ' ')} on, name of the group, types (h int2, b int1, i int4, r real4) and names;",
        "# behind them the fields that are repeated within each repetition.",
        "GROUPS = [", *rows_of(layout, row), "]"])


LANGUAGES = {"c": c, "f90": fortran, "R": r, "pro": idl, "py": python}


def reader_tables(layout: Object) -> dict[str, Tables]:
    """The tables of each reader, by its path."""
    return {f"docs/examples/read_vex.{ending}": {"blocks": made(layout)} for ending, made in LANGUAGES.items()}
