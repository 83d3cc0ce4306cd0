"""Cells, imported and symbolized, against a query over their attributes: the harbour's, and real ones where there are some."""
import os
import pathlib
import re
import subprocess
import sys

from support import ROOT, TestCase, cxml, cxml_json, main, query

ENC = ROOT / "examples" / "enc"
CELLS = pathlib.Path(os.environ.get("SYMBOLOGY_SAMPLE_CELLS") or ROOT.parent / "shared" / "sample-cells")


def expected_queries(kind="layer"):
    text = (ENC / "expected.sql").read_text(encoding="utf-8")
    return dict(re.findall(rf"^-- {kind} (\w+)\n(.*?);$", text, re.MULTILINE | re.DOTALL))


class Cells(TestCase):
    def check_real(self, name, least_layers, least_features, least_labels):
        cell = CELLS / name
        if not cell.exists():
            self.skipTest(f"no cell at {cell}; set SYMBOLOGY_SAMPLE_CELLS to a folder that has {name}")
        self.check(cell, least_layers, least_features, least_labels)

    def check(self, cell, least_layers, least_features, least_labels):
        dataset = self.folder / "cell.gpkg"
        done = cxml("import", cell, dataset)
        self.assertEqual(done.returncode, 0, done.stderr)
        tables = {table for (table,) in query(dataset, "SELECT table_name FROM gpkg_contents")}
        queries = {layer: sql for layer, sql in expected_queries().items() if layer in tables}
        self.assertGreaterEqual(len(queries), least_layers)
        expected = {layer: query(dataset, sql) for layer, sql in queries.items()}  # before symbolizing
        self.assertGreaterEqual(sum(map(len, expected.values())), least_features)
        labels = {layer: query(dataset, sql) for layer, sql in expected_queries("label").items() if layer in tables}
        self.assertGreaterEqual(sum(label is not None for rows in labels.values() for _, label in rows), least_labels)

        status, said = cxml_json("symbolize", ENC / "enc.cxml", dataset, "--add-fields")
        self.assertEqual((status, said["document"]["messages"]), (0, []))
        self.assertEqual({layer["layer"]: (layer["changed"], layer["messages"]) for layer in said["layers"]},
                         {layer: (len(rows), []) for layer, rows in expected.items()})
        for layer, rows in expected.items():
            with self.subTest(layer):
                self.assertEqual(
                    query(dataset, f"SELECT fid, SYMBOL_C, Xoffset_C, Yoffset_C, Rotate_C FROM {layer} ORDER BY fid"),
                    sorted(rows))
        for layer, rows in labels.items():
            with self.subTest(layer, field="LABEL_C"):
                self.assertEqual(query(dataset, f"SELECT fid, LABEL_C FROM {layer} ORDER BY fid"), sorted(rows))

        status, said = cxml_json("check", ENC / "enc.cxml", dataset)
        self.assertEqual((status, [one for one in said["findings"] if one["severity"] != "note"]), (0, []))

        status, said = cxml_json("symbolize", ENC / "enc.cxml", dataset)
        self.assertEqual((status, sum(layer["changed"] for layer in said["layers"])), (0, 0))

    def test_own_cell(self):
        subprocess.run([sys.executable, "-B", ROOT / "examples" / "harbour" / "generator", "--cell", self.folder], check=True)
        self.check(self.folder / "XX5MERRW.000", 13, 430, 80)

    def test_real_harbour_cell(self):
        self.check_real("US5OH10M.000", 17, 3000, 240)

    def test_real_overview_cell(self):
        self.check_real("US1BS01M.000", 11, 1500, 100)

    def test_the_document_has_nothing_to_complain_of(self):
        status, said = cxml_json("check", ENC / "enc.cxml")
        self.assertEqual((status, said["document"]["messages"]), (0, []))

    def test_the_query_covers_the_document(self):
        classes = re.findall(r'featureClass name="(\w+)"', (ENC / "enc.cxml").read_text(encoding="utf-8"))
        self.assertEqual(sorted(classes), sorted(expected_queries()))


if __name__ == "__main__":
    main()
