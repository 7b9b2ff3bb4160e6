"""Where the tests of the documents find everything."""

import os
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WINDOWS = Path(os.environ.get("VANDREL_WINDOWS_BUILD_DIR", ROOT / "build" / "windows"))
NATIVE = Path(os.environ.get("VANDREL_NATIVE_BUILD_DIR", ROOT / "build" / "native"))

sys.path.insert(0, str(ROOT))  # for the laboratory
