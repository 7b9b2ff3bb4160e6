#!/usr/bin/env python3
"""The benchmarks at a tiny size: each kind of row comes out, measured on programs that did their work."""

import json
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


class Bench(unittest.TestCase):
    def test_every_stage_is_held_against_both_floors_and_told_in_a_table(self):
        with tempfile.TemporaryDirectory() as folder:
            rows = [f"--row={row}" for row in ("start", "*/small/all", "publish", "endpoint")]
            told = subprocess.run([ROOT / "scripts" / "bench", "--mode=tiny", f"--output={folder}", *rows],
                                  stdout=subprocess.PIPE, text=True, check=True).stdout
            results = json.loads(Path(folder, "results.json").read_text())["results"]
            picture = Path(folder, "bench.svg").read_text()
        stages = [f"{stage}/small/all/{floor}" for stage in ("check", "download", "install")
                  for floor in ("plain", "rules")]
        self.assertEqual(["start", *stages], list(results))
        self.assertTrue(all(row["floor_cost"] > 0 and row["cost"] > 0 for row in results.values()))
        self.assertEqual(["stage", "start", "check", "check", "download", "download", "install", "install", "publish",
                          "sha256sum", "endpoint:", "endpoint:"], [line.split()[0] for line in told.splitlines()])
        self.assertEqual(7, picture.count("<rect"))


if __name__ == "__main__":
    unittest.main()
