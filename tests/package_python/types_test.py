#!/usr/bin/env python3
"""The package's types, as those who use it get them: by mypy, of what is installed."""

import ast
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import symbology
from symbology import _symbology

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


def signature(name, text):
    """One as the module writes it, without where its types are from."""
    return f"def {name}" + re.sub(r"\b(collections\.abc|symbology\._symbology)\.", "", text[text.index("("):])


def defined(module):
    """The signatures of the module's functions, and by class those of its methods and properties."""
    found = {}
    for name, value in vars(module).items():
        if isinstance(value, type):
            members = {member: of.fget if isinstance(of, property) else of for member, of in vars(value).items()}
            found[name] = {member: signature(member, of.__doc__) for member, of in members.items()
                           if hasattr(of, "__nb_signature__") and of.__nb_signature__}
        elif hasattr(value, "__nb_signature__"):
            found[name] = signature(name, value.__doc__)
    return found


def declared(tree):
    """The same of a stub."""
    found = {}
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            found[node.name] = declared(node)
        elif isinstance(node, ast.FunctionDef):
            found[node.name] = f"def {node.name}({ast.unparse(node.args)}) -> {ast.unparse(node.returns)}"
    return found


class Types(unittest.TestCase):
    def mypy(self, *arguments):
        with tempfile.TemporaryDirectory() as folder:  # away from the sources, which are another package of the same name
            done = subprocess.run([sys.executable, "-m", "mypy", *arguments], cwd=folder, capture_output=True, text=True, check=False)
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
        stub = pathlib.Path(_symbology.__file__).with_name("_symbology.pyi").read_text(encoding="utf-8")
        self.assertEqual(declared(ast.parse(stub)), defined(_symbology))

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
