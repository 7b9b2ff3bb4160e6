"""Client folders on drive C: of a prefix."""

import hashlib
import shutil


def digest_of(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def digests_of_contents(files):
    return {path: hashlib.sha256(content).hexdigest() for path, content in files.items()}


class ClientFolder:
    """One client folder. Paths of files are relative, with "/"."""

    def __init__(self, prefix, path):
        self.prefix = prefix
        self.path = path

    def write(self, files):
        """Writes content by path, over what stands there."""
        for name, content in files.items():
            file = self.path / name
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_bytes(content)

    def read(self, name):
        return (self.path / name).read_bytes()

    def digests(self):
        """SHA-256 (hexadecimal) of every file by path; what lies in the helper's own store is told by store()."""
        return {name: digest_of(self.path / name) for name in self._names() if not name.startswith(".vandrel-updater/")}

    def store(self):
        """The paths of all that lies in the helper's store, folders with a "/" at the end; None without a store."""
        store = self.path / ".vandrel-updater"
        if not store.exists():
            return None
        return sorted(str(path.relative_to(store)) + ("/" if path.is_dir() else "") for path in store.rglob("*"))

    def _names(self):
        return [path.relative_to(self.path).as_posix() for path in self.path.rglob("*") if not path.is_dir()]

    def remove(self):
        shutil.rmtree(self.path, ignore_errors=True)
