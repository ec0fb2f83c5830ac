"""Text of manual pages."""

import re
import textwrap

from .common import release

SECTIONS = {1: "User commands", 5: "File formats"}
#: An option in a text.
OPTION = re.compile(r"(?<![\w-])--?[a-zA-Z][\w-]*")


def roff(text: str) -> str:
    """Plain ASCII for roff: a minus is one, and names with underscores are not hyphenated."""
    plain = text.replace("\\", "\\e").replace("-", "\\-").replace("·", "*").replace("×", "times").replace("`", "")
    return re.sub(r"\b\w+_\w+", r"\\%\g<0>", plain)


def wrapped(text: str) -> list[str]:
    """Lines of roff that are no requests."""
    lines = textwrap.wrap(text, 79, break_on_hyphens=False, break_long_words=False)
    return [f"\\&{line}" if line[0] in ".'" else line for line in lines]


def bold(text: str) -> str:
    return f"\\fB{roff(text)}\\fR"


def italic(text: str) -> str:
    return f"\\fI{roff(text)}\\fR"


def prose(text: str) -> list[str]:
    """Lines of a text in which options are bold; each sentence begins one."""
    return [line for sentence in re.split(r"(?<=\.) (?=[A-Z])", text) for line in wrapped(marked(sentence))]


def marked(text: str) -> str:
    plain = [roff(part) for part in OPTION.split(text)]
    return "".join(part + mark for part, mark in zip(plain, [*map(bold, OPTION.findall(text)), ""]))


def form(text: str) -> str:
    """What stands for a value: names in capitals are italic, words as they are given bold."""
    def shown(part: str) -> str:
        if not re.search(r"\w", part):
            return roff(part)
        return italic(part) if re.search(r"[A-Z]", part) else bold(part)
    return "".join(map(shown, re.findall(r"[\w {}-]+|[^\w {}-]+", text)))


def item(name: str, kind: str, sentences: list[str]) -> str:
    texts = [roff(f"{sentence[0].upper()}{sentence[1:]}.") for sentence in sentences if sentence]
    lines = [line for text in texts for line in textwrap.wrap(text, 79, break_on_hyphens=False)]
    return "\n".join([".TP", f'.BR "{roff(name)}" ", {roff(kind)}"', *lines])


def title(name: str, section: int) -> str:
    """The line that a page begins with."""
    version, date = release()
    return f'.TH {roff(name).upper()} {section} {date} "vex {version}" "{SECTIONS[section]}"'
