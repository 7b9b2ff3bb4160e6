#!/usr/bin/env python3
"""docs/third-party.md names the libraries whose code is in each program that is shipped, and no other."""

import os
import re
import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WINDOWS = Path(os.environ.get("VANDREL_WINDOWS_BUILD_DIR", ROOT / "build" / "windows"))
NATIVE = Path(os.environ.get("VANDREL_NATIVE_BUILD_DIR", ROOT / "build" / "native"))
IMPORTED = re.compile(r"lib(kernel32|shell32|\w+_delayed)\.a")  # no code of their own
SANITIZERS = {"libasan.so.8", "libubsan.so.1", "libm.so.6"}  # of a sanitized build alone, with what they need


def documented(program):
    page = (ROOT / "docs" / "third-party.md").read_text()
    section = page.partition(f"\n## {program}\n")[2].partition("\n## ")[0]
    return set(re.findall(r"^\| `([^`]+)`", section, re.MULTILINE))


class ThirdPartyTest(unittest.TestCase):
    def test_the_windows_programs_hold_the_code_of_the_documented_libraries(self):
        for program, link_map in (("Vandrel Updater.exe", "Vandrel Updater.map"),
                                  ("brindler_dx_x64.exe", "brindler_dx_x64.map")):
            linked = set(re.findall(r"[/ ](lib[\w+]+\.a)\(", (WINDOWS / link_map).read_text()))
            ours = {"libvandrel_client.a"}
            foreign = {library for library in linked - ours if not IMPORTED.fullmatch(library)}
            self.assertEqual(documented(program), foreign, program)

    def test_the_release_tool_needs_the_documented_libraries(self):
        told = subprocess.run(["readelf", "-d", NATIVE / "vandrel-release"], capture_output=True, text=True, check=True)
        needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", told.stdout))
        self.assertEqual(documented("vandrel-release"), needed - SANITIZERS)


if __name__ == "__main__":
    unittest.main(verbosity=2)
