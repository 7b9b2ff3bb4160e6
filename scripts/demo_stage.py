"""What the demo plays with: the releases, the client's folder under Wine, the publisher's endpoint, the player."""

import random
import secrets
import shutil
import subprocess
import sys
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests" / "wine"))

from harness.folder import ClientFolder, digest_of, digests_of_contents  # noqa: E402
from harness.job import CLIENT, HELPER, Job, wait_until  # noqa: E402
from harness.prefix import WinePrefix  # noqa: E402

PROFILE = "demo"
MIB = 1 << 20
FINAL = ("current", "cancelled", "error")
PLAYERS_OWN = {"data/player/my notes.txt": b"potion at the mill\n", "screenshots/Sabi\u00e1.png": b"\x89PNG" + bytes(64)}


class DemoFailure(Exception):
    pass


def check(condition, what):
    if not condition:
        raise DemoFailure(what)


def say(text):
    print(text, flush=True)


def contents_of_releases(build):
    """The three releases: content by path. The second changes and adds everything that a release can hold."""
    noise = random.Random(1)
    client, helper = (build / CLIENT).read_bytes(), (build / HELPER).read_bytes()
    scripts = {f"modules/game/script {n:03}.lua": f"-- script {n}, first\n".encode() * 40 for n in range(100)}
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


class Publisher:
    """The publisher's side: the release tool, its tree, and the endpoint as a process."""

    def __init__(self, work, release_tool, key, port):
        self.work, self.tool, self.key, self.port = work, release_tool, key, port
        self.authority = work / "certificate" / "ca.der"
        self._server = None

    def publish(self, number, files):
        folder = self.work / f"release {number}"
        for name, content in files.items():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            (folder / name).write_bytes(content)
        result = subprocess.run([self.tool, "publish", "--folder", folder, "--release", str(number), "--key", self.key,
                                 "--tree", self.work / "tree"], capture_output=True, text=True, check=False)
        check(result.returncode == 0, f"publishing failed: {result.stderr}")
        say(f"   {result.stdout.strip()}")
        shutil.rmtree(folder)

    def start(self):
        self.authority.parent.mkdir(exist_ok=True)
        certificate = ["--certificate", self.authority.parent / "server.pem", "--certificate-key",
                       self.authority.parent / "server.key"]
        if not self.authority.exists():
            certificate = ["--make-certificate", self.authority.parent, "--host", "localhost"]
        self._server = subprocess.Popen([self.tool, "serve", "--tree", self.work / "tree", "--port", str(self.port),
                                         *certificate], stdout=subprocess.PIPE, text=True)
        line = self._server.stdout.readline().strip()
        check(line.startswith("serving "), f"the endpoint doesn't start: {line}")
        threading.Thread(target=self._server.stdout.read, daemon=True).start()
        say(f"   {line}")

    def stop(self):
        if self._server:
            self._server.terminate()
            try:
                self._server.wait(5)
            except subprocess.TimeoutExpired:
                self._server.kill()
                self._server.wait()
            self._server = None


class Player:
    """The player's machine: a Wine prefix with a client folder; runs the client and shows what it prints."""

    def __init__(self, work):
        self.prefix = WinePrefix(work / "prefix")
        self.folder = ClientFolder(self.prefix, self.prefix.drive_c / "Games" / "Vandrel Client")
        self._client = None

    def start(self):
        self.prefix.create()

    def stop(self, keep):
        if self._client and self._client.poll() is None:
            self._client.kill()
        self.prefix.stop() if keep else self.prefix.remove()

    def play(self, *switches, at_handoff=None):
        """Starts the client for a fresh job and shows its lines. When it has closed for an update, shows the helper's
        states to the end of the job. Gives the client's exit code and the job. `at_handoff`, a function of the job, is
        called as soon as the client says that it closes; with it, nothing is followed further."""
        job = Job(self.folder, PROFILE, secrets.token_hex(16))
        self._client = self.prefix.start(self.folder.path / CLIENT, f"--profile={PROFILE}", f"--job={job.id}",
                                         *switches, stdout=subprocess.PIPE)
        last = ""
        for line in self._client.stdout:
            last = line.decode().rstrip()
            say(f"   | {last}")
            if at_handoff and last.startswith("handoff"):
                at_handoff(job)
        code = self._client.wait(30)
        if code == 0 and not at_handoff:
            self._follow(job, last)
        return code, job

    def _follow(self, job, last):
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

    def starts(self):
        """The lines of the client's own log of its starts, as dictionaries."""
        log = self.prefix.roaming / "BrindlerQ3" / PROFILE / "client-started.log"
        return [dict(item.split("=", 1) for item in line.split()[1:]) for line in log.read_text().splitlines()]

    def expect_restart(self, job, argument):
        """The client was started again by the helper in the course of `job`, with this argument ("-" for none)."""
        wait_until(lambda: any(start["job"] == job.id for start in self.starts()), "the client's start")
        started = [start["argument"] for start in self.starts() if start["job"] == job.id]
        check(started == [argument], f"the client was started with {started}")
        say(f"   the client is running again, started with {'no argument' if argument == '-' else argument}")

    def expect_files(self, files, what):
        """Every file of the folder has the digest that it should have, and there is no other file."""
        expected = digests_of_contents({**files, **PLAYERS_OWN})
        found = self.folder.digests()
        wrong = sorted(path for path in expected.keys() | found.keys() if expected.get(path) != found.get(path))
        check(not wrong, f"{len(wrong)} files aren't as in {what}: {wrong[:5]}")
        say(f"   checked: all {len(files)} files are {what}'s by SHA-256; the player's own {len(PLAYERS_OWN)} are untouched")

    def expect_half_way(self, old, new, job):
        """Some files are new and some old, and an active record says so. One may be missing, killed in the middle of
        its replacement, if its old content stands as its backup. None is anything else."""
        old, new, found = digests_of_contents({**old, **PLAYERS_OWN}), digests_of_contents(new), self.folder.digests()
        count = {"new": 0, "old": 0, "moved": 0, "wrong": 0}
        for path in old.keys() | new.keys():
            before, after = old.get(path), new.get(path, old.get(path))
            backup = self.folder.path / ".vandrel-updater" / job.id / "backup" / path
            if before == after:
                count["wrong"] += found.get(path) != before
            elif found.get(path) == after:
                count["new"] += 1
            elif found.get(path) == before:
                count["old"] += 1
            else:
                moved = path not in found and backup.is_file() and digest_of(backup) == before
                count["moved" if moved else "wrong"] += 1
        check(count["old"] and count["new"] and count["moved"] <= 1 and not count["wrong"], f"half way: {count}")
        check(not found.keys() - old.keys() - new.keys(), "there are files of neither release")
        check("active.transaction" in self.folder.store(), "there is no active record")
        say(f"   checked: {count['new']} files are new, {count['old']} still old, {count['moved']} is between the two with "
            "its old content in the backup, none is anything else")
