"""The fields of a record, as vex itself lists them: layout.json is printed from its tables, those of statistics too."""

from __future__ import annotations

import functools
import json
import os
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

BINARY_SIZES = {"text": 0, "int1": 1, "int2": 2, "int4": 4, "real4": 4}


@dataclass(frozen=True)
class Field:
    """One field of a record.

    Attributes
    ----------
    column
        The archive's own name, a column of the text output; ``#`` stands for the number of the repetition.
    name
        Name of the variable, with the prefix of its block.
    type
        ``int1``, ``int2``, ``int4``, ``real4``, or ``text`` when only text files have it.
    missing, missing_text
        What stands in a record whose product is missing, in binary and in text.
    text
        ``int`` or ``real``: how text files print it.
    day_one
        What text files have in its place in a record of the day 1 archive; None: its value.
    missing_value
        What stands when the product is there and the value is missing.
    temperature : Field or None
        What stands in its place with brightness temperatures.
    """

    column: str
    name: str
    type: str
    missing: float
    missing_text: float
    divisor: float
    unit: str
    meaning: str
    valid_range: tuple[float, float] | None
    standard_name: str
    codes: tuple[tuple[int, str], ...]
    text: str
    day_one: str | None
    missing_value: float
    temperature: Field | None

    @property
    def size(self) -> int:
        """Bytes in a binary record."""
        return BINARY_SIZES[self.type]


@dataclass(frozen=True)
class Group:
    """Fields that are repeated together, and those repeated within each repetition."""

    fields: tuple[Field, ...]
    times: int
    times_recent: int
    dimension: str
    inner: tuple[Field, ...] = ()
    inner_times: int = 0
    inner_dimension: str = ""

    @property
    def size(self) -> int:
        """Bytes of one repetition."""
        return sum(f.size for f in self.fields) + self.inner_times * sum(f.size for f in self.inner)

    @property
    def columns(self) -> int:
        """Text columns of one repetition."""
        return len(self.fields) + self.inner_times * len(self.inner)


@dataclass(frozen=True)
class Block:
    """One block of a record; the block of the spectrum has one field, a value for each channel."""

    name: str
    groups: tuple[Group, ...]
    spectrum: bool

    @property
    def extra(self) -> int:
        """Repetitions that the groups of recent pixels have more than the header says; 0 for most blocks."""
        return max((g.times_recent - g.times for g in self.groups), default=0)

    def size(self, recent: bool) -> int:
        """Bytes in a binary record (of a spectrum: none)."""
        return sum(g.size * (g.times_recent if recent else g.times) for g in self.groups if not self.spectrum)

    def column_names(self) -> Iterator[str]:
        """Columns in the header line of a text file, in their order (of a spectrum: none)."""
        for group in self.groups if not self.spectrum else ():
            for number in range(1, group.times + 1):
                yield from (f.column.replace("#", str(number)) for f in group.fields)
                for _ in range(group.inner_times):
                    yield from (f.column.replace("#", str(number)) for f in group.inner)


@dataclass(frozen=True)
class Layout:
    """All blocks by name, in the order of a record, and the codes by which a binary header names the kinds."""

    blocks: dict[str, Block]
    codes: dict[str, int]
    samples: int

    def of(self, l1c: bool, avhrr: bool, kinds: tuple[str, ...]) -> list[Block]:
        """The blocks of the records of one file."""
        names = ["Common"] + ["L1C", "Spectrum"] * l1c + ["AVHRR"] * avhrr + ["L2 common"] * bool(kinds)
        return [self.blocks[name] for name in [*names, *kinds]]


def _codes(text: str) -> tuple[tuple[int, str], ...]:
    pairs = (part.strip().partition(" ") for part in text.split(",") if part.strip())
    return tuple((int(value), meaning) for value, _, meaning in pairs)


def _field(row: dict[str, Any], prefix: str) -> Field:
    valid, day_one = row["valid_range"], row["day_one"]
    variable = row["variable"]
    return Field(row["name"], variable if variable.startswith(prefix) else prefix + variable, row["type"],
                 row["missing"], row["missing_text"], row["divisor"], row["unit"], row["meaning"],
                 (valid[0], valid[1]) if valid else None, row["standard_name"], _codes(row["codes"]),
                 row["text"], day_one["text"] if day_one else None, row["missing_value"],
                 _field(row["with_tb"], prefix) if "with_tb" in row else None)


def _group(group: dict[str, Any], prefix: str) -> Group:
    inner = group["inner"] or {"fields": [], "times": 0, "dimension": ""}
    return Group(tuple(_field(row, prefix) for row in group["fields"]), group["times"], group["times_recent"],
                 group["dimension"] or "", tuple(_field(row, prefix) for row in inner["fields"]), inner["times"],
                 inner["dimension"])


@functools.cache
def tables() -> dict[str, Any]:
    """All that layout.json has: blocks of records, columns of statistics, formats."""
    with open(os.path.join(os.path.dirname(__file__), "layout.json"), encoding="utf-8") as file:
        read: dict[str, Any] = json.load(file)
    return read


@functools.cache
def layout() -> Layout:
    """The layout of the files that vex writes."""
    table = tables()
    blocks = {block["name"]: Block(block["name"], tuple(_group(g, block["prefix"]) for g in block["groups"]),
                                   block["spectrum"]) for block in table["blocks"]}
    return Layout(blocks, {kind["name"]: kind["code"] for kind in table["kinds"] if kind["code"]}, table["channel_limit"])
