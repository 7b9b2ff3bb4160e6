#!/usr/bin/env python3
"""The interfaces that integrators rely on: the C header with its example, and the schemas of the two JSON files."""

import json
import subprocess
import unittest

from jsonschema import Draft202012Validator

import documents
from pages import ROOT

WARNINGS = ["-Wall", "-Wextra", "-pedantic", "-Wconversion", "-Wshadow", "-Werror", "-fsyntax-only",
            "-I", ROOT / "sample_client"]
REFUSED = {
    "status": [{"jobId": "A" * 32}, {"jobId": "a" * 31}, {"state": "done"}, {"state": None}, {"progress": 101},
               {"progress": -1}, {"progress": 1.5}, {"detail": "x" * 1501}, {"release": "7"}, {"release": 1 << 32},
               {"pendingFiles": None}, {"more": 1}],
    "command": [{"jobId": "a" * 33}, {"command": "Apply"}, {"command": None}, {"more": "1"}],
}


def merged(example, change):
    """The example with a member changed or added; None takes it away."""
    return {name: value for name, value in {**example, **change}.items() if value is not None}


class InterfaceTest(unittest.TestCase):
    def test_header_and_example_compile_as_c_and_as_cpp_without_a_warning(self):
        example, = documents.examples("integrating.md", "c")
        for compiler in (["gcc", "-std=c11", "-xc"], ["g++", "-std=c++20", "-xc++"]):
            for target in ("", "x86_64-w64-mingw32-"):
                for source in ('#include "vandrel_client.h"\n', example):
                    command = [target + compiler[0], *compiler[1:], *WARNINGS, "-"]
                    told = subprocess.run(command, input=source, text=True, capture_output=True, check=False)
                    self.assertEqual((0, ""), (told.returncode, told.stderr), command)

    def test_the_schemas_take_the_examples_and_refuse_each_departure_from_them(self):
        for text, kind in zip(documents.examples("integrating.md", "json"), REFUSED, strict=True):
            example = json.loads(text)
            schema = json.loads((documents.DOCS / "schema" / f"{kind}.schema.json").read_text())
            Draft202012Validator.check_schema(schema)
            validator = Draft202012Validator(schema)
            self.assertTrue(validator.is_valid(example))
            taken = [change for change in REFUSED[kind] if validator.is_valid(merged(example, change))]
            self.assertEqual([], taken, kind)


if __name__ == "__main__":
    unittest.main(verbosity=2)
