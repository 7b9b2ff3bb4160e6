"""What the tests share: one laboratory for a whole test program, a scene for each test, and verdicts."""

import atexit
import functools
import json
import sys
import unittest
from pathlib import Path

from jsonschema import Draft202012Validator

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))
from lab.folder import digests_of_contents  # noqa: E402
from lab.laboratory import Laboratory  # noqa: E402

OFFER, HANDOFF = "update_available", "handoff"
INSTALLED, UP_TO_DATE, CANCELLED = "Atualizacao instalada.", "Cliente atualizado.", "Atualizacao cancelada."
RESTORED = "Versao anterior restaurada. Tente atualizar novamente quando desejar."
RECOVERED = "--vandrel-update-recovered"


@functools.cache
def the_lab():
    lab = Laboratory.from_environment()
    atexit.register(lab.close)
    return lab


def assert_documented(kind, document):
    """A document is what docs/schema says of its kind, "status" or "command"."""
    schema = json.loads((ROOT / "docs" / "schema" / f"{kind}.schema.json").read_text())
    Draft202012Validator(schema).validate(document)


class HelperTest(unittest.TestCase):
    """Before each test: a complete client folder in which nothing runs, and a healthy, empty endpoint."""

    maxDiff = None

    def setUp(self):
        self.lab = the_lab()
        self.scene = self.lab.scene(self.id().rsplit(".", 1)[1], self.client_file())
        self.addCleanup(self.scene.close)
        self.addCleanup(self.assert_documented_statuses)
        self.endpoint, self.folder = self.lab.endpoint, self.scene.folder

    def client_file(self):
        return self.lab.client

    def assert_documented_statuses(self):
        for job in self.scene.jobs:
            for document in filter(None, [*job.documents, job.status()]):
                assert_documented("status", document)

    def assert_files(self, files):
        """Every file of the folder is exactly what `files` (content by path) says, and there is no other."""
        self.assertEqual(digests_of_contents(files), self.folder.digests())

    def assert_untouched(self):
        self.assert_files(self.scene.old)
        self.assertIn(self.folder.store(), (None, []))

    def assert_end(self, job, code, state, detail):
        """The job ends with this exit code, and leaves as its last state this one, in words that `detail` matches."""
        self.assertEqual(code, job.wait_end())
        self.assertEqual(state, job.status()["state"], job.status())
        self.assertRegex(job.status()["detail"], f"^{detail}$")
