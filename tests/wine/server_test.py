#!/usr/bin/env python3
"""What WinHTTP and CNG make of a server's answers: trust, statuses, breaks, stalls, redirects, signatures."""

import time
import unittest

from fixture import HANDOFF, INSTALLED, UP_TO_DATE, HelperTest
from lab.endpoint import Answer, Endpoint
from lab.release import pack_entries, sign

BROKEN, FAILED, REJECTED = (r"Download interrompido \(Windows \d+\)", r"Falha HTTP no download \(Windows \d+\)",
                            r"Assinatura digital do manifesto rejeitada\.")


class ManifestAnswers(HelperTest):
    def setUp(self):
        super().setUp()
        self.client = self.scene.start_client()

    def end(self, code, detail):
        job = self.scene.start_job(self.client)
        self.assert_end(job, code, "error" if code else "current", detail)
        self.assertIsNone(self.folder.store())

    def test_a_bad_answer_is_told_and_not_asked_for_again(self):
        elsewhere = {"Location": f"http://{self.lab.host}/client-brd/updater.php"}
        for name, answer, detail in (
                ("a status", Answer(b"no", status=503), r"Servidor respondeu HTTP 503\."),
                ("a break", Answer(bytes(1 << 20), sent=1000, reset=True), BROKEN),
                ("a redirect out of https", Answer(status=302, headers=elsewhere), FAILED)):
            with self.subTest(name):
                self.endpoint.clear()
                self.endpoint.script = lambda _, answer=answer: answer
                self.end(1, detail)
                self.assertEqual(1, len(self.endpoint.requests))

    def test_a_body_that_stands_still_ends_after_ten_seconds(self):
        self.endpoint.script = lambda _: Answer(bytes(1 << 20), sent=1000, stall=60)
        begin = time.monotonic()
        self.end(1, BROKEN)
        self.assertTrue(9 < time.monotonic() - begin < 25)

    def test_no_server_and_one_of_another_name_are_the_same_failure(self):
        other = Endpoint(*self.lab.authority.server("another.example"))
        self.addCleanup(other.close)
        for port in (None, other.port):
            with self.subTest(port):
                self.lab.relay.port = port
                self.end(1, FAILED)
        self.assertEqual([], other.requests)

    def test_a_redirect_within_https_is_followed_to_any_host(self):
        other = Endpoint(*self.lab.authority.server("another.example"))
        self.addCleanup(other.close)
        self.scene.serve({})
        other.manifest = self.endpoint.manifest
        for host, port in ((self.lab.host, self.endpoint.port), ("another.example", other.port)):
            def script(request, host=host, port=port):
                self.lab.relay.port = port
                return None if "again" in request.query else Answer(
                    status=302, headers={"Location": f"https://{host}{request.target}&again=1"})
            self.endpoint.script = script
            self.end(0, UP_TO_DATE)
        self.assertIn("Host: another.example", other.requests[0].headers)

    def test_a_bad_signature_is_rejected(self):
        good = self.scene.serve({}).manifest(self.lab.key)
        for manifest in (good[:-1] + bytes([good[-1] ^ 1]), sign(pack_entries(7, []), self.lab.key, salt=20)):
            self.endpoint.manifest = manifest
            self.end(1, REJECTED)


class DownloadAnswers(HelperTest):
    content = bytes(range(256)) * 2000

    def run_with(self, *answers):
        """Answers the n-th download with answers[n], the last one standing for all that follow."""
        self.release = self.scene.serve({"data/a.dat": self.content})
        self.attempts = 0

        def script(request):
            if "file" not in request.query:
                return None
            self.attempts += 1
            return answers[min(self.attempts, len(answers)) - 1]

        self.endpoint.script = script
        return self.scene.reach("apply", state="error" if answers[-1] else HANDOFF)

    def test_answers_that_end_the_update(self):
        for name, answer, attempts, detail in (
                ("missing", Answer(status=404), 1, r"Servidor respondeu HTTP 404\."),
                ("reset", Answer(self.content, sent=70000, reset=True), 3, BROKEN),
                ("one byte short", Answer(self.content[:-1]), 3, r"Tamanho recebido difere do manifesto\.")):
            with self.subTest(name):
                job = self.run_with(answer)
                self.assert_end(job, 0, "error", detail)
                self.assertEqual(attempts, self.attempts)
                self.assert_untouched()
                self.assertTrue(job.client.is_running())

    def test_the_third_attempt_may_still_succeed(self):
        job = self.run_with(Answer(status=500), Answer(self.content, sent=100000, reset=True), None)
        self.assertEqual((0, INSTALLED, 3), (job.finish(), job.status()["detail"], self.attempts))
        self.assert_files(self.release.files)


if __name__ == "__main__":
    unittest.main(verbosity=2)
