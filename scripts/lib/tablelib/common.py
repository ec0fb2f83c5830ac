"""Places, types, and the pages that have their tables between marks."""

import re
from pathlib import Path
from typing import Any

ROOT = Path(__file__).resolve().parents[3]
Object = dict[str, Any]
Tables = dict[str, str]

# Comments of Markdown, roff, C, Fortran, IDL, R and Python.
MARKED = re.compile(r'^( *(?:<!--|\.\\"|/\*|[!;#]) table: (.+?)(?: -->| \*/)?)\n.*?^( *(?:<!--|\.\\"|/\*|[!;#]) end(?: -->| \*/)?)$',
                    re.M | re.S)


def filled(path: str, tables: Tables) -> str:
    """A page with its tables in their places, of which there must be one for each."""
    text = (ROOT / path).read_text(encoding="utf-8")
    places = [place[2] for place in MARKED.finditer(text)]
    if sorted(places) != sorted(tables):
        raise SystemExit(f"{path} has places for the tables {sorted(places)}, not for {sorted(tables)}")
    return MARKED.sub(lambda place: f"{place[1]}\n{tables[place[2]]}\n{place[3]}", text)


def release() -> tuple[str, str]:
    """Version and date of vex, which CMakeLists.txt has."""
    text = (ROOT / "CMakeLists.txt").read_text(encoding="utf-8")
    version = re.search(r"^project\(vex VERSION ([\d.]+)", text, re.M)
    date = re.search(r"^set\(VEX_DATE (\d{4}-\d\d-\d\d)\)", text, re.M)
    if not version or not date:
        raise SystemExit("CMakeLists.txt lacks the version or VEX_DATE")
    return version[1], date[1]
