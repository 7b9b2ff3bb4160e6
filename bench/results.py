"""What comes out of the samples: medians, ratios with their spread, and whether the goals are met."""

from dataclasses import dataclass
from statistics import median

MIB = 1 << 20


@dataclass
class Result:
    """One line of the table. Costs are seconds of CPU time; `ratio` is the median of the rounds' ratios, `lowest` and
    `highest` tell their spread. A goal is met by a ratio that isn't above it in two decimals."""
    id: str
    stage: str
    data: str
    floor: str
    floor_cost: float
    cost: float
    ratio: float
    lowest: float
    highest: float
    peak: float  # MiB, of the helper
    goal: float | None = None

    @property
    def verdict(self):
        if self.goal is None:
            return ""
        return "met" if round(self.ratio, 2) <= self.goal else "missed"


def compare(id, stage, data, floor, costs, floor_costs, goal=None):
    """Of the costs of the same rounds, in the same order."""
    ratios = [cost.cpu / floor_cost.cpu for cost, floor_cost in zip(costs, floor_costs)]
    return Result(id, stage, data, floor, median(cost.cpu for cost in floor_costs), median(cost.cpu for cost in costs),
                  median(ratios), min(ratios), max(ratios), max(cost.peak for cost in costs) / MIB, goal)


HEAD = ("stage", "data", "floor", "floor ms", "helper ms", "ratio", "spread", "peak MiB", "goal", "")


def cells(result):
    goal = "" if result.goal is None else f"{result.goal:.2f}"
    peak = f"{result.peak:.1f}" if result.peak else ""
    return (result.stage, result.data, result.floor, f"{result.floor_cost * 1e3:,.1f}", f"{result.cost * 1e3:,.1f}",
            f"{result.ratio:.2f}", f"{result.lowest:.2f}-{result.highest:.2f}", peak, goal, result.verdict)


def table(results):
    """The table as text, whose numbers stand under each other."""
    lines = [HEAD, *map(cells, results)]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEAD))]
    def aligned(line):
        return "  ".join(cell.ljust(width) if column < 3 else cell.rjust(width)
                         for column, (cell, width) in enumerate(zip(line, widths))).rstrip()
    return "\n".join(map(aligned, lines))
