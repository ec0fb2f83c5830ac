"""Reads, converts and draws the files that vex writes: IASI spectra, retrievals and statistics.

>>> import vexfile
>>> data = vexfile.open("spectra.bin")  # an xarray.Dataset, nothing but its header is read
>>> data.radiance.sel(channel=1021)
>>> table = vexfile.read_table("statistics.txt")  # a pandas.DataFrame

``xarray.open_dataset("spectra.bin", engine="vex")`` is the same as `open`. The command `vexfile` says what is in a file,
verifies, prints, converts, joins and draws it.
"""

from __future__ import annotations

import os
from collections.abc import Sequence
from typing import TYPE_CHECKING, Any

from .errors import FormatError

if TYPE_CHECKING:
    import pandas
    import xarray

__all__ = ["FormatError", "open", "read_table"]


def open(path: str | os.PathLike[str] | Sequence[str | os.PathLike[str]], *, mask: bool = True, index: bool = False,
         **options: Any) -> xarray.Dataset:
    """Opens a file of vex, or several as one.

    Parameters
    ----------
    path
        A binary, text or statistics file; ``~`` is the home folder. Of a sequence the pixels follow one another, through
        dask.
    mask
        Missing values are NaN, integers with missing values are reals. Without it everything is as it stands in the file.
    index
        Look at the markers of all records of a large binary file now, not when they are read.
    **options
        For `xarray.open_dataset`, as ``chunks={}`` for dask, or `xarray.open_mfdataset`. ``mask_and_scale=False`` is
        ``mask=False``, with ``decode_times=False`` times are numbers, ``decode_cf=False`` is both.

    Returns
    -------
    xarray.Dataset
        Dimensions ``pixel``, ``channel``, ``cluster``, ``imager_channel``, ``ozo_layer``, ``clp_layer``, ``twt_level``
        and ``ems_point``, as far as the file has them; of statistics see `vexfile.statistics.files.open_statistics`. Values
        are read when they are asked for.

    Raises
    ------
    FormatError
        The file is damaged, cut short, or not of vex. Of a large file of equal records this may come up only when the
        values are read.
    """
    import xarray

    from .reading.engine import VexBackendEntrypoint
    from .reading.opening import open_file, path_of
    from .reading.text import has_no_line
    how: dict[str, Any] = {"engine": VexBackendEntrypoint, "mask": mask, "index": index, **options}
    if isinstance(path, (str, bytes, os.PathLike)) or hasattr(path, "read"):
        return xarray.open_dataset(path_of(path), **how)
    paths = [path_of(one) for one in path]
    empty = {one for one in paths if has_no_line(one)}  # does not tell the unit of its spectra
    for one in empty:
        open_file(one)
    together: dict[str, Any] = {"combine": "nested", "concat_dim": "pixel", "combine_attrs": "drop_conflicts"}
    return xarray.open_mfdataset([one for one in paths if one not in empty] or paths, **{**together, **how})


def read_table(path: str | os.PathLike[str]) -> pandas.DataFrame:
    """Reads a text or statistics file of vex as a table.

    Parameters
    ----------
    path
        The file.

    Returns
    -------
    pandas.DataFrame
        A row for each line, columns under the file's own names; where these repeat, a number is added. Of lines that
        have more layers or levels than others the columns go on in number. Comments of statistics are in ``attrs``.

    Raises
    ------
    FormatError
        The file is damaged, cut short, or not of vex.
    """
    from .reading.opening import path_of
    from .reading.tables import read_table as read
    return read(path_of(path))
