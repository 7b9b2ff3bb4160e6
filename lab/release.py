"""Releases as the helper reads them: signed manifests and recovery records, as docs/ describes them."""

import hashlib
import struct
from dataclasses import dataclass, field

from .pss import pss_signature


def pack_entry(path, size, digest):
    path = path.encode()
    return struct.pack("<H", len(path)) + path + struct.pack("<Q", size) + digest


def pack_entries(release, entries):
    """The signed range of a manifest; an entry is (path, size, digest as 32 bytes)."""
    head = b"QMU2" + struct.pack("<II", release, len(entries))
    return head + b"".join(pack_entry(*entry) for entry in entries)


def sign(signed_range, key, salt=32):
    """The whole document: the signed range and a signature block by the private key file `key`; the same each time."""
    signature = pss_signature(signed_range, key, salt)
    return signed_range + b"SIG1" + struct.pack("<H", len(signature)) + signature


@dataclass
class Release:
    """Release `number` of `files`: content by path."""
    number: int
    files: dict = field(default_factory=dict)

    def manifest(self, key):
        return sign(pack_entries(self.number, [(path, len(content), hashlib.sha256(content).digest())
                                               for path, content in self.files.items()]), key)


def record(job, manifest, plan):
    """A recovery record. `plan` lists, for each file, its index in the manifest and its prior content or None."""
    document = b"VUT1" + job.encode() + struct.pack("<I", len(manifest)) + manifest + struct.pack("<I", len(plan))
    for index, prior in plan:
        digest = bytes(32) if prior is None else hashlib.sha256(prior).digest()
        document += struct.pack("<IBQ", index, prior is not None, len(prior or b"")) + digest
    return document
