#!/usr/bin/env python3
"""Runs the tests under Wine by hand:

    run.py --windows-build DIR --release-tool FILE [--key FILE] [--prefix DIR] [PATTERN...]

PATTERN chooses tests by a part of their name. CTest runs each *_test.py by itself, with the same environment."""

import argparse
import os
import tempfile
import unittest
from pathlib import Path

HERE = Path(__file__).resolve().parent


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--windows-build", type=Path, required=True, help="build folder with the helper and the tools")
    parser.add_argument("--release-tool", type=Path, required=True, help="the publisher's program, vandrel-release")
    parser.add_argument("--key", type=Path, default=HERE.parents[1] / "keys" / "development_private.pem",
                        help="private half of the key that the helper was built with")
    parser.add_argument("--prefix", help="Wine prefix to use, made if it isn't there (default: a fresh one)")
    parser.add_argument("patterns", nargs="*")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="vandrel-wine-") as fresh:
        os.environ["VANDREL_WINDOWS_BUILD_DIR"] = str(options.windows_build.resolve())
        os.environ["VANDREL_NATIVE_BUILD_DIR"] = str(options.release_tool.resolve().parent)
        os.environ["VANDREL_DEVELOPMENT_KEY"] = str(options.key.resolve())
        os.environ["WINEPREFIX"] = options.prefix or fresh + "/prefix"
        loader = unittest.TestLoader()
        loader.testNamePatterns = [f"*{pattern}*" for pattern in options.patterns] or None
        tests = loader.discover(str(HERE), "*_test.py")
        result = unittest.TextTestRunner(verbosity=2).run(tests)
        from harness.lab import the_lab
        if the_lab.cache_info().currsize:
            the_lab().close()
            if not options.prefix:
                the_lab().prefix.remove()
    raise SystemExit(0 if result.wasSuccessful() else 1)


if __name__ == "__main__":
    main()
