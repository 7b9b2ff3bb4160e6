#!/usr/bin/env python3
"""Every text that the helper can show stands in the integrators' and the players' documents, and no other does."""

import unittest

import documents


class MessagesTest(unittest.TestCase):
    maxDiff = None

    def test_the_integrators_list_is_that_of_the_sources_with_its_states(self):
        expected = documents.texts_of_the_helper()
        self.assertEqual(132, len(expected))
        listed = [(text, row[1].strip("`")) for row in documents.message_rows("integrating.md") for text in row[0]]
        self.assertEqual(sorted(expected), sorted(text for text, _ in listed))
        self.assertEqual([], [(text, state) for text, state in listed if state not in (expected[text], "none")])

    def test_the_players_lists_hold_every_text_that_can_be_seen(self):
        unseen = {text for row in documents.message_rows("integrating.md") if row[1] == "none" for text in row[0]}
        for page in ("player-help.md", "player-help.pt.md"):
            found = [text for row in documents.message_rows(page) for text in row[0]]
            self.assertEqual(sorted(documents.texts_of_the_helper().keys() - unseen), sorted(found), page)

    def test_each_row_is_complete(self):
        for page, cells in (("integrating.md", 4), ("player-help.md", 3), ("player-help.pt.md", 3)):
            rows = documents.message_rows(page)
            self.assertEqual([], [row[0] for row in rows if len(row) != cells or not all(row)], page)


if __name__ == "__main__":
    unittest.main(verbosity=2)
