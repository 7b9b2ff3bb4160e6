#!/usr/bin/env python3
"""The helper with a publisher's signature: scripts/sign, with a certificate that is thrown away."""

import hashlib
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from fixture import HelperTest
from lab.job import HELPER
from lab.openssl import openssl

SIGN = Path(__file__).resolve().parents[2] / "scripts" / "sign"


class Signature(HelperTest):
    def setUp(self):
        super().setUp()
        self.work = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.work)
        self.certificate, self.key = self.work / "certificate.pem", self.work / "key.pem"
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-sha256", "-days", "2", "-subj", "/CN=Throw-away",
                "-addext", "extendedKeyUsage=codeSigning", "-keyout", self.key, "-out", self.certificate)
        self.unsigned, self.signed = self.lab.build / HELPER, self.folder.path / HELPER

    def sign(self, key):
        return subprocess.run([SIGN, self.unsigned, self.signed, "-certs", self.certificate, "-key", key],
                              capture_output=True, text=True, check=False)

    def verifies(self, file):
        return subprocess.run(["osslsigncode", "verify", "-CAfile", self.certificate, "-in", file],
                              capture_output=True, check=False).returncode == 0

    def test_a_signed_helper_runs_and_its_signature_covers_its_bytes(self):
        self.assertFalse(self.verifies(self.unsigned))
        done = self.sign(self.key)
        self.assertEqual(0, done.returncode, done.stderr)
        digests = [hashlib.sha256(file.read_bytes()).hexdigest() for file in (self.unsigned, self.signed)]
        self.assertEqual(digests, [line.split()[0] for line in done.stdout.splitlines()])
        self.assertTrue(self.verifies(self.signed))
        self.assertEqual(1, self.lab.prefix.run(self.signed).returncode)
        changed = bytearray(self.signed.read_bytes())
        changed[0x1000] ^= 1
        (self.work / "changed.exe").write_bytes(changed)
        self.assertFalse(self.verifies(self.work / "changed.exe"))

    def test_what_cant_be_signed_leaves_what_was_there(self):
        before = self.folder.digests()
        self.assertNotEqual(0, self.sign(self.work / "missing.pem").returncode)
        self.assertEqual(before, self.folder.digests())


if __name__ == "__main__":
    unittest.main(verbosity=2)
