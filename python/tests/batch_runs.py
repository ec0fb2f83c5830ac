"""What the tests of vex-batch share: calls of it, and what they leave."""

from __future__ import annotations

import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from typing import Any

#: What differs between two runs of the same piece.
TIMES = ("seconds", "peak_memory", "attempt", "rate")
SPAN = "-fd 2013-04-20 -ld 2013-04-25"


class Batch:
    """Calls of vex-batch in a folder, where the archive is `A`."""

    def __init__(self, folder: pathlib.Path, vex: pathlib.Path, archive: pathlib.Path) -> None:
        self.folder, self.vex, self.real = folder, vex, vex
        folder.mkdir(exist_ok=True)
        if not (folder / "A").exists():
            subprocess.run(["cp", "-r", archive, folder / "A"], check=True)

    def words(self, own: str, options: str, roots: str = "-d A/L1C -alt A/land_sea_alti_map.dat") -> list[str]:
        """The words of a call; `own` is in front of --."""
        out = [] if "--out" in own else ["--out", "out/{date}.bin"]
        ours = [word.replace("~", " ") for word in own.split()]
        return [sys.executable, "-m", "vexbatch", "--vex", str(self.vex), *out, *ours, "--",
                *roots.split(), *options.split()]

    def call(self, own: str, options: str, **how: Any) -> tuple[int, str]:
        """Status, and what was said."""
        done = subprocess.run(self.words(own, options, **how), cwd=self.folder, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, errors="replace", stdin=subprocess.DEVNULL)
        assert "Traceback" not in done.stdout, done.stdout
        return done.returncode, done.stdout

    def begin(self, own: str, options: str) -> subprocess.Popen[str]:
        """A call that goes on, in a session of its own, and heeds Ctrl-C even where the tests run in the background."""
        return subprocess.Popen(self.words(own, options), cwd=self.folder, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, errors="replace", start_new_session=True,
                                preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))

    def state(self, name: str) -> dict[str, Any]:
        found: dict[str, Any] = json.loads((self.folder / "out" / f"{name}.json").read_text())
        return found

    def slow(self, condition: str, before: str) -> None:
        """Puts a vex in place that does something before, where its words match."""
        wrapper = self.folder / "slow-vex"
        wrapper.write_text(f'#!/bin/sh\ncase "$*" in {condition}) {before};; esac\nexec "{self.real}" "$@"\n')
        wrapper.chmod(0o755)
        self.vex = wrapper

    def result(self) -> dict[str, Any]:
        """All that a call leaves, without what differs between calls; nothing half done is there."""
        found: dict[str, Any] = {}
        for path in sorted((self.folder / "out").rglob("*")):
            assert ".part" not in path.name, path
            if path.suffix == ".json" and path.name != "plan.json":
                made = json.loads(path.read_text())
                for output in made.get("outputs", ()):
                    del output["time"]
                found[path.name] = {name: value for name, value in made.items() if name not in TIMES}
            elif path.is_file() and path.name != "plan.json":
                data = path.read_bytes()
                found[path.name] = re.sub(rb"succeeded in \d+s", b"", data) if path.suffix == ".log" else data
        return found


def children(pid: int) -> Iterator[tuple[int, str]]:
    """All processes below one, with their names."""
    for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            match = re.match(r"(\d+) \((.*)\) \S (\d+)", stat.read_text(errors="replace"))
        except OSError:
            continue
        if match and int(match[3]) == pid:
            yield int(match[1]), match[2]
            yield from children(int(match[1]))


def wait_for(condition: Callable[[], bool], seconds: float = 10) -> bool:
    """Whether something becomes true."""
    until = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > until:
            return False
        time.sleep(0.01)
    return True


def alive(folder: pathlib.Path, vex: pathlib.Path) -> bool:
    """Whether a vex is at work in a folder."""
    for place in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if os.readlink(place / "cwd") == str(folder.resolve()) and os.readlink(place / "exe") == str(vex):
                return True
        except OSError:
            continue
    return False


def kill(pid: int) -> None:
    """SIGKILL, if it is still there."""
    try:
        os.kill(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
