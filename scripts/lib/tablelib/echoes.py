"""How vex echoes its options: asked of the program itself, with a value for each form."""

import subprocess
from itertools import takewhile

from .common import Object
from .roff import roff

#: A value of each form that options show, written as few people do, so that the echo differs where it can.
EXAMPLES = {"FILE": "a/file", "FOLDER": "a/folder/", "YYYY-MM-DD": "2013-4-20", "N|N-N,...": "5,07-9", "1|0": "1",
            "KIND,...": "ozo,trg", "X": "1.50", "N": "07", "LAT-LAT,LON-LON,NAME": "40-50.0,0-10,alps",
            "X|MIN-MAX": "5", "HHhMMmSSs-HHhMMmSSs,...": "6h0m0s-7h30m0s,12h0m0s", "yyy": "yny", "MIN-MAX": "0-2.50",
            "ENDING|...": "l1_bufr|bin", "TEXT,...": "M02,M03", "1|0|N-N": "90-180", "MIN-MAX,N": "0-100.0,10"}
WIDTH = 34


def echoed(folder: str, name: str, value: str) -> list[str]:
    """What vex says of an option."""
    printed = subprocess.run([f"{folder}/vex", f"-{name}", value], capture_output=True, check=True).stdout
    _, *lines = printed.decode("latin-1").split("\n")
    found = list(takewhile(lambda line: line.startswith(f"-{name} "), lines))
    if not found:
        raise SystemExit(f"vex does not echo -{name} {value}")
    return found


def example(row: Object) -> str:
    if not row["form"]:
        word: str = row["sub"][1]["word"]
        return word
    if row["form"] not in EXAMPLES:
        raise SystemExit(f"-{row['name']}: there is no example of {row['form']} for its echo")
    return EXAMPLES[row["form"]]


def table(folder: str, rows: list[Object]) -> str:
    """Options as given, what vex makes of them, and the others that are echoed likewise."""
    groups: dict[tuple[str, ...], list[str]] = {}
    for row in rows:
        if row["value"] == "none":
            continue
        name, value = row["name"], example(row)
        shape = (value, *(line[len(name) + 1:] for line in echoed(folder, name, value)))
        groups.setdefault(shape, []).append(name)
    lines = []
    for (value, *said), (first, *others) in groups.items():
        given = [f"-{first} {value}", *[""] * (len(said) - 1)]
        lines += [f"{one:<{WIDTH}}-{first}{two}".rstrip() for one, two in zip(given, said)]
        lines += [f"  so are {' '.join(f'-{other}' for other in others)}"] * bool(others)
    return "\n".join([".nf", *map(roff, lines), ".fi"])
