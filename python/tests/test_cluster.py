"""Pieces as jobs of SLURM and of Snakemake, held against those of this machine; docs/cluster.md, run as it stands."""

from __future__ import annotations

import importlib.util
import os
import pathlib
import re
import shutil
import subprocess
import sys
from collections.abc import Iterator
from typing import Any

import pytest
from batch_runs import Batch, wait_for
from conftest import Archive

pytestmark = pytest.mark.long
HERE = pathlib.Path(__file__).parent
DOCS = HERE.parents[1] / "docs"
DAYS = "--messages 2 --messages-per-file 1 --pixels 20 --days 12 --kinds l1c".split()
OPTIONS = "-c 1-5 -fd 2013-04-20 -ld 2013-05-01"
SLURM = "--engine slurm --cat --retries 0"


@pytest.fixture(scope="module")
def cluster() -> Iterator[None]:
    """A cluster whose arrays have six tasks at most."""
    words = [HERE / "slurm", "sh", "-c", 'echo "$SLURM_CONF"; cat']
    child = subprocess.Popen(words, env=os.environ | {"VEX_SLURM_ARRAY": "6"}, stdin=subprocess.PIPE,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    assert child.stdin and child.stdout and child.stderr
    configuration = child.stdout.readline().strip()
    if not configuration:
        said = child.stderr.read().strip()
        pytest.skip(said) if child.wait() == 2 else pytest.fail(said)
    os.environ["SLURM_CONF"] = configuration
    yield
    del os.environ["SLURM_CONF"]
    child.stdin.close()
    child.wait()


@pytest.fixture
def batch(tmp_path: pathlib.Path, vex: pathlib.Path, archive: Archive,
          monkeypatch: pytest.MonkeyPatch) -> Iterator[Batch]:
    """Twelve days: 2013-04-22 is empty, 2013-04-24 damaged; 2013-04-26 fails as long as there is a file `broken`, all
    others wait for the end of a file `hold`.
    """
    monkeypatch.setenv("PYTHONPATH", str(HERE.parent), prepend=":")
    made = Batch(tmp_path / "a place", vex, archive(*DAYS))
    days = made.folder / "A/L1C/2013/04"
    shutil.rmtree(days / "22")
    os.truncate(next((days / "24").iterdir()), 90_000)
    made.slow("*-maxres*) ;; *2013-04-26*", "[ ! -e broken ] || exit 1;; *) while [ -e hold ]; do sleep 0.1; done")
    yield made
    (made.folder / "hold").unlink(missing_ok=True)  # jobs of a test that failed give way


def snakemake(batch: Batch) -> tuple[int, str]:
    if not shutil.which("snakemake"):
        pytest.skip("there is no snakemake (package snakemake)")
    words = batch.words("--cat --retries 0", OPTIONS)
    place = words.index("--vex")
    plan = subprocess.check_output([*words[:place], "plan", *words[place:]], cwd=batch.folder, text=True).strip()
    rules = subprocess.check_output([*words[:place], "workflow"], text=True).strip()
    done = subprocess.run(["snakemake", "-s", rules, "--config", f"plan={plan}", "--keep-going", "--cores", "2"],
                          cwd=batch.folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return done.returncode, done.stdout


def result(batch: Batch) -> dict[str, Any]:
    """What is left of pieces, without what engines have for themselves."""
    for name in ("slurm", "snakemake"):
        shutil.rmtree(batch.folder / "out" / name, ignore_errors=True)
    return batch.result()


def test_the_same_on_all_engines(batch: Batch, cluster: None) -> None:
    """Files, states and summaries, while a piece fails and when it does no more."""
    engines = {"local": lambda: batch.call("--cat --retries 0", OPTIONS), "snakemake": lambda: snakemake(batch),
               "slurm": lambda: batch.call(f"{SLURM} --wait --max-tasks 3 --pieces-per-task 1", OPTIONS)}
    found = {}
    for engine, call in engines.items():
        shutil.rmtree(batch.folder / "out", ignore_errors=True)
        (batch.folder / "broken").touch()
        status, said = call()
        assert status == 1 and "incomplete  2013-04-26: ended with status 1" in said, said
        failed = result(batch)
        (batch.folder / "broken").unlink()
        status, said = call()
        assert status == 0 and "12: 10 complete, 1 complete, with damaged input, 1 no input" in said, said
        assert said.count("2013-04-26 complete") == 1 and "2013-04-25 complete" not in said, said
        found[engine] = failed, result(batch)
    assert "2013-04-20_2013-05-01.bin" in found["local"][1]
    assert found["slurm"] == found["local"]
    assert found["snakemake"] == found["local"]


def test_jobs_in_the_queue_are_left_alone(batch: Batch, cluster: None) -> None:
    """A second call submits nothing twice, others are refused; what was cancelled is submitted again."""
    def running() -> bool:
        return len(list((batch.folder / "out").glob("*.log"))) == 4

    (batch.folder / "hold").touch()
    status, said = batch.call(f"{SLURM} --sbatch --comment=x", OPTIONS)
    assert status == 0 and "6 tasks, 6 pieces\nsubmitted job" in said, said  # two arrays
    first, second = (line.split()[2][:-1] for line in said.splitlines()[:2])
    assert wait_for(running, 30)
    told = status_of(batch)
    assert re.search(r"12: .*\d queued, \d running\n", told) and "missing" not in told, told
    for own, options, code, says in (
            (SLURM, OPTIONS, 0, "11 of 12 pieces are in the queue\nvex-batch status out"),
            (SLURM, f"{OPTIONS} -bi 1", 2, f"about to be written by job {first} with other options"),
            ("-j 1", OPTIONS, 2, f"out: jobs of SLURM are at work there: {first} {second}"),
            ("--engine slurm --sbatch --job-name=x", OPTIONS, 2, "--job-name=x is not for --sbatch"),
            ("--engine slurm --out other/{date} --sbatch --partition=none", OPTIONS, 2, "invalid partition"),
            ("--engine slurm --sbatch --array=3", OPTIONS, 2, "--array=3 is not for --sbatch")):
        status, said = batch.call(own, options)
        assert status == code and says in said and "submitted" not in said, said
    subprocess.run(["scancel", f"{first}_0"], check=True)
    subprocess.run(["scancel", "--signal=KILL", "--full", f"{first}_1"], check=True)
    assert wait_for(lambda: "2013-04-20: job" in (told := status_of(batch)) and "2013-04-21: job" in told, 30)
    assert f"2013-04-20: job {first}_0: vex-batch: interrupted" in status_of(batch)
    status, said = batch.call(SLURM, OPTIONS)
    assert "of 12 pieces are in the queue" in said and "2 tasks, 2 pieces" in said, said
    (batch.folder / "hold").unlink()
    status, said = batch.call(f"{SLURM} --wait", OPTIONS)
    assert status == 0 and "in the queue" in said and "12: 10 complete" in said, said


def status_of(batch: Batch) -> str:
    return subprocess.run([sys.executable, "-m", "vexbatch", "status", "out"], cwd=batch.folder, text=True,
                          stdout=subprocess.PIPE).stdout


def test_nodes_without_the_archive(batch: Batch, cluster: None, monkeypatch: pytest.MonkeyPatch) -> None:
    """No piece counts as complete because its input is not seen. Where SLURM does not answer, nothing is begun."""
    call = batch.begin(f"{SLURM} --wait --sbatch --begin=now+2", OPTIONS)
    assert wait_for(lambda: (batch.folder / "out/slurm/0001/summary.job").exists(), 30)
    (batch.folder / "A").rename(batch.folder / "B")
    said = call.communicate(timeout=120)[0]
    assert call.returncode == 1 and "2013-04-22 failed:" in said and "sees no A/L1C" in said, said
    monkeypatch.setenv("PATH", "nowhere")
    status, said = batch.call("", OPTIONS)
    assert status == 2 and "it is not known whether the jobs of" in said, said


ROW = 'echo "1|0|RUNNING|None|$PWD/out/slurm/0001/array0.sh"'
ANSWERS = (  # what the programs of SLURM do, the call, its status, what is said
    ({}, SLURM, 2, "scontrol: No such file"), ({}, "-j 1", 0, "complete"),
    ({"scontrol": "exit 0", "sbatch": "echo Hello", "squeue": "exit 0"}, SLURM, 2, "sbatch says: Hello"),
    ({"scontrol": "exit 0", "sbatch": "exit 3", "squeue": "exit 3"}, SLURM, 2, "sbatch says: 3"),
    ({"squeue": ROW}, "-j 1", 2, "are at work there"), ({"squeue": "echo x$PWD/out/slurm/"}, "-j 1", 2, "squeue says: x"),
    ({"squeue": "exit 0"}, "-j 1", 0, "pieces are complete"))


def test_odd_answers(batch: Batch, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """Of SLURM end a call in one line, and leave nothing that stands in the way of the next one."""
    for number, (programs, own, status, says) in enumerate(ANSWERS):
        (tmp_path / str(number)).mkdir()
        for name, does in programs.items():
            (tmp_path / str(number) / name).write_text(f"#!/bin/sh\n{does}\n")
            (tmp_path / str(number) / name).chmod(0o755)
        monkeypatch.setenv("PATH", f"{tmp_path / str(number)}:{'' if status else '/bin'}")
        other = " -tb 1" if own == SLURM else ""
        found, said = batch.call(f"{own} --out out/{{date}}", "-c 1 -fd 2013-04-20 -ld 2013-04-20" + other)
        assert found == status and says in said, said


def test_waiting_asks_for_own_jobs_and_seldom(batch: Batch, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """About once a minute, and when all pieces have ended."""
    (tmp_path / "bin").mkdir()
    row = '[ -e out/2013-04-20.bin.json ] || echo "7|0|RUNNING|None|$PWD/out/slurm/0001/array0.sh"'
    for name, does in {"scontrol": ":", "squeue": f'echo "$*" >>asked; {row}', "sbatch": """echo 7
            case "$*" in *--array*) (sleep 5; SLURM_ARRAY_TASK_ID=0 bash "${@: -1}") >/dev/null 2>&1 & ;; esac"""}.items():
        (tmp_path / "bin" / name).write_text(f"#!/bin/bash\n{does}\n")
        (tmp_path / "bin" / name).chmod(0o755)
    monkeypatch.setenv("PATH", f"{tmp_path}/bin:/bin")
    status, said = batch.call("--engine slurm --wait", "-c 1 -fd 2013-04-20 -ld 2013-04-20")
    assert status == 0 and "[1/1] 2013-04-20 complete" in said, said
    asked = (batch.folder / "asked").read_text().splitlines()
    assert 2 <= len(asked) <= 5 and all(re.search(r" --name=vex-batch-\w+$", line) for line in asked), asked


def test_the_page(cluster: None, build: pathlib.Path, tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    """All commands of docs/cluster.md print what it shows."""
    spec = importlib.util.spec_from_file_location("check_readme", DOCS / "examples/check_readme.py")
    assert spec and spec.loader
    check = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(check)
    (tmp_path / "bin").mkdir()
    program = tmp_path / "bin/vex-batch"
    program.write_text(f'#!/bin/sh\nPYTHONPATH="{HERE.parent}" exec "{sys.executable}" -m vexbatch "$@"\n')
    program.chmod(0o755)
    monkeypatch.setenv("PATH", f"{program.parent}:{build}:{os.environ['PATH']}")
    monkeypatch.chdir(tmp_path)
    assert check.check_page(DOCS / "cluster.md") > 5
