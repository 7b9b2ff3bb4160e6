"""What the demo plays with: the releases, the client's folder under Wine, the publisher's endpoint, the player."""

import random
import sys
import time
from collections import Counter
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
from lab.clients import CLIENT, SampleClient, sample_client_starts  # noqa: E402
from lab.folder import ClientFolder, digests_of_contents  # noqa: E402
from lab.job import HELPER, Job  # noqa: E402
from lab.prefix import WinePrefix  # noqa: E402
from lab.publisher import Publisher  # noqa: E402
from lab.waiting import LabFailure, wait_until  # noqa: E402

PROFILE = "demo"
MIB = 1 << 20
PLAYERS_OWN = {"data/player/my notes.txt": b"potion at the mill\n",
               "screenshots/Sabi\u00e1.png": b"\x89PNG" + bytes(64)}


def check(condition, what):
    if not condition:
        raise LabFailure(what)


class Story:
    """What is told: the turns always, the details when `verbose`. After a stage it waits for Enter with `pause`."""

    def __init__(self):
        self.verbose = self.pause = False
        self._in_stage = False

    def stage(self, title, folder):
        """Ends the stage before and begins one; `folder` is what a person may want to look at between them."""
        self.end_stage(folder)
        self._in_stage = True
        say(f"== {title}")

    def end_stage(self, folder):
        if self.pause and self._in_stage:
            say(f"   -- Enter goes on; the client's folder is {folder}")
            sys.stdin.readline()

    def detail(self, text):
        if self.verbose:
            say(text)


def say(text):
    print(text, flush=True)


story = Story()
figures = Counter()  # for the last line


def contents_of_releases(build):
    """The three releases: content by path. The second changes and adds everything that a release can hold."""
    noise = random.Random(1)
    client, helper = (build / CLIENT).read_bytes(), (build / HELPER).read_bytes()
    scripts = {f"modules/game/script {n:03}.lua": f"-- script {n}, first\n".encode() * 40 for n in range(150)}
    first = {
        "init.lua": b"-- release 1\n", CLIENT: client, HELPER: helper, "layouts/main.ui": b"<main/>\n" * 100,
        "data/world.map": noise.randbytes(9 * MIB), "data/unchanged.dat": noise.randbytes(3 * MIB), **scripts,
    }
    second = {
        **first, "init.lua": b"-- release 2\n", CLIENT: client + b"release 2", HELPER: helper + b"release 2",
        "data/world.map": noise.randbytes(64 * MIB + 12345), "data/empty.flag": b"",
        "data/maps/north/Ilha do Sabi\u00e1 \u2013 noite.dat": noise.randbytes(70000),
        "layouts/skins/gold/frame.ui": b"<frame/>\n",
    }
    third = {
        **second, "init.lua": b"-- release 3\n", CLIENT: client + b"release 3", HELPER: helper + b"release 3",
        "data/empty.flag": b"no longer empty", "modules/new/late.lua": b"-- late\n",
        **{path: content.replace(b"first", b"third") for path, content in scripts.items()},
    }
    return {1: first, 2: second, 3: third}


class Endpoint:
    """The publisher's endpoint on this machine, whose releases and words are shown."""

    def __init__(self, work, release_tool, key, port):
        self._publisher = Publisher(work, release_tool, key)
        self._port, self._folder = port, work / "certificate"
        self.authority = self._folder / "ca.der"

    def publish(self, number, files):
        story.detail(f"   {self._publisher.publish(number, files)}")

    def start(self):
        self._folder.mkdir(exist_ok=True)
        certificate = ["--certificate", self._folder / "server.pem", "--certificate-key", self._folder / "server.key"]
        if not self.authority.exists():
            certificate = ["--make-certificate", self._folder, "--host", "localhost"]
        story.detail(f"   {self._publisher.serve(*certificate, port=self._port)}")

    def stop(self):
        self._publisher.stop()


class Player:
    """The player's machine: a Wine prefix with a client folder; runs the client and shows what it prints."""

    def __init__(self, work):
        self.prefix = WinePrefix(work / "prefix")
        self.folder = ClientFolder(self.prefix, self.prefix.drive_c / "Games" / "Vandrel Client")
        self._client = None

    def start(self):
        self.prefix.create()
        self.prefix.keep_server()

    def stop(self, keep):
        if self._client:
            self._client.close()
        self.prefix.stop() if keep else self.prefix.remove()

    def play(self, *switches, at_handoff=None):
        """Starts the client for a fresh job and shows its lines. When it has closed for an update, shows the helper's
        states to the end of the job. Gives the client's exit code and the job. `at_handoff`, a function of the job, is
        called as soon as the client says that it closes; with it, nothing is followed further."""
        job = Job(self.folder, PROFILE)
        self._client = SampleClient(self.folder, job, *switches)
        figures["starts by the player"] += 1
        seen = {"client", "update"}  # the first words of lines that are no turn of the story, or have been told
        for line in self._client.lines():
            turn = line if line.startswith("the ") else line.split(" ")[0]
            if story.verbose or turn not in seen:
                say(f"   | {line}")
            seen.add(turn)
            if at_handoff and line.startswith("handoff"):
                at_handoff(job)
        code = self._client.end()
        if code == 0 and not at_handoff:
            self._follow(job)
        return code, job

    def _follow(self, job):
        shown = None
        while True:
            running = job.processes()
            status = job.status()
            if status and status["state"] != "handoff" and status != shown:
                say(f"   : {status['state']:<17}{status['progress']:3}% (the client is closed) {status['detail']}")
                shown = status
            if not running:
                return
            time.sleep(0.02)

    def expect_restart(self, job, argument):
        """The client was started again by the helper in the course of `job`, with this argument ("-" for none)."""
        def arguments():
            return [start["argument"] for start in sample_client_starts(self.prefix, PROFILE) if start["job"] == job.id]
        started = wait_until(arguments, "the client's start")
        check(started == [argument], f"the client was started with {started}")
        figures["starts by the helper"] += 1
        say(f"   the client is running again, started with {'no argument' if argument == '-' else argument}")

    def expect_files(self, files, what):
        """Every file of the folder has the digest that it should have, and there is no other file."""
        expected = digests_of_contents({**files, **PLAYERS_OWN})
        found = self.folder.digests()
        wrong = sorted(path for path in expected.keys() | found.keys() if expected.get(path) != found.get(path))
        check(not wrong, f"{len(wrong)} files aren't as in {what}: {wrong[:5]}")
        figures["files checked by SHA-256"] += len(expected)
        say(f"   checked: all {len(files)} files are {what}'s by SHA-256; "
            f"the player's own {len(PLAYERS_OWN)} are untouched")

    def expect_half_way(self, old, new, job):
        """Some files are new and some old, and an active record says so. One may be missing, killed in the middle of
        its replacement, if its old content stands as its backup. None is anything else."""
        states = self.folder.half_way({**old, **PLAYERS_OWN}, {**new, **PLAYERS_OWN}, job.id)
        count = Counter(states.values())
        check(count["old"] and count["new"] and count["between"] <= 1 and not count["wrong"], f"half way: {count}")
        check(self.folder.active_record.exists(), "there is no active record")
        say(f"   checked: {count['new']} files are new, {count['old']} still old, {count['between']} is between the "
            "two with its old content in the backup, none is anything else")
