#!/usr/bin/env python3
"""Whole updates with the real executable: what happens to the folder, the client and the two JSON files."""

import hashlib
import os
import resource
import time
import unittest

from fixture import CANCELLED, HANDOFF, INSTALLED, OFFER, RECOVERED, UP_TO_DATE, HelperTest
from lab.clients import CLIENT
from lab.endpoint import Answer
from lab.job import HELPER
from lab.waiting import wait_until

PATH = "/client-brd/updater.php"


class Update(HelperTest):
    def test_a_whole_update_replaces_adds_and_leaves_alone(self):
        extra = {"data/player notes.txt": b"mine", "screenshots/Sabiá.png": b"png"}
        self.folder.write(extra)
        changed = {"data/a.dat": b"a2" * 900, "data/novo/é b+c.dat": b"new", "data/empty.dat": b"",
                   HELPER: self.lab.helper + b"second", CLIENT: self.lab.client + b"second"}
        release = self.scene.serve(changed)
        job = self.scene.reach("apply", state=HANDOFF)
        self.assert_files({**self.scene.old, **extra})
        self.assertEqual((0, INSTALLED), (job.finish(), job.status()["detail"]))
        self.assert_files({**release.files, **extra})
        self.assertEqual([], self.folder.store())
        self.assertEqual(["-"], job.starts())
        self.assertEqual(["checking", OFFER, "checking", OFFER, "downloading", HANDOFF, "current"], job.states())
        self.assertEqual(sorted(changed), sorted(self.endpoint.downloads()))
        targets = [request.target for request in self.endpoint.requests]
        self.assertEqual([PATH + "?action=manifest&arch=64"] * 2, targets[:2])
        self.assertIn(PATH + "?action=download&arch=64&release=7&file=data%2Fnovo%2F%C3%A9%20b%2Bc.dat", targets)
        for header in ("Accept: application/octet-stream", "Cache-Control: no-cache",
                       "User-Agent: Vandrel-Updater-Streaming/1.0"):
            self.assertTrue(all(header + "\r\n" in request.headers for request in self.endpoint.requests), header)

    def test_a_current_client_is_told_so_in_one_line_of_the_documented_form(self):
        self.scene.serve({})
        job = self.scene.start_job()
        self.assert_end(job, 0, "current", UP_TO_DATE)
        self.assertEqual(f'{{"jobId":"{job.id}","state":"current","progress":100,"detail":"Cliente atualizado.",'
                         '"release":7,"pendingFiles":0}\n', job.status_file.read_text())
        self.assertEqual(["checking", "current"], job.states())
        self.assertIsNone(self.folder.store())

    def test_a_cancel_in_the_middle_of_a_file_leaves_no_trace_and_the_client_running(self):
        self.scene.serve({"data/big.dat": bytes(4 << 20)})
        self.endpoint.script = lambda request: Answer(bytes(4 << 20), pause=0.05) if "file" in request.query else None
        job = self.scene.reach("apply", state="downloading")
        wait_until(lambda: (job.status() or {}).get("progress", 0) > 10, "progress")
        job.command("cancel")
        self.assert_end(job, 0, "cancelled", CANCELLED)
        self.assert_untouched()
        self.assertTrue(job.client.is_running())
        self.assertTrue(job.has_started_none())

    def test_a_cancel_at_the_handoff_still_counts_though_the_client_closes(self):
        self.scene.serve({"data/a.dat": b"a2"})
        job = self.scene.reach("apply", "cancel", state=HANDOFF)
        self.assertEqual((0, CANCELLED), (job.finish(), job.status()["detail"]))
        self.assert_untouched()

    def test_a_client_that_ends_without_an_answer_ends_the_job(self):
        self.scene.serve({"data/a.dat": b"a2"})
        job = self.scene.reach(state=OFFER)
        job.client.close()
        self.assert_end(job, 1, "error", "Cliente encerrou sem autorizar atualizacao.")
        self.assert_untouched()

    def end_with_error(self, detail):
        """An update that comes to the handoff, and no further: the client is started again as recovered."""
        job = self.scene.reach("apply", state=HANDOFF)
        job.client.close()
        self.assert_end(job, 0, "error", detail)
        self.assert_untouched()
        self.assertEqual([RECOVERED], job.starts())

    def test_another_client_of_the_folder_stops_the_install(self):
        self.scene.serve({"data/a.dat": b"a2"})
        self.scene.start_client()
        self.end_with_error("Outro cliente desta pasta esta aberto. Feche-o e tente novamente.")

    def test_a_file_that_somebody_holds_open_stops_the_install_and_those_before_it_are_taken_back(self):
        self.scene.serve({"init.lua": b"-- second\n", "data/a.dat": b"a2", "modules/m.lua": b"m2\n"})
        self.scene.start_client(self.scene.another_folder("holder"), holding=self.folder.path / "modules" / "m.lua")
        self.end_with_error(r"Substituir arquivo com backup \(\d+\).*")

    def test_a_file_of_more_than_4_gib_at_a_managed_path_is_refused_by_its_size_alone(self):
        huge = self.folder.path / "data" / "huge.dat"
        huge.touch()
        os.truncate(huge, (4 << 30) + 1)  # sparse
        self.scene.serve({"data/huge.dat": b"small"})
        begin = resource.getrusage(resource.RUSAGE_CHILDREN)
        self.assert_end(self.scene.start_job(), 1, "error", "Arquivo local nao pode ser verificado.")
        end = resource.getrusage(resource.RUSAGE_CHILDREN)
        spent = end.ru_utime + end.ru_stime - begin.ru_utime - begin.ru_stime
        begin = time.process_time()
        hashlib.sha256(bytes(64 << 20)).digest()
        digest_of_4_gib = 64 * (time.process_time() - begin)
        self.assertLess(spent, digest_of_4_gib / 2, "processor's seconds")
        self.assertEqual((4 << 30) + 1, huge.stat().st_size)


if __name__ == "__main__":
    unittest.main(verbosity=2)
