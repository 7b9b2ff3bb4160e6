#!/usr/bin/env python3
"""The helper killed with SIGKILL, at random moments of an update and of a restoration and between two files of an
installation. Whatever a kill leaves, the next start must end with a folder that is wholly old or wholly new.

VANDREL_FORCE_KILLS (20)  how many kills at random moments
VANDREL_FORCE_SEED (1)    what the moments are drawn from

A seed gives the same sequence of moments, each as a share of the last measured length of one stage of the work. On what
instruction such a moment falls is up to the machine: a failure can't be replayed exactly, only looked for again."""

import os
import random
import secrets
import shutil
import time
import unittest
from collections import Counter

from fixture import INSTALLED, RESTORED, UP_TO_DATE, HelperTest
from lab.folder import digests_of_contents
from lab.interruption import STAGES, StagedRun
from lab.job import HELPER
from lab.release import Release

REPLACED = ["data/a.dat", HELPER, *(f"modules/{number:02}.lua" for number in range(8))]


class Force(HelperTest):
    """One folder goes from release to release; each replaces ten files, the helper's own among them, and adds two."""

    def setUp(self):
        super().setUp()
        self.folder = self.scene.another_folder("force-" + secrets.token_hex(8))
        self.scene.folder = self.folder
        self.kills = int(os.environ.get("VANDREL_FORCE_KILLS", "20"))
        self.seed = int(os.environ.get("VANDREL_FORCE_SEED", "1"))
        self.random = random.Random(self.seed)
        self.lengths, self.seen, self.number = {}, Counter(), 0
        self.new = {**{path: b"0" for path in REPLACED}, **self.scene.old}
        self.folder.write(self.new)

    def serve_next_release(self):
        """What is installed becomes the old release."""
        shutil.rmtree(self.folder.path / "data/added", ignore_errors=True)
        shutil.rmtree(self.lab.prefix.temporary / "VandrelUpdater", ignore_errors=True)
        self.old = {path: content for path, content in self.new.items() if not path.startswith("data/added/")}
        self.number += 1
        mark = b"%d " % self.number
        changed = {path: mark * 2000 for path in REPLACED}
        self.new = {**self.old, **changed, HELPER: self.lab.helper + mark, "data/added/empty.dat": b"",
                    "data/added/deep/er.dat": mark}
        self.endpoint.serve(Release(self.number, self.new), self.lab.key)

    def begin(self):
        self.kind = "restoration" if self.folder.active_record.exists() else "update"
        job = self.scene.make_job()
        return StagedRun(self.scene.start_client(self.folder), job, self.lengths.setdefault(self.kind, {}))

    def struck(self, stage, strike):
        """A start to whose helper `strike`, a function of the run, is done when the stage begins: what it left."""
        run = self.begin()
        for passed in STAGES[:STAGES.index(stage) + 1]:
            self.assertTrue(run.reach(passed), run.job.history)
        in_time = strike(run)
        run.clear_away()
        left = self.look()
        self.seen[self.kind, "a client begun that did not end", left] += run.end_begun_client()
        return in_time, left

    def kill_at_random(self):
        stage, share = self.random.choice((*STAGES, "install")), self.random.random()
        in_time, left = self.struck(stage, lambda run: run.kill_after(share * run.lengths[stage]))
        self.seen[self.kind, stage if in_time else "too late", left] += 1
        self.kills -= in_time
        return left

    def kill_between_files(self):
        """Kills an installation when a random number of files, but not all, have a backup."""
        for _ in range(5):
            wanted = self.random.randrange(1, len(REPLACED))
            _, left = self.struck("install", lambda run, wanted=wanted: run.kill_at_backups(wanted))
            if left != "new":
                break
            self.seen["update", "too late", left] += 1  # a busy machine: the installation had ended
            self.end_whole(left)
            self.serve_next_release()
        self.assertIn("record", left)
        self.seen["update", "between files", left] += 1
        return left

    def look(self):
        """Right after a kill. Without a record the folder is one release. With it each file is the old one, or the new
        one whose old version stands as backup; under Wine, where a replacement is two renames, one may be missing."""
        if not self.folder.active_record.exists():
            found, old, new = self.folder.digests(), digests_of_contents(self.old), digests_of_contents(self.new)
            self.assertIn(found, (old, new))
            return "old" if found == old else "new"
        job = self.folder.active_record.read_bytes()[4:36].decode()
        states = self.folder.half_way(self.old, self.new, job)
        count = Counter(states.values())
        self.assertTrue(count["wrong"] == 0 and count["between"] <= 1, states)
        if states.get(HELPER) == "between":  # nothing could be started: the player has to bring it back from somewhere
            self.folder.write({HELPER: self.old[HELPER]})
        return f"record, {count['new']:2} of 12 files new" + (", one missing" if count["between"] else "")

    def end_whole(self, left=""):
        """A whole start, after a kill that left what look() says; gives the release that stands."""
        text = RESTORED if left.startswith("record") else UP_TO_DATE if left == "new" else INSTALLED
        run = self.begin()
        all(run.reach(stage) for stage in STAGES)
        code = run.finish()
        self.assertEqual((0, text), (code, run.job.status()["detail"]), f"after {left}: {run.job.history}")
        self.assert_files(self.old if text == RESTORED else self.new)
        return "old" if text == RESTORED else "new"

    def run_a_day_later(self):
        """A last ordinary run: it brings the new release, and clears away what killed runs have left."""
        store = self.folder.active_record.parent
        for record in store.glob("*/staging.transaction"):
            os.utime(record, (time.time() - 90000,) * 2)
        self.end_whole()
        self.assertEqual([], list(store.glob("*/staging.transaction")))

    def test_what_a_killed_helper_leaves_is_made_whole_by_the_next_start(self):
        print(f"seed {self.seed}, {self.kills} kills at random moments", flush=True)
        self.serve_next_release()
        self.end_whole(self.kill_between_files())
        self.run_a_day_later()  # by now each stage has been measured
        while self.kills > 0:
            self.serve_next_release()
            self.kill_between_files()
            for _ in range(2):  # the restoration, and then the update from what was restored
                stands = self.end_whole(self.kill_at_random())
                if stands == "new":
                    break
            else:
                self.run_a_day_later()
        for (kind, moment, left), count in sorted((+self.seen).items()):
            print(f"{count:4}  {kind}, {moment}: {left}")


if __name__ == "__main__":
    unittest.main(verbosity=2)
