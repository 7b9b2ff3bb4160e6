"""One stage, run once: by the helper, or by a floor on the same files. Each gives its Cost.

A stage begins and ends where the program stands still, so that its counters can be read at leisure:

    check     begins when the endpoint has got the request for the manifest and hasn't answered yet; ends when the
              helper waits for the client's answer to "update_available". With `standing`, a command file stands there
              all the while. It has the size of "apply" and names no command: the helper reads it as often, and waits.
    download  begins when the endpoint has got the request for the first file; ends when the helper waits, after
              "handoff", for its client's end
    install   begins there; ends with the status "current", behind which the helper starts its client

A floor prints a line where its stage begins and ends, and waits for an answer.
"""

import os
import shutil
import subprocess
import threading
import time

from lab.folder import STORE
from lab.release import pack_entries
from lab.waiting import LabFailure

from .data import RELEASE

PATIENCE = 1800.0  # seconds, for a whole stage
FLOOR_JOB = "0" * 32
NO_COMMAND = "later"  # as long as "apply"


class Bench:
    """One layout, in a client folder of the laboratory, ready to be updated again and again. `store` is its Store,
    `floors` the floors' program on drive C:."""

    def __init__(self, lab, meter, floors, store):
        self.lab, self.store, self._meter, self._floors = lab, store, meter, floors
        self.scene = lab.scene("bench")
        self.scene.folder.remove()
        self.reset()

    def close(self):
        self.scene.close()

    def reset(self):
        """The client's folder holds the old version, and nothing else."""
        folder = self.scene.folder
        folder.remove()
        folder.write(self.scene.old)
        self.store.lay_out("old", folder.path, self.store.layout.paths)
        shutil.rmtree(self.lab.prefix.roaming / "BrindlerQ3", ignore_errors=True)

    def serve(self, change):
        release = self.store.release(self.scene, change)
        self.scene.endpoint.serve(release, self.lab.key)
        self.release = release

    # The helper.

    def _begin_at(self, action, pid):
        """Makes the endpoint begin the stage at the next request of that kind, before it answers."""
        def script(request):
            if request.query.get("action") == action:
                self.scene.endpoint.script = None
                self._meter.begin(pid())
        self.scene.endpoint.script = script

    def check(self, standing):
        """The first instance's check. Leaves the folder as it was."""
        job = self.scene.make_job()
        job.client = self.scene.start_client()
        job.updater.mkdir(parents=True, exist_ok=True)
        if standing:
            job.command(NO_COMMAND)
        self._begin_at("manifest", lambda: job.helper_pid)
        job.start_helper(job.arguments(job.client.pid))
        job.wait_for_state("update_available", timeout=PATIENCE)
        cost = self._meter.end(job.helper_pid)
        job.command("cancel")
        job.wait_end()
        job.client.close()
        return cost

    def update(self):
        """A whole update with the client's "apply" there from the beginning: the costs of the copy's download and
        install."""
        job = self.scene.make_job()
        job.client = self.scene.start_client()
        job.updater.mkdir(parents=True, exist_ok=True)
        job.command("apply")
        self._begin_at("download", lambda: only(job.processes()))
        job.start_helper(job.arguments(job.client.pid))
        job.wait_for_state("handoff", timeout=PATIENCE)
        copy = only(job.processes())
        download = self._meter.end(copy)
        self._meter.begin(copy)
        closing = threading.Thread(target=job.client.close)
        closing.start()
        wait_for_next_status(job)
        install = self._meter.end(copy)
        closing.join()
        job.wait_end()
        job.starts()
        if job.status()["state"] != "current":
            raise LabFailure(f"the update has failed: {job.history}")
        return download, install

    # The floors.

    def floor(self, floor, stage, change, standing=True):
        """Runs a floor on the client's folder, which holds the old version; the check leaves it as it was, after the
        others it has to be reset()."""
        self._lay_out_transaction(stage, change)
        task = self._write_task(stage, change, standing)
        process = self.lab.prefix.start(self._floors, floor, stage, self.lab.prefix.windows_path(task),
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if stage == "download":
            self._begin_at("download", lambda: process.pid)
        self._expect(process, "ready")
        if stage != "download":
            self._meter.begin(process.pid)
        self._answer(process)
        self._expect(process, "done")
        cost = self._meter.end(process.pid)
        self._answer(process)
        process.communicate()
        return cost

    @staticmethod
    def _answer(process):
        process.stdin.write(b"\n")
        process.stdin.flush()

    @staticmethod
    def _expect(process, word):
        line = process.stdout.readline().decode().strip()
        if line != word:
            raise LabFailure(f"the floor says {line!r}: {process.stderr.read().decode()}")

    @property
    def _transaction(self):
        return self.scene.folder.path / STORE / FLOOR_JOB

    def _lay_out_transaction(self, stage, change):
        changed = self.store.layout.changed(change)
        shutil.rmtree(self._transaction, ignore_errors=True)
        for path in {os.path.dirname(path) for path in changed}:
            if stage == "download":
                (self._transaction / "files" / path).mkdir(parents=True)
            if stage == "install":
                (self._transaction / "backup" / path).mkdir(parents=True)
        if stage == "install":
            self.store.lay_out("new", self._transaction / "files", changed)

    def _write_task(self, stage, change, standing):
        windows = self.lab.prefix.windows_path
        updater = self.lab.prefix.roaming / "BrindlerQ3" / "lab" / "updater"
        updater.mkdir(parents=True, exist_ok=True)
        command = updater / f"{FLOOR_JOB}.command.json"
        command.unlink(missing_ok=True)
        if standing:
            command.write_text('{"jobId": "' + FLOOR_JOB + '", "command": "' + NO_COMMAND + '"}')
        paths = self.release.files if stage == "check" else self.store.layout.changed(change)
        sizes = {path: len(self.release.files[path]) for path in paths}
        manifest = len(pack_entries(RELEASE, [(path, 0, bytes(32)) for path in self.release.files])) + 390
        lines = [f"root\t{windows(self.scene.folder.path)}", f"transaction\t{windows(self._transaction)}",
                 f"record_size\t{44 + manifest + 45 * len(paths)}", f"command_file\t{windows(command)}",
                 f"status_file\t{windows(updater / (FLOOR_JOB + '.status.json'))}", f"url\t{self.lab.url}", ""]
        lines += [f"{size}\t1\t{path}" for path, size in sizes.items()]
        task = self.lab.prefix.drive_c / "bench-task.txt"
        task.write_text("\n".join(lines) + "\n")
        return task


def only(processes):
    if len(processes) != 1:
        raise LabFailure(f"one helper should run, not {len(processes)}")
    return processes[0]


def wait_for_next_status(job):
    """Returns as soon as another document stands at the status file's place than now."""
    before = os.stat(job.status_file).st_ino
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        try:
            if os.stat(job.status_file).st_ino != before:
                return
        except FileNotFoundError:
            pass  # it is being replaced
        time.sleep(0.0005)
    raise LabFailure(f"no status after {job.history}")
