"""What publishing and serving cost: vandrel-release publish beside sha256sum, and its endpoint under requests."""

import http.client
import os
import shutil
import ssl
import subprocess
import time
from dataclasses import dataclass

from lab.clients import CLIENT
from lab.publisher import Publisher

from .counters import cpu_seconds
from .data import KIB, MIB, Layout, Store


@dataclass
class Figure:
    """A figure that has no floor; `text` tells it."""
    id: str
    text: str
    value: float
    goal: float | None = None

    def __str__(self):
        verdict = "" if self.goal is None else ": goal " + ("met" if self.value <= self.goal else "missed")
        return self.text + verdict


def ended(process):
    """Waits for a process; gives the seconds of CPU time, and how many threads were at work on the average. Raises
    CalledProcessError."""
    begun = time.monotonic()
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise subprocess.CalledProcessError(process.returncode, process.args)
    cpu = usage.ru_utime + usage.ru_stime
    return cpu, cpu / (time.monotonic() - begun)


class ReleaseFolder:
    """A client folder of `count` small files, in `work`, which is made anew."""

    def __init__(self, work, count):
        shutil.rmtree(work, ignore_errors=True)
        self.work = work
        Store(Layout("published", "", count, KIB, 4 * KIB, 200), work)
        self.folder = work / "new"
        for name in ("init.lua", CLIENT):
            (self.folder / name).write_bytes(b"first\n")
        (self.folder / "data" / "big.dat").write_bytes(os.urandom(4 * MIB))
        self.count = count + 3

    def publish(self, tool, key):
        tree = self.work / "tree"
        shutil.rmtree(tree, ignore_errors=True)
        return ended(subprocess.Popen([tool, "publish", "--folder", self.folder, "--release", "1", "--key", key,
                                       "--tree", tree, "--allow-development-key", "--without-helper"],
                                      stdout=subprocess.DEVNULL))

    def sha256sum(self):
        names = b"\0".join(os.fsencode(file) for file in self.folder.rglob("*") if file.is_file())
        process = subprocess.Popen(["xargs", "-0", "sha256sum"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        process.stdin.write(names)
        process.stdin.close()
        return ended(process)[0]


def measure_publishing(release, tool, key, goal):
    """The median of three: in the first, the machine still has to find the room for the files."""
    cpu, threads = sorted(release.publish(tool, key) for _ in range(3))[1]
    summed = release.sha256sum()
    each = cpu / release.count
    return [
        Figure("publish", f"publish {release.count:,} files: {cpu:.2f} s of CPU time, {each * 1e6:.0f} us a file, "
               f"{threads:.1f} threads busy", each, goal),
        Figure("publish/sha256sum", f"sha256sum of the same files: {summed:.2f} s of CPU time", summed)]


def fetch(port, authority, path, count):
    """GETs over one connection; gives the bytes of the bodies."""
    context = ssl.create_default_context(cafile=authority)
    connection = http.client.HTTPSConnection("localhost", port, context=context)
    received = 0
    for _ in range(count):
        connection.request("GET", f"/client-brd/updater.php?action=download&arch=64&release=1&file={path}")
        answer = connection.getresponse()
        received += len(answer.read())
        if answer.status != 200:
            raise http.client.HTTPException(f"{path}: {answer.status}")
    connection.close()
    return received


def measure_endpoint(release, tool, key, requests):
    """In seconds of the endpoint's own CPU time: so who asks, and how fast, doesn't matter."""
    certificate = release.work / "certificate"
    certificate.mkdir()
    publisher = Publisher(release.work, tool, key)
    publisher.serve("--make-certificate", certificate, "--host", "localhost")
    try:
        pid = publisher.server_pid
        def cost_of(path, count):
            fetch(publisher.port, certificate / "ca.pem", path, 1)
            before = cpu_seconds(pid)
            received = fetch(publisher.port, certificate / "ca.pem", path, count)
            return received, cpu_seconds(pid) - before
        _, small = cost_of("init.lua", requests)
        received, big = cost_of("data%2Fbig.dat", max(1, requests // 100))
    finally:
        publisher.stop()
    return [Figure("endpoint/requests", f"endpoint: {requests / small:,.0f} requests of a small file for each second of "
                   "its CPU time", requests / small),
            Figure("endpoint/bytes", f"endpoint: {received / big / MIB:,.0f} MiB for each second of its CPU time",
                   received / big)]
