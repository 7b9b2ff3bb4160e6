"""The laboratory as a whole: a prefix that trusts its own authority, an endpoint and a relay, and scenes in it."""

import os
import re
from pathlib import Path
from urllib.parse import urlsplit

from .certificates import Authority
from .clients import CLIENT, IdleClient
from .endpoint import Endpoint
from .folder import ClientFolder
from .job import HELPER, Job
from .prefix import WinePrefix
from .relay import Relay
from .release import Release

ROOT = Path(__file__).resolve().parents[1]


class Laboratory:
    """`build` is the build folder of the preset `windows` (with the helper and the tools), `key` the private half of
    the key that its helper was built with. The prefix is made if it isn't there, and left behind, with its server
    running: prefix.stop() or prefix.remove() ends that. Raises LabFailure."""

    def __init__(self, build, key, prefix):
        self.build, self.key = Path(build), key
        self.url = self._built_in_url()
        self.host = urlsplit(self.url).hostname
        self.helper = (self.build / HELPER).read_bytes()
        self.client = (self.build / "idle_client.exe").read_bytes()
        self.relay = Relay()
        self.prefix = WinePrefix(prefix, {"http_proxy": self.relay.address})
        self.prefix.create()
        self.prefix.keep_server()
        self.authority = Authority(self.prefix.folder / "test-authority")
        self._trust_authority()
        self.endpoint = Endpoint(*self.authority.server(self.host))

    @classmethod
    def from_environment(cls):
        """Of VANDREL_WINDOWS_BUILD_DIR, VANDREL_DEVELOPMENT_KEY and WINEPREFIX; without them, of the checkout's own."""
        build = Path(os.environ.get("VANDREL_WINDOWS_BUILD_DIR", ROOT / "build" / "windows"))
        return cls(build, os.environ.get("VANDREL_DEVELOPMENT_KEY", ROOT / "keys" / "development_private.pem"),
                   os.environ.get("WINEPREFIX", build / "wine-prefix"))

    def _built_in_url(self):
        cache = (self.build / "CMakeCache.txt").read_text()
        return re.search(r"^VANDREL_UPDATE_URL:\w+=(.*)$", cache, re.MULTILINE)[1]

    def _trust_authority(self):
        trusted = self.authority.folder / "trusted"
        if not trusted.exists():
            self.authority.create()
            self.prefix.trust(self.authority.certificate, self.build / "install_root.exe")
            trusted.touch()

    def scene(self, name, client=None):
        """A scene in the folder C:\\lab\\NAME, with a healthy, empty endpoint: one at a time. Its client's executable
        is `client`, the idle one unless given."""
        self.endpoint.clear()
        self.relay.port = self.endpoint.port
        return Scene(self, name, client or self.client)

    def close(self):
        self.endpoint.close()
        self.relay.close()


class Scene:
    """A complete client folder in which nothing runs yet. `old` is what it holds (content by path), `jobs` are those that
    were made in it."""

    def __init__(self, lab, name, client):
        self.lab, self.endpoint = lab, lab.endpoint
        self.old = {"init.lua": b"-- start\n", "data/a.dat": b"a1" * 500, "modules/m.lua": b"m1\n", CLIENT: client,
                    HELPER: lab.helper}
        self.jobs, self._clients, self._folders = [], [], []
        self.folder = self.another_folder(name)

    def another_folder(self, name):
        """One more complete client folder."""
        folder = ClientFolder(self.lab.prefix, self.lab.prefix.drive_c / "lab" / name[:60])
        folder.remove()
        folder.write(self.old)
        self._folders.append(folder)
        return folder

    def add(self, files):
        """More files (content by path) that belong to what the folder holds at first."""
        self.old.update(files)
        self.folder.write(files)

    def serve(self, changed, number=7):
        """Serves, and gives, release `number`: the folder's own files with some changed or added."""
        release = Release(number, {**self.old, **changed})
        self.endpoint.serve(release, self.lab.key)
        return release

    def start_client(self, folder=None, **options):
        client = IdleClient(folder or self.folder, **options)
        self._clients.append(client)
        return client

    def make_job(self, profile="lab"):
        job = Job(self.folder, profile)
        self.jobs.append(job)
        return job

    def start_job(self, client=None, more=(), program=None, profile="lab", **changes):
        """A job whose helper is started for `client`, or for a new one that is to be found as job.client. Its command
        line has these changes (Job.arguments) and these arguments more."""
        job = self.make_job(profile)
        job.client = client or self.start_client()
        job.start_helper([*job.arguments(job.client.pid, **changes), *more], program)
        return job

    def reach(self, *commands, state):
        """A job that is answered with each of the commands: the first when the update is offered, the next at the
        handoff. Gives it when it has come to `state`."""
        job = self.start_job()
        for command, asked in zip(commands, ("update_available", "handoff")):
            job.wait_for_state(asked)
            job.command(command)
        job.wait_for_state(state)
        return job

    def close(self):
        """Ends its processes and removes its folders."""
        for job in self.jobs:
            job.kill()
        for client in self._clients:
            if client.is_running():
                client.kill()
        for folder in self._folders:
            folder.remove()
