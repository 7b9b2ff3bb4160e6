"""What the endpoint for players bears: nginx and PHP with the files of docs/endpoint, TLS 1.2, under wrk on the same
machine. scripts/endpoint-load runs it. Prints a line for each kind of request, and fails if an answer did, or if none
came. The servers have one processor and wrk the others, if there are any: it takes all that it gets while a handshake is
under way."""

import argparse
import json
import os
import resource
import subprocess
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

from lab.laboratory import ROOT
from lab.openssl import openssl
from lab.web_server import WebServer

from .counters import cpu_seconds
from .data import MIB
from .release_tool import ReleaseFolder, ended
from .workplace import NATIVE

URL = "https://127.0.0.1:{}/client-brd/updater.php?action="
DOWNLOAD = "download&arch=64&release=1&file="
KEY_KINDS = {"ECDSA P-256": ["ec", "-pkeyopt", "ec_paramgen_curve:P-256"], "RSA 2048": ["rsa:2048"]}
ALL = os.sched_getaffinity(0)
TLS_1_2 = ("TLSv1.2 TLSv1.3", "TLSv1.2")
NO_RESUMPTION = ("ssl_session_cache shared:vandrel:64m;", "ssl_session_cache off; ssl_session_tickets off;")
# What wrk says last.
COUNTS = """done = function(all)
    local errors = all.errors
    local failed = errors.connect + errors.read + errors.write + errors.timeout + errors.status
    io.write(string.format('{"requests": %d, "bytes": %d, "seconds": %f, "failed": %d}', all.requests, all.bytes,
        all.duration / 1e6, failed))
end
"""


@dataclass(frozen=True)
class Load:
    """One kind of request: over kept connections, or each over a connection of its own, with or without resumption."""
    title: str
    query: str
    key: str = "ECDSA P-256"
    kept: bool = True
    resumed: bool = True
    unit: str = "request"  # of which the CPU time is told; or "MiB"


LOADS = (
    Load("manifest, kept connections", "manifest&arch=64"),
    Load("small file, kept connections", DOWNLOAD + "init.lua"),
    Load("4 MiB, kept connections", DOWNLOAD + "data%2Fbig.dat", unit="MiB"),
    Load("small file, a connection each, ECDSA P-256", DOWNLOAD + "init.lua", kept=False, resumed=False),
    Load("the same, sessions resumed", DOWNLOAD + "init.lua", kept=False),
    Load("small file, a connection each, RSA 2048", DOWNLOAD + "init.lua", "RSA 2048", kept=False, resumed=False),
)


def certificate(work, kind):
    """The files of a certificate and its key."""
    files = work / f"{kind}.pem", work / f"{kind}.key"
    if not files[0].exists():
        openssl("req", "-x509", "-newkey", *KEY_KINDS[kind], "-nodes", "-subj", "/CN=localhost", "-keyout", files[1],
                "-out", files[0])
    return files


def family(pid):
    """A process and its children."""
    found = [pid]
    for stat in Path("/proc").glob("[0-9]*/stat"):
        try:
            if int(stat.read_text().rpartition(")")[2].split()[1]) == pid:
                found.append(int(stat.parent.name))
        except OSError:
            continue  # ended
    return found


def cpu_of(server):
    """CPU time so far of nginx and of PHP."""
    php, nginx = (sum(map(cpu_seconds, family(pid))) for pid in server.pids)
    return nginx, php


def ask(load, server, work, connections, seconds):
    """Lets wrk ask; gives what it counted, with its own CPU time."""
    header = [] if load.kept else ["-H", "Connection: close"]
    process = subprocess.Popen(["wrk", "-t", "1", "-c", str(connections), "-d", f"{seconds}s", "--timeout", "10s",
                                "-s", work / "counts.lua", *header, URL.format(server.port) + load.query],
                               stdout=subprocess.PIPE, text=True)
    told = process.stdout.read()
    cpu, _ = ended(process)
    return {**json.loads(told.splitlines()[-1]), "cpu": cpu}


def measure(load, work, connections, seconds):
    """A line about one kind of request. Raises SystemExit if an answer failed, or if sessions were not resumed."""
    changes = [TLS_1_2] if load.resumed else [TLS_1_2, NO_RESUMPTION]
    server = WebServer(work, *certificate(work, load.key), changes)
    try:
        for pid in family(server.pids[0]) + family(server.pids[1]):
            os.sched_setaffinity(pid, {min(ALL)})
        before = cpu_of(server)
        counts = ask(load, server, work, connections, seconds)
        nginx, php = (now - then for now, then in zip(cpu_of(server), before))
    finally:
        server.stop()
    with (work / "access.log").open() as log:
        resumed = sum(line.split()[5] == "r" for line in log)
    (work / "access.log").unlink()
    as_meant = load.kept or load.resumed == (resumed > counts["requests"] / 2)
    if counts["failed"] or not counts["requests"] or not as_meant:
        raise SystemExit(f"{load.title}: {counts}, {resumed} resumed\n{server.complaints()}")
    return told(load, counts, nginx, php)


def told(load, counts, nginx, php):
    mib = counts["bytes"] / MIB
    each = 1e6 / (counts["requests"] if load.unit == "request" else mib)
    return (f"{load.title}: {counts['requests'] / counts['seconds']:,.0f} requests and {mib / counts['seconds']:,.1f} "
            f"MiB a second, none failed; CPU time of a {load.unit}: nginx {nginx * each:,.0f} us, PHP "
            f"{php * each:,.0f} us, wrk {counts['cpu'] * each:,.0f} us")


def main():
    parser = argparse.ArgumentParser(prog="scripts/endpoint-load", description="What the endpoint for players bears.")
    parser.add_argument("--connections", type=int, default=1000, help="at once (default: 1000)")
    parser.add_argument("--seconds", type=int, default=10, help="of each kind of request (default: 10)")
    parser.add_argument("--files", type=int, default=5000, help="that the release lists (default: 5000)")
    arguments = parser.parse_args()
    os.sched_setaffinity(0, ALL - {min(ALL)} or ALL)
    resource.setrlimit(resource.RLIMIT_NOFILE, 2 * resource.getrlimit(resource.RLIMIT_NOFILE)[1:])
    with tempfile.TemporaryDirectory(prefix="vandrel-load-") as folder:
        work = Path(folder) / "load"
        ReleaseFolder(work, arguments.files).publish(NATIVE / "vandrel-release",
                                                     ROOT / "keys" / "development_private.pem")
        (work / "counts.lua").write_text(COUNTS)
        print(f"{arguments.connections} connections, {len(ALL)} processors, load {os.getloadavg()[0]:.1f}")
        for load in LOADS:
            print(measure(load, work, arguments.connections, arguments.seconds))
            sys.stdout.flush()


if __name__ == "__main__":
    main()
