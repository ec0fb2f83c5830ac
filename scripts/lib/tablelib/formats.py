"""The tables of docs/formats.md and docs/man/vexfile.5: fields of records, columns of statistics."""

import re
from collections.abc import Callable

from .common import Object, Tables
from .roff import item, roff, title

# What the tables say


def fields_of(block: Object) -> list[Object]:
    """The fields of a block in their order, each once."""
    lists = [part["fields"] for group in block["groups"] for part in (group, group["inner"]) if part]
    return [field for fields in lists for field in fields]


def with_spectrum(blocks: list[Object]) -> list[Object]:
    """The blocks as the pages have them: the spectrum is the end of the block in front of it."""
    merged: list[Object] = []
    for block in blocks:
        if not block["spectrum"]:
            merged.append(block)
            continue
        front = merged.pop()
        (group,) = block["groups"]
        (field,) = group["fields"]
        moved = {**group, "fields": [{**field, "offset": f"{front['length']} + {field['offset']}"}]}
        length = f"{front['length']} + {block['length']}"
        merged.append({**front, "groups": [*front["groups"], moved], "length": length})
    return merged


def bytes_of(block: Object) -> str:
    """What the markers count for a block: few layers and levels."""
    return str(block["shortest"] if "L" in block["length"] else block["length"])


def forms(binary: object, text: object) -> str:
    """The form in binary and that in text, once when they are the same."""
    return str(binary) if str(binary) == str(text) else f"{binary} / {text}"


def missing(field: Object) -> str:
    return forms(field["missing"], field["missing_text"])


def day_one(field: Object) -> str:
    form = field["day_one"]
    return forms(form["binary"], form["text"] or "empty") if form else "as it is"


def either(field: Object, show: Callable[[Object], str]) -> str:
    """What a field shows, and what it shows with -tb 1."""
    first = show(field)
    second = show(field.get("with_tb", field))
    return first if first == second else f"{first}; {second} with -tb 1"


def explained(row: Object) -> str:
    """The meaning, with codes and range behind its first part."""
    first, separator, rest = row["meaning"].partition("; ")
    codes = f": {row['codes']}" if row["codes"] else ""
    limits = ", {:.9g} to {:.9g}".format(*row["valid_range"]) if row.get("valid_range") else ""
    if codes and limits:
        reserved, most = int(row["codes"].rpartition(", ")[2].split()[0]) + 1, row["valid_range"][1]
        limits = f", {reserved} to {most} reserved" if reserved < most else f", {most} reserved"
    return f"{first}{codes}{limits}{separator}{rest}"


def meaning(field: Object) -> str:
    other = "; a real in binary, an integer in text" if (field["type"], field["text"]) == ("real4", "int") else ""
    return either(field, explained) + other


def header_type(row: Object) -> str:
    return str(row["type"]) if row["times"] == "1" else f"{row['times']} × {row['type']}"


def header_content(row: Object, kinds: list[Object]) -> str:
    if row["variable"] != "kinds":
        return explained(row)
    codes = sorted((kind["code"], kind["name"]) for kind in kinds)
    return f"{row['meaning']}: " + ", ".join(f"{code} `{name}`" for code, name in codes)


def statistics_names(group: Object, row: Object) -> list[str]:
    """The columns that a row stands for; none when their names are numbers."""
    return [] if group["channels"] else [part["prefix"] + row["name"] for part in group["sets"]]


def either_unit(row: Object) -> str:
    return row["unit"] + (f"; {row['unit_tb']} with -tb 1" if row["unit_tb"] else "")


def statistics_meaning(group: Object, row: Object) -> str:
    """Meanings of the grid's columns do not say what is done with the values of its pixels."""
    kind = ("number of " if row["type"] == "int" else "mean ") if group["product"] else ""
    return kind + row["meaning"] + (f"; only with {row['option']}" if row["option"] else "")


# docs/formats.md


def code(word: str) -> str:
    return f"`{word}`"


def markdown(titles: list[str], rows: list[list[str]]) -> str:
    head = [f"| {' | '.join(titles)} |", "|---" * len(titles) + "|"]
    lines = [re.sub(r"\|  (?=\|)", "| ", f"| {' | '.join(row)} |") for row in rows]
    return "\n".join(head + [re.sub(r"(?<![\w`])-[a-z]\w*(?: \d)?", r"`\g<0>`", line) for line in lines])


def columns(block: Object) -> dict[str, Callable[[Object], str]]:
    """What the table of a block shows of a field. The first block has no missing form."""
    shown: dict[str, Callable[[Object], str]] = {
        "Offset": lambda field: str(field["offset"]),
        "Type": lambda field: str(field["type"]),
        "Column": lambda field: "channel" if "with_tb" in field else code(field["name"]),
        "Variable": lambda field: either(field, lambda form: code(block["prefix"] + form["variable"])),
        "Unit": lambda field: either(field, lambda form: str(form["unit"])),
        "Missing": lambda field: "" if block["name"] == "Common" else either(field, missing)}
    if any(field["day_one"] for field in fields_of(block)):
        shown["Day 1"] = day_one
    return {**shown, "Meaning": meaning}


def field_table(block: Object) -> str:
    shown = columns(block)
    return markdown(list(shown), [[show(field) for show in shown.values()] for field in fields_of(block)])


def statistics_tables(layout: Object) -> Tables:
    """The columns of each kind of file, and the sets of pixels that they are repeated for."""
    made = {}
    for file in layout["statistics"]:
        rows = [[", ".join(map(code, statistics_names(group, row))) or "a channel number", either_unit(row),
                 statistics_meaning(group, row), row["empty"]]
                for group in file["groups"] for row in group["columns"]]
        made[f"{file['kind']} columns"] = markdown(["Column", "Unit", "Meaning", "Without any value"], rows)
        for group in file["groups"]:
            if len(group["sets"]) > 1:
                sets = [[code(part["prefix"]) if part["prefix"] else "none", part["meaning"]] for part in group["sets"]]
                made[f"{file['kind']} sets"] = markdown(["Name starts with", "Pixels"], sets)
    return made


def page_tables(layout: Object) -> Tables:
    header = [[row["offset"], header_type(row), code(row["variable"]), header_content(row, layout["kinds"])]
              for row in layout["header"]]
    kinds = {kind["name"] for kind in layout["kinds"]}
    blocks = with_spectrum(layout["blocks"])
    lengths = [[code(block["name"]) if block["name"] in kinds else block["name"], bytes_of(block)] for block in blocks]
    return {"header": markdown(["Offset", "Type", "Name", "Content"], header),
            "lengths": markdown(["Block", "Bytes"], lengths),
            **{block["name"]: field_table(block) for block in blocks}, **statistics_tables(layout)}


def with_lengths(text: str, layout: Object) -> str:
    """The page with the lengths of the blocks in the titles of their sections."""
    for block in with_spectrum(layout["blocks"]):
        text = re.sub(rf"^(### `?{re.escape(block['name'])}`? block): .* bytes$", rf"\1: {block['length']} bytes", text,
                      flags=re.M)
    return text


# docs/man/vexfile.5


def manual_item(block: Object, field: Object) -> str:
    """One field: its column, type, place and unit, then what it means and how it is called elsewhere."""
    shown = columns(block)
    unit, absent = shown["Unit"](field), shown["Missing"](field)
    place = field["type"] if field["offset"] == "-" else f"{field['type']} at {field['offset']}"
    first = f"day 1: {day_one(field)}" if field["day_one"] else ""
    return item(field["name"], ", ".join(filter(None, (place, unit))),
                [meaning(field), f"missing: {absent}" * bool(absent), first, f"variable: {shown['Variable'](field)}"])


def statistics_items(file: Object) -> list[str]:
    items = []
    for group in file["groups"]:
        for row in group["columns"]:
            names = statistics_names(group, row)
            ahead, unit = names[0] if names else "channel number", either_unit(row)
            alike = f"the same: {', '.join(names[1:])}" if names[1:] else ""
            empty = f"without any value: {row['empty']}" if row["empty"] else ""
            items.append(item(ahead, unit or row["type"], [text for text in (statistics_meaning(group, row), empty, alike) if text]))
    return items


def manual_tables(layout: Object) -> Tables:
    header = [item(row["variable"], f"{header_type(row)} at {row['offset']}", [header_content(row, layout["kinds"])])
              for row in layout["header"]]
    blocks = [line for block in with_spectrum(layout["blocks"])
              for line in (f'.SS "{roff(block["name"])}: {roff(block["length"])} bytes"',
                           *(manual_item(block, field) for field in fields_of(block)))]
    columns_of_files = [line for file in layout["statistics"]
                        for line in (f'.SS "{roff(file["title"])}"', *statistics_items(file))]
    return {"title": title("vexfile", 5), "header": "\n".join(header), "fields": "\n".join(blocks),
            "statistics": "\n".join(columns_of_files)}
