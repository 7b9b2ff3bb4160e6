#!/usr/bin/env python3
"""Whole updates with the real executable: what happens to the folder, the client and the two JSON files."""

import unittest

from harness.job import CLIENT, HELPER, wait_until
from harness.endpoint import Answer
from harness.lab import HelperTest


class Update(HelperTest):
    def test_a_whole_update_replaces_adds_and_leaves_alone(self):
        extra = {"data/player notes.txt": b"mine", "screenshots/1.png": b"png"}
        self.folder.write(extra)
        release = self.serve({"data/a.dat": b"a2" * 900, "data/novo/pão de ló 1.dat": b"new", "data/empty.dat": b"",
                              "modules/deep/er/still.lua": b"s", HELPER: self.lab.helper + b"second",
                              CLIENT: self.lab.client + b"second"})
        client = self.start_client()
        job = self.start_job(client)
        offer = job.wait_for_state("update_available")
        self.assertEqual((7, 6, 0), (offer["release"], offer["pendingFiles"], offer["progress"]))
        self.assert_files({**self.old_files(), **extra})
        job.command("apply")
        job.wait_for_state("handoff")
        self.assert_files({**self.old_files(), **extra})
        client.close()
        self.assert_end(job, 0, "current", "Atualizacao instalada.")
        self.assert_files({**release.files, **extra})
        self.assert_store_empty()
        wait_until(job.starts, "start of the client")
        self.assertEqual(["-"], job.starts())
        self.assertEqual(["checking", "update_available", "checking", "update_available", "downloading", "handoff",
                          "current"], job.states())
        self.assertEqual(sorted(path for path in release.files if self.old_files().get(path) != release.files[path]),
                         sorted(self.endpoint.downloads()))

    def test_the_requests_carry_the_documented_query_and_headers(self):
        self.serve({"data/é b+c.dat": b"x"})
        job = self.start_job(client := self.start_client())
        job.wait_for_state("update_available")
        job.command("apply")
        job.wait_for_state("handoff")
        client.close()
        self.assertEqual(0, job.wait_end())
        path = "/client-brd/updater.php"
        self.assertEqual([path + "?action=manifest&arch=64"] * 2 +
                         [path + "?action=download&arch=64&release=7&file=data%2F%C3%A9%20b%2Bc.dat"],
                         [request.target for request in self.endpoint.requests])
        for request in self.endpoint.requests:
            self.assertIn("Accept: application/octet-stream\r\n", request.headers)
            self.assertIn("Cache-Control: no-cache\r\n", request.headers)
            self.assertIn("User-Agent: Vandrel-Updater-Streaming/1.0\r\n", request.headers)

    def test_a_current_client_is_told_so_and_not_asked(self):
        self.serve({})
        job = self.start_job(self.start_client())
        self.assert_end(job, 0, "current", "Cliente atualizado.")
        status = job.status()
        self.assertEqual((100, 7, 0), (status["progress"], status["release"], status["pendingFiles"]))
        self.assertEqual(["checking", "current"], job.states())
        self.assertIsNone(self.folder.store())

    def test_the_status_file_is_one_line_in_the_documented_form(self):
        self.serve({})
        job = self.start_job(self.start_client())
        job.wait_end()
        self.assertEqual(f'{{"jobId":"{job.id}","state":"current","progress":100,"detail":"Cliente atualizado.",'
                         '"release":7,"pendingFiles":0}\n', job.status_file.read_text())

    def test_a_cancel_at_the_offer_changes_nothing(self):
        self.serve({"data/a.dat": b"a2"})
        job = self.start_job(client := self.start_client())
        job.wait_for_state("update_available")
        job.command("cancel")
        self.assert_end(job, 1, "cancelled", "Atualizacao cancelada.")
        self.assert_files(self.old_files())
        self.assertIsNone(self.folder.store())
        self.assertTrue(client.is_running())

    def test_a_cancel_in_the_middle_of_a_file_leaves_no_trace_and_the_client_running(self):
        self.serve({"data/big.dat": bytes(4 << 20)})
        self.endpoint.script = lambda request: Answer(bytes(4 << 20), pause=0.05) if "file" in request.query else None
        job = self.start_job(client := self.start_client())
        job.wait_for_state("update_available")
        job.command("apply")
        job.wait_for_state("downloading")
        wait_until(lambda: job.status() and job.status()["progress"] > 10, "progress")
        job.command("cancel")
        self.assert_end(job, 0, "cancelled", "Atualizacao cancelada.")
        self.assert_files(self.old_files())
        self.assert_store_empty()
        self.assertTrue(client.is_running())
        self.assertEqual([], job.starts())

    def test_a_cancel_at_the_handoff_still_counts_and_a_client_that_has_gone_is_started_again(self):
        self.serve({"data/a.dat": b"a2"})
        job = self.start_job(client := self.start_client())
        job.wait_for_state("update_available")
        job.command("apply")
        job.wait_for_state("handoff")
        job.command("cancel")
        client.close()
        self.assert_end(job, 0, "cancelled", "Atualizacao cancelada.")
        self.assert_files(self.old_files())
        self.assert_store_empty()
        self.assertLessEqual(set(job.starts()), {"--vandrel-update-recovered"})

    def test_a_client_that_ends_without_an_answer_ends_the_job(self):
        self.serve({"data/a.dat": b"a2"})
        job = self.start_job(client := self.start_client())
        job.wait_for_state("update_available")
        client.close()
        self.assert_end(job, 1, "error", "Cliente encerrou sem autorizar atualizacao.")
        self.assert_files(self.old_files())

    def test_an_apply_that_stands_before_the_start_is_honoured(self):
        release = self.serve({"data/a.dat": b"a2"})
        client = self.start_client()
        job = self.make_job()
        job.updater.mkdir(parents=True, exist_ok=True)
        job.command("apply")
        job.start_helper(job.arguments(client.pid))
        job.wait_for_state("handoff")
        client.close()
        self.assert_end(job, 0, "current", "Atualizacao instalada.")
        self.assert_files(release.files)

    def test_a_second_helper_on_the_folder_is_turned_away_at_once(self):
        self.serve({"data/a.dat": b"a2"})
        client = self.start_client()
        first = self.start_job(client)
        first.wait_for_state("update_available")
        second = self.start_job(client)
        self.assert_end(second, 1, "error", "Outro atualizador esta usando esta pasta.")
        first.command("cancel")
        self.assert_end(first, 1, "cancelled", "Atualizacao cancelada.")

    def test_a_killed_helper_leaves_a_lock_that_the_next_one_takes(self):
        self.serve({"data/a.dat": b"a2"})
        client = self.start_client()
        first = self.start_job(client)
        first.wait_for_state("update_available")
        first.kill()
        second = self.start_job(client)
        second.wait_for_state("update_available")
        second.command("cancel")
        self.assert_end(second, 1, "cancelled", "Atualizacao cancelada.")

    def test_another_client_of_the_folder_stops_the_install_and_the_first_is_started_again(self):
        self.serve({"data/a.dat": b"a2"})
        client, _other = self.start_client(), self.start_client()
        job = self.start_job(client)
        job.wait_for_state("update_available")
        job.command("apply")
        job.wait_for_state("handoff")
        client.close()
        self.assert_end(job, 0, "error", "Outro cliente desta pasta esta aberto. Feche-o e tente novamente.")
        self.assert_files(self.old_files())
        self.assert_store_empty()
        wait_until(job.starts, "start of the client")
        self.assertEqual(["--vandrel-update-recovered"], job.starts())

    def test_a_file_changed_during_the_download_stops_the_install(self):
        self.serve({"data/a.dat": b"a2"})
        job = self.start_job(client := self.start_client())
        job.wait_for_state("update_available")
        job.command("apply")
        job.wait_for_state("handoff")
        self.folder.write({"data/a.dat": b"edited"})
        client.close()
        self.assert_end(job, 0, "error", "Cliente mudou durante o download; nenhuma alteracao aplicada.")
        self.assert_files({**self.old_files(), "data/a.dat": b"edited"})
        self.assert_store_empty()


class CommandFile(HelperTest):
    def test_only_a_complete_exact_command_counts(self):
        self.serve({"data/a.dat": b"a2"})
        job = self.start_job(self.start_client())
        job.wait_for_state("update_available")
        good = f'{{"jobId":"{job.id}","command":"cancel"}}'.encode()
        for document in (b"", b"{}", good[:-1], b"\xef\xbb\xbf" + good, good + b" x", good.replace(b"cancel", b"Cancel"),
                         good.replace(job.id.encode(), b"0" * 32), good.replace(b"cancel", b"c\\u0061ncel"),
                         good + b" " * (4097 - len(good)), good[:-1] + b',"x":"y"}',
                         good[:-1] + b',"command":"cancel"}', b"[" + good + b"]"):
            with self.subTest(document=document[:80]):
                job.command(document)
                with self.assertRaises(AssertionError):
                    job.wait_for_state("cancelled", "error", timeout=0.35)
        job.command(b" \r\n" + good.replace(b":", b" :\t").replace(b",", b" , ") + b"\n" * 100)
        self.assert_end(job, 1, "cancelled", "Atualizacao cancelada.")


if __name__ == "__main__":
    unittest.main(verbosity=2)
