"""The pictures of the symbols: they are what their program draws, every name of the examples has one, and each is plain."""
import json
import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

from support import ROOT, TestCase, main

SYMBOLS = ROOT / "share" / "symbology" / "symbols"
SVG = "{http://www.w3.org/2000/svg}"
ELEMENTS = {"svg", "title", "g", "polygon", "polyline", "circle", "ellipse", "path"}
ATTRIBUTES = {"width", "height", "viewBox", "transform", "points", "cx", "cy", "r", "rx", "ry", "d", "class", "fill", "stroke",
              "stroke-width", "stroke-linecap", "stroke-linejoin", "stroke-dasharray"}


def styles():
    return json.loads((SYMBOLS / "styles.json").read_text(encoding="utf-8"))


def drawn():
    return {path.stem: path for path in SYMBOLS.glob("*.svg")}


class Pictures(TestCase):
    def test_the_program_draws_them(self):
        subprocess.run([sys.executable, "-B", ROOT / "scripts" / "symbols", self.folder], check=True)
        made = {path.name: path.read_bytes() for path in self.folder.iterdir()}
        kept = {path.name: path.read_bytes() for path in drawn().values()}
        self.assertEqual(sorted(made), sorted(kept))
        for name in sorted(made):
            self.assertTrue(made[name] == kept[name], f"{name} differs from what the program draws")

    def test_every_name_of_the_examples_has_a_picture_or_a_style(self):
        documents = sorted((ROOT / "examples").rglob("*.cxml"))
        names = {name for document in documents
                 for name in re.findall(r'rulename="([^"]+)"', document.read_text(encoding="utf-8"))}
        self.assertGreater(len(names), 100)
        known = set(drawn())
        for kind in ("lines", "areas", "figures"):
            known |= set(styles()[kind])
        self.assertEqual(sorted(names - known), [])

    def test_each_is_plain_and_has_its_position_in_the_middle(self):
        day = styles()["palettes"]["day"]
        self.assertGreater(len(drawn()), 85)
        for name, path in drawn().items():
            with self.subTest(name):
                root = ElementTree.parse(path).getroot()
                x, y, width, height = map(float, root.get("viewBox").split())
                self.assertEqual((2 * x, 2 * y), (-width, -height))
                self.assertEqual((root.get("width"), root.get("height")), tuple(f"{side:g}mm" for side in (width, height)))
                self.assertTrue(root.find(f"{SVG}title").text.startswith(name + ": "))
                for element in root.iter():
                    self.assertIn(element.tag.removeprefix(SVG), ELEMENTS)
                    self.assertLessEqual(set(element.attrib), ATTRIBUTES)
                    colours = {kind: value for kind, value in element.attrib.items()
                               if kind in ("fill", "stroke") and value != "none"}
                    tokens = dict(word.split("-", 1) for word in element.get("class", "").split())
                    self.assertEqual(colours, {kind: day[token] for kind, token in tokens.items()})


class Styles(TestCase):
    def test_the_palettes_have_the_same_tokens(self):
        palettes = styles()["palettes"]
        self.assertEqual(sorted(palettes), ["day", "dusk", "night"])
        for name, colours in palettes.items():
            self.assertEqual(list(colours), list(palettes["day"]), name)
            for token, colour in colours.items():
                self.assertRegex(colour, "^#[0-9a-f]{6}$", token)

    def test_every_token_is_in_the_palettes_and_every_picture_is_there(self):
        said = styles()
        self.assertEqual(sorted(said), ["areas", "figures", "lines", "palettes"])
        tokens = []
        for name, area in said["areas"].items():
            outline = area.get("outline", {})
            tokens += [area.get("fill"), area.get("hatch"), outline.get("stroke")]
            if area.get("symbol"):
                self.assertIn(name, drawn())
        tokens += [line["stroke"] for line in said["lines"].values()] + [text["fill"] for text in said["figures"].values()]
        self.assertLessEqual(set(tokens) - {None}, set(said["palettes"]["day"]))
        self.assertGreater(len(tokens), 30)


if __name__ == "__main__":
    main()
