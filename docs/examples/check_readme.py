#!/usr/bin/env python3
"""Runs pages as a reader would: check_readme.py [--write] BUILD_DIR [PAGE...]

Every command of the ```console blocks of a page, of a manual page those between .EX and .EE, runs, in their order and in
one folder, and must print what the block shows below it. A shown line "..." stands for any lines, blanks in a row for
one, and seconds and numbers of jobs for any others. A block of another language that begins with a comment of nothing
but a file name is written to that file. The home folder has the sources in ~/vex. Each picture that the page shows must
be made by its commands under the same name and look the same, but for colours that differ by a shade; --write puts
those that were made in place.

Without a page it runs the README, the tour, the how-tos and the manual pages; vex-status must tell runs of all sorts
apart.
"""
import math
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
README = ROOT / "README.md"
DOCS = ROOT / "docs"
PAGES = [README, DOCS / "tour.md", *sorted(DOCS.glob("howto/*.md")), *sorted(DOCS.glob("man/*.1"))]
ROFF = {"\\-": "-", "\\(aq": "'", "\\e": "\\", "\\&": ""}
PICTURE_BYTES = 200_000  # at most
COLOURS = 256
SHADE = 1.0  # of 255, the mean over a picture that its colours may differ by; a shifted line makes a few


def all_blocks(page):
    """The language and the text of each block; those of a manual page are console blocks."""
    text = page.read_text(encoding="utf-8")
    if page.suffix != ".md":
        return [("console", re.sub(r"\\(-|\(aq|e|&)", lambda sign: ROFF[sign[0]], block))
                for block in re.findall(r"^\.EX\n(.*?)^\.EE$", text, re.M | re.S)]
    return re.findall(r"^```(\w+)\n(.*?)^```$", text, re.M | re.S)


def run(command, shell="bash"):
    return subprocess.run([shell, "-c", command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          encoding="latin-1").stdout


def plain(line):
    return re.sub(r"(succeeded in) \d+s|\b(job) \d+", r"\1\2 N", " ".join(line.split()))


def alike(shown, printed):
    wanted = "".join("(.*\n)*" if line == "..." else re.escape(plain(line)) + "\n" for line in shown)
    return re.fullmatch(wanted, "".join(plain(line) + "\n" for line in printed))


def check_block(block, page):
    """Returns how many commands there are."""
    steps = re.split(r"^\$ ", block, flags=re.M)[1:]
    for step in steps:
        command, shown = re.fullmatch(r"((?:.*\\\n)*.*\n)((?:.*\n)*)", step).groups()
        shown, printed = shown.splitlines(), run(command).splitlines()
        assert alike(shown, printed), "\n".join([f"$ {command}{page} shows", *shown, "and printed is", *printed])
    return len(steps)


def difference(made, picture):
    """How much a picture differs in its colours from what was made, of 255; infinite if its size does, or it is missing."""
    from PIL import Image, ImageChops, ImageStat
    if not picture.exists():
        return math.inf
    present = Image.open(picture).convert("RGB")
    return max(ImageStat.Stat(ImageChops.difference(made, present)).mean) if made.size == present.size else math.inf


def check_picture(picture, page, write):
    from PIL import Image
    assert os.path.exists(picture.name), f"{page} shows {picture.name}, which none of its commands makes"
    made = Image.open(picture.name).convert("RGB")
    if write and difference(made, picture) > SHADE:
        made.quantize(COLOURS).save(picture, optimize=True)
    differs = difference(made, picture)
    assert differs <= SHADE, f"{picture.name}: differs by {differs:.2f} of 255 from what {page} makes"
    assert picture.stat().st_size <= PICTURE_BYTES, f"{picture.name} has {picture.stat().st_size} bytes"


def check_page(page, write=False):
    """Runs a page in the folder at hand; returns how many commands it has."""
    commands = 0
    for language, block in all_blocks(page):
        named = re.match(r"(?:#|!|;|/\*) (\w+\.\w+)(?: \*/)?\n", block)
        if language == "console":
            commands += check_block(block, page.name)
        elif named:
            pathlib.Path(named[1]).write_text(block, encoding="utf-8")
    assert commands, f"{page} has no examples"
    for link in re.findall(r"!\[[^]]*\]\((\S+)\)", page.read_text(encoding="utf-8")):
        check_picture(page.parent / link, page.name, write)
    return commands


DAY = "vex -out out -c 1-8461 -fd 2013-04-20 -ld 2013-04-20"
L1C = f"{DAY} -alt archive/land_sea_alti_map.dat -d archive/L1C"
BOTH = f"{L1C} -d2 archive/L2 -t2 clp"
RUNS = [  # what is done to the archive, the run, what vex-status returns and a part of what it says
    ("", BOTH, 0, "complete"),
    ("", f"{L1C}/ -of txtstat -boxstat 1", 0, "complete"),
    ("mkdir x", f"cd x; {DAY} -alt ../archive/land_sea_alti_map.dat -d ../archive/L1C", 0, "complete"),
    ("", f"{L1C} -d2 none -myd2 archive/L2/2013/04/20 -t2 clp", 0, "complete"),
    ("cp archive/land* archive/L1C/grid", f"{L1C} -alt archive/L1C/grid", 0, "complete"),
    ("", f"{L1C} -out none/out", 1, "ERROR: ouverture fichier none/out"),
    ("", f"{L1C} -box 0-1,0-1,a -box 2-3,0-1,a", 1, "ERROR: ouverture fichier out.a.txt"),
    ("", f"{L1C} -out /dev/full", 1, "failed"),
    ("", f"{L1C} -of txtstat -boxstat 90000-90000", 1, "failed"),
    ("", f"{L1C} -out archive/L1C/../land_sea_alti_map.dat", 1, "ERROR: ouverture fichier archive/L1C/../land"),
    ("touch archive/L1C/2014", f"{L1C} -ld 2014-01-01", 0, "complete"),
    ("ln -s 2014 archive/L1C/2014", f"{L1C} -ld 2014-01-01", 1, "vex: archive/L1C/2014: Too many levels of symbolic"),
    ("rm $L1C; mkdir $L1C", L1C, 1, "l1_bufr: Is a directory"),
    ("rm $L1C; ln -s none $L1C", L1C, 1, "l1_bufr: No such file or directory"),
    ("mkdir grid", f"{L1C} -alt grid", 1, "vex: grid: Is a directory"),
    ("", f"{L1C} -nonsense", 1, "failed"),
    ("", "vex -out out -c 1 -d archive/L1C", 1, "failed"),
    ("", f"{L1C} -mila 89", 2, "0 L1C data selected out of"),
    ("", f"{L1C} -box 88-89,0-1,pole", 2, "In box pole: 0"),
    ("", f"{L1C} -d none", 2, "No L1C data files found"),
    ("", f"{BOTH} -mca 0 -lca 1", 2, "0 L1C data selected out of"),
    ("rm -r archive/L2", BOTH, 2, "No clp data files selected"),
    ("", f"{L1C} -d2 chive/L1C -t2 clp", 2, "No clp data files selected"),
    ("", f"{L1C} -t2 clp,trg", 2, "-t2 trg is given without -d2 or -myd2: no trg data were read\nincomplete"),
    ("", BOTH.replace("-d archive/L1C ", ""), 2, "-c is given without -d: no L1C data were read\nincomplete"),
    ("truncate -s -300 $L1C", f"{L1C} -t2 clp", 3, "-t2 clp is given without"),
    ("truncate -s -100000 $L1C", L1C, 3, "Probleme interpretation"),
    ("truncate -s -300 $CLP", BOTH, 3, "no end of a message: archive/L2"),
    (": >$L1C", L1C, 3, "no end of a message: archive/L1C"),
    ("rm $L1C; mkfifo $L1C", L1C, 1, "l1_bufr: not a regular file"),
    ("cp $L1C $CLP", BOTH, 3, "Error: data are not clp"),
    ("", f"{L1C} -alt none", 3, "ERROR: Unable to initialize altitude database!"),
]


def check_status(shell, redirected, logs):
    for damage, command, returns, says in RUNS:
        run("rm -rf archive x; cp -r whole archive")
        run(f"L1C=(archive/L1C/*/*/*/*); CLP=(archive/L2/*/*/*/clp/*); {damage}")
        said = run(f"{command} {redirected}; vex-status {logs}; echo returns $?", shell)
        assert said.endswith(f"returns {returns}\n") and says in said, f"{shell}: {damage} {command}\n{said}"


def check_killed():
    """Killed while it waits for the reader of a pipe."""
    os.mkfifo("pipe")
    with open(os.environ["LOG"], "w", encoding="utf-8") as log:
        vex = subprocess.Popen(f"exec {L1C} -out pipe", shell=True, stdout=log)
        with open("pipe", "rb") as pipe:
            pipe.read(1)
            vex.send_signal(signal.SIGTERM)  # SIGINT may be ignored, as by what runs in the background
            vex.wait(timeout=60)
    assert run("vex-status $LOG; echo $?") == "failed\n1\n"


def check_vex_status():
    run("vex-sample whole --messages 2 --messages-per-file 1 --pixels 20 --kinds l1c,clp")
    check_status("bash", ">$LOG 2>&1", "$LOG")
    check_status("sh", ">$LOG 2>$LOG.err", "$LOG $LOG.err")
    check_killed()
    run("cp $LOG ./-x=")
    assert run("vex-status -- -x=; vex-status none; vex-status -x; vex-status; echo $?") == (
        "failed\nvex-status: none: is not a file that can be read\nvex-status: no such option: -x (see vex-status --help)\n"
        "vex-status: no log is named (see vex-status --help)\n1\n")
    print(f"vex-status knows {len(RUNS) + 1} sorts of runs")


def main():
    write = sys.argv[1] == "--write"
    build, *pages = sys.argv[2:] if write else sys.argv[1:]
    os.environ["PATH"] = os.path.abspath(build) + ":" + os.environ["PATH"]
    jobs = [(lambda page=page: print(f"{page.name}: {check_page(page, write)} commands print what it shows"))
            for page in (pathlib.Path(page).resolve() for page in pages or PAGES)]
    with tempfile.TemporaryDirectory() as home:
        os.symlink(ROOT, f"{home}/vex")
        os.environ.update(HOME=home, LOG=f"{home}/log")
        for job in jobs + [check_vex_status] * (not pages):
            with tempfile.TemporaryDirectory(dir=home) as folder:
                os.chdir(folder)
                job()
                os.chdir("/")


if __name__ == "__main__":
    main()
