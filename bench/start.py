"""What it costs to come to the first status, against a program that does nothing."""

from lab.job import HELPER
from lab.waiting import LabFailure

from .results import compare

NOBODY = 3  # no process of Wine has such a number


def run_helper(lab, meter, scene):
    """The helper is told of a client that isn't there: it ends right behind its first status, with a second one. So
    what is measured is a little more than the way to the first."""
    job = scene.make_job()
    job.updater.mkdir(parents=True, exist_ok=True)
    cost = meter.run_to_end(lambda: lab.prefix.start(scene.folder.path / HELPER, *job.arguments(NOBODY)))
    status = job.status()
    if not status or status["state"] != "error":
        raise LabFailure(f"the helper should find no client: {status}")
    return cost


def measure_starts(lab, meter, rounds, goal):
    scene = lab.scene("bench")
    helper, empty = [], []
    for _ in range(rounds):
        helper.append(run_helper(lab, meter, scene))
        empty.append(meter.run_to_end(lambda: lab.prefix.start(lab.prefix.drive_c / "bench" / "empty.exe")))
    scene.close()
    return [compare("start", "start", "first status", "empty program", helper, empty, goal)]
