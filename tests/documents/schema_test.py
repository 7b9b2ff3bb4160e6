#!/usr/bin/env python3
"""The schemas of the two JSON files take the documents' own examples, and refuse what neither side writes. What real
runs write is held against them by the tests under Wine."""

import json
import re
import unittest
from pathlib import Path

from jsonschema import Draft202012Validator

DOCS = Path(__file__).resolve().parents[2] / "docs"
REFUSED = {
    "status": [{"jobId": "A" * 32}, {"jobId": "a" * 31}, {"state": "done"}, {"state": None}, {"progress": 101},
               {"progress": -1}, {"progress": 1.5}, {"detail": "x" * 1501}, {"release": "7"}, {"release": 1 << 32},
               {"pendingFiles": None}, {"more": 1}],
    "command": [{"jobId": "a" * 33}, {"command": "Apply"}, {"command": None}, {"more": "1"}],
}


def merged(example, change):
    """The example with a member changed or added; None takes it away."""
    return {name: value for name, value in {**example, **change}.items() if value is not None}


class SchemaTest(unittest.TestCase):
    def test_the_examples_are_taken_and_each_departure_from_them_is_refused(self):
        page = (DOCS / "integrating.md").read_text()
        examples = [json.loads(text) for text in re.findall(r"```json\n(.*?)\n```", page, re.DOTALL)]
        for example, kind in zip(examples, REFUSED, strict=True):
            schema = json.loads((DOCS / "schema" / f"{kind}.schema.json").read_text())
            Draft202012Validator.check_schema(schema)
            validator = Draft202012Validator(schema)
            self.assertTrue(validator.is_valid(example))
            taken = [change for change in REFUSED[kind] if validator.is_valid(merged(example, change))]
            self.assertEqual([], taken, kind)


if __name__ == "__main__":
    unittest.main(verbosity=2)
