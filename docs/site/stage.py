#!/usr/bin/env python3
"""Lays out the pages of the repository as Sphinx wants them: stage.py FOLDER

What lies in docs/ goes to the top of FOLDER, other pages to FOLDER/sources; links are turned to where their targets
went, and a link to a file that is not there is an error. The lists of docs/index.md become the navigation: a heading
with links below it is a part of it, and the links say what pages are called. Pages that no list names make a part of
their own, so that none is lost. Manual pages become pages by mandoc.
"""

import os
import re
import subprocess
import sys
from collections.abc import Iterator
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
DOCS = ROOT / "docs"
INDEX = DOCS / "index.md"
ELSEWHERE = ("README.md", "CONTRIBUTING.md", "CHANGELOG.md", "bench/README.md", "python/bench/README.md",
             "tests/fuzz/README.md")
FENCES = re.compile(r"(^(?P<fence>```+)(?!`)[^\n]*\n.*?^(?P=fence)$)", re.M | re.S)
LINK = re.compile(r"(!?)\[([^]]*)\]\(([^)\s]+)\)")


def pages() -> list[Path]:
    present = [ROOT / name for name in ELSEWHERE if (ROOT / name).exists()]
    return sorted(DOCS.rglob("*.md")) + present + manual_pages()


def manual_pages() -> list[Path]:
    return sorted((DOCS / "man").glob("*.[1-8]"))


def place(path: Path) -> Path:
    """Where a file goes to, in the folder that is made."""
    if not path.is_relative_to(DOCS):
        return Path("sources") / path.relative_to(ROOT)
    name = path.relative_to(DOCS)
    return Path("man") / f"{path.name}.md" if path in manual_pages() else name


def prose(text: str) -> Iterator[tuple[str, bool]]:
    """The pieces of a page, and whether they are prose or code."""
    end = 0
    for fence in FENCES.finditer(text):
        yield text[end:fence.start()], True
        yield fence[0], False
        end = fence.end()
    yield text[end:], True


def target_of(page: Path, link: str) -> Path | None:
    """The file that a link leads to; None when it leads into its own page or to another host."""
    path = link.partition("#")[0]
    if not path or re.match(r"[a-z]+:", path):
        return None
    target = Path(os.path.normpath(page.parent / path))
    if target.is_dir() and (target / "README.md").exists():
        return target / "README.md"
    if not target.is_file() or not target.is_relative_to(ROOT):
        raise SystemExit(f"{page.relative_to(ROOT)}: there is no {link}")
    return target


class Stage:
    """The folder that is made."""

    def __init__(self, folder: Path) -> None:
        self.folder = folder
        self.pages = pages()

    def write(self, path: Path, content: bytes) -> None:
        (self.folder / path).parent.mkdir(parents=True, exist_ok=True)
        (self.folder / path).write_bytes(content)

    def linked(self, page: Path, match: re.Match[str]) -> str:
        """A link as it is there; what is no page is copied."""
        mark, text, link = match.groups()
        target = target_of(page, link)
        if not target:
            return match[0]
        if target not in self.pages:
            self.write(place(target), target.read_bytes())
        anchor = link[link.find("#"):] if "#" in link else ""
        return f"{mark}[{text}]({os.path.relpath(place(target), place(page).parent)}{anchor})"

    def page(self, page: Path, text: str) -> None:
        pieces = (LINK.sub(lambda match: self.linked(page, match), piece) if is_prose else piece
                  for piece, is_prose in prose(text))
        self.write(place(page), "".join(pieces).encode())

    def all(self) -> None:
        for page in self.pages:
            if page == INDEX:
                self.page(page, index(self.pages))
            elif page in manual_pages():
                self.page(page, manual(page))
            else:
                self.page(page, page.read_text(encoding="utf-8"))


def manual(path: Path) -> str:
    words = ["mandoc", "-T", "html", "-O", "fragment", path]
    html = subprocess.run(words, capture_output=True, check=True, text=True).stdout
    for page in manual_pages():  # of which it may speak
        name, section = page.name.rsplit(".", 1)
        html = html.replace(f"<b>{name}</b>({section})", f'<a href="{page.name}.html">{title(page)}</a>')
    return f"# {title(path)}\n\n```{{raw}} html\n<div class=\"manual\">\n{html}</div>\n```\n"


def title(page: Path) -> str:
    if page in manual_pages():
        return "{}({})".format(*page.name.rsplit(".", 1))
    return page.read_text(encoding="utf-8").partition("\n")[0].lstrip("# ")


def index(all_pages: list[Path]) -> str:
    """The first page with those that it does not name at its end, and with the navigation."""
    text = INDEX.read_text(encoding="utf-8")
    named = {target_of(INDEX, link[3]) for link in LINK.finditer(text)}
    for heading, others in (("Manual pages", manual_pages()), ("Further pages", all_pages)):
        missing = [page for page in others if page not in named | {INDEX}]
        named.update(missing)
        lines = [f"- [{title(page)}]({os.path.relpath(page, DOCS)})" for page in missing]
        text += "\n".join(["", f"## {heading}", "", *lines, ""]) if lines else ""
    return text + "".join(map(navigation, re.split(r"^## ", text, flags=re.M)[1:]))


def navigation(part: str) -> str:
    heading, lists = part.split("\n", 1)
    items = LINK.finditer("".join(line for line in lists.splitlines(True) if line.startswith("- ")))
    targets = {target: item[2].replace("`", "") for item in items if (target := target_of(INDEX, item[3]))}
    lines = [f"{words} <{place(target).with_suffix('')}>" for target, words in targets.items()]
    return "\n".join(["", "```{toctree}", ":hidden:", f":caption: {heading}", "", *lines, "```", ""])


if __name__ == "__main__":
    Stage(Path(sys.argv[1])).all()
