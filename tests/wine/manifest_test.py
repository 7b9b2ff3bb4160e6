#!/usr/bin/env python3
"""Manifests that are malformed, badly signed or against the policy: each is refused with its own words, before a single
file is asked for, and with the folder untouched."""

import struct
import unittest

from harness.job import CLIENT
from harness.lab import HelperTest
from harness.release import Entry, pack_entries, sign

NO_MANIFEST = "Manifesto Vandrel invalido."
BAD_HEAD = "Cabecalho do manifesto invalido."
BAD_ENTRY = "Entrada de arquivo invalida no manifesto."
NO_DIGEST = "Hash ou tamanho ausente no manifesto."
NO_SIGNATURE = "Assinatura ausente no manifesto."
BAD_BLOCK = "Bloco de assinatura invalido."
REJECTED = "Assinatura digital do manifesto rejeitada."
EMPTY = "Release vazia ou invalida."
UNMANAGED = "Caminho nao gerenciado no manifesto."
REPEATED = "Caminho repetido no manifesto."
TOO_LARGE = "Release excede limite de tamanho."
NOT_REGULAR = "Destino de download existente nao e um arquivo regular."
ESCAPES = "Destino de download escapa da pasta permitida ou contem redirecionamento."
CONFLICT = "Arquivo conflita com diretorio."
NO_BACKEND = "Manifesto sem init.lua ou backend selecionado."

ZEROS = bytes(32)
BASE = [Entry("init.lua", 1, ZEROS), Entry(CLIENT, 1, ZEROS)]


def flipped(document, position):
    return document[:position] + bytes([document[position] ^ 1]) + document[position + 1:]


class Manifest(HelperTest):
    def refuse(self, manifest, detail):
        self.endpoint.reset_script()
        self.endpoint.manifest = manifest
        job = self.start_job(self.client)
        self.assert_end(job, 1, "error", detail)
        self.assertEqual(1, len(self.endpoint.requests))
        self.assertIsNone(self.folder.store())

    def test_malformed_and_badly_signed_documents(self):
        self.client = self.start_client()
        signed = pack_entries(7, BASE)
        good = sign(signed, self.lab.key)
        cases = {
            "empty": (b"", NO_MANIFEST),
            "11 bytes": (good[:11], NO_MANIFEST),
            "other magic": (b"QMU1" + good[4:], NO_MANIFEST),
            "12 bytes, no entries": (b"QMU2" + struct.pack("<II", 7, 0), NO_SIGNATURE),
            "100001 entries": (pack_entries(7, BASE, 100001), BAD_HEAD),
            "100000 entries that aren't there": (pack_entries(7, BASE, 100000), BAD_ENTRY),
            "cut in a path": (good[:16], BAD_ENTRY),
            "empty path": (pack_entries(7, [Entry("", 1, ZEROS)]), BAD_ENTRY),
            "path of 4097 bytes": (pack_entries(7, [Entry("a" * 4097, 1, ZEROS)]), BAD_ENTRY),
            "cut in a size": (good[:12 + 2 + 8 + 7], NO_DIGEST),
            "cut in a digest": (good[:12 + 2 + 8 + 8 + 31], NO_DIGEST),
            "one entry too few announced": (pack_entries(7, BASE, 1) + good[len(signed):], NO_SIGNATURE),
            "cut before the length": (good[:len(signed) + 5], NO_SIGNATURE),
            "one byte more": (good + b"\0", BAD_BLOCK),
            "one byte less": (good[:-1], BAD_BLOCK),
            "signature of no bytes": (signed + b"SIG1\0\0", BAD_BLOCK),
            "signature of 383 bytes": (signed + b"SIG1" + struct.pack("<H", 383) + bytes(383), REJECTED),
            "release changed": (flipped(good, 4), REJECTED),
            "path changed": (flipped(good, 14), REJECTED),
            "signature changed": (flipped(good, len(good) - 1), REJECTED),
            "salt of 20 bytes": (sign(signed, self.lab.key, 20), REJECTED),
            "salt of no bytes": (sign(signed, self.lab.key, 0), REJECTED),
        }
        for name, (document, detail) in cases.items():
            with self.subTest(name):
                self.refuse(document, detail)

    def refuse_entries(self, entries, detail, release=7):
        self.refuse(sign(pack_entries(release, entries), self.lab.key), detail)

    def test_signed_manifests_against_the_policy(self):
        self.client = self.start_client()
        four_gib = 1 << 32
        cases = {
            "no entries": ([], EMPTY),
            "4096 bytes of path": ([Entry("data/" + "a" * 4091, 1, ZEROS)], UNMANAGED),
            "221 units": ([Entry("data/" + "a" * 216, 1, ZEROS)], UNMANAGED),
            "bad UTF-8": ([Entry(b"data/\xc3(", 1, ZEROS)], UNMANAGED),
            "twice but for case": ([Entry("Data/A.dat", 1, ZEROS), Entry("data/a.DAT", 1, ZEROS)], REPEATED),
            "4 GiB and a byte": ([Entry("data/x", four_gib + 1, ZEROS)], TOO_LARGE),
            "16 GiB and a byte": ([Entry(f"data/{n}", four_gib, ZEROS) for n in range(4)] + [Entry("data/x", 1, ZEROS)],
                                  TOO_LARGE),
            "largest size": ([Entry("data/x", (1 << 64) - 1, ZEROS)], TOO_LARGE),
            "file, then beneath it": ([Entry("data/x", 1, ZEROS), Entry("data/X/y", 1, ZEROS)], CONFLICT),
            "beneath it, then file": ([Entry("data/x/y", 1, ZEROS), Entry("data/X", 1, ZEROS)], CONFLICT),
            "no start script": ([Entry(CLIENT, 1, ZEROS)], NO_BACKEND),
            "no client": ([Entry("init.lua", 1, ZEROS), Entry("brindler_gl_x64.exe", 1, ZEROS)], NO_BACKEND),
        }
        for name, (entries, detail) in cases.items():
            with self.subTest(name):
                self.refuse_entries(entries, detail)
        with self.subTest("release 0"):
            self.refuse_entries(BASE, EMPTY, release=0)

    def test_paths_that_are_not_managed(self):
        self.client = self.start_client()
        for path in ("data/", "modules", "modulesx/a", "other.txt", "../x", "data/../x", "data/./x", "data//x", "data/x/",
                     "data\\x", "/data/x", "C:data/x", "data/a:b", "data/a*b", "data/a<b", "data/CON.txt", "data/clock$",
                     "data/a/lpt9.x", "data/x.", "data/x ", "data/\x01", "brindler_gl_x86.exe", ".vandrel-updater/x"):
            with self.subTest(path=path):
                self.refuse_entries([*BASE, Entry(path, 1, ZEROS)], UNMANAGED)

    def test_targets_that_stand_in_the_way_on_disk(self):
        self.client = self.start_client()
        (self.folder.path / "data" / "folder").mkdir()
        (self.folder.path / "data" / "link").symlink_to("folder")
        self.refuse_entries([*BASE, Entry("data/folder", 1, ZEROS)], NOT_REGULAR)
        self.refuse_entries([*BASE, Entry("data/link/x", 1, ZEROS)], ESCAPES)


if __name__ == "__main__":
    unittest.main(verbosity=2)
