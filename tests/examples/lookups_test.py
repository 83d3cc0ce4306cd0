"""cxml lookups: look-up tables become a document that gives every object the symbol of the row that wins."""
import collections
import os
import pathlib
import re
import sqlite3
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

from support import ROOT, TestCase, cxml, cxml_json, main, query

SHARED = ROOT.parent / "shared"
CELLS = pathlib.Path(os.environ.get("SYMBOLOGY_SAMPLE_CELLS") or SHARED / "sample-cells")
TABLES = pathlib.Path(os.environ.get("SYMBOLOGY_LOOKUPS") or SHARED / "lookups" / "chartsymbols.xml")
TYPES = {"Point": 1, "Line": 2, "Area": 3}

# Which word names a row's symbol.
WORDS = {1: ("SY", "CS"), 2: ("LC", "LS", "SY", "CS"), 3: ("SY", "AP", "AC", "LC", "LS", "CS")}


def tables_of(*rows, inside=""):
    """Tables of our own. A row: class, type, table, attribute tests, instruction."""
    text = "<?xml version='1.0' encoding='UTF-8'?>\n" + inside + "<chartsymbols>\n  <lookups>\n"
    for number, (name, kind, table, attributes, instruction) in enumerate(rows):
        tests = "".join(f"<attrib-code index='{at}'>{one}</attrib-code>" for at, one in enumerate(attributes))
        text += (f"    <lookup id='{number}' RCID='{number}' name='{name}'><type>{kind}</type><disp-prio>Routing</disp-prio>"
                 f"<radar-prio>On Top</radar-prio><table-name>{table}</table-name>{tests}"
                 f"<instruction>{instruction}</instruction><display-cat>Other</display-cat></lookup>\n")
    return text + "  </lookups>\n</chartsymbols>\n"


ROWS = [
    # What wins is the number of tests, then the order.
    ("BOYLAT", "Point", "Paper", [], "SY(MARKAA01);TE('no. %s','OBJNAM',2,1,2,'16212',-1,2,CHBRN,41)"),
    ("BOYLAT", "Point", "Paper", ["CATLAM1"], "SY(MARKAA02)"),
    ("BOYLAT", "Point", "Paper", ["BOYSHP1"], "SY(MARKAA03)"),
    ("BOYLAT", "Point", "Paper", ["BOYSHP1", "CATLAM2"], "SY(MARKAA04);TX(OBJNAM,3,2,2,'16212',1,0,CHBRN,46)"),
    ("BOYLAT", "Point", "Paper", ["CATLAM2", "BOYSHP1"], "SY(MARKAA05)"),
    ("BOYLAT", "Point", "Paper", ["COLOUR3,4,3"], "SY(MARKAA06);SY(MARKAA07);CS(TOPMRK01)"),
    ("BOYLAT", "Point", "Paper", ["COLOUR3"], "SY(MARKAA08,90)"),
    ("BOYLAT", "Point", "Simplified", [], "SY(MARKAB01)"),
    # Any value, and none.
    ("CURENT", "Point", "Paper", ["ORIENT "], "SY(ARROWA01,ORIENT);TE('%5.2lf knots','CURVEL',3,1,2,'16212',1,-1,CHBRN,41)"),
    ("CURENT", "Point", "Paper", ["ORIENT", "CURVEL?"], "SY(ARROWA02,ORIENT)"),
    ("CURENT", "Point", "Paper", ["OBJNAM?"], "SY(ARROWA03)"),
    ("CURENT", "Point", "Paper", ["OBJNAM"], "SY(ARROWA04,45)"),
    # Points, lines and areas of one class.
    ("WRECKS", "Point", "Paper", [], "CS(SUNKEN02)"),
    ("WRECKS", "Point", "Paper", ["OBJNAMNULL"], "SY(SUNKEN01)"),
    ("WRECKS", "Point", "Paper", ["OBJNAM'Ann'"], "SY(SUNKEN03)"),
    ("WRECKS", "Line", "Lines", [], "SY(SUNKEN04);LS(DASH,3,CHMGD)"),
    ("WRECKS", "Area", "Plain", [], "LS(SOLD,1,CHBLK);AC(DEPVS,3);TX('Wreck 100%',1,2,3,'16212',0,0,CHBRN,46)"),
    ("WRECKS", "Area", "Symbolized", [], "LC(SUNKEN05)"),
    # A row that shows nothing takes the place of others, and one that shows text only needs no symbol.
    ("LNDRGN", "Point", "Paper", ["OBJNAMHidden"], ""),
    ("LNDRGN", "Point", "Paper", [], "SY(REGION01)"),
    ("LNDRGN", "Area", "Plain", [], "TX(OBJNAM,1,2,3,'16212',0,0,CHBRN,46)"),
    ("SEAARE", "Point", "Paper", [], ""),
    # What documents cannot hold, or do not tell apart.
    ("######", "Point", "Paper", [], "SY(QUESMRK1)"),
    ("boylat", "Point", "Paper", [], "SY(MARKAA09)"),
    ("BOYLAT", "Point", "Paper", ["CATLAM1,2"], "SY(MARKAA10)"),
    ("LNDRGN", "Point", "Paper", ["CATLND1"], "SY(REGION02;XY(REGION03);CS(REGION04;TX(OBJNAM,1,2,3,'16212',0,0,CHBRN,46))"),
    ("LNDRGN", "Point", "Paper", ["VALSOU"], "SY(REGION05)"),
    ("LNDRGN", "Point", "Paper", ["CATLND2", "VALSOU?"], "SY(REGION06,VALSOU);TX(VALSOU,1,2,3,'16212',0,0,CHBRN,46)"),
]

# Layers for those rows: fields with types, and objects.
LAYERS = {
    "BOYLAT": ("PRIM integer, BOYSHP integer, CATLAM integer, COLOUR text, OBJNAM text", [
        (1, None, None, None, "7"), (1, 2, 1, None, None), (1, 1, 1, None, "8"), (1, 1, 3, "4", ""), (1, 1, 2, "3", "A"),
        (1, 2, 2, "3,4,3", "B"), (1, 2, 2, "4,3", "C"), (1, 2, 2, "3", "D"), (1, 2, 2, "3,4", "E"), (3, 1, 1, "3", "F"),
        (1, 1, 12, None, "%s"), (1, 2, 2, "3,3", None)]),
    "CURENT": ("PRIM integer, ORIENT real, CURVEL real, OBJNAM text", [
        (1, 0.0, 1.25, None), (1, 225.5, None, "x"), (1, 10.0, 3.0, ""), (1, None, 3.0, ""), (1, None, 3.0, None),
        (1, None, None, "y")]),
    "WRECKS": ("PRIM integer, OBJNAM text", [
        (1, None), (1, "NULL"), (1, "'Ann'"), (1, "Ann"), (2, None), (3, None), (3, "NULL")]),
    "LNDRGN": ("PRIM integer, CATLND text, OBJNAM text", [
        (1, None, "Hidden"), (1, "1", "Shown"), (1, "2", "Shown"), (3, "1", "Moor"), (3, "1", None)]),
}


def is_there(value):
    return value not in (None, "")


def holds(tests, row):
    """Whether a row of a table holds for an object: read from what tables mean, not from the program."""
    for test in tests:
        field, asked = test[:6], test[6:].strip()
        value = row.get(field)
        if asked in ("", "?"):
            if is_there(value) != (asked == ""):
                return False
        elif isinstance(value, (int, float)):
            if not re.fullmatch(r"-?[\d.]+", asked) or float(asked) != value:
                return False
        elif value != asked:
            return False
    return True


def pieces(instruction):
    return re.findall(r"\b([A-Z]{2})\(((?:'[^']*'|[^')(;])*)", instruction)  # some are not closed


def symbol_of(instruction, primitive):
    for wanted in WORDS[primitive]:
        for word, said in pieces(instruction):
            if word == wanted:
                parts = [part.strip() for part in said.split(",")]
                if word in ("LS", "CS"):
                    return "_".join([word, *parts])
                return "_".join(parts) if word == "AC" else parts[0]
    return None


def rotation_of(instruction, primitive, row):
    if not symbol_of(instruction, primitive):
        return None
    first = next((said for word, said in pieces(instruction) if word == "SY"), "").split(",")
    if len(first) < 2 or first[0] != symbol_of(instruction, primitive):
        return None
    return row.get(first[1]) if first[1].isalpha() else float(first[1])


def text_of(instruction, row):
    for word, said in pieces(instruction):
        if word == "TX":
            if said.startswith("'"):
                return said[1:said.index("'", 1)]
            value = row.get(said.split(",")[0])
            if not is_there(value):
                return None
            return f"{value:.10g}" if isinstance(value, float) else str(value)
        if word == "TE":
            form, fields = re.match(r"'([^']*)','([^']*)'", said).groups()
            values = [row.get(field) for field in fields.split(",")]
            return form.replace("lf", "f") % tuple(values) if all(map(is_there, values)) else None
    return None


class Oracle:
    """Which row wins for an object."""

    def __init__(self, tables, points="Paper", areas="Plain"):
        self.lists = collections.defaultdict(list)
        for row in ElementTree.parse(tables).getroot().iter("lookup"):
            if row.findtext("table-name") in (points, "Lines", areas):
                tests = [test.text for test in row.iter("attrib-code")]
                self.lists[row.get("name"), TYPES[row.findtext("type")]].append((tests, row.findtext("instruction") or ""))
        for rows in self.lists.values():
            rows.sort(key=lambda row: -len(row[0]))  # stable: of equally many the first

    def winner(self, layer, row):
        return next((instruction for tests, instruction in self.lists[layer, row["PRIM"]] if holds(tests, row)), None)

    def expected(self, layer, row):
        """Symbol, rotation and text."""
        instruction = self.winner(layer, row)
        if instruction is None:
            return None, None, None
        primitive = row["PRIM"]
        return symbol_of(instruction, primitive), rotation_of(instruction, primitive, row), text_of(instruction, row)


def objects(dataset):
    """Each layer with PRIM, and its rows by name."""
    for (layer,) in query(dataset, "SELECT table_name FROM gpkg_contents ORDER BY table_name"):
        names = [column[1] for column in query(dataset, f'PRAGMA table_info("{layer}")')]
        if "PRIM" in names:
            yield layer, [dict(zip(names, row)) for row in query(dataset, f'SELECT * FROM "{layer}" ORDER BY fid')]


class Lookups(TestCase):
    def write(self, text, name="tables.xml"):
        file = self.folder / name
        file.write_text(text, encoding="utf-8")
        return file

    def own_dataset(self):
        dataset = self.folder / "own.gpkg"
        subprocess.run(["ogr2ogr", dataset, ROOT / "tests" / "tool" / "data" / "marks.geojson", "-nln", "MARKS"], check=True)
        with sqlite3.connect(dataset) as connection:
            for layer, (fields, rows) in LAYERS.items():
                connection.execute(f"CREATE TABLE {layer} (fid INTEGER PRIMARY KEY, {fields})")
                connection.executemany(f"INSERT INTO {layer} VALUES (NULL, {', '.join('?' * len(rows[0]))})", rows)
                connection.execute("INSERT INTO gpkg_contents (table_name, data_type, identifier) VALUES (?, 'attributes', ?)",
                                   (layer, layer))
        connection.close()
        return dataset

    def make(self, tables, *options):
        document = self.folder / "made.cxml"
        status, said = cxml_json("lookups", tables, "-o", document, "--overwrite", *options)
        self.assertEqual((status, said["document"]["loaded"], said["document"]["messages"]), (0, True, []))
        return document, said

    def check_sound(self, document, *dataset):
        """No errors, and nothing for fmt to do."""
        status, said = cxml_json("check", document, *dataset)
        self.assertEqual((status, [one for one in said["findings"] if one["severity"] == "error"]), (0, []))
        done = cxml("fmt", "--check", "--diff", document)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        return collections.Counter((one["severity"], one["kind"]) for one in said["findings"])

    def check_rows(self, document, dataset, oracle, *options, missing=frozenset()):
        """Returns how many objects got a symbol, a rotation and a text."""
        status, said = cxml_json("symbolize", document, dataset, "--add-fields", *options)
        self.assertEqual((status, said["document"]["messages"]), (0, []))
        self.assertEqual([message for layer in said["layers"] for message in layer["messages"]], [])
        counts = [0, 0, 0]
        for layer, rows in objects(dataset):
            for row in rows:
                wanted = list(oracle.expected(layer, row))
                if (layer, row["fid"]) in missing:
                    wanted[0] = missing[layer, row["fid"]]
                with self.subTest(layer=layer, fid=row["fid"]):
                    self.assertEqual([row.get(field) for field in ("SYMBOL_C", "Rotate_C", "LABEL_C")], wanted)
                counts = [count + (value is not None) for count, value in zip(counts, wanted)]
        status, said = cxml_json("symbolize", document, dataset, *options)
        self.assertEqual((status, sum(layer["changed"] for layer in said["layers"])), (0, 0))
        return counts

    def check_own(self, *options, run=()):
        tables = self.write(tables_of(*ROWS))
        document, _ = self.make(tables, *options)
        dataset = self.own_dataset()
        self.check_sound(document, dataset, *run)
        # The first of LNDRGN has a row without a symbol before one with a symbol.
        counts = self.check_rows(document, dataset, Oracle(tables), *run, missing={("LNDRGN", 1): "NO_SYMBOL"})
        self.assertGreater(min(counts), 3)

    def test_objects_get_the_symbol_of_the_row_that_wins(self):
        self.check_own()

    def test_lists_of_primitives_can_be_those_of_subtypes(self):
        self.check_own("--primitive", "subtype", run=("--subtype-field", "PRIM"))

    def test_tables_are_chosen(self):
        tables = self.write(tables_of(*ROWS))
        document, said = self.make(tables, "--points", "simplified", "--areas", "symbolized")
        names = set(re.findall(r'rulename="(\w+)"', document.read_text(encoding="utf-8")))
        self.assertEqual(names, {"MARKAB01", "LS_DASH_3_CHMGD", "SUNKEN05"})
        self.assertEqual(said["tables"]["otherRows"], len(ROWS) - 3)

    def test_losses_are_told_row_by_row(self):
        tables = self.write(tables_of(*ROWS))
        procedures = self.folder / "procedures"
        procedures.mkdir()
        (procedures / "topmrk.cxml").write_text("<conditionMap name='x'/>", encoding="utf-8")
        _, said = self.make(tables, "--procedures", procedures)
        chosen = [(line, row) for line, row in enumerate(ROWS, 4) if row[2] in ("Paper", "Lines", "Plain")]
        self.assertEqual([(row["line"], row["class"], row["attributes"]) for row in said["rows"]],
                         [(line, row[0], [test.strip() for test in row[3]]) for line, row in chosen])
        lost = {row["line"] - 4: {loss["kind"]: loss for loss in row["losses"]} for row in said["rows"]}
        kinds = {at: set(losses) - {"display"} for at, losses in lost.items()}
        self.assertEqual(kinds, {
            0: {"text-format"}, 1: set(), 2: set(), 3: {"text-format"}, 4: {"never-wins"}, 5: {"further-symbol", "procedure"},
            6: set(), 8: {"text-format"}, 9: set(), 10: set(), 11: set(), 12: {"procedure"}, 13: set(), 14: set(),
            15: {"further-symbol"}, 16: {"further-symbol", "text-format"}, 18: {"no-symbol"}, 19: set(),
            20: {"no-symbol", "text-format"}, 21: {"no-symbol"}, 22: {"default-class"}, 23: {"class-name"},
            24: {"never-holds"}, 25: {"instruction-form", "procedure", "text-format"}, 26: {"never-holds"},
            27: {"rotation", "text"}})
        self.assertEqual(lost[0]["text-format"]["what"], "4.2 mm left, 8.4 mm down, of 16212, in CHBRN")
        self.assertEqual(lost[1]["display"]["what"], "Routing, On Top, Other")
        self.assertEqual(lost[5]["procedure"], {"kind": "procedure", "what": "TOPMRK01",
                                                "replacement": str(procedures / "topmrk.cxml")})
        self.assertNotIn("replacement", lost[12]["procedure"])
        not_carried = {row["line"] - 4 for row in said["rows"] if not row["carried"]}
        self.assertEqual(not_carried, {4, 21, 22, 23, 24, 26})

        done = cxml("lookups", tables, "-o", self.folder / "made.cxml", "--overwrite", "--procedures", procedures)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn(f"{tables}:9: BOYLAT point COLOUR3,4,3 -> MARKAA06: further-symbol SY(MARKAA07); procedure TOPMRK01 [see "
                      f"{procedures / 'topmrk.cxml'}]; display Routing, On Top, Other\n", done.stdout)
        self.assertIn("\n  procedure            3 in 3 rows: conditional procedures\n", done.stdout)

    def refused(self, text, *said, status=2):
        tables = self.write(text) if isinstance(text, str) else text
        document = self.folder / "refused.cxml"
        done = cxml("lookups", tables, "-o", document)
        self.assertEqual((done.returncode, done.stdout if status == 2 else ""), (status, ""))
        for one in said:
            self.assertIn(one, done.stderr)
        self.assertEqual(done.stderr.count("\n"), len(said), done.stderr)
        self.assertEqual(document.exists(), status != 2)
        document.unlink(missing_ok=True)

    def test_what_is_no_table_is_refused_with_one_line(self):
        good = tables_of(("BOYLAT", "Point", "Paper", [], "SY(MARKAA01)"))
        entity = "<!DOCTYPE chartsymbols [<!ENTITY a 'aaaa'>]>\n"
        outside = "<!DOCTYPE chartsymbols SYSTEM 'file:///etc/hostname'>\n"
        for name, text, said in [
                ("nothing", "", "tables.xml"), ("no XML", "BOYLAT;SY(MARKAA01)", "tables.xml:1: "),
                ("not whole", good[:-20], "tables.xml:5: "),
                ("another root", "<conditionMap name='x'/>", "tables.xml:1: the root element is 'conditionMap'"),
                ("no tables", "\n<chartsymbols><symbols/></chartsymbols>", "tables.xml:2: there are no look-up tables"),
                ("no rows", tables_of(), "tables.xml: no row of these tables can be carried over"),
                ("entity", tables_of(*ROWS, inside=entity), "tables.xml:2: a document type is refused"),
                ("outside", tables_of(*ROWS, inside=outside), "tables.xml:2: a document type is refused"),
                ("undeclared", good.replace("MARKAA01", "&mark;"), "tables.xml:4: "),
                ("deep", "<a>" * 100000, "tables.xml:1: ")]:
            with self.subTest(name):
                self.refused(text, said)
        wide = self.folder / "wide.xml"
        wide.write_bytes(good.encode("utf-16"))
        self.refused(wide, "wide.xml: is not in an encoding like UTF-8")
        self.refused(self.folder, f"{self.folder}: is no regular file")
        self.refused(self.folder / "nowhere.xml", "nowhere.xml: ")
        huge = self.folder / "huge.xml"
        with huge.open("wb") as file:
            file.truncate(64_000_001)
        self.refused(huge, "huge.xml: is longer than 64000000 bytes")

    def test_rows_that_cannot_be_read_are_named_and_left_out(self):
        good = ("BOYLAT", "Point", "Paper", [], "SY(MARKAA01)")
        for bad, said in [
                (("", "Point", "Paper", [], "SY(A)"), "the row has no class"),
                (("BOYCAR", "Solid", "Paper", [], "SY(A)"), "the row's type is 'Solid' instead of Point, Line or Area"),
                (("BOYCAR", "Point", "Plain", [], "SY(A)"), "the row's table 'Plain' is none of those for its type Point"),
                (("BOYCAR", "Point", "Paper", ["CAT"], "SY(A)"), "the attribute test 'CAT' begins with no acronym"),
                (("BOYCAR", "Point", "Paper", ["CA.CAM1"], "SY(A)"), "the attribute test 'CA.CAM1' begins with no acronym")]:
            with self.subTest(said):
                self.refused(tables_of(good, bad), f"tables.xml:5: {said}", status=1)
        self.refused(tables_of(good, good).replace("<instruction>SY(MARKAA01)</instruction>", "", 1),
                     "tables.xml:4: the row has no instruction", status=1)

    def test_names_and_values_are_markup(self):
        tables = self.write(tables_of(
            ("A&quot;&lt;B", "Point", "Paper", ["OBJNAM&lt;&amp;&quot;--&gt;", "INFORM%s"],
             "SY(MARKAA01);TX('a&amp;b]]&gt;',1,2,3,'16212',0,0,CHBRN,46)"),
            ("BOYCAR", "Point", "Paper", [], "SY(MARK&quot;1);SY(MARKAA02);TX(import,1,2,3,'16212',0,0,CHBRN,46)")))
        document, said = self.make(tables)
        self.check_sound(document)
        tree = ElementTree.parse(document)
        self.assertEqual([one.get("name") for one in tree.iter("featureClass")], ['A"<B', "BOYCAR"])
        self.assertEqual([one.get("value") for one in tree.iter("rule")], ["1", '<&"-->', "%s", "1"])
        self.assertEqual([[loss["kind"] for loss in row["losses"]] for row in said["rows"]],
                         [["text", "display"], ["instruction-form", "text", "display"]])

    def test_nothing_is_written_over(self):
        tables = self.write(tables_of(*ROWS))
        before = tables.read_bytes()
        for options in ((), ("--overwrite",)):
            done = cxml("lookups", tables, "-o", tables, *options)
            self.assertEqual((done.returncode, done.stdout), (2, ""))
            self.assertIn("the command reads it", done.stderr)
        self.assertEqual(tables.read_bytes(), before)
        there = self.write("mine", "there.cxml")
        self.assertEqual(cxml("lookups", tables, "-o", there).returncode, 2)
        self.assertEqual(there.read_text(encoding="utf-8"), "mine")

    def check_published(self, cell, points, areas, least):
        if not TABLES.exists():
            self.skipTest(f"no tables at {TABLES}; set SYMBOLOGY_LOOKUPS to a file of look-up tables")
        if not (CELLS / cell).exists():
            self.skipTest(f"no cell at {CELLS / cell}; set SYMBOLOGY_SAMPLE_CELLS to a folder that has {cell}")
        dataset = self.folder / "cell.gpkg"
        done = cxml("import", CELLS / cell, dataset)
        self.assertEqual(done.returncode, 0, done.stderr)
        document, said = self.make(TABLES, "--points", points, "--areas", areas)
        self.assertGreater(said["conditions"], 1000)
        self.check_sound(document)
        counts = self.check_rows(document, dataset, Oracle(TABLES, points.capitalize(), areas.capitalize()))
        self.assertGreater(counts[0], least)

    def test_published_tables_over_a_harbour_cell(self):
        self.check_published("US5OH10M.000", "paper", "plain", 3000)

    def test_published_tables_over_an_overview_cell(self):
        self.check_published("US1BS01M.000", "simplified", "symbolized", 1500)


if __name__ == "__main__":
    main()
