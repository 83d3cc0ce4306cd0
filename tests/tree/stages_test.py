"""The lists of stages agree: what scripts/test --all runs, what scripts/setup installs for, what there is."""

import re
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "scripts/checks"))

from stages import STAGES  # noqa: E402

# Not among everything: they are parts of other stages, or measure and do not test.
APART = {"dev", "format", "coverage"}


def sets_of_stages():
    """What each option of scripts/test stands for."""
    text = (ROOT / "scripts/test").read_text(encoding="utf-8")
    return {option.strip('"'): names.split() for option, names in re.findall(r"^ +(\S+)\) set -- ([^;]+) ;;$", text, re.M)}


class Stages(unittest.TestCase):
    def test_all_is_every_stage_that_stands_for_itself(self):
        self.assertEqual(set(sets_of_stages()["--all"]), set(STAGES) - APART)

    def test_options_name_stages_that_there_are(self):
        options = sets_of_stages()
        self.assertEqual(set(options), {"", "--all", "--quick"})
        for names in options.values():
            self.assertLessEqual(set(names), set(STAGES))

    def test_the_machine_is_set_up_for_every_stage(self):
        text = (ROOT / "scripts/setup").read_text(encoding="utf-8")
        labels = [label for labels in re.findall(r"^ {8}([-a-z| ]+)\)", text, re.M) for label in labels.split(" | ")]
        self.assertLessEqual(set(STAGES), set(labels))

    def test_help_tells_what_the_options_stand_for(self):
        said = subprocess.run([ROOT / "scripts/test", "--help"], capture_output=True, text=True, check=True).stdout
        for names in sets_of_stages().values():
            self.assertIn(": " + " ".join(names) + "\n", said)
        self.assertIn("scripts/test --all", said)

    def test_unknown_names_are_refused_before_anything_is_installed(self):
        for script in ("scripts/test", "scripts/setup"):
            with self.subTest(script):
                ran = subprocess.run([ROOT / script, "no-such-stage"], capture_output=True, text=True, check=False)
                self.assertEqual((ran.returncode, ran.stdout),
                                 (2, "setup: no such stage of scripts/test: no-such-stage\n"))


if __name__ == "__main__":
    unittest.main()
