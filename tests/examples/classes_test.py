"""The document for cells answers for every class of S-57: with a symbol for each primitive that can be drawn, or with none on purpose."""
import contextlib
import csv
import itertools
import json
import os
import pathlib
import re
import sqlite3
import xml.etree.ElementTree as ElementTree

from cells_test import expected_queries
from support import ROOT, TestCase, cxml_json, main, query

DOCUMENT = ROOT / "examples" / "enc" / "enc.cxml"
SYMBOLS = ROOT / "share" / "symbology" / "symbols"
TABLES = [pathlib.Path(folder) / "s57objectclasses.csv" for folder in (os.environ.get("GDAL_DATA"), "/usr/share/gdal", "/usr/local/share/gdal")
          if folder]
# Codes beyond these are those of inland charts and of military layers.
LAST_CODE = 999
PRIMITIVES = {"Point": 1, "Line": 2, "Area": 3}
OWN_FIELDS = ("PRIM integer", "DSNM text", "RCID integer", "LNAM text", "LNAM_REFS text", "DEPTH real", "SYMBOL_C text", "Xoffset_C real",
              "Yoffset_C real", "Rotate_C real", "LABEL_C text")
# Landmarks and tanks that cover a place of their own have their picture in it and a line around it, as whatever has a picture only.
WITH_PICTURE = {("LNDMRK", 2), ("LNDMRK", 3), ("SILTNK", 3)}


def table_of_classes():
    """Acronym to the names and types of its attributes and its primitives; None where GDAL's table is not to be found."""
    for table in filter(pathlib.Path.exists, TABLES):
        # UTF-8 but for a line or two of Latin-1; acronyms are ASCII.
        with open(table, encoding="utf-8", errors="replace", newline="") as file:
            rows = [row for row in csv.DictReader(file) if 0 < int(row["Code"]) <= LAST_CODE]
        with open(table.with_name("s57attributes.csv"), encoding="utf-8", errors="replace", newline="") as file:
            types = {row["Acronym"]: {"E": "integer", "I": "integer", "F": "real"}.get(row["Attributetype"], "text")
                     for row in csv.DictReader(file)}
        return {row["Acronym"]: ({name: types.get(name, "text") for kind in "ABC" for name in row[f"Attribute_{kind}"].split(";") if name},
                                 [PRIMITIVES[kind] for kind in row["Primitives"].split(";") if kind]) for row in rows}
    return None


def values_in_rules(of_class):
    """What the rules of a class compare its attributes with; of any value one that is one."""
    found = {}
    for rule in of_class.iter("rule"):
        if rule.get("type") != "Q" and rule.get("field") not in ("PRIM", "DEPTH", "LNAM", "DSNM"):
            for value in ([rule.get("value")] if rule.get("value") else [value.text for value in rule.iterfind("value")]):
                found.setdefault(rule.get("field"), set()).add("90" if value == "NULL" else value)
    return {field: sorted(value for value in values if value) for field, values in found.items()}


class Classes(TestCase):
    def setUp(self):
        super().setUp()
        self.classes = table_of_classes()
        if self.classes is None:
            self.skipTest(f"no table of the classes of S-57 at {', '.join(map(str, TABLES))}; set GDAL_DATA to GDAL's folder of data")
        self.rules = {one.get("name"): one for one in ElementTree.parse(DOCUMENT).getroot().iterfind("featureClass")}

    def test_every_class_has_its_answer(self):
        comment = re.search(r"<!-- Without a symbol, on purpose:\n(.*?)-->", DOCUMENT.read_text(encoding="utf-8"), re.DOTALL)[1]
        without = re.findall(r"[$A-Z][A-Z_]{4,}", comment)
        self.assertGreater(len(self.classes), 150)
        self.assertEqual(sorted(self.classes), sorted([*self.rules, *without]))

    def fill(self, dataset):
        """For each primitive a row with nothing, and one with each value, and each pair of values, that a rule of its class asks for."""
        with contextlib.closing(sqlite3.connect(dataset)) as rows:
            for name, rules in self.rules.items():
                attributes, primitives = self.classes[name]
                own = {field.split()[0] for field in OWN_FIELDS}
                fields = [*OWN_FIELDS, *(f"{field} {kind}" for field, kind in attributes.items() if field not in own)]
                rows.execute(f"CREATE TABLE {name} (fid INTEGER PRIMARY KEY, {', '.join(fields)})")
                single = [((field, value),) for field, values in values_in_rules(rules).items() for value in values]
                pairs = [(*one, *other) for one, other in itertools.combinations(single, 2) if one[0][0] != other[0][0]]
                for primitive, said in itertools.product(primitives, [(), *single, *pairs]):
                    columns, values = zip(("PRIM", primitive), ("DSNM", "A.000"), *said)
                    rows.execute(f"INSERT INTO {name} ({', '.join(columns)}) VALUES ({', '.join('?' * len(values))})", values)
            rows.commit()

    def test_every_primitive_has_the_symbol_that_the_query_works_out(self):
        dataset = self.folder / "classes.sqlite"
        self.fill(dataset)
        status, said = cxml_json("symbolize", DOCUMENT, dataset)
        self.assertEqual((status, [layer["messages"] for layer in said["layers"] if layer["messages"]]), (0, []))

        styles = json.loads((SYMBOLS / "styles.json").read_text(encoding="utf-8"))
        outlined = {name for name, area in styles["areas"].items() if "outline" in area}
        pictures = {path.stem for path in SYMBOLS.glob("*.svg")} | set(styles["figures"])
        drawn = {1: pictures, 2: set(styles["lines"]) | outlined, 3: set(styles["areas"]) | set(styles["lines"])}
        expected = expected_queries()
        for name in self.rules:
            with self.subTest(name):
                found = query(dataset, f"SELECT PRIM, SYMBOL_C FROM {name}")
                self.assertEqual({primitive for primitive, _ in found}, set(self.classes[name][1]))
                self.assertEqual([(primitive, symbol) for primitive, symbol in found
                                  if symbol not in (pictures if (name, primitive) in WITH_PICTURE else drawn[primitive])], [])
                self.assertEqual(query(dataset, f"SELECT fid, SYMBOL_C, Xoffset_C, Yoffset_C, Rotate_C FROM {name} ORDER BY fid"),
                                 sorted(query(dataset, expected[name])))


if __name__ == "__main__":
    main()
