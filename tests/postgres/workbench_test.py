"""Questions about runs: on a server they have the answers that they have of a GeoPackage, and need no right to write."""
import json
import re
import shutil
import subprocess

from pg_support import ROOT, DatabaseTest, main

HARBOUR = ROOT / "examples" / "harbour"
DOCUMENT = HARBOUR / "harbour.cxml"
SUBTYPES = ("--subtype-field", "FCSUBTYPE")
LAYERS = ("BOYLAT", "BOYSPP", "LIGHTS", "SBDARE", "TOPMAR")


class Questions(DatabaseTest):
    postgis = True

    def setUp(self):
        super().setUp()
        self.chart = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", self.chart], check=True, capture_output=True)
        self.assertEqual(self.run_tool("symbolize", DOCUMENT, self.chart, "--add-fields", "--where", "1 = 0")[0], 0)
        # The key's name is the file's: clauses name it.
        subprocess.run(["ogr2ogr", "-f", "PostgreSQL", "-lco", "FID=fid", "-lco", "GEOMETRY_NAME=geom", "-preserve_fid",
                        self.dataset(), self.chart], check=True, capture_output=True)
        self.make_reader()
        shutil.copy(HARBOUR / "light_character.py", self.folder)
        lines = DOCUMENT.read_text(encoding="utf-8").splitlines(keepends=True)
        lines[53] = lines[53].replace('value="5"', 'value="4"')
        self.edited = self.folder / "edited.cxml"
        self.edited.write_text("".join(lines), encoding="utf-8")

    def answer(self, dataset, command, *arguments):
        """The object in lower case, which is how the server writes names, without what it has of the dataset."""
        status, out, err = self.run_tool(command, *arguments, "--json")
        self.assertTrue(out.startswith("{"), (command, arguments, status, err))
        text = out.replace(json.dumps(str(dataset))[1:-1], "DATASET").lower()
        return status, json.loads(text)

    def compare(self, command, before, after, layers=LAYERS):
        """The answers about a file, and about the server's tables as somebody who may only read them."""
        reader = self.dataset(user="reader")
        own = self.answer(self.chart, command, *before, self.chart, *layers, *after)
        server = self.answer(reader, command, *before, reader, *map(str.lower, layers), *after)
        self.assertEqual(server, own)
        return own

    def test_ledger(self):
        status, ledger = self.compare("ledger", [DOCUMENT], SUBTYPES)
        self.assertEqual((status, ledger["rows"]), (0, ledger["accounted"]))
        self.assertGreater(ledger["rows"], 80)

    def test_ledger_of_all_rows(self):
        tables = []
        for dataset, name in ((self.chart, "file"), (self.dataset(user="reader"), "server")):
            rows = self.folder / f"{name}.gpkg"
            status, _, err = self.run_tool("ledger", DOCUMENT, dataset, "BOYLAT", *SUBTYPES, "--rows", rows)
            self.assertEqual((status, err), (0, ""))
            told = subprocess.run(["ogrinfo", "-q", rows, "cxml_ledger"], capture_output=True, text=True, check=True)
            tables.append(re.sub(r"layer \(String\) = \w+", "", told.stdout))
        self.assertEqual(*tables)
        self.assertEqual(tables[0].count("OGRFeature"), 23)

    def test_explain(self):
        for layer in LAYERS:
            with self.subTest(layer):
                subtypes = SUBTYPES if layer in ("BOYLAT", "LIGHTS") else ()
                status, explained = self.compare("explain", [DOCUMENT], [*subtypes, "--where", "fid > 0"], [layer])
                self.assertEqual((status, len(explained["rows"]) > 1), (0, True))

    def test_explain_why_not_and_other_values(self):
        _, explained = self.compare("explain", [DOCUMENT], [*SUBTYPES, "--fid", "22", "--why-not", "BOYLAT13"], ["BOYLAT"])
        self.assertEqual(explained["rows"][0]["why_not"][0]["evaluated"], "boylat13")
        _, explained = self.compare("explain", [DOCUMENT], [*SUBTYPES, "--fid", "6", "--set", "BOYSHP=4"], ["BOYLAT"])
        self.assertEqual(explained["rows"][0]["symbol"]["value"], "boylat13")

    def test_explain_near(self):
        nearest = self.compare("explain", [DOCUMENT], [*SUBTYPES, "--near=-20.0015,-30.0162"], ["BOYLAT"])
        self.assertEqual(nearest[1]["rows"][0]["row"]["fid"], 5)

    def test_coverage(self):
        status, coverage = self.compare("coverage", [DOCUMENT], SUBTYPES)
        self.assertEqual((status, coverage["unmeasured"]), (0, 0))
        self.assertGreater(coverage["measures"]["decided"]["seen"], 10)

    def test_diff_of_documents(self):
        for dataset in (self.chart, self.dataset()):
            layers = LAYERS if dataset == self.chart else map(str.lower, LAYERS)
            self.assertEqual(self.run_tool("symbolize", DOCUMENT, dataset, *layers, *SUBTYPES)[0], 0)
        status, difference = self.compare("diff", [DOCUMENT, self.edited], SUBTYPES)
        self.assertEqual((status, difference["changes"]["symbol"]), (1, 6))
        self.assertEqual(self.compare("diff", [DOCUMENT, DOCUMENT], SUBTYPES)[0], 0)

    def test_diff_of_a_document_and_the_tables(self):
        status, difference = self.compare("diff", [DOCUMENT], SUBTYPES)
        self.assertEqual((status, difference["changes"]["gained"] > 20), (1, True))
        self.assertEqual(self.sql("SELECT count(symbol_c) FROM boylat"), ["0"])

    def test_map_of_a_difference(self):
        maps = []
        for dataset, name in ((self.chart, "file"), (self.dataset(user="reader"), "server")):
            rows = self.folder / f"{name}.gpkg"
            status, _, err = self.run_tool("diff", DOCUMENT, self.edited, dataset, "BOYLAT", *SUBTYPES, "--rows", rows)
            self.assertEqual((status, err), (1, ""))
            told = subprocess.run(["ogrinfo", "-q", rows, "cxml_diff"], capture_output=True, text=True, check=True)
            maps.append(re.sub(r"layer \(String\) = \w+", "", told.stdout))
        self.assertEqual(*maps)
        self.assertEqual(maps[0].count("POINT ("), 6)

    def test_pin(self):
        pinned = []
        for dataset, name in ((self.chart, "file"), (self.dataset(user="reader"), "server")):
            tests = self.folder / f"{name}.tests.md"
            layer = "BOYLAT" if name == "file" else "boylat"
            status, _, err = self.run_tool("pin", DOCUMENT, dataset, layer, *SUBTYPES, "-o", tests)
            self.assertEqual(status, 0, err)
            self.assertEqual(self.run_tool("test", DOCUMENT, tests)[0], 0)
            pinned.append(tests.read_text(encoding="utf-8").lower())
        self.assertEqual(len(pinned[0].splitlines()), len(pinned[1].splitlines()))

    def test_a_comparison_that_reads_what_it_writes_needs_the_right_to_write(self):
        crossing = self.document(
            '<featureClass name="TOPMAR"><condition rulename="ON"><rule type="Q" operator="exists" table="BOYLAT">'
            "<query>SYMBOL_C = 'BOYLAT13'</query></rule></condition></featureClass>"
            '<featureClass name="BOYLAT"><condition rulename="BOYLAT13"/></featureClass>')
        status, out, err = self.run_tool("diff", crossing, self.dataset(), "boylat", "topmar")
        self.assertEqual((status, "real runs, rolled back" in out), (1, True), err)
        self.assertEqual(self.sql("SELECT count(symbol_c) FROM boylat"), ["0"])
        status, out, err = self.run_tool("diff", crossing, self.dataset(user="reader"), "boylat", "topmar")
        self.assertEqual((status, out), (2, ""))
        self.assertIn("permission denied", err)


if __name__ == "__main__":
    main()
