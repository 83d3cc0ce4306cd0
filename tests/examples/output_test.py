"""symbolize -o: a symbolized copy of whatever GDAL reads."""
import json
import os
import shutil
import signal
import subprocess
import time
import zipfile

from support import ROOT, TestCase, cxml, cxml_json, main, query

HARBOUR = ROOT / "examples" / "harbour"
DOCUMENT = HARBOUR / "harbour.cxml"
CELLS = ROOT / "examples" / "enc" / "enc.cxml"


def tables(dataset):
    return [name for (name,) in query(dataset, "SELECT table_name FROM gpkg_contents ORDER BY table_name")]


class Output(TestCase):
    def setUp(self):
        super().setUp()
        self.dataset = self.folder / "harbour.gpkg"
        self.chart = self.folder / "chart.gpkg"
        subprocess.run([HARBOUR / "build", self.dataset], check=True)

    def run_to_chart(self, *arguments, status=0):
        done = cxml("symbolize", *arguments, "-o", self.chart)
        self.assertEqual(done.returncode, status, done.stderr)
        self.assertEqual(list(self.folder.glob("*.partial-*")), [])
        return done

    def check_same(self, other):
        self.assertEqual(tables(self.chart), tables(other))
        for table in tables(other):
            with self.subTest(table):
                self.assertEqual(query(self.chart, f'SELECT * FROM "{table}" ORDER BY 1'),
                                 query(other, f'SELECT * FROM "{table}" ORDER BY 1'))

    def test_the_copy_is_what_a_run_in_place_makes(self):
        before = self.dataset.read_bytes()
        done = self.run_to_chart(DOCUMENT, self.dataset)
        self.assertTrue(done.stdout.endswith(f"{self.chart}: 20 layers\n"), done.stdout)
        self.assertTrue(before == self.dataset.read_bytes())
        in_place = cxml("symbolize", DOCUMENT, self.dataset, "--add-fields")
        self.assertEqual(done.stdout.replace(f"{self.chart}: 20 layers\n", ""), in_place.stdout)
        self.check_same(self.dataset)
        self.assertEqual(query(self.chart, "SELECT identifier FROM gpkg_contents WHERE table_name = 'UWTROC'"), [("Rocks",)])

    def test_a_cell_is_imported(self):
        cell = self.folder / "cell"
        subprocess.run(["python3", "-B", HARBOUR / "generator", "--cell", cell], check=True)
        self.run_to_chart(CELLS, cell / "XX5MERRW.000")
        imported = self.folder / "imported.gpkg"
        cxml("import", cell / "XX5MERRW.000", imported)
        self.assertEqual(cxml("symbolize", CELLS, imported, "--add-fields").returncode, 0)
        self.check_same(imported)

    def test_formats(self):
        shapes = self.folder / "shapes"
        shapes.mkdir()
        subprocess.run(["ogr2ogr", "-f", "ESRI Shapefile", shapes / "BOYLAT.shp", self.dataset, "BOYLAT"], check=True)
        with zipfile.ZipFile(self.folder / "shapes.zip", "w") as archive:
            for file in shapes.iterdir():
                archive.write(file, file.name)
        geojson = self.folder / "BOYLAT.geojson"
        subprocess.run(["ogr2ogr", "-f", "GeoJSON", geojson, self.dataset, "BOYLAT"], check=True)
        for name in (shapes / "BOYLAT.shp", self.folder / "shapes.zip", f"/vsizip/{self.folder}/shapes.zip", geojson):
            with self.subTest(name):
                self.run_to_chart(DOCUMENT, name, "--overwrite", "--subtype-field", "FCSUBTYPE")
                self.assertEqual(query(self.chart, "SELECT DISTINCT SYMBOL_C FROM BOYLAT ORDER BY 1"),
                                 [("BOYDEF03",), ("BOYLAT13",), ("BOYLAT24",), ("BOYSPR60",), ("BOYSPR61",)])

    def test_where_in_place_is_refused_the_copy_is_named(self):
        geojson = self.folder / "BOYLAT.geojson"
        subprocess.run(["ogr2ogr", "-f", "GeoJSON", geojson, self.dataset, "BOYLAT"], check=True)
        done = cxml("symbolize", DOCUMENT, geojson)
        self.assertEqual(done.returncode, 2)
        self.assertTrue(done.stderr.endswith("; or write a symbolized copy: --output chart.gpkg\n"), done.stderr)
        done = cxml("symbolize", DOCUMENT, self.folder / "none.gpkg")
        self.assertNotIn("--output", done.stderr)

    def test_configuration_options_of_gdal(self):
        geojson = self.folder / "BOYLAT.geojson"
        subprocess.run(["ogr2ogr", "-f", "GeoJSON", geojson, self.dataset, "BOYLAT"], check=True)
        tiny = ("--config", "CPL_TMPDIR=/", "--config", "OGR_GEOJSON_MAX_OBJ_SIZE=0.00001")
        done = self.run_to_chart(DOCUMENT, geojson, *tiny, "--subtype-field", "FCSUBTYPE", status=2)
        self.assertIn("OGR_GEOJSON_MAX_OBJ_SIZE", done.stderr)
        self.assertFalse(self.chart.exists())
        self.run_to_chart(DOCUMENT, geojson, "--subtype-field", "FCSUBTYPE")

    def test_lists_and_names_of_columns(self):
        feature = {"type": "Feature", "id": 7, "geometry": {"type": "Point", "coordinates": [1, 2]},
                   "properties": {"COLOUR": [3, 4], "NAMES": ["a", "b,c"], "fid": "mine", "geom": "too"}}
        file = self.folder / "BOYLAT.geojson"
        file.write_text(json.dumps({"type": "FeatureCollection", "features": [feature]}), encoding="utf-8")
        self.run_to_chart(DOCUMENT, file)
        self.assertEqual(query(self.chart, "SELECT COLOUR, NAMES, fid, geom FROM BOYLAT"), [("3,4", "a,b,c", "mine", "too")])
        explained = cxml("explain", DOCUMENT, self.chart, "BOYLAT", "--where", "1")
        self.assertEqual(explained.returncode, 0, explained.stderr)

    def test_rows_and_layers_limit_the_run_and_not_the_copy(self):
        self.run_to_chart(DOCUMENT, self.dataset, "BOYLAT", "--fids", "1,2")
        self.assertEqual(query(self.chart, "SELECT count(*), count(SYMBOL_C) FROM BOYLAT"), [(23, 2)])
        self.assertEqual(len(tables(self.chart)), 20)
        fields = [name for _, name, *_ in query(self.chart, "PRAGMA table_info(LIGHTS)")]
        self.assertNotIn("SYMBOL_C", fields)

    def test_what_is_there_stays(self):
        self.chart.write_text("mine", encoding="utf-8")
        done = self.run_to_chart(DOCUMENT, self.dataset, status=2)
        self.assertEqual(done.stderr, f"cxml: {self.chart}: cannot be written: exists already; --overwrite replaces it\n")
        self.run_to_chart(DOCUMENT, self.folder / "none.gpkg", "--overwrite", status=2)
        self.run_to_chart(self.folder / "none.cxml", self.dataset, "--overwrite", status=1)
        self.run_to_chart(DOCUMENT, self.dataset, "NOTHING", "--overwrite", status=2)
        self.assertEqual(self.chart.read_text(encoding="utf-8"), "mine")
        self.run_to_chart(DOCUMENT, self.dataset, "--overwrite")
        self.assertEqual(len(tables(self.chart)), 20)

    def test_the_input_is_not_replaced(self):
        before = self.dataset.read_bytes()
        os.link(self.dataset, self.folder / "link.gpkg")
        for name in (self.dataset, self.folder / "link.gpkg"):
            done = cxml("symbolize", DOCUMENT, self.dataset, "-o", name, "--overwrite")
            self.assertEqual((done.returncode, done.stderr), (2, f"cxml: {name}: cannot be written: the command reads it\n"))
        self.assertTrue(before == self.dataset.read_bytes())

    def test_a_failed_layer_is_said_and_the_rest_is_written(self):
        document = self.folder / "failing.cxml"
        document.write_text(DOCUMENT.read_text(encoding="utf-8").replace("library=\"light_character\"", ""), encoding="utf-8")
        shutil.copy(HARBOUR / "light_character.py", self.folder)
        status, said = cxml_json("symbolize", document, self.dataset, "-o", self.chart, "--strict")
        self.assertIn(status, (0, 1))
        self.assertEqual(len(tables(self.chart)), 20)
        self.assertEqual(len(said["layers"]), 20)

    def test_an_interrupted_copy_leaves_nothing(self):
        document = self.folder / "slow.cxml"
        document.write_text("<conditionMap name='m'><featureClass name='BOYLAT'><condition type='2' field='LABEL_C'>"
                            "<expression>def Generate():\n import time\n time.sleep(1)\n return ''</expression></condition>"
                            "</featureClass></conditionMap>", encoding="utf-8")
        with subprocess.Popen([os.environ["CXML"], "symbolize", document, self.dataset, "-o", self.chart, "-q"],
                              stderr=subprocess.PIPE, text=True) as process:
            deadline = time.monotonic() + 60
            while not list(self.folder.glob("*.partial-*")) and time.monotonic() < deadline:
                time.sleep(0.05)
            time.sleep(2)
            process.send_signal(signal.SIGINT)
            said = process.stderr.read()
        self.assertEqual((process.returncode, said), (130, "cxml: interrupted\n"))
        self.assertFalse(self.chart.exists())
        self.assertEqual(list(self.folder.glob("*.partial-*")), [])


if __name__ == "__main__":
    main()
