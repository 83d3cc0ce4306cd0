"""cxml symbols import: pictures with a style sheet become plain ones around their position."""
import re
import xml.etree.ElementTree as ElementTree

from support import TestCase, cxml, main

SVG = "{http://www.w3.org/2000/svg}"
HEAD = ('<?xml-stylesheet href="daySvgStyle.css" type="text/css"?>\n<svg xmlns="http://www.w3.org/2000/svg" '
        'xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#" viewBox="{}" width="8mm" height="4mm">')
DAY = """/* .fRED { fill: #000000 } */
.fRED, .fPINK { fill: #D00000; }
.sINK {stroke:#101010; font-family: Arial}
.layout { display: none }
path.fRED { fill: #00ff00 }
.f0 { fill: none }
"""
NIGHT = ".fRED { fill: #300000 } .layout { display: none }"


class Catalogue(TestCase):
    def setUp(self):
        super().setUp()
        self.source = self.folder / "catalogue" / "Symbols"
        self.source.mkdir(parents=True)
        (self.source / "daySvgStyle.css").write_text(DAY, encoding="utf-8")
        (self.source / "nightSvgStyle.css").write_text(NIGHT, encoding="utf-8")

    def add(self, name, body, box="-1 -2 5 3"):
        (self.source / f"{name}.svg").write_text(HEAD.format(box) + body + "</svg>", encoding="utf-8")

    def run_import(self, status, *options, folder="made"):
        done = cxml("symbols", "import", self.folder / "catalogue", self.folder / folder, *options)
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def test_styles_become_attributes_and_helpers_go(self):
        self.add("ONE", '<title>ONE</title><metadata><rdf:RDF/></metadata>'
                        '<rect class="layout symbolBox" x="-1" y="-2" width="5" height="3"/>'
                        '<path class="sl fRED sINK" style="stroke-width: 0.32; font-size: 3" fill="#123456" d="M0,0L1,1"/>'
                        '<circle class="f0 sINK" style="stroke-width: 0.1;" cx="0" cy="0" r="1"/>')
        done = self.run_import(0)
        self.assertEqual((done.stdout, done.stderr), (f"{self.folder / 'made'}: 1 picture, 0 refused\n", ""))
        root = ElementTree.parse(self.folder / "made" / "ONE.svg").getroot()
        self.assertEqual((root.get("viewBox"), root.get("width"), root.get("height")), ("-4 -2 8 4", "8mm", "4mm"))
        shapes = [(element.tag.removeprefix(SVG), element.attrib) for element in root.iter()][2:]
        self.assertEqual(shapes, [
            ("path", {"d": "M0,0L1,1", "fill": "#D00000", "stroke": "#101010", "stroke-width": "0.32"}),
            ("circle", {"cx": "0", "cy": "0", "r": "1", "fill": "none", "stroke": "#101010", "stroke-width": "0.1"})])

    def test_the_palette_chooses_the_style_sheet(self):
        self.add("ONE", '<path class="fRED" d="M0,0L1,1"/>')
        self.run_import(0, "--palette", "night")
        self.assertIn('fill="#300000"', (self.folder / "made" / "ONE.svg").read_text(encoding="utf-8"))
        done = self.run_import(2, "--palette", "dusk", folder="dusk")
        self.assertIn("there is no style sheet dusk*.css", done.stderr)
        self.assertFalse((self.folder / "dusk").exists())

    def test_what_was_imported_can_be_drawn_with(self):
        self.add("ONE", '<path class="fRED" d="M0,0L1,1"/>')
        self.run_import(0)
        data = self.folder / "points.geojson"
        data.write_text('{"type": "FeatureCollection", "features": [{"type": "Feature", "properties": {"SYMBOL_C": "ONE"}, '
                        '"geometry": {"type": "Point", "coordinates": [1, 2]}}]}', encoding="utf-8")
        done = cxml("draw", data, "-o", self.folder / "chart.svg", "--symbols", self.folder / "made")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertNotIn("no picture", done.stdout)
        self.assertIn('<path d="M0,0L1,1" fill="#D00000"/>', (self.folder / "chart.svg").read_text(encoding="utf-8"))

    def test_what_is_more_than_shapes_is_refused_and_named(self):
        bodies = {"SCRIPT": "<script/>", "LINK": '<a href="x"/>', "EVENT": '<path onload="x()" d="M0,0"/>',
                  "IMAGE": '<image href="x.png"/>', "URL": '<path style="fill: url(#x)" d="M0,0"/>',
                  "OUTSIDE": '<path style="fill: red&quot;/&gt;" d="M0,0"/>'}
        for name, body in bodies.items():
            self.add(name, body)
        self.add("NOBOX", '<path d="M0,0"/>', box="0 0 x")
        self.add("VAST", '<path d="M0,0"/>', box="0 0 inf 1")
        self.add("GOOD", '<path d="M0,0"/>')
        done = self.run_import(1)
        self.assertEqual(done.stdout, f"{self.folder / 'made'}: 1 picture, {len(bodies) + 2} refused\n")
        self.assertEqual(sorted(re.findall(r"/(\w+)\.svg: ", done.stderr)), sorted([*bodies, "NOBOX", "VAST"]))
        self.assertEqual([path.name for path in (self.folder / "made").iterdir()], ["GOOD.svg"])

    def test_nothing_is_written_over(self):
        self.add("ONE", '<path d="M0,0"/>')
        (self.folder / "made").mkdir()
        (self.folder / "made" / "mine.txt").write_text("mine", encoding="utf-8")
        done = self.run_import(2)
        self.assertEqual(done.stderr, f"cxml: {self.folder / 'made'}: exists already and is no empty folder\n")
        self.assertEqual([path.name for path in (self.folder / "made").iterdir()], ["mine.txt"])

    def test_a_folder_without_a_catalogue_is_said(self):
        done = cxml("symbols", "import", self.folder / "nowhere", self.folder / "made")
        self.assertEqual(done.returncode, 2)
        self.assertIn("nowhere: the folder cannot be read", done.stderr)
        self.assertIn("there are no pictures", self.run_import(2).stderr)


if __name__ == "__main__":
    main()
