"""The fixture of the tests under Wine: one prefix, one endpoint and one relay for a whole test program, and for each
test a client folder of its own with a client that runs from it.

What it needs is named by the environment: VANDREL_WINDOWS_BUILD_DIR (with the helper and the tools), WINEPREFIX (made
if it isn't there) and VANDREL_DEVELOPMENT_KEY (the private half of the key that the helper was built with)."""

import atexit
import functools
import os
import re
import unittest
from pathlib import Path
from urllib.parse import urlsplit

from .certificates import TestCertificates
from .endpoint import Endpoint
from .folder import ClientFolder, digests_of_contents
from .job import CLIENT, HELPER, IdleClient, Job
from .prefix import WinePrefix
from .relay import Relay
from .release import Release


class Lab:
    def __init__(self):
        self.build = Path(os.environ["VANDREL_WINDOWS_BUILD_DIR"])
        self.key = os.environ["VANDREL_DEVELOPMENT_KEY"]
        self.host = urlsplit(self._built_in_url()).hostname
        self.relay = Relay()
        self.prefix = WinePrefix(os.environ["WINEPREFIX"], {"http_proxy": self.relay.address})
        self.prefix.create()
        self.certificates = TestCertificates(self.prefix.folder / "test-authority")
        self._trust_authority()
        self.endpoint = Endpoint(*self.certificates.server(self.host))
        self.helper = (self.build / HELPER).read_bytes()
        self.client = (self.build / "idle_client.exe").read_bytes()

    def _built_in_url(self):
        cache = (self.build / "CMakeCache.txt").read_text()
        return re.search(r"^VANDREL_UPDATE_URL:\w+=(.*)$", cache, re.MULTILINE)[1]

    def _trust_authority(self):
        if not self.certificates.authority.exists():
            self.certificates.create_authority()
            self.prefix.trust(self.certificates.authority, self.build / "install_root.exe")

    def close(self):
        self.prefix.stop()
        self.endpoint.close()
        self.relay.close()


@functools.cache
def the_lab():
    lab = Lab()
    atexit.register(lab.close)
    return lab


class HelperTest(unittest.TestCase):
    """Before each test: a complete client folder `self.folder` (nothing runs there yet) and a healthy, empty endpoint."""

    maxDiff = None

    def setUp(self):
        self.lab = the_lab()
        self.endpoint = self.lab.endpoint
        self.endpoint.reset_script()
        self.lab.relay.port = self.endpoint.port
        self._clients, self._jobs = [], []
        self.folder = self.make_folder(self.id().rsplit(".", 1)[1])

    def tearDown(self):
        for job in self._jobs:
            job.kill()
        for client in self._clients:
            if client.is_running():
                client.kill()
        self.folder.remove()

    def old_files(self):
        """What a client folder holds at first."""
        return {"init.lua": b"-- start\n", "data/a.dat": b"a1" * 500, "modules/m.lua": b"m1\n", CLIENT: self.lab.client,
                HELPER: self.lab.helper}

    def make_folder(self, name):
        folder = ClientFolder(self.lab.prefix, self.lab.prefix.drive_c / "lab" / name[:60])
        folder.remove()
        folder.write(self.old_files())
        return folder

    def release(self, changed, number=7):
        """The folder's own files with some changed or added, as a release."""
        return Release(number, {**self.old_files(), **changed})

    def serve(self, changed, number=7):
        release = self.release(changed, number)
        self.endpoint.serve(release, self.lab.key)
        return release

    def start_client(self, folder=None):
        client = IdleClient(folder or self.folder)
        self._clients.append(client)
        return client

    def make_job(self, **options):
        job = Job(self.folder, **options)
        self._jobs.append(job)
        return job

    def start_job(self, client, **changes):
        job = self.make_job()
        job.start_helper(job.arguments(client.pid, **changes))
        return job

    def assert_files(self, files, folder=None):
        """Every file of the folder is exactly what `files` (content by path) says, and there is no other."""
        self.assertEqual(digests_of_contents(files), (folder or self.folder).digests())

    def assert_end(self, job, code, state, detail):
        """The job ends with this exit code and leaves these words as its last state."""
        self.assertEqual(code, job.wait_end())
        status = job.status()
        self.assertEqual((state, detail), (status["state"], status["detail"]))

    def assert_store_empty(self):
        self.assertIn(self.folder.store(), (None, []))
