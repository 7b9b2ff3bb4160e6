#!/usr/bin/env python3
"""docs/third-party.md names the libraries whose code is in each program that is shipped, and no other."""

import unittest

import documents
from pages import NATIVE, WINDOWS

SANITIZERS = {"libasan.so.8", "libubsan.so.1", "libm.so.6"}  # of a sanitized build alone, with what they need


class ThirdPartyTest(unittest.TestCase):
    def test_each_program_has_the_documented_libraries(self):
        for program, found in (("Vandrel Updater.exe", documents.static_libraries(WINDOWS / "Vandrel Updater.map")),
                               ("brindler_dx_x64.exe", documents.static_libraries(WINDOWS / "brindler_dx_x64.map")),
                               ("vandrel-release", documents.needed_libraries(NATIVE / "vandrel-release"))):
            self.assertEqual(documents.documented_libraries(program), found - SANITIZERS, program)


if __name__ == "__main__":
    unittest.main(verbosity=2)
