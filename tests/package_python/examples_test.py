#!/usr/bin/env python3
"""The examples in Python, as their readers run them: with the package that is installed."""

import subprocess
import sys
import unittest

import pyarrow
import pyarrow.parquet
from support import ROOT, PackageTest

NOTEBOOK = ROOT / "examples/notebook/buoys.py"
DUCKDB = ROOT / "examples/duckdb/symbolize_parquet.py"
RULES = ROOT / "examples/notebook/buoys.cxml"
BUOYS = pyarrow.table({"OBJNAM": ["1", "2", "3", "east"], "CATLAM": pyarrow.array([1, 2, 1, 2], pyarrow.int32()),
                       "COLOUR": ["3", "4", "3", "4,3"]})


def run(*command, fine=(0,)):
    done = subprocess.run([sys.executable, "-B", *map(str, command)], capture_output=True, text=True, check=False)
    if done.returncode not in fine:
        raise AssertionError(f"{command} ended with {done.returncode}: {done.stderr}{done.stdout}")
    return done


class Notebook(PackageTest):
    def test_it_runs_whole(self):
        said = run(NOTEBOOK).stdout
        self.assertIn("classes: BOYLAT\nreads: CATLAM COLOUR OBJNAM\nwrites: SYMBOL_C Xoffset_C Yoffset_C Rotate_C LABEL\n", said)
        self.assertIn("1 BOYLAT24 None No 1\n2 BOYLAT13 45.0 No 2\n3 BOYLAT24 None No 3\neast BOYDEF03 None None\nNone BOYDEF03 None None\n"
                      "5 rows, 5 changed\n", said)
        self.assertRegex(said, r"1 times .*invalid literal for int\(\) with base 10: 'east'")
        self.assertIn("BOYLAT fid 4   SYMBOL_C = BOYDEF03", said)

    def test_its_cells_run_one_by_one(self):
        """As in a notebook, where no file is: the cells share their names and nothing else."""
        text = NOTEBOOK.read_text(encoding="utf-8")
        cells = [cell.split("\n", 1) for cell in text.split("\n# %%")[1:]]
        self.assertGreater(len(cells), 8)
        script = self.file("cells.py", "import os, sys\nos.chdir(sys.argv[1])\nnames = {}\n" + "".join(
            f"exec(compile({body!r}, 'cell', 'exec'), names)\n" for head, body in cells if head != " [markdown]"))
        self.assertEqual(run(script, NOTEBOOK.parent).stdout.replace("buoys.cxml", ""),
                         run(NOTEBOOK).stdout.replace(f"{NOTEBOOK.parent}/", "").replace("buoys.cxml", ""))


class DuckDb(PackageTest):
    def test_a_file(self):
        source, target = self.folder / "buoys.parquet", self.folder / "symbolized.parquet"
        topmarks = self.folder / "topmarks.parquet"
        pyarrow.parquet.write_table(BUOYS, source)
        pyarrow.parquet.write_table(pyarrow.table({"MASTER": ["2"]}), topmarks)
        done = run(DUCKDB, source, target, RULES, "BOYLAT", "--related", f"TOPMAR={topmarks}")
        self.assertEqual(done.stdout, "4 rows, 4 changed\n        2 BOYLAT24\n        1 BOYDEF03\n        1 BOYLAT13\n")
        self.assertIn("invalid literal for int() with base 10: 'east'", done.stderr)
        table = pyarrow.parquet.read_table(target)
        self.assertEqual(table.column("SYMBOL_C").to_pylist(), ["BOYLAT24", "BOYLAT13", "BOYLAT24", "BOYDEF03"])
        self.assertEqual(table.column("Rotate_C").to_pylist(), [None, 45.0, None, None])
        self.assertEqual(table.column("LABEL").to_pylist(), ["No 1", "No 2", "No 3", None])

    def test_what_cannot_be_done(self):
        source = self.folder / "buoys.parquet"
        done = run(DUCKDB, source, self.folder / "new.parquet", RULES, "BOYLAT", fine=(1,))
        self.assertIn("buoys.parquet", done.stderr)
        pyarrow.parquet.write_table(BUOYS, source)
        done = run(DUCKDB, source, self.folder / "new.parquet", RULES, "SEXTANT", fine=(1,))
        self.assertIn("SEXTANT", done.stderr)
        self.assertFalse((self.folder / "new.parquet").exists())
        done = run(DUCKDB, source, source, RULES, "BOYLAT", fine=(1,))
        self.assertIn("is there already", done.stderr)
        self.assertEqual(pyarrow.parquet.read_table(source).column_names, BUOYS.column_names)


if __name__ == "__main__":
    unittest.main()
