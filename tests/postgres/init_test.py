"""`cxml init` of a server's tables: a document that loads, in which `check` finds nothing, and that gives every row a symbol."""
import re
import subprocess

from pg_support import ROOT, DatabaseTest, main

HARBOUR = ROOT / "examples" / "harbour"
KINDS = ("Attribute rule", "List attribute rule", "Query rule", "Expression")
EXAMPLE = re.compile(r"^    <!-- (" + "|".join(KINDS) + r"): [^\n]*\n((?:    .*\n|def .*\n|\]\]>.*\n)+?)    -->\n", re.MULTILINE)


class Init(DatabaseTest):
    postgis = True

    def init(self, *arguments):
        """The document for what somebody may read who may not write."""
        self.make_reader()
        status, out, err = self.run_tool("init", self.dataset(user="reader"), *arguments)
        self.assertEqual((status, err), (0, ""))
        return out

    def check(self, text, name):
        file = self.folder / name
        file.write_text(text, encoding="utf-8")
        _, said = self.run_json("check", file, self.dataset(user="reader"))
        self.assertEqual((said["document"]["loaded"], said["document"]["messages"]), (True, []))
        self.assertEqual([finding for finding in said["findings"] if finding["severity"] != "note"], [])
        return file

    def check_with_examples(self, text):
        """Also with every example made a condition, all of them at once. Returns the document, and how many of each kind."""
        file = self.check(text, "first.cxml")
        counts = dict.fromkeys(KINDS, 0)

        def use(match):
            counts[match.group(1)] += 1
            return match.group(2)

        self.check(EXAMPLE.sub(use, text), "examples.cxml")
        return file, counts

    def test_chart(self):
        chart = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", chart], check=True, capture_output=True)
        subprocess.run(["ogr2ogr", "-f", "PostgreSQL", self.dataset(), chart], check=True, capture_output=True)
        tables = self.sql("SELECT f_table_name FROM geometry_columns ORDER BY 1")
        self.assertGreater(len(tables), 15)
        text = self.init()
        self.assertEqual(sorted(re.findall(r'featureClass name="(\w+)"', text)), tables)
        self.assertIn("catlam, integer: Category of lateral mark\n         1  port-hand lateral mark  (10 rows)\n", text)
        file, counts = self.check_with_examples(text)
        self.assertEqual(counts["Attribute rule"], len(tables))
        self.assertGreater(counts["List attribute rule"], 5)
        status, _, err = self.run_tool("symbolize", file, self.dataset(), "--add-fields")
        self.assertEqual((status, err), (0, ""))
        for table in tables:
            self.assertEqual(self.sql(f"SELECT count(*) FROM {table} WHERE symbol_c IS DISTINCT FROM 'QUESMRK1'"), ["0"], table)

    def test_columns_of_every_kind(self):
        self.sql("CREATE TYPE kind AS ENUM ('red', 'green');"
                 "CREATE TABLE marks (id int PRIMARY KEY, small int2, big int8, part numeric(8,2), flag bool, day date, stamp timestamptz,"
                 " codes int[], names text[], kind kind, data bytea, said json, note varchar(10), fixed char(4), geom geometry);"
                 "INSERT INTO marks SELECT i, i, i, i / 4.0, i > 2, '2026-01-01', now(), '{1,2}', '{a}', 'red', '\\x00ff', '{}', "
                 "'1,' || i, 'x', 'POINT(1 2)' FROM generate_series(1, 5) AS i")
        _, counts = self.check_with_examples(self.init("marks"))
        self.assertEqual(counts["Query rule"], 1)

    def test_names_that_mean_something(self):
        words = ["Big", "a b", "a-b--c", "it's", "select", 'say "no"', "x&y<z", "1st", "%s", "é"]
        quoted = ['"' + word.replace('"', '""') + '"' for word in words]
        for name in quoted:
            columns = ", ".join(f"{column} text" for column in quoted)
            values = ", ".join("'1,2'" for _ in quoted)
            self.sql(f"CREATE TABLE {name} (id int PRIMARY KEY, {columns}); INSERT INTO {name} VALUES (1, {values})")
        # As LAYER, a name with a quotation mark stands between two.
        layers = [name if '"' in word else word for word, name in zip(words, quoted)]
        _, counts = self.check_with_examples(self.init("--", *layers))
        self.assertEqual((counts["Attribute rule"], counts["Query rule"]), (len(words), len(words)))

    def test_subtypes(self):
        self.sql("CREATE TABLE boylat (id int PRIMARY KEY, kind int, catlam int);"
                 "INSERT INTO boylat VALUES (1, 1, 1), (2, 3, 1), (3, NULL, 2);"
                 "COMMENT ON TABLE boylat IS 'SUBTYPE_FIELD=kind'")
        text = self.init("boylat")
        self.assertEqual(re.findall(r'<subtype number="(\d+)">', text), ["1", "3"])
        self.check_with_examples(text)


if __name__ == "__main__":
    main()
