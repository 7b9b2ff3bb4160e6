#!/usr/bin/env python3
"""Interrupted installations, as an earlier process would have left them on disk: what the next start makes of them."""

import secrets
import unittest

from harness.interruption import kill_during_install
from harness.job import wait_until
from harness.lab import HelperTest
from harness.release import record, sha256

OFFER = "Uma instalacao interrompida precisa ser restaurada."
RESTORED = "Versao anterior restaurada. Tente atualizar novamente quando desejar."


class Restoration(HelperTest):
    """An interrupted release 7 with three files: data/a.dat and data/b.dat replaced, data/sub/new.dat added."""

    def setUp(self):
        super().setUp()
        self.folder.write({"data/b.dat": b"b1"})
        self.before = {**self.old_files(), "data/b.dat": b"b1"}
        self.new = {"data/a.dat": b"a2" * 700, "data/b.dat": b"b2", "data/sub/new.dat": b"n2"}
        self.old_job = secrets.token_hex(16)

    def interrupt(self, installed, publish=True):
        """Brings the disk to where `installed` of the new files are in place."""
        release = self.release(self.new)
        manifest = release.manifest(self.lab.key)
        paths = list(release.files)
        plan = [(paths.index(path), self.before.get(path)) for path in self.new]
        document = record(self.old_job, manifest, plan)
        store = f".vandrel-updater/{self.old_job}"
        self.folder.write({f"{store}/staging.transaction": document})
        for path, content in self.new.items():
            if path not in installed:
                self.folder.write({f"{store}/files/{path}": content})
                continue
            self.folder.write({path: content})
            if path in self.before:
                self.folder.write({f"{store}/backup/{path}": self.before[path]})
        if publish:
            self.folder.write({".vandrel-updater/active.transaction": document})

    def start(self):
        self.lab.relay.port = None  # a restoration needs no server
        self.client = self.start_client()
        return self.start_job(self.client)

    def restore(self, files=3):
        """Goes through the restoration of so many files to the end of the job."""
        job = self.start()
        offer = job.wait_for_state("update_available", "error")
        self.assertEqual((OFFER, 7, files), (offer["detail"], offer["release"], offer["pendingFiles"]))
        job.command("apply")
        status = job.wait_for_state("handoff")
        self.assertEqual("Fechando cliente para restaurar arquivos anteriores...", status["detail"])
        self.client.close()
        self.assertEqual(0, job.wait_end())
        return job

    def test_every_stage_of_an_interrupted_installation_is_taken_back(self):
        for installed in ([], ["data/a.dat"], ["data/a.dat", "data/b.dat"], list(self.new)):
            with self.subTest(installed=installed):
                self.interrupt(installed)
                job = self.restore()
                self.assertEqual(("current", RESTORED), (job.status()["state"], job.status()["detail"]))
                self.assert_files(self.before)
                self.assertEqual([], self.folder.store())
                wait_until(job.starts, "start of the client")
                self.assertEqual(["--vandrel-update-recovered"], job.starts())

    def test_a_target_that_is_missing_is_put_back_from_its_backup(self):
        self.interrupt(["data/a.dat"])
        (self.folder.path / "data/a.dat").unlink()
        self.assertEqual(RESTORED, self.restore().status()["detail"])
        self.assert_files(self.before)

    def test_files_that_nobody_can_account_for_stop_the_restoration_untouched(self):
        backup = f".vandrel-updater/{self.old_job}/backup/data/a.dat"
        cases = [
            ({"data/a.dat": b"edited"}, "Arquivo alterado externamente; recuperacao interrompida."),
            ({backup: b"damaged"}, "Backup de recuperacao nao confere."),
            ({"data/sub/new.dat": b"edited"}, "Arquivo novo alterado externamente; recuperacao interrompida."),
        ]
        for edited, detail in cases:
            with self.subTest(detail):
                self.interrupt(list(self.new))
                self.folder.write(edited)
                job = self.restore()
                self.assertEqual(("error", detail), (job.status()["state"], job.status()["detail"]))
                for path, content in edited.items():
                    self.assertEqual(content, self.folder.read(path))
                self.assertIn("active.transaction", self.folder.store())
                self.assertEqual([], job.starts())

    def test_a_missing_backup_stops_the_restoration(self):
        self.interrupt(list(self.new))
        (self.folder.path / ".vandrel-updater" / self.old_job / "backup/data/a.dat").unlink()
        job = self.restore()
        self.assertEqual("Arquivo anterior sem backup valido.", job.status()["detail"])
        self.assert_files({**self.before, "data/a.dat": self.new["data/a.dat"]})

    def test_a_cancel_leaves_all_as_it_is_and_the_next_start_offers_it_again(self):
        self.interrupt(["data/a.dat"])
        files, store = self.folder.digests(), self.folder.store()
        job = self.start()
        job.wait_for_state("update_available")
        job.command("cancel")
        self.assert_end(job, 1, "cancelled", "Atualizacao cancelada.")
        self.client.close()
        self.assertEqual((files, store), (self.folder.digests(), self.folder.store()))
        self.assertEqual(RESTORED, self.restore().status()["detail"])
        self.assert_files(self.before)

    def test_a_record_that_cant_be_read_stops_every_start_with_the_readers_words_and_stays(self):
        self.interrupt(["data/a.dat"])
        active = self.folder.path / ".vandrel-updater" / "active.transaction"
        good = active.read_bytes()
        manifest_end = 40 + int.from_bytes(good[36:40], "little")
        cases = [
            (good[:43], "Registro de recuperacao invalido."),
            (b"VUT2" + good[4:], "Registro de recuperacao invalido."),
            (good[:4] + b"g" + good[5:], "Job de recuperacao invalido."),
            (good[:manifest_end - 1], "Manifesto de recuperacao truncado."),
            (good[:36] + (16777217).to_bytes(4, "little") + good[40:], "Manifesto de recuperacao truncado."),
            (good[:60] + b"?" + good[61:], "Assinatura digital do manifesto rejeitada."),
            (good[:manifest_end + 3], "Plano de recuperacao invalido."),
            (good[:manifest_end] + (9).to_bytes(4, "little") + good[manifest_end + 4:], "Plano de recuperacao invalido."),
            (good[:-1], "Entrada de recuperacao invalida."),
            (good[:manifest_end + 8] + b"\2" + good[manifest_end + 9:], "Entrada de recuperacao invalida."),
            (good + b"\0", "Dados extras no registro de recuperacao."),
            (good + bytes(33554433 - len(good)), "Arquivo excede o limite permitido."),
        ]
        files = self.folder.digests()
        job = self.start()
        job.wait_for_state("update_available")
        job.kill()
        for document, detail in cases:
            with self.subTest(detail=detail, size=len(document)):
                active.write_bytes(document)
                job = self.start_job(self.client)
                self.assert_end(job, 1, "error", detail)
                self.assertEqual(document, active.read_bytes())
                self.assertEqual(files, self.folder.digests())

    def test_a_helper_killed_between_two_files_is_taken_back_at_the_next_start(self):
        scripts = {f"modules/{number:02}.lua": b"old %d" % number for number in range(40)}
        changed = {path: content + b" new" for path, content in scripts.items()}
        self.folder.write(scripts)
        before = {**self.before, **scripts}
        for replaced in (1, 20, 39):
            with self.subTest(replaced=replaced):
                self.serve({**scripts, **changed, "data/added.dat": b"x"})
                self.lab.relay.port = self.endpoint.port
                client = self.start_client()
                job = self.start_job(client)
                job.wait_for_state("update_available")
                job.command("apply")
                job.wait_for_state("handoff")
                client.close()
                kill_during_install(job, replaced)
                found = self.folder.digests()
                new = [path for path in changed if found.get(path) == sha256(changed[path]).hex()]
                self.assertTrue(replaced - 1 <= len(new) <= 40, new)
                self.assertIn("active.transaction", self.folder.store())
                self.restore(files=41)
                self.assert_files(before)
                self.assertEqual([], self.folder.store())

    def test_a_staged_folder_without_an_active_record_is_no_restoration(self):
        self.interrupt([], publish=False)
        self.serve({})
        store = self.folder.store()
        job = self.start_job(self.start_client())
        self.assert_end(job, 0, "current", "Cliente atualizado.")
        self.assertEqual(store, self.folder.store())


if __name__ == "__main__":
    unittest.main(verbosity=2)
