"""Releases as the helper reads them: signed manifests and recovery records, good ones and deliberately bad ones."""

import hashlib
import struct
import subprocess
from dataclasses import dataclass, field


def sha256(content):
    return hashlib.sha256(content).digest()


@dataclass
class Entry:
    path: str | bytes
    size: int
    digest: bytes

    def packed(self):
        path = self.path.encode() if isinstance(self.path, str) else self.path
        return struct.pack("<H", len(path)) + path + struct.pack("<Q", self.size) + self.digest


def pack_entries(release, entries, count=None):
    """The signed range of a manifest. `count` overrides the number in the header."""
    head = b"QMU2" + struct.pack("<II", release, len(entries) if count is None else count)
    return head + b"".join(entry.packed() for entry in entries)


def sign(signed_range, key, salt=32):
    """The whole document: the signed range and a signature block by the private key file `key`."""
    signature = subprocess.run(
        ["openssl", "dgst", "-sha256", "-sigopt", "rsa_padding_mode:pss", "-sigopt", f"rsa_pss_saltlen:{salt}",
         "-sign", str(key)], input=signed_range, capture_output=True, check=True).stdout
    return signed_range + b"SIG1" + struct.pack("<H", len(signature)) + signature


@dataclass
class Release:
    """Release `number` of `files`: content by path."""
    number: int
    files: dict = field(default_factory=dict)

    def entries(self):
        return [Entry(path, len(content), sha256(content)) for path, content in self.files.items()]

    def manifest(self, key):
        return sign(pack_entries(self.number, self.entries()), key)


def record(job, manifest, plan):
    """A recovery record. `plan` lists, for each file, its index in the manifest and its prior content or None."""
    document = b"VUT1" + job.encode() + struct.pack("<I", len(manifest)) + manifest + struct.pack("<I", len(plan))
    for index, prior in plan:
        digest = bytes(32) if prior is None else sha256(prior)
        document += struct.pack("<IBQ", index, prior is not None, len(prior or b"")) + digest
    return document
