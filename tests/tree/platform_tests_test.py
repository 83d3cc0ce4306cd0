"""Tests that one platform lacks are found, and reasons that nothing needs."""

import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts" / "checks"))

import platform_tests  # noqa: E402

REPORT = """<testsuites><testsuite name="All/Rows"><testcase name="AreRead/one" classname="All/Rows"/></testsuite>
<testsuite name="Rows"><testcase name="AreThere"/><testcase name="AreGone"/></testsuite></testsuites>"""


class PlatformTestsTest(unittest.TestCase):
    def compare(self, linux, windows, reasons):
        return platform_tests.compare(set(linux), set(windows), reasons)[1]

    def test_alike(self):
        self.assertEqual(self.compare(["a.b"], ["a.b"], {}), [])

    def test_only_on_windows(self):
        self.assertEqual(self.compare(["a.b"], ["a.b", "a.c"], {}), [])

    def test_missing(self):
        self.assertEqual(self.compare(["a.b", "a.c"], ["a.b"], {}), ["missing on Windows: a.c"])

    def test_missing_with_its_reason(self):
        self.assertEqual(self.compare(["a.b", "a.c", "a.d"], ["a.b"], {"a.[cd]": "why"}), [])

    def test_reason_that_nothing_needs(self):
        self.assertEqual(len(self.compare(["a.b"], ["a.b"], {"a.b": "why"})), 1)

    def test_pattern_without_a_reason(self):
        self.assertEqual(self.compare(["a.c"], [], {"a.c": ""}), ["a.c: no reason"])

    def test_names_and_reasons_are_read(self):
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "rows.xml"
            path.write_text(REPORT, encoding="utf-8")
            self.assertEqual(platform_tests.cases_in(path, "rows"),
                             {"rows.All/Rows.AreRead/one", "rows.Rows.AreThere", "rows.Rows.AreGone"})
            path.write_text("# why: not\n\na.*: reason: with a colon\n", encoding="utf-8")
            self.assertEqual(platform_tests.read_reasons(path), {"a.*": "reason: with a colon"})


if __name__ == "__main__":
    unittest.main()
