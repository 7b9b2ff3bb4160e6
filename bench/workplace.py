"""Where stages are run: one layout in a client folder of the laboratory, and the release that it is to become."""

import os
import shutil
from pathlib import Path

from lab.laboratory import ROOT

NATIVE = Path(os.environ.get("VANDREL_NATIVE_BUILD_DIR", ROOT / "build" / "native"))


class Workplace:
    """`store` is the layout's Store. The folder stands in its old version, and can be put back to it."""

    def __init__(self, lab, meter, store):
        self.lab, self.meter, self.store = lab, meter, store
        self.scene = lab.scene("bench")
        self.folder = self.scene.folder.path
        self.release = None
        if store.layout.case_blind:
            lab.prefix.environment["LD_PRELOAD"] = str(NATIVE / "libcase_blind.so")
        self.reset()

    def close(self):
        self.scene.close()
        self.lab.prefix.environment.pop("LD_PRELOAD", None)

    def reset(self):
        """The client's folder holds the old version, and nothing else; no job has left anything."""
        self.scene.folder.remove()
        self.scene.folder.write(self.scene.old)
        self.store.lay_out("old", self.folder, self.store.layout.paths)
        shutil.rmtree(self.lab.prefix.roaming / "BrindlerQ3", ignore_errors=True)

    def serve(self, change):
        """Serves the release that changes that share of the files."""
        self.release = self.store.release(self.scene, change)
        self.scene.endpoint.serve(self.release, self.lab.key)

    def begin_at(self, action, pid):
        """The meter begins at the next request of that kind, for the process that the function `pid` tells, before the
        endpoint answers."""
        def script(request):
            if request.query.get("action") == action:
                self.scene.endpoint.script = None
                self.meter.begin(pid())
        self.scene.endpoint.script = script
