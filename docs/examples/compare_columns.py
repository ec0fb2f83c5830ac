#!/usr/bin/env python3
"""Compares columns as numbers: compare_columns.py FILE-WITH-HEADER-LINE EXPECTED GOT

Where the binary file and the text differ on purpose (docs/formats.md) both forms pass: the bands of a record without
L1C pixel (0 and -1), the fields that day 1 archives lack (0 or -1 and an empty column), the emissivity of a record
without ems pixel (-1 and -777).
"""
import sys


def agree(expected, got, name, name_from_end):
    if expected == "":
        return got in ("0", "-1")
    a, b = float(expected), float(got)
    if abs(a - b) <= 1e-5 * abs(a):
        return True
    band = name.startswith(("StartChannel", "EndChannel"))
    return band and (a, b) == (-1, 0) or name_from_end.startswith("Emissivity") and (a, b) == (-777, -1)


names = open(sys.argv[1]).readline().rstrip("\n").split("\t")
expected, got = (open(path).read().splitlines() for path in sys.argv[2:])
if len(expected) != len(got):
    sys.exit(f"{len(got)} records in place of {len(expected)}")
for number, (line, other) in enumerate(zip(expected, got), 1):
    columns, others = line.split("\t"), other.split("\t")
    if len(columns) != len(others):
        sys.exit(f"record {number}: {len(others)} columns in place of {len(columns)}")
    for i, (column, value) in enumerate(zip(columns, others)):
        # The header line names fewer layers and levels than recent records have: the last columns count from the end.
        here, from_end = names[min(i, len(names) - 1)], names[max(i - len(columns), -len(names))]
        if column != value and not agree(column, value, here, from_end):
            sys.exit(f"record {number}, column {i + 1}: {value} in place of {column}")
