"""The helper's stages, each run once; gives their Costs.

A stage begins and ends where the helper stands still, so that its counters can be read at leisure:

    check     begins when the endpoint has got the request for the manifest and hasn't answered yet; ends when the
              helper waits for the client's answer to "update_available". A command file stands there all the while if
              `standing` says so. It has the size of "apply" and names no command: the helper reads it as often, and
              waits.
    download  begins when the endpoint has got the request for the first file; ends when the helper waits, after
              "handoff", for its client's end
    install   begins there; ends with the status "current", behind which the helper starts its client: the one border at
              which it doesn't wait. It is looked for every half millisecond.
"""

import os
import threading
import time

from lab.waiting import LabFailure

PATIENCE = 1800.0  # seconds, for a whole stage
PAUSE = 0.05  # seconds between two looks for a state in which the helper waits: who looks takes processor time, too
NO_COMMAND = "later"  # as long as "apply"


def make_job(place):
    job = place.scene.make_job()
    job.client = place.scene.start_client()
    job.updater.mkdir(parents=True, exist_ok=True)
    return job


def run_check(place, standing):
    """The first instance's check of the release that is served. Leaves the folder as it was."""
    job = make_job(place)
    if standing:
        job.command(NO_COMMAND)
    place.begin_at("manifest", lambda: job.helper_pid)
    job.start_helper(job.arguments(job.client.pid), watched=False)
    job.wait_for_state("update_available", timeout=PATIENCE, pause=PAUSE)
    cost = place.meter.end(job.helper_pid)
    job.command("cancel")
    job.wait_end()
    job.client.close()
    return cost


def run_update(place):
    """A whole update to the release that is served, with the client's "apply" there from the beginning: the costs of
    download and install, by name."""
    job = make_job(place)
    job.command("apply")
    place.begin_at("download", lambda: only(job.processes()))
    job.start_helper(job.arguments(job.client.pid), watched=False)
    job.wait_for_state("handoff", timeout=PATIENCE, pause=PAUSE)
    copy = only(job.processes())
    download = place.meter.end(copy)
    place.meter.begin(copy)
    closing = threading.Thread(target=job.client.close)
    closing.start()
    wait_for_next_status(job)
    install = place.meter.end(copy)
    closing.join()
    job.wait_end()
    job.starts()
    if job.status()["state"] != "current":
        raise LabFailure(f"the update has failed: {job.status()}")
    return {"download": download, "install": install}


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
    raise LabFailure(f"no status after {job.status()}")
