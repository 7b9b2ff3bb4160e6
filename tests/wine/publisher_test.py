#!/usr/bin/env python3
"""The helper with the publisher's own tool at the other end: a release that vandrel-release makes, and serves or has
served."""

import http.client
import os
import ssl
import tempfile
import unittest
from pathlib import Path

from fixture import HANDOFF, INSTALLED, UP_TO_DATE, HelperTest
from lab.endpoint import Answer
from lab.job import HELPER
from lab.laboratory import ROOT
from lab.publisher import Publisher
from lab.web_server import WebServer


class ToolsEndpoint(HelperTest):
    def setUp(self):
        super().setUp()
        work = tempfile.TemporaryDirectory(prefix="vandrel-publisher-")
        self.addCleanup(work.cleanup)
        build = Path(os.environ.get("VANDREL_NATIVE_BUILD_DIR", ROOT / "build" / "native"))
        self.publisher = Publisher(Path(work.name), build / "vandrel-release", self.lab.key)
        self.addCleanup(self.publisher.stop)

    def pass_on(self, request):
        """Through the relay Wine names whole URLs, which the tool's server doesn't take: the lab's endpoint passes
        paths on to it, and its answers back. Whether the helper trusts it is another matter (scripts/demo)."""
        context = ssl._create_unverified_context()
        connection = http.client.HTTPSConnection("127.0.0.1", self.publisher.port, context=context)
        connection.request("GET", request.target)
        response = connection.getresponse()
        answer = Answer(response.read(), status=response.status)
        connection.close()
        return answer

    def publish_two(self, serve):
        """Two releases in a row: each is installed, whole, from the server that serve() starts behind the first."""
        first = {**self.scene.old, "data/a.dat": b"a2" * 40000, "data/maps/Sabi\u00e1 & cia 100% #1.dat": b"m",
                 "data/zero": b"", HELPER: self.lab.helper + b"second"}
        second = {**first, "data/a.dat": b"a3", "layouts/new/x.ui": b"x"}
        certificate = self.lab.authority.server(self.lab.host)
        for number, files in ((41, first), (42, second)):
            self.publisher.publish(number, files)
            if number == 41:
                serve(*certificate)
            job = self.scene.reach("apply", state=HANDOFF)
            self.assertEqual(number, job.status()["release"])
            self.assertEqual((0, INSTALLED), (job.finish(), job.status()["detail"]))
            self.assert_files(files)
        self.assert_end(self.scene.start_job(), 0, "current", UP_TO_DATE)

    def test_two_releases_in_a_row_are_installed_from_the_tools_own_endpoint(self):
        def serve(certificate, key):
            self.publisher.serve("--certificate", certificate, "--certificate-key", key)
            self.endpoint.script = self.pass_on
        self.publish_two(serve)

    def test_two_releases_in_a_row_are_installed_from_the_web_server_of_the_documents(self):
        def serve(certificate, key):
            self.web = WebServer(self.publisher.tree.parent, certificate, key)
            self.addCleanup(self.web.stop)
            self.lab.relay.port = self.web.port
        self.publish_two(serve)
        self.web.stop()
        asked = (self.publisher.tree.parent / "access.log").read_text().splitlines()
        # Two manifests for each update and one for the client that is current; the changed files.
        self.assertEqual((5, 6), tuple(sum(f"action={action}&" in line for line in asked)
                                       for action in ("manifest", "download")))
        self.assertEqual({("200", "TLSv1.2")}, {(line.split()[2], line.split()[4]) for line in asked})


if __name__ == "__main__":
    unittest.main(verbosity=2)
