#!/usr/bin/env python3
"""Reads a binary file of vex into numpy structured arrays.

    import read_vex
    header, parts = read_vex.read("spectra.bin")
    for records in parts:                                   # as a rule just one
        records["Common"]["latitude"]                       # (records)
        records["L1C"]["spectrum"]                          # (records, channels)
        records["ozo"]["layer"]["integrated_o3_density"]    # (records, layers)

Run as a program it prints the records as `vex -of txt` does: read_vex.py [--salvage] FILE
With --salvage, or read(path, salvage=True), a file that a run left behind when it was killed gives all its complete
records. The fields are described in docs/formats.md, in the column "Variable" (without the prefix of the block).
HeightOfStation (satellite_height) is in km in records with an L1C pixel, and in metres in all others.
"""
import itertools
import os
import struct
import sys

import numpy as np

CHANNELS = 8700  # samples of a message; the last 239 are behind the spectrum

# Made by scripts/lib/tables from what vex itself walks over:
# table: blocks
KINDS = {3: "ozo", 4: "trg", 1: "clp", 2: "twt", 5: "ems"}  # header code and name, in the order of the blocks
# Groups of fields: block, how often they are repeated, how often in pixels from
# 2014-09-30 07:23:00 on, name of the group, types (h int2, b int1, i int4, r real4) and names;
# behind them the fields that are repeated within each repetition.
GROUPS = [
    ("Common", 1, 1, "", ["h year", "b month day hour minute", "i milliseconds",
     "r latitude longitude satellite_zenith_angle satellite_azimuth_angle solar_zenith_angle",
     "r solar_azimuth_angle", "i field_of_view_number orbit_number scan_line_number", "r satellite_height"]),
    ("L1C", 1, 1, "", ["h day_version",
     "i start_channel_1 end_channel_1 quality_flag_1 start_channel_2 end_channel_2",
     "i quality_flag_2 start_channel_3 end_channel_3 quality_flag_3 cloud_fraction", "b surface_type"]),
    ("AVHRR", 1, 1, "", ["i instrument channel_combination"]),
    ("AVHRR", 7, 7, "cluster", ["r y_angular_position z_angular_position cluster_fraction"],
     6, "imager_channel", ["i channel", "r mean_radiance radiance_standard_deviation"]),
    ("L2", 1, 1, "", ["b superadiabatic_indicator land_sea_qualifier day_night_qualifier",
     "i data_processing_technique", "b sun_glint_indicator",
     "i cloud_formation_and_height_assignment instrument_detecting_clouds validation_of_level_1",
     "i quality_and_completeness_of_retrieval retrieval_choice_indicator", "i satellite_manoeuvre_indicator"]),
    ("ozo", 1, 1, "", ["i background_state"]),
    ("ozo", 4, 101, "layer", ["r pressure_top pressure_bottom integrated_o3_density"]),
    ("trg", 1, 1, "", ["i background_state", "r integrated_n2o_density integrated_co_density integrated_ch4_density",
     "r integrated_co2_density"]),
    ("clp", 1, 1, "", ["i vertical_significance"]),
    ("clp", 3, 3, "layer", ["r cloud_top_pressure cloud_top_temperature cloud_amount", "i cloud_phase"]),
    ("twt", 1, 1, "", ["i vertical_significance_1", "r surface_pressure", "i number_of_observations_1",
     "r skin_temperature", "i number_of_observations_2 vertical_significance_2 temperature_level_count"]),
    ("twt", 90, 101, "level", ["r temperature_pressure temperature"]),
    ("twt", 1, 1, "", ["i humidity_level_count"]),
    ("twt", 90, 101, "level_2", ["r humidity_pressure mixing_ratio"]),
    ("ems", 1, 1, "", ["i background_state"]),
    ("ems", 12, 12, "point", ["r frequency emissivity"]),
]
# end
FORMS = {"h": "i2", "b": "i1", "i": "i4", "r": "f4"}


def fields(runs):
    return [(name, FORMS[run[0]]) for run in runs for name in run.split()[1:]]


def block_fields(block, recent):
    """The fields of a block; recent: in the record of a recent pixel."""
    found = []
    for name, times, recent_times, group, runs, *inner in GROUPS:
        if name == block:
            part = fields(runs) + [(inner[1], fields(inner[2]), inner[0]) for _ in inner[:1]]
            found += [(group, part, recent_times if recent else times)] if group else part
    return found


def grows(block):
    return any(name == block and times != recent for name, times, recent, *_ in GROUPS)


def read_header(data):
    """The header as a dict, and the place of the first pixel record."""
    try:
        order = "<>"[data[4]]
        marker, n, = struct.unpack_from(order + "i14xi", data)
        satellite, tb = struct.unpack_from(order + "i4xb", data, 9)
        channels = struct.unpack_from(f"{order}{n}i", data, 22)
        avhrr, count = struct.unpack_from(order + "bh", data, 22 + 4 * n)
        codes = struct.unpack_from(f"{order}{count}i", data, 25 + 4 * n)
        if struct.unpack_from(order + "i", data, marker + 4)[0] != marker:
            raise ValueError
    except (ValueError, IndexError, struct.error):
        raise ValueError("not a binary file of vex, or cut short in its header") from None
    header = {"order": order, "satellite": satellite, "tb": tb, "channels": channels, "avhrr": avhrr,
              "l1c": n > 0 or avhrr, "kinds": [name for code, name in KINDS.items() if code in codes]}
    return header, marker + 8


def record_type(header, channels, recent):
    """A record with its two markers. recent: the kinds whose block is that of a recent pixel."""
    names = ["Common"] + ["L1C"] * header["l1c"] + ["AVHRR"] * header["avhrr"] + ["L2"] * bool(header["kinds"])
    blocks = [(name, block_fields(name, name in recent)) for name in names + header["kinds"]]
    for name, block in blocks:
        if name == "L1C":
            block.append(("spectrum", "f4", (channels,)))
    return np.dtype([("Marker", "i4")] + blocks + [("EndMarker", "i4")]).newbyteorder(header["order"])


def record_types(header):
    """The forms that a record may have. The first is the one that the markers count."""
    n = len(header["channels"])
    written = sum(1 <= c <= CHANNELS for c in header["channels"])  # when the record has its L1C pixel
    growing = [kind for kind in header["kinds"] if grows(kind)]
    recents = [set(chosen) for k in range(len(growing) + 1) for chosen in itertools.combinations(growing, k)]
    empty = np.dtype([("Marker", "i4"), ("EndMarker", "i4")])
    return [record_type(header, c, recent) for c in dict.fromkeys((n, written)) for recent in recents] + [empty]


def read(path, salvage=False):
    """(header, list of arrays). Neighbouring records of one form are one array, which is a view of the file. There is
    more than one array only where the numbers of ozone layers or temperature levels change; arrays of records
    without content have no blocks.

    A record that is damaged or cut short is an error. To salvage is to return the records in front of it instead;
    header["left"] then counts the bytes from it on, 0 where all is well. A file without a whole header is an error."""
    data = np.memmap(path, dtype="u1", mode="r") if os.path.getsize(path) else np.empty(0, "u1")
    header, place = read_header(data)
    types = record_types(header)
    marker = struct.pack(header["order"] + "i", types[0].itemsize - 8)
    forms = sorted(types, key=lambda dtype: dtype.itemsize)  # a long form may end where several short records do
    buffer = memoryview(data)
    runs = []  # [type, begin, end]
    while place < len(data):
        for dtype in forms:
            end = place + dtype.itemsize
            behind = bytes(buffer[end:end + 4])
            ends = marker.startswith(behind) if salvage else behind in (marker, b"")
            if ends and buffer[place:place + 4] == buffer[end - 4:end] == marker:
                break
        else:
            if salvage:
                break
            raise ValueError(f"the record at byte {place} is damaged or cut short")
        if runs and runs[-1][0] is dtype:
            runs[-1][2] = end
        else:
            runs.append([dtype, place, end])
        place = end
    header["left"] = len(data) - place
    return header, [data[begin:end].view(dtype) for dtype, begin, end in runs]


def values(item):
    """The plain values of a record or of a part of it, in their order."""
    if isinstance(item, np.ndarray):
        item = item.tolist()
    if isinstance(item, (tuple, list)):
        for part in item:
            yield from values(part)
    else:
        yield item


def number(value):
    if isinstance(value, float):
        return "%g" % value
    return "%d" % (value if value >= -1 else value + 256)  # an int1: -1 is missing, all others are positive


def text(record, header):
    """The line of a record as vex -of txt writes it."""
    if record.dtype.names == ("Marker", "EndMarker"):
        return ""
    line = [str(header["satellite"]), str(int(header["tb"])) if header["l1c"] else "-1"]
    for block in record.dtype.names[1:-1]:
        column = [number(v) for v in values(record[block].item())]
        if block == "L1C" and record[block]["day_version"] == -1:
            column[1:10] = ["-1"] * 9  # no L1C pixel: the binary form has bands from 0 to 0
        elif block == "L1C" and record[block]["day_version"] < 2:
            column[4:11] = [""] * 7  # day 1: the binary form has bands from 0 to 0
        elif block == "ems":
            column[2::2] = ["-777" if e == "-1" else e for e in column[2::2]]  # no ems pixel
        line += column
    return "\t".join(line)


def main():
    *options, path = sys.argv[1:] or [""]
    if options not in ([], ["--salvage"]) or path in ("", "--salvage"):
        sys.exit("Usage: read_vex.py [--salvage] FILE")
    try:
        header, parts = read(path, salvage=bool(options))
    except (ValueError, OSError) as error:
        sys.exit(f"{path}: {error}")
    for records in parts:
        for record in records:
            print(text(record, header))
    if header["left"]:
        print(f"{path}: left out {header['left']} bytes behind the last complete record", file=sys.stderr)


if __name__ == "__main__":
    main()
