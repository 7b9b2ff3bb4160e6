"""Ending a helper in the middle of its installation."""

import os
import signal
import time

from .job import wait_until


def kill_during_install(job, replaced):
    """Kills the helper of `job`, which waits for its client's end, while it replaces files: stops it as soon as the
    installation has begun, lets it go on in small steps until at least `replaced` files have a backup, and kills it
    there. Fails if the installation was over before that."""
    helpers = job.processes()
    assert len(helpers) == 1, f"one helper should wait for the client's end, not {len(helpers)}"
    store = job.folder.path / ".vandrel-updater"
    active, backup = store / "active.transaction", store / job.id / "backup"
    end = time.monotonic() + 60
    while not active.exists():
        assert time.monotonic() < end, "the installation doesn't begin"
    os.kill(helpers[0], signal.SIGSTOP)
    while sum(path.is_file() for path in backup.rglob("*")) < replaced:
        assert active.exists(), "the installation was over before it could be stopped"
        os.kill(helpers[0], signal.SIGCONT)
        time.sleep(0.001)
        os.kill(helpers[0], signal.SIGSTOP)
    os.kill(helpers[0], signal.SIGKILL)
    wait_until(lambda: not job.processes(), "the helper's end")
