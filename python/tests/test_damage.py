"""Files that were damaged anywhere: refused, or read as the small reader of docs/examples reads them."""

from __future__ import annotations

import re
import sys
from pathlib import Path

import numpy as np
import pytest
from conftest import Runs
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st

import vexfile
from vexfile.commands.inspecting import check
from vexfile.commands.numerals import surely_numbers
from vexfile.reading.structure import structure

sys.path.insert(0, str(Path(__file__).parents[2] / "docs/examples"))
import read_vex  # noqa: E402

RUNS = [("old", "-c 1-40 -t2 trg"), ("recent", "-t2 ozo,twt"), ("change", "-c 5 -avhrr 1 -t2 twt,ems"), ("old", "-c 3-8 -bi 1"),
        ("old", "-c -2-3,5-9 -t2 ozo"), ("recent", "-t2 clp -bi 1")]
#: What is done to a file: where (of all), which bits change, how many bytes go, and which come.
DAMAGE = st.lists(st.tuples(st.floats(0, 1), st.integers(0, 255), st.integers(0, 40), st.binary(max_size=20)), min_size=1,
                  max_size=3)


def damaged(content: bytes, damage: list[tuple[float, int, int, bytes]]) -> bytes:
    for where, bits, gone, come in damage:
        place = int(where * where * len(content))  # more often in front
        middle = bytes([content[place] ^ bits]) if place < len(content) else b""
        content = content[:place] + middle + come + content[place + 1 + gone:]
    return content


@settings(max_examples=300, derandomize=True, suppress_health_check=[HealthCheck.function_scoped_fixture])
@given(run=st.sampled_from(RUNS), form=st.sampled_from(["bin", "bin", "bin", "txt"]), damage=DAMAGE)
def test_damage_anywhere(runs: Runs, tmp_path: Path, run: tuple[str, str], form: str, damage: list) -> None:
    """Nothing but FormatError comes up, and what is read is what another reader reads."""
    path = tmp_path / "damaged"
    path.write_bytes(damaged(runs.run(*run, form).read_bytes(), damage))
    try:
        with vexfile.open(path, mask=False) as data:
            data.load()
    except vexfile.FormatError as error:
        assert 0 <= error.offset <= path.stat().st_size
        with pytest.raises(vexfile.FormatError):
            check(str(path))
        return
    assert structure(str(path)).records == data.sizes["pixel"]
    if form == "txt" or "-2" in run[1]:
        return
    header, parts = read_vex.read(str(path))
    places = np.concatenate([part["Common"]["latitude"] if "Common" in part.dtype.names else np.full(part.size, -777)
                             for part in parts] or [np.empty(0)])
    assert data.sizes["pixel"] == places.size and np.array_equal(data.latitude, places, equal_nan=True)
    assert np.array_equal(data.get("channel", np.empty(0)), header["channels"])


#: What stands in columns: what vex prints, and any mixture of its characters.
PRINTED = st.one_of(st.integers(-777, 99999).map(str), st.floats(width=32, allow_nan=False, allow_infinity=False).map("{:.6g}".format))
ANY = st.text("0123456789+-.e", max_size=12)


@settings(max_examples=1000, derandomize=True)
@given(columns=st.lists(st.one_of(PRINTED, ANY), min_size=4, max_size=4), usual=st.lists(PRINTED, min_size=4, max_size=4))
def test_numerals(columns: list[str], usual: list[str]) -> None:
    """What is taken for numbers without a look at each of them are numbers; all that vex prints is taken."""
    def taken(line: list[str], whole: list[int]) -> bool:
        return surely_numbers("\t".join([*usual, *line, *usual]).encode() + b"\n", 12, np.array(whole, int))

    assert taken(usual, [])
    assert taken(usual, [4]) <= (re.fullmatch(r"-?\d+", usual[0]) is not None)
    if taken(columns, [5]):
        assert not columns[1] or abs(int(columns[1])) < 2**31
        for column in columns:
            assert not column or np.isfinite(float(column))
