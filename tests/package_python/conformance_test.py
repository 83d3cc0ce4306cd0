#!/usr/bin/env python3
"""The same answer in every host: streams against GeoPackages, row by row: symbols, placements, computed fields, messages and counts."""

import os
import pathlib
import random
import shutil
import unittest

import pyarrow
import pyogrio
import symbology
from support import HARBOUR, ROOT, PackageTest, column, cxml, layers_of, read, run_tool, titles_of

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
                rules = self.file(f"random{seed}.cxml", made_document(chance))
                before = self.folder / f"random{seed}.gpkg"
                for layer in ("MARKS", "OTHERS"):
                    write(before, layer, made_table(chance, 60))
                after = self.folder / f"after{seed}.gpkg"
                shutil.copy(before, after)
                told = run_tool(rules, after, "--layer", "MARKS", fine=(0, 1))
                self.compare(symbology.Document(rules), before, after, told["layers"], seed=seed)


FIELDS = {"A": [None, 0, 1, 2, 3, -5, 100000], "B": [None, 0.0, 0.5, -1.5, 3.0, 1e9], "C": [None, "", "1", "3,4", "4,3", "red", "Stø"],
          "D": [None, "a", "ab", "b", "A*"], "E": [None, True, False]}
TYPES = {"A": pyarrow.int32(), "B": pyarrow.float64(), "C": pyarrow.string(), "D": pyarrow.string(), "E": pyarrow.bool_()}


def made_table(chance, rows):
    columns = {name: pyarrow.array([chance.choice(values) for _ in range(rows)], TYPES[name]) for name, values in FIELDS.items()}
    columns["SYMBOL_C"] = pyarrow.array([chance.choice([None, "S1", "OLD"]) for _ in range(rows)], pyarrow.string())
    return pyarrow.table(columns)


def write(dataset, layer, table):
    pyogrio.write_arrow(table, dataset, layer=layer, driver="GPKG", geometry_name=None, geometry_type=None, append=dataset.exists())


def made_rule(chance, depth=0):
    field = chance.choice([*FIELDS, "NONE"])
    if chance.random() < 0.25:
        clause = chance.choice(["A = %s", "B &gt; 0", "C = '%s'", "A IS NOT NULL AND %s = A"])
        params = f'<params><param value="{chance.choice(list(FIELDS))}"/></params>' if "%s" in clause else ""
        return f'<rule type="Q" operator="exists" table="OTHERS"><query>{clause}</query>{params}</rule>'
    operator = chance.choice(["equal", "notequal", "lt", "lte", "gt", "gte", "like", "notlike", "between"])
    values = {"between": "0,3", "like": chance.choice(["a*", "*", "3*", "?"]), "notlike": "*b*"}
    value = values.get(operator) or chance.choice(["NULL", "0", "1", "3", "0.5", "red", "", "3,4"])
    return f'<rule type="A" field="{field}" operator="{operator}" value="{value}"/>'


def made_condition(chance, number):
    rules = "".join(made_rule(chance) for _ in range(chance.randint(0 if number == 0 else 1, 3)))
    if chance.random() < 0.2:
        return (f'<condition type="2" field="LABEL">{rules}<expression><![CDATA[\ndef Generate(A, C):\n'
                f'    return "%s-%s" % (A, C) if A else 1 / A\n]]></expression></condition>')
    placement = f' angle="{chance.choice([15, 90])}"' if chance.random() < 0.4 else ""
    name = f' rulename="S{number}"' if chance.random() < 0.9 or not placement else ""
    return f"<condition{name}{placement}>{rules}</condition>"


def made_document(chance):
    conditions = "".join(made_condition(chance, number) for number in range(chance.randint(2, 12)))
    return f'<conditionMap name="random"><featureClass name="MARKS">{conditions}</featureClass></conditionMap>'


if __name__ == "__main__":
    unittest.main()
