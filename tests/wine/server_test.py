#!/usr/bin/env python3
"""Endpoints that answer wrongly: what is tried again, what isn't, and the words of the end. The folder stays as it was."""

import unittest

from harness.endpoint import Answer
from harness.lab import HelperTest


def is_download(request):
    return "file" in request.query


class ManifestAnswers(HelperTest):
    def end(self, client, detail):
        job = self.start_job(client)
        self.assertEqual(1, job.wait_end())
        self.assertEqual("error", job.status()["state"])
        self.assertRegex(job.status()["detail"], detail)
        self.assertIsNone(self.folder.store())

    def test_any_status_but_200_is_told_and_asked_for_once(self):
        client = self.start_client()
        for status in (204, 206, 400, 404, 408, 429, 500, 503):
            with self.subTest(status=status):
                self.endpoint.requests.clear()
                self.endpoint.script = lambda _: Answer(b"no", status=status)
                self.end(client, rf"^Servidor respondeu HTTP {status}\.$")
                self.assertEqual(1, len(self.endpoint.requests))

    def test_a_broken_connection_is_told(self):
        client = self.start_client()
        self.serve({"data/a.dat": b"a2"})
        self.endpoint.script = lambda _: Answer(bytes(1 << 20), sent=1000, reset=True)
        self.end(client, r"^Download interrompido \(Windows \d+\)$")
        self.lab.relay.port = None
        self.end(client, r"^Falha HTTP no download \(Windows \d+\)$")

    def test_a_server_of_another_name_is_not_trusted(self):
        other = type(self.endpoint)(*self.lab.certificates.server("another.example"))
        self.addCleanup(other.close)
        self.lab.relay.port = other.port
        self.end(self.start_client(), r"^Falha HTTP no download \(Windows \d+\)$")
        self.assertEqual([], other.requests)

    def test_a_manifest_of_16_mib_is_read_and_one_byte_more_is_refused(self):
        client = self.start_client()
        self.endpoint.manifest = bytes(1 << 24)
        self.end(client, "^Manifesto Vandrel invalido.$")
        self.endpoint.manifest = bytes((1 << 24) + 1)
        self.end(client, "^Manifesto excede limite ou transferencia incompleta.$")

    def test_a_manifest_cut_short_is_refused(self):
        release = self.serve({"data/a.dat": b"a2"})
        manifest = release.manifest(self.lab.key)
        self.endpoint.script = lambda _: Answer(manifest[:-1])
        self.end(self.start_client(), "^Bloco de assinatura invalido.$")

    def test_a_redirect_within_https_is_followed(self):
        self.serve({})
        self.endpoint.script = lambda request: None if "again" in request.query else Answer(
            status=302, headers={"Location": f"https://{self.lab.host}{request.target}&again=1"})
        job = self.start_job(self.start_client())
        self.assert_end(job, 0, "current", "Cliente atualizado.")


class DownloadAnswers(HelperTest):
    """`content` is what the release has at data/a.dat; each test says what the server gives instead, by the number of
    the attempt."""

    content = bytes(range(256)) * 2000

    def run_with(self, answers):
        """Answers the n-th download with answers[n], the last one standing for all that follow."""
        self.release_served = self.serve({"data/a.dat": self.content})
        self.folder.write(self.old_files())
        self.attempts = 0

        def script(request):
            if not is_download(request):
                return None
            self.attempts += 1
            return answers[min(self.attempts, len(answers)) - 1]

        self.endpoint.script = script
        client = self.start_client()
        job = self.start_job(client)
        job.wait_for_state("update_available")
        job.command("apply")
        if job.wait_for_state("handoff", "error")["state"] == "handoff":
            client.close()
        self.assertEqual(0, job.wait_end())
        return job

    def test_answers_that_end_the_update(self):
        content = self.content
        cases = {
            "404": ([Answer(status=404)], 1, r"Servidor respondeu HTTP 404\."),
            "206": ([Answer(content, status=206)], 1, r"Servidor respondeu HTTP 206\."),
            "503": ([Answer(status=503)], 3, r"Servidor respondeu HTTP 503\."),
            "429": ([Answer(status=429)], 3, r"Servidor respondeu HTTP 429\."),
            "one byte short": ([Answer(content[:-1])], 3, r"Tamanho recebido difere do manifesto\."),
            "empty": ([Answer()], 3, r"Tamanho recebido difere do manifesto\."),
            "one byte more": ([Answer(content + b"x")], 1, r"Download excedeu o limite permitido\."),
            "other content": ([Answer(content[:-1] + b"x")], 3, r"SHA-256 incremental difere do manifesto\."),
            "reset": ([Answer(content, sent=70000, reset=True)], 3, r"Download interrompido \(Windows \d+\)"),
            "first 503, then 404": ([Answer(status=503), Answer(status=404)], 2, r"Servidor respondeu HTTP 404\."),
        }
        for name, (answers, attempts, detail) in cases.items():
            with self.subTest(name):
                job = self.run_with(answers)
                self.assertEqual("error", job.status()["state"])
                self.assertRegex(job.status()["detail"], f"^{detail}$")
                self.assertEqual(attempts, self.attempts)
                self.assert_files(self.old_files())
                self.assert_store_empty()
                self.assertEqual([], job.starts())

    def test_the_third_attempt_may_still_succeed(self):
        job = self.run_with([Answer(status=500), Answer(self.content, sent=100000, reset=True), None])
        self.assertEqual("Atualizacao instalada.", job.status()["detail"])
        self.assertEqual(3, self.attempts)
        self.assert_files(self.release_served.files)


if __name__ == "__main__":
    unittest.main(verbosity=2)
