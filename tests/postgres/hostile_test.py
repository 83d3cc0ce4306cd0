"""Where clauses, names and values that mean no good: they read, and nothing else."""
from xml.sax.saxutils import escape, quoteattr

from pg_support import DatabaseTest, main

INTACT = ("SELECT string_agg(relname, ' ' ORDER BY relname COLLATE \"C\") FROM pg_class c JOIN pg_namespace n "
          "ON n.oid = relnamespace WHERE nspname = 'public' AND relkind IN ('r', 'v', 'S', 'i') "
          "AND relname NOT IN ('geography_columns', 'geometry_columns', 'spatial_ref_sys', 'spatial_ref_sys_pkey')")
SYMBOLS = "SELECT string_agg(coalesce(symbol_c, '-'), ' ' ORDER BY fid) FROM boylat"


class Hostile(DatabaseTest):
    postgis = True

    def setUp(self):
        super().setUp()
        self.make_buoys(2)
        self.sql("CREATE TABLE lights (id int PRIMARY KEY, buoy text, geom geometry(Point, 4326));"
                 "INSERT INTO lights VALUES (1, '3,1'), (2, 'other'); CREATE SEQUENCE numbers;"
                 "CREATE FUNCTION empty() RETURNS int LANGUAGE sql AS 'DELETE FROM lights RETURNING 1';"
                 "CREATE FUNCTION sly() RETURNS bool LANGUAGE plpgsql AS $$ BEGIN "
                 "  PERFORM set_config('transaction_read_only', 'off', true); DELETE FROM lights; RETURN true; END $$;"
                 "CREATE FUNCTION shown() RETURNS text LANGUAGE sql AS 'SELECT current_setting(''work_mem'')'")
        self.before = self.content()

    def content(self):
        return [*self.sql("SELECT * FROM lights ORDER BY id"), *self.sql(INTACT), *self.sql("SELECT last_value FROM numbers"),
                *self.sql("SELECT count(*) FROM pg_largeobject_metadata")]

    def condition(self, rulename, query, parameters="", table="lights"):
        values = "".join(f'<param value="{value}"/>' for value in parameters.split())
        return (f'<condition rulename={quoteattr(rulename)}><rule type="Q" operator="exists" table={quoteattr(table)}>'
                f"<query>{escape(query)}</query><params>{values}</params></rule></condition>")

    def rules(self, *conditions):
        return self.document(f'<featureClass name="BOYLAT"><condition rulename="ALL"/>{"".join(conditions)}</featureClass>')

    def asking(self, query, parameters=""):
        return self.rules(self.condition("LIT", query, parameters))

    def expect(self, rules, symbols):
        self.assertEqual(self.run_tool("symbolize", rules, self.dataset(), "boylat"),
                         (0, "boylat: 2 rows, 2 changed\n", ""))
        self.assertEqual(self.sql(SYMBOLS), [symbols])
        self.assertEqual(self.content(), self.before)
        self.sql("UPDATE boylat SET symbol_c = NULL")

    # The server has to refuse them all; what cannot be refused is taken back.
    NO_CLAUSES = ("true; DROP TABLE lights", "true); DROP TABLE lights; --", "true) -- ", "(DELETE FROM lights)",
                  "EXISTS (WITH gone AS (DELETE FROM lights RETURNING 1) SELECT FROM gone)", "true) RETURNING 1; --",
                  "true) FOR UPDATE --", "true; COMMIT", "true; ROLLBACK", "true); COMMIT; DELETE FROM lights; --")
    CALLS = ("empty() = 1", "sly()", "nextval('numbers') > 0", "setval('numbers', 77) > 0",
             "DropGeometryTable('lights') <> ''", "DropGeometryColumn('lights', 'geom') <> ''",
             "UpdateGeometrySRID('lights', 'geom', 3857) <> ''",
             "AddGeometryColumn('lights', 'more', 4326, 'POINT', 2) <> ''",
             "query_to_xml('DELETE FROM lights RETURNING 1', true, false, '') IS NULL",
             "set_config('transaction_read_only', 'off', true) = 'on' AND empty() = 1",
             "set_config('transaction_read_only', 'off', false) = 'on'",
             "1 / (id - id) = 1", "id::text::date IS NULL", "no_such(1)")

    def test_clauses_that_would_write(self):
        # The symbol would name the clause that held.
        self.expect(self.rules(*(self.condition(clause, clause) for clause in self.NO_CLAUSES + self.CALLS)), "ALL ALL")

    def test_what_a_clause_sets_or_makes_is_taken_back(self):
        for clause in ("lo_create(0) > 0", "lo_from_bytea(0, 'x') > 0", "pg_notify('chart', 'x') IS NOT NULL"):
            with self.subTest(clause):
                status, _, err = self.run_tool("symbolize", self.asking(clause), self.dataset(), "boylat")
                self.assertEqual((status, err), (0, ""))
                self.assertEqual(self.content(), self.before)
                self.sql("UPDATE boylat SET symbol_c = NULL")
        # What the first question sets, the second one does not see.
        self.expect(self.asking("set_config('work_mem', CASE shown() WHEN '77kB' THEN '78kB' ELSE '77kB' END, false) = '77kB'"),
                    "LIT LIT")
        self.expect(self.asking("set_config('search_path', 'pg_temp', false) <> ''"), "LIT LIT")
        self.expect(self.asking("set_config('role', 'pg_monitor', false) <> ''"), "LIT LIT")

    def test_clauses_of_a_command(self):
        document = self.document('<featureClass name="BOYLAT"><condition rulename="ALL"/></featureClass>')
        with_ids = ("--fids", "1,2")  # then it is another statement
        for clause, *more in (*((clause,) for clause in self.NO_CLAUSES + self.CALLS),
                              *((clause, *with_ids) for clause in self.CALLS)):
            with self.subTest((clause, more)):
                status, out, err = self.run_tool("symbolize", document, self.dataset(), "boylat", "--where",
                                                 clause.replace("id", "fid"), *more)
                self.assertEqual((status, out), (2, "boylat: 0 rows, 0 changed; failed, rolled back\n"))
                self.assertIn(", layer boylat: where clause ", err)
        self.assertEqual((self.content(), self.sql(SYMBOLS)), (self.before, ["- -"]))

    def test_values_that_end_up_in_clauses(self):
        for value, symbols in (("O'Neill", "ALL"), ('"a" `b` [c]', "LIT"), ("'", "ALL"), (";a;b;--", "LIT"),
                               ("/* -- #", "LIT"), ("%s %n %d %% %1$s %", "LIT"), ("\\'\\n", "ALL"), ("a\nb\r\nc", "LIT"),
                               ("$$x$$", "LIT"), ("$1", "LIT"), ("E'\\'", "ALL"), ("x" * 5_000_000, "LIT"),
                               ("x'; DROP TABLE lights; --", "ALL"), ("x'); DELETE FROM lights; --", "ALL"),
                               ("x' OR empty() = 1 AND 'x' = 'x", "ALL"), ("x' OR sly() AND 'x' = 'x", "ALL"),
                               ("x' OR '1' = '1", "LIT"), ("x') UNION SELECT (1", "ALL"), ("x') UNION SELECT ('1", "LIT")):
            with self.subTest(value[:40]):
                # The other buoy is left alone.
                name = value.replace("'", "''")
                self.admin.sql(f"UPDATE boylat SET colour = NULL; UPDATE lights SET buoy = '{name}' WHERE id = 1;"
                               f"UPDATE boylat SET colour = '{name}' WHERE fid = 1")
                self.before = self.content()
                self.expect(self.asking("buoy = '%s'", "COLOUR"), symbols + " ALL")

    def test_names_that_end_up_in_statements(self):
        tables = ('lights"; DROP TABLE lights; --', "lights; DROP TABLE lights", "lights WHERE empty() = 1",
                      "lights' OR '1' = '1", '"lights""; DROP TABLE lights; --"', "lights\\", "", "%s", "$1", "lights--")
        self.expect(self.rules(*(self.condition(table or "none", "true", table=table) for table in tables)), "ALL ALL")

    def test_layers_and_fields_with_any_name(self):
        """A layer, its key, its fields and the fields that are added: all with points, quotes and what would be SQL."""
        for number, name in enumerate(("Mixed Case", "po.int", 'qu"ote', "apo'strophe", "select", "a; DROP TABLE lights; --",
                                       "ü%s$1\\", "BOYLAT", "x" * 63)):
            with self.subTest(name):
                field = name[:59].replace(".", "") + "2"  # a field with a point is what a fetch rule supplies
                quoted, quoted_field = ('"' + text.replace('"', '""') + '"' for text in (name, field))
                self.sql(f"CREATE SCHEMA {quoted}; CREATE TABLE {quoted}.{quoted} ({quoted} int PRIMARY KEY, "
                         f"{quoted_field} text); INSERT INTO {quoted}.{quoted} VALUES (1, 'a')")
                rules = self.document(
                    f'<featureClass name={quoteattr(name)}><condition rulename="N{number}"><rule type="A" '
                    f'field={quoteattr(field)} operator="equal" value="a"/></condition><condition type="2" '
                    f'field={quoteattr(field + "+")}><expression>def Generate():\n    return "e"</expression></condition>'
                    "</featureClass>")
                layer = quoted + "." + quoted
                status, out, err = self.run_tool("symbolize", rules, self.dataset(), layer, "--add-fields", "--where",
                                                 quoted + " = 1")
                self.assertEqual((status, err), (0, ""), out)
                self.assertEqual(self.sql(f"SELECT symbol_c FROM {layer}"), [f"N{number}"])
                self.sql(f"DROP SCHEMA {quoted} CASCADE")
                self.assertEqual(self.content(), self.before)


if __name__ == "__main__":
    main()
