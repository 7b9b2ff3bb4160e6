"""What is measured: layouts, rows with their goals, and how much of it in each mode."""

from dataclasses import dataclass

from .data import KIB, MIB, Layout

FLOORS = ("plain", "rules")


@dataclass(frozen=True)
class Row:
    """A stage on a layout's release, the helper against both floors. `goals` are the largest ratios wanted to the plain
    floor and to the rules' floor; None: there is none."""
    stage: str
    layout: str
    change: str
    goals: tuple = (None, None)

    @property
    def id(self):
        return f"{self.stage}/{self.layout}/{self.change.replace(' ', '')}"

    @property
    def standing(self):
        """Whether a command file stands there. It always does while a client that has consented is updated."""
        return self.change == "all"


CHECK_CURRENT, CHECK_ALL, INSTALL, DOWNLOAD = (1.6, 1.05), (2.0, 1.05), (1.8, 1.05), (3.0, 1.10)
ROWS = (
    *(row for layout in ("small", "small-one-folder") for row in (
        Row("check", layout, "current", CHECK_CURRENT), Row("check", layout, "1 %"),
        Row("check", layout, "all", CHECK_ALL), Row("download", layout, "all", DOWNLOAD),
        Row("install", layout, "all", INSTALL))),
    Row("download", "small", "1 %"), Row("install", "small", "1 %"),
    Row("check", "4-MiB", "current", (1.0, 1.02)), Row("download", "4-MiB", "all", (1.3, 1.05)),
    Row("install", "4-MiB", "all", (1.0, 1.02)),
    *(Row(stage, layout, "current" if stage == "check" else "all")
      for layout in ("1-GiB", "many", "many-one-folder") for stage in ("check", "download", "install")),
)

# One folder against folders of 200, the helper's cost of a file at each stage. On a disk that ignores case by itself, as
# that of Windows does: on another one, Wine reads the whole folder for each name that isn't there.
FOLDER_PAIR = ("many", "many-one-folder")
FOLDER_GOAL = 1.3
START_GOAL = 2.5  # the helper to its first status, against an empty program
PUBLISH_GOAL = 30e-6  # seconds of CPU time for each file: 3 s for 100,000


@dataclass(frozen=True)
class Mode:
    """How many files the layouts hold (0: the layout is left out), and how often each is measured."""
    small: int
    big: int
    huge: int  # MiB, in one file
    many: int
    published: int
    requests: int
    rounds: int
    rounds_of_many: int

    def layouts(self):
        """The layouts that are measured, by name, each with its rounds."""
        def small(name, title, count, largest, per_folder, case_blind=False):
            return Layout(name, f"{count:,} {title}", count, KIB, largest, per_folder, case_blind)
        made = [
            (small("small", "small, folders of 200", self.small, 64 * KIB, 200), self.rounds),
            (small("small-one-folder", "small, one folder", self.small, 64 * KIB, self.small), self.rounds_of_many),
            (Layout("4-MiB", f"{self.big} of 4 MiB", self.big, 4 * MIB, 4 * MIB, 200), self.rounds),
            (Layout("1-GiB", f"one of {self.huge} MiB", min(self.huge, 1), self.huge * MIB, self.huge * MIB, 1),
             self.rounds_of_many),
            (small("many", "tiny, folders of 200", self.many, 4 * KIB, 200, True), self.rounds_of_many),
            (small("many-one-folder", "tiny, one folder", self.many, 4 * KIB, self.many, True), self.rounds_of_many),
        ]
        return [(layout, rounds) for layout, rounds in made if layout.count]


MODES = {
    "full": Mode(5000, 40, 1024, 20000, 99990, 5000, 2, 1),
    "quick": Mode(300, 8, 0, 500, 5000, 500, 2, 1),
    "tiny": Mode(4, 1, 0, 4, 10, 5, 1, 1),
}
