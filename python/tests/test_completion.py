"""Completion in bash and zsh: what is offered where."""

from __future__ import annotations

import os
import pathlib
import pty
import shutil
import subprocess
import threading
import time
from collections.abc import Iterator

import pytest

COMPLETION = pathlib.Path(__file__).parents[2] / "completion"
#: What is in the folder that the lines are completed in.
PATHS = {"an archive", "a file.bin", "plan.json"}
#: A line up to the cursor, and what is offered: that of a set, or at least that of a list, "!" before what is not.
CASES: list[tuple[str, set[str] | list[str]]] = [
    ("vex -t", {"-t2", "-tb", "-tbref", "-tr", "-tp"}),
    ("vex ", ["-cfg", "-box", "!a file.bin"]),
    ("vex -c 1-5 -o", {"-out", "-of", "-on"}),
    ("vex -of ", {"bin", "txt", "txtstat"}),
    ("vex -of txt -st ", {"sea", "land", "all"}),
    ("vex -avhrr ", {"0", "1"}),
    ("vex -t2 t", {"trg", "twt"}),
    ("vex -t2 ozo,t", {"ozo,trg", "ozo,twt"}),
    ("vex -t2 ozo,twt,", ["ozo,twt,clp", "!ozo,twt,ozo"]),
    ("vex -mila -50 -c ", set()),
    ("vex -mila -", set()),
    ("vex -out ", PATHS),
    ("vex -alt 'a ", {"a file.bin"}),
    ("vex -d ", {"an archive"}),
    ("vex -d2 an\\ a", {"an archive"}),
    ("vex-sample --gr", {"--grid"}),
    ("vex-sample --grid ", {"on", "off"}),
    ("vex-sample --days 3 ", {"an archive"}),
    ("vex-sample --kinds l1c,c", {"l1c,clp"}),
    ("vex-status ", PATHS),
    ("vexfile ", {"info", "check", "dump", "convert", "cat", "merge-stat", "grid", "plot"}),
    ("vexfile grid plan.json --lakes ", {"land", "sea"}),
    ("vexfile plot ", {"map", "spectrum", "profile", "statistics", "grid"}),
    ("vexfile plot map a\\ file.bin --projection rob", {"robinson"}),
    ("vexfile plot map a\\ file.bin --channel ", set()),
    ("vexfile convert plan.json a", {"a file.bin", "an archive"}),
    ("vexfile convert --compression=", set("0123456789")),
    ("vexfile cat plan.json --", ["--out", "--force", "!--tbref"]),
    ("vex-batch s", {"status"}),
    ("vex-batch --engine ", {"local", "slurm"}),
    ("vex-batch --engine=s", {"slurm"}),
    ("vex-batch --sbatch --time=60 --m", ["--merge", "!-mila"]),
    ("vex-batch status ", {"an archive"}),
    ("vex-batch run-piece ", PATHS),
    ("vex-batch run-piece plan.json 1", set()),
    ("vex-batch plan --out x -- -o", {"-out", "-of", "-on"}),
    ("vex-batch --out x -- -t2 trg,c", {"trg,clp"}),
]


#: What the shells read first. Each completion ends with a line END in the file that OUT names.
INIT = {
    "bash": r"""
for file in "$COMPLETION"/{engine,vex,vex-sample,vex-status,vexfile,vex-batch}.bash; do . "$file"; done
tell() { "_${1//-/_}"; printf '%s\n' "${COMPREPLY[@]}" END >>"$OUT"; }
complete -F tell vex vex-sample vex-status vexfile vex-batch
""",
    "zsh": r"""
fpath=($COMPLETION $fpath)
autoload -Uz compinit && compinit -D -u
compadd() {
  [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]] && { builtin compadd "$@"; return }
  local -a found
  builtin compadd -O found "$@"
  (( $#found )) && print -rl -- "$IPREFIX"$^found >>$OUT
  builtin compadd "$@"
}
tell() { _main_complete; print END >>$OUT; compstate[insert]= compstate[list]= }
zle -C tell complete-word tell
bindkey '^I' tell
"""}
START = {"bash": ["bash", "--norc", "--noprofile", "-i"], "zsh": ["zsh", "-f", "-i"]}


class Shell:
    """An interactive shell at a terminal of its own."""

    def __init__(self, name: str, folder: pathlib.Path) -> None:
        self.out = folder / "offered"
        (folder / "init").write_text(INIT[name])
        (folder / "here/an archive").mkdir(parents=True)
        for path in PATHS - {"an archive"}:
            (folder / "here" / path).touch()
        self._terminal, end = pty.openpty()
        environment = {"PATH": os.environ["PATH"], "TERM": "xterm", "HOME": str(folder), "LC_ALL": "C.UTF-8",
                       "COMPLETION": str(COMPLETION), "OUT": str(self.out)}
        self.process = subprocess.Popen(START[name], stdin=end, stdout=end, stderr=end, env=environment,
                                        cwd=folder / "here", start_new_session=True)
        os.close(end)
        self._drained = threading.Thread(target=self._drain, daemon=True)
        self._drained.start()
        self._type(". ../init; echo END >\"$OUT\"\n")
        self._wait()

    def _drain(self) -> None:
        try:
            while os.read(self._terminal, 65536):
                pass
        except OSError:  # the shell is gone
            pass

    def _type(self, text: str) -> None:
        os.write(self._terminal, text.encode())

    def _wait(self) -> list[str]:
        for _ in range(600):
            lines = self.out.read_text().splitlines() if self.out.exists() else []
            if "END" in lines:
                return lines[:lines.index("END")]
            time.sleep(0.05)
        raise AssertionError("the shell does not answer")

    def offers(self, line: str) -> set[str]:
        """What is offered at the end of a line."""
        self.out.write_text("")
        self._type(line + "\t")
        offered = self._wait()
        self._type("\x15")  # away with the line
        return {word.replace("\\", "").rpartition("=")[2].rstrip("/") for word in offered if word}

    def close(self) -> None:
        self.process.kill()
        self.process.wait()
        self._drained.join()
        os.close(self._terminal)


@pytest.fixture(params=sorted(START))
def shell(request: pytest.FixtureRequest, tmp_path_factory: pytest.TempPathFactory) -> Iterator[Shell]:
    if not shutil.which(request.param):
        pytest.skip(f"there is no {request.param}")
    try:
        made = Shell(request.param, tmp_path_factory.mktemp("a shell"))
    except OSError as error:
        pytest.skip(f"there is no pseudo terminal: {error}")
    yield made
    made.close()


def fits(offered: set[str], wanted: set[str] | list[str]) -> bool:
    if isinstance(wanted, set):
        return offered == wanted
    return all((word[1:] not in offered) if word[0] == "!" else (word in offered) for word in wanted)


def test_what_is_offered(shell: Shell) -> None:
    offered = [(line, shell.offers(line), wanted) for line, wanted in CASES]
    assert not [case for case in offered if not fits(*case[1:])]
