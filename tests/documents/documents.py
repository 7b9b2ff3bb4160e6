"""What the documents say, and what they say it of: messages, commands, examples, linked libraries. For the tests that
hold one against the other."""

import re
import shutil
import subprocess
from pathlib import Path

from pages import ROOT

DOCS = ROOT / "docs"
NO_MESSAGE = re.compile(r"[A-Z]+|Accept: .*|.*\.exe|BrindlerQ3|VandrelUpdater")  # of the literals that look like one
STATES = "checking|update_available|downloading|handoff|current|cancelled"
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
NO_CODE = re.compile(r"lib(kernel32|shell32|\w+_delayed)\.a")  # import libraries


def _sources():
    files = sorted((ROOT / "src").rglob("*.cpp")) + sorted((ROOT / "src").rglob("*.h"))
    return "\n".join(re.sub(r"^\s*//.*$", "", file.read_text(), flags=re.MULTILINE) for file in files)


def _shown(text, caller):
    """A literal as it is documented, with what its caller puts behind it."""
    if caller in ("windows_error_text", "retry"):
        return f"{text} (Windows N)"
    return f"{text} (N)" if caller == "system_error_text" else text + "N." if text.endswith(" ") else text


def texts_of_the_helper():
    """State by text, of every text in the helper's sources that could come to stand in a status file."""
    code = _sources()
    literals = re.findall(r'(?:\b(\w+)\(\s*)?L"([A-Z](?:[\w-]*(?= |")|[\w-]* )(?:[^"\\]|\\.)*)"', code)
    texts = {_shown(text, caller): "error" for caller, text in literals if not NO_MESSAGE.fullmatch(text)}
    texts.update({text: state for state, text in re.findall(rf'L"({STATES})",(?: \d+,)?\s*L"([^"]+)"', code)})
    return texts


def message_rows(page):
    """The rows of a page's tables of messages: the first cell's texts, then the other cells."""
    lines = [line for line in (DOCS / page).read_text().splitlines() if re.match(r"\| `[A-Z]", line)]
    rows = [[cell.strip() for cell in line.strip("|").split(" | ")] for line in lines]
    return [[re.findall(r"`([^`]+)`", row[0]), *row[1:]] for row in rows]


def examples(page, language):
    """A page's blocks in a language."""
    return [block for name, block in BLOCK.findall((DOCS / page).read_text()) if name == language]


def _is_command(line, in_text):
    """A program of this tree, of this machine or of Windows at the line's beginning. A word alone may be anything."""
    first = line.split(" ")[0]
    if first.startswith(("scripts/", "build/", '"C:\\')):
        return not first.endswith((".py", "/"))
    is_known = first in ("vandrel-release", "netsh", "ssh", "systemctl") or (first and shutil.which(first) is not None)
    return is_known and (" " in line or not in_text)


def commands():
    """Each command of README.md and docs/, once: in blocks without a language, continuations joined, and in the text."""
    found = {}
    for file in (ROOT / "README.md", *sorted(DOCS.rglob("*.md"))):
        page = file.read_text()
        blocks = "".join(block for language, block in BLOCK.findall(page) if not language)
        lines = re.sub(r"\s*(\\\n|\n    (?=/))\s*", " ", blocks).splitlines()
        spans = re.findall(r"`([^`\n]+)`", BLOCK.sub("", page))
        found.update(dict.fromkeys([line for line in lines if _is_command(line, False)]))
        found.update(dict.fromkeys([span for span in spans if _is_command(span, True)]))
    return list(found)


def documented_libraries(program):
    section = (DOCS / "third-party.md").read_text().partition(f"\n## {program}\n")[2].partition("\n## ")[0]
    return set(re.findall(r"^\| `([^`]+)`", section, re.MULTILINE))


def static_libraries(link_map):
    """The libraries of others whose code a linker's map shows in its program."""
    linked = set(re.findall(r"[/ ](lib[\w+]+\.a)\(", Path(link_map).read_text())) - {"libvandrel_client.a"}
    return {library for library in linked if not NO_CODE.fullmatch(library)}


def needed_libraries(program):
    """The shared libraries that an ELF program names."""
    told = subprocess.run(["readelf", "-d", program], capture_output=True, text=True, check=True).stdout
    return set(re.findall(r"\(NEEDED\).*\[(.*)\]", told))
