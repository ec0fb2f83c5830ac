"""docs/messages.md: has what vex prints, and the kinds of complaints that vex-batch takes it for."""

from __future__ import annotations

import pathlib
import re
import subprocess
import sys
import types
from collections import Counter

import pytest

from vexbatch.running import outcome

ROOT = pathlib.Path(__file__).parents[2]
sys.path.insert(0, str(ROOT / "tests"))


def load(path: str) -> types.ModuleType:
    """A program as a module."""
    module = types.ModuleType(path.replace("/", "_"))
    module.__file__ = str(ROOT / path)
    sys.modules[module.__name__] = module
    exec(compile((ROOT / path).read_text(), path, "exec"), module.__dict__)
    return module


messages, compare = load("scripts/lib/messages"), load("tests/compare")
ROWS = messages.page_rows(messages.read_page())
SEED, RUNS = 20, 40


def branches(pattern: str) -> list[str]:
    """The alternatives of a regular expression, those within its groups too."""
    if group := re.search(r"\(\?:([^()]*)\)", pattern):
        return [found for one in group[1].split("|")
                for found in branches(pattern[:group.start()] + one + pattern[group.end():])]
    return pattern.split("|")


def printed(text: str) -> bytes:
    """A line that a text may become."""
    return re.sub(r"%\d*[dg]", "7", text.replace("%s", "x")).encode()


def test_kinds_are_those_of_vex_batch() -> None:
    """Each text is of the kind that its row names, or none; all that vex-batch looks for is on the page."""
    for row in ROWS:
        for text in row.texts:
            assert list(outcome.judge([printed(text)]).complaints) == [row.kind] * bool(row.kind), text
    said = [(row.kind, printed(text)) for row in ROWS if row.kind for text in row.texts  # which may share a line
            if not text.startswith("vex: ")]  # but those of standard error
    assert outcome.judge([b"".join(text for _, text in said)]).complaints == Counter(kind for kind, _ in said)
    wanted = [(rule.kind, branch) for rule in outcome.RULES[:-1] for branch in branches(rule.pattern.pattern.decode())]
    wanted += [("", found.pattern.decode()) for found in (outcome.SUCCEEDED, outcome.NO_FILES, outcome.FILES,
                                                           outcome.SELECTED, outcome.IN_BOX)]
    for kind, branch in wanted:
        assert any(re.search(branch.encode(), printed(text)) for row in ROWS if row.kind == kind
                   for text in row.texts), f"no row of the kind '{kind}' has {branch}"
    for branch in branches(outcome.COMPLAINT.pattern.decode()):
        assert any(branch in text for row in ROWS if row.kind for text in row.texts), branch


def test_lines_of_damaged_runs_have_a_row(vex: pathlib.Path, sample: pathlib.Path, tmp_path: pathlib.Path) -> None:
    """Random runs, most of them over damaged archives. Lines that are none of vex are noticed."""
    subprocess.run([sample, tmp_path / "grid", "--kinds", "clp", "--messages", "1"], check=True)
    archives = [compare.Archive(made, str(sample), tmp_path / f"archive{i}", tmp_path / "grid/land_sea_alti_map.dat")
                for i, made in enumerate(compare.SAMPLES)]
    known, lines = messages.logs(), set()
    for run in range(RUNS):
        plan = compare.make_plan(SEED, run, archives)
        folder = tmp_path / f"run{run}"
        compare.write_files(folder / "in", plan.files)
        log = compare.outcome_of(str(vex), plan.options, folder / "out")["stdout"].decode("latin-1")
        log = log.replace("succeeded in s", "succeeded in 0s")  # compare takes the seconds away
        assert known.unknown(log) == [], plan.story()
        lines |= set(log.split("\n"))
    assert all(any(word in line for line in lines) for word in ("Probleme", "ERROR: ", "Warning: ", "succeeded in"))
    assert known.unknown(".Prepare for reading\n-d A\nB/x\nA/x\n..Error: data are not ozo") == [
        ".Prepare for reading", "B/x"]


FAULTS = {  # a text in a file, what takes its place: what is said of it
    ("Report.cpp", 'Line("");', 'Line(b ? "" : "Over");'): "extract/Report.cpp:42: no row has `Over`",
    ("Report.cpp", "** Latitude ", "** latitude "): "nothing prints `** Latitude ",
    ("Report.cpp", 'Line("");', "Line(Words()[0]);"): "cannot be told what is printed by Words ( ) [ 0 ]",
    ("Report.cpp", 'Line("");', "Line(szWord);"): "cannot be told what is printed by szWord",
    ("Report.cpp", 'Line("");', 'Print("%s", "Over");'): "a text among the values",
    ("Report.cpp", 'Line("");', 'Line("");\n  std::puts("Over");'): "puts prints past",
    ("ProductKind.h", '"No twt', 'X "No twt'): "cannot be told",
    ("RunResult.cpp", 'Line("ERROR: W', 'Line("ERROR: w'): "no row has `ERROR: writing failure!`",
    ("Reader.cpp", '"not a reg', '"no reg'): "no row has `vex: %s: no regular file`",
    ("Option.h", "struct SChoice", "#define SAY CReporter::Line\nstruct SChoice"): "no macros"}


@pytest.mark.parametrize("fault", FAULTS)
def test_what_has_no_row_is_told(fault: tuple[str, str, str]) -> None:
    """The check fails when a source changes, and when it cannot follow it."""
    sources, page = messages.read_sources(), messages.read_page()
    assert messages.faults(sources, page) == []
    (name,) = [name for name in sources if name.endswith(f"/{fault[0]}")]
    assert fault[1] in sources[name]
    sources[name] = sources[name].replace(fault[1], fault[2])
    assert any(FAULTS[fault] in said for said in messages.faults(sources, page)), messages.faults(sources, page)
