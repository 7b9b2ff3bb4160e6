#!/usr/bin/env python3
"""Every command in README.md and docs/ is run by a test: by this one, or by the one that the table names; or the table
says why it can't be."""

import os
import re
import shlex
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WINDOWS = Path(os.environ.get("VANDREL_WINDOWS_BUILD_DIR", ROOT / "build" / "windows"))
NATIVE = Path(os.environ.get("VANDREL_NATIVE_BUILD_DIR", ROOT / "build" / "native"))
HERE, ELSEWHERE, NOT_RUN = "here", "elsewhere", "not run"

# How each command begins, and who runs it: the method of the test below, a test's file, or the reason why nobody does.
COMMANDS = (
    ("cmake --preset windows-release ", HERE, "configure"),
    ("cmake --build DIR --target vandrel_updater ", ELSEWHERE, "tests/configuration/reproducible"),
    ("vandrel-release ", HERE, "know_switches"),
    ("scripts/size-table", HERE, "size_table"),
    ("scripts/sign", ELSEWHERE, "tests/wine/signature_test.py"),
    ("osslsigncode ", ELSEWHERE, "tests/wine/signature_test.py"),
    ('"C:\\Games\\Vandrel\\Vandrel Updater.exe" ', ELSEWHERE, "tests/wine/command_line_test.py"),
    ("build/native/interruption", ELSEWHERE, "cmake/tests.cmake"),
    ("scripts/test", NOT_RUN, "it is what runs this test"),
    ("scripts/demo", NOT_RUN, "takes a minute; tests/wine/publisher_test.py and restoration_test.py run what it shows"),
    ("scripts/mutations", NOT_RUN, "builds the exploration anew for each defect: a quarter of an hour"),
    ("netsh ", NOT_RUN, "a program of Windows, for the machine's administrator"),
)


def commands_of_blocks(page):
    """The lines of the blocks without a language, continuations joined."""
    blocks = re.findall(r"^```(\w*)\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)
    text = "".join(block for language, block in blocks if not language)
    return re.sub(r"\s*(\\\n|\n    (?=/))\s*", " ", text).splitlines()


def commands_of_text(page):
    return re.findall(r"`([^`\n]+)`", re.sub(r"^```.*?^```$", "", page, flags=re.MULTILINE | re.DOTALL))


def is_command(line, in_text):
    """A program of this tree, of this machine or of Windows at the line's beginning. A word alone may be anything."""
    first = line.split(" ")[0]
    if first.startswith(("scripts/", "build/", '"C:\\')):
        return not first.endswith((".py", "/"))
    known = first in ("vandrel-release", "netsh") or (first and shutil.which(first) is not None)
    return known and (" " in line or not in_text)


def documented_commands():
    for file in (ROOT / "README.md", *sorted((ROOT / "docs").glob("*.md"))):
        page = file.read_text()
        for lines, in_text in ((commands_of_blocks(page), False), (commands_of_text(page), True)):
            yield from (line for line in lines if is_command(line, in_text))


def run(*command):
    told = subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=False)
    return told.returncode, told.stdout + told.stderr


class CommandsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / "key.pem").write_text(self.fresh_public_key())

    @staticmethod
    def fresh_public_key():
        make = "openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:3072 2>/dev/null | openssl pkey -pubout"
        return subprocess.run(make, shell=True, capture_output=True, text=True, check=True).stdout

    def test_each_command_is_run_or_has_a_reason(self):
        found = dict.fromkeys(documented_commands())
        used = set()
        for line in found:
            entry = next((entry for entry in COMMANDS if line.startswith(entry[0])), None)
            with self.subTest(line):
                self.assertIsNotNone(entry, "nobody runs this command")
                used.add(entry)
                if entry[1] == HERE:
                    getattr(self, entry[2])(line)
                if entry[1] == ELSEWHERE:
                    self.assertTrue((ROOT / entry[2]).is_file(), entry[2])
        self.assertEqual(set(), set(COMMANDS) - used, "commands that no document has")

    def configure(self, line):
        line = line.replace("HOST[:PORT]", "updates.example:8443")
        line = re.sub(r"[^\s=]+\.pem", str(self.folder / "key.pem"), re.sub(r"-B DIR", "", line))
        self.assertEqual(0, run(*shlex.split(line), "-B", str(self.folder / "build"))[0], line)

    def know_switches(self, line):
        words = shlex.split(line)
        code, told = run(str(NATIVE / "vandrel-release"), words[1], "--help")
        self.assertEqual(0, code, told)
        unknown = [word for word in words if word.startswith("--") and not re.search(rf"{word}\b", told)]
        self.assertEqual([], unknown)

    def size_table(self, line):
        code, told = run(*shlex.split(line), str(WINDOWS))
        self.assertEqual((0, True), (code, told.endswith("bytes with headers, joins and relocations\n")), told)


if __name__ == "__main__":
    unittest.main(verbosity=2)
