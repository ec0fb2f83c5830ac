#!/usr/bin/env python3
"""Reads a binary file of vex into numpy structured arrays.

    import read_vex
    header, parts = read_vex.read("spectra.bin")
    for records in parts:                                   # as a rule just one
        records["Common"]["Latitude"]                       # (records)
        records["L1C"]["Spectrum"]                          # (records, channels)
        records["ozo"]["Layer"]["IntegratedO3Density"]      # (records, layers)

Run as a program it prints the records as `vex -of txt` does: read_vex.py [--salvage] FILE
With --salvage, or read(path, salvage=True), a file that a run left behind when it was killed gives all its complete
records. The fields are described in docs/formats.md.
"""
import os
import struct
import sys

import numpy as np

KINDS = {3: "ozo", 4: "trg", 1: "clp", 2: "twt", 5: "ems"}  # header code and name, in the order of the blocks
CHANNELS = 8700  # samples of a message; the last 239 are behind the spectrum


def fields(form, names):
    return [(name, form) for name in names.split()]


COMMON = (fields("i2", "Year") + fields("i1", "Month Day Hour Minute") + fields("i4", "Milliseconds")
          + fields("f4", "Latitude Longitude SatelliteZenithAngle Bearing SolarZenithAngle SolarAzimuth")
          + fields("i4", "FieldOfViewNumber OrbitNumber ScanLineNumber") + fields("f4", "HeightOfStation"))
L1C = (fields("i2", "DayVersion")
       + fields("i4", "StartChannel1 EndChannel1 GqisQualFlag1 StartChannel2 EndChannel2 GqisQualFlag2 "
                      "StartChannel3 EndChannel3 GqisQualFlag3 CloudFraction") + fields("i1", "SurfaceType"))
AVHRR_CHANNEL = fields("i4", "AvhrrChannel") + fields("f4", "AvhrrMeanRadiance AvhrrStdDevRadiance")
AVHRR = (fields("i4", "AvhrrInstrument AvhrrChannelCombination")
         + [("Cluster", fields("f4", "AvhrrYAP AvhrrZAP AvhrrCPF") + [("Channel", AVHRR_CHANNEL, 6)], 7)])
L2 = (fields("i1", "SuperadiabaticIndicator LandSeaQualifier DayNightQualifier")
      + fields("i4", "SatelliteDataProcessingTechniqueUsed") + fields("i1", "SunGlintIndicator")
      + fields("i4", "CloudFormationAndHeightAssignment InstrumentDetectingClouds ValidationFlagForIasiLevel1 "
                     "QualityAndCompletenessOfRetrieval RetrievalChoiceIndicator SatelliteManoeuvreIndicator"))
STATE = fields("i4", "SelectionOfBackgroundState")


def kind_block(kind, layers, levels):
    if kind == "ozo":
        return STATE + [("Layer", fields("f4", "TopPressure BottomPressure IntegratedO3Density"), layers)]
    if kind == "trg":
        return STATE + fields("f4", "IntegratedN2ODensity IntegratedCODensity IntegratedCH4Density IntegratedCO2Density")
    if kind == "clp":
        layer = fields("f4", "Pressure Temperature CloudAmountInSegment") + fields("i4", "CloudPhase")
        return fields("i4", "VerticalSignificance") + [("Layer", layer, 3)]
    if kind == "ems":
        return STATE + [("Point", fields("f4", "Frequency Emissivity"), 12)]
    return (fields("i4", "VerticalSignificance1") + fields("f4", "Pressure") + fields("i4", "NumberOfObservations1")
            + fields("f4", "SkinTemperature") + fields("i4", "NumberOfObservations2 VerticalSignificance2 PTCount")
            + [("PT", fields("f4", "Pressure Temperature"), levels)] + fields("i4", "PMRCount")
            + [("PMR", fields("f4", "Pressure MixingRatio"), levels)])


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


def record_type(header, channels, layers, levels):
    """A record with its two markers."""
    blocks = [("Common", COMMON)]
    if header["l1c"]:
        blocks.append(("L1C", L1C + [("Spectrum", "f4", (channels,))]))
    if header["avhrr"]:
        blocks.append(("Avhrr", AVHRR))
    if header["kinds"]:
        blocks.append(("L2", L2))
    blocks += [(kind, kind_block(kind, layers, levels)) for kind in header["kinds"]]
    return np.dtype([("Marker", "i4")] + blocks + [("EndMarker", "i4")]).newbyteorder(header["order"])


def record_types(header):
    """The forms that a record may have. The first is the one that the markers count."""
    n = len(header["channels"])
    written = sum(1 <= c <= CHANNELS for c in header["channels"])  # when the record has its L1C pixel
    layers = [4, 101] if "ozo" in header["kinds"] else [4]
    levels = [90, 101] if "twt" in header["kinds"] else [90]
    empty = np.dtype([("Marker", "i4"), ("EndMarker", "i4")])
    return [record_type(header, c, la, le)
            for c in dict.fromkeys((n, written)) for la in layers for le in levels] + [empty]


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
        if block == "L1C" and record[block]["DayVersion"] == -1:
            column[1:10] = ["-1"] * 9  # no L1C pixel: the binary form has bands from 0 to 0
        elif block == "L1C" and record[block]["DayVersion"] < 2:
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
