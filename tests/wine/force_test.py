#!/usr/bin/env python3
"""The helper killed with SIGKILL, at random moments of an update and of a restoration and between two files of an
installation. Whatever a kill leaves, the next start must end with a folder that is wholly old or wholly new.

VANDREL_FORCE_KILLS (20)  how many kills at random moments
VANDREL_FORCE_SEED (1)    what the moments are drawn from

A seed gives the same sequence of moments, each as a share of the last measured length of one stage of the work. On what
instruction such a moment falls is up to the machine: a failure can't be replayed exactly, only looked for again."""

import os
import random
import shutil
import signal
import time
import unittest
from collections import Counter

from harness.folder import ClientFolder, digests_of_contents
from harness.job import HELPER, wait_until
from harness.lab import HelperTest
from harness.prefix import processes_of

INSTALLED = "Atualizacao instalada."
RESTORED = "Versao anterior restaurada. Tente atualizar novamente quando desejar."
MODULES = [f"modules/{number:02}.lua" for number in range(8)]
# The first instance from its first status on; the copy up to the handoff; the copy from its client's end to its own.
STAGES = ("first", "copy", "install")


class Force(HelperTest):
    """One folder goes from release to release; each replaces ten files, the helper's own among them, and adds two."""

    def setUp(self):
        super().setUp()
        seed = int(os.environ.get("VANDREL_FORCE_SEED", "1"))
        self.kills = int(os.environ.get("VANDREL_FORCE_KILLS", "20"))
        print(f"seed {seed}, {self.kills} kills at random moments", flush=True)
        self.random = random.Random(seed)
        self.lengths, self.seen, self.number = {}, Counter(), 0
        self.new = {**self.old_files(), **{path: b"0" for path in MODULES}}
        self.store = self.folder.path / ".vandrel-updater"
        self.active = self.store / "active.transaction"
        self.folder.write(self.new)

    def next_release(self):
        """What is installed is the old release now, and the next one is served."""
        shutil.rmtree(self.folder.path / "data/added", ignore_errors=True)
        shutil.rmtree(self.lab.prefix.temporary / "VandrelUpdater", ignore_errors=True)
        self.old = {path: content for path, content in self.new.items() if not path.startswith("data/added/")}
        self.number += 1
        changed = {path: b"%d " % self.number * 2000 for path in ("data/a.dat", *MODULES)}
        self.new = {**self.old, **changed, HELPER: self.lab.helper + b"%d" % self.number, "data/added/empty.dat": b"",
                    "data/added/deep/er.dat": b"%d" % self.number}
        self.serve(self.new, self.number)

    def start(self):
        """A client and a helper that finds the player's consent already there."""
        client, job = self.start_client(), self.make_job()
        job.updater.mkdir(parents=True, exist_ok=True)
        job.command("apply")
        job.start_helper(job.arguments(client.pid))
        return client, job

    def go(self, killed_in=None, share=0.0):
        """One start to its end, or to the kill after a share of a stage. Gives the job, None when a kill came late."""
        kind = "restoration" if self.active.exists() else "update"
        client, job = self.start()
        reached = (lambda: job.history, lambda: processes_of("/RELOCATED", job.id), lambda: "handoff" in job.states())
        begun = {}
        for stage, is_reached in zip(STAGES, reached):
            wait_until(lambda: is_reached() or not job.processes(), lambda: f"{stage}; history {job.history}", pause=0.002)
            if not is_reached():
                break
            if stage == "install":
                client.kill()
            begun[stage] = time.monotonic()
            if stage == killed_in:
                time.sleep(share * self.lengths[kind, stage])
                return job if self.kill(client, job) else None
        self.assertEqual(0, job.wait_end(), job.history)
        if client.is_running():
            client.kill()
        ends = [*list(begun.values())[1:], time.monotonic()]
        self.lengths.update({(kind, stage): end - begun[stage] for stage, end in zip(begun, ends)} if len(begun) == 3 else {})
        return job

    def kill(self, client, job):
        """Kills the helper, then the client. False if the helper was gone."""
        helpers = job.processes()
        for pid in helpers:
            os.kill(pid, signal.SIGKILL)
        wait_until(lambda: job.kill() or not job.processes(), "the helper's end")
        if client.is_running():
            client.kill()
        return bool(helpers)
