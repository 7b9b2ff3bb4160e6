#!/usr/bin/env python3
"""The endpoint's contract, asked of both servers: vandrel-release serve, and nginx with the files of docs/endpoint."""

import shlex
import shutil
import ssl
import subprocess
import tempfile
import unittest
from http.client import HTTPSConnection
from pathlib import Path

import documents
from pages import NATIVE, ROOT

from lab.certificates import Authority
from lab.publisher import Publisher
from lab.web_server import WebServer

ENDPOINT = "/client-brd/updater.php"
MANIFEST = ENDPOINT + "?action=manifest&arch=64"
DOWNLOAD = ENDPOINT + "?action=download&arch=64&release=2&file="
OLD = {"init.lua": b"print(1)\n", "brindler_dx_x64.exe": b"MZ"}
NEW = {**OLD, "init.lua": b"print(2)\n", "data/nothing": b"", "data/Mapa do c\u00e9u + 100% #1.png": b"map",
       "data/large": b"x" * (3 << 20) + b"end"}

# What is asked for, and the file that comes. In these words "?" begins a query, and "=" the file of a download.
FILES = (("=init.lua", "init.lua"), ("=data%2fnothing", "data/nothing"), ("=data%2Flarge", "data/large"),
         ("=data%2FMapa%20do%20c%C3%A9u%20%2B%20100%25%20%231.png", "data/Mapa do c\u00e9u + 100% #1.png"))
REQUESTS = [line.split() for line in (documents.DOCS / "endpoint" / "requests.txt").read_text().splitlines()
            if line and not line.startswith("#")]


def target_of(word):
    return {"?": ENDPOINT + word, "=": DOWNLOAD + word[1:]}.get(word[0], word)


class Endpoint(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="vandrel-endpoint-")
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        authority = Authority(cls.folder / "authority")
        authority.create()
        cls.certificate = authority.server("localhost")
        cls.context = ssl.create_default_context(cafile=authority.folder / "ca.pem")
        cls.context.maximum_version = ssl.TLSVersion.TLSv1_2

    def setUp(self):
        work = Path(tempfile.mkdtemp(dir=self.folder))
        self.publisher = Publisher(work, NATIVE / "vandrel-release", ROOT / "keys" / "development_private.pem")
        for number, files in ((1, OLD), (2, NEW)):
            self.publisher.publish(number, files)
        self.releases = self.publisher.tree / "64" / "releases"
        certificate, key = self.certificate
        self.addCleanup(self.publisher.stop)
        self.publisher.serve("--certificate", certificate, "--certificate-key", key)
        web = WebServer(work, certificate, key)
        self.addCleanup(web.stop)
        self.servers = {name: HTTPSConnection("localhost", port, context=self.context)
                        for name, port in (("serve", self.publisher.port), ("nginx", web.port))}
        for connection in self.servers.values():
            self.addCleanup(connection.close)

    def ask(self, server, word, method="GET", **headers):
        connection = self.servers[server]
        connection.request(method, target_of(word), headers={name.replace("_", "-"): headers[name] for name in headers})
        answer = connection.getresponse()
        return answer.status, answer.headers, answer.read()

    def statuses(self, word, method="GET", **headers):
        """What each server answers on a connection of its own: serve's status, then nginx's."""
        answers = [self.ask(server, word, method, **headers) for server in self.servers]
        for connection, (status, head, _) in zip(self.servers.values(), answers):
            connection.close()
            if status != 200:
                self.assertEqual("no-store", head["Cache-Control"], word)
        return [status for status, _, _ in answers]

    def assert_whole(self, server, word, content, caching):
        names = ("Content-Length", "Content-Type", "Cache-Control", "Content-Encoding", "ETag", "Accept-Ranges")
        conditions = {}
        for _ in "plain", "conditional":
            status, head, body = self.ask(server, word, **conditions)
            self.assertEqual((200, content), (status, body), (server, word))
            self.assertEqual([str(len(content)), "application/octet-stream", caching, None, None, None],
                             [head[name] for name in names], (server, word))
            conditions = {"Accept_Encoding": "gzip", "If_Modified_Since": head["Last-Modified"] or ""}
        status, head, body = self.ask(server, word, "HEAD")
        self.assertEqual((200, str(len(content)), b""), (status, head["Content-Length"], body), (server, word))

    def test_the_manifest_and_every_file_come_whole_over_one_connection(self):
        for server, caching in (("serve", "no-store"), ("nginx", "public, max-age=31536000, immutable")):
            self.servers[server].connect()
            self.servers[server].auto_open = False
            for word, name in FILES:
                self.assert_whole(server, word, NEW[name], caching)
            self.assert_whole(server, "?action=download&arch=64&release=1&file=init.lua", b"print(1)\n", caching)
            self.assert_whole(server, MANIFEST, (self.releases / "2" / "manifest.bin").read_bytes(), "no-store")

    def test_every_documented_request_has_its_status(self):
        for status, target in (*REQUESTS, (404, "=" + "x" * 300), (404, "=" + "x/" * 2000)):
            self.assertEqual(2 * [int(status)], self.statuses(target), target)
        for method in ("POST", "PUT", "DELETE", "OPTIONS", "PATCH"):
            self.assertEqual([404, 404], self.statuses(MANIFEST, method), method)
        for a_range in ("bytes=0-3", "bytes=900000000-", "bytes=0-", "lines=1"):
            for word in ("=init.lua", MANIFEST, "?x"):
                self.assertEqual([416, 416], self.statuses(word, Range=a_range), (a_range, word))

    def test_what_becomes_current_is_given_at_once_and_what_is_removed_is_gone(self):
        for number in (3, 4):
            self.publisher.publish(number, OLD)
            for server in self.servers:
                manifest = (self.releases / str(number) / "manifest.bin").read_bytes()
                self.assertEqual(manifest, self.ask(server, MANIFEST)[2])
        word = "?action=download&arch=64&release=3&file=init.lua"
        self.assertEqual([200, 200], self.statuses(word))
        shutil.rmtree(self.releases / "3")
        self.assertEqual([404, 404], self.statuses(word))
        (self.publisher.tree / "64" / "current").unlink()
        self.assertEqual([404, 404], self.statuses(MANIFEST))

    def test_a_damaged_tree_is_500_as_far_as_a_server_sees_it(self):
        files, current = self.releases / "2" / "files", self.publisher.tree / "64" / "current"
        (files / "data").rename(self.publisher.tree / "data")
        (files / "data").symlink_to(self.publisher.tree / "data")
        (files / "brindler_dx_x64.exe").unlink()
        (files / "brindler_dx_x64.exe").symlink_to(self.releases / "1" / "files" / "brindler_dx_x64.exe")
        (files / "init.lua").unlink()
        (files / "unlisted").write_bytes(b"x")
        # By its list serve knows what is missing and what is too much; the web server has none.
        for word, expected in (("=brindler_dx_x64.exe", [500, 500]), ("=data%2Flarge", [500, 404]),
                               ("=init.lua", [500, 404]), ("=unlisted", [404, 200])):
            self.assertEqual(expected, self.statuses(word), word)
        for text in ("", "02\n", "2\n\n", "2 \n", "./2", "7\n"):
            current.write_text(text)
            self.assertEqual([500, 500], self.statuses(MANIFEST), text)

    def test_the_documented_commands_bring_a_release_to_a_web_server_and_share_what_it_has(self):
        far = Path(tempfile.mkdtemp(dir=self.folder))

        def run(line):
            for there, here in (("43", "3"), ("42", "2"), ("ssh web ", ""), ("web:", ""), ("/srv/vandrel", str(far))):
                line = line.replace(there, here)
            subprocess.run(shlex.split(line), cwd=self.publisher.tree.parent, check=True)
        first, *others = [line for line in documents.commands() if line.startswith(("rsync ", "ssh web "))]
        run(first)
        self.publisher.publish(3, {**NEW, "init.lua": b"print(3)\n"})
        for line in others:
            run(line)
        subprocess.run([NATIVE / "vandrel-release", "verify-tree", "--tree", far / "tree"], check=True,
                       stdout=subprocess.DEVNULL)
        web = WebServer(far, *self.certificate)
        self.addCleanup(web.stop)
        self.servers = {"nginx": HTTPSConnection("localhost", web.port, context=self.context)}
        self.addCleanup(self.servers["nginx"].close)
        self.assertEqual((self.releases / "3" / "manifest.bin").read_bytes(), self.ask("nginx", MANIFEST)[2])
        second, third = (far / "tree" / "64" / "releases" / number / "files" for number in "23")
        same = {name: (second / name).samefile(third / name) for name in NEW}
        self.assertEqual({name: name != "init.lua" for name in NEW}, same)


class Load(unittest.TestCase):
    def test_a_tiny_load_of_each_kind_is_answered_without_a_failure(self):
        told = subprocess.run([ROOT / "scripts" / "endpoint-load", "--connections=2", "--seconds=1", "--files=10"],
                              stdout=subprocess.PIPE, text=True, check=True).stdout.splitlines()
        self.assertEqual((7, 6), (len(told), sum(" a second, none failed; CPU time of a " in line for line in told)))


if __name__ == "__main__":
    unittest.main(verbosity=2)
