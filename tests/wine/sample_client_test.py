#!/usr/bin/env python3
"""The sample client, with the real helper beside it: what it shows, what it answers, and how it ends."""

import json
import os
import shutil
import subprocess
import time
import unittest

from fixture import HANDOFF, OFFER, RECOVERED, HelperTest, assert_documented
from lab.clients import CLIENT, SampleClient, sample_client_starts
from lab.job import HELPER
from lab.waiting import wait_until

HANDED_OVER, BAD_USAGE, CURRENT, CANCELLED, ERROR, MISSING, DIED, SILENT = 0, 2, 10, 11, 12, 13, 14, 15
PROFILE = "sample lab"
DAY = 86400


class SampleClientTest(HelperTest):
    def setUp(self):
        super().setUp()
        shutil.rmtree(self.lab.prefix.roaming / "BrindlerQ3" / PROFILE, ignore_errors=True)

    def client_file(self):
        return (self.lab.build / CLIENT).read_bytes()

    def start(self, *switches, **options):
        self.job = self.scene.make_job(PROFILE)
        client = SampleClient(self.folder, self.job, *switches, **options)
        self.addCleanup(client.close)
        return client

    def run_to_end(self, *switches, **options):
        """Gives the exit code and the lines that were shown."""
        client = self.start(*switches, **options)
        lines = list(client.lines())
        code = client.end()
        wait_until(lambda: not self.job.processes(), "the helper's end")
        if self.job.command_file.exists():
            assert_documented("command", json.loads(self.job.command_file.read_bytes()))
        return code, lines

    def starts(self):
        return [start.groups() for start in sample_client_starts(self.lab.prefix, PROFILE)]

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
        self.assertEqual([("-", "-", None), (self.job.id, "-", None)], self.starts())

    def test_each_end_has_its_exit_code(self):
        ask = "Atualizacao disponivel. 1 files. Go ahead? [y/n]"
        for changed, switches, given, code, line, times in (
                ({}, ["--wait-ended"], b"", CURRENT, "the client answers: apply", 0),
                ({"data/a.dat": b"a2"}, ["--answer=cancel"], b"", CANCELLED, "the client answers: cancel", 1),
                ({"data/a.dat": b"a2"}, ["--answer=apply", "--cancel-at=handoff", "--no-group"], b"", CANCELLED,
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
        self.assertEqual((MISSING, "the helper could not be started (2)"), (code, lines[-1]))

    def test_a_client_is_known_in_any_spelling_of_its_name_and_no_other(self):
        self.scene.serve({})
        self.assertEqual(CURRENT, self.run_to_end(name="Brindler_DX_x64.EXE")[0])
        shutil.copy(self.folder.path / CLIENT, self.folder.path / "game.exe")
        code, lines = self.run_to_end(name="game.exe")
        words = "this client is named neither brindler_dx_x64.exe nor brindler_gl_x64.exe (0)"
        self.assertEqual((MISSING, words), (code, lines[-1]))

    def test_the_helper_is_watched_while_the_player_thinks(self):
        self.scene.serve({"data/a.dat": b"a2"})
        client = self.start(given=None)
        lines = client.lines()
        self.assertTrue(any(line.endswith("Go ahead? [y/n]") for line in lines))
        self.job.command("cancel")
        bar = "[" + "." * 30 + "]"
        self.assertEqual(f"cancelled          0% {bar} Atualizacao cancelada. (release 7, 1 files)", [*lines][-1])
        self.assertEqual(CANCELLED, client.end())

    def test_a_helper_that_dies_without_a_word_is_noticed(self):
        self.scene.serve({"data/a.dat": b"a2"})
        client = self.start("--answer=none")
        self.job.wait_for_state(OFFER)
        self.job.kill()
        self.assertIn("the helper has ended without a last state", list(client.lines()))
        self.assertEqual(DIED, client.end())

    def test_without_a_job_object_silence_is_what_tells_that_a_helper_has_died(self):
        (self.folder.path / HELPER).write_bytes(self.lab.client)  # ends at once, and says nothing
        code, lines = self.run_to_end("--no-group", "--patience=1000")
        self.assertEqual((SILENT, "the helper has been silent for too long: given up"), (code, lines[-1]))
        self.assertEqual("cancel", json.loads(self.job.command_file.read_bytes())["command"])

    def test_the_files_of_finished_and_forgotten_jobs_are_removed_and_no_others(self):
        self.scene.serve({})
        updater = self.scene.make_job(PROFILE).updater
        updater.mkdir(parents=True)
        for number, (state, age, stays) in enumerate((("current", 70, False), ("error", 70, False),
                                                      ("current", 0, True), ("handoff", DAY - 99, True),
                                                      ("handoff", DAY + 9, False), ("current", 70, True))):
            job = f"{number:032x}" if number < 5 else "notes"
            status = {"jobId": job, "state": state, "progress": 0, "detail": "", "release": 1, "pendingFiles": 1}
            for ending in ("status.json", "command.json", "status.json.qmpart-9-1.part"):
                file = updater / f"{job}.{ending}"
                file.write_text(json.dumps(status))
                os.utime(file, (time.time() - age,) * 2)
        self.assertEqual(CURRENT, self.run_to_end()[0])
        left = {file.name.split(".")[0] for file in updater.iterdir()}
        self.assertEqual({f"{2:032x}", f"{3:032x}", "notes", self.job.id}, left)

    def test_bad_switches_start_nothing(self):
        for switch, words in (("--job=12", "--job: expected 32 lower-case hexadecimal digits"),
                              ("--answer=yes", "--answer: expected ask, apply, cancel or none"),
                              ("--profile=..", "--profile: expected the name of a folder"),
                              ("--linger=-1", "--linger: expected milliseconds, 7 digits at most"),
                              ("--linger", "--linger: unknown switch, or its value is missing")):
            with self.subTest(switch):
                self.assertEqual((BAD_USAGE, [words]), self.run_to_end(switch))
        self.assertEqual([], self.endpoint.requests)

    def test_a_client_that_is_started_after_a_failure_tells_the_reason_and_checks_nothing(self):
        self.scene.serve({"data/a.dat": b"a2"})
        client = self.start("--answer=apply", "--linger=1500")
        self.job.wait_for_state(HANDOFF)
        (self.folder.path / "data" / "a.dat").write_bytes(b"edited")
        self.assertEqual(HANDED_OVER, client.end())
        wait_until(lambda: len(self.starts()) == 2, "the second start")
        self.assertEqual((self.job.id, RECOVERED, "Cliente mudou durante o download; nenhuma alteracao aplicada."),
                         self.starts()[1])
        asked = len(self.endpoint.requests)
        code, lines = self.run_to_end(RECOVERED)
        self.assertEqual((HANDED_OVER, "the last update did not go through: unknown"), (code, lines[-1]))
        self.assertEqual(asked, len(self.endpoint.requests))

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
