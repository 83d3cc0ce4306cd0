"""The QGIS plug-in's way of running cxml, without QGIS. CXML names the program."""

import os
import sys
import tempfile
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "plugins" / "qgis"))

from cxml_symbology import runner  # noqa: E402


class Runner(unittest.TestCase):
    def test_a_document_is_checked(self):
        status, said, _ = runner.run(os.environ["CXML"], ["check", str(ROOT / "examples/harbour/harbour.cxml")])
        self.assertEqual(status, 0)
        self.assertIsInstance(said, dict)

    def test_a_missing_program_is_named(self):
        with self.assertRaisesRegex(runner.ToolError, "/nowhere/cxml"):
            runner.find_tool("/nowhere/cxml")

    def test_a_cancelled_run_ends_within_a_second(self):
        with tempfile.TemporaryDirectory() as folder:
            never = os.path.join(folder, "never.cxml")
            os.mkfifo(never)
            begun = time.monotonic()
            with self.assertRaises(runner.Cancelled):
                runner.run(os.environ["CXML"], ["check", never], lambda: time.monotonic() - begun > 0.5)
            self.assertLess(time.monotonic() - begun, 1.5)


if __name__ == "__main__":
    unittest.main()
