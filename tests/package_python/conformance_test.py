#!/usr/bin/env python3
"""The same answer in every host: streams against GeoPackages, row by row: symbols, placements, computed fields, messages and counts."""

import datetime
import os
import pathlib
import random
import shutil
import sys
import unittest

import pyarrow
import pyogrio
import symbology
from support import HARBOUR, ROOT, PackageTest, column, cxml, layers_of, read, run_tool, titles_of

sys.path.insert(0, str(ROOT / "tests" / "support"))
import random_documents  # noqa: E402

CELLS = pathlib.Path(os.environ.get("SYMBOLOGY_SAMPLE_CELLS") or ROOT.parent / "shared/sample-cells")


class Conformance(PackageTest):
    def tables(self, dataset):
        return {layer: read(dataset, layer)[0] for layer in layers_of(dataset)}

    def compare(self, document, before, after, results, *, subtype_field=None, batches=None, seed=1):
        """Symbolizes the tables `before` and compares them with the tool's `after` and what it told of its runs."""
        chance = random.Random(seed)
        compared = 0
        titles = titles_of(before)  # documents configure classes by their titles
        for result in results:
            layer = result["layer"]
            table, _ = read(before, layer)
            related = self.tables(before)
            rows = batches or chance.choice([7, 64, 4096])
            reader = pyarrow.RecordBatchReader.from_batches(table.schema, table.to_batches(max_chunksize=rows))
            subtypes = subtype_field if subtype_field in table.column_names else None
            run = document.symbolize(reader, layer=titles.get(layer, layer), subtype_field=subtypes, related=related)
            ours = pyarrow.table(run)
            theirs = read(after, layer)[0]
            self.assertEqual(ours.num_rows, theirs.num_rows, layer)
            written = document.fields(titles.get(layer, layer)).written
            for field in written:
                mine, expected = column(ours, field), column(theirs, field)
                different = [(row + 1, one, other) for row, (one, other) in enumerate(zip(mine, expected)) if one != other]
                self.assertEqual(different[:5], [], f"{layer}.{field}")
                compared += len(mine)
            for name in table.column_names:
                if name not in written:
                    self.assertTrue(ours.column(name).equals(table.column(name)), f"{layer}.{name}")
            self.assertEqual(run.rows, result["rows"])
            self.assertEqual(sorted({message.text for message in run.messages}),
                             sorted({message["text"] for message in result["messages"]}), layer)
        return compared

    def test_the_harbour(self):
        before = self.harbour()
        after = self.folder / "after.gpkg"
        shutil.copy(before, after)
        told = run_tool(HARBOUR / "harbour.cxml", after)
        compared = self.compare(symbology.Document(HARBOUR / "harbour.cxml"), before, after, told["layers"], subtype_field="FCSUBTYPE")
        self.assertGreater(compared, 500)

    def test_sample_cells(self):
        cells = [CELLS / name for name in ("US5OH10M.000",) if (CELLS / name).exists()]
        cells = cells or sorted(CELLS.rglob("US5OH10M.000"))[:1] if CELLS.exists() else []
        if not cells:
            self.skipTest(f"there is no US5OH10M.000 in {CELLS.name}")
        for cell in cells:
            before, after = self.folder / "cell.gpkg", self.folder / "symbolized.gpkg"
            cxml("import", cell, before)
            shutil.copy(before, after)
            document = ROOT / "examples/enc/enc.cxml"
            told = run_tool(document, after)
            compared = self.compare(symbology.Document(document), before, after, told["layers"])
            self.assertGreater(compared, 5000)

    def test_random_documents(self):
        number = int(os.environ.get("SYMBOLOGY_RANDOM_DOCUMENTS", "25"))
        for seed in range(number):
            with self.subTest(seed=seed):
                chance = random.Random(seed)
                maker = random_documents.Maker(chance)
                rules = self.file(f"random{seed}.cxml", maker.document())
                before = self.folder / f"random{seed}.gpkg"
                for layer in ("MARKS", "OTHERS"):
                    write(before, layer, made_table(maker, 60))
                after = self.folder / f"after{seed}.gpkg"
                shutil.copy(before, after)
                told = run_tool(rules, after, "--layer", "MARKS", "--subtype-field", "KIND", fine=(0, 1))
                compared = self.compare(symbology.Document(rules), before, after, told["layers"], subtype_field="KIND", seed=seed)
                self.assertGreaterEqual(compared, 60)


TYPES = {"integer": pyarrow.int32(), "small": pyarrow.int16(), "big": pyarrow.int64(), "real": pyarrow.float64(), "float": pyarrow.float32(),
         "text": pyarrow.string(), "boolean": pyarrow.bool_(), "date": pyarrow.date32(), "moment": pyarrow.timestamp("ms")}
READ = {"boolean": bool, "date": datetime.date.fromisoformat, "moment": datetime.datetime.fromisoformat}


def made_table(maker, rows):
    values = [maker.row() for _ in range(rows)]
    columns = {}
    for position, (name, kind) in enumerate(random_documents.FIELDS):
        read = READ.get(kind, lambda value: value)
        columns[name] = pyarrow.array([None if row[position] is None else read(row[position]) for row in values], TYPES[kind])
    return pyarrow.table(columns)


def write(dataset, layer, table):
    pyogrio.write_arrow(table, dataset, layer=layer, driver="GPKG", geometry_name=None, geometry_type=None, append=dataset.exists())


if __name__ == "__main__":
    unittest.main()
