"""Client folders on drive C: of a prefix."""

import hashlib
import shutil

STORE = ".vandrel-updater"


def digest_of(path):
    """SHA-256, hexadecimal; None if no file stands there."""
    if not path.is_file():
        return None
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def digests_of_contents(files):
    return {path: hashlib.sha256(content).hexdigest() for path, content in files.items()}


class ClientFolder:
    """One client folder, at `path`. Paths of files are relative, with "/". What isn't there on write() is made; nothing
    is removed but by remove()."""

    def __init__(self, prefix, path):
        self.prefix = prefix
        self.path = path
        self.active_record = path / STORE / "active.transaction"

    def write(self, files):
        """Writes content by path, over what stands there."""
        for name, content in files.items():
            file = self.path / name
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_bytes(content)

    def digests(self):
        """SHA-256 (hexadecimal) of every file by path; what lies in the helper's own store is told by store()."""
        names = [path.relative_to(self.path).as_posix() for path in self.path.rglob("*") if not path.is_dir()]
        return {name: digest_of(self.path / name) for name in names if not name.startswith(STORE + "/")}

    def store(self):
        """The paths of all that lies in the helper's store, folders with a "/" at the end; None without a store."""
        store = self.path / STORE
        if not store.exists():
            return None
        return sorted(str(path.relative_to(store)) + ("/" if path.is_dir() else "") for path in store.rglob("*"))

    def backup(self, job, name):
        """Where `job` (its identifier) keeps the old version of a file."""
        return self.path / STORE / job / "backup" / name

    def half_way(self, old, new, job):
        """How far the interrupted installation of `new` over `old` (contents by path) by `job` has come: for each file
        that is to change, or that isn't as it should be, one of
            "old"      not touched yet
            "new"      installed, with its old version, if there was one, as its backup
            "between"  missing, with its old version as its backup: under Wine a replacement is two renames
            "wrong"    anything else, and every file that belongs to neither release."""
        found, old, new = self.digests(), digests_of_contents(old), digests_of_contents(new)
        states = {}
        for path in old.keys() | new.keys() | found.keys():
            before, after, stands = old.get(path), new.get(path, old.get(path)), found.get(path)
            kept = before is None or digest_of(self.backup(job, path)) == before
            if stands != before or before != after:
                states[path] = ("old" if stands == before else "new" if stands == after and kept else
                                "between" if stands is None and kept else "wrong")
        return states

    def remove(self):
        shutil.rmtree(self.path, ignore_errors=True)
