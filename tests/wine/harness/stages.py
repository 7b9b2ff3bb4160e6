"""A start of client and helper, watched stage by stage, so that it can be struck in a stage of one's choice."""

import os
import signal
import time

from .interruption import stop_at_backups
from .job import CLIENT, wait_until
from .prefix import processes_of

# The first instance from its first status on; the copy up to the handoff; the copy from its client's end to its own.
STAGES = ("first", "copy", "install")


class StagedRun:
    """A job that finds the player's consent already there. `helpers` are its processes as the last stage began,
    `lengths`, which the caller keeps, is told how many seconds each stage took that has come to its end."""

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
        self.clear_away()
        return code

    def kill_after(self, seconds):
        """SIGKILL for the helper after this time. False if it had ended."""
        time.sleep(seconds)
        helpers = self.job.processes()
        try:
            for pid in helpers:
                os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            return False
        return bool(helpers)

    def kill_at_backups(self, wanted):
        """From the beginning of "install": kills the helper when at least `wanted` files have a backup."""
        helper, = self.helpers
        stop_at_backups(self.job, helper, wanted)
        return self.kill_after(0)

    def clear_away(self):
        """Ends what still runs of helper and client."""
        wait_until(lambda: self.job.kill() or not self.job.processes(), "the helper's end")
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
        for pid in begun:
            os.kill(pid, signal.SIGKILL)
        return bool(begun)
