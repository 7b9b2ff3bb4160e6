"""What an update costs, against floors: scripts/bench builds what this needs, and runs it.

Prints a table and writes results.json and bench.svg into the folder of --output. Exit code 0 whether or not the goals are
met."""

import argparse
import fnmatch
import json
import os
import shutil
import sys
import tempfile
from collections import defaultdict
from dataclasses import asdict, replace
from pathlib import Path

from lab.laboratory import ROOT, Laboratory

from .chart import chart
from .counters import Meter
from .data import KIB, Store
from .floor_runs import run_floor
from .helper_runs import run_check, run_update
from .release_tool import ReleaseFolder, measure_endpoint, measure_publishing
from .results import Result, compare, table
from .rows import FLOORS, FOLDER_GOAL, FOLDER_PAIR, MODES, PUBLISH_GOAL, ROWS, START_GOAL
from .start import measure_starts
from .workplace import NATIVE, Workplace


def parse_arguments():
    parser = argparse.ArgumentParser(prog="scripts/bench", description="What an update costs, against floors.")
    parser.add_argument("--mode", choices=MODES, default="full", help="how much data (default: full, an hour and more)")
    parser.add_argument("--quick", dest="mode", action="store_const", const="quick",
                        help="little data, in under five minutes")
    parser.add_argument("--row", action="append", default=[], metavar="PATTERN",
                        help="only the rows whose name matches, as in 'check/*' or '*/4-MiB/*'; may be repeated; what "
                        "results.json has of others stays in it")
    parser.add_argument("--rounds", type=int, help="how often each row is measured (a check three times as often); "
                        "default: twice, many or large files once")
    parser.add_argument("--output", type=Path, default=ROOT / "build" / "bench", metavar="FOLDER",
                        help="where results.json and bench.svg go")
    return parser.parse_args()


class Selection:
    def __init__(self, patterns):
        self._patterns = patterns or ["*"]

    def __contains__(self, name):
        return any(fnmatch.fnmatch(name, pattern) for pattern in self._patterns)


def tell(text):
    print(text, file=sys.stderr, flush=True)


def run_round(place, rows, samples):
    """Every row of one layout once, and a check, which is soon done, three times: the helper, then the floors."""
    for row in 3 * [row for row in rows if row.stage == "check"]:
        place.serve(row.change)
        samples[row.id, "helper"].append(run_check(place, row.standing))
        for floor in FLOORS:
            samples[row.id, floor].append(run_floor(place, floor, "check", row.change, row.standing))
    for change in sorted({row.change for row in rows if row.stage != "check"}):
        place.serve(change)
        costs = run_update(place)
        for row in (row for row in rows if row.stage != "check" and row.change == change):
            samples[row.id, "helper"].append(costs[row.stage])
            for floor in FLOORS:
                place.reset()
                samples[row.id, floor].append(run_floor(place, floor, row.stage, change))
        place.reset()


def measure_layout(lab, meter, work, layout, rounds, rows, samples):
    place = Workplace(lab, meter, Store(layout, work / layout.name))
    try:
        for number in range(rounds):
            tell(f"{layout.title}: round {number + 1} of {rounds}")
            run_round(place, rows, samples)
    finally:
        place.close()
        shutil.rmtree(work / layout.name)


def measure_updates(lab, meter, work, mode, selected, samples):
    """Fills `samples`, layout by layout: yields behind each what the samples amount to."""
    titles = {}
    for layout, rounds in mode.layouts():
        titles[layout.name] = layout.title
        rows = [row for row in ROWS if row.layout == layout.name and row.id in selected]
        if rows:
            measure_layout(lab, meter, work, layout, rounds, rows, samples)
            yield compare_rows(samples, titles) + compare_folders(samples, titles)


def compare_rows(samples, titles):
    """The helper against both floors."""
    return [compare(f"{row.id}/{floor}", row.stage, f"{titles[row.layout]}, {row.change}", floor,
                    samples[row.id, "helper"], samples[row.id, floor], goal)
            for row in ROWS if (row.id, "helper") in samples for floor, goal in zip(FLOORS, row.goals)]


def compare_folders(samples, titles):
    """The same files in one folder against folders of 200: the helper, and the floors for what the platform itself adds."""
    many, one = FOLDER_PAIR
    results = []
    for row in (row for row in ROWS if row.layout == one and (row.id, "helper") in samples):
        for who, goal in (("helper", FOLDER_GOAL), *((floor, None) for floor in FLOORS)):
            other = samples[row.id.replace(one, many), who]
            if other:
                results.append(compare(f"folders/{row.stage}/{who}", row.stage, f"{titles[one]}, {who}",
                                       "folders of 200", samples[row.id, who], other, goal))
    return results


def place_to_publish(count, work):
    """In memory, if there is room for so many small files twice: what a disk's file system makes of them depends on what
    was removed there in the minutes before."""
    memory = Path("/dev/shm")
    fits = memory.is_dir() and os.access(memory, os.W_OK) and shutil.disk_usage(memory).free > count * 16 * KIB
    return memory if fits else work


def measure_release_tool(work, mode, selected):
    tool = NATIVE / "vandrel-release"
    key = ROOT / "keys" / "development_private.pem"
    if "publish" not in selected and "endpoint" not in selected:
        return []
    with tempfile.TemporaryDirectory(dir=place_to_publish(mode.published, work)) as folder:
        tell(f"publishing {mode.published:,} files in {folder}")
        release = ReleaseFolder(Path(folder) / "published", mode.published)
        figures = measure_publishing(release, tool, key, PUBLISH_GOAL)
        if "endpoint" in selected:
            figures += measure_endpoint(release, tool, key, mode.requests)
    return figures


class Output:
    """results.json and bench.svg in a folder. What stands there of an earlier run of the same mode, stays until it is
    measured again."""

    def __init__(self, folder, mode):
        folder.mkdir(parents=True, exist_ok=True)
        self._folder = folder
        self._document = {"mode": mode, "results": {}, "figures": {}, "samples": {}}
        if (folder / "results.json").exists():
            earlier = json.loads((folder / "results.json").read_text())
            if earlier["mode"] == mode:
                self._document = earlier

    def write(self, results, figures, samples):
        document = self._document
        document["results"].update({result.id: asdict(result) for result in results})
        document["figures"].update({figure.id: asdict(figure) for figure in figures})
        document["samples"].update({"/".join(key): [asdict(cost) for cost in costs] for key, costs in samples.items()})
        (self._folder / "results.json").write_text(json.dumps(document, indent=1) + "\n")
        if document["results"]:
            (self._folder / "bench.svg").write_text(chart([Result(**each) for each in document["results"].values()]))


def open_laboratory():
    lab = Laboratory.from_environment()
    programs = lab.prefix.drive_c / "bench"
    programs.mkdir(exist_ok=True)
    for name in ("floors.exe", "empty.exe"):
        shutil.copy(lab.build / name, programs)
    return lab


def measure_helper(lab, work, mode, selected, output):
    """The results; what there is behind each layout is written out at once."""
    meter, samples = Meter(lab.prefix), defaultdict(list)
    try:
        starts = measure_starts(lab, meter, 4 * mode.rounds, START_GOAL) if "start" in selected else []
        results = starts
        for updates in measure_updates(lab, meter, work, mode, selected, samples):
            results = starts + updates
            output.write(results, [], samples)
    finally:
        meter.close()
    return results


def main():
    arguments = parse_arguments()
    mode, selected = MODES[arguments.mode], Selection(arguments.row)
    if arguments.rounds:
        mode = replace(mode, rounds=arguments.rounds, rounds_of_many=arguments.rounds)
    output = Output(arguments.output, arguments.mode)
    lab = open_laboratory()
    work = lab.prefix.folder / "bench-data"
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir()
    try:
        # First, in case it is on a disk: see place_to_publish.
        figures = measure_release_tool(work, mode, selected)
        results = measure_helper(lab, work, mode, selected, output)
    finally:
        shutil.rmtree(work, ignore_errors=True)
        lab.close()
        if "WINEPREFIX" not in os.environ:
            lab.prefix.stop()
    output.write(results, figures, {})
    print(table(results))
    for figure in figures:
        print(figure)


if __name__ == "__main__":
    main()
