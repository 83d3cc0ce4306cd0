"""What the tests of the Python package share: the tool, datasets, and comparing tables."""

import contextlib
import json
import os
import pathlib
import sqlite3
import subprocess
import tempfile
import unittest

import pyarrow

ROOT = pathlib.Path(__file__).resolve().parents[2]
CXML = os.environ.get("CXML") or str(ROOT / "build/release/bin/cxml")
HARBOUR = ROOT / "examples" / "harbour"


def buoy_rules(expression, library=""):
    """A document: symbols by colour and topmark, labels by an expression, and a library of expressions."""
    return f"""<conditionMap name="rules">
{library}  <featureClass name="BOYLAT">
    <condition rulename="BOYDEF"/>
    <condition rulename="BOYRED" angle="45"><rule type="A" field="COLOUR" operator="equal" value="3"/></condition>
    <condition rulename="BOYTOP">
      <rule type="Q" operator="exists" table="TOPMAR"><query>MASTER = '%s'</query><params><param value="OBJNAM"/></params></rule>
    </condition>
    <condition type="2" field="LABEL">
      <rule type="A" field="HEIGHT" operator="notequal" value="NULL"/>
      {expression}
    </condition>
  </featureClass>
</conditionMap>"""


# One of them, rows, and what they get.
RULES = buoy_rules("""<expression><![CDATA[
import threading
def Generate(OBJNAM, HEIGHT):
    return "%s %.1fm" % (OBJNAM, 1 / HEIGHT)
]]></expression>""")
BUOYS = pyarrow.table({"OBJNAM": ["No 1", "No 2", "No 3", None], "COLOUR": ["3", "4", None, "3"],
                       "HEIGHT": pyarrow.array([2.0, None, 0.0, None], pyarrow.float64())})
TOPMARKS = pyarrow.table({"MASTER": ["No 2"]})
SYMBOLS = ["BOYRED", "BOYTOP", "BOYDEF", "BOYRED"]

# Spark asks for the machine's address by its name, which a name service need not know.
LOOPBACK = {"SPARK_LOCAL_IP": "127.0.0.1"}


def cxml(*arguments, fine=(0,)):
    done = subprocess.run([CXML, *map(str, arguments)], capture_output=True, text=True, check=False)
    if done.returncode not in fine:
        raise AssertionError(f"cxml {' '.join(map(str, arguments))} ended with {done.returncode}: {done.stderr}{done.stdout}")
    return done.stdout


def layers_of(dataset):
    import pyogrio  # not in every environment
    return [name for name, _ in pyogrio.list_layers(dataset)]


def read(dataset, layer):
    """The layer as Arrow data, in the order of its ids; with them in the metadata's way, as `fid`."""
    import pyogrio
    meta, table = pyogrio.read_arrow(dataset, layer=layer, return_fids=True)
    fid = meta["fid_column"] or "OGC_FID"
    return table.sort_by(fid), fid


def titles_of(dataset):
    with contextlib.closing(sqlite3.connect(dataset)) as connection:
        return dict(connection.execute("SELECT table_name, identifier FROM gpkg_contents"))


def without(table, *names):
    return table.drop_columns([name for name in names if name in table.column_names])


class PackageTest(unittest.TestCase):
    maxDiff = 4000

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="symbology-test-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def file(self, name, content):
        path = self.folder / name
        path.write_text(content, encoding="utf-8")
        return path

    def harbour(self):
        """The harbour's chart, not symbolized."""
        chart = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", chart], check=True, capture_output=True)
        return chart


def run_tool(document, dataset, *options, fine=(0,)):
    return json.loads(cxml("symbolize", document, dataset, "--add-fields", "--json", *options, fine=fine))


def column(table, name):
    """Its values, rounded where they are numbers; NULL for NaN, which tables without NULLs write for it."""
    found = next((have for have in table.column_names if have == name), None)
    if found is None:
        return [None] * table.num_rows
    values = table.column(found)
    if pyarrow.types.is_dictionary(values.type):
        values = values.cast(values.type.value_type)
    return [None if isinstance(value, float) and value != value else value for value in values.to_pylist()]
