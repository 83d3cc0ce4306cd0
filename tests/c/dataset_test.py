#!/usr/bin/env python3
"""The one call for C: a C11 program's tests, the example, and the functions from Python's ctypes, whose Python runs expressions."""

import contextlib
import csv
import ctypes
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
HARBOUR = ROOT / "examples/harbour"
BUOYS = ROOT / "examples/dataset_c/buoys.cxml"
HEADER = ROOT / "include/symbology/geodatabase_c.h"


class Options(ctypes.Structure):
    """symbology_dataset_options."""

    _fields_ = [("size", ctypes.c_size_t), ("layers", ctypes.POINTER(ctypes.c_char_p)), ("layer_count", ctypes.c_size_t),
                ("add_missing_fields", ctypes.c_int), ("where", ctypes.c_char_p), ("subtypes", ctypes.c_void_p),
                ("subtypes_count", ctypes.c_size_t), ("lock_timeout", ctypes.c_void_p), ("listener", ctypes.c_void_p),
                ("context", ctypes.c_void_p)]


def declared():
    return set(re.findall(r"\b(symbology_dataset_\w+)\(", re.sub(r"/\*.*?\*/", "", HEADER.read_text(encoding="utf-8"), flags=re.S)))


class Dataset(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="symbology-test-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.chart = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", self.chart], check=True, capture_output=True)

    def rows(self, sql):
        with contextlib.closing(sqlite3.connect(self.chart)) as connection:
            return connection.execute(sql).fetchall()

    def test_a_program_in_c(self):
        done = subprocess.run([os.environ["PROGRAM"], BUOYS, self.chart, ROOT / "tests/c/data/speaking.cxml"], cwd=self.folder,
                              capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_the_example(self):
        done = subprocess.run([os.environ["EXAMPLE"], BUOYS, self.chart], capture_output=True, text=True, check=False)
        buoys = self.rows("SELECT CATLAM, COLOUR, SYMBOL_C FROM BOYLAT")
        self.assertEqual((done.returncode, done.stdout), (0, f"BOYLAT: {len(buoys)} rows, {len(buoys)} changed\n"))
        expected = {(1, "3"): "BOYLAT24", (2, "4"): "BOYLAT13"}
        self.assertEqual([symbol for _, _, symbol in buoys], [expected.get(buoy[:2], "BOYDEF03") for buoy in buoys])

    def test_a_document_with_expressions_in_a_program_without_python(self):
        done = subprocess.run([os.environ["EXAMPLE"], HARBOUR / "harbour.cxml", self.chart], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 2)
        self.assertIn("There is no Python in this process", done.stderr)

    @unittest.skipIf(os.environ.get("SANITIZED"), "a sanitizer has to be in the program first, and this program is Python")
    def test_ctypes(self):
        for name in ("harbour.cxml", "light_character.py"):
            shutil.copy(HARBOUR / name, self.folder)
        script = self.folder / "call.py"
        script.write_text(SCRIPT, encoding="utf-8")
        done = subprocess.run([sys.executable, "-B", script, os.environ["LIBRARY"], pathlib.Path(__file__).parent, self.folder / "harbour.cxml",
                               self.chart], capture_output=True, text=True, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        with open(HARBOUR / "expected_labels.csv", encoding="utf-8", newline="") as file:
            expected = {int(row["id"]): row["label"] for row in csv.DictReader(file) if row["layer"] == "LIGHTS"}
        self.assertTrue(expected)
        self.assertEqual(dict(self.rows("SELECT FIDN, COALESCE(LABEL_C, '') FROM LIGHTS")), expected)
        self.assertEqual(sorted(done.stdout.split()), sorted(name for name, in self.rows(
            "SELECT table_name FROM gpkg_contents")))

    def test_exports_what_its_header_declares(self):
        exported = subprocess.run(["nm", "-D", "--defined-only", os.environ["LIBRARY"]], check=True, capture_output=True, text=True).stdout
        self.assertEqual({line.split()[-1] for line in exported.splitlines() if " symbology_dataset_" in line}, declared())


# ctypes gives the lock back for the call, as symbology_dataset_symbolize() needs it.
SCRIPT = '''
import ctypes
import sys

library, tests, document, dataset = sys.argv[1:]
sys.path.insert(0, tests)
import os
os.environ.setdefault("LIBRARY", library)
from dataset_test import Options

calls = ctypes.CDLL(library)
for name, result, arguments in [
        ("symbolize", ctypes.c_void_p, [ctypes.c_char_p, ctypes.c_char_p, ctypes.POINTER(Options), ctypes.POINTER(ctypes.c_void_p)]),
        ("failed", ctypes.c_int, [ctypes.c_void_p]), ("layer_count", ctypes.c_size_t, [ctypes.c_void_p]),
        ("layer_name", ctypes.c_char_p, [ctypes.c_void_p, ctypes.c_size_t]), ("error_text", ctypes.c_char_p, [ctypes.c_void_p]),
        ("layer_failure", ctypes.c_char_p, [ctypes.c_void_p, ctypes.c_size_t]), ("outcome_free", None, [ctypes.c_void_p])]:
    function = getattr(calls, "symbology_dataset_" + name)
    function.restype, function.argtypes = result, arguments
options = Options(size=ctypes.sizeof(Options), add_missing_fields=1)
error = ctypes.c_void_p()
outcome = calls.symbology_dataset_symbolize(dataset.encode(), document.encode(), ctypes.byref(options), ctypes.byref(error))
if not outcome:
    sys.exit(calls.symbology_dataset_error_text(error).decode())
layers = range(calls.symbology_dataset_layer_count(outcome))
if calls.symbology_dataset_failed(outcome):
    sys.exit(str([calls.symbology_dataset_layer_failure(outcome, layer) for layer in layers]))
print(*(calls.symbology_dataset_layer_name(outcome, layer).decode() for layer in layers))
calls.symbology_dataset_outcome_free(outcome)
'''


if __name__ == "__main__":
    unittest.main()
