#!/usr/bin/env python3
"""The package's types, as those who use it get them: by mypy, of what is installed."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

import symbology

ROOT = pathlib.Path(__file__).resolve().parents[2]
FINE = """
import os
import pyarrow
import symbology

def draw(path: os.PathLike[str], table: pyarrow.Table) -> int:
    document = symbology.Document(path)
    names: tuple[str, ...] = document.fields("BOYLAT").read
    result = document.symbolize(table, layer="BOYLAT", related={"TOPMAR": table}, coverage=True)
    for message in result.messages:
        print(message.text.upper(), message.count + 1, names)
    if result.ledger is not None:
        print(result.ledger["layers"])
    return result.rows
"""


class Types(unittest.TestCase):
    def mypy(self, *arguments, program="mypy"):
        with tempfile.TemporaryDirectory() as folder:  # away from the sources, which are another package of the same name
            done = subprocess.run([sys.executable, "-m", program, *arguments], cwd=folder, capture_output=True, text=True, check=False)
        return done.returncode, done.stdout + done.stderr

    def of_program(self, text):
        with tempfile.TemporaryDirectory() as folder:
            program = pathlib.Path(folder) / "program.py"
            program.write_text(text, encoding="utf-8")
            return self.mypy(f"--config-file={ROOT / 'pyproject.toml'}", program)

    def test_the_package_keeps_its_own_types(self):
        status, said = self.mypy(f"--config-file={ROOT / 'pyproject.toml'}", "-p", "symbology")
        self.assertEqual(status, 0, said)

    def test_the_modules_types_are_what_it_has(self):
        status, said = self.mypy("symbology._symbology", program="mypy.stubtest")
        self.assertEqual(status, 0, said)

    def test_a_program_is_read_with_them(self):
        status, said = self.of_program(FINE)
        self.assertEqual(status, 0, said)

    def test_mistakes_are_told(self):
        for wrong, word in [("result.rows", "result.row"), ('"BOYLAT", related', '"BOYLAT", relatd'), ("message.count + 1", 'message.count + ""'),
                            ("document.fields(\"BOYLAT\")", "document.fields(1)")]:
            with self.subTest(word):
                self.assertIn(wrong, FINE)
                status, said = self.of_program(FINE.replace(wrong, word))
                self.assertEqual(status, 1, said)
                self.assertIn("program.py", said)

    def test_every_public_name_has_its_docstring(self):
        self.assertTrue(symbology.__all__)
        for name in symbology.__all__:
            self.assertTrue(getattr(symbology, name).__doc__, name)


if __name__ == "__main__":
    unittest.main()
