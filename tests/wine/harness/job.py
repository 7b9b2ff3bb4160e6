"""One update job: its two JSON files, the client whose process it names, and the helper's processes."""

import json
import os
import re
import secrets
import signal
import subprocess
import threading
import time

from .prefix import processes_of

HELPER = "Vandrel Updater.exe"
CLIENT = "brindler_dx_x64.exe"


def wait_until(condition, what, timeout=30.0, pause=0.01):
    """Waits for `condition()` to be true and gives its value. When the time is up, it fails with `what`, a text or a
    function that gives one."""
    end = time.monotonic() + timeout
    while time.monotonic() < end:
        if value := condition():
            return value
        time.sleep(pause)
    raise AssertionError(f"waited {timeout} s in vain: {what() if callable(what) else what}")


class IdleClient:
    """A client process that runs from the folder until it is closed or killed. `pid` is its Windows number."""

    def __init__(self, folder, name=CLIENT):
        self._close_file = folder.path.parent / (folder.path.name + "-close-" + secrets.token_hex(4))
        self._process = folder.prefix.start(folder.path / name, "--until", folder.prefix.windows_path(self._close_file),
                                            stdout=subprocess.PIPE)
        line = self._process.stdout.readline().decode()
        self.pid = int(re.fullmatch(r"pid (\d+)\r?\n", line)[1])

    def close(self):
        self._close_file.touch()
        self._process.wait(10)
        self._process.stdout.close()

    def kill(self):
        self._process.kill()
        self._process.wait(10)
        self._process.stdout.close()

    def is_running(self):
        return self._process.poll() is None


class Job:
    """A job on a client folder, in the profile `profile`."""

    def __init__(self, folder, profile="lab", job_id=None):
        self.folder = folder
        self.prefix = folder.prefix
        self.id = job_id or secrets.token_hex(16)
        self.updater = self.prefix.roaming / "BrindlerQ3" / profile / "updater"
        self.status_file = self.updater / f"{self.id}.status.json"
        self.command_file = self.updater / f"{self.id}.command.json"
        self.starts_file = self.updater.parent / f"{self.id}.starts"
        self.history = []  # (state, progress, detail) as they were seen, without repetitions
        self._helper = None
        self._watching = False

    def arguments(self, client_pid, **changes):
        """The command line as a client writes it. A change replaces a switch's value; None leaves the switch out."""
        values = {"CHECK": "", "ARCH": "64", "JOB": self.id, "STATUS": self.prefix.windows_path(self.status_file),
                  "WAITPID": str(client_pid), "CLIENT": CLIENT, **changes}
        return [f"/{key}" + (f"={value}" if value else "") for key, value in values.items() if value is not None]

    def start_helper(self, arguments, program=None):
        self.updater.mkdir(parents=True, exist_ok=True)
        environment = {"VANDREL_TEST_STARTS": self.prefix.windows_path(self.starts_file)}
        self._helper = self.prefix.start(program or self.folder.path / HELPER, *arguments, environment=environment)
        self._watching = True
        self._watcher = threading.Thread(target=self._watch, daemon=True)
        self._watcher.start()

    def status(self):
        """The status document, or None while there is none (also for an instant while it is being replaced)."""
        try:
            text = self.status_file.read_bytes()
        except FileNotFoundError:
            return None
        return json.loads(text)

    def _watch(self):
        while self._watching:
            self._note_status()
            time.sleep(0.004)
        self._note_status()

    def _note_status(self):
        status = self.status()
        seen = status and (status["state"], status["progress"], status["detail"])
        if seen and (not self.history or self.history[-1] != seen):
            self.history.append(seen)

    def states(self):
        """The states in the order in which they were seen, each change once."""
        names = [state for state, _, _ in self.history]
        return [name for index, name in enumerate(names) if index == 0 or names[index - 1] != name]

    def wait_for_state(self, *states, timeout=30.0):
        def reached():
            status = self.status()
            return status if status and status["state"] in states else None
        return wait_until(reached, lambda: f"state {states}; history {self.history}", timeout)

    def command(self, text):
        """Writes the command file: a command word, or a document of its own as bytes."""
        document = text if isinstance(text, bytes) else json.dumps({"jobId": self.id, "command": text}).encode()
        temporary = self.command_file.with_suffix(".new")
        temporary.write_bytes(document)
        os.replace(temporary, self.command_file)

    def processes(self):
        """The helper's. Looks again before it says that there are none: a process has no command line while it becomes
        another program, and a copy that begins during a look isn't seen by it."""
        found = processes_of(HELPER, self.id)
        if not found:
            time.sleep(0.1)
            found = processes_of(HELPER, self.id)
        return found

    def wait_end(self, timeout=60.0):
        """Waits for the helper's processes to end; gives the first instance's exit code."""
        code = self._helper.wait(timeout)
        wait_until(lambda: not self.processes(), lambda: f"end of the copy; history {self.history}", timeout)
        self._stop_watching()
        return code

    def _stop_watching(self):
        if self._watching:
            self._watching = False
            self._watcher.join()

    def starts(self):
        """The arguments of each client that the helper has started, "-" for none. The last start may take a moment."""
        return self.starts_file.read_text().splitlines() if self.starts_file.exists() else []

    def kill(self):
        """Kills what still runs of the helper."""
        for pid in self.processes():
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        if self._helper:
            self._helper.wait(10)
        self._stop_watching()
