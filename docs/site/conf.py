"""Sphinx: how scripts/site makes the site of the pages that docs/site/stage.py has laid out."""

import os
import re
from pathlib import Path

import furo

ROOT = Path(os.environ["VEX_ROOT"])

project = "vex"
found = re.search(r"project\(vex VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8"))
assert found, "CMakeLists.txt tells no version"
version = release = found[1]
html_title = f"vex {version}"
language = "en"

extensions = ["myst_parser", "sphinx_copybutton"]
myst_heading_anchors = 4
nitpicky = True
smartquotes = False  # a dash is a dash

html_theme = "furo"
html_static_path = [str(ROOT / "docs/site/static")]
html_css_files = ["site.css"]
html_show_sphinx = html_show_copyright = False
html_copy_source = False
html_use_index = False
pygments_style = "default"
pygments_dark_style = "native"

# Debian's style sheet of the theme lacks its dark colours; they are taken from the sources of the theme.
colours = (Path(furo.__file__).parent / "assets/styles/variables/_colors.scss").read_text(encoding="utf-8")
dark = dict(re.findall(r"--([\w-]+): ([^;]+);", colours.partition("@mixin colors-dark")[2]))
assert "color-background-primary" in dark, "the theme has other sources"
html_theme_options = {"dark_css_variables": dark}

# What is copied of a console block are its commands.
copybutton_prompt_text = "$ "
copybutton_only_copy_prompt_lines = True
copybutton_line_continuation_character = "\\"
copybutton_image_svg = ""
