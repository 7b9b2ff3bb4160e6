#!/usr/bin/env python3
"""What a helper is started with: how the platform splits its command line, whose process it is told of, where its files
lie. The rules themselves are tested on the simulated Windows."""

import shutil
import time
import unittest

from fixture import OFFER, UP_TO_DATE, HelperTest
from lab.job import HELPER

FOLDER, UNKNOWN, TEMPORARY = ("Pasta do cliente invalida.", "Argumento desconhecido.",
                              "Auxiliar temporario fora do diretorio esperado.")
SILENT = None

# Switches changed against a good command line (None leaves one out), what is appended to it, and the words.
REFUSALS = [
    ({}, ["/check"], "Argumento repetido."),
    ({}, [""], UNKNOWN),
    ({}, ['/ARCH"=64\\'], UNKNOWN),
    ({"WAITPID": " 12"}, [], "PID invalido."),
    ({"STATUS": None}, [], SILENT),
    ({"CLIENT": "brindler_gl_x64.exe"}, [], "Pasta sem cliente Vandrel completo."),
    ({}, ["/RELOCATED", "/ROOT=C:\\nothing here\\"], FOLDER),
    ({}, ["/RELOCATED", "/ROOT=C:\\windows"], "Pasta sem cliente Vandrel completo."),
]


class CommandLine(HelperTest):
    def setUp(self):
        super().setUp()
        self.client = self.scene.start_client()

    def refuse(self, detail, **start):
        job = self.scene.start_job(self.client, **start)
        self.assert_refused(job, detail)
        return job

    def assert_refused(self, job, detail):
        self.assertEqual(1, job.wait_end())
        expected = {"jobId": job.id, "state": "error", "progress": 0, "detail": detail, "release": 0, "pendingFiles": 0}
        self.assertEqual(None if detail is SILENT else expected, job.status())
        self.assertEqual([], self.endpoint.requests)

    def test_each_fault_has_its_words(self):
        for changes, more, detail in REFUSALS:
            with self.subTest(changes=changes, more=more):
                self.refuse(detail, more=more, **changes)

    def test_a_start_by_hand_writes_nothing_and_job_and_status_alone_are_enough_for_a_report(self):
        for switches, detail in (((), SILENT), (("/Job=", "/sTATUS="), "Este auxiliar deve ser iniciado pela interface "
                                                                        "Vandrel.")):
            job = self.scene.make_job()
            values = (job.id.upper(), self.lab.prefix.windows_path(job.status_file))
            job.start_helper([switch + value for switch, value in zip(switches, values)])
            self.assert_refused(job, detail)

    def test_switches_in_any_case_and_names_beyond_ascii_pass(self):
        self.scene.serve({})
        job = self.scene.make_job(profile="Ação & cia €")
        good = job.arguments(self.client.pid, JOB=job.id.upper(), WAITPID=f"{self.client.pid:010}")
        changed = [key.lower() + equals + value for key, equals, value in (item.partition("=") for item in good)]
        job.start_helper(["/cHeCk=no", *changed[1:]])
        self.assert_end(job, 0, "current", UP_TO_DATE)

    def test_a_status_file_at_any_other_place_is_never_written(self):
        roaming = self.lab.prefix.roaming / "BrindlerQ3"
        (roaming / "updater").mkdir(parents=True, exist_ok=True)
        profile = self.lab.prefix.windows_path(roaming)
        for status in (rf"{profile}\updater\{{}}", rf"{profile}\.\updater\{{}}", r"C:\lab\{}", r"C:updater\{}"):
            with self.subTest(status=status):
                job = self.scene.make_job()
                job.start_helper(job.arguments(self.client.pid, STATUS=status.format(job.status_file.name)))
                self.assert_refused(job, SILENT)
                self.assertEqual([], list(self.lab.prefix.drive_c.rglob(f"*{job.id}*")))

    def link(self, path, target):
        path.unlink(missing_ok=True)
        path.symlink_to(target)
        self.addCleanup(path.unlink)

    def test_links_are_seen_wherever_they_lead(self):
        roaming = self.lab.prefix.roaming / "BrindlerQ3"
        (roaming / "lab-real" / "updater").mkdir(parents=True, exist_ok=True)
        self.link(roaming / "lab-link", "lab-real")
        self.refuse(SILENT, profile="lab-link")
        self.assertEqual([], list((roaming / "lab-real" / "updater").iterdir()))
        linked = self.folder.path.with_name("linked")
        self.link(linked, self.folder.path)
        self.refuse(FOLDER, program=linked / HELPER)
        (self.folder.path / "data" / "folder").mkdir()
        self.link(self.folder.path / "data" / "link", "folder")
        self.scene.serve({"data/link/x": b"x"})
        job = self.scene.start_job(self.client)
        self.assert_end(job, 1, "error", "Destino de download escapa da pasta permitida ou contem redirecionamento.")

    def relocation(self, job_id):
        """A copy of the helper where that job's belongs, and the switches with which it is started."""
        place = self.lab.prefix.temporary / "VandrelUpdater" / job_id
        place.mkdir(parents=True, exist_ok=True)
        shutil.copy(self.folder.path / HELPER, place)
        return place / HELPER, ["/RELOCATED", f"/ROOT={self.lab.prefix.windows_path(self.folder.path)}"]

    def test_a_relocated_start_from_anywhere_but_its_place_is_refused(self):
        elsewhere, switches = self.relocation("0" * 32)
        for program in (self.folder.path / HELPER, elsewhere):
            self.refuse(TEMPORARY, more=switches, program=program)

    def test_a_process_that_is_not_this_folders_client_is_no_proof(self):
        foreign = "PID nao pertence ao backend desta pasta."
        self.folder.write({"brindler_gl_x64.exe": self.lab.client})
        other = self.scene.start_client(self.scene.another_folder("other folder"))
        for pid, client, detail in ((4294967292, "dx", r"Abrir processo do cliente \(87\).*"),
                                    (other.pid, "dx", foreign), (self.client.pid, "gl", foreign)):
            with self.subTest(detail, client=client):
                job = self.scene.start_job(self.client, WAITPID=str(pid), CLIENT=f"brindler_{client}_x64.exe")
                self.assert_end(job, 1, "error", detail)
                self.assertEqual([], self.endpoint.requests)

    def test_a_second_helper_is_turned_away_and_a_copy_takes_over_a_killed_ones_lock(self):
        self.scene.serve({"data/a.dat": b"a2"})
        first = self.scene.start_job(self.client)
        first.wait_for_state(OFFER)
        self.assert_end(self.scene.start_job(self.client), 1, "error", "Outro atualizador esta usando esta pasta.")
        copy = self.scene.make_job()
        program, switches = self.relocation(copy.id)
        copy.start_helper(copy.arguments(self.client.pid) + switches, program)
        copy.wait_for_state("checking")
        time.sleep(0.5)  # by now it waits for the lock
        first.kill()
        copy.wait_for_state(OFFER)


if __name__ == "__main__":
    unittest.main(verbosity=2)
