"""What tests expressions on Windows is missed where it is not there."""

import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def configure():
    """What looks for the Python for Windows, alone, where there is none."""
    return subprocess.run(["cmake", "-DSYMBOLOGY_WINDOWS_PYTHON=/nowhere", "-DSYMBOLOGY_LLVM_DLLTOOL=true", "-P",
                           ROOT / "cmake/WindowsPython.cmake"], capture_output=True, text=True, check=False)


class WindowsPython(unittest.TestCase):
    def test_it_is_missed(self):
        ran = configure()
        self.assertNotEqual(ran.returncode, 0)
        self.assertIn("No Python for Windows in /nowhere", ran.stderr)


if __name__ == "__main__":
    unittest.main()
