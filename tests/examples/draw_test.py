"""cxml draw: what is drawn is what the fields say, whatever they say, and the same each time."""
import csv
import json
import math
import re
import shutil
import sqlite3
import struct
import subprocess
import xml.etree.ElementTree as ElementTree
import zlib

from support import ROOT, TestCase, cxml, cxml_json, main, query

HARBOUR = ROOT / "examples" / "harbour"
DOCUMENT = HARBOUR / "harbour.cxml"
SVG = "{http://www.w3.org/2000/svg}"
RADIUS = 6378137
MARGIN = 12  # millimetres around the map

SQUARE = ('<svg xmlns="http://www.w3.org/2000/svg" viewBox="-5 -5 10 10"><polygon points="-1,-3 1,-3 1,1 -1,1" fill="#{}"/></svg>')


def mercator(longitude, latitude):
    return RADIUS * math.radians(longitude), RADIUS * math.asinh(math.tan(math.radians(latitude)))


def points_geojson(places):
    features = [{"type": "Feature", "properties": {"n": i}, "geometry": {"type": "Point", "coordinates": place}}
                for i, place in enumerate(places)]
    return json.dumps({"type": "FeatureCollection", "features": features})


def numbers(text):
    return tuple(float(number) for number in re.findall(r"-?\d+(?:\.\d+)?", text))


def png_pixels(file):
    """Rows of (red, green, blue) of a PNG file of 8 bits a channel."""
    data = file.read_bytes()
    at, packed = 8, b""
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        body = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height, _, colour = struct.unpack(">IIBB", body[:10])
        packed += body if kind == b"IDAT" else b""
        at += length + 12
    step = {2: 3, 6: 4}[colour]
    raw, rows, before = zlib.decompress(packed), [], bytes(width * step)
    for y in range(height):
        kind, *line = raw[y * (width * step + 1):(y + 1) * (width * step + 1)]
        for i in range(len(line)):
            left = line[i - step] if i >= step else 0
            up, corner = before[i], before[i - step] if i >= step else 0
            guess = left + up - corner
            nearest = min((abs(guess - value), n, value) for n, value in enumerate((left, up, corner)))[2]
            line[i] = (line[i] + (0, left, up, (left + up) // 2, nearest)[kind]) & 255
        before = line
        rows.append([tuple(line[i:i + 3]) for i in range(0, len(line), step)])
    return rows


class Drawing(TestCase):
    def draw(self, dataset, *options, name="chart.svg", status=0):
        """Draws, and returns the file and the finished process."""
        file = self.folder / name
        done = cxml("draw", dataset, "-o", file, "--overwrite", *options)
        self.assertEqual(done.returncode, status, done.stderr)
        return file, done

    def points(self, places, rows, name="points.gpkg"):
        """A GeoPackage with the layer MARKS: a point for each place, and rows of SYMBOL_C and placement."""
        source = self.folder / "points.geojson"
        source.write_text(points_geojson(places), encoding="utf-8")
        dataset = self.folder / name
        subprocess.run(["ogr2ogr", "-q", "-f", "GPKG", dataset, source, "-nln", "MARKS"], check=True)
        connection = sqlite3.connect(dataset)
        with connection:
            for column, kind in (("SYMBOL_C", "TEXT"), ("Xoffset_C", "REAL"), ("Yoffset_C", "REAL"), ("Rotate_C", "REAL")):
                connection.execute(f"ALTER TABLE MARKS ADD COLUMN {column} {kind}")
            # GDAL's triggers call functions that only its own connections have.
            for (trigger,) in connection.execute("SELECT name FROM sqlite_master WHERE type = 'trigger'").fetchall():
                connection.execute(f'DROP TRIGGER "{trigger}"')
            for fid, row in enumerate(rows, 1):
                connection.execute("UPDATE MARKS SET SYMBOL_C = ?, Xoffset_C = ?, Yoffset_C = ?, Rotate_C = ? WHERE fid = ?",
                                   (*row, fid))
        connection.close()
        return dataset


class Harbour(Drawing):
    def setUp(self):
        super().setUp()
        self.dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", self.dataset], check=True)
        self.assertEqual(cxml("symbolize", DOCUMENT, self.dataset, "--add-fields").returncode, 0)

    def drawn_points(self, root):
        """(layer, id): the symbol's name, where it is, its offset and rotation, of each use and figure."""
        names = {element.get("id"): element.get("data-symbol") for element in root.iter(f"{SVG}g") if element.get("data-symbol")}
        drawn = {}
        for layer in root.find(f"{SVG}g[@id='map']/{SVG}g[@id='points']"):
            for element in layer:
                name = element.get("data-symbol") or names[element.get("href")[1:]]
                moves = re.findall(r"(\w+)\(([^)]*)\)", element.get("transform"))
                places = [numbers(values) for kind, values in moves if kind == "translate"]
                rotation = [numbers(values)[0] for kind, values in moves if kind == "rotate"]
                drawn[layer.get("data-layer"), int(element.get("data-fid"))] = (
                    name, places[0], places[1] if len(places) > 1 else (0, 0), rotation[0] if rotation else 0)
        return drawn

    def test_every_point_has_the_symbol_offset_and_rotation_of_its_fields(self):
        file, _ = self.draw(self.dataset)
        drawn = self.drawn_points(ElementTree.parse(file).getroot())
        compared = 0
        for layer in ("LIGHTS", "TOPMAR", "BOYLAT", "BOYCAR", "WRECKS", "SOUNDG", "LNDMRK"):
            for fid, symbol, *placement in query(self.dataset, f"SELECT fid, SYMBOL_C, Xoffset_C, Yoffset_C, Rotate_C FROM {layer}"):
                x, y, rotation = (value or 0 for value in placement)
                name, _, offset, angle = drawn[layer, fid]
                self.assertEqual((name, offset, angle), (symbol, (x, -y), rotation), (layer, fid))
                compared += 1
        self.assertGreater(compared, 350)

    def test_places_are_those_of_the_projection(self):
        file, done = self.draw(self.dataset, "--scale", "1:25000", "--bbox", "-20.02,-30.02,-19.98,-29.99")
        drawn = self.drawn_points(ElementTree.parse(file).getroot())
        left, top = mercator(-20.02, -29.99)
        _, bottom = mercator(-20.02, -30.02)
        middle = math.atan(math.sinh((top + bottom) / 2 / RADIUS))
        millimetres = 1000 / 25000 * math.cos(middle)
        geojson = subprocess.run(["ogr2ogr", "-f", "GeoJSONSeq", "/vsistdout/", self.dataset, "BOYLAT", "-sql",
                                  "SELECT fid + 0 AS n, geom FROM BOYLAT"], check=True, capture_output=True, text=True).stdout
        compared = 0
        for feature in map(json.loads, geojson.splitlines()):
            x, y = mercator(*feature["geometry"]["coordinates"])
            place = drawn.get(("BOYLAT", feature["properties"]["n"]))
            if place is None:
                continue
            self.assertAlmostEqual(place[1][0], (x - left) * millimetres, delta=0.011)
            self.assertAlmostEqual(place[1][1], (top - y) * millimetres, delta=0.011)
            compared += 1
        self.assertGreater(compared, 5)
        self.assertIn("1:25 000", done.stdout)

    def test_nothing_is_without_a_picture_and_every_row_is_accounted_for(self):
        status, said = cxml_json("draw", self.dataset, "-o", self.folder / "chart.svg", "--document", DOCUMENT)
        self.assertEqual((status, said["withoutPicture"], said["complete"]), (0, [], True))
        rows = {layer: count for layer, count in query(self.dataset, "SELECT table_name, feature_count FROM gpkg_ogr_contents")}
        self.assertEqual({layer["layer"]: layer["rows"] for layer in said["layers"]}, rows)
        nothing = {layer["layer"]: layer["withoutSymbol"] for layer in said["layers"] if layer["withoutSymbol"]}
        self.assertEqual(nothing, {"SBDARE": 10})
        order = [layer["layer"] for layer in said["layers"]]
        classes = re.findall(r'<featureClass name="(\w+)"', DOCUMENT.read_text(encoding="utf-8"))
        self.assertEqual(order, [{"Lights": "LIGHTS", "Rocks": "UWTROC"}.get(name, name) for name in classes])

    def test_labels_are_what_the_document_computed(self):
        plain, _ = self.draw(self.dataset, name="plain.svg")
        self.assertEqual(list(ElementTree.parse(plain).getroot().iter(f"{SVG}g"))[-1].get("id"), "frame")
        file, done = self.draw(self.dataset, "--document", DOCUMENT)
        labels = ElementTree.parse(file).getroot().find(f".//{SVG}g[@id='labels']")
        shown = [text.text for text in labels]
        computed = {label for layer in ("LIGHTS", "BOYLAT", "BOYCAR", "SBDARE")
                    for (label,) in query(self.dataset, f"SELECT LABEL_C FROM {layer} WHERE LABEL_C IS NOT NULL")}
        self.assertLessEqual(set(shown), computed)
        self.assertIn("Iso.WRG.4s18m12/9M", shown)
        self.assertGreater(len(shown), 30)
        self.assertNotIn("Iso.WRG.4s18m12/9M", plain.read_text(encoding="utf-8"))

    def test_no_label_is_cut_by_the_edge(self):
        ((west, south, east, north),) = query(self.dataset, "SELECT min(minx), min(miny), max(maxx), max(maxy) FROM rtree_LIGHTS_geom")
        file, _ = self.draw(self.dataset, "--document", DOCUMENT, "--bbox", f"{west},{south},{east},{north}")
        root = ElementTree.parse(file).getroot()
        edge = root.find(f".//{SVG}clipPath[@id='map-edge']/{SVG}rect")
        labels = root.find(f".//{SVG}g[@id='labels']")
        size = float(labels.get("font-size"))
        heights = [float(text.get("y")) for text in labels]
        self.assertGreater(len(heights), 30)
        self.assertGreaterEqual(min(heights), size * 0.8)
        self.assertLessEqual(max(heights), float(edge.get("height")) - size * 0.2)

    def test_a_computed_rotation_is_no_label(self):
        dataset, document = self.folder / "turned.gpkg", self.folder / "turned.cxml"
        shutil.copy(self.dataset, dataset)
        document.write_text("""<conditionMap name="Turned"><featureClass name="BOYLAT">
            <condition rulename="BOYLAT13" type="2" field="rotate_c"><expression>def Generate():\n    return "45.5"\n</expression></condition>
            <condition type="2" field="LABEL_C"><expression>def Generate():\n    return "named"\n</expression></condition>
            </featureClass></conditionMap>""", encoding="utf-8")
        self.assertEqual(cxml_json("symbolize", document, dataset)[0], 0)
        self.assertEqual(query(dataset, "SELECT DISTINCT Rotate_C, LABEL_C FROM BOYLAT"), [(45.5, "named")])
        file, _ = self.draw(dataset, "BOYLAT", "--document", document)
        labels = ElementTree.parse(file).getroot().find(f".//{SVG}g[@id='labels']")
        self.assertEqual({text.text for text in labels}, {"named"})

    def test_the_same_input_gives_the_same_bytes(self):
        for name in ("chart.svg", "chart.png", "chart.pdf"):
            with self.subTest(name):
                done = cxml("draw", self.dataset, "-o", self.folder / name)
                if name != "chart.svg" and "without librsvg" in done.stderr:
                    self.skipTest("the tool was built without librsvg")
                first = (self.folder / name).read_bytes()
                self.assertTrue(first.startswith({"svg": b"<svg", "png": b"\x89PNG", "pdf": b"%PDF"}[name[-3:]]))
                file, _ = self.draw(self.dataset, name=name)
                self.assertTrue(first == file.read_bytes(), name)

    def test_palettes_change_colours_and_nothing_else(self):
        texts = {}
        for palette in ("day", "dusk", "night"):
            file, _ = self.draw(self.dataset, "--palette", palette)
            texts[palette] = file.read_text(encoding="utf-8")
        plain = {palette: re.sub(r"#[0-9a-f]{6}|hatch-[0-9a-f]{6}", "#", text) for palette, text in texts.items()}
        self.assertEqual(plain["dusk"], plain["day"])
        self.assertEqual(plain["night"], plain["day"])
        styles = json.loads((ROOT / "share/symbology/symbols/styles.json").read_text(encoding="utf-8"))
        for palette, text in texts.items():
            self.assertLessEqual(set(re.findall(r"#[0-9a-f]{6}\b", text)), set(styles["palettes"][palette].values()), palette)
        self.assertEqual(cxml("draw", self.dataset, "-o", self.folder / "x.svg", "--palette", "noon").returncode, 2)

    def test_rows_are_chosen(self):
        _, said = cxml_json("draw", self.dataset, "BOYLAT", "-o", self.folder / "a.svg", "--where", "CATLAM = 2")
        wanted = query(self.dataset, "SELECT count(*) FROM BOYLAT WHERE CATLAM = 2")[0][0]
        self.assertEqual([(layer["layer"], layer["drawn"]) for layer in said["layers"]], [("BOYLAT", wanted)])
        _, said = cxml_json("draw", self.dataset, "BOYLAT", "-o", self.folder / "b.svg", "--bbox", "-20.1,-30.012,-19.9,-30.002")
        with open(HARBOUR / "data" / "BOYLAT.csv", encoding="utf-8", newline="") as file:
            inside = [row for row in csv.DictReader(file) if -30.012 < float(re.findall(r"[-.0-9]+", row["WKT"])[1]) < -30.002]
        self.assertTrue(3 < len(inside) < 15)
        self.assertEqual(said["layers"][0]["drawn"], len(inside))
        self.assertEqual(said["bbox"], [-20.1, -30.012, -19.9, -30.002])

    def test_what_another_dataset_draws_otherwise_is_marked(self):
        other = shutil.copy(self.dataset, self.folder / "other.gpkg")
        _, done = self.draw(self.dataset, "--against", other)
        self.assertIn("no difference\n", done.stdout)
        connection = sqlite3.connect(other)
        with connection:
            # GDAL's triggers call functions that only its own connections have.
            for (trigger,) in connection.execute("SELECT name FROM sqlite_master WHERE type = 'trigger'").fetchall():
                connection.execute(f'DROP TRIGGER "{trigger}"')
            connection.execute("UPDATE BOYLAT SET SYMBOL_C = 'BOYLAT14' WHERE fid = 1")
            connection.execute("UPDATE BOYLAT SET SYMBOL_C = NULL WHERE fid = 2")
            connection.execute("UPDATE TOPMAR SET Rotate_C = 30 WHERE fid = 3")
            connection.execute("UPDATE SBDARE SET SYMBOL_C = 'RCKLDG01' WHERE fid = (SELECT min(fid) FROM SBDARE WHERE SYMBOL_C IS NULL)")
        connection.close()
        file, done = self.draw(self.dataset, "--against", other)
        self.assertEqual(sorted(done.stdout.splitlines()[1:]),
                         ["differs: BOYLAT14 -> BOYLAT24 (1)", "differs: RCKLDG01 -> nothing (1)",
                          "differs: nothing -> BOYLAT13 (1)", "differs: offset or rotation only (1)"])
        changes = ElementTree.parse(file).getroot().find(f".//{SVG}g[@id='changes']")
        kinds = [element.tag.removeprefix(SVG) for element in changes]
        self.assertEqual((kinds.count("circle"), kinds.count("path")), (3, 1))


class Offsets(Drawing):
    def test_a_picture_is_where_and_as_its_fields_say(self):
        """By pixels: 10 mm to the right, 5 mm up, and a quarter turned to the right."""
        symbols = self.folder / "symbols"
        symbols.mkdir()
        for name, colour in (("HERE", "0000ff"), ("MOVED", "ff0000")):
            (symbols / f"{name}.svg").write_text(SQUARE.format(colour), encoding="utf-8")
        dataset = self.points([(0, 0), (0, 0)], [("HERE", None, None, None), ("MOVED", 10, 5, 90)])
        options = ("--symbols", symbols, "--bbox", "-0.01,-0.01,0.01,0.01", "--scale", "1:40000")
        done = cxml("draw", dataset, "-o", self.folder / "chart.png", *options)
        if "without librsvg" in done.stderr:
            self.skipTest("the tool was built without librsvg")
        self.assertEqual(done.returncode, 0, done.stderr)
        rows = png_pixels(self.folder / "chart.png")
        boxes = {}
        for colour in ((0, 0, 255), (255, 0, 0)):
            there = [(x, y) for y, row in enumerate(rows) for x, pixel in enumerate(row) if pixel == colour]
            columns, lines = zip(*there)
            boxes[colour] = [side / 200 * 25.4 for side in (min(columns), min(lines), max(columns) + 1, max(lines) + 1)]
        (x0, y0, x1, y1), (left, top, right, bottom) = boxes[0, 0, 255], boxes[255, 0, 0]
        here_x, here_y = x0 + 1, y1 - 1  # the picture reaches 1 mm to each side, 3 mm up and 1 mm down
        near = 0.3
        self.assertAlmostEqual(y1 - y0, 4, delta=near)
        # Up has become right.
        for seen, wanted in ((left, here_x + 10 - 1), (right, here_x + 10 + 3), (top, here_y - 5 - 1), (bottom, here_y - 5 + 1)):
            self.assertAlmostEqual(seen, wanted, delta=near)


class Hostile(Drawing):
    NAMES = ["../../../etc/passwd", "/etc/passwd", 'a"b', "a'b", "</script><script>alert(1)</script>", "<g>&amp;", "\x01\x1b[31m\x7f",
             "BOYLAT24.svg", "boylat24", " BOYLAT24", "x" * 100000, "\ufffe\uffff", "CSTLN", "styles", "ç€🚢", "s1\" onload=\"x"]

    def test_names_stay_names(self):
        places = [(i / 1000, 0) for i in range(len(self.NAMES))]
        dataset = self.points(places, [(name, None, None, None) for name in self.NAMES])
        file, done = self.draw(dataset)
        root = ElementTree.parse(file).getroot()  # is well-formed
        self.assertEqual({element.tag.removeprefix(SVG) for element in root.iter()},
                         {"svg", "title", "defs", "clipPath", "g", "rect", "text", "path", "use"})
        self.assertEqual([name for element in root.iter() for name in element.attrib if name.startswith("on")], [])
        marks = [element.get("data-symbol") for element in root.iter(f"{SVG}g") if element.get("data-picture") == "none"]
        self.assertEqual(len(marks), len(self.NAMES))
        for name in ("../../../etc/passwd", "</script><script>alert(1)</script>", 'a"b', "ç€🚢"):
            self.assertIn(name, marks)
        self.assertLess(file.stat().st_size, 50000)
        self.assertEqual(len(re.findall("^no picture: ", done.stdout, re.MULTILINE)), len(self.NAMES))
        self.assertNotRegex(done.stdout, "[\x01-\x09\x0b-\x1f\x7f]")
        status, said = cxml_json("draw", dataset, "-o", self.folder / "again.svg")
        self.assertEqual((status, len(said["withoutPicture"])), (0, len(self.NAMES)))

    def test_placement_that_is_no_placement_moves_nothing(self):
        rows = [("BOYLAT24", value, value, value) for value in ("x", "1e999", 1e300, float("inf"), b"\x00\xff", "")]
        dataset = self.points([(i / 1000, 0) for i in range(len(rows))], rows)
        file, _ = self.draw(dataset)
        uses = list(ElementTree.parse(file).getroot().iter(f"{SVG}use"))
        self.assertEqual(len(uses), len(rows))
        for use in uses:
            self.assertRegex(use.get("transform"), r"^translate\([0-9.,]+\)$")

    def test_pictures_that_are_more_than_shapes_are_refused(self):
        cases = {
            "SCRIPT": ("<script>alert(1)</script>", "<script> is no plain shape"),
            "EVENT": ('<path d="M0,0h1" onclick="x()"/>', "it has a script"),
            "LINK": ('<a href="x"><path d="M0,0h1"/></a>', "<a> is no plain shape"),
            "IMAGE": ('<image href="file:///etc/passwd"/>', "<image> is no plain shape"),
            "USE": ('<use xlink:href="other.svg#x"/>', "<use> is no plain shape"),
            "HREF": ('<path d="M0,0h1" xlink:href="x"/>', "it points elsewhere"),
            "URL": ('<path d="M0,0h1" fill="url(http://example.com/x)"/>', "not plain"),
            "FILTER": ('<path d="M0,0h1" filter="URL(#x)"/>', "it points elsewhere"),
            "STYLE": ("<style>path { fill: red }</style>", "<style> is no plain shape"),
            "STYLED": ('<path d="M0,0h1" style="fill: red"/>', "it has styles"),
            "FOREIGN": ("<foreignObject/>", "<foreignObject> is no plain shape"),
            "BROKEN": ("<path", "not well-formed"),
            "QUOTED": ('<path d="M0,0&quot;/&gt;"/>', "not plain"),
            "DEEP": ("<g>" * 50 + "</g>" * 50, "too deep"),
        }
        symbols = self.folder / "symbols"
        symbols.mkdir()
        head = '<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink" viewBox="-1 -1 2 2">'
        for name, (body, _) in cases.items():
            (symbols / f"{name}.svg").write_text(f"{head}{body}</svg>", encoding="utf-8")
        (symbols / "ENTITY.svg").write_text('<!DOCTYPE svg [<!ENTITY x SYSTEM "file:///etc/passwd">]>' + head + "<desc>&x;</desc></svg>",
                                            encoding="utf-8")
        (symbols / "PLAIN.svg").write_text(head + "<title>&lt;</title><desc>x</desc><metadata><x/></metadata>"
                                           '<path id="a" class="fill-red" d="M0,0h1" fill="#123456"/></svg>', encoding="utf-8")
        names = [*cases, "ENTITY", "PLAIN"]
        dataset = self.points([(i / 1000, 0) for i in range(len(names))], [(name, None, None, None) for name in names])
        file, done = self.draw(dataset, "--symbols", symbols)
        for name, (_, why) in cases.items():
            self.assertRegex(done.stderr, rf"(?m)^cxml: .*/{name}\.svg: .*{re.escape(why)}")
            self.assertIn(f"no picture: {name} (1)\n", done.stdout)
        text = file.read_text(encoding="utf-8")
        self.assertNotIn("root:", text)
        self.assertNotIn("no picture: PLAIN", done.stdout)
        red = json.loads((ROOT / "share/symbology/symbols/styles.json").read_text())["palettes"]["day"]["red"]
        self.assertIn(f'<path d="M0,0h1" fill="{red}"/>', text)

    def test_style_sheets_that_say_something_else_are_refused(self):
        symbols = self.folder / "symbols"
        symbols.mkdir()
        dataset = self.points([(0, 0)], [("X", None, None, None)])
        palettes = '"palettes": {"day": {"ink": "#000000"}}'
        cases = [("{", "is not JSON"), ("[]", "is no object"), ("{}", "is missing"), ('{"palettes": {}}', "there is no 'day'"),
                 ('{"palettes": {"day": {"ink": "black\\" onload=\\"x"}}}', "is no colour"),
                 (f'{{{palettes}, "line": {{}}}}', "there is no member 'line'"),
                 (f'{{{palettes}, "lines": {{"A": {{"stroke": "red", "width": 1}}}}}}', "the palette has no 'red'"),
                 (f'{{{palettes}, "lines": {{"A": {{"stroke": "ink", "width": -1}}}}}}', "between 0 and 100"),
                 (f'{{{palettes}, "lines": {{"A": {{"stroke": "ink", "width": "1"}}}}}}', "no number"),
                 (f'{{{palettes}, "areas": {{"A": {{"symbol": 1}}}}}}', "neither true nor false"),
                 (f'{{{palettes}}}', "the palette has no colour")]
        for sheet, why in cases:
            with self.subTest(why):
                (symbols / "styles.json").write_text(sheet, encoding="utf-8")
                _, done = self.draw(dataset, "--symbols", symbols, status=2)
                self.assertIn(why, done.stderr)
                self.assertEqual(done.stderr.count("\n"), 1)


class Files(Drawing):
    def test_nothing_is_overwritten_without_being_asked(self):
        dataset = self.points([(0, 0)], [("BOYLAT24", None, None, None)])
        file = self.folder / "chart.svg"
        file.write_text("mine", encoding="utf-8")
        done = cxml("draw", dataset, "-o", file)
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertEqual(done.stderr, f"cxml: {file}: cannot be written: exists already; --overwrite replaces it\n")
        self.assertEqual(file.read_text(encoding="utf-8"), "mine")
        self.draw(dataset)
        self.assertTrue(file.read_text(encoding="utf-8").startswith("<svg"))
        self.assertEqual(sorted(path.name for path in self.folder.iterdir() if "partial" in path.name), [])

    def test_what_cannot_be_drawn_is_said_and_leaves_no_file(self):
        dataset = self.points([(0, 0)], [(None, None, None, None)])
        cases = [((dataset, "-o", "x.gif"), "none of .svg, .png and .pdf"),
                 ((dataset, "-o", self.folder / "no folder" / "x.svg"), "there is no such folder"),
                 ((dataset,), "no row has both a shape and a symbol"),
                 ((dataset, "NOPE"), "there is no layer 'NOPE'"),
                 ((dataset, "--where", "NOPE = 1"), "NOPE"),
                 ((dataset, "--symbols", self.folder / "nowhere"), "the folder of the pictures cannot be read"),
                 ((dataset, "--bbox", "1,1,0,0"), "--bbox"),
                 ((dataset, "--bbox", "0,0,200,1"), "--bbox"),
                 ((dataset, "--bbox", "0,0,1,nan"), "--bbox"),
                 ((dataset, "--scale", "1:0"), "--scale"),
                 ((dataset, "--scale", "1:x"), "--scale"),
                 ((dataset, "--bbox", "0,0,1,1", "--scale", "1:100"), "mm are the most"),
                 ((self.folder / "nothing.gpkg",), "nothing.gpkg")]
        for arguments, why in cases:
            with self.subTest(why):
                output = () if "-o" in arguments else ("-o", self.folder / "out.svg")
                done = cxml("draw", *arguments, *output)
                self.assertEqual((done.returncode, done.stdout), (2, ""), done.stderr)
                self.assertIn(why, done.stderr)
                self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
                self.assertFalse((self.folder / "out.svg").exists())

    def test_more_than_a_picture_holds_is_said_aloud(self):
        dataset = self.points([(0, 0), (1, 1)], [("BOYLAT24", None, None, None)] * 2)
        connection = sqlite3.connect(dataset)
        with connection:
            connection.execute("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20001) "
                               "INSERT INTO MARKS (geom, SYMBOL_C) SELECT geom, SYMBOL_C FROM n, (SELECT * FROM MARKS WHERE fid = 1)")
        connection.close()
        file, done = self.draw(dataset)
        self.assertIn("more than 20000 features: of the layer MARKS only the first are drawn", done.stderr)
        self.assertEqual(file.read_text(encoding="utf-8").count("<use "), 20000)
        _, said = cxml_json("draw", dataset, "-o", self.folder / "x.svg", "--where", "fid <= 20000")
        self.assertEqual((said["complete"], said["layers"][0]["drawn"]), (True, 20000))


if __name__ == "__main__":
    main()
