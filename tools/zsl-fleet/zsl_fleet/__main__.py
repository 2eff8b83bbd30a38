"""python3 -m zsl_fleet: the zsl-fleet command."""

import sys

from zsl_fleet.main import main

sys.exit(main())
