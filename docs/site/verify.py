#!/usr/bin/env python3
"""Holds a built site against what it promises: verify.py FOLDER

Every link and every anchor leads to something that is there, and nothing is fetched from another host. With chromium
no page is wider than a window of 400 pixels; without it, or with VEX_NO_BROWSER set, that is left out, and is said.
"""

import html.parser
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import urllib.parse
from pathlib import Path

WIDTH = 400
FETCHED = {"link", "script", "img", "iframe", "source", "audio", "video", "object", "embed"}  # without being asked for
Faults = list[str]


class Page(html.parser.HTMLParser):
    """The anchors of a page and where it leads: attributes href and src with their elements."""

    def __init__(self, path: Path) -> None:
        super().__init__()
        self.anchors: set[str] = set()
        self.links: list[tuple[str, str]] = []
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag: str, attrs: list[tuple[str, str | None]]) -> None:
        self.anchors.update(value for name, value in attrs if name in ("id", "name") and value)
        self.links += [(tag, value) for name, value in attrs if name in ("href", "src") and value and tag != "use"]


def fault(path: Path, tag: str, link: str, pages: dict[Path, Page]) -> str:
    """What is wrong with a link; empty when nothing is."""
    parts = urllib.parse.urlsplit(link)
    if parts.scheme == "data" or parts.scheme in ("http", "https", "mailto") and tag == "a":
        return ""
    if parts.scheme or parts.netloc or tag in FETCHED and parts.path.startswith("/"):
        return f"fetches {link}"
    target = Path(os.path.normpath(path.parent / urllib.parse.unquote(parts.path))) if parts.path else path
    if not target.is_file():
        return f"leads to {link}, which is not there"
    anchor = urllib.parse.unquote(parts.fragment)
    if anchor and target in pages and anchor not in pages[target].anchors:
        return f"leads to {link}, and there is no such anchor"
    return ""


def style_faults(path: Path) -> Faults:
    found = re.finditer(r"url\(\s*[\"']?([^\"')]+)|@import\s+[\"']([^\"']+)", path.read_text(encoding="utf-8"))
    return [f"{path}: {said}" for link in found if (said := fault(path, "link", link[1] or link[2], {}))]


def link_faults(folder: Path) -> Faults:
    pages = {path: Page(path) for path in sorted(folder.rglob("*.html"))}
    faults = [f"{path}: {said}" for path, page in pages.items() for tag, link in page.links
              if (said := fault(path, tag, link, pages))]
    return faults + [line for path in sorted(folder.rglob("*.css")) for line in style_faults(path)]


MEASURE = """<pre id="said"></pre><script>
const names = %s, said = [];
async function measure(name) {
  const frame = document.createElement("iframe");
  frame.style.cssText = "border: 0; width: %dpx; height: 800px";
  await new Promise(done => { frame.onload = done; frame.src = name; document.body.append(frame); });
  const ends = [...frame.contentDocument.querySelectorAll("article *")]
    .filter(element => !element.closest(".table-wrapper *, pre *"))  // what is in these can be scrolled
    .map(element => element.getBoundingClientRect().right);
  said.push([name, Math.ceil(Math.max(0, ...ends, frame.contentDocument.documentElement.scrollWidth))]);
  frame.remove();
}
(async () => {
  for (const name of names) await measure(name);
  document.getElementById("said").textContent = JSON.stringify(said);
})();
</script>"""


def width_faults(folder: Path) -> Faults:
    """One page that shows all the others in frames, and says how wide they would be."""
    names = [str(path.relative_to(folder)) for path in sorted(folder.rglob("*.html"))]
    with tempfile.TemporaryDirectory() as scratch:
        page = folder / "measure.html"
        page.write_text(MEASURE % (json.dumps(names), WIDTH), encoding="utf-8")
        words = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--allow-file-access-from-files",
                 f"--user-data-dir={scratch}", "--virtual-time-budget=60000", "--dump-dom", page.as_uri()]
        try:
            dom = subprocess.run(words, capture_output=True, text=True, timeout=300, check=True).stdout
        finally:
            page.unlink()
    found = re.search(r'<pre id="said">(\[.*?\])</pre>', dom)
    widths = dict(json.loads(found[1])) if found else {}
    return [f"{folder / name}: {widths.get(name, 'unknown')} pixels wide in a window of {WIDTH}"
            for name in names if not 0 < widths.get(name, 0) <= WIDTH]


def main() -> None:
    folder = Path(sys.argv[1]).resolve()
    faults = link_faults(folder)
    if os.environ.get("VEX_NO_BROWSER") or not shutil.which("chromium"):
        print("How wide pages are is not looked at: that takes chromium")
    else:
        faults += width_faults(folder)
    if faults:
        sys.exit("\n".join(faults))
    print("All links and anchors lead somewhere, and nothing is fetched from elsewhere")


if __name__ == "__main__":
    main()
