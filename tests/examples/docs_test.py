"""Loads every example of the docs, runs the tables that go with them, and holds the page of errors against the sources."""
import re
import sqlite3
import subprocess

from doc_examples import examples, value
from support import ROOT, TestCase, cxml_json, main, query, texts

PAGES = sorted(ROOT.glob("docs/*.md")) + [ROOT / "README.md"]
PLACEMENT = ("Xoffset_C", "Yoffset_C", "Rotate_C")


def result_kind(name):
    return "real" if name in PLACEMENT else "text"


# Examples that show a trap, by a text in them, and the kind of finding that warns of it.
TRAPS = {"Small letters replace": "class-replaced", 'rulename="DISCARDED"': "condition-discarded",
         'operator="notlike" value="*"': "never-holds"}


class Examples(TestCase):
    def place(self, example):
        """A folder of the example's own with its document."""
        folder = self.folder / example.where.replace(":", "-")
        folder.mkdir()
        (folder / "example.cxml").write_text(example.document, encoding="utf-8")
        return folder

    def test_every_example_loads_or_says_what_it_should(self):
        count = 0
        for page in PAGES:
            for example in examples(page):
                count += 1
                with self.subTest(example.where):
                    status, said = cxml_json("check", self.place(example) / "example.cxml")
                    document = said["document"]
                    if example.broken:
                        self.assertEqual(status, 1)
                        self.assertIn(example.broken, "\n".join(texts(document["messages"]) + [document["error"] or ""]))
                    else:
                        kinds = [kind for mark, kind in TRAPS.items() if mark in example.document]
                        self.assertEqual((document["loaded"], document["messages"]), (True, []), said)
                        self.assertEqual([finding["kind"] for finding in said["findings"]], kinds)
                        errors = [finding for finding in said["findings"] if finding["severity"] == "error"]
                        self.assertEqual(status, 1 if errors else 0)
        self.assertGreater(count, 25, "examples are gone, or no longer recognised")

    def make_class(self, example, folder):
        """A GeoPackage with the example's class and its rows, and the fields that a run writes; and the table beside it."""
        fields = {"SYMBOL_C": "text", **{name: "real" for name in PLACEMENT}}
        dataset = folder / "rows.gpkg"
        self.add_table(dataset, fields, example.class_name, example.columns, example.rows)
        if example.beside.name:
            self.add_table(dataset, {}, example.beside.name, example.beside.columns, example.beside.rows)
        return dataset

    @staticmethod
    def add_table(dataset, fields, name, columns, rows):
        given = [(i, column) for i, column in enumerate(columns) if column.given]
        fields = {**fields, **{column.name: column.kind for _, column in given}}
        types = {"integer": "Integer", "real": "Real", "text": "String"}
        source = dataset.with_name("rows.csv")
        source.write_text(",".join(fields) + "\n" + "," * max(len(fields) - 1, 1) + "\n", encoding="utf-8")
        source.with_suffix(".csvt").write_text(",".join(types[kind] for kind in fields.values()) + "\n", encoding="utf-8")
        subprocess.run(["ogr2ogr", "-f", "GPKG", *(["-update"] if dataset.exists() else []), dataset, source, "-nln", name], check=True)
        connection = sqlite3.connect(dataset)
        with connection:
            connection.execute(f"DELETE FROM {name}")
            names = ", ".join(column.name for _, column in given)
            for cells in rows:
                connection.execute(f"INSERT INTO {name} ({names}) VALUES ({', '.join('?' * len(given))})",
                                   [value(cells[i], column.kind) for i, column in given])
        connection.close()

    def test_every_table_comes_out_as_printed(self):
        count = 0
        for page in PAGES:
            for example in examples(page):
                if not example.rows:
                    continue
                count += 1
                with self.subTest(example.where):
                    folder = self.place(example)
                    dataset = self.make_class(example, folder)
                    options = ["--subtype-field", example.subtype] if example.subtype else []
                    status, said = cxml_json("symbolize", folder / "example.cxml", dataset, *options)
                    self.assertEqual(status, 0, said)
                    self.assertEqual([layer["messages"] for layer in said["layers"]], [[]])
                    results = [(i, column) for i, column in enumerate(example.columns) if not column.given]
                    self.assertTrue(results, "a table without a result")
                    wanted = [tuple(value(cells[i], result_kind(column.name)) for i, column in results)
                              for cells in example.rows]
                    self.assertEqual(query(dataset, f"SELECT {', '.join(column.name for _, column in results)} "
                                                    f"FROM {example.class_name} ORDER BY fid"), wanted)
        self.assertGreater(count, 20, "tables are gone, or no longer recognised")


class ErrorsPage(TestCase):
    """docs/errors.md knows every text of the library, and the library every text of the page."""

    LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')

    def setUp(self):
        super().setUp()
        self.page = (ROOT / "docs" / "errors.md").read_text(encoding="utf-8")
        self.literals = set()
        for folder in ("api", "cxml", "python", "rules", "symbolize"):
            for source in sorted((ROOT / "src" / folder).glob("*.cpp")):
                for line in source.read_text(encoding="utf-8").splitlines():
                    if not line.lstrip().startswith(("#include", "//")):
                        self.literals.update(self.LITERAL.findall(line))

    def pieces(self, text, separators):
        return [piece.strip() for piece in re.split(separators, text) if len(piece.strip()) >= 8]

    def test_every_text_of_the_sources_is_on_the_page(self):
        sentences = [piece for literal in self.literals if re.search(r"\w{2,}[^\w/]* \w{2,}", literal)
                     for piece in self.pieces(literal.replace("\\n", ""), r"%s|%u|%d")]
        self.assertGreater(len(sentences), 15)
        for piece in sentences:
            with self.subTest(piece):
                self.assertTrue(piece in self.page, "not on the page")

    def test_every_text_of_the_page_is_in_the_sources(self):
        printed = re.findall(r"^\| `([A-Z][^`]* [^`]*)` \|", self.page, re.MULTILINE)
        self.assertGreater(len(printed), 15)
        for text in printed:
            for piece in self.pieces(text, r"\{\w+\}"):
                with self.subTest(piece):
                    self.assertTrue(any(piece in literal or (len(literal) >= 12 and literal.strip() in piece)
                                        for literal in self.literals))


if __name__ == "__main__":
    main()
