"""The publisher's side: vandrel-release, the tree of releases that it makes, and its endpoint as a process."""

import shutil
import subprocess
import threading

from .job import HELPER
from .waiting import LabFailure


class Publisher:
    """Works in the folder `work`, which is there already and stays: its tree is `tree`. `tool` is vandrel-release,
    `key` the private key's file."""

    def __init__(self, work, tool, key):
        self.tree, self.port = work / "tree", None
        self._work, self._tool, self._key = work, tool, key
        self._server = self._reader = None

    def publish(self, number, files):
        """Signs and publishes release `number` of `files` (content by path); gives the tool's line. Raises LabFailure
        with the tool's words."""
        folder = self._work / f"release {number}"
        for name, content in files.items():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            (folder / name).write_bytes(content)
        without = [] if HELPER in files else ["--without-helper"]
        result = subprocess.run([self._tool, "publish", "--folder", folder, "--release", str(number), "--key",
                                 self._key, "--tree", self.tree, "--allow-development-key", *without],
                                capture_output=True, text=True, check=False)
        shutil.rmtree(folder)
        if result.returncode != 0:
            raise LabFailure(f"publishing failed: {result.stderr}")
        return result.stdout.strip()

    def serve(self, *certificate, port=0):
        """Serves the tree until stop(), on `port` (0: any, told by the attribute). `certificate` are the tool's
        switches for it. Gives the tool's line; raises LabFailure if it doesn't come to serving."""
        self._server = subprocess.Popen([self._tool, "serve", "--tree", self.tree, "--port", str(port), *certificate],
                                        stdout=subprocess.PIPE, text=True)
        line = self._server.stdout.readline().strip()
        if not line.startswith("serving "):
            self.stop()
            raise LabFailure(f"the endpoint doesn't start: {line}")
        self.port = int(line.rsplit(":", 1)[1].split("/")[0])
        # It tells of each request: somebody has to listen.
        self._reader = threading.Thread(target=self._server.stdout.read, daemon=True)
        self._reader.start()
        return line

    @property
    def server_pid(self):
        return self._server.pid

    def stop(self):
        if not self._server:
            return
        self._server.terminate()
        try:
            self._server.wait(5)
        except subprocess.TimeoutExpired:
            self._server.kill()
            self._server.wait()
        if self._reader:
            self._reader.join()
        self._server.stdout.close()
        self._server = self._reader = None
