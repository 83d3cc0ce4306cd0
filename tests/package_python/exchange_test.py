#!/usr/bin/env python3
"""The package `symbology`: what it takes, what it gives, what it says when that does not do."""

import gc
import json
import subprocess
import sys
import threading
import unittest

import duckdb
import pandas
import polars
import pyarrow
import symbology
from support import BUOYS, CXML, HARBOUR, RULES, SYMBOLS, TOPMARKS, PackageTest, cxml, read, run_tool

def without_meanings(part):
    """Without what S-57's tables say, which the package does not have."""
    if isinstance(part, dict):
        return {name: without_meanings(value) for name, value in part.items() if name != "meaning"}
    return [without_meanings(value) for value in part] if isinstance(part, list) else part


class Exchange(PackageTest):
    def setUp(self):
        super().setUp()
        self.rules = self.file("rules.cxml", RULES)
        self.document = symbology.Document(self.rules)

    def symbolize(self, table=BUOYS, **options):
        return self.document.symbolize(table, layer="BOYLAT", related={"TOPMAR": TOPMARKS}, **options)

    def test_what_is_taken(self):
        class OnlyTheProtocol:
            def __arrow_c_stream__(self, requested_schema=None):
                return BUOYS.__arrow_c_stream__(requested_schema)

        class OnlyAnArray:
            def __arrow_c_array__(self, requested_schema=None):
                return BUOYS.to_batches()[0].__arrow_c_array__(requested_schema)

        taken = {"pyarrow table": BUOYS, "record batch": BUOYS.to_batches()[0], "reader": BUOYS.to_reader(1), "polars": polars.from_arrow(BUOYS),
                 "pandas": BUOYS.to_pandas(), "duckdb": duckdb.from_arrow(BUOYS), "the protocol": OnlyTheProtocol(),
                 "an array": OnlyAnArray(), "a capsule": BUOYS.__arrow_c_stream__()}
        for what, table in taken.items():
            with self.subTest(what):
                result = self.symbolize(table)
                self.assertEqual(pyarrow.table(result).column("SYMBOL_C").to_pylist(), SYMBOLS)
                self.assertEqual(result.rows, 4)

    def test_a_geopandas_table(self):
        try:
            import geopandas
            import shapely
        except ImportError as error:
            self.skipTest(str(error))
        frame = geopandas.GeoDataFrame(BUOYS.to_pandas(), geometry=[shapely.Point(i, i) for i in range(4)], crs=4326)
        back = geopandas.GeoDataFrame.from_arrow(self.symbolize(frame))
        self.assertEqual(list(back["SYMBOL_C"]), SYMBOLS)
        self.assertTrue(back.geometry.geom_equals(frame.geometry).all())
        self.assertEqual(back.crs, frame.crs)

    def test_who_takes_a_result(self):
        self.assertEqual(polars.DataFrame(self.symbolize())["SYMBOL_C"].to_list(), SYMBOLS)
        self.assertEqual(list(pandas.DataFrame.from_arrow(self.symbolize())["SYMBOL_C"]), SYMBOLS)
        self.assertEqual(pyarrow.RecordBatchReader.from_stream(self.symbolize()).read_all().column("Rotate_C").to_pylist(), [None, None, None, 45])

    def test_what_is_told(self):
        result = self.symbolize(coverage=True)
        with self.assertRaisesRegex(symbology.SymbologyError, "not been read to its end"):
            result.ledger
        self.assertFalse(result.is_ended)
        table = pyarrow.table(result)
        self.assertEqual(table.column("LABEL").to_pylist(), ["No 1 0.5m", None, None, None])
        self.assertTrue(result.is_ended)
        self.assertEqual((result.rows, result.changed), (4, 4))
        self.assertEqual(result.ledger["layers"][0]["ends"]["rule"], 3)
        self.assertIn("BOYTOP", str(result.ledger))
        self.assertIn("<table>", result.ledger._repr_html_())
        self.assertIn("measures", result.coverage)
        self.assertEqual(len(result.messages), 1)
        self.assertRegex(result.messages[0].text, "division by zero")
        self.assertEqual(result.summary["rows"], 4)
        with self.assertRaisesRegex(symbology.SymbologyError, "has been read already"):
            pyarrow.table(result)
        silent = self.symbolize(ledger=False)
        pyarrow.table(silent)
        self.assertIsNone(silent.ledger)
        self.assertIsNone(silent.coverage)

    def test_what_is_said(self):
        with self.assertRaisesRegex(symbology.SymbologyError, "no configuration defined for 'LNDMRK'"):
            self.document.symbolize(BUOYS, layer="LNDMRK")
        with self.assertRaisesRegex(TypeError, "the table is a builtins.dict, which gives no Arrow data"):
            self.document.symbolize({"a": 1}, layer="BOYLAT")
        with self.assertRaisesRegex(TypeError, r"collect\(\) it first"):
            self.document.symbolize(polars.from_arrow(BUOYS).lazy(), layer="BOYLAT")
        with self.assertRaisesRegex(TypeError, "the related table 'TOPMAR' is a builtins.int"):
            self.document.symbolize(BUOYS, layer="BOYLAT", related={"TOPMAR": 1})
        with self.assertRaisesRegex(symbology.SymbologyError, "column 'SYMBOL_C' cannot be written: it is of type binary"):
            self.document.symbolize(BUOYS.append_column("SYMBOL_C", pyarrow.array([b"a"] * 4)), layer="BOYLAT")
        with self.assertRaisesRegex(symbology.SymbologyError, "no subtype field 'NOSUCH'"):
            self.document.symbolize(BUOYS, layer="BOYLAT", subtype_field="NOSUCH")
        with self.assertRaisesRegex(symbology.SymbologyError, "related table 'topmar': there is such a table already"):
            self.document.symbolize(BUOYS, layer="BOYLAT", related={"TOPMAR": BUOYS, "topmar": TOPMARKS})
        for text, line in (("<conditionMap name='a'>\n<x></conditionMap>", 2), ("<other/>", None)):
            with self.assertRaises(symbology.DocumentError) as caught:
                symbology.Document(self.file("broken.cxml", text))
            self.assertTrue(caught.exception.file.endswith("broken.cxml"))
            self.assertEqual(caught.exception.line, line)
        with self.assertRaises(symbology.DocumentError):
            symbology.Document(self.folder / "missing.cxml")

    def test_a_producer_that_fails(self):
        def batches():
            yield BUOYS.to_batches()[0]
            raise ValueError("the sensor is gone")
        result = self.symbolize(pyarrow.RecordBatchReader.from_batches(BUOYS.schema, batches()))
        with self.assertRaisesRegex(Exception, "the sensor is gone"):
            pyarrow.table(result)
        self.assertTrue(result.is_ended)
        self.assertIn("the sensor is gone", result.summary and result._report.failure)

    def test_a_result_that_nobody_reads(self):
        reader = pyarrow.RecordBatchReader.from_stream(self.symbolize(BUOYS.to_reader(1)))
        reader.read_next_batch()
        del reader
        self.symbolize()
        gc.collect()

    def test_the_lock_is_free_while_expressions_run(self):
        """A producer in Python, a consumer in Python, and expressions: none waits for the others' lock."""
        many = pyarrow.concat_tables([BUOYS] * 500)
        seen = []

        def work():
            def batches():
                yield from many.to_batches(max_chunksize=50)
            reader = pyarrow.RecordBatchReader.from_batches(many.schema, batches())
            for batch in pyarrow.RecordBatchReader.from_stream(self.symbolize(reader)):
                seen.append(batch.num_rows)

        threads = [threading.Thread(target=work) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(120)
            self.assertFalse(thread.is_alive(), "a thread waits for ever")
        self.assertEqual(sum(seen), 4 * many.num_rows)

    def test_explanations_are_the_tools(self):
        chart = self.harbour()
        run_tool(HARBOUR / "harbour.cxml", chart)
        table, fid = read(chart, "BOYLAT")
        related = {layer: read(chart, layer)[0] for layer in ("LIGHTS", "TOPMAR")}
        document = symbology.Document(HARBOUR / "harbour.cxml")
        ours = document.explain(table, layer="BOYLAT", rows=[2, 7, 999], subtype_field="FCSUBTYPE", related=related)
        self.assertEqual([one.row for one in ours], [2, 7])
        for one in ours:
            number = table.column(fid).to_pylist()[one.row - 1]
            theirs = json.loads(cxml("explain", HARBOUR / "harbour.cxml", chart, "BOYLAT", "--fid", number, "--json"))
            expected = next(iter(theirs["rows"]))
            for member in ("conditions", "symbol", "writes", "subtype"):
                if member in expected:
                    self.assertEqual(one.get(member), without_meanings(expected[member]), member)
            self.assertIn("decided by", str(one))
            self.assertIn("<pre>", one._repr_html_())
        self.assertEqual(len(document.explain(table, layer="BOYLAT", most=3)), 3)
        self.assertEqual(document.explain(table, layer="BOYLAT", rows=[]), [])

    def test_texts_have_the_order_of_words(self):
        """Which needs ICU's data, of which the wheel has a part."""
        texts = ["ab", "Zebra", "émeraude", "Stø", "ß", "red", "灯台", "Ж", "3,4", "é", "a*"]
        rules = self.file("words.cxml", '<conditionMap name="w"><featureClass name="W"><condition rulename="NO"/><condition rulename="YES">'
                          '<rule type="A" field="A" operator="gt" fieldValue="B"/></condition></featureClass></conditionMap>')
        pairs = pyarrow.table({"A": [one for one in texts for _ in texts], "B": [other for _ in texts for other in texts]})
        symbols = pyarrow.table(symbology.Document(rules).symbolize(pairs, layer="W")).column("SYMBOL_C").to_pylist()
        greater = {one: sum(symbol == "YES" for symbol in symbols[at * len(texts):][:len(texts)]) for at, one in enumerate(texts)}
        self.assertEqual(sorted(texts, key=greater.get), ["3,4", "a*", "ab", "é", "émeraude", "red", "ß", "Stø", "Zebra", "Ж", "灯台"])

    def test_fields_and_classes(self):
        self.assertEqual(self.document.classes, ["BOYLAT"])
        self.assertEqual(self.document.fields("boylat").written, ("SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C", "LABEL"))
        self.assertEqual(set(self.document.fields("BOYLAT").read), {"COLOUR", "OBJNAM", "HEIGHT"})

    def test_documents_that_travel(self):
        document = symbology.Document.from_files({"rules.cxml": self.rules.read_bytes()})
        self.assertEqual(pyarrow.table(document.symbolize(BUOYS, layer="BOYLAT", related={"TOPMAR": TOPMARKS})).column("SYMBOL_C").to_pylist(), SYMBOLS)
        with self.assertRaises(ValueError):
            symbology.Document.from_files({"../rules.cxml": b""})

    def test_the_tool(self):
        chart = self.harbour()
        told = symbology.symbolize(chart, HARBOUR / "harbour.cxml", options=["--layer", "BOYLAT"])
        self.assertEqual(told["layers"][0]["layer"], "BOYLAT")
        with self.assertRaisesRegex(symbology.ToolError, "missing.gpkg"):
            symbology.symbolize(self.folder / "missing.gpkg", HARBOUR / "harbour.cxml")
        self.assertIn("findings", self.document.check())

    def test_the_process_may_end_with_everything_open(self):
        program = ("import pyarrow, symbology, sys\n"
                   "document = symbology.Document(sys.argv[1])\n"
                   "table = pyarrow.table({'OBJNAM': ['a'] * 10, 'HEIGHT': [1.0] * 10})\n"
                   "reader = pyarrow.RecordBatchReader.from_stream(document.symbolize(table.to_reader(1), layer='BOYLAT', related={'TOPMAR': pyarrow.table({'MASTER': ['x']})}))\n"
                   "print(reader.read_next_batch().num_rows)\n")
        done = subprocess.run([sys.executable, "-c", program, str(self.rules)], capture_output=True, text=True, check=False, timeout=60)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "1\n", ""))


class Draw(PackageTest):
    def setUp(self):
        super().setUp()
        try:
            import geopandas
            import pyogrio  # noqa: F401
            import shapely
        except ImportError as error:
            self.skipTest(str(error))
        self.document = symbology.Document(self.file("rules.cxml", RULES.replace("BOYRED", "BOYLAT24").replace("BOYTOP", "BOYLAT13")))
        points = [shapely.Point(10 + i / 100, 54) for i in range(4)]
        self.frame = geopandas.GeoDataFrame(BUOYS.to_pandas(), geometry=points, crs=4326)

    def test_a_table(self):
        picture = self.document.draw(self.frame, layer="BOYLAT", related={"TOPMAR": TOPMARKS})
        self.assertEqual(picture.summary["layers"], [{"layer": "BOYLAT", "rows": 4, "drawn": 4, "withoutSymbol": 0, "withoutShape": 0}])
        self.assertEqual(picture.summary["withoutPicture"], [{"symbol": "BOYDEF", "features": 1}])
        self.assertNotIn("picture", picture.summary)
        self.assertTrue(picture._repr_svg_().startswith("<?xml") or picture.svg.startswith("<svg"), picture.svg[:80])
        self.assertRegex(repr(picture), r"^<symbology.Picture: 1:\d+, BOYLAT 4>$")
        picture.save(self.folder / "chart.svg")
        self.assertEqual((self.folder / "chart.svg").read_text(encoding="utf-8"), picture.svg)

    def test_several_tables_and_what_is_chosen(self):
        rules = RULES.replace("</conditionMap>", '<featureClass name="LIGHTS"><condition rulename="LIGHTS11"/></featureClass></conditionMap>')
        document = symbology.Document(self.file("two.cxml", rules))
        lights = self.frame[["geometry"]]
        picture = document.draw({"BOYLAT": self.frame, "LIGHTS": lights.assign(fid="mine")}, related={"TOPMAR": TOPMARKS}, scale=25000,
                                bbox=(9.995, 53.99, 10.015, 54.01), palette="night")
        self.assertEqual(picture.summary["scale"], 25000)
        self.assertEqual([(layer["layer"], layer["drawn"]) for layer in picture.summary["layers"]], [("BOYLAT", 2), ("LIGHTS", 2)])
        day = document.draw(lights, layer="LIGHTS", scale=25000)
        self.assertNotEqual(document.draw(lights, layer="LIGHTS", scale=25000, palette="dusk").svg, day.svg)
        self.assertEqual(document.draw(lights.to_arrow(geometry_encoding="WKB"), layer="LIGHTS", scale=25000).svg, day.svg)

    def test_subtypes(self):
        rules = RULES.replace("</featureClass>", '<subtype number="3"><condition rulename="BOYLAT13"/></subtype></featureClass>'
                              '<featureClass name="LIGHTS"><condition rulename="LIGHTS11"/></featureClass>')
        document = symbology.Document(self.file("two.cxml", rules))
        frame = self.frame.assign(KIND=[3, 3, 3, 1])
        for field in ("KIND", {"BOYLAT": "KIND"}):
            tables = {"BOYLAT": frame, "LIGHTS": frame if field == "KIND" else self.frame[["geometry"]]}
            picture = document.draw(tables, subtype_field=field, related={"TOPMAR": TOPMARKS})
            self.assertEqual(picture.summary["withoutPicture"], [{"symbol": "BOYRED", "features": 1}])

    def test_what_cannot_be_drawn(self):
        cases = ((lambda: self.document.draw(self.frame), TypeError, "needs its layer"),
                 (lambda: self.document.draw(BUOYS, layer="BOYLAT", related={"TOPMAR": TOPMARKS}), symbology.SymbologyError, "BOYLAT: the table cannot be drawn"),
                 (lambda: self.document.draw(self.frame.set_crs(None, allow_override=True), layer="BOYLAT", related={"TOPMAR": TOPMARKS}),
                  symbology.SymbologyError, "BOYLAT: .*no CRS"),
                 (lambda: self.document.draw(self.frame, layer="NOCLASS"), symbology.SymbologyError, "NOCLASS"),
                 (lambda: self.document.draw(self.frame, layer="BOYLAT", related={"TOPMAR": TOPMARKS}, palette="noon"), symbology.ToolError, "palette"),
                 (lambda: self.document.draw(self.frame, layer="BOYLAT", related={"TOPMAR": TOPMARKS}, symbols="/no/where"),
                  symbology.ToolError, "/no/where"))
        for call, error, text in cases:
            with self.subTest(text), self.assertRaisesRegex(error, text):
                call()


if __name__ == "__main__":
    unittest.main()
