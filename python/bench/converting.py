#!/usr/bin/env python3
"""Measures conversion to NetCDF against netCDF4 alone, which writes the same arrays from memory in the same run.

Usage: converting.py BUILD_DIR FOLDER [--size GB]

Types, chunks, compression and the number of pixels that are written at once are those of the file that vexfile makes.
"""

from __future__ import annotations

import argparse
import json
import time
from pathlib import Path

import netCDF4
from reading import make

from vexfile.commands.convert import Source, convert

REPEATS = 3


def netcdf_alone(model: Path, out: Path, source: Source, block: int) -> float:
    """Seconds that netCDF4 takes for the arrays of a file, which are in memory before."""
    arrays = {item.name: source.read(item, 0, source.pixels) if item.values is None else item.values
              for item in source.items}
    begin = time.perf_counter()
    with netCDF4.Dataset(model) as like, netCDF4.Dataset(out, "w") as file:
        file.set_fill_off()
        for name, dimension in like.dimensions.items():
            file.createDimension(name, dimension.size)
        for name, wanted in like.variables.items():
            filters = wanted.filters()
            fill = getattr(wanted, "_FillValue", None)
            made = file.createVariable(name, wanted.dtype, wanted.dimensions, zlib=filters["zlib"], fill_value=fill,
                                       complevel=filters["complevel"], shuffle=filters["shuffle"],
                                       chunksizes=None if wanted.chunking() == "contiguous" else wanted.chunking())
            made.setncatts({key: wanted.getncattr(key) for key in wanted.ncattrs() if key != "_FillValue"})
            made.set_auto_maskandscale(False)
            for pixel in range(0, len(arrays[name]), block):
                made[pixel:pixel + block] = arrays[name][pixel:pixel + block]
    return time.perf_counter() - begin


def main() -> None:
    """Makes the files and prints the figures."""
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--size", type=float, default=1, help="of each file, GB")
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    figures = {}
    for name, options in (("spectra", "-c 1-8461"), ("retrievals", "-t2 ozo,trg,clp,twt,ems"),
                          ("both", "-c 1-8461 -avhrr 1 -t2 ozo,trg,clp,twt,ems")):
        path = make(arguments.build.resolve(), arguments.folder.resolve(), f"convert-{name}.bin", "2013-04-20", options,
                    arguments.size * 1e9)
        mine, other = arguments.folder / "mine.nc", arguments.folder / "other.nc"
        for level in (0, 1):
            best = [float("inf")] * 2
            for _ in range(REPEATS):
                begin = time.perf_counter()
                convert([str(path)], str(mine), force=True, level=level)
                best[0] = min(best[0], time.perf_counter() - begin)
                source = Source([str(path)], False)
                block = next((item.chunks[0] for item in source.items if item.spectrum), source.block)
                best[1] = min(best[1], netcdf_alone(mine, other, source, block))
            figures[f"{name}, level {level}, MB/s"] = path.stat().st_size / best[0] / 1e6
            figures[f"{name}, level {level}, of netCDF4 alone"] = best[1] / best[0]
            figures[f"{name}, level {level}, bytes of the file"] = mine.stat().st_size / path.stat().st_size
            mine.unlink()
            other.unlink()
    print(json.dumps({name: round(value, 3) for name, value in figures.items()}, indent=1))


if __name__ == "__main__":
    main()
