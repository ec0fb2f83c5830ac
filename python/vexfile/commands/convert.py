"""Files of vex as NetCDF, zarr and CSV."""

from __future__ import annotations

import contextlib
import datetime
import errno
import hashlib
import os
from collections.abc import Callable, Iterable, Iterator, Sequence
from concurrent.futures import Future, ThreadPoolExecutor
from dataclasses import dataclass
from typing import Any, TextIO

import numpy as np
import numpy.typing as npt

from ..reading import variables
from ..reading.binary import LONG
from .inspecting import Extent
from .joining import difference
from ..reading.opening import open_file, with_index
from ..reading.structure import sort_of
from ..version import VERSION
from ..writing import replacing

Array = npt.NDArray[Any]
#: Is told how many bytes more have been written.
Progress = Callable[[int], None]
#: Writes values of a variable from a pixel on.
Put = Callable[[str, int, Array], None]

#: A chunk has at most so many bytes.
CHUNK = 1 << 20
#: The most channels of a chunk. One channel of many pixels and one spectrum then take about as long to read.
CHANNELS = 512
#: What is read together but for spectra, bytes.
BLOCK = 24 << 20
#: The most pixels that are read together.
PIXELS = 1 << 16
#: Rows of CSV that are made together, values.
CELLS = 1 << 20

#: Of compression by zlib or zstd, from 0 to 9: higher ones take longer and make spectra hardly smaller.
LEVELS = {".nc": 1, ".zarr": 5, ".csv": 0}
#: What a file tells of when and where its pixels are, by the names of `inspecting.facts`.
COVERAGE = {"first_time": "time_coverage_start", "last_time": "time_coverage_end", "south": "geospatial_lat_min",
            "north": "geospatial_lat_max", "west": "geospatial_lon_min", "east": "geospatial_lon_max"}


@dataclass(frozen=True)
class Item:
    """One variable as it is written.

    Attributes
    ----------
    fill : int, float or None
        What a missing value is; None of what does not depend on pixels.
    values : numpy.ndarray or None
        Of one without the dimension pixel.
    chunks : tuple of int
        Sizes, (dimension); the first one divides `Source.block`.
    """

    name: str
    dimensions: tuple[str, ...]
    shape: tuple[int, ...]
    dtype: np.dtype[Any]
    fill: int | float | None
    attributes: dict[str, Any]
    values: Array | None
    chunks: tuple[int, ...]

    @property
    def fill_attribute(self) -> int | float | None:
        """The attribute _FillValue: coordinates have none."""
        return None if self.name in variables.COORDINATES else self.fill

    @property
    def spectrum(self) -> bool:
        """Whether it has a value for each channel of a pixel."""
        return self.values is None and "channel" in self.dimensions


#: A variable, and the pixels from one to before another.
Piece = tuple[Item, int, int]


def _power_of_two(number: float, most: int = PIXELS) -> int:
    """The largest one that is not above the number, at least 1."""
    return 1 << int(np.log2(min(max(1.0, number), most)))


def _digest(path: str) -> str:
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def origin(paths: Sequence[str], out: str, digests: Iterable[str]) -> dict[str, str]:
    """Attributes that tell from what a file was made, and by what."""
    now = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%SZ")
    inputs = "\n".join(f"{digest}  {path}" for digest, path in zip(digests, paths))
    found = {"history": f"{now} vexfile {VERSION}: convert {' '.join([*paths, out])}", "date_created": now,
             "vexfile_version": VERSION, "input_sha256": inputs}
    return {name: text.encode("utf-8", "surrogateescape").decode("utf-8", "replace") for name, text in found.items()}


class Source:
    """Files of equal layout, one behind the other.

    Attributes
    ----------
    items : list of Item
    attributes : dict
        Those of the whole that all the files have.
    pixels, block : int
        How many there are, and how many are read together.
    """

    def __init__(self, paths: Sequence[str], whole: bool, out: str) -> None:
        from ..reading.engine import attributes, dataset
        self.paths, self.out = paths, out
        files = [open_file(path, whole) for path in paths]
        self.files = [file for file in files if file.pixels] or files[:1]
        for file in files:
            if found := difference(self.files[0], file):
                raise ValueError(f"{file.path}: {found}, unlike {self.files[0].path}")
        self.first = np.cumsum([0] + [file.pixels for file in self.files])
        self.pixels = int(self.first[-1])
        self.found = [variables.variables(file) for file in self.files]
        said = [attributes(file) for file in self.files]
        self.attributes = {name: value for name, value in said[0].items()
                           if all(one.get(name) == value for one in said)}
        data = [dataset(file) for file in self.files]
        self.block = _power_of_two(BLOCK / self._row())
        there = [name for name, one in data[0].variables.items()
                 if "channel" not in one.dims or data[0].sizes["channel"]]
        self.items = [self._item(name, data) for name in there]

    def _row(self) -> int:
        """Bytes that the reader keeps of each record: of long ones all but the spectrum."""
        sizes = [(int(np.prod(one.shape[1:])) * one.raw.itemsize, one.spectrum) for one in self.found[0].values()]
        whole = sum(size for size, _ in sizes)
        return whole if whole <= LONG else sum(size for size, spectrum in sizes if not spectrum)

    def _item(self, name: str, data: Sequence[Any]) -> Item:
        largest: Any = max((one[name] for one in data), key=lambda one: int(one.sizes[one.dims[-1]]))
        encoding, dimensions = largest.encoding, largest.dims
        said = dict(largest.attrs)
        if "pixel" not in dimensions:
            return Item(name, dimensions, largest.shape, largest.dtype, None, said, largest.values, largest.shape)
        shape = (self.pixels, *largest.shape[1:])
        if name == "time":
            said |= variables.TIME_UNITS
        elif name not in variables.COORDINATES:
            said["coordinates"] = encoding["coordinates"]
        dtype, fill = np.dtype(encoding["dtype"]), encoding["_FillValue"]
        fill = np.nan if fill is None else fill
        return Item(name, dimensions, shape, dtype, fill, said, None, self._chunks(shape, dtype))

    def _chunks(self, shape: tuple[int, ...], dtype: np.dtype[Any]) -> tuple[int, ...]:
        """Whole rows, but of a spectrum some channels: as many in each chunk, about."""
        rest = [size if size <= CHANNELS else -(-size // -(-size // CHANNELS)) for size in shape[1:]]
        return (_power_of_two(CHUNK / max(1, int(np.prod(rest)) * dtype.itemsize), self.block), *rest)

    def read(self, item: Item, begin: int, end: int) -> Array:
        """Values of the pixels from `begin` to before `end`, missing ones as `Item.fill`."""
        parts = []
        for number, first in enumerate(self.first[:-1].tolist()):
            low, high = max(begin, first), min(end, int(self.first[number + 1]))
            if low < high:
                parts.append(self._of_file(number, item, low - first, high - first))
        if len(parts) == 1 and parts[0].shape[1:] == item.shape[1:]:
            return parts[0]
        values = np.full((end - begin, *item.shape[1:]), item.fill, item.dtype)
        place = 0
        for part in parts:
            values[(slice(place, place + len(part)), *map(slice, part.shape[1:]))] = part
            place += len(part)
        return values

    def _of_file(self, number: int, item: Item, begin: int, end: int) -> Array:
        file = self.files[number]
        if item.name == "time":
            return variables.read_milliseconds(file, begin, end)
        variable = self.found[number][item.name]
        if variable.spectrum:
            return file.read_spectrum(begin, end, slice(None), True)
        return variables.fill(variable, variables.stored(file, variable, begin, end))

    def _pieces(self) -> Iterator[Piece]:
        """All that is to be read, whole chunks at a time."""
        items = [item for item in self.items if item.values is None]
        for begin in range(0, self.pixels, self.block):
            end = min(self.pixels, begin + self.block)
            for item in items:
                step = item.chunks[0] if item.spectrum else self.block
                yield from ((item, low, min(end, low + step)) for low in range(begin, end, step))

    def _values(self) -> Iterator[tuple[Piece, Array]]:
        """Pieces with their values; while one is written the next one is read."""
        before: tuple[Piece, Future[Array]] | None = None
        with ThreadPoolExecutor(1) as pool:
            for piece in self._pieces():
                following = piece, pool.submit(self.read, *piece)
                if before:
                    yield before[0], before[1].result()
                before = following
            if before:
                yield before[0], before[1].result()

    def copy(self, put: Put, progress: Progress) -> dict[str, Any]:
        """Reads all and puts it, whole chunks at a time. Returns attributes that tell what was read."""
        extent, pool = Extent(), ThreadPoolExecutor(1)
        digests = pool.map(_digest, self.paths)
        pool.shutdown(wait=False)
        for (item, begin, _), values in self._values():
            if item.name in variables.COORDINATES:
                extent.add(item.name, variables.EPOCH + values.astype("m8[ms]") if item.name == "time" else values)
            put(item.name, begin, values)
            progress(values.nbytes)
        coverage = {COVERAGE[name]: value for name, value in extent.facts().items() if value is not None}
        return coverage | origin(self.paths, self.out, digests)


@contextlib.contextmanager
def _bar(total: int, shown: bool) -> Iterator[Progress]:
    """A progress bar."""
    if not shown:
        yield lambda more: None
        return
    from tqdm import tqdm
    with tqdm(total=total, unit="B", unit_scale=True, leave=False) as bar:
        def advance(more: int) -> None:
            bar.update(more)
        yield advance


# --- Forms ----------------------------------------------------------------------------------------------------------


# Radiances are decimal numbers of few digits. Their bytes repeat as they are, but not each byte by itself: spectra are
# smaller without shuffling (53 % in place of 70 %), all else is smaller with it.


def _to_netcdf(source: Source, part: str, level: int, progress: Progress) -> None:
    import netCDF4
    with netCDF4.Dataset(part, "w", format="NETCDF4") as file:
        file.set_fill_off()
        file.setncatts(source.attributes)
        file.createDimension("pixel", source.pixels)
        made = {}
        for item in source.items:
            for dimension, size in zip(item.dimensions, item.shape):
                if dimension not in file.dimensions:
                    file.createDimension(dimension, size)
            chunks = [min(chunk, size) for chunk, size in zip(item.chunks, item.shape)] if 0 not in item.shape else None
            made[item.name] = file.createVariable(item.name, item.dtype, item.dimensions, fill_value=item.fill_attribute,
                                                  zlib=level > 0 and bool(chunks), complevel=level,
                                                  shuffle=not item.spectrum, chunksizes=chunks)
            made[item.name].setncatts(item.attributes)
            made[item.name].set_auto_maskandscale(False)
            if chunks:  # each is put as a whole, and need not be kept
                made[item.name].set_var_chunk_cache(int(np.prod(chunks)) * item.dtype.itemsize, preemption=1.0)
            if item.values is not None:
                made[item.name][:] = item.values

        def put(name: str, begin: int, values: Array) -> None:
            made[name][begin:begin + len(values)] = values

        file.setncatts(source.copy(put, progress))


def _to_zarr(source: Source, part: str, level: int, progress: Progress) -> None:
    import zarr
    plain, shuffled = (zarr.Zstd(level), zarr.Blosc("zstd", level, zarr.Blosc.SHUFFLE)) if level else (None, None)
    root = zarr.open_group(zarr.DirectoryStore(part), "w")
    root.attrs.put({name: _plain(value) for name, value in source.attributes.items()})
    made = {}
    for item in source.items:
        chunks = tuple(max(1, min(chunk, size)) for chunk, size in zip(item.chunks, item.shape))
        made[item.name] = root.create_dataset(item.name, shape=item.shape, chunks=chunks, dtype=item.dtype,
                                              compressor=plain if item.spectrum else shuffled,
                                              fill_value=item.fill_attribute)
        made[item.name].attrs.put({**{name: _plain(value) for name, value in item.attributes.items()},
                                   "_ARRAY_DIMENSIONS": list(item.dimensions)})
        if item.values is not None:
            made[item.name][...] = item.values

    def put(name: str, begin: int, values: Array) -> None:
        made[name][begin:begin + len(values)] = values

    root.attrs.update(source.copy(put, progress))
    zarr.consolidate_metadata(root.store)


def _plain(value: Any) -> Any:
    """What JSON has for a value of numpy."""
    return value.tolist() if isinstance(value, (np.ndarray, np.generic)) else value


def _to_csv(source: Source, part: str, level: int, progress: Progress) -> None:
    items = [item for item in source.items if item.values is None]
    items.sort(key=lambda item: item.name not in variables.COORDINATES)
    channels = {item.name: item.values for item in source.items if item.values is not None}
    names = [name for item in items for name in _cell_names(item, channels)]
    step = max(1, CELLS // len(names))
    with open(part, "w", encoding="ascii", newline="\n") as file:
        file.write(",".join(names) + "\n")
        for begin in range(0, source.pixels, step):
            end = min(source.pixels, begin + step)
            values = [source.read(item, begin, end) for item in items]
            _put_rows(file, [_cells(*pair) for pair in zip(items, values)])
            progress(sum(one.nbytes for one in values))


def _put_rows(file: TextIO, cells: Sequence[Array]) -> None:
    for row in np.concatenate(cells, axis=1):
        file.write(",".join(row.tolist()) + "\n")


def _cell_names(item: Item, coordinates: dict[str, Array]) -> list[str]:
    """A variable's columns: with the channel's number, or the places in its other dimensions, from 1."""
    names = [item.name]
    for dimension in item.dimensions[1:]:
        names = [f"{name}_{number}" for name in names for number in coordinates[dimension].tolist()]
    return names


def _cells(item: Item, values: Array) -> npt.NDArray[np.object_]:
    """Texts of values (pixel, column): as few digits as give the value back; nothing where it is missing."""
    values = values.reshape(len(values), -1)
    missing = np.isnan(values) if values.dtype.kind == "f" else values == item.fill
    if item.name == "time":
        time = variables.EPOCH + np.where(missing, 0, values).astype("m8[ms]")
        texts = np.char.add(np.datetime_as_string(time, "ms"), "Z").astype(object)
    else:
        texts = values.astype(str).astype(object)
    texts[missing] = ""
    return texts


FORMS = {".nc": _to_netcdf, ".zarr": _to_zarr, ".csv": _to_csv}


def convert(paths: Sequence[str], out: str, force: bool = False, level: int | None = None, bar: bool = False) -> None:
    """Writes files of vex in another form.

    Parameters
    ----------
    paths
        Binary or text files of equal layout, whose pixels follow one another; or one statistics file.
    out
        The file to write, in the form of its suffix: ``.nc`` (NetCDF-4), ``.zarr`` (a folder) or ``.csv`` (a line for
        each pixel, nothing where a value is missing).
    force
        Replace it if it is there.
    level
        Of compression, 0 (none) to 9: of NetCDF by zlib, of zarr by zstd. None: that of `LEVELS`.
    bar
        Show the progress.

    Raises
    ------
    FormatError
        One of the files is damaged, cut short, or not of vex.
    ValueError
        Layouts differ, the suffix is none of these, or `out` is one of the files.
    """
    suffix = os.path.splitext(out.rstrip(os.sep))[1]
    if suffix not in FORMS:
        raise ValueError(f"{out}: the name of what is written ends in .nc, .zarr or .csv")
    chosen = LEVELS[suffix] if level is None else level
    sorts = [sort_of(path) for path in paths]
    if "statistics" in sorts and len(paths) > 1:
        raise ValueError(f"{paths[sorts.index('statistics')]}: statistics are converted one by one; see merge-stat")
    with replacing(out, force, paths) as part, _told_of(out):
        if "statistics" in sorts:
            _convert_statistics(paths[0], out, suffix, part, chosen)
            return
        with_index(lambda index: _convert(Source(paths, index, out), suffix, part, chosen, bar))


@contextlib.contextmanager
def _told_of(out: str) -> Iterator[None]:
    """Errors of the library of NetCDF as those of a file that cannot be written."""
    try:
        yield
    except RuntimeError as error:
        raise OSError(errno.EIO, f"cannot be written ({error})", out) from error


def _convert(source: Source, suffix: str, part: str, level: int, shown: bool) -> None:
    total = sum(int(np.prod(item.shape)) * item.dtype.itemsize for item in source.items if item.values is None)
    with _bar(total, shown) as progress:
        FORMS[suffix](source, part, level, progress)


def _convert_statistics(path: str, out: str, suffix: str, part: str, level: int) -> None:
    if suffix == ".csv":
        from ..reading.tables import read_table
        read_table(path).to_csv(part, index=False)
        return
    from ..statistics.files import open_statistics
    data = open_statistics(path)
    data.attrs |= origin([path], out, [_digest(path)])
    for name, date in (("start", data.first_date), ("end", data.last_date)):
        if date.replace("-", "").isdigit():
            data.attrs[f"time_coverage_{name}"] = date
    if suffix == ".zarr":
        data.to_zarr(part)
    else:
        data.to_netcdf(part, encoding={name: {"zlib": level > 0, "complevel": level} for name in data.data_vars})
