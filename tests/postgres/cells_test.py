"""A cell in a GeoPackage and on a server: the same symbols, values and messages in both."""
import collections
import itertools
import os
import pathlib
import re
import shutil
import sqlite3
import subprocess
import sys
from xml.sax.saxutils import quoteattr

from pg_support import ROOT, DatabaseTest, main, texts

CELL = "US5OH10M.000"
CELLS = pathlib.Path(os.environ.get("SYMBOLOGY_SAMPLE_CELLS") or ROOT.parent / "shared" / "sample-cells")


def rule(operator, field, value, kind="A"):
    return f"<rule type={quoteattr(kind)} field={quoteattr(field)} operator={quoteattr(operator)} value={quoteattr(str(value))}/>"


class Generator:
    """A document for the layers of a chart, made from the values that they hold."""

    def __init__(self, chart):
        self.chart = sqlite3.connect(chart)
        self.conditions = 0
        self.classes = []
        layers = self.chart.execute("SELECT table_name FROM gpkg_contents ORDER BY 1").fetchall()
        self.layers = [layer for (layer,) in layers if layer not in ("DSID",)]

    def condition(self, rules, attributes=""):
        self.conditions += 1
        return f'<condition rulename="S{self.conditions:03}"{attributes}>{rules}</condition>'

    def frequent(self, layer, column):
        return [value for (value,) in self.chart.execute(
            f'SELECT "{column}" FROM "{layer}" WHERE "{column}" IS NOT NULL GROUP BY 1 ORDER BY count(*) DESC, 1 LIMIT 3')]

    def of_column(self, layer, column):
        for n, value in enumerate(self.frequent(layer, column)):
            if isinstance(value, str) and "," in value:
                yield self.condition(rule("containsany", column, value.split(",")[0], "L"), f' xoffset="{n}.5"')
            elif isinstance(value, str):
                yield self.condition(rule("equal" if n else "like", column, value if n else value[:2] + "*"))
            else:
                yield self.condition(rule("gte" if n else "equal", column, value), f' angle="{n * 45}"')
        yield self.condition(rule("equal", column, "NULL") + rule("notequal", "OBJNAM", "NULL"))

    def questions(self, layer):
        """Exists and fetch over the layer itself and another one, a question that may not be SQL, and one without its field."""
        other = self.layers[(self.layers.index(layer) + 1) % len(self.layers)]
        ask = '<rule type="Q" operator="exists" table="{}"><query>{}</query><params>{}</params></rule>'
        for table, query, parameters in (
                (other, "OBJL &gt; %s", '<param value="OBJL"/>'),
                (layer, "RCID &lt; %s AND OBJL = %s", '<param value="RCID"/><param value="OBJL"/>'),
                (layer, "SORIND = '%s' AND RCID &lt;&gt; %s", '<param value="SORIND"/><param value="RCID"/>'),
                ("NOWHERE", "RCID = %s", '<param value="RCID"/>')):
            yield self.condition(ask.format(table, query, parameters))
        yield self.condition(ask.format(other, "RCID = %s", '<param value="NO_SUCH_FIELD"/>'))

    def label(self, layer):
        return ('<condition type="2" field="LABEL_C"><rule type="Q" operator="fetch" table="{}" selectOption="multiple">'
                '<query>RCID &gt;= %s AND RCID &lt; %s + 8</query><params><param value="RCID"/><param value="RCID"/></params>'
                '<fields><field name="RCID" alias="P.RCID"/><field name="SORDAT" alias="P.SORDAT"/></fields></rule>'
                "<expression>def Generate(OBJL, SORDAT, P.RCID[], P.SORDAT[]):\n"
                "    return repr((OBJL, SORDAT, P.RCID[:4], sorted(map(str, P.SORDAT))[:3]))</expression>"
                "</condition>").format(layer)

    def document(self):
        columns = collections.defaultdict(list)
        for layer in self.layers:
            for _, name, kind, *_ in self.chart.execute(f'PRAGMA table_info("{layer}")'):
                if name not in ("fid", "geom", "LNAM", "RCID", "FFPT_RIND", "LNAM_REFS") and "BLOB" not in kind:
                    columns[layer].append(name)
        for layer in self.layers:
            (rows,) = self.chart.execute(f'SELECT count(*) FROM "{layer}"').fetchone()
            if rows < 3 or "OBJNAM" not in columns[layer]:
                continue
            used = [name for name in columns[layer] if self.frequent(layer, name)][5:7]
            body = [part for name in used for part in self.of_column(layer, name)]
            if rows < 50:
                body += [*self.questions(layer), self.label(layer)]
                self.conditions += 1
            self.classes.append(f"<featureClass name={quoteattr(layer)}>{''.join(body)}</featureClass>")
        return "".join(self.classes)


class CellTest(DatabaseTest):
    postgis = True
    least = collections.namedtuple("least", "layers symbols conditions answers")

    def bring(self, cell):
        self.chart = self.folder / "cell.gpkg"
        self.assertEqual(self.run_tool("import", cell, self.chart)[0], 0)
        subprocess.run(["ogr2ogr", "-f", "PostgreSQL", self.dataset(), self.chart, "-preserve_fid", "-lco", "FID=fid",
                        "--config", "PG_USE_COPY", "YES"], check=True)

    def results(self, layer):
        """Fields that were written, by row, in both."""
        names = [name for name in ("fid", "symbol_c", "xoffset_c", "yoffset_c", "rotate_c", "label_c")
                 if name != "label_c" or self.has_label(layer)]
        connection = sqlite3.connect(self.chart)
        in_file = [list(row) for row in connection.execute(f'SELECT {", ".join(names)} FROM "{layer}" ORDER BY fid')]
        connection.close()
        row = " || chr(31) || ".join(f"coalesce({name}::text, '-')" for name in names)
        on_server = self.sql(f'SELECT {row} FROM "{layer.lower()}" ORDER BY fid')
        shown = ["\x1f".join("-" if value is None else f"{value:g}" if isinstance(value, float) else str(value)
                             for value in values) for values in in_file]
        return shown, on_server

    def has_label(self, layer):
        connection = sqlite3.connect(self.chart)
        found = any(name == "LABEL_C" for _, name, *_ in connection.execute(f'PRAGMA table_info("{layer}")'))
        connection.close()
        return found

    def plain(self, said):
        """Texts with the names that tables have in the file: on a server they have a database and an owner."""
        qualified = re.compile(rf"\b{self.database}\.public\.(\w+)")
        return [qualified.sub(lambda match: match[1].upper(), text) for text in said]

    def expect_same(self, layer, in_file, on_server):
        """Without the differ of assertEqual, which takes minutes over thousands of lines."""
        different = [pair for pair in itertools.zip_longest(in_file, on_server) if pair[0] != pair[1]]
        self.assertEqual((layer, len(different), different[:5]), (layer, 0, []))

    def compare(self, document):
        both = []
        for dataset in (self.chart, self.dataset()):
            status, said = self.run_json("symbolize", document, dataset, "--add-fields")
            self.assertEqual((status, said["document"]["messages"]), (0, []))
            both.append({layer["layer"].upper(): (layer["rows"], layer["changed"], self.plain(texts(layer)))
                         for layer in said["layers"]})
        self.assertEqual(sorted(both[0]), sorted(both[1]))
        for layer in both[0]:
            self.expect_same(layer, *([*both[i][layer][:2], *both[i][layer][2]] for i in (0, 1)))
        kinds = collections.Counter()
        for layer in both[0]:
            with self.subTest(layer):
                in_file, on_server = self.results(layer)
                self.expect_same(layer, in_file, on_server)
                kinds.update(line.split("\x1f")[1] for line in in_file)
        return both[0], kinds

    def expect_the_same_in_both(self, least):
        copy = self.folder / "copy.gpkg"
        shutil.copy(self.chart, copy)
        layers, symbols = self.compare(ROOT / "examples" / "enc" / "enc.cxml")
        self.assertGreaterEqual(len(layers), least.layers)
        self.assertGreater(len(symbols), least.symbols)

        # Over that, a document of many conditions with questions and expressions.
        generator = Generator(copy)
        document = self.document(generator.document())
        generator.chart.close()
        self.assertGreaterEqual(generator.conditions, least.conditions)
        layers, symbols = self.compare(document)
        self.assertGreater(len(symbols), least.answers)
        self.assertTrue(any("NO_SUCH_FIELD" in text for _, _, said in layers.values() for text in said))
        labels = [line for layer in layers if self.has_label(layer) for line in self.results(layer)[0]
                  if not line.endswith("\x1f-")]
        self.assertGreater(len(labels), 100)
        print(f"{generator.conditions} conditions, {len(layers)} layers, {len(symbols)} symbols, {len(labels)} labels")


class OwnCell(CellTest):
    def test_the_harbour_in_both(self):
        subprocess.run([sys.executable, "-B", ROOT / "examples" / "harbour" / "generator", "--cell", self.folder], check=True)
        self.bring(self.folder / "XX5MERRW.000")
        self.expect_the_same_in_both(self.least(layers=15, symbols=20, conditions=150, answers=20))


class RealCell(CellTest):
    def test_a_real_cell_in_both(self):
        cell = CELLS / CELL
        if not cell.exists():
            self.skipTest(f"no cell at {cell}; set SYMBOLOGY_SAMPLE_CELLS to a folder that has {CELL}")
        self.bring(cell)
        self.expect_the_same_in_both(self.least(layers=17, symbols=20, conditions=200, answers=40))


if __name__ == "__main__":
    main()
