"""Client processes: the idle one that stands in for a client, and the sample client."""

import re
import secrets
import subprocess

from .waiting import LabFailure

CLIENT = "brindler_dx_x64.exe"


class IdleClient:
    """An idle client (tools/idle_client.cpp) that runs from the folder, as `name`, until it is closed or killed.
    `pid` is its Windows number. With `holding`, a file's path, it keeps that file open for reading, and nobody else may
    write, replace or delete it."""

    def __init__(self, folder, name=CLIENT, holding=None):
        self._close_file = folder.path.parent / (folder.path.name + "-close-" + secrets.token_hex(4))
        held = [folder.prefix.windows_path(holding)] if holding else []
        self._process = folder.prefix.start(folder.path / name, "--until", folder.prefix.windows_path(self._close_file),
                                            *held, stdout=subprocess.PIPE)
        line = self._process.stdout.readline().decode()
        found = re.fullmatch(r"pid (\d+)\r?\n", line)
        if not found:
            self.kill()
            raise LabFailure(f"the idle client says {line!r}")
        self.pid = int(found[1])

    def close(self):
        """Lets it end by itself."""
        self._close_file.touch()
        self._ended(30)
        self._close_file.unlink()

    def kill(self):
        self._process.kill()
        self._ended(10)

    def _ended(self, timeout):
        self._process.wait(timeout)
        self._process.stdout.close()

    def is_running(self):
        return self._process.poll() is None


class SampleClient:
    """The folder's sample client, started by `name` for `job` (a Job that says the profile, too) with further switches;
    what the player types is `given`, and then the input ends; with None it stays open and nothing is typed."""

    def __init__(self, folder, job, *switches, given=b"", name=CLIENT):
        self._process = folder.prefix.start(folder.path / name, f"--profile={job.updater.parent.name}",
                                            f"--job={job.id}", *switches, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        if given is not None:
            self._process.stdin.write(given)
            self._process.stdin.close()

    def lines(self):
        """Each line that it shows, as it comes, until it ends."""
        for line in self._process.stdout:
            yield line.decode().rstrip("\n")

    def end(self, timeout=30):
        """Waits for its end; gives the exit code. Raises subprocess.TimeoutExpired."""
        code = self._process.wait(timeout)
        self._process.stdin.close()
        self._process.stdout.close()
        return code

    def close(self):
        """Kills it if it still runs."""
        if self._process.poll() is None:
            self._process.kill()
        self.end()


def sample_client_starts(prefix, profile):
    """What sample clients of a profile have noted of their starts: the match objects, with `job`, `argument`, and
    `reason`, which is None unless the update has failed."""
    log = prefix.roaming / "BrindlerQ3" / profile / "client-started.log"
    lines = log.read_text().splitlines() if log.exists() else []
    pattern = re.compile(r"job=(?P<job>\S+) argument=(?P<argument>\S+)(?: reason=(?P<reason>.*))?$")
    return [pattern.search(line) for line in lines]
