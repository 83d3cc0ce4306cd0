"""Explanations and ledgers against runs: of the harbour, of its cell, and of real cells where there are some."""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

from support import ROOT, TestCase, cxml, cxml_json, main, query

HARBOUR = ROOT / "examples" / "harbour"
ENC = ROOT / "examples" / "enc" / "enc.cxml"
CELLS = pathlib.Path(os.environ.get("SYMBOLOGY_SAMPLE_CELLS") or ROOT.parent / "shared" / "sample-cells")
FIELDS = ("SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C", "LABEL_C")


def columns(dataset, layer):
    return [name for _, name, *_ in query(dataset, f'PRAGMA table_info("{layer}")')]


def content(dataset, layer):
    """The rows of a layer by id: what a run may write, by field."""
    key = columns(dataset, layer)[0]
    fields = [name for name in columns(dataset, layer) if name in FIELDS]
    rows = query(dataset, f'SELECT "{key}", {", ".join(fields)} FROM "{layer}"')
    return {row[0]: dict(zip(fields, row[1:])) for row in rows}


def stored(field, value):
    """What is in the field afterwards: a number also where a function gives the text of one."""
    is_number = value["type"] == "real" or field in FIELDS[1:4]
    return None if value["type"] == "null" else float(value["value"]) if is_number else value["value"]


class Explanations(TestCase):
    def check_explanations(self, document, dataset):
        """Row by row: the symbol that the explanation names and the values that it would write are those of the run."""
        ran = self.folder / "ran.gpkg"
        shutil.copy(dataset, ran)
        status, said = cxml_json("symbolize", document, ran)
        self.assertEqual(status, 0)
        status, ledger = cxml_json("ledger", document, dataset)
        self.assertEqual((status, ledger["rows"], ledger["accounted"]),
                         (0, sum(layer["rows"] for layer in said["layers"]), ledger["rows"]))
        ledgers = {layer["layer"]: layer for layer in ledger["layers"]}
        count = 0
        for layer in (entry["layer"] for entry in said["layers"]):
            before, after = content(dataset, layer), content(ran, layer)
            status, explained = cxml_json("explain", document, dataset, layer, "--where", "1 = 1", "--limit", 1000000)
            self.assertEqual((status, len(explained["rows"])), (0, len(before)), layer)
            decided = {}
            for row in explained["rows"]:
                fid, symbol = row["row"]["fid"], row["symbol"]
                expected = dict(before[fid])
                for put in row["fields"]:
                    expected[put["field"]] = stored(put["field"], put["value"])
                self.assertEqual(expected, after[fid], f"{layer} {fid}")
                if symbol["value"] is not None:
                    self.assertEqual(symbol["value"], after[fid]["SYMBOL_C"], f"{layer} {fid}")
                    decided.setdefault(symbol["line"], []).append(fid)
                count += 1
            self.assertEqual({entry["line"]: (entry["rows"], entry["sample"]) for entry in ledgers[layer]["decided"]},
                             {line: (len(fids), fids[:20]) for line, fids in decided.items()}, layer)
        return count

    def check_cell(self, cell, least_rows):
        dataset = self.folder / "cell.gpkg"
        self.assertEqual(cxml("import", cell, dataset).returncode, 0)
        self.assertEqual(cxml("symbolize", ENC, dataset, "--add-fields", "--where", "1 = 0").returncode, 0)
        self.assertGreaterEqual(self.check_explanations(ENC, dataset), least_rows)

    def test_harbour(self):
        dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", dataset], check=True, capture_output=True)
        document = HARBOUR / "harbour.cxml"
        self.assertEqual(cxml("symbolize", document, dataset, "--add-fields", "--where", "1 = 0").returncode, 0)
        self.assertGreaterEqual(self.check_explanations(document, dataset), 480)

    def test_own_cell(self):
        subprocess.run([sys.executable, "-B", HARBOUR / "generator", "--cell", self.folder], check=True)
        self.check_cell(self.folder / "XX5MERRW.000", 400)

    def test_real_cells(self):
        cells = sorted(CELLS.glob("*.000"))
        if not cells:
            self.skipTest(f"no cells at {CELLS}; set SYMBOLOGY_SAMPLE_CELLS to a folder that has some")
        for cell in cells:
            with self.subTest(cell.name):
                self.check_cell(cell, 100)
                (self.folder / "cell.gpkg").unlink()


class Page(TestCase):
    def test_the_blocks_of_the_page_are_what_the_commands_print(self):
        subprocess.run([HARBOUR / "build", self.folder / "harbour.gpkg"], check=True, capture_output=True)
        for name in ("harbour.cxml", "harbour.tests.md", "light_character.py"):
            shutil.copy(HARBOUR / name, self.folder)
        self.assertEqual(cxml("symbolize", self.folder / "harbour.cxml", self.folder / "harbour.gpkg", "--add-fields").returncode, 0)
        lines = (self.folder / "harbour.cxml").read_text(encoding="utf-8").splitlines(keepends=True)
        self.assertIn('value="5"', lines[53])
        lines[53] = lines[53].replace('value="5"', 'value="4"')
        (self.folder / "edited.cxml").write_text("".join(lines), encoding="utf-8")
        page = (ROOT / "docs" / "workbench.md").read_text(encoding="utf-8")
        blocks = re.findall(r"<!-- run -->\n```\n\$ cxml ([^\n]*)\n(.*?)```\n", page, re.DOTALL)
        self.assertGreaterEqual(len(blocks), 10)
        for command, expected in blocks:
            done = subprocess.run([os.environ["CXML"], *shlex.split(command)], cwd=self.folder, capture_output=True, text=True,
                                  encoding="utf-8", check=False)
            self.assertEqual(done.stdout, expected, command)


if __name__ == "__main__":
    main()
