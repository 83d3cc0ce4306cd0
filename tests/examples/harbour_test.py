"""The harbour chart: its text is what its program draws, its parts agree, and symbolizing gives what is expected."""
import csv
import re
import shutil
import subprocess
import sys

from support import ROOT, TestCase, cxml, cxml_json, main, query

HARBOUR = ROOT / "examples" / "harbour"
DOCUMENT = HARBOUR / "harbour.cxml"


def expected():
    with open(HARBOUR / "expected.csv", encoding="utf-8", newline="") as file:
        return [(row["layer"], int(row["id"]), row["symbol"] or None,
                 *(float(row[name]) if row[name] else None for name in ("x", "y", "rotation")))
                for row in csv.DictReader(file)]


def expected_labels():
    with open(HARBOUR / "expected_labels.csv", encoding="utf-8", newline="") as file:
        return [(row["layer"], int(row["id"]), row["label"] or None) for row in csv.DictReader(file)]


def layers():
    return sorted(path.stem for path in (HARBOUR / "data").glob("*.csv"))


def rows(layer):
    with open(HARBOUR / "data" / f"{layer}.csv", encoding="utf-8", newline="") as file:
        return list(csv.DictReader(file))


def rings(wkt):
    """The rings of a polygon, each a list of positions."""
    return [[tuple(map(float, position.split()[:2])) for position in ring.split(",")]
            for ring in re.findall(r"\(([^()]+)\)", wkt)]


def contains(polygon, x, y):
    crossings = 0
    for ring in polygon:
        for (x1, y1), (x2, y2) in zip(ring, ring[1:]):
            crossings += (y1 > y) != (y2 > y) and x < x1 + (y - y1) / (y2 - y1) * (x2 - x1)
    return crossings % 2 == 1


class Text(TestCase):
    def test_the_program_draws_the_text(self):
        subprocess.run([sys.executable, "-B", HARBOUR / "generator", self.folder], check=True)
        drawn = {path.name: path.read_bytes() for path in self.folder.iterdir()}
        kept = {path.name: path.read_bytes() for path in (HARBOUR / "data").iterdir()}
        self.assertEqual(sorted(drawn), sorted(kept))
        for name in sorted(drawn):
            self.assertTrue(drawn[name] == kept[name], f"{name} differs from what the program draws")

    def test_feature_numbers_are_unique(self):
        numbers = [row["FIDN"] for layer in layers() for row in rows(layer)]
        self.assertEqual(len(numbers), len(set(numbers)))
        self.assertGreater(len(numbers), 300)

    def test_soundings_and_dangers_fit_the_depth_areas(self):
        areas = [(rings(row["WKT"]), float(row["DRVAL1"]), float(row["DRVAL2"])) for row in rows("DEPARE")]
        checked = 0
        for layer in ("SOUNDG", "WRECKS", "OBSTRN", "UWTROC"):
            for row in rows(layer):
                x, y = rings(row["WKT"])[0][0]
                around = [(shallow, deep) for polygon, shallow, deep in areas if contains(polygon, x, y)]
                with self.subTest(layer=layer, id=row["FIDN"]):
                    self.assertEqual(len(around), 1)
                    if layer == "SOUNDG":
                        self.assertTrue(around[0][0] <= float(row["DEPTH"]) <= around[0][1], (row["DEPTH"], around))
                    else:
                        self.assertEqual(float(row["SURDEP"]), around[0][0])
                checked += 1
        self.assertGreater(checked, 250)


class Chart(TestCase):
    def setUp(self):
        super().setUp()
        self.dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", self.dataset], check=True)

    def test_the_same_text_gives_the_same_file(self):
        first = self.dataset.read_bytes()
        subprocess.run([HARBOUR / "build", self.dataset], check=True)
        self.assertTrue(first == self.dataset.read_bytes())

    def test_the_query_gives_the_expected_symbols(self):
        # The query is run before any document has been near the data.
        sql = (HARBOUR / "expected.sql").read_text(encoding="utf-8")
        self.assertEqual(query(self.dataset, sql), expected())
        self.assertEqual(sorted({row[0] for row in expected()}), layers())

    def test_the_query_gives_the_expected_labels(self):
        sql = (HARBOUR / "expected_labels.sql").read_text(encoding="utf-8")
        self.assertEqual(query(self.dataset, sql), expected_labels())
        for label in (("LIGHTS", 17023, "Iso.WRG.4s18m12/9M"), ("BOYLAT", 10003, "No 4 Fl(2)R.5s"), ("SBDARE", 20002, "S.M")):
            self.assertIn(label, expected_labels())

    def labels(self):
        found = []
        for layer in sorted({row[0] for row in expected_labels()}):
            found += query(self.dataset, f"SELECT '{layer}', FIDN, LABEL_C FROM {layer}")
        return sorted(found)

    def symbols(self):
        found = []
        for layer in layers():
            found += query(self.dataset,
                           f"SELECT '{layer}', FIDN, SYMBOL_C, Xoffset_C, Yoffset_C, Rotate_C FROM {layer}")
        return sorted(found)

    def test_symbolizing_gives_the_expected_symbols_and_then_changes_nothing(self):
        status, said = cxml_json("symbolize", DOCUMENT, self.dataset, "--add-fields")
        self.assertEqual((status, said["document"]["loaded"], said["document"]["messages"]), (0, True, []))
        self.assertEqual(sorted(layer["layer"] for layer in said["layers"]), layers())
        for layer in said["layers"]:
            count = len(rows(layer["layer"]))
            self.assertEqual(sum(layer.pop("ends").values()), count)
            self.assertEqual(layer, {"layer": layer["layer"], "succeeded": True, "rows": count, "changed": count,
                                     "messages": []})
        self.assertEqual(self.symbols(), sorted(expected()))
        self.assertEqual(self.labels(), sorted(expected_labels()))

        status, said = cxml_json("symbolize", DOCUMENT, self.dataset)
        self.assertEqual((status, [layer["changed"] for layer in said["layers"]]), (0, [0] * len(layers())))
        self.assertEqual(self.symbols(), sorted(expected()))

    def test_the_document_has_nothing_to_complain_of(self):
        status, said = cxml_json("check", DOCUMENT)
        self.assertEqual((status, said["document"]["messages"]), (0, []))
        cxml_json("symbolize", DOCUMENT, self.dataset, "--add-fields")
        status, said = cxml_json("check", DOCUMENT, self.dataset)
        self.assertEqual((status, {(one["severity"], one["kind"]) for one in said["findings"]}), (0, {("note", "code-without-row")}))

    def test_the_picture_of_the_readme_is_what_the_demo_draws(self):
        cxml("symbolize", DOCUMENT, self.dataset, "--add-fields")
        demo = (ROOT / "scripts" / "demo").read_text(encoding="utf-8")
        view, = re.findall(r'^draw (--bbox\S+ --scale \S+) -o "\$demo/entrance.svg"$', demo, re.MULTILINE)
        picture = self.folder / "entrance.svg"
        done = cxml("draw", self.dataset, "--document", DOCUMENT, *view.split(), "-o", picture)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertTrue(picture.read_bytes() == (ROOT / "docs" / "harbour.svg").read_bytes(),
                        "docs/harbour.svg is out of date: copy build/demo/entrance.svg, which scripts/demo makes, there")

    def test_attributes_and_geometry_are_left_alone(self):
        before = shutil.copy(self.dataset, self.folder / "before.gpkg")
        cxml_json("symbolize", DOCUMENT, self.dataset, "--add-fields")
        for layer in layers():
            columns = ", ".join(name for (name,) in query(before, f"SELECT name FROM pragma_table_info('{layer}')"))
            everything = f"SELECT {columns} FROM {layer} ORDER BY fid"
            self.assertEqual(query(self.dataset, everything), query(before, everything), layer)

    def test_resetting_clears_the_symbols_only(self):
        cxml_json("symbolize", DOCUMENT, self.dataset, "--add-fields")
        status, _ = cxml_json("reset", DOCUMENT, self.dataset)
        self.assertEqual(status, 0)
        cleared = [(layer, number, None, *placement) for layer, number, _, *placement in expected()]
        self.assertEqual(self.symbols(), sorted(cleared))
        self.assertEqual({label for _, _, label in self.labels()}, {None})


def places(part):
    """Positions in ten millionths of a degree and tenths of a metre, which is what a cell holds."""
    x, y, *z = map(float, part.split())
    return (round(x * 1e7), round(y * 1e7), *(round(value * 10) for value in z))


def shape(wkt):
    """A geometry as sets of segments, whatever the place where a ring begins and the way it runs; a point as it is."""
    parts = [[places(place) for place in part.split(",")] for part in re.findall(r"\(([^()]+)\)", wkt)]
    return parts[0][0] if len(parts[0]) == 1 else sorted(sorted(map(sorted, zip(part, part[1:]))) for part in parts)


class Cell(TestCase):
    """The chart as an S-57 cell with its updates."""

    NOT_IN_A_CELL = {"WKT", "FIDN", "FCSUBTYPE", "SURDEP", "MASTER", "DEPTH"}

    def setUp(self):
        super().setUp()
        subprocess.run([sys.executable, "-B", HARBOUR / "generator", "--cell", self.folder], check=True)
        self.cell = self.folder / "XX5MERRW.000"
        self.dataset = self.folder / "cell.gpkg"

    def imported(self):
        done = cxml("import", self.cell, self.dataset)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def features(self, layer):
        """The rows of an imported layer, with their geometry as text: the first column, whatever GDAL calls it."""
        done = subprocess.run(["ogr2ogr", "-f", "CSV", "/vsistdout/", self.dataset, layer, "-lco", "GEOMETRY=AS_WKT"],
                              check=True, capture_output=True, text=True, encoding="utf-8")
        first, *rest = csv.reader(done.stdout.splitlines())
        return [dict(zip(["WKT", *first[1:]], row)) for row in rest]

    def test_the_same_chart_gives_the_same_cell(self):
        first = {path.name: path.read_bytes() for path in self.folder.iterdir()}
        self.assertEqual(sorted(first), ["XX5MERRW.000", "XX5MERRW.001", "XX5MERRW.002"])
        subprocess.run([sys.executable, "-B", HARBOUR / "generator", "--cell", self.folder / "again"], check=True)
        self.assertTrue(first == {path.name: path.read_bytes() for path in (self.folder / "again").iterdir()})

    def test_the_cell_has_the_features_of_the_text(self):
        self.imported()
        compared = 0
        for layer in layers():
            names = [name for name in rows(layer)[0] if name not in self.NOT_IN_A_CELL]
            number = (lambda row: "") if layer == "SOUNDG" else (lambda row: row["FIDN"])  # soundings share a feature

            def as_compared(row, known):
                values = [float(row[name]) if re.fullmatch(r"-?\d+(\.\d+)?", row[name]) else row[name] for name in known]
                return number(row), shape(row["WKT"]), values

            text = sorted(as_compared(row, names) for row in rows(layer))
            found = sorted(as_compared(row, names) for row in self.features(layer))
            self.assertEqual(len(found), len(text), layer)
            for one, other in zip(found, text):
                self.assertTrue(one == other, (layer, one[0], one[2], other[2]))
            compared += len(text)
        self.assertGreater(compared, 450)

    def test_what_only_the_cell_has(self):
        self.imported()
        self.assertEqual(query(self.dataset, "SELECT FIDN, NOBJNM FROM LIGHTS WHERE NOBJNM IS NOT NULL"),
                         [(17024, "Przylądek Merrow"), (17026, "Łacha Strand")])
        self.assertEqual(query(self.dataset, "SELECT NOBJNM, INFORM FROM LNDARE"), [("Wyspa Merrow", "Heights ±0.5 m")])
        # An unknown value: of a number NULL, of a text the empty one.
        self.assertEqual(query(self.dataset, "SELECT VALSOU FROM WRECKS WHERE FIDN = 9001"), [(None,)])
        self.assertEqual(query(self.dataset, "SELECT OBJNAM FROM LNDMRK WHERE FIDN IN (18007, 18008) ORDER BY FIDN"), [(None,), ("",)])
        self.assertEqual(query(self.dataset, "SELECT LNAM_REFS, FFPT_RIND FROM BOYLAT WHERE FIDN = 10001"),
                         [("(1:FFFE00003E810001)", "(1:2)")])
        (leading,), = query(self.dataset, "SELECT LNAM_REFS FROM C_AGGR")
        lights = query(self.dataset, "SELECT LNAM FROM LIGHTS WHERE OBJNAM LIKE 'Leading Lights %' ORDER BY FIDN")
        self.assertEqual(leading, "(2:" + ",".join(name for (name,) in lights) + ")")

    def test_what_tells_of_the_cells_is_nothing_to_check(self):
        self.imported()
        _, said = cxml_json("check", ROOT / "examples" / "enc" / "enc.cxml", self.dataset)
        unconfigured = [finding["text"] for finding in said["findings"] if finding["kind"] == "layer-unconfigured"]
        self.assertEqual(len(unconfigured), 1)
        self.assertIn("M_COVR", unconfigured[0])
        self.assertEqual([text for text in unconfigured if "DSID" in text or "DSNM" in text], [])

    def test_the_updates_are_in_the_chart(self):
        bare = self.folder / "bare"
        bare.mkdir()
        shutil.copy(self.cell, bare)
        self.assertEqual(cxml("import", bare / self.cell.name, bare / "cell.gpkg").returncode, 0)
        self.imported()

        def both(sql):
            return query(bare / "cell.gpkg", sql), query(self.dataset, sql)

        self.assertEqual(both("SELECT DSID_EDTN, DSID_UPDN, DSID_ISDT FROM DSID"),
                         ([("3", "0", "20240501")], [("3", "2", "20240603")]))
        self.assertEqual(both("SELECT count(*) FROM LIGHTS WHERE FIDN = 17036"), ([(0,)], [(1,)]))
        self.assertEqual(both("SELECT count(*) FROM WRECKS WHERE FIDN = 9999"), ([(1,)], [(0,)]))
        self.assertEqual(both("SELECT VALNMR, OBJNAM, STATUS FROM LIGHTS WHERE FIDN = 17028"),
                         ([(18.0, None, "7")], [(22.0, "Tern Cliffs", None)]))
        self.assertEqual(both("SELECT LNAM_REFS FROM BOYLAT WHERE FIDN = 10001"), ([(None,)], [("(1:FFFE00003E810001)",)]))
        self.assertEqual(both("SELECT count(*) FROM SOUNDG"), ([(266,)], [(271,)]))


if __name__ == "__main__":
    main()
