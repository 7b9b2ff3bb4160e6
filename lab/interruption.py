"""Ending a helper by force: between two files of its installation, or at a moment of one's choice."""

import os
import signal
import time

from .clients import CLIENT
from .processes import kill, processes_of
from .waiting import LabFailure, wait_until


def stop_at_backups(job, helper, wanted):
    """Lets the process `helper`, which waits for its client's end or has just seen it, go on in small steps until at
    least `wanted` files of its job have a backup. It stands still then."""
    backup = job.folder.backup(job.id, ".")

    def stepped():
        os.kill(helper, signal.SIGSTOP)
        if sum(path.is_file() for path in backup.rglob("*")) >= wanted:
            return True
        os.kill(helper, signal.SIGCONT)
        return False

    wait_until(stepped, f"{wanted} backups", pause=0.0005)


def kill_during_install(job, replaced):
    """Kills the helper of `job`, which waits for its client's end, when at least `replaced` files have a backup. Raises
    LabFailure if the installation was over before that."""
    helpers = job.processes()
    if len(helpers) != 1:
        raise LabFailure(f"one helper should wait for the client's end, not {len(helpers)}")
    stop_at_backups(job, helpers[0], replaced)
    if not job.folder.active_record.exists():
        raise LabFailure("the installation was over before")
    kill(helpers[0])
    wait_until(lambda: not job.processes(), "the helper's end")


# The first instance from its first status on; the copy up to the handoff; the copy from its client's end to its own.
STAGES = ("first", "copy", "install")


class StagedRun:
    """A start of client and helper, watched stage by stage, so that it can be struck in a stage of one's choice. The
    job finds the player's consent already there. `helpers` are its processes as the last stage began, `lengths`, which
    the caller keeps, is told how many seconds each stage took that has come to its end."""

    def __init__(self, client, job, lengths):
        self.client, self.job, self.lengths = client, job, lengths
        self.helpers, self._stage, self._begun = [], None, 0.0
        job.updater.mkdir(parents=True, exist_ok=True)
        job.command("apply")
        job.start_helper(job.arguments(client.pid))

    def reach(self, stage):
        """Waits for a stage to begin; at "install" the client ends. False if the helper has ended before."""
        is_reached = {"first": lambda: self.job.history, "copy": lambda: processes_of("/RELOCATED", self.job.id),
                      "install": lambda: "handoff" in self.job.states()}[stage]
        wait_until(lambda: is_reached() or not self.job.processes(), lambda: f"{stage}: {self.job.history}", pause=0.02)
        if not is_reached():
            return False
        self.helpers = self.job.processes()
        if stage == "install":
            self.client.kill()
        self._turn_to(stage)
        return True

    def _turn_to(self, stage):
        now = time.monotonic()
        if self._stage:
            self.lengths[self._stage] = now - self._begun
        self._stage, self._begun = stage, now

    def finish(self):
        """Waits for the helper's own end; gives the first instance's exit code."""
        code = self.job.wait_end()
        if self._stage == STAGES[-1]:
            self._turn_to(None)
        self._end_client()
        return code

    def kill_after(self, seconds):
        """SIGKILL for the helper after this time. False if it had ended."""
        time.sleep(seconds)
        helpers = self.job.processes()
        return bool(helpers) and kill(*helpers)

    def kill_at_backups(self, wanted):
        """From the beginning of "install": kills the helper when at least `wanted` files have a backup."""
        helper, = self.helpers
        stop_at_backups(self.job, helper, wanted)
        return self.kill_after(0)

    def clear_away(self):
        """Ends what still runs of helper and client."""
        self.job.kill()
        self._end_client()

    def _end_client(self):
        if self.client.is_running():
            self.client.kill()

    def end_begun_client(self):
        """Ends a client that the killed helper had begun to start; True if there was one. CreateProcessW makes a
        process that stands still until its maker lets it go: then for ever, an open client to each later run. The
        folder needs a name that no other prefix of this machine has."""
        client = self.job.prefix.windows_path(self.job.folder.path / CLIENT)
        end = time.monotonic() + 5  # a client that was let go ends by itself
        while (begun := processes_of(CLIENT, client)) and time.monotonic() < end:
            time.sleep(0.1)
        kill(*begun)
        return bool(begun)
