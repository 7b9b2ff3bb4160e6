#!/usr/bin/env python3
"""Refused command lines: the exact words in the status file, or none where the helper must not write one."""

import shutil
import unittest

from harness.job import HELPER
from harness.lab import HelperTest

START = "Este auxiliar deve ser iniciado pela interface Vandrel."
REPEATED = "Argumento repetido."
UNKNOWN = "Argumento desconhecido."
CHANNEL = "Auxiliar x64 requer canal 64."
BACKEND = "Backend invalido."
BAD_PID = "PID invalido."
NO_PID = "PID do cliente obrigatorio."
FOLDER = "Pasta do cliente invalida."
INCOMPLETE = "Pasta sem cliente Vandrel completo."
TEMPORARY = "Auxiliar temporario fora do diretorio esperado."
SILENT = None

# Switches changed against a good command line (None leaves one out), what is appended to it, and the words.
REFUSALS = [
    ({"CHECK": None}, [], START),
    ({}, ["/check"], REPEATED),
    ({}, ["", ""], REPEATED),
    ({}, ["=a", "=b"], REPEATED),
    ({}, ["/arch=32", "/unknown"], REPEATED),
    ({}, [""], UNKNOWN),
    ({}, ["/verbose"], UNKNOWN),
    ({}, ["check"], UNKNOWN),
    ({"CHECK": None}, ["/verbose"], UNKNOWN),
    ({"ARCH": "32"}, [], CHANNEL),
    ({"ARCH": "064"}, [], CHANNEL),
    ({"ARCH": None}, [], CHANNEL),
    ({"ARCH": None, "CLIENT": "x"}, [], CHANNEL),
    ({"CLIENT": "Brindler_dx_x64.exe"}, [], BACKEND),
    ({"CLIENT": "brindler_dx_x86.exe"}, [], BACKEND),
    ({"CLIENT": ".\\brindler_dx_x64.exe"}, [], BACKEND),
    ({"CLIENT": None}, [], BACKEND),
    ({"JOB": "0" * 31}, [], SILENT),
    ({"JOB": "g" + "0" * 31}, [], SILENT),
    ({"JOB": "0" * 32}, [], SILENT),
    ({"STATUS": None}, [], SILENT),
    ({"WAITPID": None}, [], BAD_PID),
    ({"WAITPID": "12a"}, [], BAD_PID),
    ({"WAITPID": "+12"}, [], BAD_PID),
    ({"WAITPID": "-12"}, [], BAD_PID),
    ({"WAITPID": " 12"}, [], BAD_PID),
    ({"WAITPID": "00000000000"}, [], BAD_PID),
    ({"WAITPID": "4294967296"}, [], "PID fora do limite."),
    ({"WAITPID": "9999999999"}, [], "PID fora do limite."),
    ({"WAITPID": "0"}, [], NO_PID),
    ({"WAITPID": "0000000000"}, [], NO_PID),
    ({"CLIENT": "brindler_gl_x64.exe"}, [], INCOMPLETE),
    ({}, ["/ROOT=C:\\windows"], "ROOT reservado ao auxiliar temporario."),
    ({}, ["/RELOCATED"], FOLDER),
    ({}, ["/RELOCATED", "/ROOT=windows"], FOLDER),
    ({}, ["/RELOCATED", "/ROOT=C:windows"], FOLDER),
    ({}, ["/RELOCATED", "/ROOT=C:\\nothing here"], FOLDER),
    ({}, ["/RELOCATED", "/ROOT=C:\\windows"], INCOMPLETE),
]


class CommandLine(HelperTest):
    def refuse(self, arguments, detail, job, program=None):
        job.start_helper(arguments, program)
        self.assertEqual(1, job.wait_end())
        status = job.status()
        if detail is SILENT:
            self.assertIsNone(status)
        else:
            self.assertEqual({"jobId": job.id, "state": "error", "progress": 0, "detail": detail, "release": 0,
                              "pendingFiles": 0}, status)
        self.assertEqual([], self.endpoint.requests)

    def test_each_fault_has_its_words_and_the_earliest_wins(self):
        client = self.start_client()
        for changes, more, detail in REFUSALS:
            with self.subTest(changes=changes, more=more):
                job = self.make_job()
                self.refuse(job.arguments(client.pid, **changes) + more, detail, job)

    def test_a_start_by_hand_ends_with_1_and_writes_nothing(self):
        self.refuse([], SILENT, self.make_job())

    def test_job_and_status_alone_are_enough_for_a_report(self):
        job = self.make_job()
        status = self.lab.prefix.windows_path(job.status_file)
        self.refuse([f"/Job={job.id.upper()}", f"/sTATUS={status}", "junk"], UNKNOWN, job)
        self.refuse([f"/JOB={job.id}", f"/STATUS={status}"], START, job)

    def test_a_status_file_at_any_other_place_is_never_written(self):
        client = self.start_client()
        job = self.make_job()
        job.updater.mkdir(parents=True, exist_ok=True)
        name = f"{job.id}.status.json"
        brindler = self.lab.prefix.roaming / "BrindlerQ3"
        (brindler / "lab" / "deep" / "updater").mkdir(parents=True, exist_ok=True)
        (brindler / "updater").mkdir(exist_ok=True)
        (self.lab.prefix.drive_c / "lab" / "updater").mkdir(exist_ok=True)
        profile = self.lab.prefix.windows_path(brindler)
        for status in (rf"{profile}\lab\{name}", rf"{profile}\lab\Updater\{name}", rf"{profile}\lab\deep\updater\{name}",
                       rf"{profile}\updater\{name}", rf"C:\lab\updater\{name}", rf"updater\{name}", rf"C:updater\{name}",
                       rf"{profile}\lab\updater\x{name}", rf"{profile}\lab\updater\{name.upper()}",
                       rf"{profile}\..\updater\{name}", rf"{profile}\.\updater\{name}"):
            with self.subTest(status=status):
                self.refuse(job.arguments(client.pid, STATUS=status), SILENT, job)
                self.assertEqual([], list(self.lab.prefix.drive_c.rglob(f"*{job.id}*")))

    def test_a_redirected_profile_is_refused_without_a_word(self):
        job = self.make_job(profile="lab-link")
        brindler = self.lab.prefix.roaming / "BrindlerQ3"
        target = brindler / "lab-real"
        (target / "updater").mkdir(parents=True, exist_ok=True)
        link = brindler / "lab-link"
        link.unlink(missing_ok=True)
        link.symlink_to(target)
        try:
            self.refuse(job.arguments(self.start_client().pid), SILENT, job)
            self.assertEqual([], list((target / "updater").iterdir()))
        finally:
            link.unlink()

    def test_an_incomplete_client_folder_is_refused(self):
        client = self.start_client()
        for path, make in (("init.lua", None), ("data", None), ("modules", None), ("init.lua", "folder"),
                           ("data", "file"), ("modules", "file")):
            with self.subTest(path=path, make=make):
                item = self.folder.path / path
                shutil.rmtree(item) if item.is_dir() else item.unlink()
                if make == "folder":
                    item.mkdir()
                elif make == "file":
                    item.touch()
                job = self.make_job()
                self.refuse(job.arguments(client.pid), INCOMPLETE, job)
                if make:
                    item.rmdir() if item.is_dir() else item.unlink()
                self.folder.write(self.old_files() if not item.exists() else {})

    def test_a_client_folder_behind_a_link_is_refused(self):
        link = self.lab.prefix.drive_c / "lab" / "linked"
        link.unlink(missing_ok=True)
        link.symlink_to(self.folder.path)
        try:
            job = self.make_job()
            self.refuse(job.arguments(self.start_client().pid), FOLDER, job, program=rf"C:\lab\linked\{HELPER}")
        finally:
            link.unlink()

    def test_a_relocated_start_from_anywhere_but_its_place_is_refused(self):
        client = self.start_client()
        job = self.make_job()
        root = ["/RELOCATED", f"/ROOT={self.lab.prefix.windows_path(self.folder.path)}"]
        self.refuse(job.arguments(client.pid) + root, TEMPORARY, job)
        elsewhere = self.lab.prefix.temporary / "VandrelUpdater" / ("0" * 32)
        elsewhere.mkdir(parents=True, exist_ok=True)
        shutil.copy(self.folder.path / HELPER, elsewhere)
        self.refuse(job.arguments(client.pid) + root, TEMPORARY, job, program=elsewhere / HELPER)


class Proof(HelperTest):
    """Command lines that are good as such, for processes that aren't what they say."""

    def end_with_error(self, job, detail):
        self.assertEqual(1, job.wait_end())
        self.assertEqual(("error", detail), (job.status()["state"], job.status()["detail"]))
        self.assertEqual([], self.endpoint.requests)

    def test_a_number_that_is_no_process_is_refused_with_the_systems_number(self):
        job = self.make_job()
        job.start_helper(job.arguments(4294967292))
        self.assertEqual(1, job.wait_end())
        self.assertRegex(job.status()["detail"], r"^Abrir processo do cliente \(87\)")

    def test_a_client_of_another_folder_is_refused(self):
        other = self.make_folder("other folder")
        self.addCleanup(other.remove)
        job = self.start_job(self.start_client(other))
        self.end_with_error(job, "PID nao pertence ao backend desta pasta.")

    def test_the_other_backend_of_this_folder_is_refused(self):
        self.folder.write({"brindler_gl_x64.exe": self.lab.client})
        job = self.start_job(self.start_client(), CLIENT="brindler_gl_x64.exe")
        self.end_with_error(job, "PID nao pertence ao backend desta pasta.")

    def test_switches_in_any_case_and_upper_case_digits_pass(self):
        self.serve({})
        client = self.start_client()
        job = self.make_job()
        good = job.arguments(client.pid, JOB=job.id.upper(), WAITPID=f"{client.pid:010}")
        changed = [key.lower() + equals + value for key, equals, value in (item.partition("=") for item in good)]
        job.start_helper(["/cHeCk=no", *changed[1:]])
        self.assertEqual(0, job.wait_end())
        self.assertEqual("Cliente atualizado.", job.status()["detail"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
