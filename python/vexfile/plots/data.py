"""What pictures are drawn from: blocks of pixels, their moments, and what titles say of them."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from dataclasses import dataclass

import numpy as np
import xarray as xr
from numpy.typing import NDArray

from .style import Array


def blocks(total: int, width: int, most: int = 1 << 20) -> Iterator[slice]:
    """Slices that cover `total` pixels of `width` values each, with about `most` values at a time."""
    step = max(1, most // max(1, width))
    for begin in range(0, total, step):
        yield slice(begin, min(begin + step, total))


def load(variable: xr.DataArray, pixels: slice | Sequence[int]) -> Array:
    """The values of some pixels, as double-precision numbers."""
    return np.asarray(variable.isel(pixel=pixels).values, np.float64)


def times(dataset: xr.Dataset, pixels: Sequence[int] | None = None) -> NDArray[np.datetime64]:
    """Earliest and latest time of some or of all pixels; empty where there is none."""
    ends = np.array([], "datetime64[ns]")
    if "time" not in dataset.variables:
        return ends
    for part in blocks(dataset.sizes["pixel"], 1) if pixels is None else [pixels]:
        found = np.append(ends, np.asarray(dataset["time"].isel(pixel=part).values, ends.dtype))
        known = found[~np.isnat(found)]
        ends = np.array([known.min(), known.max()]) if known.size else known
    return ends


def chosen(dataset: xr.Dataset, pixels: Sequence[int]) -> list[int]:
    """The pixels that are asked for, counted from 0; an error where one is not there."""
    total = dataset.sizes["pixel"]
    wrong = [pixel for pixel in pixels if not 0 <= pixel < total]
    if wrong:
        raise ValueError(f"no pixel {wrong[0]}: the file has {f'the pixels 0 to {total - 1}' if total else 'none'}")
    if len(pixels) == 0:
        raise ValueError("no pixel is chosen")
    return list(pixels)


def place(latitude: float, longitude: float) -> str:
    """A position in words, to a tenth of a degree."""
    if np.isnan(latitude + longitude):
        return "unknown position"
    north = f"{abs(latitude):.1f}°{'N' if latitude >= 0 else 'S'}"
    return f"{north} {abs(longitude):.1f}°{'E' if longitude >= 0 else 'W'}"


def name_pixels(dataset: xr.Dataset, pixels: Sequence[int]) -> list[str]:
    """What the legend says of each pixel: number and position."""
    named = [f"pixel {pixel}" for pixel in pixels]
    if not {"latitude", "longitude"} <= set(dataset.variables):
        return named
    positions = zip(load(dataset["latitude"], pixels), load(dataset["longitude"], pixels))
    return [f"{name}, {place(*position)}" for name, position in zip(named, positions)]


@dataclass
class Moments:
    """Counts, means and sums of squared deviations of each column of the blocks added so far."""

    count: Array
    mean: Array
    squares: Array

    @classmethod
    def of_none(cls, *shape: int) -> Moments:
        return cls(np.zeros(shape), np.zeros(shape), np.zeros(shape))

    def add(self, block: Array) -> None:
        """Adds values of shape (pixel, ...); NaN is left out."""
        there = np.isfinite(block)
        count = there.sum(0)
        divisor = np.maximum(count, 1)
        mean = np.where(there, block, 0).sum(0) / divisor
        squares = (np.where(there, block - mean, 0) ** 2).sum(0)
        total = np.maximum(self.count + count, 1)
        step = mean - self.mean
        self.squares += squares + step**2 * self.count * count / total
        self.mean += step * count / total
        self.count += count

    def average(self) -> Array:
        return np.where(self.count > 0, self.mean, np.nan)

    def deviation(self) -> Array:
        """Standard deviations, NaN for fewer than two values."""
        return np.where(self.count > 1, np.sqrt(self.squares / np.maximum(self.count - 1, 1)), np.nan)


def thousands(number: int) -> str:
    """Digits in groups of three from 10 000 on."""
    return f"{number:,}".replace(",", "\N{THIN SPACE}") if number >= 10_000 else str(number)


def counted(number: int, what: str) -> str:
    return f"{thousands(number)} {what}{'' if number == 1 else 's'}"


def span(times: NDArray[np.datetime64]) -> str:
    """The days of `times` in words; of moments in six hours of one day the minutes as well. NaT counts for nothing."""
    known = times[~np.isnat(times)]
    if not known.size:
        return ""
    first, last = (moment.astype("datetime64[s]").item() for moment in (known.min(), known.max()))
    days = [f"{moment.day} {moment:%B %Y}" for moment in (first, last)]
    if days[0] != days[1]:
        return f"{days[0]} to {days[1]}"
    if times.dtype == np.dtype("M8[D]") or (last - first).total_seconds() > 6 * 3600:
        return days[0]
    minutes = dict.fromkeys(f"{moment:%H:%M}" for moment in (first, last))
    return f"{days[0]}, " + "\N{EN DASH}".join(minutes) + " UTC"


def heading(dataset: xr.Dataset, *parts: str) -> str:
    """The title of a picture: satellite, dates, counts."""
    satellite = str(dataset.attrs.get("platform") or dataset.attrs.get("satellite") or "")
    satellite = f"satellite {satellite}" if satellite.isdigit() else satellite
    return ", ".join(part for part in (satellite, *parts) if part)


def listed(names: Sequence[str]) -> str:
    return ", ".join(names) if names else "nothing that can be drawn"
