"""A Wine prefix: where it lies, how its programs are run, and how it is put away."""

import os
import re
import shutil
import subprocess
from pathlib import Path


# Wine 8.0 needs the address 0x7ffe0000 in every process. A kernel that may put a program's heap anywhere in its first
# gigabyte takes it now and then, and one in a thousand starts fails: "failed to map the shared user data". So nothing
# is put anywhere at random; the programs that Wine's own programs start inherit that.
STEADY = ["setarch", "-R"]
if subprocess.run([*STEADY, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
    STEADY = []  # a sandbox may forbid it


class WinePrefix:
    """One prefix in `folder`. Everything that the helper touches lies on its drive C:, which is no link."""

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
        """Makes the prefix, unless it stands already, and finds its folders."""
        if not (self.folder / "system.reg").exists():
            self.folder.mkdir(parents=True, exist_ok=True)
            self._wine_tool("wineboot", "-i")
            self._wine_tool("wineserver", "-w")
        self._wine_tool("wineserver", "-p")
        lines = self.run(r"C:\windows\system32\cmd.exe", "/c", "echo %APPDATA%&echo %TMP%").stdout.decode().split("\r\n")
        self.roaming, self.temporary = (self.unix_path(line.strip()) for line in lines[:2])

    def _wine_tool(self, *command):
        subprocess.run([*STEADY, *command], env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=120, check=False)

    def windows_path(self, path):
        relative = Path(path).relative_to(self.drive_c)
        return "\\".join(["C:", *relative.parts])

    def unix_path(self, path):
        assert path.startswith("C:\\"), path
        return self.drive_c.joinpath(*path[3:].split("\\"))

    def start(self, program, *arguments, environment=None, **options):
        """Starts a program, given by its path on either side; gives the Popen of its process."""
        program = program if isinstance(program, str) else self.windows_path(program)
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("stdout", subprocess.DEVNULL)
        options.setdefault("stderr", subprocess.DEVNULL)
        return subprocess.Popen([*STEADY, "wine", program, *arguments], env={**self.environment, **(environment or {})},
                                cwd=self.drive_c, **options)

    def run(self, program, *arguments, timeout=60):
        """Runs a program to its end; gives a CompletedProcess with its output."""
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
        assert result.returncode == 0, result.stdout

    def stop(self):
        """Ends every process of the prefix."""
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


def processes_of(program, marker):
    """Numbers of this machine's processes that run `program` (a file name) with `marker` on their command line."""
    found = []
    for entry in Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            command = (entry / "cmdline").read_bytes().decode("utf-8", "replace")
        except OSError:
            continue
        if program in command and marker in command:
            found.append(int(entry.name))
    return found
