"""What a stage has cost: CPU time of a process and of Wine's server, and the largest working set."""

import os
import re
import time
from dataclasses import dataclass
from pathlib import Path

from lab.waiting import LabFailure


def cpu_seconds(pid):
    """User and system time of a process, all its threads, ended ones included; also of one that has ended and that
    nobody has waited for. It is the kernel's own count in nanoseconds, which /proc/PID/stat shows in hundredths."""
    return time.clock_gettime((~pid << 3) | 2)


def peak_bytes(pid):
    """The largest working set that a living process has had. Raises LabFailure if it has ended."""
    found = re.search(r"^VmHWM:\s*(\d+) kB$", Path(f"/proc/{pid}/status").read_text(), re.MULTILINE)
    if not found:
        raise LabFailure("the process has ended before its counters were read")
    return int(found[1]) * 1024


def server_of(prefix):
    """The process number of the prefix's wineserver."""
    marker = f"WINEPREFIX={prefix.folder}\0".encode()
    for folder in Path("/proc").glob("[0-9]*"):
        try:
            name = (folder / "comm").read_text()
            if name.startswith("wineserver") and marker in (folder / "environ").read_bytes() + b"\0":
                return int(folder.name)
        except OSError:
            continue  # ended, or another user's
    raise LabFailure("the prefix has no server")


def move_this_program(processors):
    for thread in os.listdir("/proc/self/task"):
        os.sched_setaffinity(int(thread), processors)


@dataclass
class Cost:
    cpu: float = 0.0  # seconds, of the process and of Wine's server
    server: float = 0.0  # the server's part of it
    peak: int = 0  # bytes; 0 where nobody looked


class Meter:
    """Reads the counters at the borders of a stage. Until close(), the prefix's server is on one processor with each
    process under measure: where the two wake each other across processors, the same calls cost the server up to six
    times as much, now and then. This program, the endpoint in it, stays off that processor, if there is another."""

    def __init__(self, prefix):
        self._server = server_of(prefix)
        self._all = os.sched_getaffinity(self._server)
        self._one = {max(self._all)}
        self._begun = None
        os.sched_setaffinity(self._server, self._one)
        move_this_program(self._all - self._one or self._all)

    def close(self):
        os.sched_setaffinity(self._server, self._all)
        move_this_program(self._all)

    def _read(self, pid):
        return cpu_seconds(pid), cpu_seconds(self._server)

    def begin(self, pid):
        os.sched_setaffinity(pid, self._one)
        self._begun = self._read(pid)

    def end(self, pid):
        """The cost since begin() of the same process, which still lives."""
        if self._begun is None:
            raise LabFailure("a stage has ended that never began")
        process, server = (now - then for now, then in zip(self._read(pid), self._begun))
        self._begun = None
        return Cost(process + server, server, peak_bytes(pid))

    def run_to_end(self, start):
        """The cost of a whole process, whose Popen the function `start` gives."""
        before = cpu_seconds(self._server)
        process = start()
        os.sched_setaffinity(process.pid, self._one)
        os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
        server = cpu_seconds(self._server) - before
        cost = Cost(cpu_seconds(process.pid) + server, server)
        process.wait()
        return cost
