"""The floors' stages, each run once, on the files that the helper has.

A floor prints a line where its stage begins and ends, and waits for an answer. Its download begins as the helper's does,
when the endpoint has got the request for the first file.
"""

import os
import shutil
import subprocess

from lab.folder import STORE
from lab.release import pack_entries
from lab.waiting import LabFailure

from .data import RELEASE
from .helper_runs import NO_COMMAND

JOB = "0" * 32
SIGNATURE_BLOCK = 390  # bytes


def run_floor(place, floor, stage, change, standing=True):
    """The Cost of a stage ("check", "download", "install") of a floor ("plain", "rules"), for the release that is
    served and changes `change`. The folder holds the old version; a check leaves it as it was, the others don't."""
    transaction = lay_out_transaction(place, stage, change)
    task = write_task(place, stage, change, standing, transaction)
    program = place.lab.prefix.drive_c / "bench" / "floors.exe"
    process = place.lab.prefix.start(program, floor, stage, place.lab.prefix.windows_path(task), stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if stage == "download":
        place.begin_at("download", lambda: process.pid)
    expect(process, "ready")
    if stage != "download":
        place.meter.begin(process.pid)
    answer(process)
    expect(process, "done")
    cost = place.meter.end(process.pid)
    answer(process)
    process.communicate()
    return cost


def answer(process):
    process.stdin.write(b"\n")
    process.stdin.flush()


def expect(process, word):
    line = process.stdout.readline().decode().strip()
    if line != word:
        raise LabFailure(f"the floor says {line!r}: {process.stderr.read().decode()}")


def lay_out_transaction(place, stage, change):
    """Makes what the stage finds of a transaction, and gives its folder."""
    changed = place.store.layout.changed(change)
    transaction = place.folder / STORE / JOB
    shutil.rmtree(transaction, ignore_errors=True)
    for path in {os.path.dirname(path) for path in changed}:
        if stage == "download":
            (transaction / "files" / path).mkdir(parents=True)
        if stage == "install":
            (transaction / "backup" / path).mkdir(parents=True)
    if stage == "install":
        place.store.lay_out("new", transaction / "files", changed)
    return transaction


def write_task(place, stage, change, standing, transaction):
    """Writes down for the floor what there is to do (floors/task.h), and gives the file."""
    windows = place.lab.prefix.windows_path
    updater = place.lab.prefix.roaming / "BrindlerQ3" / "lab" / "updater"
    updater.mkdir(parents=True, exist_ok=True)
    command = updater / f"{JOB}.command.json"
    command.unlink(missing_ok=True)
    if standing:
        command.write_text(f'{{"jobId": "{JOB}", "command": "{NO_COMMAND}"}}')
    files = place.release.files
    paths = files if stage == "check" else place.store.layout.changed(change)
    manifest = len(pack_entries(RELEASE, [(path, 0, bytes(32)) for path in files])) + SIGNATURE_BLOCK
    values = {"root": windows(place.folder), "transaction": windows(transaction),
              "record_size": 44 + manifest + 45 * len(paths), "command_file": windows(command),
              "status_file": windows(updater / f"{JOB}.status.json"), "url": place.lab.url}
    lines = [f"{name}\t{value}" for name, value in values.items()]
    lines += ["", *(f"{len(files[path])}\t1\t{path}" for path in paths)]
    task = place.lab.prefix.drive_c / "bench" / "task.txt"
    task.write_text("\n".join(lines) + "\n")
    return task
