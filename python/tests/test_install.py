"""What `cmake --install` puts where, that `uninstall` leaves what it found, and pip."""

from __future__ import annotations

import os
import pathlib
import shutil
import subprocess
import tomllib
import venv

import pytest

#: Some of what is installed: by folder, the file in the sources and its name there.
PLACES = {"bin": ("", "vex"), "share/man/man1": ("docs/man/vex-status.1", "vex-status.1"),
          "share/man/man5": ("docs/man/vexfile.5", "vexfile.5"),
          "share/doc/vex": ("docs/formats.md", "formats.md"),
          "share/doc/vex/images": ("docs/images/map.png", "map.png"),
          "share/doc/vex/examples": ("docs/examples/read_vex.f90", "read_vex.f90")}
COMPLETIONS = "share/bash-completion/completions"
FOREIGN = ("bin/foreign", "share/man/man5/foreign.5")


def test_install_and_uninstall(build: pathlib.Path, tmp_path: pathlib.Path) -> None:
    """Files of others stay, with their folders; of a prefix that was not there nothing is left."""
    if not (build / "cmake_install.cmake").exists():
        pytest.skip("VEX_BUILD is no folder that cmake made")
    sources, prefix = pathlib.Path(__file__).parents[2], tmp_path / "a prefix"
    for foreign in ((), FOREIGN):
        for name in foreign:
            (prefix / name).parent.mkdir(parents=True)
            (prefix / name).touch()
        before = {*prefix.rglob("*")}
        subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True, stdout=subprocess.DEVNULL)
        assert not [path for path in prefix.rglob("*") if "check" in path.name or path.name == "__pycache__"]
        for folder, (source, name) in PLACES.items():
            content = (sources / source).read_bytes() if source else (build / name).read_bytes()
            assert (prefix / folder / name).read_bytes() == content
        for program in ("vex", "vex-sample", "vex-status", "vexfile", "vex-batch"):  # each completion stands alone
            said = subprocess.run(["bash", "-c", 'cd "$0" && . "./$1" && complete -p "$1"', prefix / COMPLETIONS, program],
                                  capture_output=True, check=True, text=True).stdout
            asked = f'COMP_WORDS=({program} -- -t) COMP_CWORD=2; {said.split()[2]}; echo "${{COMPREPLY[@]}}"'
            offered = subprocess.run(["bash", "-c", f'. "$0"; {asked}', prefix / COMPLETIONS / program],
                                     capture_output=True, check=True, text=True).stdout.split()
            assert ("-t2" in offered) == (program in ("vex", "vex-batch")), program
        for program in ("vex-sample", "vex-status"):
            assert subprocess.run([prefix / "bin" / program, "--help"], capture_output=True, check=True).stdout
        subprocess.run(["cmake", "--build", build, "--target", "uninstall"], check=True, stdout=subprocess.DEVNULL)
        assert {*prefix.rglob("*")} == before and prefix.exists() == bool(foreign)


def test_pip_without_a_network(tmp_path: pathlib.Path) -> None:
    """Called in the folder of the package, pip finds all that Debian has and installs both commands."""
    pytest.importorskip("pip")
    source, place = pathlib.Path(__file__).parents[1], tmp_path / "a place"
    for name in ("vexfile", "vexbatch"):
        shutil.copytree(source / name, place / name)
    shutil.copy(source / "pyproject.toml", place)
    version = tomllib.loads((place / "pyproject.toml").read_text())["project"]["version"]
    venv.create(place / "venv", system_site_packages=True)
    environment = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    subprocess.run([place / "venv/bin/python", "-m", "pip", "install", "-q", "--no-index", "--no-build-isolation", "."],
                   cwd=place, env=environment, check=True)
    for command in ("vexfile", "vex-batch"):
        words = [place / "venv/bin" / command, "--version"]
        done = subprocess.run(words, env=environment, capture_output=True, check=True)
        assert done.stdout.decode() == f"{command} {version}\n"
