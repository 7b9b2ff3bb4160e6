"""The data that is measured: layouts of files, in an old and a new version, and the releases made of them."""

import os
import random
from dataclasses import dataclass
from functools import cached_property

from lab.release import Release

KIB, MIB = 1 << 10, 1 << 20
RELEASE = 7
# What a release changes: a share of the layout's files. The scene's own data/a.dat changes in each, so that the helper
# always finds work and waits for the client's answer.
CHANGES = {"current": 0.0, "1 %": 0.01, "all": 1.0}
SMALLEST_CHANGE = "data/a.dat"


@dataclass(frozen=True)
class Layout:
    """`count` files of `smallest` to `largest` bytes (every size is as likely), `per_folder` in each folder. Their names are
    too long for short ones (8.3), which Wine would look for in the whole folder. `case_blind`: on a disk that ignores the
    case of names by itself, as far as Wine knows."""
    name: str
    title: str
    count: int
    smallest: int
    largest: int
    per_folder: int
    case_blind: bool = False

    @cached_property
    def paths(self):
        return [f"data/d{index // self.per_folder:04}/file-{index:06}.dat" for index in range(self.count)]

    def new_contents(self):
        """Content by path of the new version. The old one of a file is the same without its last byte."""
        noise = random.Random(1)

        def content(size):
            return b"".join(noise.randbytes(min(MIB, size - begin)) for begin in range(0, size, MIB))
        return {path: content(noise.randint(self.smallest, self.largest)) for path in self.paths}

    def changed(self, change):
        """The paths that a release changes, in order."""
        share = CHANGES[change]
        return [] if share == 0 else self.paths[::round(1 / share)]


class Store:
    """A layout on disk, in both versions, in a folder of its own; client folders are made of it by hard links, since
    the helper never writes into a file that stands there."""

    def __init__(self, layout, folder):
        self.layout, self._folder = layout, folder
        self.new = layout.new_contents()
        self.old = {path: content[:-1] for path, content in self.new.items()}
        for version in ("old", "new"):
            for path, content in getattr(self, version).items():
                file = folder / version / path
                file.parent.mkdir(parents=True, exist_ok=True)
                file.write_bytes(content)

    def lay_out(self, version, folder, paths):
        """Makes links to files of a version beneath `folder`, where none of them stands."""
        for parent in {os.path.dirname(path) for path in paths}:
            (folder / parent).mkdir(parents=True, exist_ok=True)
        for path in paths:
            os.link(self._folder / version / path, folder / path)

    def release(self, scene, change):
        """The release that changes that share, on top of what the scene's folder holds itself."""
        changed = {path: self.new[path] for path in self.layout.changed(change)}
        return Release(RELEASE, {**scene.old, SMALLEST_CHANGE: scene.old[SMALLEST_CHANGE] + b"+", **self.old,
                                 **changed})
