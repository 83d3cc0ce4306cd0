"""Two documents told apart without data: the rows that are made up find what differs, and real rows confirm it."""
import os
import re
import shutil
import subprocess
import sys

from support import ROOT, TestCase, cxml, cxml_json, main

HARBOUR = ROOT / "examples" / "harbour"
DOCUMENT = HARBOUR / "harbour.cxml"


class Static(TestCase):
    def document(self, name, text):
        path = self.folder / f"{name}.cxml"
        path.write_text(f'<conditionMap name="d">{text}</conditionMap>', encoding="utf-8")
        return path

    def of_class(self, name, conditions):
        return self.document(name, f'<featureClass name="BOYLAT">{conditions}</featureClass>')

    def told_apart(self, first, second):
        """(symbol before, symbol after, witness) of each group."""
        status, said = cxml_json("diff", "--static", first, second)
        self.assertEqual(status, 1 if said["groups"] else 0, said)
        self.assertEqual(said["result"], "different" if said["groups"] else "same")
        return [(group["from"]["symbol"], group["to"]["symbol"], group["witness"]) for group in said["groups"]]

    def test_bounds_and_operands(self):
        rule = '<condition rulename="D"/><condition rulename="R"><rule type="{}" field="F" operator="{}" value="{}"/></condition>'
        for first, second, witness in (
                (("A", "gte", "10"), ("A", "gt", "10"), "10"), (("A", "lt", "5.5"), ("A", "lte", "5.5"), "5.5"),
                (("A", "equal", "3"), ("A", "equal", "4"), None), (("A", "equal", "a"), ("A", "notequal", "a"), None),
                (("A", "like", "A*"), ("A", "like", "A*B"), None), (("L", "containsany", "3"), ("L", "containsany", "4"), None),
                (("A", "equal", "NULL"), ("A", "notequal", "NULL"), None),
                (("A", "gt", "2"), ("A", "gt", "3"), "3")):
            with self.subTest(f"{first} {second}"):
                found = self.told_apart(self.of_class("a", rule.format(*first)), self.of_class("b", rule.format(*second)))
                self.assertTrue(found)
                if witness:
                    self.assertIn(witness, [values.get("F") for *_, values in found])

    def test_what_means_the_same_is_not_told_apart(self):
        pairs = (
            ('<condition rulename="A"><rule type="A" field="F" operator="gte" value="5"/></condition>',
             '<!-- other words --><condition rulename="A"><rule type="A" operator="gte" field="F" value="5"/></condition>'),
            ('<condition rulename="X"/><condition rulename="A"/>', '<condition rulename="A"/>'))
        for first, second in pairs:
            with self.subTest(first):
                self.assertEqual(self.told_apart(self.of_class("a", first), self.of_class("b", second)), [])

    def test_order_subtypes_and_classes(self):
        rules = ('<condition rulename="P"><rule type="A" field="F" operator="gte" value="1"/></condition>',
                 '<condition rulename="Q"><rule type="A" field="G" operator="equal" value="2"/></condition>')
        found = self.told_apart(self.of_class("a", rules[0] + rules[1]), self.of_class("b", rules[1] + rules[0]))
        self.assertEqual([group[:2] for group in found], [("Q", "P")])
        self.assertEqual(found[0][2]["G"], "2")
        subtypes = '<subtype number="{}"><condition rulename="S"/></subtype><condition rulename="D"/>'
        found = self.told_apart(self.of_class("a", subtypes.format(1)), self.of_class("b", subtypes.format(2)))
        self.assertEqual({(first, second, values["SUBTYPE"]) for first, second, values in found},
                         {("S", "D", "1"), ("D", "S", "2")})
        other = self.document("c", '<featureClass name="LIGHTS"><condition rulename="L"/></featureClass>')
        found = self.told_apart(self.of_class("a", '<condition rulename="A"/>'), other)
        self.assertEqual(sorted(group[:2] for group in found if group[0]), [("A", None)])

    def test_what_cannot_be_decided_is_said(self):
        query = ('<condition rulename="Q"><rule type="Q" operator="exists" table="LIGHTS"><query>OBJNAM = \'x\'</query></rule>'
                 '</condition>')
        first = self.of_class("a", query)
        done = cxml("diff", "--static", first, first)
        self.assertEqual(done.returncode, 0)
        self.assertIn("BOYLAT: not decided for every row: no table answers its queries", done.stdout)
        many = "".join(f'<condition rulename="R{n}"><rule type="A" field="F{n}" operator="gte" value="{n}"/></condition>'
                       for n in range(12))
        _, said = cxml_json("diff", "--static", self.of_class("b", many), self.of_class("c", many))
        self.assertEqual(said["undecided"],
                         ["BOYLAT: not decided for every row: 20000 rows were tried, not every combination of the values"])
        changed = many.replace('field="F7" operator="gte"', 'field="F7" operator="gt"')
        self.assertTrue(self.told_apart(self.of_class("b", many), self.of_class("c", changed)))

    def test_is_the_same_twice(self):
        edited = self.edited(53, 'value="5"', 'value="4"')
        first = cxml("diff", "--static", DOCUMENT, edited).stdout
        self.assertEqual(cxml("diff", "--static", DOCUMENT, edited).stdout, first)
        self.assertIn("over rows that are made up", first)

    def test_usage(self):
        self.assertEqual(cxml("diff", "--static", DOCUMENT).returncode, 2)
        self.assertEqual(cxml("diff", "--static", DOCUMENT, DOCUMENT, "chart.gpkg").returncode, 2)
        self.assertEqual(cxml("diff", "--static", DOCUMENT, DOCUMENT, "--where", "1 = 1").returncode, 2)

    def edited(self, index, old, new):
        lines = DOCUMENT.read_text(encoding="utf-8").splitlines(keepends=True)
        self.assertIn(old, lines[index])
        lines[index] = lines[index].replace(old, new)
        shutil.copy(HARBOUR / "light_character.py", self.folder)
        path = self.folder / "edited.cxml"
        path.write_text("".join(lines), encoding="utf-8")
        return path

    def confirm(self, edited, dataset, group):
        """The engine decides a real row with the witness's values as the comparison says."""
        layer = {"ROCKS": "UWTROC"}.get(group["layer"], group["layer"])
        fields = {match for match in re.findall(r'field="([A-Z0-9]+)"', DOCUMENT.read_text(encoding="utf-8"))}
        columns = {line.split(":")[0].strip() for line in subprocess.run(
            ["ogrinfo", "-so", dataset, layer], capture_output=True, text=True, check=True).stdout.splitlines()
            if re.match(r"\w+: (Integer|Real|String)", line)}
        witness = {name: value.strip('"') for name, value in group["witness"].items()}
        if not set(witness) <= columns:
            return False  # a subtype, or a field that only the document knows
        given = {name: "NULL" for name in fields & columns} | witness
        options = [part for name, value in given.items() for part in ("--set", f"{name}={value}")]
        for document, side in ((DOCUMENT, "from"), (edited, "to")):
            status, said = cxml_json("explain", document, dataset, layer, "--fid", 1, *options)
            self.assertEqual(status, 0, said)
            self.assertEqual(said["rows"][0]["symbol"]["line"], group[side].get("line", 0), (layer, witness))
        return True

    def test_edits_that_real_rows_tell_apart_are_found(self):
        dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", dataset], check=True, capture_output=True)
        self.assertEqual(cxml("symbolize", DOCUMENT, dataset, "--add-fields").returncode, 0)
        lines = DOCUMENT.read_text(encoding="utf-8").splitlines()
        places = [index for index, line in enumerate(lines) if re.search(r'type="A" .*operator="equal" value="\d+"', line)]
        found = confirmed = 0
        for index in places[::30 if os.environ.get("SYMBOLOGY_TEST_EDITS") == "5" else 5]:
            old = re.search(r'value="\d+"', lines[index]).group(0)
            edited = self.edited(index, old, 'value="77"')
            with self.subTest(lines[index].strip()):
                _, by_data = cxml_json("diff", DOCUMENT, edited, dataset)
                _, by_rows = cxml_json("diff", "--static", DOCUMENT, edited)
                told = {group["layer"] for group in by_rows["groups"]}
                for group in by_data["groups"]:
                    self.assertIn({"UWTROC": "ROCKS"}.get(group["layer"], group["layer"]), told)
                    found += 1
                for group in by_rows["groups"][:3]:
                    if group["change"] == "symbol":
                        confirmed += self.confirm(edited, dataset, group)
        self.assertGreater(found, 0)
        self.assertGreater(confirmed, 0)


if __name__ == "__main__":
    sys.exit(main())
