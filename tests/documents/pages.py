"""What the tests of the documents share: where everything is, and the reader of the documents."""

import os
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WINDOWS = Path(os.environ.get("VANDREL_WINDOWS_BUILD_DIR", ROOT / "build" / "windows"))
NATIVE = Path(os.environ.get("VANDREL_NATIVE_BUILD_DIR", ROOT / "build" / "native"))

sys.path[:0] = [str(ROOT / "scripts"), str(ROOT)]
import documents  # noqa: E402,F401
