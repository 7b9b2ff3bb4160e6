"""A Wine prefix: how it is made, how its programs are run, and how it is put away."""

import os
import re
import shutil
import subprocess
from functools import cached_property
from pathlib import Path

from .waiting import LabFailure

# Wine 8.0 needs the address 0x7ffe0000 in every process. A kernel that may put a program's heap anywhere in its first
# gigabyte takes it now and then, and one in a thousand starts fails: "failed to map the shared user data". So nothing
# is put anywhere at random; the programs that Wine's own programs start inherit that.
STEADY = ["setarch", "-R"]
if subprocess.run([*STEADY, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
    STEADY = []  # a sandbox may forbid it


class WinePrefix:
    """One prefix in `folder`. Everything that the helper touches lies on its drive C:, which is no link. The programs'
    environment is this process's, without its proxies and its display, with what `environment` adds."""

    def __init__(self, folder, environment=None):
        self.folder = Path(folder).resolve()
        self.drive_c = self.folder / "drive_c"
        self.environment = dict(os.environ)
        self.environment.update(WINEPREFIX=str(self.folder), WINEDEBUG="-all", WINEDLLOVERRIDES="mscoree=;mshtml=",
                                LC_ALL="C.UTF-8")
        for name in ("http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "DISPLAY"):
            self.environment.pop(name, None)
        self.environment.update(environment or {})

    def create(self):
        """Makes the prefix, unless it stands complete; removes one whose making was broken off. It takes seconds."""
        complete = self.folder / "complete"
        if complete.exists():
            return
        self.remove()
        self.folder.mkdir(parents=True)
        self._wine_tool("wineboot", "-i")
        self._wine_tool("wineserver", "-w")
        if not (self.folder / "system.reg").exists():
            raise LabFailure(f"wineboot made no prefix in {self.folder}")
        complete.touch()

    def keep_server(self):
        """Starts Wine's server, which else would come and go with each program, unless it runs. stop() ends it."""
        self._wine_tool("wineserver", "-p")

    @cached_property
    def _folders(self):
        told = self.run(r"C:\windows\system32\cmd.exe", "/c", "echo %APPDATA%&echo %TMP%").stdout.decode()
        return [self.unix_path(line.strip()) for line in told.split("\r\n")[:2]]

    @property
    def roaming(self):
        """The roaming application data folder."""
        return self._folders[0]

    @property
    def temporary(self):
        """The folder for temporary files."""
        return self._folders[1]

    def _wine_tool(self, *command):
        subprocess.run([*STEADY, *command], env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=120, check=False)

    def windows_path(self, path):
        return "\\".join(["C:", *Path(path).relative_to(self.drive_c).parts])

    def unix_path(self, path):
        if not path.startswith("C:\\"):
            raise LabFailure(f"not on drive C: {path!r}")
        return self.drive_c.joinpath(*path[3:].split("\\"))

    def start(self, program, *arguments, environment=None, **options):
        """Starts a program, given by its path on either side; gives the Popen of its process. Silent, without input,
        unless `options` (Popen's) say otherwise."""
        program = program if isinstance(program, str) else self.windows_path(program)
        for stream in ("stdin", "stdout", "stderr"):
            options.setdefault(stream, subprocess.DEVNULL)
        return subprocess.Popen([*STEADY, "wine", program, *arguments], env={**self.environment, **(environment or {})},
                                cwd=self.drive_c, **options)

    def run(self, program, *arguments, timeout=60):
        """Runs a program to its end; gives a CompletedProcess with its output. After `timeout` seconds it is killed,
        and subprocess.TimeoutExpired raised."""
        process = self.start(program, *arguments, stdout=subprocess.PIPE)
        try:
            output, _ = process.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            process.kill()
            process.communicate()
            raise
        return subprocess.CompletedProcess(program, process.returncode, output)

    def trust(self, certificate, install_root):
        """Puts a certificate (DER) into the machine's Root store, with the program `install_root`."""
        folder = self.drive_c / "trust"
        folder.mkdir(exist_ok=True)
        for file in (certificate, install_root):
            shutil.copy(file, folder)
        result = self.run(folder / Path(install_root).name, self.windows_path(folder / Path(certificate).name))
        if result.returncode != 0:
            raise LabFailure(f"the certificate isn't trusted: {result.stdout.decode()}")

    def stop(self):
        """Ends every process of the prefix."""
        if self.folder.exists():
            self._wine_tool("wineserver", "-k")
            self._wine_tool("wineserver", "-w")

    def remove(self):
        """Ends every process of the prefix and removes it, with the server's own folder, which Debian's Wine makes
        beneath /tmp and names in the file `wineserver`."""
        self.stop()
        note = self.folder / "wineserver"
        if note.is_file() and re.fullmatch(r"wine-\w{6}", note.read_text()):
            shutil.rmtree(Path("/tmp") / note.read_text(), ignore_errors=True)
        shutil.rmtree(self.folder, ignore_errors=True)
