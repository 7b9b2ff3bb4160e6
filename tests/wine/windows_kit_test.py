#!/usr/bin/env python3
"""The kit for a real Windows, run under Wine as a person would run it."""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))
from lab.kit.make import answers_of  # noqa: E402
from lab.prefix import WinePrefix  # noqa: E402
from lab.probes.run import parse  # noqa: E402
from lab.processes import processes_of  # noqa: E402

MAKE = [sys.executable, "-B", ROOT / "lab" / "kit" / "make.py"]


class WindowsKit(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.work = Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.work)
        cls.archive = cls.work / "kit.zip"
        subprocess.run([*MAKE, "--output", cls.archive], check=True)

    def setUp(self):
        self.prefix = WinePrefix(os.environ["WINEPREFIX"])
        self.user = self.prefix.roaming.parts[-3]
        self.kit = self.prefix.drive_c / "users" / self.user / "o kit é"
        shutil.rmtree(self.kit, ignore_errors=True)
        self.addCleanup(shutil.rmtree, self.kit)
        zipfile.ZipFile(self.archive).extractall(self.kit)

    def what_stands(self):
        tops = (top for top in self.prefix.drive_c.iterdir() if top.name != "windows")
        return {path for top in tops for path in (top, *top.rglob("*"))}

    def run_kit(self, *parts, **environment):
        """Gives the report. Wine makes no links: here it is the machine's own ln that does."""
        link = self.prefix.drive_c / "probe" / "link"
        for script, command in (("make", f"ln -s real {link}"), ("remove", f"rm {link}")):
            (self.kit / f"{script}_link.cmd").write_text(f"@start /wait /unix /bin/{command}\r\n")
        runner = self.prefix.start(self.kit / "kit.exe", *parts, environment=environment)
        self.assertEqual(0, runner.wait(300))
        return (self.kit / "report.txt").read_text()

    def differences(self, report):
        """The keys, by part, of what isn't as expected, told by the program that compares a kept report."""
        file = self.work / "report.txt"
        file.write_text(report)
        told = subprocess.run([*MAKE, "--compare", file], capture_output=True, text=True, check=False)
        lines = told.stdout.splitlines()
        self.assertEqual(bool(lines), bool(told.returncode), told.stderr)
        return {tuple(line.partition(" -> ")[0].split(": ", 1)) for line in lines}

    def replace(self, name, old, new):
        file = self.kit / name
        file.write_text(file.read_text().replace(old, new))

    def test_its_report_shows_the_known_differences_of_wine_a_wrong_file_and_nothing_else(self):
        self.replace("interrupted/no server.txt", "old/init.lua", "old/data/b.dat")
        expected = {file.stem: parse(file.read_bytes()) for file in (self.kit / "expected").iterdir()}
        known = {(part, key) for part, answers in expected.items() for key, (_, reason) in answers.items() if reason}
        before = self.what_stands()
        report = self.run_kit()
        self.assertIn(("attributes", "attributes of a drive that isn't there"), known)
        self.assertEqual(known | {("interrupted", "no server, init.lua")}, self.differences(report))
        self.assertEqual({part: list(answers) for part, answers in expected.items()},
                         {part: list(answers) for part, answers in answers_of(report).items()})
        self.assertEqual(before | {self.kit / "report.txt"}, self.what_stands())
        self.assertEqual([], processes_of(".exe", self.kit.name))

    def test_a_library_that_runs_is_told_but_not_who_runs_the_kit(self):
        user = self.user.upper()
        for place in (f"C:\\users\\{user}\\{self.kit.name}\\x", f"C:\\Users\\{user}\\x", f"D:\\{user}"):
            self.replace("expected/planted.txt", "no server, last words", f"{place} -> {place}\nno server, last words")
        report = self.run_kit("planted", WINEDLLOVERRIDES="msvcrt=n,b")
        starts = {"no server": "client's", "no server, the copy alone": "copy's", "half way": "client's"}
        self.assertEqual({("planted", "half way, the client started"),
                          *(("planted", f"{start}, last words") for start in starts),
                          *(("planted", f"{start}, run from the {folder} folder") for start, folder in starts.items())},
                         self.differences(report))
        for place in ("KIT\\x", "PROFILE\\x", "D:\\USER"):
            self.assertIn(f"! {place} -> (not said)\n    expected: {place}\n", report)

    def test_the_same_builds_make_the_same_archive(self):
        again = self.work / "again.zip"
        subprocess.run([*MAKE, "--output", again], check=True, cwd="/", env={**os.environ, "TZ": "Asia/Kathmandu"})
        self.assertEqual(self.archive.read_bytes(), again.read_bytes())


if __name__ == "__main__":
    unittest.main(verbosity=2)
