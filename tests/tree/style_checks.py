"""scripts/checks/format.py and tidy.py find what is planted for them, and remember what was clean.

Run as style_checks.py CLANG_FORMAT CLANG_TIDY (the test style.the_checks_can_fail).
"""

import json
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
CLEAN = "int twice(int number) {\n    return 2 * number;\n}\n"
TOOLS = {}


class StyleChecksTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name) / "tree"
        (self.root / "src" / "rules").mkdir(parents=True)
        for name in (".clang-format", ".clang-tidy"):
            shutil.copy(ROOT / name, self.root)
        self.source = self.root / "src" / "rules" / "one.cpp"
        self.header = self.root / "src" / "rules" / "one.h"
        self.source.write_text('#include "rules/one.h"\n\n' + CLEAN, encoding="utf-8")
        self.header.write_text("int twice(int number);\n", encoding="utf-8")
        self.database = Path(folder.name) / "build" / "compile_commands.json"
        self.database.parent.mkdir()
        self.command = f"c++ -std=c++20 -I{self.root}/src -c {self.source}"
        self.write_database()

    def write_database(self):
        entry = {"directory": str(self.database.parent), "file": str(self.source), "command": self.command}
        self.database.write_text(json.dumps([entry]), encoding="utf-8")

    def run_script(self, script, *arguments):
        command = [sys.executable, ROOT / "scripts/checks" / script, "--root", self.root, *arguments]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def format(self):
        return self.run_script("format.py", "--clang-format", TOOLS["format"])

    def tidy(self):
        return self.run_script("tidy.py", "--clang-tidy", TOOLS["tidy"], "--database", self.database,
                               "--cache", self.database.parent / "cache")

    def test_format(self):
        self.assertEqual(self.format(), (0, "2 files: all formatted\n"))
        self.source.write_text(CLEAN.replace("    return", "  return"), encoding="utf-8")
        status, said = self.format()
        self.assertEqual(status, 1)
        self.assertIn("one.cpp", said)

    def test_tidy_remembers_what_was_clean_until_anything_changes(self):
        known = "1 sources, 1 of them known to be clean, 0 with findings"
        looked = "1 sources, 0 of them known to be clean, 0 with findings"
        for change in [
            lambda: None,
            lambda: self.source.write_text(self.source.read_text() + "// changed\n", encoding="utf-8"),
            lambda: self.header.write_text("// changed\nint twice(int number);\n", encoding="utf-8"),
            lambda: (self.root / "src" / ".clang-tidy").write_text("InheritParentConfig: true\n", encoding="utf-8"),
            lambda: setattr(self, "command", self.command + " -DCHANGED"),
        ]:
            change()
            self.write_database()
            status, said = self.tidy()
            self.assertEqual((status, said.splitlines()[-1]), (0, looked))
            status, said = self.tidy()
            self.assertEqual((status, said.splitlines()[-1]), (0, known))

    def test_tidy_findings_are_errors_each_time(self):
        for text, check in [
            ("int Twice(int number) {\n    return 2 * number;\n}\n", "readability-identifier-naming"),
            ("int* none() {\n    return 0;\n}\n", "modernize-use-nullptr"),
            ("int lost() {\n    return undeclared;\n}\n", "clang-diagnostic-error"),
        ]:
            self.source.write_text(text, encoding="utf-8")
            for _ in range(2):
                status, said = self.tidy()
                self.assertEqual(status, 1)
                self.assertIn(check, said)

    def test_tidy_looks_into_headers(self):
        self.header.write_text("inline int* none() {\n    return 0;\n}\nint twice(int number);\n", encoding="utf-8")
        status, said = self.tidy()
        self.assertEqual(status, 1)
        self.assertIn("one.h", said)
        self.assertIn("modernize-use-nullptr", said)

    def test_nothing_to_look_at_is_no_success(self):
        self.database.write_text("[]", encoding="utf-8")
        self.assertEqual(self.tidy()[0], 2)


if __name__ == "__main__":
    TOOLS["format"], TOOLS["tidy"] = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
