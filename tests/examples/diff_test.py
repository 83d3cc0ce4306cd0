"""cxml diff against two full runs that are compared with the database's own means, for generated edits of documents."""
import collections
import os
import pathlib
import random
import re
import shutil
import sqlite3
import subprocess
import sys

from support import ROOT, TestCase, cxml, cxml_json, main, query

HARBOUR = ROOT / "examples" / "harbour"
ENC = ROOT / "examples" / "enc"
PLACEMENTS = ("Xoffset_C", "Yoffset_C", "Rotate_C")
TARGETS = ("SYMBOL_C", *PLACEMENTS, "LABEL_C")
EDITS = int(os.environ.get("SYMBOLOGY_TEST_EDITS") or 100)  # of each document


def content(dataset):
    """The values that runs write, by layer and row."""
    rows = {}
    for (layer,) in query(dataset, "SELECT table_name FROM gpkg_contents"):
        names = [name for _, name, *_ in query(dataset, f'PRAGMA table_info("{layer}")')]
        fields = [name for name in names if name in TARGETS]
        if "SYMBOL_C" in fields:
            for key, *values in query(dataset, f'SELECT "{names[0]}", {", ".join(fields)} FROM "{layer}"'):
                rows[layer, key] = dict(zip(fields, values))
    return rows


def classify(was, now):
    """What became of a row, and between which symbols."""
    if was == now:
        return ("same",)
    before, after = was["SYMBOL_C"], now["SYMBOL_C"]
    if before != after:
        return ("lost" if not after else "gained" if not before else "symbol", before, after)
    return ("placement" if any(was[name] != now[name] for name in PLACEMENTS) else "fields",)


def elements(text, names):
    """Where the elements of these names stand in a well-formed document without their names in comments."""
    found, open_ = [], []
    for tag in re.finditer(r"<!--.*?-->|<(/?)(%s)\b[^>]*?(/?)>" % "|".join(names), text, re.S):
        if tag.group(2) is None:
            continue
        if tag.group(1):
            found.append((open_.pop(), tag.end()))
        elif tag.group(3):
            found.append(tag.span())
        else:
            open_.append(tag.start())
    return found


def edit(text, chance, classes):
    """The document with one change of the kinds that people make."""
    kind = chance.randrange(6)
    if kind == 0:  # another operand
        value = chance.choice(list(re.finditer(r'\bvalue="([^"]*)"', text)))
        other = chance.choice(["1", "2", "3", "4", "5", "7", "18", "4,3"])
        return text[:value.start(1)] + other + text[value.end(1):]
    if kind == 1:  # another operator
        operator = chance.choice(list(re.finditer(r'type="A"([^>]*?)operator="([^"]*)"', text)))
        other = chance.choice(["equal", "notequal", "lt", "gte", "like"])
        return text[:operator.start(2)] + other + text[operator.end(2):]
    if kind == 2:  # a rule or a condition less
        begin, end = chance.choice(elements(text, ["rule"] if chance.random() < 0.6 else ["condition"]))
        return text[:begin] + text[end:]
    if kind == 3:  # another name
        name = chance.choice(list(re.finditer(r'rulename="([^"]*)"', text)))
        return text[:name.start(1)] + chance.choice(["", "OTHER01", "BOYLAT13"]) + text[name.end(1):]
    if kind == 4:  # a condition moved to the front of what follows it
        conditions = [span for span in elements(text, ["condition"])]
        begin, end = chance.choice(conditions)
        after = re.match(r"\s*<condition\b", text[end:])
        following = [span for span in conditions if after and span[0] == end + after.end() - len("<condition")]
        if not following:
            return text.replace('xoffset="', 'xoffset="1', 1)
        stop = following[0][1]
        return text[:begin] + text[end:stop] + text[begin:end] + text[stop:]
    # a placement, of a class that has rows where there is one
    conditions = list(re.finditer(r"<condition\b(?![^>]*angle=)", text))
    names = [(name.start(), name.group(1)) for name in re.finditer(r'<featureClass name="([^"]*)"', text)]
    seen = [one for one in conditions if any(name in classes for begin, name in names if begin < one.start() and not any(
        begin < other < one.start() for other, _ in names))]
    condition = chance.choice(seen or conditions)
    return text[:condition.end()] + f' angle="{chance.choice([0, 45, 90])}"' + text[condition.end():]


class Differences(TestCase):
    def run_copy(self, document, dataset, name):
        copy = self.folder / name
        shutil.copy(dataset, copy)
        done = cxml("symbolize", document, copy)
        self.assertEqual(done.returncode, 0, done.stderr)
        return content(copy)

    def check(self, first, second, dataset, was, name):
        """The groups of the difference are those of the runs' results."""
        status, found = cxml_json("diff", first, second, dataset)
        now = self.run_copy(second, dataset, "b.gpkg")
        self.assertEqual(was.keys(), now.keys(), name)
        expected = collections.Counter(classify(was[row], now[row])[0] for row in was)
        errors = found["changes"]["error"]
        counted = {kind: count for kind, count in found["changes"].items() if kind != "error"}
        self.assertEqual(found["rows"], len(was), name)
        self.assertEqual((found["same"], sum(counted.values()) + errors),
                         (expected["same"], len(was) - expected["same"]), name)
        if errors == 0:
            self.assertEqual(counted, {kind: expected[kind] for kind in counted}, name)
        self.assertEqual(status, 0 if expected["same"] == len(was) else 1, name)
        symbols = collections.Counter()
        for group in found["groups"]:
            layer = group["layer"]
            for row in group["sample"]:
                kind, *between = classify(was[layer, row], now[layer, row])
                self.assertIn(group["change"], (kind, "error"), (name, group))
                if group["change"] == kind and between:
                    self.assertEqual(between, [group["from"]["symbol"], group["to"]["symbol"]], (name, group))
            self.assertEqual(len(group["sample"]), min(group["rows"], 20), name)
            if "symbol" in group["from"] and group["change"] != "error":
                symbols[layer, group["from"]["symbol"], group["to"]["symbol"]] += group["rows"]
        if errors == 0:
            self.assertEqual(symbols, collections.Counter(
                (row[0], *classify(was[row], now[row])[1:]) for row in was if len(classify(was[row], now[row])) > 1), name)
        return expected

    def check_edits(self, document, dataset, seed, kinds):
        """Over rows of which some have an older symbol, some none and the rest their own."""
        database = sqlite3.connect(dataset)
        for name in ("ST_IsEmpty", "ST_MinX", "ST_MinY", "ST_MaxX", "ST_MaxY"):  # of triggers for geometries
            database.create_function(name, 1, lambda shape: 0)
        for (layer,) in database.execute("SELECT table_name FROM gpkg_contents").fetchall():
            names = [name for _, name, *_ in database.execute(f'PRAGMA table_info("{layer}")')]
            if "SYMBOL_C" in names:
                database.execute(f'UPDATE "{layer}" SET SYMBOL_C = CASE "{names[0]}" % 3 WHEN 0 THEN NULL '
                                 f"WHEN 1 THEN 'OLD' ELSE SYMBOL_C END")
        database.commit()
        database.close()
        before = dataset.read_bytes()
        text = document.read_text(encoding="utf-8")
        was = self.run_copy(document, dataset, "a.gpkg")
        status, plan = cxml_json("diff", document, dataset)
        self.assertEqual((status, plan["against"]), (1, None))
        held = content(dataset)
        self.assertEqual(plan["same"], sum(held[row] == was[row] for row in was))
        edited = document.with_name("edited.cxml")
        seen = collections.Counter()
        for number in range(EDITS):
            chance = random.Random(f"{seed} {number}")
            edited.write_text(edit(text, chance, {layer for layer, _ in was}), encoding="utf-8")
            seen += self.check(document, edited, dataset, was, f"{seed} {number}")
        self.assertTrue(dataset.read_bytes() == before, "the dataset was written")
        if EDITS >= 100:
            for kind in kinds:
                self.assertGreater(seen[kind], 0, kind)

    def test_edits_of_the_harbour(self):
        dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", dataset], check=True, capture_output=True)
        for name in ("harbour.cxml", "light_character.py"):
            shutil.copy(HARBOUR / name, self.folder)
        document = self.folder / "harbour.cxml"
        self.assertEqual(cxml("symbolize", document, dataset, "--add-fields").returncode, 0)
        status, found = cxml_json("diff", document, document, dataset)
        self.assertEqual((status, found["result"], found["groups"]), (0, "same", []))
        self.check_edits(document, dataset, "harbour", ("same", "symbol", "placement"))

    def test_edits_of_the_document_for_cells(self):
        subprocess.run([sys.executable, "-B", HARBOUR / "generator", "--cell", self.folder], check=True)
        dataset = self.folder / "cell.gpkg"
        self.assertEqual(cxml("import", self.folder / "XX5MERRW.000", dataset).returncode, 0)
        document = self.folder / "enc.cxml"
        for file in ENC.iterdir():
            if file.suffix in (".cxml", ".py"):
                shutil.copy(file, self.folder)
        self.assertEqual(cxml("symbolize", document, dataset, "--add-fields").returncode, 0)
        self.check_edits(document, dataset, "enc", ("same", "symbol", "placement"))


if __name__ == "__main__":
    main()
