"""The version of vex and of its packages; scripts/lib/versions holds all places against one another."""

from __future__ import annotations

VERSION = "4.0.0"
