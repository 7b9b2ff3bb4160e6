#!/usr/bin/env python3
"""Every text that the helper can show stands in the integrators' and the players' documents, and no other does."""

import re
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
NO_MESSAGE = re.compile(r"[A-Z]+|Accept: .*|.*\.exe|BrindlerQ3|VandrelUpdater")  # of the literals that look like one
STATES = "checking|update_available|downloading|handoff|current|cancelled"


def sources():
    files = sorted((ROOT / "src").rglob("*.cpp")) + sorted((ROOT / "src").rglob("*.h"))
    return "\n".join(re.sub(r"^\s*//.*$", "", file.read_text(), flags=re.MULTILINE) for file in files)


def shown(text, caller):
    """A literal as it is documented, with what its caller puts behind it."""
    if caller in ("windows_error_text", "retry"):
        return f"{text} (Windows N)"
    return f"{text} (N)" if caller == "system_error_text" else text + "N." if text.endswith(" ") else text


def texts_of_the_sources():
    """State by text."""
    code = sources()
    literals = re.findall(r'(?:\b(\w+)\(\s*)?L"([A-Z](?:[\w-]*(?= |")|[\w-]* )(?:[^"\\]|\\.)*)"', code)
    texts = {shown(text, caller): "error" for caller, text in literals if not NO_MESSAGE.fullmatch(text)}
    texts.update({text: state for state, text in re.findall(rf'L"({STATES})",(?: \d+,)?\s*L"([^"]+)"', code)})
    return texts


def rows(name):
    """The cells of each table row that begins with a text."""
    lines = (ROOT / "docs" / name).read_text().splitlines()
    return [[cell.strip() for cell in line.strip("|").split(" | ")] for line in lines if re.match(r"\| `[A-Z]", line)]


def texts_in(cell):
    return re.findall(r"`([^`]+)`", cell)


class MessagesTest(unittest.TestCase):
    maxDiff = None

    def test_the_integrators_list_is_that_of_the_sources_with_its_states(self):
        expected = texts_of_the_sources()
        self.assertEqual(132, len(expected))
        documented = [(text, row[1].strip("`")) for row in rows("integrating.md") for text in texts_in(row[0])]
        self.assertEqual(sorted(expected), sorted(text for text, _ in documented))
        self.assertEqual([], [(text, state) for text, state in documented if state not in (expected[text], "none")])

    def test_the_players_lists_hold_every_text_that_can_be_seen(self):
        unseen = {text for row in rows("integrating.md") if row[1] == "none" for text in texts_in(row[0])}
        for name in ("player-help.md", "player-help.pt.md"):
            with self.subTest(name):
                found = [text for row in rows(name) for text in texts_in(row[0])]
                self.assertEqual(sorted(texts_of_the_sources().keys() - unseen), sorted(found))

    def test_each_row_is_complete(self):
        for name, cells in (("integrating.md", 4), ("player-help.md", 3), ("player-help.pt.md", 3)):
            incomplete = [row[0] for row in rows(name) if len(row) != cells or not all(row)]
            self.assertEqual([], incomplete, name)


if __name__ == "__main__":
    unittest.main(verbosity=2)
