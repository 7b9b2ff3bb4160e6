#!/usr/bin/env python3
"""Makes the kit for a real Windows, or holds a report of it against the simulated Windows of today:

    make.py [--native-build DIR] [--windows-build DIR] [--key FILE] [--output FILE]
    make.py [...] --compare REPORT

The builds are those of the presets `native` (kit_stages, probes) and `windows` (vandrel_updater, sample_client, probes,
kit), by default those that VANDREL_NATIVE_BUILD_DIR and VANDREL_WINDOWS_BUILD_DIR name. The same builds give the same
bytes. With --compare it prints each answer of the report that isn't the simulated Windows' own; exit code 1 if there
is one. README.md tells what is in the kit."""

import argparse
import hashlib
import os
import re
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))
from lab.clients import CLIENT  # noqa: E402
from lab.job import HELPER  # noqa: E402
from lab.planted import NAMES, build_library  # noqa: E402
from lab.probes.run import CASES, make_stage, parse, run_native  # noqa: E402
from lab.release import Release  # noqa: E402

PLANTED = ("no server", "no server, the copy alone", "half way")
FOLDERS = ("client's", "copy's")


def releases(windows):
    """What a client has, release 6, and what release 7 brings; programs still are programs with a byte behind them."""
    client, helper = ((windows / name).read_bytes() for name in (CLIENT, HELPER))
    unchanged = {"modules/m.lua": b"-- the same\n"}
    old = {"data/a.dat": b"a6" * 40000, HELPER: helper, "init.lua": b"-- 6\n", "data/b.dat": b"b6", CLIENT: client}
    new = {"data/a.dat": b"a7" * 50000, HELPER: helper + b"7", "init.lua": b"-- 7\n", "data/b.dat": b"",
           "data/added/deep/er.dat": b"7", "data/empty.dat": b"", CLIENT: client + b"7"}
    return {**old, **unchanged, "user.cfg": b"the player's own\n"}, {**new, **unchanged}


def write_files(folder, files):
    for name, content in files.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_bytes(content)


def add_probes(kit, options):
    for name in sorted(source.stem for source in CASES.glob("*.cpp")):
        stage = kit / "probes" / name
        make_stage(stage, name, options.key)
        told = run_native(options.native_build / f"probe_{name}", stage)
        if told.returncode != 0:
            raise SystemExit(f"probe {name}: {told.stderr.decode()}")
        (stage / "link").unlink()  # no archive holds one: the kit makes it where it runs
        write_files(kit, {f"expected/{name}.txt": told.stdout, f"probes/{name}.exe":
                          (options.windows_build / f"probe_{name}.exe").read_bytes()})


def add_interrupted(kit, options):
    old, new = releases(options.windows_build)
    write_files(kit / "old", old)
    write_files(kit / "new", new)
    with tempfile.NamedTemporaryFile() as manifest:
        manifest.write(Release(7, new).manifest(options.key))
        manifest.flush()
        subprocess.run([options.native_build / "kit_stages", kit / "old", kit / "new", manifest.name, kit], check=True)


def add_planted(kit):
    """No library is to be run, and each start is to end as it does without them."""
    build_library(kit / "planted.dll")
    told = parse((kit / "expected" / "interrupted.txt").read_bytes())
    lines = []
    for name in PLANTED:
        for key in ("last words", "the client started"):
            lines.append(f"{name}, {key} -> {told[name.partition(',')[0] + ', ' + key][0]}")
        lines += [f"{name}, run from the {folder} folder -> none" for folder in FOLDERS]
    write_files(kit, {"planted.txt": "\n".join(NAMES).encode() + b"\n",
                      "expected/planted.txt": "\n".join(lines).encode() + b"\n"})


def fill(kit, options):
    add_probes(kit, options)
    add_interrupted(kit, options)
    add_planted(kit)
    for page in (Path(__file__).parent / "contents").iterdir():
        write_files(kit, {page.name: page.read_bytes().replace(b"\r", b"").replace(b"\n", b"\r\n")})
    write_files(kit, {"kit.exe": (options.windows_build / "kit.exe").read_bytes()})


def contents_of(kit):
    return {path.relative_to(kit).as_posix(): path.read_bytes() for path in sorted(kit.rglob("*")) if path.is_file()}


def version_of(contents):
    digest = hashlib.sha256()
    for name, content in contents.items():
        digest.update(f"{name}\n{len(content)}\n".encode() + content)
    return digest.hexdigest()[:16]


def pack(contents, archive):
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as file:
        for name, content in {**contents, "version.txt": version_of(contents).encode()}.items():
            entry = zipfile.ZipInfo(name)  # dated 1980
            entry.create_system, entry.compress_type = 0, zipfile.ZIP_DEFLATED
            file.writestr(entry, content)


def answers_of(report):
    """A report's answers: {part: {key: value}}. Raises ValueError for a part that wasn't run."""
    parts, part = {}, None
    for line in report.splitlines():
        if heading := re.fullmatch(r"\[(.+)\]", line):
            part = parts.setdefault(heading[1], {})
        elif line.startswith("#"):
            raise ValueError(line)
        elif answer := re.fullmatch(r"[ !] (\S.*?) -> (.*)", line):
            part[answer[1]] = answer[2]
    return parts


def differences(report, kit):
    """Lines for what a report says and the simulated Windows doesn't."""
    lines = []
    for part, answers in answers_of(report).items():
        expected = parse((kit / "expected" / f"{part}.txt").read_bytes())
        for key, value in answers.items():
            simulated, _ = expected.get(key, ("(not said)", None))
            if value != simulated:
                lines.append(f"{part}: {key} -> {value}, simulated {simulated}")
    return lines


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--native-build", type=Path, default=os.environ.get("VANDREL_NATIVE_BUILD_DIR"))
    parser.add_argument("--windows-build", type=Path, default=os.environ.get("VANDREL_WINDOWS_BUILD_DIR"))
    parser.add_argument("--key", type=Path, default=ROOT / "keys" / "development_private.pem")
    parser.add_argument("--output", type=Path, default="build/windows-kit.zip")
    parser.add_argument("--compare", type=Path, metavar="REPORT")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="vandrel-kit-") as folder:
        kit = Path(folder)
        fill(kit, options)
        if options.compare:
            lines = differences(options.compare.read_text(), kit)
            print(*lines, sep="\n", end="\n" if lines else "")
            raise SystemExit(bool(lines))
        pack(contents_of(kit), options.output)
        print(f"{options.output}: {options.output.stat().st_size:,} bytes, version {version_of(contents_of(kit))}")


if __name__ == "__main__":
    main()
