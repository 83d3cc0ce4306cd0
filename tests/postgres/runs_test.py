"""Runs on a server: which rows, names in the server's spelling, rules that ask other tables, memory, several workers."""
import os
import subprocess

from pg_support import BUOYS, CLEAN, DatabaseTest, main, texts, without_ends

TARGETS = ('<featureClass name="BOYLAT"><condition rulename="DEFAULT"/>{}</featureClass>')


def question(rulename, table, query, parameters="", operator="exists", fields=""):
    values = "".join(f'<param value="{value}"/>' for value in parameters.split())
    return (f'<condition rulename="{rulename}"><rule type="Q" operator="{operator}" table="{table}"><query>{query}</query>'
            f"<params>{values}</params>{fields}</rule></condition>")


class Runs(DatabaseTest):
    postgis = True

    def symbolize(self, document, *more, dataset=None):
        status, said = self.run_json("symbolize", document, dataset or self.dataset(), *more)
        self.assertEqual((status, said["document"]["messages"]), (0, []), said)
        return said["layers"]

    def test_selections(self):
        rules = self.document(BUOYS)
        for more, changed in (((), list("123456")), (("--where", "CATLAM = 1 -- ports"), list("14")),
                              (("--fids", "2,99,5"), list("25")), (("--fids", "1,2,3", "--where", "catlam < 2"), list("13")),
                              (("--where", "false"), [])):
            with self.subTest(more):
                self.sql("DROP TABLE IF EXISTS boylat")
                self.make_buoys(6)
                layer = self.symbolize(rules, *more)[0]
                self.assertEqual(self.sql("SELECT fid FROM boylat WHERE symbol_c IS NOT NULL ORDER BY fid"), changed)
                self.assertEqual((layer["rows"], layer["changed"], layer["messages"]), (len(changed), len(changed), []))

    def test_again_nothing_changes_and_reset_clears(self):
        self.make_buoys(6)
        rules = self.document(BUOYS)
        self.symbolize(rules)
        self.assertEqual(self.symbols(), ["PORT", "DEFAULT", "DEFAULT"] * 2)
        before = self.sql("SELECT xmin, ctid FROM boylat ORDER BY fid")
        self.assertEqual(self.symbolize(rules)[0]["changed"], 0)
        self.assertEqual(self.sql("SELECT xmin, ctid FROM boylat ORDER BY fid"), before)
        status, said = self.run_json("reset", rules, self.dataset())
        self.assertEqual((status, said["layers"][0]["changed"]), (0, 6))
        self.assertEqual(self.symbols(), ["-"] * 6)

    def test_what_a_column_stores_in_another_form_is_written_once(self):
        for type, text, stored in (
                ("char(8)", "ab", "ab"), ("varchar(4)", "ab", "ab"), ("numeric(6,1)", "12.55", "12.6"),
                ("numeric", "12.50", "12.5"), ("numeric(5,0)", "012", "12"), ("float8", "12.50", "12.5"),
                ("float4", "0.10", "0.1"), ("int4", "007", "7"), ("bool", "1", "true"), ("date", "2024-03-01", "2024-03-01"),
                ("time(0)", "6:00:00", "06:00:00"), ("timestamp(0)", "2024-03-01 6:00:00", "2024-03-01 06:00:00"),
                ("uuid", "00000000-0000-0000-0000-00000000000A", "00000000-0000-0000-0000-00000000000a"),
                ("jsonb", '{"a":   1}', '{"a": 1}'), ("json", '{"a":   1}', '{"a":   1}'), ("int4[]", "1, 2", "{1,2}"),
                ("float8[]", "1.50", "{1.5}"), ("text[]", "a,b", "{a,b}"), ("padded", "ab", "ab"), ("nocase", "Ab", "Ab")):
            with self.subTest(type):
                self.sql("DROP TABLE IF EXISTS boylat; DROP DOMAIN IF EXISTS padded; DROP COLLATION IF EXISTS nocase CASCADE;"
                         "CREATE DOMAIN padded AS char(4);"
                         "CREATE COLLATION nocase (provider = icu, locale = 'und-u-ks-level2', deterministic = false)")
                column = "text COLLATE nocase" if type == "nocase" else type
                # Row 3 stores the value already.
                self.sql(f"CREATE TABLE boylat (fid int PRIMARY KEY, symbol_c char(6), value {column});"
                         f"INSERT INTO boylat VALUES (1, NULL, NULL), (2, NULL, NULL), (3, 'BUOY', '{stored}')")
                rules = self.document(
                    "<featureClass name='BOYLAT'><condition rulename='BUOY' type='2' field='VALUE'><expression><![CDATA["
                    f"def Generate():\n    return {text!r}]]></expression></condition></featureClass>")
                layer = self.symbolize(rules)[0]
                self.assertEqual((layer["rows"], layer["changed"], layer["messages"]), (3, 2, []))
                self.assertEqual(self.sql("SELECT DISTINCT value::text, symbol_c::text FROM boylat"), [f"{stored}|BUOY"])
                before = self.sql("SELECT xmin, ctid FROM boylat ORDER BY fid")
                self.assertEqual(self.symbolize(rules)[0]["changed"], 0)
                self.assertEqual(self.sql("SELECT xmin, ctid FROM boylat ORDER BY fid"), before)
        self.sql("UPDATE boylat SET value = 'aB' WHERE fid = 2")  # equal to the server, but not what the document says
        self.assertEqual(self.symbolize(rules)[0]["changed"], 1)
        self.assertEqual(self.sql("SELECT DISTINCT value::text COLLATE \"C\" FROM boylat"), ["Ab"])

    def test_a_row_that_is_gone_is_noticed_beside_others_that_stay_as_they_are(self):
        self.sql("CREATE TABLE boylat (fid int PRIMARY KEY, symbol_c char(6));"
                 "INSERT INTO boylat SELECT i, CASE WHEN i % 2 = 0 THEN 'BUOY' END FROM generate_series(1, 10) AS i;"
                 "CREATE FUNCTION keep() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN RETURN NULL; END';"
                 "CREATE TRIGGER kept BEFORE UPDATE ON boylat FOR EACH ROW WHEN (OLD.fid = 7) EXECUTE FUNCTION keep()")
        rules = self.document("<featureClass name='BOYLAT'><condition rulename='BUOY'/></featureClass>")
        status, said = self.run_json("symbolize", rules, self.dataset())
        self.assertEqual(status, 1)
        self.assertIn("1 of them are gone", texts(said["layers"][0])[-1])
        self.sql("DROP TRIGGER kept ON boylat")
        self.assertEqual(self.symbolize(rules)[0]["changed"], 5)

    def test_subtypes_nulls_and_lists(self):
        self.sql("CREATE TABLE boylat (gid int PRIMARY KEY, kind int2, colour int[], name text, symbol_c text);"
                 "INSERT INTO boylat VALUES (1, 1, '{3,4,3}', 'x'), (2, 2, '{3}', 'x'), (3, NULL, NULL, NULL),"
                 "(4, 1, '{}', ''), (5, 9, '{4}', NULL)")
        rules = self.document(
            '<featureClass name="BOYLAT"><condition rulename="NONE"/>'
            '<condition rulename="NULLNAME"><rule type="A" field="NAME" operator="equal" value="NULL"/></condition>'
            '<subtype number="1"><condition rulename="ONE"/>'
            '<condition rulename="RED"><rule type="L" field="COLOUR" operator="containsany" value="3"/></condition>'
            '</subtype><subtype number="2"><condition rulename="TWO"/></subtype></featureClass>')
        layer = self.symbolize(rules, "--subtype-field", "KIND")[0]
        self.assertEqual(self.sql("SELECT symbol_c FROM boylat ORDER BY gid"), ["RED", "TWO", "NULLNAME", "ONE", "NULLNAME"])
        self.assertEqual(layer["messages"], [])

    def test_where_a_subtype_field_is_named(self):
        """By the option, else by the table's or view's comment, else by what GDAL has kept of an imported layer."""
        metadata = ("CREATE SCHEMA IF NOT EXISTS ogr_system_tables; CREATE TABLE IF NOT EXISTS ogr_system_tables.metadata("
                    "id SERIAL, schema_name TEXT NOT NULL, table_name TEXT NOT NULL, metadata TEXT, "
                    "UNIQUE(schema_name, table_name));"
                    "INSERT INTO ogr_system_tables.metadata (schema_name, table_name, metadata) VALUES ('public', 'boylat', "
                    "'<GDALMultiDomainMetadata><Metadata><MDI key=\"SUBTYPE_FIELD\">KIND</MDI></Metadata>"
                    "</GDALMultiDomainMetadata>')")
        comment = "COMMENT ON TABLE boylat IS '{}'"
        rules = self.document('<featureClass name="BOYLAT"><condition rulename="NONE"/><subtype number="1">'
                              '<condition rulename="ONE"/></subtype></featureClass>')
        for edge, before, more, expected in (
                ("nowhere", "SELECT", (), ["NONE", "NONE"]),
                ("a comment without it", comment.format("KIND"), (), ["NONE", "NONE"]),
                ("the option", "SELECT", ("--subtype-field", "Kind"), ["ONE", "NONE"]),
                ("a comment", comment.format("SUBTYPE_FIELD=kind"), (), ["ONE", "NONE"]),
                ("a comment in other words", comment.format("Lateral buoys; SUBTYPE_FIELD=KIND, of 2024"), (), ["ONE", "NONE"]),
                ("a name with a blank", comment.format('SUBTYPE_FIELD="The Kind"'), (), ["NONE", "ONE"]),
                ("the option before the comment", comment.format('SUBTYPE_FIELD="The Kind"'), ("--subtype-field", "kind"),
                 ["ONE", "NONE"]),
                ("imported", metadata, (), ["ONE", "NONE"]),
                ("a comment before what was imported", metadata + ";" + comment.format('SUBTYPE_FIELD="The Kind"'), (),
                 ["NONE", "ONE"])):
            with self.subTest(edge):
                self.sql(CLEAN)
                self.sql('CREATE TABLE boylat (fid int PRIMARY KEY, kind int, "The Kind" int, symbol_c text);'
                         "INSERT INTO boylat VALUES (1, 1, 2), (2, 2, 1)")
                self.sql(before)
                self.assertEqual([layer["layer"] for layer in self.symbolize(rules, *more)], ["boylat"])
                self.assertEqual(self.symbols(), expected)
        self.sql(CLEAN)
        self.make_buoys(1)
        self.sql(comment.format("SUBTYPE_FIELD=nothing"))
        self.assertEqual(self.run_tool("symbolize", rules, self.dataset()),
                         (2, "", f"cxml: PG:{self.database}, layer boylat: there is no subtype field 'nothing'\n"))

    def test_layers_by_the_names_that_they_have_on_a_server(self):
        self.sql("CREATE SCHEMA enc")
        for table in ("boylat", "enc.boycar", 'enc."Mixed.Case"'):
            self.make_buoys(1, table)
        rules = self.document(TARGETS.format("") + TARGETS.format("").replace("BOYLAT", "BOYCAR")
                              + TARGETS.format("").replace("BOYLAT", "MIXED.CASE"))
        for name, layer in (("boylat", "boylat"), ("BOYLAT", "boylat"), ("public.boylat", "boylat"),
                            (f"{self.database}.public.BoyLat", "boylat"), ('"public"."boylat"', "boylat"),
                            ("enc.boycar", "enc.boycar"), ("ENC.BOYCAR", "enc.boycar"),
                            ('enc."Mixed.Case"', 'enc."Mixed.Case"'), ('ENC."MIXED.CASE"', 'enc."Mixed.Case"')):
            with self.subTest(name):
                self.assertEqual([found["layer"] for found in self.symbolize(rules, name)], [layer])
        layers = self.symbolize(rules, "boylat", "public.boylat", "enc.boycar", "BOYLAT")
        self.assertEqual([layer["layer"] for layer in layers], ["boylat", "enc.boycar"])
        for name, text in (("boycar", "there is no layer 'boycar'; similar: boylat, enc.boycar"),
                           ("other.public.boylat", "there is no layer 'other.public.boylat'; available: boylat, "),
                           ("a..b", "'a..b' is not the name of a table")):
            status, out, err = self.run_tool("symbolize", rules, self.dataset(), name)
            self.assertEqual((status, out), (2, ""))
            self.assertIn(text, err)

    def test_fields_are_added_as_the_server_spells_them(self):
        self.sql("CREATE TABLE boylat (fid serial PRIMARY KEY, catlam int); INSERT INTO boylat (catlam) VALUES (1)")
        rules = self.document('<featureClass name="BOYLAT"><condition rulename="R" xoffset="1.5"/>'
                              '<condition rulename="L" type="2" field="Label"><pythonExpression>'
                              "def Generate(*fields): return 'a'</pythonExpression></condition></featureClass>")
        self.run_tool("symbolize", rules, self.dataset(), "--add-fields")
        self.assertEqual(self.sql("SELECT attname FROM pg_attribute WHERE attrelid = 'boylat'::regclass AND attnum > 2 "
                                  "ORDER BY attnum"), ["symbol_c", "xoffset_c", "yoffset_c", "rotate_c", "label"])

    def test_tables_of_several_owners(self):
        """Own plain, own spatial, another owner's, a view, a table with a mixed name; the layer itself."""
        self.sql("DO $$ BEGIN CREATE ROLE carla LOGIN; EXCEPTION WHEN duplicate_object OR unique_violation THEN END $$;"
                 "CREATE SCHEMA carla; CREATE SCHEMA zoe; SET search_path = carla, public")
        self.make_buoys(6, "boylat")
        self.sql("CREATE TABLE notes (id int PRIMARY KEY, buoy int); INSERT INTO notes VALUES (7, 1);"
                 "CREATE TABLE lights (id int PRIMARY KEY, buoy int, geom geometry(Point, 4326));"
                 "INSERT INTO lights VALUES (1, 2, 'SRID=4326;POINT(1 2)');"
                 'CREATE TABLE "Mixed.Case" (id int PRIMARY KEY, "Buoy" int); INSERT INTO "Mixed.Case" VALUES (1, 5);'
                 "CREATE VIEW topmarks AS SELECT buoy + 1 AS buoy FROM lights;"
                 "CREATE TABLE zoe.wrecks (id int PRIMARY KEY, buoy int); INSERT INTO zoe.wrecks VALUES (1, 4);"
                 "GRANT USAGE ON SCHEMA carla, zoe TO carla;"
                 "GRANT SELECT, UPDATE ON ALL TABLES IN SCHEMA carla, zoe TO carla")
        rules = self.document(TARGETS.format(
            question("NOTED", "NOTES", "BUOY = %s", "fid") + question("LIT", "Lights", "buoy = %s", "FID")
            + question("MARKED", "topmarks", "buoy = %s", "fid") + question("WRECK", "WRECKS", "buoy = %s", "fid")
            + question("MIXED", '&quot;Mixed.Case&quot;', '&quot;Buoy&quot; = %s', "fid")
            + question("LAST", "BOYLAT", "fid = %s AND NOT EXISTS (SELECT FROM carla.boylat b WHERE b.fid &gt; %s)",
                       "fid fid")))
        layers = self.symbolize(rules, "boylat", dataset=self.dataset("carla", "active_schema=carla"))
        self.assertEqual(texts(layers[0]), [])
        # The other owner's table is not the first feature class's owner's: it is not found, and that rule is false.
        self.assertEqual(self.sql("SELECT symbol_c FROM boylat ORDER BY fid"),
                         ["NOTED", "LIT", "MARKED", "DEFAULT", "MIXED", "LAST"])

    def test_another_owner_is_the_first_feature_classs(self):
        self.make_buoys(4)
        self.sql("CREATE SCHEMA zoe; CREATE TABLE zoe.wrecks (id int PRIMARY KEY, buoy int, geom geometry);"
                 "INSERT INTO zoe.wrecks VALUES (1, 4, NULL);"
                 "CREATE TABLE zoe.notices (id int PRIMARY KEY, buoy int); INSERT INTO zoe.notices VALUES (1, 3)")
        log = self.folder / "events.log"
        self.symbolize(self.document(TARGETS.format(question("WRECK", "wrecks", "buoy = %s", "fid")
                                                    + question("NOTICE", "NOTICES", "buoy = %s", "fid"))), "--log", log)
        self.assertEqual(self.symbols(), ["DEFAULT", "DEFAULT", "NOTICE", "WRECK"])
        self.assertEqual(log.read_text(), "")

    def test_fetched_values_and_expressions(self):
        self.sql("SET client_encoding = 'UTF8'")
        rule = ('<condition type="2" field="LABEL"><rule type="Q" operator="fetch" table="{}" selectOption="multiple">'
                '<query>buoy = %s</query><params><param value="FID"/></params>'
                '<fields><field name="TEXT" alias="N.TEXT"/></fields></rule>'
                "<expression>def Generate(COLOUR, N.TEXT[]):\n    return COLOUR + ' ' + '+'.join(sorted(map(str, N.TEXT)))"
                "</expression></condition>")
        for table, first in (("notes", "3,1 Müller+b"), ("newest", "3,1 b")):
            with self.subTest(table):
                self.sql("DROP TABLE IF EXISTS boylat, notes CASCADE")
                self.make_buoys(3)
                self.sql("ALTER TABLE boylat ADD label text;"
                         "CREATE TABLE notes (id int PRIMARY KEY, buoy int, text varchar);"
                         "INSERT INTO notes VALUES (1, 1, 'Müller'), (2, 1, 'b'), (3, 2, NULL);"
                         "CREATE VIEW newest AS SELECT buoy, max(text COLLATE \"C\") AS text FROM notes GROUP BY buoy")
                layer = self.symbolize(self.document(TARGETS.format(rule.format(table))))[0]
                self.assertEqual(layer["messages"], [])
                self.assertEqual(self.sql("SELECT coalesce(label, '-') FROM boylat ORDER BY fid"),
                                 [first, "3,2 None", "-"])

    def test_a_failing_step_of_a_name_search_is_in_the_log(self):
        self.make_buoys(2)
        log = self.folder / "events.log"
        self.symbolize(self.document(TARGETS.format(question("X", "a..b", "true") + question("Y", "nowhere", "true"))),
                       "--log", log)
        lines = [line.split("; ") for line in log.read_text().splitlines()]
        self.assertEqual({(line[0].split(" ", 1)[1], line[1]) for line in lines}, {
            ("SOLVANE: GeodatabaseUtilities Line: 828", "GeodatabaseUtilities::Workspace_FindQualifiedDatasetName"),
            ("SOLVANE: GeodatabaseUtilities Line: 702", "GeodatabaseUtilities::Workspace_OpenTable")})

    def peak_memory(self, rules, layer):
        # A sanitized tool gives memory back at once here, instead of watching what was freed.
        sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0"
        process = subprocess.Popen([os.environ["CXML"], "symbolize", rules, self.dataset(), layer],
                                   stdout=subprocess.PIPE, text=True, env={**os.environ, "ASAN_OPTIONS": sanitizer})
        out = process.stdout.read()
        process.stdout.close()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        self.assertEqual(process.returncode, 0)
        return usage.ru_maxrss, out

    def test_memory_does_not_grow_with_the_rows(self):
        sizes = {"few": 10_000, "many": 110_000}
        rules = self.document("".join(BUOYS.replace("BOYLAT", name.upper()) for name in sizes))
        peaks = {}
        for name, rows in sizes.items():
            self.make_buoys(rows, name)
            peaks[name], out = self.peak_memory(rules, name)
            self.assertEqual(without_ends(out), f"{name}: {rows} rows, {rows} changed\n")
        # 100,000 rows more of 100 bytes would be 10,000 kilobytes.
        self.assertLess(peaks["many"] - peaks["few"], 4_000, peaks)

    def run_workers(self, *arguments):
        workers = [self.start("symbolize", *each) for each in arguments]
        for worker in workers:
            out, err = worker.communicate(timeout=120)
            self.assertEqual((worker.returncode, err), (0, ""), out)

    def test_two_workers_give_what_one_gives(self):
        rows = 1_500
        self.sql("CREATE TABLE notes (id int PRIMARY KEY); INSERT INTO notes SELECT i * 7 FROM generate_series(1, 100) i")
        for table in ("boylat", "boycar"):
            self.make_buoys(rows, table)
        one_class = BUOYS.replace("</featureClass>", question("NOTED", "notes", "id = %s", "fid") + "</featureClass>")
        rules = self.document(one_class + one_class.replace("BOYLAT", "BOYCAR"))
        self.run_workers((rules, self.dataset()))
        one = self.symbols(), self.symbols("boycar")
        self.assertEqual(one[0].count("NOTED"), 100)
        clear = "UPDATE boylat SET symbol_c = NULL; UPDATE boycar SET symbol_c = NULL"
        for arguments in ([("boylat",), ("boycar",)],
                          [("--where", f"fid <= {rows // 2}"), ("--where", f"fid > {rows // 2}")],
                          [("--where", "fid % 2 = 0"), ("--where", "fid % 2 = 1")]):
            with self.subTest(arguments):
                self.sql(clear)
                self.run_workers(*((rules, self.dataset(), *each) for each in arguments))
                self.assertEqual((self.symbols(), self.symbols("boycar")), one)


if __name__ == "__main__":
    main()
