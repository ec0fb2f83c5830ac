"""vex-batch: what is a piece, what came of it, and what is done again."""

from __future__ import annotations

import errno
import hashlib
import importlib.util
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time
from collections.abc import Callable

import pytest
from batch_runs import SPAN, Batch, alive, wait_for
from conftest import Archive

from vexbatch.planning import plan
from vexbatch.running import outcome, output, state
from vexbatch.errors import UsageError
from vexbatch.planning.listing import Archive as Listing
from vexbatch.running.process import run
from vexbatch.planning.settings import read_settings

README = pathlib.Path(__file__).parents[2] / "README.md"
DAYS = ("--messages 2 --messages-per-file 1 --pixels 20 --days 5 --kinds l1c,clp".split())
DAY = "A/L1C/2013/04"
Damage = Callable[[pathlib.Path], object]


@pytest.fixture
def batch(tmp_path: pathlib.Path, vex: pathlib.Path, archive: Archive) -> Batch:
    """An archive of five days, of which 2013-04-22 is empty; the sixth day of SPAN is not there."""
    made = Batch(tmp_path / "a place", vex, archive(*DAYS))
    shutil.rmtree(made.folder / DAY / "22")
    return made


def l1c(folder: pathlib.Path, day: int) -> list[pathlib.Path]:
    return sorted((folder / DAY / str(day)).iterdir())


def test_outcomes_are_those_of_vex_status(tmp_path: pathlib.Path, build: pathlib.Path,
                                          monkeypatch: pytest.MonkeyPatch) -> None:
    """On each sort of run that vex-status is tested with, both say the same."""
    spec = importlib.util.spec_from_file_location("check_readme", README.parent / "docs/examples/check_readme.py")
    assert spec and spec.loader
    check = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(check)
    for name, value in (("PATH", f"{build}:{os.environ['PATH']}"), ("LOG", tmp_path / "log")):
        monkeypatch.setenv(name, str(value))
    monkeypatch.chdir(tmp_path)
    check.run("vex-sample whole --messages 2 --messages-per-file 1 --pixels 20 --kinds l1c,clp")
    seen = set()
    for damage, command, *_ in check.RUNS:
        check.run("rm -rf archive x; cp -r whole archive")
        check.run(f"L1C=(archive/L1C/*/*/*/*); CLP=(archive/L2/*/*/*/clp/*); {damage}")
        said = check.run(f"{command} >$LOG 2>$LOG.err; vex-status $LOG $LOG.err; echo returns $?")
        monkeypatch.chdir(tmp_path / "x" if command.startswith("cd x") else tmp_path)
        with open(tmp_path / "log", "rb") as log:
            found = outcome.judge(log, (tmp_path / "log.err").read_bytes())
        monkeypatch.chdir(tmp_path)
        code = ["complete", "failed", "nothing", "damaged"].index(found.outcome)
        assert said.endswith(f"returns {code}\n"), f"{damage} {command}\n{found}\n{said}"
        assert bool(found.complaints) == (code == 3) or code == 1
        seen.add(code)
    assert seen == {0, 1, 2, 3}


LISTED = ("", "-ef l1_bufr -mf 073,M03", "-mf Z_|", "-ef bin|1_bufr -d2 A/L2/ -t2 clp",
          "-t2 clp,trg -myd2 A/L2indep -ef2 X|ufr", "-ef |none -mf ,none", "-ef M03|ufr -mf M03,ufr",
          "-d2 A/L2 -myd2 A/L2indep -t2 clp -mf2 193", "-fd 2013-04-21 -ld 2013-04-21", "-fd 2012-12-31 -ld 2014-01-01")


def test_input_files_are_those_that_vex_reads(tmp_path: pathlib.Path, vex: pathlib.Path, archive: Archive,
                                              monkeypatch: pytest.MonkeyPatch) -> None:
    """Whatever is in the folders, and by whatever options."""
    shutil.copytree(archive(*DAYS, "--indep"), tmp_path / "A")
    monkeypatch.chdir(tmp_path)
    day = l1c(tmp_path, 20)[0]
    for name in ("a.bin", "bin", ".bin", "b.bin.old", "M03 with blanks.bin", "\udce9.bin"):
        shutil.copy(day, day.parent / name)
    for folder in ("2013/4/20", "2013/04/2", "2013/04/99", "201/04/20", "2013x/04/20", "2012/12/31"):
        shutil.copytree(day.parent, tmp_path / "A/L1C" / folder)
    for options in LISTED:
        words = [*"-d A/L1C -c 1 -alt A/land_sea_alti_map.dat".split(), *SPAN.split(), *options.split()]
        settings, _ = read_settings(str(vex), words)
        log = subprocess.run([vex, *words, "-out", "out"], stdout=subprocess.PIPE).stdout
        opened = re.findall(rb"A/L.*(?:bufr|bin|old)$", log.partition(b"Prepare")[2], re.M)
        listed = [file.path for file in Listing(settings).inputs(settings.first, settings.last).files]
        assert sorted(map(os.fsencode, listed)) == sorted(opened), options
        assert listed or "Z_|" in options
    (tmp_path / "A/L1C/2013/06").symlink_to("06")
    (tmp_path / "A/L1C/2013/07").touch()
    archive_of_all = Listing(settings)
    for _ in range(2):  # what cannot be read is said each time
        assert archive_of_all.inputs("2013-05-01", "2013-07-31").unreadable == ["A/L1C/2013/06"]


SPANS = {("day", "2013-02-27", "2013-03-01"): ["2013-02-27", "2013-02-28", "2013-03-01"],
         ("2days", "2013-02-27", "2013-03-01"): ["2013-02-27 to 2013-02-28", "2013-03-01"],
         ("month", "9999-12-01", "9999-12-31"): ["9999-12-01 to 9999-12-31"],
         ("month", "2012-01-30", "2012-03-01"): ["2012-01-30 to 2012-01-31", "2012-02-01 to 2012-02-29", "2012-03-01"]}
WRONG = {  # options in front of and behind --: what is said
    ("", "-nonsense 3 -tp noon"): "vex says: Unknown parameter:nonsense; Invalid parameter:tp with value:noon",
    ("", "-sk"): "vex says: Missing value for parameter:sk", ("", "-h 1"): "vex -h",
    ("", "-out x"): "--out names", ("", "-cfg none.cfg"): "unable to open configuration file (none.cfg)",
    ("", "-cfg out.cfg"): "the configuration file names an output",
    ("", "-ld 2013-04-19"): "last date must be after first", ("", "-ld 2013-04-31"): "no such day",
    ("", "-box 0-1,0-1,a -box 2-3,0-1,a"): "ERROR: ouverture fichier OUT.a.txt",
    ("", "-of txtstat -boxstat 90000-90000"): "would need more memory",
    ("--out A/L1C/2013/04/20/{date}", ""): "lies in the archive",
    ("--by week", ""): "--by week", ("-j 0", ""): "at least 1", ("--merge", ""): "--cat joins records",
    ("--by 2days --out out/{year}", ""): "would be written by", ("--out out/{hour}", ""): "the fields are",
    ("--out out/{first[0]}", ""): "the fields are", ("--cat --merge-out ./out/2013-04-20.bin", ""): "would be written by",
    ("--merge", "-of txtstat -maxres 9"): "not for runs with -maxres", ("--out plan.json/{date}", ""): "plan.json: ",
    ("--out /dev/full", "-ld 2013-04-20"): "is not a file", ("--vex none", ""): "no such program",
    ("", "-t2 trg,clp"): "-t2 clp,trg is given without -d2 or -myd2",
    ("--halt 2 --engine slurm", ""): "--halt is for pieces on this machine"}


def test_what_is_wrong_is_said_once(batch: Batch, vex: pathlib.Path) -> None:
    """In one line, before anything begins; --dry-run writes nothing either."""
    (batch.folder / "out.cfg").write_text("out = precious")
    (batch.folder / "precious").write_text("precious")
    (batch.folder / "plan.json").write_text("{}")
    before = sorted(batch.folder.iterdir())
    for (own, options), words in WRONG.items():
        status, said = batch.call(own, f"-c 1 {SPAN} {options}")
        assert (status, said.count("\n")) == (2, 1) and words in said, (own, options, said)
    status, said = batch.call("--dry-run", f"-c 1 {SPAN}")
    assert status == 0 and "6 of 6 pieces to do" in said and "2013-04-22  0 files, 0 B" in said
    assert sorted(batch.folder.iterdir()) == before and (batch.folder / "precious").read_text() == "precious"
    assert "-c or -avhrr is given without -d: " in batch.call("", f"-c 1 -t2 clp {SPAN}", roots="-d2 A/L2")[1]
    assert _status(batch, "x")[0] == 2 and "statsu: unknown command, known are status, " in _vexbatch(batch, "statsu", "out")[1]
    for words in ([], ["-d", "A\nB"]):
        with pytest.raises(UsageError):
            read_settings(str(vex), words)
    with pytest.raises(UsageError):
        plan.read_plan(str(batch.folder / "plan.json"))
    for (by, first, last), names in SPANS.items():
        found = list(plan.spans(plan.Date.fromisoformat(first), plan.Date.fromisoformat(last), by))
        assert [plan.Piece(0, str(one), str(end), "").name for one, end in found] == names


AGAIN: dict[str, tuple[Damage, str, str]] = {  # what happens, options besides, what is said of which day
    "nothing": (lambda folder: None, "", ""),
    "options": (lambda folder: None, "-tb 1", r"20 again: other options: -tb 1 \(was not given\)"),
    "came": (lambda folder: shutil.copy(l1c(folder, 20)[0], folder / DAY / "20/x.bin"), "", "20 again: .*1 came"),
    "first": (lambda folder: shutil.copytree(folder / DAY / "20", folder / DAY / "22"), "", "22 again: .*2 came"),
    "went": (lambda folder: l1c(folder, 21)[0].unlink(), "", "warning: 2013-04-21: its output is kept: .* 1 of 2 f"),
    "cut input": (lambda folder: os.truncate(l1c(folder, 21)[0], 9), "", "21: its output is kept: .* 2 of 2 files"),
    "given up": (lambda folder: l1c(folder, 21)[0].unlink(), "--accept-missing", "21 again: input files: 1 went"),
    "no grid": (lambda folder: (folder / "A/land_sea_alti_map.dat").unlink(), "", "24: its output .* 0 of 1 files of grid"),
    "other content": (lambda folder: rewrite(l1c(folder, 23)[0]), "", "23 again: input files: 1 changed"),
    "uncounted": (lambda folder: uncount(folder / "out/2013-04-23.bin.json"), "", "23 again: its run has read no L1C"),
    "changed": (lambda folder: l1c(folder, 23)[1].touch(), "", "23 again: input files: 1 changed"),
    "output": (lambda folder: (folder / "out/2013-04-23.bin").unlink(), "", "23 again: out/2013-04-23.bin is gone"),
    "cut": (lambda folder: os.truncate(folder / "out/2013-04-24.bin", 9), "", "24 again: .* has 9 bytes in place of"),
    "touched": (lambda folder: (folder / "out/2013-04-24.bin").touch(), "", "24 again: out/2013-04-24.bin was changed"),
    "state": (lambda folder: (folder / "out/2013-04-24.bin.json").write_text("{"), "", r"\[1/1\] 2013-04-24 complete"),
    "all gone": (lambda folder: shutil.rmtree(folder / DAY / "21"), "", "21: its output is kept: .* 0 of 2 files of L1C")}


def rewrite(path: pathlib.Path) -> None:
    """Other bytes, of the same number and time."""
    before, data = path.stat(), bytearray(path.read_bytes())
    data[len(data) // 2] ^= 1
    path.write_bytes(data)
    os.utime(path, ns=(before.st_atime_ns, before.st_mtime_ns))


def uncount(path: pathlib.Path) -> None:
    """A state that contradicts itself: input that no run has counted."""
    made = json.loads(path.read_text())
    path.write_text(json.dumps(made | {"counts": made["counts"] | {"files": {}}}))


@pytest.mark.parametrize("what", AGAIN)
def test_what_changed_is_done_again(batch: Batch, what: str) -> None:
    """With its reason, and the rest is not touched."""
    happens, options, says = AGAIN[what]
    call = f"-c 1-5 {SPAN}"
    assert batch.call("", call)[0] == 0
    before = batch.result()
    kept = {path: path.stat().st_mtime_ns for path in (batch.folder / "out").glob("*.bin*")}
    happens(batch.folder)
    own, options = (options, "") if options.startswith("--") else ("", options)
    status, said = batch.call(own, f"{call} {options}")
    assert status == 0 and re.search(says, said), said
    redone = {path.name[:10] for path, time in kept.items() if not path.exists() or path.stat().st_mtime_ns != time}
    assert redone == ({"2013-04-2" + str(day) for day in range(6)} if options else set(re.findall(
        r"(2013-04-\d\d)(?: again| complete)", said))), said
    if what in ("nothing", "output", "cut", "touched", "state", "changed", "went", "cut input", "no grid", "uncounted", "all gone"):
        after = batch.result()
        assert {name: after[name] for name in before if name.endswith(".bin")} == {
            name: before[name] for name in before if name.endswith(".bin")}
    assert "pieces are complete" in batch.call("", f"{call} {options}")[1]


ROOTS = [b"-d A/L1C", b"-d2 A/L2"]
L1C_FILE, TRG_FILE = b"A/L1C/2013/04/20/one.bin", b"A/L2/2013/04/20/trg/two.bin"
DAMAGE, END = b"Probleme interpretation BUFR dans spectres", b"Extraction succeeded in 0s"
OTHER = b"Satellite id different between products"
LOGS = [  # lines, standard error: the outcome, what is said first
    ([*ROOTS, L1C_FILE, b".." + DAMAGE + L1C_FILE.replace(b"one", b"next"), END], b"", "damaged", L1C_FILE + b": " + DAMAGE),
    ([*ROOTS, L1C_FILE, b"day2." + TRG_FILE, DAMAGE + L1C_FILE, END], b"", "damaged",
     L1C_FILE + b" or " + TRG_FILE + b": " + DAMAGE),
    ([b"-d ./A/L1C", b"-d2 ../x/A/L1C", b"." + b"../x/" + L1C_FILE, END], b"", "complete", b""),
    ([b"-d 1C", b"-d2 A/L1C", b"-d /L1C", L1C_FILE, END], b"", "complete", b""),
    ([OTHER, b"0 trg data selected out of 4", b"8 L1C data selected out of 8", END], b"", "nothing", b""),
    ([OTHER, b"4 trg data selected out of 4", b"8 L1C data selected out of 8", END], b"", "damaged", OTHER),
    ([b"-c 8", b"-t2 trg", b"8 L1C data selected out of 8", END], b"", "nothing", b""),
    ([b"-t2 trg", b"8 trg data selected out of 8", END], b"a library: x\n", "complete", b""),
    ([DAMAGE, END], b"vex: A/b: c: Permission denied\nvex: d: Stale file handle\n", "failed",
     b"input could not be read: A/b: c: Permission denied and 1 more")]


@pytest.mark.parametrize("lines, errors, found, said", LOGS)
def test_logs(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch, lines: list[bytes], errors: bytes, found: str,
              said: bytes) -> None:
    """The file that a complaint is of is named, and no other; paths are found behind marks and under any roots."""
    for path in (L1C_FILE, TRG_FILE):
        (tmp_path / "x" / os.fsdecode(path)).parent.mkdir(parents=True)
        (tmp_path / "x" / os.fsdecode(path)).write_bytes(b"7777" + bytes(60))
    monkeypatch.chdir(tmp_path / "x")
    assert outcome.ends(L1C_FILE)
    pathlib.Path(os.fsdecode(L1C_FILE)).open("ab").write(b"\0" * (b"next" in lines[-2]))
    judged = outcome.judge([b"vex", *lines], errors)
    assert (judged.outcome, os.fsencode(judged.said)) == (found, said)
    pathlib.Path("late").write_bytes(b"7777" + bytes(61))
    assert not outcome.ends("late")


def test_what_is_left_over(tmp_path: pathlib.Path) -> None:
    """Files of runs that were killed are known by their names, others are left alone."""
    outs = [str(tmp_path / name) for name in ("a.bin", "x.part.y")]
    ours = {outs[0]: [".json.part", ".part", ".part.cfg", ".part.north.txt"], outs[1]: [".part", ".part.cfg"]}
    for path in [out + name for out, names in ours.items() for name in names] + [outs[0] + ".partner", outs[0] + ".x.part",
                                                                                 str(tmp_path / "x.part")]:
        pathlib.Path(path).touch()
    found = state.leftovers([plan.Piece(0, "", "", out) for out in outs])
    assert {out: sorted(paths) for out, paths in found.items()} == {
        out: [out + name for name in names] for out, names in ours.items()}


def test_numbers_count_with_all_their_digits(batch: Batch, vex: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Also those that are lost when vex tells its options; however they are written."""
    monkeypatch.chdir(batch.folder)
    pathlib.Path("a.cfg").write_text("milo = 0.1234567\nmilo=5")
    found = [read_settings(str(vex), f"-d A -c 1 {SPAN} {words}".split())[0].options
             for words in ("-mila 10.12341", "-mila 10.12344", "-mila 1.50", "-mila 1.5", "-box 0.1234561-1,2-3,a",
                           "-box 0.1234562-1,2-3,a", "-mila 1.5 -milo 5.00 -cfg a.cfg", "-mila 1.5 -milo 5")]
    assert [one == other for one, other in zip(found[::2], found[1::2])] == [False, True, False, True]


STATES = ("5", '{"outcome": "complete", "options": [], "version": "", "inputs": 5, "outputs": [{}]}', "[" * 100_000,
          '{"outcome": ["complete"], "options": {}, "version": 1, "inputs": [], "outputs": {"a": 1}}')


def test_states_of_other_forms(batch: Batch) -> None:
    """A piece with something else in place of its state is done again, and that is said; so are folders that moved."""
    call = "-c 1 -fd 2013-04-20 -ld 2013-04-20"
    assert batch.call("", call)[0] == 0
    made = batch.state("2013-04-20.bin")
    others = [json.dumps(made | {"inputs": [file]}) for file in (made["inputs"][0][:4], made["inputs"][0] + [1])]
    for text in (*STATES, *others):
        for name in ("out/2013-04-20.bin.json", "out/2013-04-20.bin.json.part"):
            (batch.folder / name).write_text(text)
        status, said = _status(batch, "out")
        assert status == 1 and "2013-04-20: out/2013-04-20.bin.json is not the state of a piece" in said, said
        status, said = batch.call("", call)
        assert status == 0 and "2013-04-20 again: out/2013-04-20.bin.json is not the state" in said, said
        batch.result()
    (batch.folder / "out").rename(batch.folder / "other")
    assert _status(batch, "other") == (2, f"vex-batch: other: its plan is of {batch.folder}/out; the same call with --out "
                                          "for this folder looks at it anew\n")


def _status(batch: Batch, folder: str) -> tuple[int, str]:
    return _vexbatch(batch, "status", folder)


def _vexbatch(batch: Batch, *words: object) -> tuple[int, str]:
    done = subprocess.run([sys.executable, "-m", "vexbatch", *map(str, words)], cwd=batch.folder, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    return done.returncode, done.stdout


def test_another_version(batch: Batch, tmp_path: pathlib.Path) -> None:
    assert batch.call("", f"-c 1 {SPAN}")[0] == 0
    batch.vex = tmp_path / "newer"
    batch.vex.write_bytes(b"#!/bin/sh\n" + f'"{shutil.which("sed")}" --version >/dev/null\n'.encode() +
                          f'"{os.environ["VEX_BUILD"]}/vex" "$@" | sed "1s/4.0/4.1/; s/^-of 2$/-of 9/"\n'.encode())
    batch.vex.chmod(0o755)
    status, said = batch.call("", f"-c 1 {SPAN}")
    assert status == 0 and said.count("another version: was vex application version 4.0") == 6
    batch.vex.write_bytes(batch.vex.read_bytes() + b"# built again\n")
    status, said = batch.call("", f"-c 1 {SPAN}")
    assert status == 0 and said.count("again: another build of vex\n") == 6
    status, said = batch.call("", f"-c 1 {SPAN} -of txt")
    assert status == 2 and "-of 9: vexfile cannot check files of this format" in said


def test_exit_status(batch: Batch) -> None:
    """0 complete, 1 failed, 3 nothing selected, 4 damaged or absent input; a piece that fails does not keep the others."""
    for own, options, status, says in (
            ("", "", 0, "6: 4 complete, 2 no input"), ("", "-mila 89", 3, "complete, with an empty selection: 0 L1C"),
            ("", "-fd 2014-01-01 -ld 2014-01-02", 3, "2 no input")):
        found, said = batch.call(own, f"-c 1 {SPAN} {options}")
        assert found == status and re.search(says, said), said
    words = batch.words("--out closed/{date}", f"-c 1 {SPAN}")
    assert subprocess.run(["sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh", *words], cwd=batch.folder).returncode == 0
    status, said = batch.call("--out none/{date}", f"-c 1 {SPAN}", roots="-d A/L1")
    assert status == 3 and "warning: there is no -d A/L1: " in said and "6 no input" in said, said
    said = batch.call("--out A/L1C/x/{date}", f"-c 1 {SPAN}", roots="-d2 A -d A/L1C -alt A/land_sea_alti_map.dat")[1]
    assert "6: 4 complete, 2 no input" in said, said  # neither grid nor output below a root are taken for messages
    pairs = "-c 1 -d2 A/L2 -t2 clp -fd 2013-04-20 -ld 2013-04-21"
    shutil.rmtree(batch.folder / "A/L2/2013/04/21")
    for own, status in (("--by 2days --out pairs/{date}", 0), ("--by 2days --out pairs/{date} --strict", 4)):
        found, said = batch.call(own, pairs)
        assert found == status and "2: 1 complete" not in said and "\nabsent      2013-04-21: clp\n" in said, said
        assert said.endswith("warning: 1 days have no file of a product that was asked for\n"), said
    os.truncate(l1c(batch.folder, 20)[0], 5000)
    for own, status in (("--accept-missing", 0), ("--strict", 4)):
        found, said = batch.call(own, f"-c 1 {SPAN}")
        assert found == status and "damaged     2013-04-20: " in said and "1 no end of a message" in said, said
    (batch.folder / "out/2013-04-21.bin").unlink()
    shutil.rmtree(batch.folder / DAY / "21")
    for day in ("21", "22"):  # of the second one there was nothing
        (batch.folder / DAY / day).symlink_to(day)
    status, said = batch.call("--retries 2", f"-c 1 {SPAN}")
    for day in ("21", "22"):
        assert f"incomplete  2013-04-{day}: input could not be read: {DAY}/{day}: Too many levels of symbolic links\n" in said, said
    (batch.folder / "L2").mkdir()
    (batch.folder / "L2/2013").symlink_to("2013")  # one folder of two products
    told = batch.call("--out loop/{date}", f"-t2 clp,trg {SPAN}", roots="-d2 L2")[1]
    assert "2013-04-20: input could not be read: L2/2013: Too many levels of symbolic links\n" in told, told
    assert status == 1 and batch.state("2013-04-21.bin")["attempt"] == 3 and not (batch.folder / "out/2013-04-21.bin").exists()
    status, told = _status(batch, "out")
    assert status == 1 and told in said


def test_files_of_a_piece(batch: Batch) -> None:
    """Boxes and statistics get their names together; a configuration file's days do not stand in the way."""
    (batch.folder / "a.cfg").write_text("fd = 2013-04-20\nld = 2013-04-21\nc=1-3\nbox=-90-0,-180-180,south")
    status, said = batch.call("", "-cfg a.cfg -box 0-90,-180-180,north")
    assert status == 0, said
    state = batch.state("2013-04-20.bin")
    assert [output["path"][-10:] for output in state["outputs"]] == [".north.txt", ".south.txt"]
    records = {name: sum(box.values()) for name, box in state["counts"]["boxes"].items()}
    assert [output["records"] for output in state["outputs"]] == [records["north"], records["south"]] != [0, 0]
    status, said = batch.call("--by 2days --out st/{first}", f"-c 1-3 {SPAN} -of txtstat -stsext 1 -histpix 0-1,5")
    assert status == 0 and len(list((batch.folder / "st").glob("2013-04-20.*"))) == 20, said


def test_joined_pieces_are_those_of_one_run(batch: Batch, vex: pathlib.Path) -> None:
    """Records to the byte, statistics to 1e-7; only when all are complete, and once."""
    words = f"-c 1-50 {SPAN} -d2 A/L2 -t2 clp"
    for form in ("bin", "txt"):
        status, said = batch.call(f"--cat --out {form}/{{date}} --merge-out {form}/all", f"{words} -of {form}")
        assert status == 0 and f"{form}/all complete" in said, said
        _one_run(batch.folder, vex, f"{words} -of {form}")
        assert (batch.folder / f"{form}/all").read_bytes() == (batch.folder / "one").read_bytes()
    words += " -of txtstat -boxstat 9-18 -histlat -90-90,6"
    for options in ("-sk 1", "-tb 1 -tbref 280"):
        status, said = batch.call("--merge --out st/{date}", f"{words} {options}")
        assert status == 0 and "st/2013-04-20_2013-04-25 complete" in said, said
        _one_run(batch.folder, vex, f"{words} {options}")
        for suffix in ("", ".boxstat", ".HistoLatitude.txt"):
            _alike(batch.folder / f"st/2013-04-20_2013-04-25{suffix}", batch.folder / f"one{suffix}")
    words += " -tb 1 -tbref 280"
    assert "is complete" in batch.call("--merge --out st/{date}", words)[1]
    l1c(batch.folder, 20)[0].touch()
    assert "is complete" in batch.call("--merge --out st/{date}", words)[1]  # of the same bytes
    os.truncate(l1c(batch.folder, 20)[0], 0)
    assert "2013-04-20_2013-04-25 complete" in batch.call("--merge --accept-missing --out st/{date}", words)[1]


def test_index(batch: Batch, vex: pathlib.Path) -> None:
    """Runs over a window read only files that can hold a pixel of it, and write the same bytes; also by -cfg."""
    words = f"-c 1-5 {SPAN} -d2 A/L2 -t2 clp -mila -90 -mala -60 -milo -180 -malo 180"
    assert batch.call("--out plain/{date}", words)[0] in (0, 3)
    for own in ("--out by/{date} --index index", "--out by/{date} --index index --retries 0"):
        status, said = batch.call(own, words)
        assert status in (0, 3), said
    (batch.folder / "window.cfg").write_text("mala = -60\nd = A/L1C\n")
    status, said = batch.call("--out cfg/{date} --index index",
                              f"-c 1-5 {SPAN} -d2 A/L2 -t2 clp -mila -90 -milo -180 -malo 180 -cfg window.cfg")
    assert status in (0, 3) and "0 of them new or changed" in said, said
    status, said = batch.call("--out no/{date} --index window.cfg", words)
    assert status == 2 and said == f"vex-batch: {batch.folder}/window.cfg: File exists\n", said
    plain = sorted(path for path in (batch.folder / "plain").iterdir() if not path.suffix)
    read = [json.loads((batch.folder / "by" / f"{path.name}.json").read_text()) for path in plain]
    assert any(path.stat().st_size > 100 for path in plain) and all(one["inputs"] for one in read)
    for path in plain:
        assert path.read_bytes() == (batch.folder / "by" / path.name).read_bytes()
        assert path.read_bytes() == (batch.folder / "cfg" / path.name).read_bytes()
    assert "vex-batch-tree-" in (batch.folder / "by" / f"{plain[0].name}.log").read_text()


def test_outcomes_with_an_index(batch: Batch) -> None:
    """Those of runs that read all files, also where what lies in a box and what passes filters are in different ones."""
    os.truncate(l1c(batch.folder, 24)[0], 90_000)
    seen = set()
    for number, options in enumerate(("-mala -50", "-box -90--50,-180-180,s", "-mila -50 -box -90--50,-180-180,s",
                                      "-mala -50 -box -50-90,-180-180,n", "-fov 0 -tr 07h00m00s-08h00m00s -maxres 5",
                                      "-sln 1 -box -90--50,-180-180,s")):
        found = []
        for own in (f"--strict --out {number}/{{date}}", f"--strict --out {number}i/{{date}} --index index"):
            status, said = batch.call(own, f"-c 1 {SPAN} {options}")
            paths = sorted((batch.folder / own.split()[2][:-7]).glob("2*.json"))
            states = [json.loads(path.read_text()) for path in paths]
            assert not any("vex-batch-tree-" in state["said"] for state in states), said
            found.append((status, [(state["outcome"], state["complaints"]) for state in states]))
        assert len(found[0][1]) == 6 and found[0] == found[1], options
        seen |= {outcome for outcome, *_ in found[0][1]}
    assert seen >= {"complete", "nothing", "damaged"}


def test_input_out_of_sight(batch: Batch, vex: pathlib.Path) -> None:
    """An archive that is unmounted meanwhile is no gap: nothing is complete for it, joined or taken away, until it is back."""
    batch.slow("*-fd*2013-04-21*2013-04-21*", "[ -e moved ] || mv A/L1C/2013 moved")
    call = "-j 1 --retries 0 --cat", f"-c 1 {SPAN}"
    status, said = batch.call(*call)
    assert status == 1 and "2013-04-21 failed: vex found 0 files where 2 had been listed" in said, said
    for _ in range(2):
        for day in (23, 24):
            assert re.search(rf"incomplete  2013-04-{day}: \S+ sees 0 of 2 files of L1C of 2013-04-{day} \(0 of", said), said
        status, said = batch.call(*call)
        assert status == 1 and "2013-04-20: its output is kept" in said and "6: 1 complete, 3 failed, 2 no" in said, said
    status, said = _vexbatch(batch, "run-piece", "out/plan.json", 3)
    assert status == 1 and "2013-04-23 failed: " in said and "sees 0 of 2 files" in said, said
    assert not (batch.folder / "out/2013-04-20_2013-04-25.bin").exists()
    status, said = batch.call("--halt 2 -j 1", call[1])
    assert status == 1 and "vex-batch: 2 pieces in a row failed in the same way, the last one: " in said, said
    shutil.copytree(batch.folder / "moved", batch.folder / "A/L1C/2013", dirs_exist_ok=True)
    assert batch.call(*call)[0] == 0
    _one_run(batch.folder, vex, f"-c 1 {SPAN}")
    assert (batch.folder / "out/2013-04-20_2013-04-25.bin").read_bytes() == (batch.folder / "one").read_bytes()
    shutil.rmtree(batch.folder / DAY / "24")
    (batch.folder / "out/2013-04-24.bin").unlink()
    assert "6: 3 complete, 1 failed, 2 no input" in batch.call(*call)[1]
    status, said = batch.call(f"--accept-missing {call[0]}", call[1])
    assert status == 0 and "2013-04-24 no input" in said and "absent      2013-04-24: L1C" in said, said


def test_input_that_could_not_be_read(batch: Batch) -> None:
    """By what vex says on standard error the run has failed and is tried again; what libraries say there is kept, too."""
    batch.slow("*-fd*2013-04-20*2013-04-20*", """[ -e once ] || echo "vex: A/x: Input/output error" >once; cat once >&2
         : >once;; *-fd*2013-04-21*2013-04-21*) echo "vex: A/y: not enough memory for a message of 9 pixels" >&2
         echo "vex: A/z: Permission denied" >&2;; *-fd*2013-04-23*2013-04-23*) echo "a library" >&2""")
    status, said = batch.call("", f"-c 1 {SPAN}")
    assert status == 1 and "20 failed: input could not be read: A/x: Input/output error; to be tried again" in said, said
    why = "input could not be read: A/y: not enough memory for a message of 9 pixels and 1 more"
    assert "3 complete, 1 failed, 2 no" in said and f"incomplete  2013-04-21: {why}\n" in said, said
    assert batch.state("2013-04-21.bin")["complaints"] == {"input not read": 1, "not enough memory": 1}
    errors = {path.name[:10]: path.read_text() for path in (batch.folder / "out").glob("*.err")}
    assert list(errors) == ["2013-04-21", "2013-04-23"] or list(errors) == ["2013-04-23", "2013-04-21"]
    assert errors["2013-04-23"] == "a library\n" and not (batch.folder / "out/2013-04-21.bin").exists()
    shutil.rmtree(batch.folder / DAY / "21")
    assert "2013-04-21 no input" in batch.call("--accept-missing", f"-c 1 {SPAN}")[1]
    assert not (batch.folder / "out/2013-04-21.bin.err").exists()


def test_full_memory(batch: Batch) -> None:
    """Where no links can be made in memory that is said, and they are made elsewhere."""
    assert batch.call("--index index --out first/{date}", f"-c 1 {SPAN} -mala -60")[0] in (0, 3)
    words = " ".join(f"'{word}'" for word in batch.words("--index index -j 1", f"-c 1 {SPAN} -mala -60"))
    script = f"mount -t tmpfs -o nr_inodes=1 tmpfs /dev/shm || exit 77; {words} 2>&1; echo status $?; ls /dev/shm"
    done = subprocess.run(["unshare", "-r", "-m", "sh", "-c", script], cwd=batch.folder, capture_output=True, text=True)
    if "status" not in done.stdout:
        pytest.skip("no file system in memory may be mounted here")
    assert "warning: /dev/shm: no room left for links to input files\n" in done.stdout, done.stdout
    assert "status 0\n" in done.stdout or "status 3\n" in done.stdout, done.stdout


def test_pieces_by_number(batch: Batch) -> None:
    """As array jobs do them: from another folder, each once, and what they are joined to behind the last one."""
    assert batch.call("--cat", f"-c 1-5 {SPAN}")[0] == 0
    wanted = batch.result()
    for name in ("2013-04-20.bin", "2013-04-23.bin", "2013-04-20_2013-04-25.bin"):
        (batch.folder / "out" / name).unlink()
    for number, status, says in ((6, 1, "2013-04-20 is not complete"), (0, 0, "2013-04-20 complete: 40 L1C"),
                                 (0, 0, "2013-04-20 is complete"), (2, 0, "2013-04-22 is complete"),
                                 (3, 0, "2013-04-23 complete"), (6, 0, ""), (7, 2, "the plan has no such piece")):
        found, said = _vexbatch(batch, "run-piece", batch.folder / "out/plan.json", number)
        assert found == status and says in said, said
    assert batch.result() == wanted
    shutil.copy(l1c(batch.folder, 21)[0], batch.folder / DAY / "20/x.bin")  # more than the plan has seen
    for words, found in ((("run-piece", 0), "2013-04-20 complete: 60 L1C"), (("todo",), "6\n"),
                         (("status",), "incomplete  joining: the pieces have changed"), (("run-piece", 6), "complete"),
                         (("todo",), "\n"), (("status",), "4 complete, 2 no input")):
        status, said = _vexbatch(batch, words[0], "out" if words[0] == "status" else "out/plan.json", *words[1:])
        assert found in said and status == ("joining" in said), said


def _one_run(folder: pathlib.Path, vex: pathlib.Path, words: str) -> None:
    subprocess.run([vex, *"-d A/L1C -alt A/land_sea_alti_map.dat -out one".split(), *words.split()], cwd=folder,
                   check=True, stdout=subprocess.DEVNULL)


def _alike(made: pathlib.Path, wanted: pathlib.Path) -> None:
    for ours, theirs in zip(made.read_text().splitlines(), wanted.read_text().splitlines(), strict=True):
        assert ours == theirs or not theirs.startswith("# Dates")
        if not theirs.startswith("#") and theirs[0] in "-0123456789":
            assert list(map(float, ours.split())) == pytest.approx(list(map(float, theirs.split())), rel=1e-7)


def test_faults(batch: Batch) -> None:
    """What runs too long, dies, or cannot write fails; the others go on."""
    batch.slow("*-fd*2013-04-20*2013-04-20*", "sleep 60")
    status, said = batch.call("--timeout 4", f"-c 1 {SPAN}")
    assert status == 1 and said.count("2013-04-20 failed: took longer than --timeout") == 2, said
    assert batch.state("2013-04-20.bin")["attempt"] == 2 and "3 complete, 1 failed, 2 no input" in said
    batch.slow("*-fd*2013-04-20*2013-04-20*", "kill -9 $$")
    assert "2013-04-20: killed by signal 9 (SIGKILL)" in batch.call("--retries 0", f"-c 1 {SPAN}")[1]
    batch.slow("*-fd*2013-04-20*2013-04-20*", "echo 'ERROR: Writing failure!'; sleep 60")
    begun = time.monotonic()
    assert "2013-04-20: output could not be written" in batch.call("--retries 0", f"-c 1 {SPAN}")[1]
    assert time.monotonic() - begun < 40
    batch.slow("*-fd*2013-04-20*2013-04-20*", "ulimit -f 1")
    status, said = batch.call("--retries 0", f"-c 1-8461 {SPAN}")
    assert status == 1 and "2013-04-20: output could not be written" in said, said
    batch.vex = batch.real
    assert batch.call("", f"-c 1-8461 {SPAN}")[0] == 0
    batch.result()


DAMAGED = (  # options, what happens to the output before vex ends, what is said; $1 and $2: the bytes of the header and of a record
    ("-c 1-8461", "truncate -s -4 $0", "the file ends"),
    ("-c 1-8461", "truncate -s -$2 $0", "has 39 records, and vex has counted 40 pixels"),
    ("-c 1-8461", "fallocate -p -o 45056 -l 4096 $0", "has a hole at byte 45056, which"),
    ("-c 1-8461", "printf x | dd of=$0 bs=1 seek=$(($1 + 9 * $2 - 2)) conv=notrunc", "the marker"),
    ("-c 1-9", "printf x | dd of=$0 bs=1 seek=$(($1 + 9 * $2 + 1)) conv=notrunc", "the marker"),
    ("-c 1-8461 -of txt", "truncate -s -1 $0", "the end of a line, the file ends"),
    ("-c 1-9 -of txt", "sed -i '$d' $0", "has 39 records, and vex has counted 40 pixels"),
    ("-c 1-8461 -of txt", "sed -i '20{N;s/\\n/ /}' $0", "a line of 84"),
    ("-c 1-8461 -of txt", "fallocate -p -o 45056 -l 4096 $0", "has a hole at byte 45056, which"))


def test_output_that_is_not_whole(batch: Batch) -> None:
    """Whatever is missing of it, no file of the piece gets its name."""
    day = "-fd 2013-04-20 -ld 2013-04-20"
    for options, damage, says in DAMAGED:
        channels = 8461 if "8461" in options else 9
        header = 29 + 4 * channels
        assert batch.call("", f"{options} {day}")[0] == 0
        (made,) = batch.state("2013-04-20.bin")["outputs"]
        (batch.folder / "damage").write_text(damage)
        batch.slow("*-fd*2013-04-20*2013-04-20*", f'"{batch.real}" "$@"; exec sh -c \'eval "$(cat damage)" 2>/dev/null\' '
                   f'out/2013-04-20.bin.part {header} {(made["bytes"] - header) // 40}')
        (batch.folder / "out/2013-04-20.bin.json").unlink()
        status, said = batch.call("--retries 0", f"{options} {day}")
        assert status == 1 and "2013-04-20: its output is not sound: " in said and says in said, said
        assert [path.name for path in sorted((batch.folder / "out").glob("2*"))] == ["2013-04-20.bin.json", "2013-04-20.bin.log"]
        batch.vex = batch.real


def test_holes_that_are_not_told(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Where the file system does not say where they are, there are none; any other error is one."""
    def seek(*_: int) -> int:
        raise OSError(number, "")

    monkeypatch.setattr(os, "lseek", seek)
    path = str(tmp_path / "file")
    pathlib.Path(path).write_bytes(bytes(9))
    for number in (errno.EINVAL, errno.EOPNOTSUPP):
        assert output.hole(path) == 9
    with pytest.raises(OSError):
        number = errno.EIO
        output.hole(path)


def test_digests(batch: Batch) -> None:
    """They are made where they are asked for, or where pieces are joined, and of what is there without a run."""
    day, runs = "-c 1 -fd 2013-04-20 -ld 2013-04-21", 0
    for own, says, digests in (("", "[2/2]", 0), ("", "2 of 2 pieces are complete", 0), ("--digest", "its output has no digest", 2),
                               ("--cat", "2 of 2 pieces are complete", 2)):
        status, said = batch.call(own, day)
        assert status == 0 and says in said, said
        assert runs in (0, runs := sum(path.stat().st_mtime_ns for path in (batch.folder / "out").glob("2013-04-2[01].bin.log")))
        outputs = [output for name in ("2013-04-20", "2013-04-21") for output in batch.state(f"{name}.bin")["outputs"]]
        assert [output.get("sha256") for output in outputs] == [
            hashlib.sha256((batch.folder / output["path"]).read_bytes()).hexdigest() if digests else None for output in outputs]


def test_runs(tmp_path: pathlib.Path) -> None:
    """Why each was ended or died; nothing of it stays open."""
    with open(tmp_path / "log", "a+b", buffering=0) as log:
        before = len(os.listdir("/proc/self/fd"))
        for script, timeout, why, said in (
                ("echo x >&2; sleep 60", .1, "took longer", b"x\n"), ("kill -40 $$", None, "killed by signal 40", b""),
                ("for i in $(seq 9); do printf %040000d $i >&2; done", 9, "", b"1".zfill(40000) + b"2".zfill(40000)),
                ("printf 'ERROR: Wri'; sleep .2; printf ting; sleep .2; echo ' failure!'; sleep 60", 9, "output could", b"")):
            ended = run(["sh", "-c", script], log.fileno(), timeout)
            assert ended.why.startswith(why) and bool(ended.why) == bool(why) and ended.errors.startswith(said), script
            assert len(ended.errors) == (360_000 if "seq" in script else len(said))  # many times what a pipe holds
        assert len(os.listdir("/proc/self/fd")) == before


def test_full_disk(batch: Batch, tmp_path: pathlib.Path) -> None:
    """Stops all with one message, and leaves what a later call goes on from."""
    words = " ".join(f"'{word}'" for word in batch.words("-j 1 --retries 0", f"-c 1-8461 {SPAN}"))
    script = ("mount -t tmpfs -o size=2m tmpfs out || exit 77\n"
              f"{words} 2>&1; echo status $?; find out -name '*.part*'\n"
              f"mount -o remount,size=50m out; {words}; echo status $?")
    (batch.folder / "out").mkdir()
    done = subprocess.run(["unshare", "-r", "-m", "sh", "-c", script], cwd=batch.folder, capture_output=True, text=True)
    if "status" not in done.stdout:
        pytest.skip("no file system in memory may be mounted here")
    first, second = done.stdout.split("status 1\n")
    assert first.count("no room left") == 1 and "[1/6] 2013-04-20 complete" in first and ".part" not in done.stdout
    assert "1 of 6 pieces are complete" in second and second.endswith("status 0\n"), second


def test_two_calls_and_signals(batch: Batch) -> None:
    """The second call on a folder is turned away; the first ends its children when it is told to."""
    for number, status in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
        batch.slow("*-fd*2013-04-23*2013-04-23*", "sleep 60")
        log = batch.folder / "out/2013-04-23.bin.log"
        log.unlink(missing_ok=True)
        first = batch.begin("-j 1", f"-c 1 {SPAN}")
        assert wait_for(log.exists, 60)
        status_now, said = _status(batch, "out")
        assert status_now == 0 and "2 queued, 1 running" in said, said
        found, said = batch.call("-j 2", f"-c 1 {SPAN}")
        assert found == 2 and said == "vex-batch: out: another vex-batch is at work there\n"
        os.killpg(first.pid, number)
        said, _ = first.communicate(timeout=60)
        assert first.returncode == status and said.endswith("interrupted; call again to go on\n"), said
        assert not alive(batch.folder, batch.real)
        batch.result()
    batch.slow("*-maxres*", "touch begun; sleep 60")
    first = batch.begin("-j 2", f"-c 1 {SPAN}")
    assert wait_for((batch.folder / "begun").exists, 60)
    for one in (signal.SIGSTOP, signal.SIGTERM, signal.SIGINT, signal.SIGCONT):  # both come at once
        first.send_signal(one)
    assert first.communicate(timeout=60)[0] == "vex-batch: interrupted; call again to go on\n" and first.returncode == 130
    batch.vex = batch.real
    status, said = batch.call("", f"-c 1 {SPAN}")
    assert status == 0 and "6: 4 complete, 2 no input" in said, said
