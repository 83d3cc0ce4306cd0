"""cxml init: a document that check finds nothing in, whatever the dataset holds; its examples are conditions."""
import csv
import os
import pathlib
import re
import sqlite3
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

from support import ROOT, TestCase, cxml, cxml_json, main, query

HARBOUR = ROOT / "examples" / "harbour"
CELLS = pathlib.Path(os.environ.get("SYMBOLOGY_SAMPLE_CELLS") or ROOT.parent / "shared" / "sample-cells")
TABLES = pathlib.Path(os.environ.get("S57_CSV") or "/usr/share/gdal")
KINDS = ("Attribute rule", "List attribute rule", "Query rule", "Expression")
EXAMPLE = re.compile(r"^    <!-- (" + "|".join(KINDS) + r"): [^\n]*\n((?:    .*\n|def .*\n|\]\]>.*\n)+?)    -->\n", re.MULTILINE)

# Names and values that would end what they stand in.
HOSTILE = ["a--b", "--", "-", "-->", "]]>", "<!-- x -->", "&amp;", "<rule type='A'>", 'say "no"', "it's", "'quoted'", "NULL", "null",
           "%s", "x\ny", "\ttab", "\x1b[31m", "\x07", "\u0085", "\ufffe", "a,b", "5,0", " blank ", "é" * 40, "x" * 5000]


def add_table(dataset, name, columns, rows, title=None):
    """A table without shapes. `columns`: names with types; `rows`: tuples."""
    quoted = '"' + name.replace('"', '""') + '"'
    with sqlite3.connect(dataset) as connection:
        fields = ", ".join('"' + column.replace('"', '""') + '" ' + kind for column, kind in columns)
        connection.execute(f"CREATE TABLE {quoted} (fid INTEGER PRIMARY KEY, {fields})")
        connection.executemany(f"INSERT INTO {quoted} VALUES (NULL, {', '.join('?' * len(columns))})", rows)
        connection.execute("INSERT INTO gpkg_contents (table_name, data_type, identifier) VALUES (?, 'attributes', ?)",
                           (name, title or name))
    connection.close()


def lines_of(text, field):
    """The lines of values below a field's line in a document, each (value, meaning, rows)."""
    below = re.search(rf"^       {field}, .*\n((?:         .*\n)*)", text, re.MULTILINE)
    return re.findall(r"^         (.*?)(?:  (.*))?  \((\d+) rows?\)$", below.group(1), re.MULTILINE)


class Init(TestCase):
    def import_cell(self, cell):
        dataset = self.folder / (cell.stem + ".gpkg")
        done = cxml("import", cell, dataset)
        self.assertEqual(done.returncode, 0, done.stderr)
        return dataset

    def own_cell(self):
        subprocess.run([sys.executable, "-B", HARBOUR / "generator", "--cell", self.folder], check=True)
        return self.import_cell(self.folder / "XX5MERRW.000")

    def sample_cell(self, name):
        if not (CELLS / name).exists():
            self.skipTest(f"no cell at {CELLS / name}; set SYMBOLOGY_SAMPLE_CELLS to a folder that has {name}")
        return self.import_cell(CELLS / name)

    def empty(self):
        dataset = self.folder / "chart.gpkg"
        subprocess.run(["ogr2ogr", dataset, ROOT / "tests" / "tool" / "data" / "marks.geojson", "-nln", "MARKS"], check=True)
        return dataset

    def init(self, dataset, *arguments):
        before = dataset.read_bytes()
        done = cxml("init", dataset, *arguments)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(dataset.read_bytes(), before, "it is only read")
        return done.stdout

    def check(self, text, dataset, name="first.cxml"):
        """The document is well-formed, loads, and has no findings above note."""
        file = self.folder / name
        file.write_text(text, encoding="utf-8")
        ElementTree.parse(file)
        status, said = cxml_json("check", file, dataset, "--fail-level", "note")
        self.assertEqual(said["document"]["messages"], [])
        self.assertEqual([finding for finding in said["findings"] if finding["severity"] != "note"], [])
        return said

    def check_with_examples(self, text, dataset):
        """Also with every example made a condition, all of them at once. Returns how many there were of each kind."""
        self.check(text, dataset)
        counts = dict.fromkeys(KINDS, 0)

        def use(match):
            counts[match.group(1)] += 1
            return match.group(2)

        used = EXAMPLE.sub(use, text)
        self.assertNotIn("EXAMPLE", re.sub(r'^    <condition rulename="EXAMPLE">$', "", used, flags=re.MULTILINE))
        said = self.check(used, dataset, "examples.cxml")
        self.assertLessEqual({finding["kind"] for finding in said["findings"]},
                             {"target-missing", "layer-unconfigured", "list-compared", "code-without-row"})
        root = ElementTree.parse(self.folder / "examples.cxml")
        rules = [rule.get("type") for rule in root.iter("rule")]
        self.assertEqual((rules.count("L"), rules.count("Q"), len(list(root.iter("expression")))),
                         (counts["List attribute rule"], counts["Query rule"], counts["Expression"]))
        self.assertEqual(rules.count("A"), counts["Attribute rule"] + counts["Expression"])
        return counts

    def check_cell(self, dataset, least):
        text = self.init(dataset)
        shaped = [name for (name,) in query(dataset, "SELECT table_name FROM gpkg_geometry_columns")]
        self.assertEqual(sorted(re.findall(r'featureClass name="(\w+)"', text)), sorted(shaped))
        self.assertGreaterEqual(len(shaped), least)
        counts = self.check_with_examples(text, dataset)
        for kind in ("Attribute rule", "Query rule", "Expression"):
            self.assertEqual(counts[kind], len(shaped), kind)
        self.assertGreater(counts["List attribute rule"], 0)
        return text

    def test_own_cell(self):
        text = self.check_cell(self.own_cell(), 13)
        self.assertIn("CATLAM, integer: Category of lateral mark\n", text)
        self.assertRegex(text, r"\n         1  port-hand lateral mark  \(\d+ rows\)\n")

    def test_real_harbour_cell(self):
        self.check_cell(self.sample_cell("US5OH10M.000"), 50)

    def test_real_overview_cell(self):
        self.check_cell(self.sample_cell("US1BS01M.000"), 20)

    def test_codes_counts_and_meanings(self):
        """Against the data and GDAL's tables, read by somebody else."""
        with open(TABLES / "s57attributes.csv", encoding="latin-1") as file:
            attributes = {row["Acronym"]: row for row in csv.DictReader(file)}
        with open(TABLES / "s57expectedinput.csv", encoding="latin-1") as file:
            meanings = {(row["Code"], row["ID"]): row["Meaning"] for row in csv.DictReader(file)}
        dataset = self.own_cell()
        told = 0
        for (layer,) in query(dataset, "SELECT table_name FROM gpkg_geometry_columns"):
            text = self.init(dataset, layer)
            for _, field, *_ in query(dataset, f'PRAGMA table_info("{layer}")'):
                attribute = attributes.get(field)
                if not attribute or attribute["Attributetype"] not in "EL" or (attribute["Code"], "1") not in meanings:
                    continue
                counts = {}
                for (value,) in query(dataset, f'SELECT "{field}" FROM "{layer}" WHERE "{field}" IS NOT NULL'):
                    for code in set(str(value).split(",")) - {""}:
                        counts[code] = counts.get(code, 0) + 1
                if not counts:
                    continue
                expected = [(code, meanings.get((attribute["Code"], code)), str(counts[code]))
                            for code in sorted(counts, key=int)]
                found = lines_of(text, field)
                # A code that came with a later edition is in no table.
                self.assertEqual([line for line in found if line[0] in {code for code, known, _ in expected if known}],
                                 [line for line in expected if line[1]], (layer, field))
                self.assertEqual([(code, rows) for code, _, rows in found], [(code, rows) for code, _, rows in expected])
                told += len(found)
        self.assertGreater(told, 100)

    def test_subtypes_have_lists(self):
        dataset = self.folder / "harbour.gpkg"
        subprocess.run(["ogr2ogr", dataset, HARBOUR / "harbour.vrt"], check=True)
        text = self.init(dataset, "BOYLAT")
        codes = [str(code) for (code,) in query(dataset, "SELECT DISTINCT FCSUBTYPE FROM BOYLAT WHERE FCSUBTYPE IS NOT NULL ORDER BY 1")]
        self.assertGreater(len(codes), 1)
        self.assertEqual(re.findall(r'<subtype number="(\d+)">', text), codes)
        self.check_with_examples(text, dataset)
        self.check_with_examples(self.init(dataset), dataset)

    def test_hostile_values(self):
        dataset = self.empty()
        add_table(dataset, "NOTES", [("WORDS", "TEXT"), ("N", "INTEGER"), ("R", "REAL"), ("CODES", "TEXT")],
                  [(word, i, i / 3, "1,2") for i, word in enumerate(HOSTILE[:15])])
        add_table(dataset, "MORE", [("WORDS", "TEXT")], [(word,) for word in HOSTILE[15:]])
        for word in HOSTILE:
            add_table(dataset, f"ONE{HOSTILE.index(word)}", [("WORD", "TEXT")], [(word,)])
        names = [name for (name,) in query(dataset, "SELECT table_name FROM gpkg_contents")]
        counts = self.check_with_examples(self.init(dataset, *names), dataset)
        self.assertGreater(counts["Attribute rule"], len(HOSTILE))
        self.assertGreater(counts["List attribute rule"], 0)

    def test_hostile_names(self):
        dataset = self.empty()
        words = [word for word in HOSTILE if "\ufffe" not in word and len(word) < 100]
        for i, word in enumerate(words):
            add_table(dataset, f"T{i}", [(word, "TEXT"), ("OTHER", "INTEGER")], [("v", 1)], title=f"{word} title {i}")
            add_table(dataset, f"{word} {i}", [("def", "TEXT"), ("None", "INTEGER")], [("v", 1)])
        names = [name for (name,) in query(dataset, "SELECT table_name FROM gpkg_contents")]
        counts = self.check_with_examples(self.init(dataset, "--", *names), dataset)
        # The marks have an example, too; two of the words are nothing that XML can hold.
        self.assertEqual(counts["Attribute rule"], 2 * (len(words) - 2) + 1)

    def test_values_that_are_not_of_their_type(self):
        dataset = self.empty()
        add_table(dataset, "MIXED", [("CATLAM", "INTEGER"), ("OBJNAM", "TEXT")], [(1, "a"), ("port", b"\xff\x00")])
        text = self.init(dataset, "MIXED")
        self.assertIn("1 row with something that is not of its type", text)
        self.check_with_examples(text, dataset)

    def test_values_that_only_tell_rows_apart_are_not_listed(self):
        dataset = self.empty()
        add_table(dataset, "NAMES", [("T", "TEXT"), ("N", "INTEGER"), ("FEW", "TEXT")],
                  [(f"t{i}", i, f"few{i}" if i < 6 else None) for i in range(7)])
        text = self.init(dataset, "NAMES")
        self.assertIn("T, text; another value in each of 7 rows\n       N, integer; another value in each of 7 rows\n"
                      "       FEW, text\n         few0  (1 row)\n", text)
        self.check_with_examples(text, dataset)

    def test_more_values_than_are_listed(self):
        dataset = self.empty()
        add_table(dataset, "MANY", [("N", "INTEGER"), ("R", "REAL"), ("T", "TEXT"), ("E", "TEXT"), ("NONE", "TEXT")],
                  [(i - 50, i / 4, f"t{i}", "", None) for i in range(100)])
        text = self.init(dataset, "MANY")
        self.assertIn("N, integer; -50 to 49, 100 rows with a value, too many or too long to list (20 at most)\n", text)
        self.assertIn("R, real; 0 to 24.75, 100 rows with a value", text)
        self.assertIn("T, text; 100 rows with a value", text)
        self.assertIn("Without a value: E (text), NONE (text)\n", text)
        self.check_with_examples(text, dataset)

    def test_memory_does_not_grow_with_rows(self):
        def peak(rows):
            dataset = self.folder / f"rows{rows}.gpkg"
            self.empty().rename(dataset)
            add_table(dataset, "MANY", [("N", "INTEGER"), ("T", "TEXT"), ("R", "REAL")],
                      ((i, f"text {i}", i * 0.5) for i in range(rows)))
            # A sanitized tool gives memory back at once here, instead of watching what was freed.
            sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0"
            with subprocess.Popen([os.environ["CXML"], "init", dataset, "MANY", "-o", self.folder / f"{rows}.cxml"],
                                  env={**os.environ, "ASAN_OPTIONS": sanitizer}) as process:
                _, status, used = os.wait4(process.pid, 0)
                process.returncode = os.waitstatus_to_exitcode(status)
            self.assertEqual(process.returncode, 0)
            return used.ru_maxrss  # KiB

        few, many = peak(1_000), peak(1_000_000)
        print(f"\n  1,000 rows: {few} KiB, 1,000,000 rows: {many} KiB")
        self.assertLess(many, few + 20_000)

    def test_file_is_not_replaced_unless_that_is_said(self):
        dataset = self.empty()
        file = self.folder / "marks.cxml"
        done = cxml("init", dataset, "-o", file)
        self.assertEqual((done.returncode, done.stdout), (0, f"{file}: 1 layer\n"))
        text = file.read_text(encoding="utf-8")
        self.assertEqual(text, self.init(dataset))
        file.write_text("mine", encoding="utf-8")
        self.assertEqual(cxml("init", dataset, "-o", file).returncode, 2)
        self.assertEqual(file.read_text(encoding="utf-8"), "mine")
        self.assertEqual(cxml("init", dataset, "-o", file, "--overwrite").returncode, 0)
        self.assertEqual(file.read_text(encoding="utf-8"), text)

    def test_dataset_is_never_replaced(self):
        dataset = self.empty()
        before = dataset.read_bytes()
        link = self.folder / "link.cxml"
        link.symlink_to(dataset)
        for file in (dataset, link):
            with self.subTest(file):
                done = cxml("init", dataset, "-o", file, "--overwrite")
                self.assertEqual((done.returncode, done.stdout, done.stderr),
                                 (2, "", f"cxml: {file}: cannot be written: the command reads it\n"))
                self.assertEqual(dataset.read_bytes(), before)

    def test_what_cannot_be_done_is_one_line(self):
        dataset = self.empty()
        plain = self.folder / "plain.gpkg"
        subprocess.run(["ogr2ogr", plain, dataset, "-nlt", "NONE"], check=True)
        for arguments, word in [((self.folder / "none.gpkg",), "none.gpkg"), ((dataset, "BUOYS"), "BUOYS"),
                                ((dataset, "-o", self.folder / "no" / "such"), "such"), ((plain,), "no layer has shapes")]:
            with self.subTest(word):
                done = cxml("init", *arguments)
                self.assertEqual((done.returncode, done.stdout, done.stderr.count("\n")), (2, "", 1))
                self.assertIn(word, done.stderr)

    def test_symbolizes_every_row(self):
        dataset = self.own_cell()
        file = self.folder / "first.cxml"
        self.assertEqual(cxml("init", dataset, "-o", file).returncode, 0)
        status, said = cxml_json("symbolize", file, dataset, "--add-fields")
        self.assertEqual((status, said["document"]["messages"]), (0, []))
        for (layer,) in query(dataset, "SELECT table_name FROM gpkg_geometry_columns"):
            self.assertEqual(query(dataset, f'SELECT count(*) FROM "{layer}" WHERE SYMBOL_C IS NOT \'QUESMRK1\''), [(0,)], layer)

    def test_without_tables_of_s57_there_are_no_meanings(self):
        dataset = self.own_cell()
        done = subprocess.run([os.environ["CXML"], "init", dataset, "BOYLAT"], capture_output=True, text=True, check=False,
                              env={**os.environ, "S57_CSV": str(self.folder / "none")})
        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stderr, "cxml: the tables of S-57 are not installed with GDAL: meanings of codes are not shown\n")
        self.assertIn("CATLAM, integer\n", done.stdout)
        self.check_with_examples(done.stdout, dataset)


if __name__ == "__main__":
    main()
