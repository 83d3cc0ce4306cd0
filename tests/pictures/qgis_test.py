"""The styles that cxml style writes, in QGIS itself: each row is drawn with the symbol, the offset and the turn that its fields say."""
import collections
import math
import os
import pathlib
import subprocess
import sys

os.environ.setdefault("QT_QPA_PLATFORM", "offscreen")
ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "examples"))
from support import TestCase, cxml, main, query  # noqa: E402

from qgis.core import (Qgis, QgsApplication, QgsCoordinateReferenceSystem, QgsCoordinateTransform, QgsExpressionContext,  # noqa: E402
                       QgsExpressionContextUtils, QgsMapRendererSequentialJob, QgsMapSettings, QgsProject, QgsProviderRegistry, QgsRectangle,
                       QgsRenderContext, QgsSymbolLayer, QgsVectorLayer, QgsWkbTypes)
from qgis.PyQt.QtCore import QSize, QVariant  # noqa: E402
from qgis.PyQt.QtGui import QColor  # noqa: E402
from qgis.PyQt.QtXml import QDomDocument  # noqa: E402

HARBOUR = ROOT / "examples" / "harbour"
CELLS = pathlib.Path(os.environ.get("SYMBOLOGY_SAMPLE_CELLS") or ROOT.parent / "shared" / "sample-cells")
CELL = "US5OH10M.000"
KINDS = {QgsWkbTypes.PointGeometry: "Point", QgsWkbTypes.LineGeometry: "Line", QgsWkbTypes.PolygonGeometry: "Polygon"}
DOTS = 10  # a millimetre

QGIS = QgsApplication([], False)
QGIS.initQgis()


def value_of(feature, field):
    """A field's value; None for NULL, and where the layer lacks the field."""
    at = feature.fields().lookupField(field)
    value = feature[at] if at >= 0 else None
    return None if isinstance(value, QVariant) and value.isNull() else value


def markers_of(symbol):
    """The layers of markers in a symbol, also of those that stand on lines and in areas."""
    for layer in symbol.symbolLayers():
        if layer.subSymbol() is not None and layer.layerType() in ("MarkerLine", "CentroidFill"):
            yield from layer.subSymbol().symbolLayers()
        elif layer.layerType() in ("SvgMarker", "FontMarker", "SimpleMarker"):
            yield layer


def turned(x, y, degrees):
    """A vector, y down, turned clockwise."""
    angle = math.radians(degrees)
    return x * math.cos(angle) - y * math.sin(angle), x * math.sin(angle) + y * math.cos(angle)


class Styled(TestCase):
    def layers(self, dataset):
        """The layers that QGIS makes of a dataset, those of several kinds of shapes one for each, areas at the bottom."""
        found = []
        for part in QgsProviderRegistry.instance().querySublayers(str(dataset), Qgis.SublayerQueryFlag.ResolveGeometryType):
            layer = QgsVectorLayer(part.uri(), part.name(), "ogr")
            if part.wkbType() != QgsWkbTypes.NoGeometry and layer.fields().lookupField("SYMBOL_C") >= 0:
                self.assertTrue(layer.isValid(), part.uri())
                found.append(layer)
        order = list(KINDS.values())[::-1]
        return sorted(found, key=lambda layer: order.index(KINDS[layer.geometryType()]))

    def render(self, layers, name, extent=None, size=(2200, 2100), dpi=200):
        settings = QgsMapSettings()
        settings.setLayers(layers[::-1])
        settings.setOutputSize(QSize(*size))
        settings.setOutputDpi(dpi)
        settings.setDestinationCrs(QgsCoordinateReferenceSystem("EPSG:3857"))
        settings.setBackgroundColor(QColor("#ffffff"))
        if extent is None:
            extent = QgsRectangle()
            for layer in layers:
                to_map = QgsCoordinateTransform(layer.crs(), settings.destinationCrs(), QgsProject.instance())
                extent.combineExtentWith(to_map.transformBoundingBox(layer.extent()))
        settings.setExtent(extent)
        job = QgsMapRendererSequentialJob(settings)
        job.start()
        job.waitForFinished()
        self.assertEqual([error.message for error in job.errors()], [])
        image = job.renderedImage()
        if folder := os.environ.get("SYMBOLOGY_PICTURES"):
            pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
            self.assertTrue(image.save(str(pathlib.Path(folder) / f"qgis-{name}.png")))
        return image

    def assert_rows_are_drawn_as_they_say(self, layer, ledger):
        """Each feature's symbol is its name's category, and its markers are where its fields put them."""
        renderer = layer.renderer()
        context = QgsRenderContext()
        expressions = QgsExpressionContext(QgsExpressionContextUtils.globalProjectLayerScopes(layer))
        context.setExpressionContext(expressions)
        renderer.startRender(context, layer.fields())
        mixed = renderer.classAttribute() != layer.fields()[layer.fields().lookupField("SYMBOL_C")].name()
        kind = KINDS[layer.geometryType()]
        for feature in layer.getFeatures():
            title = f"{layer.name()} {feature.id()}"
            context.expressionContext().setFeature(feature)
            name = value_of(feature, "SYMBOL_C")
            symbol = renderer.symbolForFeature(feature, context)
            if name is None:
                shown = symbol is not None and any(
                    one.dataDefinedProperties().property(QgsSymbolLayer.PropertyLayerEnabled).valueAsBool(context.expressionContext(), True)[0]
                    for one in symbol.symbolLayers())
                self.assertFalse(shown, title)
                ledger["nothing"] += 1
                continue
            self.assertIsNotNone(symbol, title)
            keys = renderer.legendKeysForFeature(feature, context)
            self.assertEqual(len(keys), 1, title)
            category = renderer.categories()[int(next(iter(keys)))]
            self.assertEqual(category.value(), f"{kind} {name}" if mixed else name, title)
            self.assertTrue(category.label().startswith(name), category.label())
            ledger[kind] += 1
            wanted = [value_of(feature, field) or 0 for field in ("Xoffset_C", "Yoffset_C", "Rotate_C")]
            for marker in markers_of(symbol):
                properties = marker.dataDefinedProperties()
                angle, _ = properties.property(QgsSymbolLayer.PropertyAngle).valueAsDouble(context.expressionContext(), 0)
                offset = properties.property(QgsSymbolLayer.PropertyOffset).value(context.expressionContext())[0] or [0, 0]
                # QGIS turns the offset with the marker; y is down there, and up in the field.
                x, y = turned(offset[0], offset[1], angle)
                for got, expected in zip((x, -y, angle), wanted):
                    self.assertAlmostEqual(got, expected, 9, title)
                ledger["markers"] += 1
        renderer.stopRender(context)


class Harbour(Styled):
    def setUp(self):
        super().setUp()
        self.dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", self.dataset], check=True)
        done = cxml("symbolize", HARBOUR / "harbour.cxml", self.dataset, "--add-fields", "--style")
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_every_row(self):
        layers = self.layers(self.dataset)
        ledger = collections.Counter()
        for layer in layers:
            self.assert_rows_are_drawn_as_they_say(layer, ledger)
        rows = [query(self.dataset, f"SELECT SYMBOL_C IS NULL, count(*) FROM {name} GROUP BY 1") for name in {layer.name() for layer in layers}]
        self.assertEqual(ledger["nothing"], sum(count for some in rows for null, count in some if null))
        self.assertEqual(sum(ledger[kind] for kind in KINDS.values()), sum(count for some in rows for null, count in some if not null))
        self.assertGreater(ledger["markers"], 300)
        self.render(layers, "harbour")

    def test_labels_are_what_the_document_computes(self):
        labelled = {layer.name(): layer for layer in self.layers(self.dataset) if layer.labelsEnabled()}
        self.assertEqual(set(labelled), {"BOYCAR", "BOYLAT", "LIGHTS", "SBDARE"})
        for layer in labelled.values():
            self.assertEqual(layer.labeling().settings().fieldName, '"LABEL_C"')
        image = self.render(list(labelled.values()), "harbour-labels")
        self.assertIn(QColor("#1b1b1b").rgb(), {image.pixel(x, y) for x in range(image.width()) for y in range(0, image.height(), 3)})

    def test_night(self):
        self.assertEqual(cxml("style", self.dataset, HARBOUR / "harbour.cxml", "--palette", "night").returncode, 0)
        image = self.render(self.layers(self.dataset), "harbour-night")
        colours = collections.Counter(image.pixel(x, y) for x in range(0, image.width(), 7) for y in range(0, image.height(), 7))
        for colour, count in colours.most_common(4):
            if colour != QColor("#ffffff").rgb():  # of the page
                self.assertLess(QColor(colour).lightness(), 100, f"{colour:x}: {count}")

    def test_somebodys_folder_by_name(self):
        """The other style draws what a folder of QGIS's has under the name."""
        folder = self.folder / "office"
        folder.mkdir()
        (folder / "BOYLAT13.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg" width="5mm" height="5mm" viewBox="-5 -5 10 10">'
                                             '<rect x="-5" y="-5" width="10" height="10" fill="#00ff00"/></svg>', encoding="utf-8")
        before = QgsApplication.svgPaths()
        QgsApplication.setSvgPaths([*before, str(folder)])
        self.addCleanup(lambda: QgsApplication.setSvgPaths(before))
        layer = next(layer for layer in self.layers(self.dataset) if layer.name() == "BOYLAT")
        _, ids, names, _, _ = layer.listStylesInDatabase()
        qml, _ = layer.getStyleFromDatabase(ids[names.index("CXML by name")])
        document = QDomDocument()
        document.setContent(qml)
        self.assertEqual(layer.importNamedStyle(document), (True, ""))
        layer.setSubsetString("SYMBOL_C = 'BOYLAT13'")
        self.assertGreater(layer.featureCount(), 0)
        layer.setLabelsEnabled(False)
        image = self.render([layer], "by-name", size=(600, 600))
        green = sum(image.pixel(x, y) == QColor("#00ff00").rgb() for x in range(600) for y in range(600))
        self.assertGreater(green, layer.featureCount() * 15 * 15)


class RealCell(Styled):
    def test_every_row(self):
        if not (CELLS / CELL).is_file():
            self.skipTest(f"no cell at {CELLS / CELL}; set SYMBOLOGY_SAMPLE_CELLS to a folder that has {CELL}")
        dataset = self.folder / "cell.gpkg"
        done = cxml("symbolize", ROOT / "examples" / "enc" / "enc.cxml", CELLS / CELL, "-o", dataset, "--style")
        self.assertEqual(done.returncode, 0, done.stderr)
        layers = self.layers(dataset)
        ledger = collections.Counter()
        for layer in layers:
            self.assert_rows_are_drawn_as_they_say(layer, ledger)
        names = {layer.name() for layer in layers}
        self.assertLess(len(names), len(layers), "some layers have shapes of several kinds")
        self.assertEqual(sum(ledger[kind] for kind in KINDS.values()),
                         sum(query(dataset, f'SELECT count(*) FROM "{name}" WHERE SYMBOL_C IS NOT NULL AND geom IS NOT NULL')[0][0] for name in names))
        self.assertGreater(ledger["Polygon"], 100)
        self.assertGreater(ledger["Line"], 50)
        self.render(layers, "cell")


class Offsets(Styled):
    """Where the pixels are: a red square of 2 mm, with a blue square at its upper edge that shows where it is turned to."""

    PICTURE = ('<svg xmlns="http://www.w3.org/2000/svg" viewBox="-1 -3 2 4"><rect x="-1" y="-1" width="2" height="2" fill="#ff0000"/>'
               '<rect x="-1" y="-3" width="2" height="2" fill="#0000ff"/></svg>')
    STEP = 20  # millimetres between points

    def chart(self, rows, types="REAL"):
        symbols = self.folder / "symbols"
        symbols.mkdir()
        (symbols / "SQUARE.svg").write_text(self.PICTURE, encoding="utf-8")
        places = ", ".join(f'{{"type": "Feature", "properties": {{"n": {n}}}, "geometry": {{"type": "Point", "coordinates": [{n * self.STEP}, 0]}}}}'
                           for n in range(len(rows)))
        source = self.folder / "points.geojson"
        source.write_text(f'{{"type": "FeatureCollection", "features": [{places}]}}', encoding="utf-8")
        dataset = self.folder / "points.gpkg"
        # A millimetre of the picture is a metre of the map.
        subprocess.run(["ogr2ogr", "-q", "-f", "GPKG", dataset, source, "-nln", "MARKS", "-a_srs", "EPSG:3857", "-lco", "SPATIAL_INDEX=NO"], check=True)
        statements = [f"ALTER TABLE MARKS ADD COLUMN {column}" for column in
                      ("SYMBOL_C TEXT", f"Xoffset_C {types}", f"Yoffset_C {types}", f"Rotate_C {types}")]
        statements += [f"UPDATE MARKS SET SYMBOL_C = '{name}', Xoffset_C = {x}, Yoffset_C = {y}, Rotate_C = {turn} WHERE n = {n}"
                       for n, (name, x, y, turn) in enumerate(rows)]
        subprocess.run(["sqlite3", "-bail", dataset, ";".join(statements)], check=True)
        done = cxml("style", dataset, "--symbols", symbols)
        self.assertEqual(done.returncode, 0, done.stderr)
        return dataset

    def places(self, dataset, count, name):
        """For each point the middles of red and of blue from it, in millimetres, to the right and up."""
        high = 20
        extent = QgsRectangle(-self.STEP / 2, -high / 2, (count - 0.5) * self.STEP, high / 2)
        size = (count * self.STEP * DOTS, high * DOTS)
        image = self.render(self.layers(dataset), name, extent, size, dpi=25.4 * DOTS)
        found = []
        for n in range(count):
            pixels = {"red": [], "blue": []}
            for x in range(n * self.STEP * DOTS, (n + 1) * self.STEP * DOTS):
                for y in range(size[1]):
                    colour = QColor(image.pixel(x, y))
                    if colour.red() > 200 and colour.blue() < 60 and colour.green() < 60:
                        pixels["red"].append((x, y))
                    elif colour.blue() > 200 and colour.red() < 60 and colour.green() < 60:
                        pixels["blue"].append((x, y))
            middles = []
            for some in pixels.values():
                self.assertAlmostEqual(len(some) / (2 * DOTS) ** 2, 1, delta=0.15, msg=f"point {n}: squares of 2 mm")
                middles.append((((sum(x for x, _ in some) / len(some) + 0.5) / DOTS) - (n + 0.5) * self.STEP,
                                high / 2 - (sum(y for _, y in some) / len(some) + 0.5) / DOTS))
            found.append(middles)
        return found

    def assert_places(self, rows, name, **how):
        dataset = self.chart(rows, **how)
        for (_, x, y, turn), (red, blue) in zip(rows, self.places(dataset, len(rows), name)):
            x, y, turn = (0 if value == "NULL" else float(str(value).strip("'")) for value in (x, y, turn))
            up = (math.sin(math.radians(turn)), math.cos(math.radians(turn)))
            for got, expected in zip((*red, *blue), (x, y, x + 2 * up[0], y + 2 * up[1])):
                self.assertAlmostEqual(got, expected, delta=0.12, msg=f"{x}, {y}, turned by {turn}: {red} {blue}")

    def test_sign_and_unit(self):
        self.assert_places([("SQUARE", *place) for place in
                            [(0, 0, 0), (5, 0, 0), (0, 5, 0), (0, 0, 90), (5, 0, 90), (0, 5, 90), (-4, 3, 30), (2.5, -3.5, 225),
                             ("NULL", "NULL", "NULL"), ("NULL", 4, "NULL"), (3, "NULL", -45)]], "offsets")

    def test_fields_of_text(self):
        self.assert_places([("SQUARE", "'5'", "'0'", "'90'"), ("SQUARE", "'0'", "'-2.5'", "'0'")], "offsets-text", types="TEXT")

    def test_unknown_names_show_and_null_does_not(self):
        dataset = self.chart([("SQUARE", 0, 0, 0), ("NOSUCH01", 0, 0, 0), ("SQUARE", 0, 0, 0), ("SQUARE", 0, 0, 0)])
        # Names that came after the style: another one, none, and the empty one.
        subprocess.run(["sqlite3", "-bail", dataset, "UPDATE MARKS SET SYMBOL_C = NULL WHERE n = 0; UPDATE MARKS SET SYMBOL_C = 'LATER' WHERE n = 2;"
                        "UPDATE MARKS SET SYMBOL_C = '' WHERE n = 3"], check=True)
        extent = QgsRectangle(-10, -10, 70, 10)
        image = self.render(self.layers(dataset), "unknown", extent, (800, 200), dpi=254)
        drawn = [any(image.pixel(x, y) != QColor("#ffffff").rgb() for x in range(n * 200, n * 200 + 200) for y in range(200)) for n in range(4)]
        self.assertEqual(drawn, [False, True, True, False])


if __name__ == "__main__":
    main()
