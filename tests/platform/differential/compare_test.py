#!/usr/bin/env python3
"""Checks that compare.py cannot pass what it should fail."""

import pathlib
import tempfile
import unittest

import compare


def known(**fields):
    return compare.Known(line=1, category="c", reason="r", **fields)


class CompareTest(unittest.TestCase):
    def test_equal_answers_pass(self):
        self.assertEqual(compare.compare([["a", "1"]], [["a", "1"]], []), [])

    def test_differing_answer_is_unexplained(self):
        self.assertEqual(len(compare.compare([["a", "1"]], [["a", "2"]], [])), 1)

    def test_missing_line_is_unexplained(self):
        self.assertEqual(len(compare.compare([["a", "1"], ["b", "1"]], [["a", "1"]], [])), 1)

    def test_other_case_is_unexplained(self):
        self.assertEqual(len(compare.compare([["a", "1"]], [["b", "1"]], [])), 1)

    def test_known_difference_is_explained_and_counted(self):
        entry = known(asked="a.*", portable="1", theirs="2")
        self.assertEqual(compare.compare([["ab", "1"]], [["ab", "2"]], [entry]), [])
        self.assertEqual(entry.seen, 1)

    def test_known_difference_does_not_cover_another_answer(self):
        entry = known(asked="a", portable="1", theirs="2")
        self.assertEqual(len(compare.compare([["a", "1"]], [["a", "3"]], [entry])), 1)
        self.assertEqual(entry.seen, 0)

    def test_patterns_match_whole_texts(self):
        entry = known(asked="a", portable="1", theirs="2")
        self.assertEqual(len(compare.compare([["ab", "1"]], [["ab", "2"]], [entry])), 1)

    def test_last_places(self):
        near, far = "0x00000000 R8 0x3FF0000000000001", "0x00000000 R8 0x3FF0000000000009"
        self.assertTrue(compare.within_ulps(near, "0x00000000 R8 0x3FF0000000000000", 2))
        self.assertFalse(compare.within_ulps(far, "0x00000000 R8 0x3FF0000000000000", 2))
        self.assertFalse(compare.within_ulps(near, "0x00000001 R8 0x3FF0000000000000", 2))
        self.assertFalse(compare.within_ulps(near, "0x00000000 I4 1", 2))
        self.assertTrue(compare.within_ulps("0x00000000 CY -5", "0x00000000 CY -4", 2))
        self.assertFalse(compare.within_ulps("0x00000000 CY -5", "0x00000000 CY 5", 2))

    def test_list_is_read(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "known.txt"
            path.write_text("# text\ncategory: c\nasked: a\nportable: 1\ntheirs: 2\nreason: r\n\n", encoding="ascii")
            self.assertEqual([entry.line for entry in compare.read_known(path)], [2])
            path.write_text("category: c\nasked: a\nportable: 1\ntheirs: 2\n", encoding="ascii")
            with self.assertRaises(SystemExit):
                compare.read_known(path)


if __name__ == "__main__":
    unittest.main()
