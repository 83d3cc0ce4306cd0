#!/usr/bin/env python3
"""The example for Spark, as its readers run it: with the package that is installed."""

import os
import subprocess
import sys
import unittest

import pyarrow
import pyarrow.parquet
from support import LOOPBACK, ROOT, PackageTest

EXAMPLE = ROOT / "examples/spark/symbolize_frame.py"
RULES = ROOT / "examples/notebook/buoys.cxml"
NUMBER = 300


class Spark(PackageTest):
    def run_example(self, *arguments):
        settings = ("--master local[2] --conf spark.ui.enabled=false --conf spark.driver.host=127.0.0.1 "
                    "--conf spark.driver.bindAddress=127.0.0.1 --conf spark.log.level=ERROR pyspark-shell")
        environment = {**os.environ, **LOOPBACK, "PYSPARK_PYTHON": sys.executable, "PYSPARK_SUBMIT_ARGS": settings}
        return subprocess.run([sys.executable, "-B", EXAMPLE, *map(str, arguments)], env=environment, capture_output=True, text=True,
                              check=False)

    def test_a_folder_of_files(self):
        source, target, topmarks = self.folder / "buoys", self.folder / "symbolized", self.folder / "topmarks.parquet"
        source.mkdir()
        for part in range(3):
            numbers = range(part * NUMBER, (part + 1) * NUMBER)
            pyarrow.parquet.write_table(pyarrow.table({"OBJNAM": [str(number) for number in numbers],
                                                       "CATLAM": pyarrow.array([number % 3 for number in numbers], pyarrow.int32()),
                                                       "COLOUR": [("3", "4")[number % 2] for number in numbers]}),
                                        source / f"part{part}.parquet")
        pyarrow.parquet.write_table(pyarrow.table({"MASTER": ["2", "7"]}), topmarks)
        done = self.run_example(source, target, RULES, "BOYLAT", "--related", f"TOPMAR={topmarks}")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(done.stdout, "      600 BOYDEF03\n      150 BOYLAT13\n      150 BOYLAT24\n")
        rows = {row["OBJNAM"]: row for row in pyarrow.parquet.read_table(target).to_pylist()}
        self.assertEqual(len(rows), 3 * NUMBER)
        for name, row in rows.items():
            number = int(name)
            expected = {(1, 0): "BOYLAT24", (2, 1): "BOYLAT13"}.get((number % 3, number % 2), "BOYDEF03")
            self.assertEqual((row["SYMBOL_C"], row["LABEL"]), (expected, f"No {number}"))
            self.assertEqual(row["Rotate_C"], 45.0 if name in ("2", "7") else None)

    def test_a_class_that_is_not_there(self):
        source = self.folder / "buoys.parquet"
        pyarrow.parquet.write_table(pyarrow.table({"OBJNAM": ["1"]}), source)
        done = self.run_example(source, self.folder / "new", RULES, "SEXTANT")
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("SEXTANT", done.stderr)
        self.assertFalse((self.folder / "new").exists())


if __name__ == "__main__":
    unittest.main()
