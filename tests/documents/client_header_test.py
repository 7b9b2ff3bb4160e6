#!/usr/bin/env python3
"""The C interface of the sample client's library, and the integrators' example of it, are C11 and C++20."""

import re
import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WARNINGS = ["-Wall", "-Wextra", "-pedantic", "-Werror", "-fsyntax-only", "-I", ROOT / "sample_client"]


class ClientHeaderTest(unittest.TestCase):
    def test_header_and_example_compile_as_c_and_as_cpp_without_a_warning(self):
        page = (ROOT / "docs" / "integrating.md").read_text()
        example, = re.findall(r"```c\n(.*?)```", page, re.DOTALL)
        for language, compiler in (("-std=c11", "gcc"), ("-std=c++20", "g++")):
            for target in ("", "x86_64-w64-mingw32-"):
                for source in ('#include "vandrel_client.h"\n', example):
                    name = "c" if compiler == "gcc" else "c++"
                    command = [target + compiler, language, *WARNINGS, "-x", name, "-"]
                    told = subprocess.run(command, input=source, text=True, capture_output=True, check=False)
                    self.assertEqual((0, ""), (told.returncode, told.stderr), command)


if __name__ == "__main__":
    unittest.main(verbosity=2)
