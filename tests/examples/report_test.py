"""cxml report: the page and its JSON tell what the other commands tell, and nothing in them becomes markup."""
import html.parser
import json
import os
import shutil
import signal
import subprocess

from report_support import HOSTILE, hostile_points, many_points
from support import ROOT, TestCase, cxml, cxml_json, main

HARBOUR = ROOT / "examples" / "harbour"
DOCUMENT = HARBOUR / "harbour.cxml"
TESTS = HARBOUR / "harbour.tests.md"


class Reader(html.parser.HTMLParser):
    """Elements with their attributes."""

    def __init__(self, text):
        super().__init__()
        self.elements = []
        self.feed(text)
        self.close()

    def handle_starttag(self, tag, attributes):
        self.elements.append((tag, dict(attributes)))

    def all(self, tag):
        return [attributes for name, attributes in self.elements if name == tag]


class Report(TestCase):
    def report(self, document, dataset, *options, status=0, name="page.html"):
        """The page's text and the object of --json."""
        file = self.folder / name
        got, told = cxml_json("report", document, dataset, "-o", file, *options)
        self.assertEqual(got, status)
        return file.read_text(encoding="utf-8"), told


class Harbour(Report):
    def setUp(self):
        super().setUp()
        self.dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", self.dataset], check=True)
        self.assertEqual(cxml("symbolize", DOCUMENT, self.dataset, "--add-fields").returncode, 0)

    def test_its_ledger_and_findings_are_those_of_the_commands(self):
        _, told = self.report(DOCUMENT, self.dataset)
        _, ledger = cxml_json("ledger", DOCUMENT, self.dataset)
        self.assertEqual(told["ledger"], {name: ledger[name] for name in ("layers", "rows", "accounted")})
        _, check = cxml_json("check", DOCUMENT, self.dataset)
        self.assertEqual(told["findings"], check["findings"])
        self.assertEqual(told["document"], ledger["document"])

    def test_an_interrupted_one_leaves_what_was_there(self):
        document = self.folder / "slow.cxml"
        document.write_text("<conditionMap name='m'><featureClass name='BOYLAT'><condition type='2' field='LABEL_C'>"
                            "<expression>def Generate():\n import time\n print('asked', flush=True)\n time.sleep(1)\n"
                            " return ''</expression></condition></featureClass>"
                            "</conditionMap>", encoding="utf-8")
        page = self.folder / "page.html"
        page.write_text("yesterday's", encoding="utf-8")
        with subprocess.Popen([os.environ["CXML"], "report", document, self.dataset, "-o", page, "--overwrite", "-q"],
                              stderr=subprocess.PIPE, text=True) as process:
            self.assertEqual(process.stderr.readline(), "asked\n")
            process.send_signal(signal.SIGINT)
            said = process.stderr.read()
        self.assertEqual((process.returncode, said.splitlines()[-1]), (130, "cxml: interrupted"))
        self.assertEqual(page.read_text(encoding="utf-8"), "yesterday's")
        self.assertEqual([file.name for file in self.folder.iterdir() if "page" in file.name], ["page.html"])

    def test_its_conditions_have_the_counts_of_coverage(self):
        _, told = self.report(DOCUMENT, self.dataset)
        _, coverage = cxml_json("coverage", DOCUMENT, self.dataset)
        counted = {one["address"]: one for one in coverage["conditions"]}
        compared = 0
        for one in (condition for each in told["classes"] for condition in each["conditions"]):
            known = counted.pop(one["address"])
            for name in ("line", "reached", "held", "decided", "unmeasured", "fallback", "replaced_by"):
                self.assertEqual(one[name], known[name], one["address"])
            self.assertEqual([[rule[name] for name in ("line", "true", "false", "alone", "unmeasured")] for rule in one["rules"]],
                             [[rule[name] for name in ("line", "true", "false", "alone", "unmeasured")] for rule in known["rules"]])
            compared += 1
        self.assertGreater(compared, 100)
        self.assertEqual([one["address"] for one in counted.values() if one["reached"]], [])

    def test_its_explanations_are_those_of_explain(self):
        _, told = self.report(DOCUMENT, self.dataset, "BOYLAT", "SBDARE")
        self.assertGreater(len(told["explained"]), 15)
        for row in told["explained"]:
            done = cxml("explain", DOCUMENT, self.dataset, row["layer"], "--fid", row["fid"])
            self.assertEqual(row["text"], done.stdout)
        layers = {row["layer"] for row in told["explained"]}
        self.assertEqual(layers, {"BOYLAT", "SBDARE"})

    def test_its_symbols_are_where_they_are_decided(self):
        _, told = self.report(DOCUMENT, self.dataset)
        rows = {}
        for layer in told["ledger"]["layers"]:
            for one in layer["decided"]:
                rows[one["symbol"]] = rows.get(one["symbol"], 0) + one["rows"]
        self.assertEqual({one["symbol"]: one["rows"] for one in told["symbols"] if one["rows"]}, rows)
        for one in told["symbols"]:
            self.assertEqual(one["rows"], sum(condition["rows"] for condition in one["conditions"]))

    def test_its_map_shows_what_a_run_would_write(self):
        fresh = self.folder / "fresh.gpkg"
        subprocess.run([HARBOUR / "build", fresh], check=True)
        self.assertEqual(cxml("symbolize", DOCUMENT, fresh, "--add-fields", "--where", "1 = 0").returncode, 0)
        before, _ = self.report(DOCUMENT, self.dataset, name="symbolized.html")
        after, told = self.report(DOCUMENT, fresh, name="fresh.html")
        self.assertGreater(told["map"]["features"], 400)

        def drawn(page):
            return page[page.index('<g id="map"'):page.index('<g id="frame"')]
        self.assertEqual(drawn(after), drawn(before))

    def test_same_input_same_bytes(self):
        first, _ = self.report(DOCUMENT, self.dataset, name="first.html")
        second, _ = self.report(DOCUMENT, self.dataset, name="second.html")
        self.assertEqual(first, second)
        stamped, _ = self.report(DOCUMENT, self.dataset, "--stamp", "1 May, A & B", name="stamped.html")
        self.assertIn("1 May, A &amp; B", stamped)
        self.assertEqual(stamped.replace(' <span class="stamp">1 May, A &amp; B</span>', ""), first)

    def test_tests_and_another_document(self):
        edited = self.folder / "edited.cxml"
        edited.write_text(DOCUMENT.read_text(encoding="utf-8").replace(
            'field="BOYSHP" operator="equal" value="5"', 'field="BOYSHP" operator="equal" value="4"', 1), encoding="utf-8")
        shutil.copy(HARBOUR / "light_character.py", self.folder)
        page, told = self.report(edited, self.dataset, "BOYLAT", "--against", DOCUMENT, "--tests", TESTS)
        _, diff = cxml_json("diff", DOCUMENT, edited, self.dataset, "BOYLAT")
        groups = told["difference"]["groups"]
        self.assertEqual([{name: value for name, value in group.items() if name != "words"} for group in groups], diff["groups"])
        self.assertEqual(told["difference"]["changes"], diff["changes"])
        self.assertGreater(told["tests"]["failed"], 0)
        self.assertIn("BOYLAT24, expected BOYSPR60", page)
        self.assertIn('aria-label="BOYSPR60"', page[page.index('id="difference"'):])

    def test_what_cannot_be_written_is_said_first(self):
        there = self.folder / "there.html"
        there.write_text("mine", encoding="utf-8")
        for file, why in ((there, "exists"), (self.folder / "none" / "page.html", "cannot be written"),
                          (self.dataset, "reads it"), (DOCUMENT, "reads it")):
            done = cxml("report", DOCUMENT, self.dataset, "-o", file, "--overwrite" if file != there else "--no-map")
            self.assertEqual(done.returncode, 2, file)
            self.assertIn(why, done.stderr)
        self.assertEqual(there.read_text(encoding="utf-8"), "mine")

    def test_trouble_writes_no_page(self):
        broken = self.folder / "broken.cxml"
        broken.write_text("<conditionMap name='x'>", encoding="utf-8")
        file = self.folder / "page.html"
        for arguments in ((broken, self.dataset), (DOCUMENT, self.folder / "none.gpkg"),
                          (DOCUMENT, self.dataset, "--against", broken), (DOCUMENT, self.dataset, "--tests", self.folder / "none.md"),
                          (DOCUMENT, self.dataset, "--symbols", self.folder / "none")):
            done = cxml("report", *arguments, "-o", file)
            self.assertEqual(done.returncode, 2, arguments)
            self.assertTrue(done.stderr.startswith("cxml: ") or str(arguments[0]) in done.stderr, done.stderr)
            self.assertFalse(file.exists(), arguments)

    def test_proved_conditions_are_red(self):
        dead = self.folder / "dead.cxml"
        text = DOCUMENT.read_text(encoding="utf-8")
        at = text.index('<condition rulename="BOYLAT24">')
        dead.write_text(text[:at] + """<condition rulename="BOYLAT99">
        <rule type="A" field="CATLAM" operator="equal" value="1"/>
        <rule type="A" field="CATLAM" operator="equal" value="2"/>
      </condition>
      """ + text[at:], encoding="utf-8")
        shutil.copy(HARBOUR / "light_character.py", self.folder)
        page, told = self.report(dead, self.dataset, "BOYLAT")
        found = [one for each in told["classes"] for one in each["conditions"] if one["name"] == "BOYLAT99"]
        self.assertEqual([("dead" in one, one["decided"]) for one in found], [(True, 0)])
        self.assertRegex(page, r'class="dead"><td class="number">\d+</td>\n<td></td>\n<td class="depth0"><s class="code name">BOYLAT99')


class Hostile(Report):
    def test_nothing_becomes_markup(self):
        document, dataset = hostile_points(self.folder)
        page, told = self.report(document, dataset)
        self.assertEqual(told["ledger"]["rows"], len(HOSTILE))
        read = Reader(page)
        self.assertEqual([attributes.get("type") for attributes in read.all("script")], ["application/json", None])
        self.assertEqual([tag for tag, _ in read.elements if tag in ("b", "i", "img", "iframe", "object", "link", "form")], [])
        self.assertEqual([attributes for _, attributes in read.elements if any(name.startswith("on") for name in attributes)], [])
        data = page[page.index('id="data">') + len('id="data">'):]
        data = data[:data.index("</script>")]
        self.assertNotIn("<", data)
        rows = {row["fid"]: dict(row["values"]) for row in json.loads(data)["rows"]}
        self.assertIn(HOSTILE["markup"], rows[1]["V"])
        self.assertFalse(set(page) & {chr(code) for code in (*range(9), *range(11, 32), *range(0x7F, 0xA0))})
        self.assertLess(len(page), 500_000)

    def test_its_policy_names_its_script_alone(self):
        document, dataset = hostile_points(self.folder)
        page, _ = self.report(document, dataset)
        policy, = [attributes["content"] for attributes in Reader(page).all("meta") if "http-equiv" in attributes]
        self.assertRegex(policy, r"^default-src 'none'; style-src 'unsafe-inline'; script-src 'sha256-[\w+/]{43}='; ")
        self.assertNotRegex(page.replace("http://www.w3.org/2000/svg", ""), r"(src|href)=\"(?!#)|url\((?!#)|@import")


class Rows(Report):
    def memory(self, rows):
        """KiB at most."""
        folder = self.folder / str(rows)
        folder.mkdir()
        document, dataset = many_points(folder, rows)
        # A sanitized tool gives memory back at once here, instead of watching what was freed.
        sanitizer = os.environ.get("ASAN_OPTIONS", "") + ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0"
        process = subprocess.Popen([os.environ["CXML"], "report", document, dataset, "-o", folder / "page.html", "-q"],
                                   stdout=subprocess.DEVNULL, env={**os.environ, "ASAN_OPTIONS": sanitizer})
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = status  # it was waited for
        self.assertEqual(status, 0)
        page = (folder / "page.html").read_text(encoding="utf-8")
        self.assertIn("Only the first 20000 features are drawn", page)
        return used.ru_maxrss

    def test_memory_does_not_grow_with_rows(self):
        sanitized = os.environ.get("SYMBOLOGY_TEST_EDITS") == "5"
        self.assertLess(self.memory(200_000), self.memory(25_000) + (30_000 if sanitized else 8_000))


if __name__ == "__main__":
    main()
