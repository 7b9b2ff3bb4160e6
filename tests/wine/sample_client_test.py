#!/usr/bin/env python3
"""The sample client, with the real helper beside it: what it shows, what it answers, and how it ends."""

import shutil
import subprocess
import unittest

from fixture import HANDOFF, OFFER, HelperTest
from lab.clients import CLIENT, SampleClient, sample_client_starts
from lab.job import HELPER
from lab.waiting import wait_until

HANDED_OVER, BAD_USAGE, CURRENT, CANCELLED, ERROR, MISSING, SILENT = 0, 2, 10, 11, 12, 13, 14
PROFILE = "sample lab"


class SampleClientTest(HelperTest):
    def setUp(self):
        super().setUp()
        shutil.rmtree(self.lab.prefix.roaming / "BrindlerQ3" / PROFILE, ignore_errors=True)

    def client_file(self):
        return (self.lab.build / CLIENT).read_bytes()

    def start(self, *switches, given=b""):
        self.job = self.scene.make_job(PROFILE)
        client = SampleClient(self.folder, self.job, *switches, given=given)
        self.addCleanup(client.close)
        return client

    def run_to_end(self, *switches, given=b""):
        """Gives the exit code and the lines that were shown."""
        client = self.start(*switches, given=given)
        lines = list(client.lines())
        code = client.end()
        wait_until(lambda: not self.job.processes(), "the helper's end")
        return code, lines

    def starts(self):
        return [(start["job"], start["argument"]) for start in sample_client_starts(self.lab.prefix, PROFILE)]

    def test_an_update_is_shown_answered_and_handed_over_and_the_next_start_knows_its_job(self):
        release = self.scene.serve({"data/a.dat": b"a2"})
        code, lines = self.run_to_end("--answer=apply")
        self.assertEqual(HANDED_OVER, code)
        bar = "[" + "." * 30 + "]"
        self.assertRegex(lines[0], r"^client started, pid \d+$")
        self.assertEqual(f"update job {self.job.id}", lines[1])
        self.assertIn(f"update_available   0% {bar} Atualizacao disponivel. (release 7, 1 files)", lines)
        self.assertEqual(1, lines.count("the client answers: apply"))
        self.assertEqual(["handoff          100% [" + "#" * 30 + "] Arquivos verificados. Reiniciando o cliente... "
                          "(release 7, 1 files)", "the client closes for the update"], lines[-2:])
        self.assert_files(release.files)
        wait_until(lambda: len(self.starts()) == 2, "the second start")
        self.assertEqual([("-", "-"), (self.job.id, "-")], self.starts())

    def test_each_end_has_its_exit_code(self):
        ask = "Atualizacao disponivel. 1 files. Go ahead? [y/n]"
        for changed, switches, given, code, line, times in (
                ({}, ["--wait-ended"], b"", CURRENT, "the client answers: apply", 0),
                ({"data/a.dat": b"a2"}, ["--answer=cancel"], b"", CANCELLED, "the client answers: cancel", 1),
                ({"data/a.dat": b"a2"}, ["--answer=apply", "--cancel-at=handoff"], b"", CANCELLED,
                 "the client closes for the update", 0),
                ({"data/a.dat": b"a2"}, ["--answer=ask"], b"", CANCELLED, ask, 1),
                ({"data/a.dat": b"a2"}, [], b"perhaps\r\nn\r\n", CANCELLED, ask, 2),
                ({"data/a.dat": b"a2"}, [], b"y\n", HANDED_OVER, ask, 1)):
            with self.subTest(switches=switches, given=given):
                self.scene.serve(changed)
                ended, lines = self.run_to_end(*switches, given=given)
                self.assertEqual((code, times), (ended, lines.count(line)), lines)

    def test_a_failure_is_told_and_so_is_a_missing_helper(self):
        code, lines = self.run_to_end("--answer=apply")
        self.assertEqual(ERROR, code)
        self.assertTrue(lines[-1].endswith("] Manifesto Vandrel invalido."), lines[-1])
        (self.folder.path / HELPER).unlink()
        code, lines = self.run_to_end()
        self.assertEqual((MISSING, "helper: start (2)"), (code, lines[-1]))

    def test_a_helper_that_dies_without_a_word_is_noticed(self):
        self.scene.serve({"data/a.dat": b"a2"})
        client = self.start("--answer=none")
        self.job.wait_for_state(OFFER)
        self.job.kill()
        self.assertIn("the helper has ended without a last state", list(client.lines()))
        self.assertEqual(SILENT, client.end())

    def test_bad_switches_start_nothing(self):
        for switch, words in (("--job=12", "--job: expected 32 lower-case hexadecimal digits"),
                              ("--answer=yes", "--answer: expected ask, apply, cancel or none"),
                              ("--profile=..", "--profile: expected the name of a folder"),
                              ("--linger=-1", "--linger: expected milliseconds, 7 digits at most"),
                              ("--linger", "--linger: unknown switch, or its value is missing")):
            with self.subTest(switch):
                self.assertEqual((BAD_USAGE, [words]), self.run_to_end(switch))
        self.assertEqual([], self.endpoint.requests)

    def test_a_start_after_a_failure_notes_its_argument_and_checks_nothing(self):
        code, lines = self.run_to_end("--vandrel-update-recovered")
        self.assertEqual(HANDED_OVER, code)
        self.assertIn("the last update did not go through; the earlier files are in place", lines)
        self.assertEqual([("-", "--vandrel-update-recovered")], self.starts())
        self.assertEqual([], self.endpoint.requests)

    def test_a_client_that_stays_open_at_the_handoff_is_not_closed_by_the_helper(self):
        self.scene.serve({"data/a.dat": b"a2"})
        client = self.start("--answer=apply", "--stay")
        self.job.wait_for_state(HANDOFF)
        with self.assertRaises(subprocess.TimeoutExpired):
            client.end(1.5)
        self.assert_files(self.scene.old)
        self.job.command("cancel")
        self.assertEqual(CANCELLED, client.end())


if __name__ == "__main__":
    unittest.main(verbosity=2)
