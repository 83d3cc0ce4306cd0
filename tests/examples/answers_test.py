"""The files that answers are written to: tables of rows, a page, and what stands at the head of every answer."""
import collections
import hashlib
import html.parser
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys

from support import ROOT, TestCase, cxml, cxml_json, main, query

HARBOUR = ROOT / "examples" / "harbour"
DOCUMENT = HARBOUR / "harbour.cxml"


class Answers(TestCase):
    def setUp(self):
        super().setUp()
        self.dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", self.dataset], check=True, capture_output=True)
        shutil.copy(HARBOUR / "light_character.py", self.folder)
        # The fields are there, and nothing in them.
        self.assertEqual(cxml("symbolize", DOCUMENT, self.dataset, "--add-fields", "--where", "1 = 0").returncode, 0)
        lines = DOCUMENT.read_text(encoding="utf-8").splitlines(keepends=True)
        self.assertIn('field="BOYSHP" operator="equal" value="5"', lines[53])
        lines[53] = lines[53].replace('value="5"', 'value="4"')
        self.edited = self.folder / "edited.cxml"
        self.edited.write_text("".join(lines), encoding="utf-8")

    def assert_refused(self, done, text):
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn(text, done.stderr)


class RowsOfTheLedger(Answers):
    """A row of the table for each row of the run, and its counts are those of the object."""

    def check_rows(self, command):
        rows = self.folder / f"{command}.gpkg"
        said = self.folder / f"{command}.json"
        done = cxml(command, DOCUMENT, self.dataset, "--rows", rows, "--ledger", said)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        status, ledger = cxml_json("ledger", DOCUMENT, self.dataset)
        self.assertEqual(status, 0)
        ends = collections.Counter(query(rows, "SELECT layer, \"end\" FROM cxml_ledger"))
        self.assertEqual(ends, collections.Counter({(layer["layer"], end): count for layer in ledger["layers"]
                                                    for end, count in layer["ends"].items() if count}))
        decided = collections.Counter(query(rows, "SELECT layer, line, address, symbol FROM cxml_ledger WHERE line > 0"))
        self.assertEqual(decided, collections.Counter({
            (layer["layer"], one["line"], one["address"], one["symbol"]): one["rows"]
            for layer in ledger["layers"] for one in layer["decided"]}))
        for layer in ledger["layers"]:
            fids = [row[0] for row in query(self.dataset, f'SELECT fid FROM "{layer["layer"]}" ORDER BY fid')]
            self.assertEqual([row[0] for row in query(
                rows, f"SELECT fid FROM cxml_ledger WHERE layer = '{layer['layer']}' ORDER BY fid")], fids)
        return rows

    def test_of_a_ledger(self):
        rows = self.check_rows("ledger")
        # Nothing was written, so every row would get what it lacks.
        symbols = query(rows, "SELECT count(*) FROM cxml_ledger WHERE writes LIKE '%SYMBOL_C%'")
        self.assertEqual(symbols, [(472,)])

    def test_of_a_run(self):
        rows = self.check_rows("symbolize")
        for layer, fid, symbol in query(rows, "SELECT layer, fid, symbol FROM cxml_ledger"):
            self.assertEqual(query(self.dataset, f'SELECT SYMBOL_C FROM "{layer}" WHERE fid = {fid}'), [(symbol,)])

    def test_is_a_geopackage_that_gdal_reads(self):
        rows = self.folder / "rows.gpkg"
        self.assertEqual(cxml("ledger", DOCUMENT, self.dataset, "BOYLAT", "--rows", rows).returncode, 0)
        told = subprocess.run(["ogrinfo", "-so", rows, "cxml_ledger"], capture_output=True, text=True, check=True)
        self.assertIn("Feature Count: 23", told.stdout)
        self.assertEqual(told.stderr, "")

    def test_names_who_places_and_what_was_said(self):
        broken = self.folder / "broken.cxml"
        broken.write_text('<conditionMap name="b"><featureClass name="BOYLAT"><condition rulename="A" xoffset="1"/>'
                          '<condition type="2" field="LABEL_C"><rule type="A" field="NOSUCH" operator="equal" value="1"/>'
                          '</condition></featureClass></conditionMap>', encoding="utf-8")
        rows = self.folder / "rows.gpkg"
        done = cxml("ledger", broken, self.dataset, "BOYLAT", "--rows", rows)
        self.assertEqual(done.returncode, 0, done.stderr)
        placed = set(query(rows, "SELECT placed_by, messages FROM cxml_ledger"))
        self.assertEqual(len(placed), 1)
        (address, messages), = placed
        self.assertEqual(address, "BOYLAT/-/A")
        self.assertIn("NOSUCH", messages)

    def test_gives_way_to_nobody_unless_told(self):
        rows = self.folder / "rows.gpkg"
        rows.write_text("somebody's", encoding="utf-8")
        self.assert_refused(cxml("ledger", DOCUMENT, self.dataset, "--rows", rows), "--overwrite replaces it")
        self.assertEqual(rows.read_text(encoding="utf-8"), "somebody's")
        self.assertEqual(cxml("ledger", DOCUMENT, self.dataset, "BOYLAT", "--rows", rows, "--overwrite").returncode, 0)
        self.assertEqual(query(rows, "SELECT count(*) FROM cxml_ledger"), [(23,)])
        self.assertEqual(sorted(path.name for path in self.folder.glob("*partial*")), [])

    def test_is_not_replaced_while_somebody_uses_it(self):
        rows = self.folder / "rows.gpkg"
        self.assertEqual(cxml("ledger", DOCUMENT, self.dataset, "BOYLAT", "--rows", rows).returncode, 0)
        journal = self.folder / "rows.gpkg-wal"
        journal.write_bytes(b"")
        self.assert_refused(cxml("ledger", DOCUMENT, self.dataset, "BOYLAT", "--rows", rows, "--overwrite"),
                            "says that it is in use")

    def test_never_takes_the_place_of_what_is_read(self):
        for command, option, target in (("ledger", "--rows", self.dataset), ("ledger", "--ledger", self.dataset),
                                        ("symbolize", "--ledger", self.edited), ("coverage", "--lcov", self.dataset)):
            with self.subTest(command=command, option=option):
                before = hashlib.sha256(target.read_bytes()).digest()
                self.assert_refused(cxml(command, self.edited, self.dataset, option, target, "--overwrite"),
                                    "the command reads it")
                self.assertEqual(hashlib.sha256(target.read_bytes()).digest(), before)

    def test_is_not_there_after_trouble(self):
        rows = self.folder / "rows.gpkg"
        self.assertEqual(cxml("ledger", DOCUMENT, self.folder / "none.gpkg", "--rows", rows).returncode, 2)
        self.assertEqual(cxml("ledger", self.folder / "none.cxml", self.dataset, "--rows", rows).returncode, 2)
        self.assertFalse(rows.exists())


class RowsOfADifference(Answers):
    def test_are_a_map_of_the_change(self):
        self.assertEqual(cxml("symbolize", DOCUMENT, self.dataset).returncode, 0)
        rows = self.folder / "rows.gpkg"
        done = cxml("diff", DOCUMENT, self.edited, self.dataset, "--rows", rows, "--only", "CATLAM = 1")
        self.assertEqual(done.returncode, 1)
        status, difference = cxml_json("diff", DOCUMENT, self.edited, self.dataset, "--only", "CATLAM = 1")
        self.assertEqual(status, 1)
        found = query(rows, "SELECT layer, fid, change, fields, from_value, from_line, from_address, to_value, to_line, "
                            "to_address, outside FROM cxml_diff ORDER BY layer, fid")
        wanted = []
        for group in difference["groups"]:
            self.assertEqual(len(group["sample"]), group["rows"], "the sample has all of them")
            for fid in group["sample"]:
                wanted.append((group["layer"], fid, group["change"], group["fields"], group["from"]["symbol"],
                               group["from"]["line"], group["from"]["address"], group["to"]["symbol"],
                               group["to"]["line"], group["to"]["address"], 1 if group["outside"] else 0))
        self.assertEqual(found, sorted(wanted))
        self.assertEqual(len(found), 6)
        for layer, fid, shape in query(rows, "SELECT layer, fid, geom FROM cxml_diff"):
            (own,), = query(self.dataset, f'SELECT geom FROM "{layer}" WHERE fid = {fid}')
            # Behind the head of the GeoPackage's blobs, whose envelope points lack.
            self.assertEqual(shape[8:], own[8:], f"{layer} {fid}")

    def test_are_in_degrees(self):
        projected = self.folder / "projected.gpkg"
        subprocess.run(["ogr2ogr", "-t_srs", "EPSG:3395", projected, self.dataset, "BOYLAT"], check=True)
        rows = self.folder / "rows.gpkg"
        self.assertEqual(cxml("diff", DOCUMENT, self.edited, projected, "--rows", rows).returncode, 1)
        (srs, _), = query(rows, "SELECT srs_id, geometry_type_name FROM gpkg_geometry_columns")
        self.assertEqual(srs, 4326)
        told = subprocess.run(["ogrinfo", "-q", rows, "cxml_diff"], capture_output=True, text=True,
                              check=True).stdout
        points = [line.split("(")[1].rstrip(")").split() for line in told.splitlines() if "POINT (" in line]
        self.assertEqual(len(points), 6)
        for longitude, latitude in points:
            self.assertAlmostEqual(float(longitude), -20, delta=0.05)
            self.assertAlmostEqual(float(latitude), -30, delta=0.05)

    def test_are_none_where_nothing_changes(self):
        rows = self.folder / "rows.gpkg"
        self.assertEqual(cxml("diff", DOCUMENT, DOCUMENT, self.dataset, "--rows", rows).returncode, 0)
        self.assertEqual(query(rows, "SELECT count(*) FROM cxml_diff"), [(0,)])

    def test_of_one_document_have_what_the_dataset_holds_before(self):
        rows = self.folder / "rows.gpkg"
        self.assertEqual(cxml("diff", DOCUMENT, self.dataset, "BOYLAT", "--rows", rows).returncode, 1)
        self.assertEqual(set(query(rows, "SELECT change, from_value, from_line FROM cxml_diff")), {("gained", None, None)})


class PageParser(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.tags, self.text, self.open = collections.Counter(), [], []

    def handle_starttag(self, tag, attributes):
        self.tags[tag] += 1
        for name, value in attributes:
            if name.startswith("on") or (name in ("src", "href") and value):
                raise AssertionError(f"<{tag} {name}={value!r}>")
        if tag not in ("meta", "br"):
            self.open.append(tag)

    def handle_endtag(self, tag):
        if self.open.pop() != tag:
            raise AssertionError(f"</{tag}> ends something else")

    def handle_data(self, data):
        if not self.open or self.open[-1] != "style":
            self.text.append(data)


class Page(Answers):
    def page_of(self, *arguments):
        page = self.folder / "page.html"
        status = cxml("diff", *arguments, "--html", page, "--overwrite").returncode
        parser = PageParser()
        parser.feed(page.read_text(encoding="utf-8"))
        parser.close()
        self.assertEqual(parser.open, [])
        self.assertNotIn("script", parser.tags)
        self.assertNotIn("img", parser.tags)
        return status, parser

    def test_has_every_group(self):
        status, page = self.page_of(DOCUMENT, self.edited, self.dataset)
        self.assertEqual(status, 1)
        text = " ".join(" ".join(page.text).split())
        for part in ("BOYSPR60", "BOYLAT24", "line 55 BOYLAT/1/BOYSPR60", "line 48 BOYLAT/1/BOYLAT13", "fid 5 11 17",
                     "BOYSHP equal 4", "476 the same", "6 another symbol"):
            self.assertIn(part, text)
        self.assertEqual(page.tags["tr"], 8 + 1 + 2)

    def test_says_when_there_are_no_changes(self):
        status, page = self.page_of(DOCUMENT, DOCUMENT, self.dataset)
        self.assertEqual(status, 0)
        self.assertIn("No changes.", "".join(page.text))

    def test_hostile_names_and_values_stay_text(self):
        hostile = '</td></style><script>alert(1)</script><img src=x onerror="a()">&amp;{{layers}}\u0085\u202e'
        with sqlite3.connect(self.dataset) as rows:
            rows.execute("PRAGMA trusted_schema = ON")
            for trigger, in rows.execute("SELECT name FROM sqlite_master WHERE type = 'trigger'").fetchall():
                rows.execute(f'DROP TRIGGER "{trigger}"')
            rows.execute("UPDATE BOYLAT SET SYMBOL_C = ?", (hostile + "\x01",))
        document = self.folder / '<img src=x onerror="a()">.cxml'
        shutil.copy(self.edited, document)
        status, page = self.page_of(document, self.dataset, "BOYLAT")
        self.assertEqual(status, 1)
        text = "".join(page.text)
        self.assertIn("<script>alert(1)</script>", text)
        self.assertIn("{{layers}}", text)
        self.assertIn(document.name, text)
        self.assertNotIn("\x01", text)

    def test_is_the_same_twice(self):
        self.page_of(DOCUMENT, self.edited, self.dataset)
        first = (self.folder / "page.html").read_bytes()
        self.page_of(DOCUMENT, self.edited, self.dataset)
        self.assertEqual((self.folder / "page.html").read_bytes(), first)


class Head(Answers):
    def test_has_the_digest_of_the_document(self):
        wanted = hashlib.sha256(DOCUMENT.read_bytes()).hexdigest()
        for arguments in (("ledger", DOCUMENT, self.dataset), ("coverage", DOCUMENT, self.dataset),
                          ("explain", DOCUMENT, self.dataset, "BOYLAT", "--fid", 1), ("diff", DOCUMENT, self.dataset),
                          ("test", DOCUMENT, HARBOUR / "harbour.tests.md")):
            _, object_ = cxml_json(*arguments)
            self.assertEqual(object_["document"]["sha256"], wanted, arguments[0])

    def test_has_none_of_a_pipe(self):
        done = subprocess.run([os.environ["CXML"], "ledger", "-", self.dataset, "BOYISD", "--json"],
                              input='<conditionMap name="m"><featureClass name="BOYISD"/></conditionMap>',
                              capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn('"sha256": null', done.stdout)


class Around(Answers):
    def test_the_ledger_names_the_condition_that_lacked_least(self):
        document = self.folder / "near.cxml"
        document.write_text("""<conditionMap name="near"><featureClass name="BOYLAT">
<condition rulename="FAR"><rule type="A" field="BOYSHP" operator="equal" value="99"/>
  <rule type="A" field="CATLAM" operator="equal" value="99"/></condition>
<condition rulename="NEAR"><rule type="A" field="BOYSHP" operator="equal" value="98"/>
  <rule type="A" field="CATLAM" operator="notequal" value="0"/></condition>
<condition rulename="FARTHER"><rule type="A" field="BOYSHP" operator="equal" value="97"/>
  <rule type="A" field="CATLAM" operator="equal" value="97"/><rule type="A" field="CATLAM" operator="equal" value="96"/>
</condition></featureClass></conditionMap>""", encoding="utf-8")
        status, ledger = cxml_json("ledger", document, self.dataset, "BOYLAT")
        self.assertEqual(status, 0)
        self.assertEqual(ledger["layers"][0]["ends"]["none"], 23)
        self.assertEqual(ledger["layers"][0]["nearest"], {"none": {"line": 4, "address": "BOYLAT/-/NEAR"}})
        self.assertIn("none: nearest", cxml("ledger", document, self.dataset, "BOYLAT").stdout)

    def test_tests_add_to_coverage(self):
        tests = HARBOUR / "harbour.tests.md"
        _, by_tests = cxml_json("test", DOCUMENT, tests, "--coverage")
        _, by_rows = cxml_json("coverage", DOCUMENT, self.dataset)
        _, by_both = cxml_json("coverage", DOCUMENT, self.dataset, "--tests", tests)
        for one, two, both in zip(by_tests["coverage"]["conditions"], by_rows["conditions"], by_both["conditions"]):
            for member in ("reached", "held", "decided", "unmeasured"):
                self.assertEqual(both[member], one[member] + two[member], f"{one['address']} {member}")
        self.assertGreater(by_tests["coverage"]["rows"], 100)

    def test_a_floor_that_tests_miss_is_status_1(self):
        self.assertEqual(cxml("test", DOCUMENT, "--coverage", "--fail-under", "held=90").returncode, 0)
        missed = cxml("test", DOCUMENT, "--coverage", "--fail-under", "held=100")
        self.assertEqual(missed.returncode, 1)
        self.assertIn("harbour.cxml:", missed.stdout)
        self.assertNotEqual(cxml("test", DOCUMENT, "--fail-under", "held=1").returncode, 0, "there is nothing to hold to it")

    def test_without_python_no_code_of_a_document_runs(self):
        trace = self.folder / "ran"
        document = self.folder / "code.cxml"
        document.write_text(f"""<conditionMap name="code"><featureClass name="BOYLAT"><condition type="2" field="LABEL_C">
<rule type="A" field="BOYSHP" operator="notequal" value="NULL"/><expression><![CDATA[
open({str(trace)!r}, "w").close()
def Generate(BOYSHP):
    return "x"
]]></expression></condition></featureClass></conditionMap>""", encoding="utf-8")
        done = cxml("explain", document, self.dataset, "BOYLAT", "--fid", 1, "--no-python")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("its expression was not run", done.stdout)
        self.assertFalse(trace.exists())
        _, said = cxml_json("explain", document, self.dataset, "BOYLAT", "--fid", 1, "--no-python")
        self.assertEqual(said["rows"][0]["conditions"][0]["notRun"], True)
        self.assertEqual(cxml("explain", document, self.dataset, "BOYLAT", "--fid", 1).returncode, 0)
        self.assertTrue(trace.exists(), "the same document runs it otherwise")


if __name__ == "__main__":
    sys.exit(main())
