"""A library for Windows without expressions has to be asked for."""

import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def configure(*options):
    """What looks for the Python for Windows, alone, where there is none."""
    return subprocess.run(["cmake", "-DSYMBOLOGY_WINDOWS_PYTHON=/nowhere", "-DSYMBOLOGY_LLVM_DLLTOOL=true", *options, "-P",
                           ROOT / "cmake/WindowsPython.cmake"], capture_output=True, text=True, check=False)


class WindowsPython(unittest.TestCase):
    def test_it_is_missed(self):
        ran = configure()
        self.assertNotEqual(ran.returncode, 0)
        self.assertIn("No Python for Windows in /nowhere", ran.stderr)

    def test_it_is_not_missed_where_it_is_not_wanted(self):
        ran = configure("-DSYMBOLOGY_EXPRESSIONS=OFF")
        self.assertEqual((ran.returncode, ran.stderr), (0, ""))


if __name__ == "__main__":
    unittest.main()
