"""Ending a helper in the middle of its installation."""

import os
import signal

from .job import wait_until


def stop_at_backups(job, helper, wanted):
    """Lets the process `helper`, which waits for its client's end or has just seen it, go on in small steps until at
    least `wanted` files of its job have a backup. It stands still then."""
    backup = job.folder.path / ".vandrel-updater" / job.id / "backup"

    def stepped():
        os.kill(helper, signal.SIGSTOP)
        if sum(path.is_file() for path in backup.rglob("*")) >= wanted:
            return True
        os.kill(helper, signal.SIGCONT)
        return False

    wait_until(stepped, f"{wanted} backups", pause=0.0005)


def kill_during_install(job, replaced):
    """Kills the helper of `job`, which waits for its client's end, when at least `replaced` files have a backup. Fails
    if the installation was over before that."""
    helpers = job.processes()
    assert len(helpers) == 1, f"one helper should wait for the client's end, not {len(helpers)}"
    stop_at_backups(job, helpers[0], replaced)
    assert (job.folder.path / ".vandrel-updater" / "active.transaction").exists(), "the installation was over before"
    os.kill(helpers[0], signal.SIGKILL)
    wait_until(lambda: not job.processes(), "the helper's end")
