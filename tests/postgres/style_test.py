"""`cxml style` on a server: rows of layer_styles as QGIS keeps them there, and who may write them."""
from pg_support import DatabaseTest, main

# As QGIS has made it, with a column that later releases have.
TABLE = """CREATE TABLE layer_styles (id serial PRIMARY KEY, f_table_catalog varchar, f_table_schema varchar, f_table_name varchar,
f_geometry_column varchar, styleName text, styleQML xml, styleSLD xml, useAsDefault boolean, description text,
owner varchar(63) DEFAULT CURRENT_USER, ui xml, update_time timestamp DEFAULT CURRENT_TIMESTAMP, type varchar, r_raster_column varchar)"""
ROWS = "SELECT stylename, useasdefault, owner FROM layer_styles WHERE f_table_name = 'boylat' ORDER BY stylename, useasdefault"


class Style(DatabaseTest):
    postgis = True

    def setUp(self):
        super().setUp()
        self.sql("DROP ROLE IF EXISTS writer; CREATE ROLE writer LOGIN")
        self.addCleanup(lambda: self.sql("DROP OWNED BY writer; DROP ROLE writer"))
        self.sql("CREATE TABLE boylat (id serial PRIMARY KEY, catlam int, symbol_c text, xoffset_c float8, geom geometry(Point, 4326));"
                 "INSERT INTO boylat (symbol_c, geom) VALUES ('BOYLAT13', 'SRID=4326;POINT(1 2)'), ('NOSUCH01', 'SRID=4326;POINT(1 2)'),"
                 " (NULL, 'SRID=4326;POINT(1 2)'), ('BOYLAT23', NULL);"
                 "CREATE TABLE plain (id int PRIMARY KEY, symbol_c text)")

    def style(self, *arguments, user="admin"):
        return self.run_tool("style", self.dataset(user=user), *arguments)

    def assert_refused(self, why, *arguments, user="admin"):
        status, out, err = self.style(*arguments, user=user)
        self.assertEqual((status, out, err.count("\n")), (2, "", 1), err)
        self.assertIn(why, err)
        self.assertTrue(err.startswith(f"cxml: PG:{self.database}: "), err)
        self.assertNotIn("host=", err)

    def test_with_a_table(self):
        self.sql(TABLE)
        status, out, err = self.style()
        self.assertEqual((status, out, err), (0, "boylat: a style of 2 symbols\nno picture: NOSUCH01 (1)\n", ""))
        self.assertEqual(self.sql(ROWS), ["CXML|t|admin", "CXML by name|f|admin"])
        self.assertEqual(self.sql("SELECT DISTINCT f_table_catalog, f_table_schema, f_table_name, f_geometry_column, type IS NULL FROM layer_styles"),
                         [f"{self.database}|public|boylat|geom|t"])
        self.assertEqual(self.sql("SELECT unnest(xpath('//category/@value', styleqml))::text FROM layer_styles WHERE stylename = 'CXML'"),
                         ["BOYLAT13", "NOSUCH01", ""])
        self.assertEqual(self.sql("SELECT (xpath('//renderer-v2/@attr', styleqml))[1]::text FROM layer_styles WHERE stylename = 'CXML'"), ["symbol_c"])

    def test_twice_writes_nothing(self):
        self.sql(TABLE)
        self.assertEqual(self.style()[0], 0)
        rows = "SELECT id, xmin, update_time FROM layer_styles ORDER BY id"
        before = self.sql(rows)
        self.assertEqual(self.style()[0], 0)
        self.assertEqual(self.sql(rows), before)
        self.assertEqual(self.style("--palette", "night")[0], 0)
        after = self.sql(rows)
        self.assertEqual([row.split("|")[0] for row in after], [row.split("|")[0] for row in before])
        self.assertNotEqual(after, before)

    def test_without_a_table(self):
        self.assert_refused("there is no table public.layer_styles, in which styles are kept; --create-style-table makes it")
        self.assertEqual(self.sql("SELECT to_regclass('layer_styles') IS NULL"), ["t"])
        self.assertEqual(self.style("--create-style-table")[0], 0)
        self.assertEqual(self.sql(ROWS), ["CXML|t|admin", "CXML by name|f|admin"])
        self.assertEqual(self.sql("SELECT string_agg(column_name || ' ' || data_type, ', ' ORDER BY ordinal_position) FROM information_schema.columns"
                                  " WHERE table_name = 'layer_styles'"),
                         ["id integer, f_table_catalog character varying, f_table_schema character varying, f_table_name character varying, "
                          "f_geometry_column character varying, stylename text, styleqml xml, stylesld xml, useasdefault boolean, description text, "
                          "owner character varying, ui xml, update_time timestamp without time zone, type character varying"])

    def test_somebodys_default_stays(self):
        self.sql(TABLE)
        self.sql("INSERT INTO layer_styles (f_table_catalog, f_table_schema, f_table_name, f_geometry_column, stylename, styleqml, useasdefault)"
                 f" VALUES ('{self.database}', 'public', 'boylat', 'geom', 'office', '<qgis/>', true),"
                 " ('another', 'public', 'boylat', 'geom', 'CXML', '<qgis/>', true)")
        status, out, _ = self.style()
        self.assertEqual((status, out.splitlines()[0]), (0, "boylat: a style of 2 symbols; it still opens with 'office'"))
        self.assertEqual(self.sql(ROWS), ["CXML|f|admin", "CXML|t|admin", "CXML by name|f|admin", "office|t|admin"])
        self.assertEqual(self.sql("SELECT count(*) FROM layer_styles WHERE styleqml::text = '<qgis/>'"), ["2"])

    def test_no_right_to_write(self):
        self.sql("GRANT SELECT ON boylat TO writer; GRANT USAGE ON SCHEMA public TO writer; REVOKE CREATE ON SCHEMA public FROM PUBLIC")
        self.assert_refused("permission denied for schema public", "--create-style-table", user="writer")
        self.sql(TABLE)
        self.assert_refused("permission denied for table layer_styles", user="writer")
        self.sql("GRANT SELECT ON layer_styles TO writer")
        self.assert_refused("permission denied for table layer_styles", user="writer")
        self.assertEqual(self.sql(ROWS), [])
        self.sql("GRANT SELECT, INSERT, UPDATE ON layer_styles TO writer; GRANT USAGE ON SEQUENCE layer_styles_id_seq TO writer")
        self.assertEqual(self.style(user="writer")[0], 0)
        self.assertEqual(self.sql(ROWS), ["CXML|t|writer", "CXML by name|f|writer"])

    def test_a_failure_leaves_the_table_as_it_was(self):
        self.sql(TABLE)
        self.sql("CREATE TABLE light (id int PRIMARY KEY, symbol_c text, geom geometry); INSERT INTO light VALUES (1, 'LIGHTS11', 'POINT(1 2)');"
                 "ALTER TABLE layer_styles ADD CHECK (f_table_name <> 'light')")
        self.assert_refused("violates check constraint")
        self.assertEqual(self.sql("SELECT count(*) FROM layer_styles"), ["0"])

    def test_names_that_mean_something(self):
        self.sql(TABLE)
        self.sql("""CREATE SCHEMA "Od""d"; CREATE TABLE "Od""d"."A.b'<c>" (id int PRIMARY KEY, "Symbol_C" text, "g ""1" geometry, other geometry);
                 INSERT INTO "Od""d"."A.b'<c>" VALUES (1, 'a"b''<c>&\\', 'LINESTRING(1 2, 3 4)'), (2, 'BOYLAT13', 'POINT(1 2)'),
                 (3, E'\\x01', 'POLYGON((0 0, 1 0, 1 1, 0 0))'), (4, 'COLLECTION', 'GEOMETRYCOLLECTION(POINT(1 2))')""")
        status, out, err = self.style("-l", '"Od""d"."A.b\'<c>"')
        self.assertEqual((status, err), (0, ""))
        self.assertIn(": a style of 3 symbols\n", out)
        self.assertEqual(self.sql("SELECT f_table_schema, f_table_name, f_geometry_column FROM layer_styles WHERE useasdefault"), ['Od"d|A.b\'<c>|g "1'])
        self.assertEqual(self.sql("SELECT unnest(xpath('//category/@value', styleqml))::text FROM layer_styles WHERE stylename = 'CXML'")[:2],
                         ["Point BOYLAT13", 'Line a"b\'&lt;c&gt;&amp;\\'])

    def test_layers_that_cannot_be_styled(self):
        self.sql(TABLE)
        self.assert_refused("layer plain has no shapes", "-l", "plain")
        self.assert_refused("there is no layer 'boylot'; similar: boylat", "-l", "boylot")

    def test_after_a_run(self):
        document = self.document('<featureClass name="BOYLAT"><condition rulename="BOYLAT24"/></featureClass>')
        status, out, err = self.run_tool("symbolize", document, self.dataset(), "-q", "--style")
        self.assertEqual((status, out), (2, ""))
        self.assertIn("--create-style-table", err)
        self.assertEqual(self.sql("SELECT count(*) FROM boylat WHERE symbol_c = 'BOYLAT24'"), ["0"], "refused before the run")
        status, out, err = self.run_tool("symbolize", document, self.dataset(), "-q", "--style", "--create-style-table")
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(out, "boylat: 4 rows, 4 changed\nboylat: a style of 1 symbol\n")
        self.assertEqual(self.sql(ROWS), ["CXML|t|admin", "CXML by name|f|admin"])


if __name__ == "__main__":
    main()
