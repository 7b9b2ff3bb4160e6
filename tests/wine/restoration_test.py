#!/usr/bin/env python3
"""An interrupted installation, as an earlier process would have left it on disk: what the next start makes of it."""

import secrets
import unittest

from fixture import CANCELLED, HANDOFF, OFFER, RECOVERED, RESTORED, UP_TO_DATE, HelperTest
from lab.folder import STORE
from lab.release import Release, record


class Restoration(HelperTest):
    """Of an interrupted release 7 with four files data/a.dat is replaced, data/b.dat between its two versions,
    data/sub/new.dat added, and init.lua not touched yet."""

    def setUp(self):
        super().setUp()
        self.scene.add({"data/b.dat": b"b1"})
        self.old_job = secrets.token_hex(16)
        new = {"data/a.dat": b"a2" * 700, "data/b.dat": b"b2", "data/sub/new.dat": b"n2", "init.lua": b"-- second\n"}
        release = Release(7, {**self.scene.old, **new})
        paths = list(release.files)
        self.document = record(self.old_job, release.manifest(self.lab.key),
                               [(paths.index(path), self.scene.old.get(path)) for path in new])
        store = f"{STORE}/{self.old_job}"
        self.folder.write({f"{STORE}/active.transaction": self.document, f"{store}/staging.transaction": self.document,
                           f"{store}/files/data/b.dat": b"b2", f"{store}/files/init.lua": new["init.lua"],
                           "data/a.dat": new["data/a.dat"], "data/sub/new.dat": b"n2"})
        (self.folder.path / "data/b.dat").unlink()
        for path in ("data/a.dat", "data/b.dat"):
            self.folder.write({f"{store}/backup/{path}": self.scene.old[path]})
        self.lab.relay.port = None  # a restoration needs no server

    def restore(self):
        job = self.scene.reach(state=OFFER)
        offer = job.status()
        self.assertEqual(("Uma instalacao interrompida precisa ser restaurada.", 7, 4),
                         (offer["detail"], offer["release"], offer["pendingFiles"]))
        job.command("apply")
        handoff = job.wait_for_state(HANDOFF)
        self.assertEqual("Fechando cliente para restaurar arquivos anteriores...", handoff["detail"])
        self.assertEqual(0, job.finish())
        return job

    def test_a_cancelled_restoration_leaves_all_as_it_is_and_the_next_one_takes_the_installation_back(self):
        files, store = self.folder.digests(), self.folder.store()
        job = self.scene.reach("cancel", state="cancelled")
        self.assert_end(job, 1, "cancelled", CANCELLED)
        job.client.close()
        self.assertEqual((files, store), (self.folder.digests(), self.folder.store()))
        job = self.restore()
        self.assertEqual(("current", RESTORED), (job.status()["state"], job.status()["detail"]))
        self.assert_untouched()
        self.assertEqual([RECOVERED], job.starts())

    def test_a_file_that_nobody_can_account_for_stops_the_restoration_untouched(self):
        self.folder.write({"data/a.dat": b"edited"})
        job = self.restore()
        self.assertEqual("Arquivo alterado externamente; recuperacao interrompida.", job.status()["detail"])
        self.assertEqual(b"edited", (self.folder.path / "data/a.dat").read_bytes())
        self.assertIn("active.transaction", self.folder.store())
        self.assertTrue(job.has_started_none())

    def test_a_record_of_a_manifest_that_is_not_the_publishers_stops_every_start_and_stays(self):
        forged = self.document[:60] + b"?" + self.document[61:]
        self.folder.active_record.write_bytes(forged)
        files = self.folder.digests()
        self.assert_end(self.scene.start_job(), 1, "error", "Assinatura digital do manifesto rejeitada.")
        self.assertEqual((forged, files), (self.folder.active_record.read_bytes(), self.folder.digests()))

    def test_a_staged_folder_without_an_active_record_is_no_restoration(self):
        self.folder.active_record.unlink()
        self.folder.write(self.scene.old)
        self.lab.relay.port = self.endpoint.port
        self.scene.serve({})
        store = self.folder.store()
        self.assert_end(self.scene.start_job(), 0, "current", UP_TO_DATE)
        self.assertEqual(store, self.folder.store())


if __name__ == "__main__":
    unittest.main(verbosity=2)
