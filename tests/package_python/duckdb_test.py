#!/usr/bin/env python3
"""symbology.duckdb: Parquet in, Parquet out."""

import contextlib
import unittest
import unittest.mock

import duckdb
import pyarrow
import pyarrow.parquet
import symbology
import symbology.duckdb
from support import BUOYS, RULES, SYMBOLS, TOPMARKS, PackageTest


class DuckDb(PackageTest):
    def setUp(self):
        super().setUp()
        self.rules = self.file("rules.cxml", RULES)

    def test_geoparquet_to_geoparquet(self):
        many = pyarrow.concat_tables([BUOYS] * 1000)
        parts = self.folder / "parts"
        parts.mkdir()
        pyarrow.parquet.write_table(many.slice(0, 1500), parts / "a.parquet", row_group_size=300)
        pyarrow.parquet.write_table(many.slice(1500), parts / "b.parquet")
        topmarks = self.folder / "topmarks.parquet"
        pyarrow.parquet.write_table(TOPMARKS, topmarks)
        target = self.folder / "out.parquet"
        result = symbology.duckdb.symbolize(parts, target, self.rules, layer="BOYLAT", related={"TOPMAR": topmarks})
        self.assertEqual(result.rows, 4000)
        self.assertEqual(pyarrow.parquet.read_table(target).column("SYMBOL_C").to_pylist(), SYMBOLS * 1000)
        with self.assertRaises(FileExistsError):
            symbology.duckdb.symbolize(parts, target, self.rules, layer="BOYLAT")
        with self.assertRaisesRegex(symbology.SymbologyError, "BOYSPP"):
            symbology.duckdb.symbolize(parts, self.folder / "other.parquet", self.rules, layer="BOYSPP")
        self.assertEqual(sorted(file.name for file in self.folder.glob("*.parquet*")), ["out.parquet", "topmarks.parquet"])

    def test_what_the_document_does_not_read_stays_with_duckdb(self):
        """Of whatever type, in its place; what is written keeps its column's name and place too."""
        source, target = self.folder / "in.parquet", self.folder / "out.parquet"
        duckdb.sql(f"""COPY (SELECT * FROM (VALUES
                ({{'a': 1, 'b': [1, 2]}}, 'No 1', 7::UHUGEINT, '3', 2.0, 'OLD', MAP {{'k': 1}}, 'x'::ENUM('x', 'y')),
                (NULL, 'No 2', NULL, '4', NULL, NULL, NULL, NULL),
                ({{'a': 3, 'b': NULL}}, 'No 3', 9, NULL, 0.0, 'OLD', MAP {{}}, 'y'))
            t("a struct", objnam, huge, "COLOUR", height, symbol_c, "a ""map", enum)) TO '{source}' (FORMAT parquet)""")
        with self.reads("COLOUR,height,objnam,symbol_c"):
            symbology.duckdb.symbolize(source, target, self.rules, layer="BOYLAT", related={"TOPMAR": TOPMARKS})
        kept = 'SELECT "a struct", objnam, huge, "COLOUR", height, "a ""map", enum FROM '
        self.assertEqual(duckdb.sql(f"{kept} '{target}'").fetchall(), duckdb.sql(f"{kept} '{source}'").fetchall())
        self.assertEqual(duckdb.sql(f"SELECT symbol_c FROM '{target}'").fetchall(), [("BOYRED",), ("BOYTOP",), ("BOYDEF",)])
        before, after = ({name: kind for name, kind, *_ in duckdb.sql(f"DESCRIBE SELECT * FROM '{file}'").fetchall()} for file in (source, target))
        self.assertEqual(list(after), [*before, "Xoffset_C", "Yoffset_C", "Rotate_C", "LABEL"])
        self.assertEqual({name: after[name] for name in before}, before)

    @contextlib.contextmanager
    def reads(self, wanted):
        """Only these columns come to the document, in whatever order."""
        came = []
        symbolize = symbology.Document.symbolize

        def watched(document, table, **options):
            came.extend(table.schema.names)
            return symbolize(document, table, **options)

        with unittest.mock.patch.object(symbology.Document, "symbolize", watched):
            yield
        self.assertEqual(",".join(sorted(name for name in came if not name.startswith("symbology_"))), wanted)

    def test_rows_whose_order_may_change_come_whole(self):
        many = pyarrow.concat_tables([BUOYS] * 1000).append_column("ID", pyarrow.array(range(4000)))
        for name, table, connection in (
                ("no order", many, duckdb.connect(config={"preserve_insertion_order": False})),
                ("a column of that name", many.append_column("FILE_ROW_NUMBER", pyarrow.array(range(4000, 0, -1))), None),
                ("another", many.append_column("file_index", pyarrow.array([1] * 4000)), None)):
            with self.subTest(name):
                source, target = self.folder / "in.parquet", self.folder / "out.parquet"
                pyarrow.parquet.write_table(table, source, row_group_size=500)
                with self.reads(",".join(sorted(table.schema.names))):
                    symbology.duckdb.symbolize(source, target, self.rules, layer="BOYLAT", related={"TOPMAR": TOPMARKS},
                                               connection=connection, overwrite=True)
                back = pyarrow.parquet.read_table(target).sort_by("ID")
                self.assertEqual(back.select(table.schema.names), table)
                self.assertEqual(back.column("SYMBOL_C").to_pylist(), SYMBOLS * 1000)

    def test_rows_in_two_orders_are_not_mixed(self):
        """Whoever gives the stream's rows in another order than the file's is found out."""
        source = self.folder / "in.parquet"
        pyarrow.parquet.write_table(pyarrow.concat_tables([BUOYS] * 10), source)
        symbolize = symbology.Document.symbolize

        def turned(document, table, **options):
            rows = pyarrow.RecordBatchReader.from_stream(table).read_all()
            return symbolize(document, rows.take(list(reversed(range(rows.num_rows)))), **options)

        with unittest.mock.patch.object(symbology.Document, "symbolize", turned), self.assertRaisesRegex(duckdb.Error, "two orders"):
            symbology.duckdb.symbolize(source, self.folder / "out.parquet", self.rules, layer="BOYLAT", related={"TOPMAR": TOPMARKS})
        self.assertEqual(sorted(file.name for file in self.folder.iterdir()), ["in.parquet", "rules.cxml"])

    def test_subtypes_are_read_too(self):
        rules = self.file("subtypes.cxml", """<conditionMap name="rules"><featureClass name="BOYLAT">
            <subtype number="1"><condition rulename="ONE"/></subtype><subtype number="2"><condition rulename="TWO"/></subtype>
            </featureClass></conditionMap>""")
        source, target = self.folder / "in.parquet", self.folder / "out.parquet"
        pyarrow.parquet.write_table(pyarrow.table({"FCSUBTYPE": pyarrow.array([2, 1], pyarrow.int32()), "COLOUR": ["3", "4"]}), source)
        symbology.duckdb.symbolize(source, target, rules, layer="BOYLAT", subtype_field="fcsubtype")
        self.assertEqual(pyarrow.parquet.read_table(target).column("SYMBOL_C").to_pylist(), ["TWO", "ONE"])

    def test_in_parts(self):
        """Parts hold whole row groups, in the source's order; many are made at a time."""
        many = pyarrow.concat_tables([BUOYS] * 1000).append_column("ID", pyarrow.array(range(4000)))
        source = self.folder / "chart"
        source.mkdir()
        pyarrow.parquet.write_table(many.slice(0, 1500), source / "a.parquet", row_group_size=300)
        pyarrow.parquet.write_table(many.slice(1500), source / "b.parquet", row_group_size=300)
        target = self.folder / "symbolized"
        for parts, sizes in ((1, [4000]), (3, [1200, 1500, 1300]), (100, [300] * 13 + [100])):
            with self.subTest(parts):
                results = symbology.duckdb.symbolize_in_parts(source, target, self.rules, layer="BOYLAT", parts=parts, overwrite=True,
                                                              related={"TOPMAR": TOPMARKS})
                files = sorted(target.iterdir())
                self.assertEqual([file.name for file in files], [f"part-{number:05}.parquet" for number in range(1, len(sizes) + 1)])
                self.assertEqual([pyarrow.parquet.read_metadata(file).num_rows for file in files], sizes)
                self.assertEqual([result.rows for result in results], sizes)
                table = pyarrow.parquet.read_table(target)
                self.assertEqual(table.column("ID").to_pylist(), list(range(4000)))
                self.assertEqual(table.column("SYMBOL_C").to_pylist(), SYMBOLS * 1000)

    def test_in_parts_of_no_rows(self):
        pyarrow.parquet.write_table(BUOYS.slice(0, 0), self.folder / "in.parquet")
        target = self.folder / "out"
        results = symbology.duckdb.symbolize_in_parts(self.folder / "in.parquet", target, self.rules, layer="BOYLAT",
                                                      parts=4, related={"TOPMAR": TOPMARKS})
        self.assertEqual([result.rows for result in results], [0])
        self.assertEqual(pyarrow.parquet.read_table(target).column_names,
                         [*BUOYS.column_names, "SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C", "LABEL"])

    def test_a_part_that_fails(self):
        """It takes all others with it: there is no folder, and what stood in its place stays."""
        many = pyarrow.concat_tables([BUOYS] * 100)
        source = self.folder / "in.parquet"
        pyarrow.parquet.write_table(many, source, row_group_size=100)
        kept = self.folder / "kept"
        kept.mkdir()
        (kept / "mine").write_text("mine")
        for target, options, error, text in (
                (self.folder / "new", {"layer": "BOYSPP"}, symbology.SymbologyError, "part 1: .*BOYSPP"),
                (kept, {"layer": "BOYSPP", "overwrite": True}, symbology.SymbologyError, "part 1: .*BOYSPP"),
                (kept, {"layer": "BOYLAT"}, FileExistsError, "kept is there already"),
                (source, {"layer": "BOYLAT", "overwrite": True}, FileExistsError, "in.parquet is there already"),
                (self.folder / "new", {"layer": "BOYLAT", "parts": 0}, ValueError, "at least 1"),
                (self.folder / "new", {"layer": "BOYLAT", "workers": 0}, ValueError, "at least 1")):
            with self.subTest(text), self.assertRaisesRegex(error, text):
                symbology.duckdb.symbolize_in_parts(source, target, self.rules, **{"parts": 4, "workers": 1, **options})
        self.assertEqual(sorted(file.name for file in self.folder.iterdir()), ["in.parquet", "kept", "rules.cxml"])
        self.assertEqual((kept / "mine").read_text(), "mine")

    def test_a_geometry_stays_one(self):
        try:
            import geopandas
            import shapely
        except ImportError as error:
            self.skipTest(str(error))
        frame = geopandas.GeoDataFrame(BUOYS.to_pandas(), geometry=[shapely.Point(i, -i) for i in range(4)], crs=4326)
        source, target = self.folder / "in.parquet", self.folder / "out.parquet"
        frame.to_parquet(source)
        symbology.duckdb.symbolize(source, target, self.rules, layer="BOYLAT", related={"TOPMAR": TOPMARKS})
        back = geopandas.read_parquet(target)
        self.assertEqual(list(back["SYMBOL_C"]), SYMBOLS)
        self.assertTrue(back.geometry.geom_equals(frame.geometry).all())


if __name__ == "__main__":
    unittest.main()
