"""Random runs of vex: options, and the archive that they are for. See compare."""

import dataclasses
import hashlib
import re
import shlex

from random_archives import Archive, Dice, Files, bits, damage, grid_damage, header_fields

# Option, share of the runs that have it, usual values | odd ones, which come now and then and are not accepted
# or let nothing through. What is in braces is filled in from the archive.
FILTERS = """
mila 6% -90 -90 {south} -777 -60 | 90.5 nan x
mala 6% 90 90 {north} 1e9 89.5 | -91 x
milo 6% -180 {west} -400 -180.5 175 | x 181
malo 6% 180 {east} 400 -175 | x -181
on 4% {orbit} {orbit}-{orbit},7 0-999999 1,{orbit} | 0 5-1 a,{orbit} {orbit}- -3-3
sln 4% {line} 0-9999 {line}-9000 1-{line} | 0 9000-1 x 7,x
fov 8% 0-5 1-2,4-6 0-119 3,3,7-200 2-40 0-11,1 | 119-0 3- x
va 5% 0-90 50-57.5 0-58 40-90 20-56.1 | 57 90-0 - x
tr 6% 00h00m00s-11h59m59s 12h00m00s-23h59m59s,00h00m00s 0h0m0s-12h0m0s 0h0m0s,7h23m0s-18h0m0s | 12h 23h0m0s-1h0m0s x
tp 5% day night all all | noon
st 7% sea land all | lake
qlt 8% yyy ynn nny nyn nnn | yy yyyy
mca 20% 99 99 99 99 98 50 100 101 | -1 x 0
lca 10% 0 1 1 5 -1 | 50 101 x
lf 9% 0-100 0-99 1-100 0-50 | 100-0 0-0 x
sf 9% 0-100 0-5 0-50 0-0 | 1-0 x
avg 9% 0-1 0-0.0004 0.0003-9 | 5-x 1
var 9% 0-1 0-0.0001 -1-9 | 5- 1
"""
OUTPUTS = """
bi 25% 1 1 1 0 -1 2 | x
tb 25% 1 1 1 0 | 2 on
skip 5% 1 3 8 -1 0 | x 100000
maxres 8% 1 5 9 20 1000 -1 -5 | 0 x 4000000000
tbref 3% 280 250.5 0 -1 | x
ef 3% l1_bufr l1_bufr|bin _bufr | xyz ||
ef2 3% l2_bufr bin|l2_bufr r | xyz
mf 3% IASI _1C_,zz 0Z_ | trg 0Z_20990101 ,
mf2 3% IASI OZO,TRG,CLP,TWT,EMS 02_M0 | ozo none
sk 3% 1 0 | 2
stsext 3% 1 0 | y
"""
STATISTICS = """
sk 50% 1 1 0 | 2
stsext 35% 1 1 0 | x
tbref 20% 280 250 300.5 -1 | x 1e30
boxstat 30% 1 0 18-36 9-7 1-1 180-360 7-1 | 0-5 -1-3 20000-20000 5
histlat 20% -90-90,180 {south}-{north},7 0-60,1 | 90--90,10 0-90 0-90,0
histpix 25% 0.0001-0.001,100 0-0.002,10 -1-1,3 200-300,50 | 0-1,0 0-1,900000000 0-1
histcloud 20% 0-100,10 0-100,101 1-99,7 -5-50,3 | 100-0,5 x
histland 20% 0-100,10 0-50,3 | 0-100,-1
histsnow 20% 0-100,10 0-1,2 | 0-100,x
histavg 20% 0-0.002,100 0.0001-0.0006,9 200-300,20 | 0-0,5
histvar 20% 0-0.001,100 0-1,4 | x
"""
BOXES = ("{south}-{north},{west}-{east},a -90-90,-180-180,all {south}-90,-180-{east},north -90-{south},{west}-180,s "
         "0-90,-180-180,b-c 10-20,10-20,empty -90-90,-180-180,x/y {north}-{south},0-1,inverted 1-2,3-4").split()


def channels(dice: Dice) -> str:
    ranges = []
    for _ in range(dice.pick((1, 1, 2, 3, 5))):
        first = dice.pick((1, 1, 8400, dice.among(1, 8461), dice.among(1, 8461), dice.among(20, 200)))
        length = dice.pick((1, 1, 2, 7, 16, 17, 60, 100, 100, 2048, 2049))
        last = first + length - 1
        if not dice.chance(7):
            last = min(last, 8461)
        ranges.append(f"{first}" if length == 1 else f"{first}-{last}")
    if dice.chance(15):
        ranges[0] = "1-8461"
    if dice.chance(8):
        ranges.append(dice.pick(("0", "0-5", "8462", "8460-8470", "9000-9010", "20-10", "-3", "-3-3", "5-", "x")))
    return ",".join(ranges)


def drawn(dice: Dice, table: str, hints: dict[str, str]) -> list[list[str]]:
    rows = [re.fullmatch(r"(\w+) (\d+)% (.*) \| (.*)", row).groups() for row in table.strip().splitlines()]
    return [["-" + name, dice.pick((odd if dice.chance(1) else usual).split(" ")).format(**hints)]
            for name, share, usual, odd in rows if dice.chance(int(share))]


def hints_of(dice: Dice, archive: Archive) -> dict[str, str]:
    """Bounds near the pixels of a message."""
    name = dice.pick(list(archive.files))
    message = dice.pick(archive.files[name])
    places, names = header_fields(message)
    value = {key: bits(message, *places[at]) for key, at in names.items()}
    south = value["latitude"] - 9000000 + 1000 * dice.below(300)
    west = value["longitude"] - 18000000 + 1000 * dice.below(800)
    return {"orbit": str(value["orbit"]), "line": str(value["line"]), "south": f"{south / 1e5:.2f}",
            "north": f"{(south + 1000 * dice.below(500)) / 1e5:.2f}", "west": f"{west / 1e5:.2f}",
            "east": f"{(west + 1000 * dice.below(1500)) / 1e5:.2f}"}


def product_options(dice: Dice, archive: Archive) -> tuple[list[list[str]], list[str]]:
    """What is asked for, and the folders that it is in."""
    kinds, wanted = archive.kinds(), dice.pick(("l1c", "l1c", "both", "both", "both", "l2"))
    options, folders = [], []
    if "l1c" in wanted or wanted == "both":
        imager = dice.chance(45)
        options += [["-d", "../in/L1C"]] + [["-avhrr", dice.pick(("1", "1", "1", "1", "1", "0"))]] * imager
        if not imager or dice.chance(85):
            options += [["-c", channels(dice)] for _ in range(dice.pick((1, 1, 1, 1, 1, 2)))]
        folders.append("L1C")
    if wanted != "l1c":
        chosen = list(dict.fromkeys(dice.some(kinds, dice.pick((1, 2, 3, 5, 9)))))
        options.append(["-t2", ",".join(chosen) + ("," + dice.pick(("xyz", "", "l1c")) if dice.chance(4) else "")])
        independent = "--indep" in archive.sample.options and dice.chance(50)
        options += [["-myd2", "../in/L2indep"]] * independent
        options += [["-d2", "../in/L2"]] * (not independent or dice.chance(10))
        root = "L2indep/" if independent else "L2/"
        folders += dict.fromkeys(name.rsplit("/", 1)[0] for name in archive.files
                                 if name.startswith(root) and name.split("/")[-2] in chosen)
        folders = folders[:1] * (len(folders) // 2) + folders  # of two damages one is to the spectra
    return options, folders


def date_options(dice: Dice, archive: Archive) -> list[list[str]]:
    first, last = archive.sample.date, archive.sample.date
    if "--days" in archive.sample.options:
        last = dice.pick((f"{int(first[:4]) + 1}{first[4:]}", last))
    if dice.chance(4):
        first = dice.pick((first.replace("-0", "-"), "2006-01-01", first[:5] + "00-00", "2030-01-01"))
        last = dice.pick((last, last[:-2] + "31", "2099-99-99", "2013-x"))
    return [["-fd", first]] * (not dice.chance(1)) + [["-ld", last]] * (not dice.chance(1))


def run_options(dice: Dice, archive: Archive) -> tuple[list[list[str]], list[str]]:
    hints = hints_of(dice, archive)
    options, folders = product_options(dice, archive)
    form = dice.pick(("", "bin", "bin", "bin", "txt", "txt", "txt", "txtstat", "txtstat"))
    options += date_options(dice, archive) + [["-of", form]] * (form != "")
    options += drawn(dice, FILTERS, hints) if form == "txtstat" or dice.chance(70) else []
    options += drawn(dice, OUTPUTS, hints)
    options += drawn(dice, STATISTICS, hints) if form == "txtstat" or dice.chance(3) else []
    if dice.chance(3 if form == "txtstat" else 12):
        boxes = dice.some(BOXES, dice.among(1, 3)) if dice.chance(15) else dict.fromkeys(dice.some(BOXES[:5], 3))
        options += [["-box", box.format(**hints)] for box in boxes]
    options += [["-alt", "../in/grid.dat"]] * dice.chance(90)
    options.append(["-out", dice.pick(("result",) * 60 + ("result.txt", "no/folder/here", "."))])
    if dice.chance(3):
        odd = ["-h"], ["-zz", "1"], ["-"], ["-5"], ["word"], ["-of", "xml"], ["-c"], ["-cfg", "none"]
        options.append(dice.pick(odd))
    return sorted(options, key=lambda option: dice.below(1 << 30)), folders


def configuration(dice: Dice, options: list[list[str]]) -> tuple[list[list[str]], bytes]:
    """Moves about half of the options to a configuration file."""
    moved = [option for option in options if len(option) == 2 and dice.chance(50)]
    lines = [f"{name[1:]}{dice.pick(('=', ' = '))}{value}" for name, value in moved]
    for _ in range(dice.pick((0, 1, 2))):
        odd = dice.pick(("# c = 1-10", "", "no sign", "a=b=c", "bi = 1", "fov = 0-60", "tb=1 ", "-tb = 1"))
        lines.insert(dice.below(len(lines) + 1), odd)
    text = dice.pick(("\n", "\n", "\r\n")).join(lines) + dice.pick(("\n", ""))
    return [option for option in options if option not in moved] + [["-cfg", "../in/vex.cfg"]], text.encode()


@dataclasses.dataclass
class Plan:
    """All that there is to know about a run before it is made."""

    run: int
    archive: Archive
    files: Files
    options: list[str]
    damages: list[str]

    @property
    def digest(self) -> str:
        kept = hashlib.sha256(repr((self.archive.digest, self.options, self.damages)).encode())
        for name, content in sorted(self.files.items()):
            kept.update(name.encode() + (content if isinstance(content, bytes) else b""))
        return kept.hexdigest()[:8]

    def story(self) -> str:
        sample = self.archive.sample
        lines = (f"vex {shlex.join(self.options)}",
                 f"archive: --first-date {sample.date} {sample.options} {sample.part}",
                 *(f"damage: {one}" for one in self.damages))
        return "".join(f"  {line}\n" for line in lines)


def make_plan(seed: int, run: int, archives: list[Archive]) -> Plan:
    dice = Dice(seed, run)
    archive = dice.pick(archives)
    options, folders = run_options(dice, archive)
    files: Files = {name: archive.folder / name for name in archive.files}
    damages = damage(dice, archive, files, folders) if dice.chance(84) else []
    files["grid.dat"] = archive.grid
    if dice.chance(4):
        files["grid.dat"] = grid_damage(dice, archive.grid.read_bytes())
        damages.append("grid")
    if dice.chance(12):
        options, files["vex.cfg"] = configuration(dice, options)
    return Plan(run, archive, files, [word for option in options for word in option], damages)
