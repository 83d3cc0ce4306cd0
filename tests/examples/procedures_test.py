"""The procedures for cells: sound by themselves, the same in enc.cxml, unmoved by odd data, and able to join documents of look-up tables."""
import itertools
import math
import os
import pathlib
import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

from support import ROOT, TestCase, cxml, cxml_json, main, query

ENC = ROOT / "examples" / "enc"
FOLDER = ENC / "procedures"
SHARED = ROOT.parent / "shared"
CELLS = pathlib.Path(os.environ.get("SYMBOLOGY_SAMPLE_CELLS") or SHARED / "sample-cells")
TABLES = pathlib.Path(os.environ.get("SYMBOLOGY_LOOKUPS") or SHARED / "lookups" / "chartsymbols.xml")
PROCEDURES = sorted(FOLDER.glob("*.cxml"))

# What a field may hold of which nobody thought; numbers, texts and NULL are what functions are given.
ODD = (None, 0, -1, 7, 2147483647, -0.0, 4.04, 1e300, math.inf, -math.inf, math.nan, "", " ", ",", "x", "3,4,3", "11", "NULL", "((", ")(",
       "(2)(1)(1)", "%s", "°", "1e400", "O'Neill")


def join(*arguments):
    return subprocess.run([sys.executable, "-B", FOLDER / "join", *map(str, arguments)], capture_output=True, text=True,
                          encoding="utf-8", check=False)


def functions(path):
    """The functions of a document: for each condition of type 2 its place and its Generate, made as the library makes it."""
    root = ElementTree.parse(path).getroot()
    library = {piece.get("name"): piece.text for piece in root.iterfind("functionLibrary/expression")}
    for of_class in root.iterfind("featureClass"):
        for number, condition in enumerate(of_class.iter("condition")):
            if condition.get("type") != "2":
                continue
            source = "".join((one.text or "") + library.get(one.get("library"), "") for one in condition.iterfind("expression"))
            module = {}
            exec(compile(source, str(path), "exec"), module)  # pylint: disable=exec-used
            yield f"{path.name} {of_class.get('name')} {number}", module["Generate"]


class Procedures(TestCase):
    def test_each_is_sound(self):
        self.assertGreater(len(PROCEDURES), 8)
        for path in PROCEDURES:
            with self.subTest(path.name):
                self.assertEqual(cxml("fmt", "--check", path).returncode, 0)
                _, said = cxml_json("check", path)
                faults = [message for message in said["document"]["messages"] if message["severity"] != "note"]
                if path.stem == "quapos":  # which is about a field that classes have not
                    faults = [message for message in faults if message["id"] != "attribute-not-of-class"]
                self.assertEqual(faults, [])

    def test_what_is_added_passes_its_tests(self):
        for name in ("quapos", "restrn"):
            with self.subTest(name):
                status, said = cxml_json("test", FOLDER / f"{name}.cxml")
                self.assertEqual((status, said["failed"]), (0, 0))
                self.assertGreater(said["passed"], 9)

    def test_the_document_has_them_as_they_are(self):
        again = self.folder / "again.cxml"
        done = join(ENC / "enc.cxml", "--replace", "-o", again)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(again.read_text(encoding="utf-8"), (ENC / "enc.cxml").read_text(encoding="utf-8"))

    def test_the_mariners_depths_are_those_of_the_document(self):
        def depths(path):
            return dict(re.findall(r'<!ENTITY ([\w-]+) "([\d.]+)">', path.read_text(encoding="utf-8")))
        of_document = depths(ENC / "enc.cxml")
        self.assertEqual(len(of_document), 4)
        for path in PROCEDURES:
            self.assertLessEqual(depths(path).items(), of_document.items(), path.name)

    def test_no_value_makes_a_function_fail(self):
        calls = 0
        for path in (*PROCEDURES, ENC / "enc.cxml"):
            for place, function in functions(path):
                count = function.__code__.co_argcount
                rows = [(value,) * count for value in ODD]
                # Each argument odd by itself, beside others that are not.
                for at, (value, other) in itertools.product(range(count), itertools.product(ODD, (None, 3, "3"))):
                    rows.append(tuple(value if n == at else other for n in range(count)))
                for row in rows:
                    with self.subTest(place, row=row):
                        result = function(*row)
                        self.assertTrue(result is None or isinstance(result, str), result)
                    calls += 1
        self.assertGreater(calls, 5000)


class Joining(TestCase):
    def made(self, rows, *arguments):
        tables = self.folder / "tables.xml"
        tables.write_text("<chartsymbols><lookups>" + "".join(
            f"<lookup id='{n}' RCID='{n}' name='{name}'><type>{kind}</type><disp-prio>Routing</disp-prio><radar-prio>On Top</radar-prio>"
            f"<table-name>{table}</table-name><instruction>{instruction}</instruction><display-cat>Other</display-cat></lookup>"
            for n, (name, kind, table, instruction) in enumerate(rows)) + "</lookups></chartsymbols>", encoding="utf-8")
        document = self.folder / "made.cxml"
        done = cxml("lookups", tables, "-o", document, *arguments)
        self.assertEqual(done.returncode, 0, done.stderr)
        return document, done.stdout

    ROWS = [("LIGHTS", "Point", "Paper", "CS(LIGHTS99)"), ("OBSTRN", "Point", "Paper", "SY(MARKAA01)"),
            ("CBLARE", "Area", "Plain", "LC(ZONEAA02);CS(RESTRN99)"), ("BOYLAT", "Point", "Paper", "SY(MARKAA01)")]

    def test_the_report_of_losses_names_them(self):
        _, said = self.made(self.ROWS, "--procedures", FOLDER)
        self.assertIn(f"procedure LIGHTS99 [see {FOLDER / 'lights.cxml'}]", said)
        self.assertIn(f"procedure RESTRN99 [see {FOLDER / 'restrn.cxml'}]", said)

    def test_a_document_of_tables_gets_them(self):
        document, _ = self.made(self.ROWS)
        joined = self.folder / "joined.cxml"
        done = join(document, "-o", joined)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(cxml("fmt", "--check", joined).returncode, 0)
        _, said = cxml_json("check", joined)
        self.assertEqual([message for message in said["document"]["messages"] if message["severity"] == "error"], [])
        text = joined.read_text(encoding="utf-8")
        # Lights are decided for every row, so that nothing of the tables is left; the others come behind what is there.
        self.assertNotIn("CS_LIGHTS99", text)
        self.assertEqual([text.count(f'<featureClass name="{name}">') for name in ("LIGHTS", "OBSTRN", "CBLARE", "BOYLAT", "WRECKS")], [1] * 5)
        self.assertLess(text.index('rulename="MARKAA01"'), text.index('rulename="DANGER01"'))
        self.assertIn('<!ENTITY safety-depth "5.4">', text)

        dataset = self.folder / "cell.gpkg"
        subprocess.run([sys.executable, "-B", ROOT / "examples" / "harbour" / "generator", "--cell", self.folder], check=True)
        self.assertEqual(cxml("import", self.folder / "XX5MERRW.000", dataset).returncode, 0)
        status, said = cxml_json("symbolize", joined, dataset, "--add-fields")
        self.assertEqual((status, [layer["messages"] for layer in said["layers"] if layer["messages"]]), (0, []))
        by_hand = self.folder / "by-hand.gpkg"
        self.assertEqual(cxml("import", self.folder / "XX5MERRW.000", by_hand).returncode, 0)
        self.assertEqual(cxml("symbolize", ENC / "enc.cxml", by_hand, "--add-fields").returncode, 0)
        for layer in ("LIGHTS", "DEPARE", "DEPCNT", "WRECKS", "OBSTRN", "UWTROC", "SOUNDG", "SLCONS", "RESARE", "TOPMAR", "COALNE"):
            with self.subTest(layer):
                placed = f"SELECT fid, SYMBOL_C, Rotate_C FROM {layer} ORDER BY fid"
                self.assertEqual(query(dataset, placed), query(by_hand, placed))

    def test_a_document_keeps_its_depths(self):
        document, _ = self.made(self.ROWS)
        text = document.read_text(encoding="utf-8")
        document.write_text(text.replace("<conditionMap", '<!DOCTYPE conditionMap [\n  <!ENTITY safety-depth "12">\n]>\n<conditionMap', 1),
                            encoding="utf-8")
        joined = self.folder / "joined.cxml"
        self.assertEqual(join(document, "-o", joined).returncode, 0)
        entities = re.findall(r"<!ENTITY ([\w-]+) \"([\d.]+)\">", joined.read_text(encoding="utf-8"))
        self.assertEqual(sorted(entities), [("deep-contour", "9.1"), ("safety-contour", "5.4"), ("safety-depth", "12"), ("shallow-contour", "3.6")])

    def test_what_cannot_be_joined_is_refused(self):
        document, _ = self.made(self.ROWS, "--primitive", "subtype")
        joined = self.folder / "joined.cxml"
        done = join(document, "-o", joined)
        self.assertEqual(done.returncode, 1)
        self.assertIn("the document has subtypes of OBSTRN", done.stderr)
        joined.write_text("mine", encoding="utf-8")
        done = join(ENC / "enc.cxml", "-o", joined, FOLDER / "lights.cxml")
        self.assertEqual((done.returncode, joined.read_text(encoding="utf-8")), (1, "mine"))
        self.assertIn("--overwrite replaces it", done.stderr)
        for text, why in (("<conditionMap name='x'>", "not well-formed"), ("<a/>", "no line begins with <conditionMap"),
                          ("<conditionMap name='x'>\n<featureClass name='LIGHTS'/>\n</conditionMap>", "not every class stands"),
                          ("<conditionMap name=\"x\">\n  <functionLibrary>\n    <expression name=\"lights\">x = 1</expression>\n"
                           "  </functionLibrary>\n</conditionMap>\n", "another library piece 'lights'")):
            with self.subTest(why):
                odd = self.folder / "odd.cxml"
                odd.write_text(text, encoding="utf-8")
                done = join(odd, "-o", self.folder / "never.cxml", FOLDER / "lights.cxml")
                self.assertEqual((done.returncode, (self.folder / "never.cxml").exists()), (1, False))
                self.assertIn(why, done.stderr)

    def test_published_tables_name_nearly_all_of_a_cell(self):
        cell = CELLS / "US5OH10M.000"
        for needed in (TABLES, cell):
            if not needed.exists():
                self.skipTest(f"no {needed}; see SYMBOLOGY_LOOKUPS and SYMBOLOGY_SAMPLE_CELLS")
        document, joined, dataset = (self.folder / name for name in ("made.cxml", "joined.cxml", "cell.gpkg"))
        cxml("lookups", TABLES, "-o", document)
        self.assertEqual(join(document, "-o", joined).returncode, 0)
        self.assertEqual(cxml("import", cell, dataset).returncode, 0)
        status, said = cxml_json("symbolize", joined, dataset, "--add-fields")
        self.assertEqual((status, [layer["messages"] for layer in said["layers"] if layer["messages"]]), (0, []))
        layers = [layer["layer"] for layer in said["layers"]]
        left = {layer for layer in layers if query(dataset, f"SELECT 1 FROM {layer} WHERE SYMBOL_C LIKE 'CS~_%' ESCAPE '~'")}
        self.assertLessEqual(left, {"M_COVR", "M_CSCL"})


if __name__ == "__main__":
    main()
