#!/usr/bin/env python3
"""Holds the tables of docs/formats.md against vex: check_formats.py VEX ARCHIVE RECENT DAY_ONE

The archives are of 2013-04-20, of 2014-10-01 (101 layers and levels) and of 2008-01-10 (day 1). Each field that a table
names is read from the binary records at the table's offset and compared with the text output of the same run, whose
header line must name the same fields in the same order.
"""
import os
import re
import struct
import subprocess
import sys
import tempfile

SIZES = {"text": 0, "int1": 1, "int2": 2, "int4": 4, "real4": 4}
CODES = {"int1": "b", "int2": "h", "int4": "i", "real4": "f"}
KINDS = ["ozo", "trg", "clp", "twt", "ems"]
PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "formats.md")


def evaluate(formula, **numbers):
    formula = formula.replace("·", "*")
    assert re.fullmatch(r"[-+*0-9 NKLij]+", formula), formula
    return eval(formula, {}, numbers)


class Block:
    """A section of the page with its table."""

    def __init__(self, title, text):
        self.name, self.length = re.fullmatch(r"`?(.*?)`? (?:block|record): (.*) bytes", title).groups()
        rows = [[cell.strip() for cell in line.strip("|").split("|")]
                for line in text.splitlines() if line.startswith("|")]
        self.rows = [dict(zip(rows[0], row)) for row in rows[2:]]
        self.ranges = {index: last for index, last in re.findall(r"\b([ij]) = 0 to ([-N0-9L]+)", text)}
        levels = re.search(r"L is (\d+), or (\d+)", text)
        self.few, self.many = map(int, levels.groups()) if levels else (0, 0)

    def size(self, **numbers):
        return evaluate(self.length, **numbers)

    def fields(self, channels, levels):
        """(offset, type, column, row) of every field, in the order of the offsets, which must leave no gap."""
        numbers = {"N": len(channels), "L": levels}
        counts = {index: evaluate(last, **numbers) + 1 for index, last in self.ranges.items()}
        found = []
        for row in self.rows:
            formula = row["Offset"]
            for i in range(counts["i"] if "i" in formula else 1):
                for j in range(counts["j"] if "j" in formula else 1):
                    offset = -1 if formula == "-" else evaluate(formula, i=i, j=j, **numbers)
                    column = row["Column"].strip("`").replace("#", str(i + 1))
                    found.append((offset, row["Type"], channels[i] if column == "channel" else column, row))
        found.sort(key=lambda field: field[0])
        end = 0
        for offset, form, column, _ in found:
            assert offset in (-1, end), f"{self.name}: {column} is at {offset}, the fields before it end at {end}"
            end += SIZES[form]
        assert end == self.size(**numbers), f"{self.name}: the fields end at {end}"
        return found


def read_page():
    sections = re.split(r"^###? (.*)$", open(PAGE, encoding="utf-8").read(), flags=re.M)[1:]
    blocks = [Block(t, s) for t, s in zip(sections[::2], sections[1::2]) if re.search(r": .* bytes$", t)]
    return {block.name: block for block in blocks}


def form(cell, text, tb):
    """What a cell as `0 / -1` has for binary or text."""
    if "; 0 with" in cell:
        cell = "0" if tb else cell.split(";")[0]
    part = cell.split(" / ")[-1 if text else 0]
    return "" if part == "empty" else part


class Run:
    """One choice of products and its output in both formats."""

    def __init__(self, page, vex, archive, options, l1c="L1C", l2="L2"):
        self.options = options
        day = {"recent": "2014-10-01", "day1": "2008-01-10"}.get(os.path.basename(archive), "2013-04-20")
        with tempfile.TemporaryDirectory() as folder:
            for of in ("bin", "txt"):
                command = [vex, "-d", os.path.join(archive, l1c), "-d2", os.path.join(archive, l2), "-out",
                           os.path.join(folder, of), "-of", of, "-fd", day, "-ld", day,
                           "-alt", os.path.join(archive, "land_sea_alti_map.dat")] + options
                said = subprocess.run(command, capture_output=True, check=True).stdout
                assert b"Extraction succeeded" in said, said
            self.data = open(os.path.join(folder, "bin"), "rb").read()
            lines = open(os.path.join(folder, "txt")).read().splitlines()
        self.names, self.lines = lines[0].split("\t"), [line.split("\t") for line in lines[1:]]
        assert self.lines, f"no records: {command}"
        self.order = "><"[self.data[4] == 0]
        self.tb = "-tb" in options
        chosen = options[options.index("-t2") + 1].split(",") if "-t2" in options else []
        self.kinds = [kind for kind in KINDS if kind in chosen]
        self.avhrr = "-avhrr" in options
        self.read_header(page["Header"])
        names = ["Common"] + ["L1C"] * (bool(self.channels) or self.avhrr) + ["AVHRR"] * self.avhrr
        self.blocks = [page[name] for name in names + ["L2 common"] * bool(self.kinds) + self.kinds]

    def at(self, place, kind):
        return struct.unpack_from(self.order + CODES[kind], self.data, place)[0]

    def read_header(self, block):
        numbers = {"N": self.at(4 + 14, "int4"), "K": len(self.kinds)}
        end = 0
        for row in block.rows:
            count, _, kind = row["Type"].rpartition(" × ")
            times = evaluate(count, **numbers) if count else 1
            assert evaluate(row["Offset"], **numbers) == end, row
            value = [self.at(4 + end + k * SIZES[kind], kind) for k in range(times)]
            end += times * SIZES[kind]
            content = row["Content"]
            if content.isdigit() or content == "K":
                assert value == [int(content) if content.isdigit() else len(self.kinds)], row
            elif content.startswith("the channel numbers"):
                self.channels = [str(c) for c in value]
            elif content.startswith("codes"):
                codes = {kind: int(code) for code, kind in re.findall(r"(\d) `(\w+)`", content)}
                assert value == sorted(codes[kind] for kind in self.kinds), row
            elif "AVHRR" in content or "brightness" in content or "big-endian" in content:
                expected = self.avhrr if "AVHRR" in content else self.tb if "bright" in content else "-bi" in self.options
                assert value == [expected], row
        assert end == block.size(**numbers) == self.at(0, "int4") == self.at(4 + end, "int4"), "header length"
        self.start = end + 8

    def check(self, missing=(), recent=False):
        """Compares all records. missing: the blocks that are in their missing form in all of them."""
        header = [f for block in self.blocks for f in block.fields(self.channels, block.few)]
        order = [column for _, _, column, _ in header]
        assert order == self.names, f"columns differ: {[p for p in zip(order, self.names) if p[0] != p[1]][:3]}"
        marker = sum(block.size(N=len(self.channels), L=block.few) for block in self.blocks)
        place = self.start
        for line in self.lines:
            begin, column = place + 4, 0
            for block in self.blocks:
                levels = block.many if recent and block.name not in missing else block.few
                for offset, kind, name, row in block.fields(self.channels, levels):
                    if kind != "text":
                        self.compare(begin + offset, kind, name, row, line[column], block.name in missing)
                    column += 1
                begin += block.size(N=len(self.channels), L=levels)
            assert column == len(line), f"{len(line)} columns in place of {column}"
            assert self.at(place, "int4") == self.at(begin, "int4") == marker, f"markers at {place} and {begin}"
            place = begin + 4
        assert place == len(self.data), "bytes behind the last record"

    def compare(self, place, kind, name, row, text, missing):
        value = self.at(place, kind)
        value = "%g" % value if kind == "real4" else "%d" % (value + 256 if kind == "int1" and value < -1 else value)
        pair = (value, text)
        if missing:
            expected = form(row["Missing"], False, self.tb), form(row["Missing"], True, self.tb)
            assert pair == expected, f"{name}: missing as {pair}, not {expected}"
            return
        allowed = [(form(row[c], False, self.tb), form(row[c], True, self.tb)) for c in ("Missing", "Day 1") if c in row]
        assert value == text or pair in allowed, f"{name}: {value} in binary, {text} in text"


def main():
    vex, archive, recent, day_one = sys.argv[1:]
    page = read_page()
    everything = ["-c", "1-3,8461", "-avhrr", "1", "-t2", ",".join(KINDS)]
    for options in [["-c", "5,7-9"], ["-c", "1-4", "-tb", "1"], ["-avhrr", "1"], ["-c", "1", "-t2", "twt,ozo"],
                    everything, everything + ["-bi", "1"]] + [["-t2", kind] for kind in KINDS]:
        Run(page, vex, archive, options).check()
    Run(page, vex, day_one, ["-c", "1-3", "-avhrr", "1"]).check()
    for kind in ("ozo", "twt"):
        Run(page, vex, recent, ["-t2", kind]).check(recent=True)
    for tb in ([], ["-tb", "1"]):  # missing forms: no files of L1C, no files of L2
        Run(page, vex, archive, everything[:4] + tb + ["-t2", "trg"], l1c="none").check(missing=["L1C", "AVHRR"])
        Run(page, vex, recent, everything + tb, l2="none").check(missing=["L2 common"] + KINDS)
    print(f"docs/formats.md: {sum(len(block.rows) for block in page.values())} rows hold")


if __name__ == "__main__":
    main()
