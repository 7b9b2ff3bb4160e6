"""One update job: its two JSON files, and the helper's processes."""

import json
import os
import secrets
import threading
import time

from .clients import CLIENT
from .processes import kill, processes_of
from .waiting import LabFailure, wait_until

HELPER = "Vandrel Updater.exe"
FINAL = ("current", "cancelled", "error")


class Job:
    """A job on a client folder, in the profile `profile`. Nothing runs before start_helper(); what the job leaves in
    the profile's folder `updater` stays there."""

    def __init__(self, folder, profile="lab"):
        self.folder = folder
        self.prefix = folder.prefix
        self.id = secrets.token_hex(16)
        self.updater = self.prefix.roaming / "BrindlerQ3" / profile / "updater"
        self.status_file = self.updater / f"{self.id}.status.json"
        self.command_file = self.updater / f"{self.id}.command.json"
        self.starts_file = self.updater.parent / f"{self.id}.starts"
        self.history = []  # (state, progress, detail) as they were seen, without repetitions
        self.documents = []  # the status documents behind them
        self.client = None
        self._helper = None
        self._watching = False

    def arguments(self, client_pid, **changes):
        """The command line as a client writes it. A change replaces a switch's value; None leaves the switch out."""
        values = {"CHECK": "", "ARCH": "64", "JOB": self.id, "STATUS": self.prefix.windows_path(self.status_file),
                  "WAITPID": str(client_pid), "CLIENT": CLIENT, **changes}
        return [f"/{key}" + (f"={value}" if value else "") for key, value in values.items() if value is not None]

    def start_helper(self, arguments, program=None, watched=True):
        """Starts the folder's helper, or `program`. Unless `watched` says no, its status file is looked at every few
        milliseconds from now on, for the history."""
        self.updater.mkdir(parents=True, exist_ok=True)
        environment = {"VANDREL_TEST_STARTS": self.prefix.windows_path(self.starts_file)}
        self._helper = self.prefix.start(program or self.folder.path / HELPER, *arguments, environment=environment)
        if not watched:
            return
        self._watching = True
        self._watcher = threading.Thread(target=self._watch, daemon=True)
        self._watcher.start()

    @property
    def helper_pid(self):
        """The first instance's process number on this machine."""
        return self._helper.pid

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
            self.documents.append(status)

    def states(self):
        """The states in the order in which they were seen, each change once."""
        names = [state for state, _, _ in self.history]
        return [name for index, name in enumerate(names) if index == 0 or names[index - 1] != name]

    def wait_for_state(self, *states, timeout=60.0, pause=0.01):
        """Gives the status document with one of these states. Raises LabFailure at once if the job has a last state
        that isn't among them."""
        def reached():
            status = self.status()
            if status and status["state"] in states:
                return status
            if status and status["state"] in FINAL:
                raise LabFailure(f"wanted {states}; history {self.history}, then {status}")
            return None
        return wait_until(reached, lambda: f"state {states}; history {self.history}", timeout, pause)

    def command(self, word):
        """Writes the command file, in one rename."""
        temporary = self.command_file.with_suffix(".new")
        temporary.write_text(json.dumps({"jobId": self.id, "command": word}))
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
        for ended in (lambda: self._helper.poll() is not None, lambda: not self.processes()):
            wait_until(ended, lambda: f"the helper's end; history {self.history}", timeout)
        self._stop_watching()
        return self._helper.returncode

    def finish(self):
        """Closes the job's client, and waits for the helper's end; gives the first instance's exit code."""
        self.client.close()
        return self.wait_end()

    def _stop_watching(self):
        if self._watching:
            self._watching = False
            self._watcher.join()

    def starts(self):
        """The arguments of each idle client that the helper has started, "-" for none, once there is one."""
        def lines():
            return self.starts_file.read_text().splitlines() if self.starts_file.exists() else []
        return wait_until(lines, "the client's start")

    def has_started_none(self):
        """Of clients, as far as is seen now: a start takes a moment to show."""
        return not self.starts_file.exists()

    def kill(self):
        """Kills what still runs of the helper, until nothing does."""
        def gone():
            found = self.processes()
            kill(*found)
            return not found
        wait_until(gone, "the killed helper's end")
        if self._helper:
            self._helper.wait(10)
        self._stop_watching()
