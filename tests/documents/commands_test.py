#!/usr/bin/env python3
"""Every command in README.md and docs/ is run by a test: by this one, or by the one that the table names; or the table
says why it can't be."""

import re
import shlex
import subprocess
import tempfile
import unittest
from pathlib import Path

import documents
from pages import NATIVE, ROOT, WINDOWS

HERE, ELSEWHERE, NOT_RUN = "here", "elsewhere", "not run"

# How each command begins, and who runs it: the method of the test below, a test's file, or the reason why nobody does.
COMMANDS = (
    ("cmake --preset windows-release ", HERE, "configure"),
    ("cmake --build DIR --target vandrel_updater ", ELSEWHERE, "tests/configuration/reproducible"),
    ("vandrel-release ", HERE, "know_switches"),
    ("scripts/size-table", HERE, "size_table"),
    ("scripts/sign", ELSEWHERE, "tests/wine/signature_test.py"),
    ("scripts/setup ", ELSEWHERE, "scripts/test"),
    ("cmake --preset native ", ELSEWHERE, "scripts/test"),
    ("cmake --build build/native ", ELSEWHERE, "scripts/test"),
    ("openssl ", ELSEWHERE, "tests/release/publishing_guide_test.cpp"),
    ("pkcs11-tool ", ELSEWHERE, "tests/release/detached_signature_test.cpp"),
    ("apt-get install nginx ", ELSEWHERE, "scripts/setup"),
    ("install -", NOT_RUN, "tests/documents/endpoint_test.py runs the same files in places of its own"),
    ("systemctl ", NOT_RUN, "a service of the machine; tests/documents/endpoint_test.py runs its programs"),
    ("rsync ", ELSEWHERE, "tests/documents/endpoint_test.py"),
    ("ssh web ", ELSEWHERE, "tests/documents/endpoint_test.py"),
    ("scripts/endpoint-load", ELSEWHERE, "tests/documents/endpoint_test.py"),
    ("scripts/bench", ELSEWHERE, "tests/wine/bench_test.py"),
    ("scripts/growth", NOT_RUN, "ten minutes under valgrind"),
    ("scripts/lint tidy-tool", NOT_RUN, "takes minutes"),
    ("scripts/lint", ELSEWHERE, "cmake/checks.cmake"),
    ("scripts/fuzz", ELSEWHERE, "cmake/checks.cmake"),
    ("scripts/coverage", NOT_RUN, "builds the helper and its tests once more, and runs them without a verdict"),
    ("osslsigncode ", ELSEWHERE, "tests/wine/signature_test.py"),
    ('"C:\\Games\\Vandrel\\Vandrel Updater.exe" ', ELSEWHERE, "tests/wine/command_line_test.py"),
    ("build/native/interruption", ELSEWHERE, "cmake/tests.cmake"),
    ("scripts/test", NOT_RUN, "it is what runs this test"),
    ("scripts/demo", NOT_RUN, "takes a minute; tests/wine/publisher_test.py and restoration_test.py run what it shows"),
    ("scripts/mutations", NOT_RUN, "builds the exploration anew for each defect: a quarter of an hour"),
    ("scripts/windows-kit", NOT_RUN, "builds two presets; tests/wine/windows_kit_test.py runs what it makes"),
    ("netsh ", NOT_RUN, "a program of Windows, for the machine's administrator"),
)


def run(*command):
    told = subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=False)
    return told.returncode, told.stdout + told.stderr


class CommandsTest(unittest.TestCase):
    def test_each_command_is_run_or_has_a_reason(self):
        used = set()
        for line in documents.commands():
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
        line = line.replace("HOST[:PORT]", "updates.example:8443").replace("-B DIR", "")
        with tempfile.TemporaryDirectory() as folder:
            key = Path(folder) / "key.pem"
            make = "openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:3072 2>/dev/null | openssl pkey -pubout"
            key.write_bytes(subprocess.run(make, shell=True, capture_output=True, check=True).stdout)
            code, told = run(*shlex.split(re.sub(r"[^\s=]+\.pem", str(key), line)), "-B", folder + "/build")
            self.assertEqual(0, code, told)

    def know_switches(self, line):
        words = shlex.split(line)
        code, told = run(str(NATIVE / "vandrel-release"), words[1], "--help")
        self.assertEqual(0, code, told)
        self.assertEqual([], [word for word in words if word.startswith("--") and f" {word} " not in told])

    def size_table(self, line):
        code, told = run(*shlex.split(line), str(WINDOWS))
        self.assertEqual((0, True), (code, told.endswith("bytes with headers, joins and relocations\n")), told)


if __name__ == "__main__":
    unittest.main(verbosity=2)
