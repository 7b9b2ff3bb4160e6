#!/usr/bin/env python3
"""The helper with the publisher's own tool at the other end: a release that vandrel-release makes and serves."""

import http.client
import os
import socket
import ssl
import subprocess
import tempfile
import unittest
from pathlib import Path

from harness.endpoint import Answer
from harness.job import HELPER
from harness.lab import HelperTest


class Publisher(HelperTest):
    def setUp(self):
        super().setUp()
        self.tool = Path(os.environ["VANDREL_NATIVE_BUILD_DIR"]) / "vandrel-release"
        work = tempfile.TemporaryDirectory(prefix="vandrel-publisher-")
        self.addCleanup(work.cleanup)
        self.work = Path(work.name)

    def publish(self, release):
        folder = self.work / f"release {release.number}"
        for name, content in release.files.items():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            (folder / name).write_bytes(content)
        subprocess.run([self.tool, "publish", "--folder", folder, "--release", str(release.number), "--key", self.lab.key,
                        "--tree", self.work / "tree"], check=True, capture_output=True)

    def serve_tree(self):
        certificate, key = self.lab.certificates.server(self.lab.host)
        server = subprocess.Popen([self.tool, "serve", "--tree", self.work / "tree", "--port", "0", "--certificate",
                                   certificate, "--certificate-key", key], stdout=subprocess.PIPE, text=True)
        self.addCleanup(server.stdout.close)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        port = int(server.stdout.readline().rsplit(":", 1)[1].split("/")[0])
        self.endpoint.script = lambda request: self.ask(port, request.target)

    def ask(self, port, target):
        """Through the relay Wine names whole URLs, which the tool's server doesn't take: the lab's endpoint passes
        paths on to it, and its answers back."""
        context = ssl.create_default_context(cafile=self.lab.certificates.folder / "ca.pem")
        connection = http.client.HTTPSConnection(self.lab.host, port, context=context)
        connection.sock = context.wrap_socket(socket.create_connection(("127.0.0.1", port)),
                                              server_hostname=self.lab.host)
        connection.request("GET", target)
        response = connection.getresponse()
        answer = Answer(response.read(), status=response.status)
        connection.close()
        return answer

    def test_two_releases_in_a_row_are_installed_from_the_tools_own_endpoint(self):
        first = self.release({"data/a.dat": b"a2" * 40000, "data/maps/Sabi\u00e1 & cia 100%.dat": b"m", "data/zero": b"",
                              HELPER: self.lab.helper + b"second"}, number=41)
        second = self.release({**first.files, "data/a.dat": b"a3", "layouts/new/x.ui": b"x"}, number=42)
        self.publish(first)
        self.serve_tree()
        for release in (first, second):
            if release is second:
                self.publish(second)
            client = self.start_client()
            job = self.start_job(client)
            self.assertEqual(release.number, job.wait_for_state("update_available")["release"])
            job.command("apply")
            job.wait_for_state("handoff")
            client.close()
            self.assert_end(job, 0, "current", "Atualizacao instalada.")
            self.assert_files(release.files)
        self.assert_end(self.start_job(self.start_client()), 0, "current", "Cliente atualizado.")


if __name__ == "__main__":
    unittest.main(verbosity=2)
