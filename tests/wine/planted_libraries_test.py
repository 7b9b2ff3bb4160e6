#!/usr/bin/env python3
"""Libraries that somebody has put beside the helper, in the client's folder and in the temporary copy's, under the
names that the helper and all that it loads may ask for. Wine prefers its own libraries, unless it is told to take those
that it finds; it is told so here."""

import re
import secrets
import shutil
import tempfile
import unittest
from pathlib import Path

from fixture import HANDOFF, INSTALLED, OFFER, HelperTest
from lab.job import HELPER
from lab.planted import NAMES, build_library
from lab.waiting import wait_until

# They are there before a program is, and Wine starts none without its own.
SYSTEM = {"kernel32", "kernelbase", "ntdll"}

# What runs all the same, and why.
ALLOWED = {
    "msvcrt": "a known library of Windows, which never takes it from beside a program; Wine has no such list",
    "crypt32": "loaded late by Wine's winhttp, by a call of Wine's own that asks nobody where libraries come from",
    "secur32": "the same",
}
FOLDERS = ("client's", "copy's")


class PlantedLibraries(HelperTest):
    def setUp(self):
        super().setUp()
        self.library = Path(tempfile.mkdtemp()) / "planted.dll"
        self.addCleanup(shutil.rmtree, self.library.parent)
        build_library(self.library)

    def set_up_again(self):
        self.scene.close()
        self.scene = self.lab.scene(f"planted {secrets.token_hex(4)}")
        self.folder = self.scene.folder
        self.scene.serve({"data/a.dat": b"a2"})

    def update(self, job, trace):
        """An update from its start to its end, if it comes that far with what is planted beside it."""
        overrides = {"WINEDLLOVERRIDES": ",".join(NAMES) + "=n,b", "WINEDEBUG": "+loaddll"}
        job.updater.mkdir(parents=True, exist_ok=True)
        helper = self.lab.prefix.start(self.folder.path / HELPER, *job.arguments(job.client.pid), environment=overrides,
                                       stderr=trace)

        def reached(state):
            wait_until(lambda: not job.processes() or (job.status() or {}).get("state") == state, state)
        reached(OFFER)
        job.command("apply")
        reached(HANDOFF)
        job.client.close()
        wait_until(lambda: not job.processes(), "the helper's end")
        helper.wait(10)

    def look(self, planted):
        """Runs an update with these (folder, name) planted, in a new scene. Gives the job, those that the helper has
        run or, if it came to no good end, loaded, and the names of all libraries that were loaded."""
        self.set_up_again()
        job = self.scene.make_job()
        job.client = self.scene.start_client()  # before anything is planted: what a client loads is no matter of this
        copy = self.lab.prefix.temporary / "VandrelUpdater" / job.id
        copy.mkdir(parents=True)
        self.addCleanup(shutil.rmtree, copy)
        files = {(folder, name): place / f"{name}.dll"
                 for folder, place in zip(FOLDERS, (self.folder.path, copy)) for name in NAMES}
        for one in planted:
            shutil.copy(self.library, files[one])
        with tempfile.TemporaryFile() as trace:
            self.update(job, trace)
            trace.seek(0)
            loaded = [path.replace(r"\\", "\\").lower() for path in
                      re.findall(r'Loaded L"([^"]+)\.dll" at', trace.read().decode())]
        ended_well = job.status() and job.status()["detail"] == INSTALLED

        def taken(one):
            mark = files[one].with_suffix(".dll.ran")
            return (mark.exists() and HELPER in mark.read_text() or not ended_well and
                    self.lab.prefix.windows_path(files[one].with_suffix("")).lower() in loaded)
        return job, set(filter(taken, planted)), {path.rpartition("\\")[2] for path in loaded}

    def test_none_runs_but_those_that_the_helper_has_no_say_in(self):
        left = {(folder, name) for folder in FOLDERS for name in NAMES}
        ran, loaded, found = set(), set(), None
        while found != set():  # one that runs may keep others from being asked for
            job, found, more = self.look(left)
            left -= found
            ran |= found
            loaded |= more
        self.assertEqual({(folder, name) for folder in FOLDERS for name in ALLOWED}, ran)
        self.assertEqual(INSTALLED, job.status()["detail"])
        self.assertEqual(set(), loaded - SYSTEM - set(NAMES), "loaded, but never planted")
        self.assertLess({"bcrypt", "shell32", "winhttp"}, loaded)

    def test_without_a_library_the_helper_ends_by_itself(self):
        missing = self.lab.prefix.start(self.folder.path / HELPER, environment={"WINEDLLOVERRIDES": "shell32="})
        self.assertEqual(1, missing.wait(30))


if __name__ == "__main__":
    unittest.main(verbosity=2)
