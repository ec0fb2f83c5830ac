"""``python3 -m vexfile`` is the command `vexfile`."""

import sys

from .command import main

sys.exit(main())
