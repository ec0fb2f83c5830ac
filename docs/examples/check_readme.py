#!/usr/bin/env python3
"""Runs the README as a reader would, or other pages: check_readme.py BUILD_DIR [PAGE...]

Every command of its ```console blocks, of a manual page those between .EX and .EE, runs, in their order and in one
folder, and must print what the block shows below it. A shown line "..." stands for any lines, blanks in a row for one,
and seconds for any others. The function vex_status of the README must tell runs of all sorts apart.
"""
import os
import re
import signal
import subprocess
import sys
import tempfile

README = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "README.md")


ROFF = {"\\-": "-", "\\(aq": "'", "\\e": "\\", "\\&": ""}


def blocks(language, page=None):
    page = str(page or README)
    text = open(page, encoding="utf-8").read()
    if not page.endswith(".1"):
        return re.findall(rf"^```{language}\n(.*?)^```$", text, re.M | re.S)
    return [re.sub(r"\\(-|\(aq|e|&)", lambda sign: ROFF[sign[0]], block)
            for block in re.findall(r"^\.EX\n(.*?)^\.EE$", text, re.M | re.S)]


def run(command, shell="bash"):
    return subprocess.run([shell, "-c", f". $STATUS\n{command}"], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          encoding="latin-1").stdout


def plain(line):
    return re.sub(r"(succeeded in) \d+s", r"\1 some seconds", " ".join(line.split()))


def alike(shown, printed):
    wanted = "".join("(.*\n)*" if line == "..." else re.escape(plain(line)) + "\n" for line in shown)
    return re.fullmatch(wanted, "".join(plain(line) + "\n" for line in printed))


def check_blocks(page=None):
    """Returns how many commands there are."""
    steps = [step for block in blocks("console", page) for step in re.split(r"^\$ ", block, flags=re.M)[1:]]
    for step in steps:
        command, shown = re.fullmatch(r"((?:.*\\\n)*.*\n)((?:.*\n)*)", step).groups()
        shown, printed = shown.splitlines(), run(command).splitlines()
        assert alike(shown, printed), "\n".join([f"$ {command}The page shows", *shown, "and printed is", *printed])
    return len(steps)


DAY = "vex -out out -c 1-8461 -fd 2013-04-20 -ld 2013-04-20"
L1C = f"{DAY} -alt archive/land_sea_alti_map.dat -d archive/L1C"
BOTH = f"{L1C} -d2 archive/L2 -t2 clp"
RUNS = [  # what is done to the archive, the run, what vex_status returns and a part of what it says
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
    ("touch archive/L1C/2014", f"{L1C} -ld 2014-01-01", 1, "ERROR: Unable to read folder archive/L1C/2014"),
    ("", f"{L1C} -nonsense", 1, "failed"),
    ("", "vex -out out -c 1 -d archive/L1C", 1, "failed"),
    ("", f"{L1C} -mila 89", 2, "0 L1C data selected out of"),
    ("", f"{L1C} -box 88-89,0-1,pole", 2, "In box pole: 0"),
    ("", f"{L1C} -d none", 2, "No L1C data files found"),
    ("rm -r archive/L2", BOTH, 2, "No clp data files selected"),
    ("truncate -s -100000 $L1C", L1C, 3, "Probleme interpretation"),
    ("truncate -s -300 $CLP", BOTH, 3, "no end of a message: archive/L2"),
    (": >$L1C", L1C, 3, "no end of a message: archive/L1C"),
    ("rm $L1C; mkfifo $L1C", L1C, 3, "ERROR: Unable to open file archive/L1C"),
    ("cp $L1C $CLP", BOTH, 3, "Error: data are not clp"),
    ("", f"{L1C} -alt none", 3, "ERROR: Unable to initialize altitude database!"),
]


def check_status(shell):
    for damage, command, returns, says in RUNS:
        run("rm -rf archive x; cp -r whole archive")
        run(f"L1C=(archive/L1C/*/*/*/*); CLP=(archive/L2/*/*/*/clp/*); {damage}")
        said = run(f"{command} >$LOG; vex_status $LOG; echo returns $?", shell)
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
    assert run("vex_status $LOG; echo $?") == "failed\n1\n"


def check_page(page):
    """In a folder of its own."""
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        os.environ["STATUS"] = "/dev/null"
        commands = check_blocks(page)
        os.chdir("/")
    assert commands, f"{page} has no examples"
    print(f"{os.path.basename(page)}: {commands} commands print what it shows")


def check_whole():
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        os.environ.update(STATUS=f"{folder}/status.sh", LOG=f"{folder}/log")
        with open("status.sh", "w", encoding="utf-8") as file:
            file.write(*(block for block in blocks("sh") if block.startswith("vex_status()")))
        commands = check_blocks()
        run("vex-sample whole --messages 2 --messages-per-file 1 --pixels 20 --kinds l1c,clp")
        for shell in ("bash", "sh"):
            check_status(shell)
        check_killed()
    print(f"README.md: {commands} commands print what it shows; vex_status knows {len(RUNS) + 1} sorts of runs")


def main():
    pages = [os.path.abspath(page) for page in sys.argv[2:]]
    os.environ["PATH"] = os.path.abspath(sys.argv[1]) + ":" + os.environ["PATH"]
    for page in pages:
        check_page(page)
    if not pages:
        check_whole()


if __name__ == "__main__":
    main()
