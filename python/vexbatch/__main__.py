"""python3 -m vexbatch"""

import sys

from .command import main

sys.exit(main())
