"""What the example tests share: the tool, GeoPackages, and skipping out loud."""
import json
import os
import pathlib
import sqlite3
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))
from unittest_main import main  # noqa: E402, F401: the tests end with it


def cxml(*arguments):
    """Runs the tool; returns the finished process with its output as text."""
    return subprocess.run([os.environ["CXML"], *map(str, arguments)], capture_output=True, text=True, encoding="utf-8",
                          check=False)


def cxml_json(*arguments):
    """Runs the tool with --json. Returns its exit status and the object."""
    done = cxml(*arguments, "--json")
    try:
        return done.returncode, json.loads(done.stdout)
    except json.JSONDecodeError as error:
        raise AssertionError(f"cxml {arguments}: exit {done.returncode}, no JSON: {done.stdout}{done.stderr}") from error


def texts(messages):
    return [message["text"] for message in messages]


def query(dataset, sql):
    """All rows of a query, each a tuple."""
    with_rows = sqlite3.connect(f"file:{dataset}?mode=ro", uri=True)
    try:
        return with_rows.execute(sql).fetchall()
    finally:
        with_rows.close()


class TestCase(unittest.TestCase):
    """A test with a folder of its own."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="symbology-examples-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
