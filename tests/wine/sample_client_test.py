#!/usr/bin/env python3
"""The sample client, with the real helper beside it: what it shows, what it answers, and how it ends."""

import shutil
import subprocess
import unittest

from harness.job import CLIENT, HELPER, wait_until
from harness.lab import HelperTest

HANDED_OVER, BAD_USAGE, CURRENT, CANCELLED, ERROR, MISSING, SILENT = 0, 2, 10, 11, 12, 13, 14


class SampleClient(HelperTest):
    def setUp(self):
        super().setUp()
        shutil.rmtree(self.lab.prefix.roaming / "BrindlerQ3" / "sample lab", ignore_errors=True)

    def old_files(self):
        return {**super().old_files(), CLIENT: (self.lab.build / CLIENT).read_bytes()}

    def start(self, *switches, given=b""):
        """Starts the client for a fresh job; what the player types is `given`."""
        self.job = self.make_job(profile="sample lab")
        process = self.lab.prefix.start(self.folder.path / CLIENT, "--profile=sample lab", f"--job={self.job.id}",
                                        *switches, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        process.stdin.write(given)
        process.stdin.close()
        self.addCleanup(process.stdout.close)
        return process

    def run_to_end(self, *switches, given=b""):
        """Gives the exit code and the lines that were shown."""
        process = self.start(*switches, given=given)
        lines = process.stdout.read().decode().split("\n")
        code = process.wait(30)
        wait_until(lambda: not self.job.processes(), "the helper's end")
        return code, lines[:-1]

    def started(self):
        log = self.job.updater.parent / "client-started.log"
        return [line.split(" ", 2)[2] for line in log.read_text().splitlines()]

    def test_an_update_is_shown_answered_and_handed_over_and_the_next_start_knows_its_job(self):
        release = self.serve({"data/a.dat": b"a2"})
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
        wait_until(lambda: len(self.started()) == 2, "the second start")
        self.assertEqual(["job=- argument=-", f"job={self.job.id} argument=-"], self.started())

    def test_each_last_state_has_its_exit_code(self):
        self.serve({})
        self.assertEqual(CURRENT, self.run_to_end("--wait-ended")[0])
        self.serve({"data/a.dat": b"a2"})
        self.assertEqual(CANCELLED, self.run_to_end("--answer=cancel")[0])
        self.endpoint.reset_script()
        code, lines = self.run_to_end("--answer=apply")
        self.assertEqual(ERROR, code)
        self.assertTrue(lines[-1].endswith("] Manifesto Vandrel invalido."), lines[-1])
        self.assert_files(self.old_files())

    def test_a_cancel_at_any_state_before_the_install_ends_as_cancelled(self):
        self.serve({"data/a.dat": b"a2" * 100})
        for state in ("update_available", "handoff"):
            with self.subTest(state):
                code, lines = self.run_to_end("--answer=apply", f"--cancel-at={state}")
                self.assertEqual(CANCELLED, code)
                self.assertEqual(1, lines.count("the client answers: cancel"))
                self.assertNotIn("the client closes for the update", lines)
                self.assert_files(self.old_files())

    def test_the_player_is_asked_until_the_answer_is_clear_and_silence_means_no(self):
        self.serve({"data/a.dat": b"a2"})
        code, lines = self.run_to_end(given=b"perhaps\r\nn\r\n")
        self.assertEqual(CANCELLED, code)
        self.assertEqual(2, lines.count("Atualizacao disponivel. 1 files. Go ahead? [y/n]"))
        self.assertEqual(CANCELLED, self.run_to_end("--answer=ask")[0])
        self.assertEqual(HANDED_OVER, self.run_to_end(given=b"y\n")[0])

    def test_a_helper_that_dies_without_a_word_is_noticed(self):
        self.serve({"data/a.dat": b"a2"})
        process = self.start("--answer=none")
        self.job.wait_for_state("update_available")
        self.job.kill()
        self.assertEqual(SILENT, process.wait(20))
        self.assertIn(b"the helper has ended without a last state", process.stdout.read())

    def test_a_missing_helper_is_told(self):
        (self.folder.path / HELPER).unlink()
        code, lines = self.run_to_end()
        self.assertEqual((MISSING, "helper: start (2)"), (code, lines[-1]))

    def test_bad_switches_start_nothing(self):
        for switch, words in (("--job=12", "--job: expected 32 lower-case hexadecimal digits"),
                              ("--answer=yes", "--answer: expected ask, apply, cancel or none"),
                              ("--profile=..", "--profile: expected the name of a folder"),
                              ("--linger=-1", "--linger: expected milliseconds, 7 digits at most"),
                              ("--colour=red", "--colour: unknown switch"),
                              ("--linger", "--linger: unknown switch, or its value is missing")):
            with self.subTest(switch):
                self.assertEqual((BAD_USAGE, [words]), self.run_to_end(switch))
        self.assertEqual([], self.endpoint.requests)

    def test_a_start_after_a_failure_notes_its_argument_and_checks_nothing(self):
        code, lines = self.run_to_end("--vandrel-update-recovered")
        self.assertEqual(HANDED_OVER, code)
        self.assertIn("the last update did not go through; the earlier files are in place", lines)
        self.assertEqual(["job=- argument=--vandrel-update-recovered"], self.started())
        self.assertEqual([], self.endpoint.requests)

    def test_a_client_that_stays_open_at_the_handoff_is_not_closed_by_the_helper(self):
        self.serve({"data/a.dat": b"a2"})
        process = self.start("--answer=apply", "--stay")
        self.job.wait_for_state("handoff")
        with self.assertRaises(subprocess.TimeoutExpired):
            process.wait(1.5)
        self.assert_files(self.old_files())
        self.job.command("cancel")
        self.assertEqual(CANCELLED, process.wait(20))


if __name__ == "__main__":
    unittest.main(verbosity=2)
