#!/usr/bin/env python3
"""Runs each probe on the simulated Windows and under Wine, and compares what they say, line by line.

    run.py [--native-build DIR] [--windows-build DIR] [--prefix DIR] [--key FILE] [NAME...]

Without options it takes them from VANDREL_NATIVE_BUILD_DIR, VANDREL_WINDOWS_BUILD_DIR, WINEPREFIX (a fresh prefix if
it isn't set) and VANDREL_DEVELOPMENT_KEY. A line is "KEY -> VALUE"; "~wine: REASON~" before it says that Wine isn't
like Windows there. Exit code 1 for a difference that isn't marked, and for a marked one that has gone.

The probes are tests/probes/NAME.cpp. A script NAME_stage.py beside one is called with the folder that the probe will
find, and the private key's file, and puts there what that probe needs."""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CASES = ROOT / "tests" / "probes"
sys.path.insert(0, str(ROOT))
from lab.prefix import WinePrefix  # noqa: E402

LINE = re.compile(r"(?:~wine: (?P<reason>.+?)~ )?(?P<key>.+?) -> (?P<value>.*)")


def parse(output):
    """What a probe said: {key: (value, reason)} in its order."""
    said = {}
    for text in output.decode("ascii").splitlines():
        line = LINE.fullmatch(text)
        assert line, f"no line of a probe: {text!r}"
        assert line["key"] not in said, f"said twice: {line['key']}"
        said[line["key"]] = (line["value"], line["reason"])
    return said


def compare(simulated, wine):
    """Rows (verdict, key, value on winsim, value under Wine, reason) of all lines that differ, or should."""
    rows = []
    for key in [*simulated, *(key for key in wine if key not in simulated)]:
        value, reason = simulated.get(key, ("(not said)", None))
        other, _ = wine.get(key, ("(not said)", None))
        if reason and value == other:
            rows.append(("GONE", key, value, other, reason))
        elif reason and key in wine:
            rows.append(("known", key, value, other, reason))
        elif value != other:
            rows.append(("NEW", key, value, other, reason or ""))
    return rows


def make_stage(folder, name, key):
    """The folder C:\\probe as a probe finds it."""
    (folder / "real").mkdir(parents=True)
    (folder / "real" / "inside").write_bytes(b"inside")
    (folder / "link").symlink_to("real")
    script = CASES / f"{name}_stage.py"
    if script.exists():
        subprocess.run([sys.executable, "-B", script, folder, key], check=True)


def run_native(program, stage):
    return subprocess.run([program, stage], capture_output=True, timeout=60)


def run_wine(program, stage, prefix):
    folder = prefix.drive_c / "probe"
    shutil.rmtree(folder, ignore_errors=True)
    shutil.copytree(stage, folder, symlinks=True)
    shutil.copy(program, folder / "probe.exe")
    result = prefix.run(folder / "probe.exe")
    shutil.rmtree(folder)
    return result


def run_probe(name, options, prefix):
    """Compares one probe; gives its rows and the number of lines that it said."""
    with tempfile.TemporaryDirectory(prefix="vandrel-probe-") as scratch:
        stage = Path(scratch) / "stage"
        make_stage(stage, name, options.key)
        native = run_native(options.native_build / f"probe_{name}", stage)
        wine = run_wine(options.windows_build / f"probe_{name}.exe", stage, prefix)
    for side, result in (("winsim", native), ("Wine", wine)):
        if result.returncode != 0 or not result.stdout:
            words = (result.stderr or b"").decode(errors="replace").strip()
            return [("FAILED", f"exit code {result.returncode} on {side}", words, "", "")], 0
    simulated = parse(native.stdout)
    return compare(simulated, parse(wine.stdout)), len(simulated)


def report(name, rows, count):
    """Prints what differs; True if anything does that mustn't."""
    bad = [row for row in rows if row[0] != "known"]
    print(f"{name}: {count} lines, {len(rows) - len(bad)} known differences, {len(bad)} failures")
    for verdict, key, value, other, reason in rows:
        print(f"  {verdict:6} {key}{f' ({reason})' if reason else ''}\n"
              f"         winsim  {value}\n         Wine    {other}")
    return bool(bad)


def main():
    def folder(variable):
        return {"type": Path, "default": os.environ.get(variable), "required": variable not in os.environ}
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--native-build", **folder("VANDREL_NATIVE_BUILD_DIR"))
    parser.add_argument("--windows-build", **folder("VANDREL_WINDOWS_BUILD_DIR"))
    parser.add_argument("--prefix", default=os.environ.get("WINEPREFIX"))
    parser.add_argument("--key", default=os.environ.get("VANDREL_DEVELOPMENT_KEY",
                                                        ROOT / "keys" / "development_private.pem"))
    parser.add_argument("names", nargs="*")
    options = parser.parse_args()
    names = options.names or sorted(source.stem for source in CASES.glob("*.cpp"))
    failed = False
    with tempfile.TemporaryDirectory(prefix="vandrel-probes-") as fresh:
        prefix = WinePrefix(options.prefix or fresh + "/prefix")
        prefix.create()
        prefix.keep_server()
        try:
            for name in names:
                rows, count = run_probe(name, options, prefix)
                failed = report(name, rows, count) or failed
        finally:
            if not options.prefix:
                prefix.remove()
    raise SystemExit(failed)


if __name__ == "__main__":
    main()
