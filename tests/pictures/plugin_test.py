"""The QGIS plug-in: its algorithms give what the program gives. CXML names the program."""
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
HARBOUR = ROOT / "examples" / "harbour"
DOCUMENT = str(HARBOUR / "harbour.cxml")
sys.path.insert(0, str(ROOT / "plugins" / "qgis"))
os.environ["QT_QPA_PLATFORM"] = "offscreen"

from qgis.core import (QgsApplication, QgsFeatureRequest, QgsProcessingContext, QgsProcessingFeedback,  # noqa: E402
                       QgsProject, QgsVectorLayer)

from cxml_symbology import runner  # noqa: E402
from cxml_symbology.plugin import Plugin  # noqa: E402
from cxml_symbology.source import dataset_and_layer, server  # noqa: E402
from cxml_symbology.why import SCOPE, WhyPanel, explanation  # noqa: E402

ALGORITHMS = ["check", "diff", "explain", "import", "reset", "style", "symbolize"]


def tool(*words):
    return subprocess.run([os.environ["CXML"], *map(str, words)], capture_output=True, text=True, check=False)


class Runner(unittest.TestCase):
    def test_a_missing_program_is_named(self):
        with self.assertRaisesRegex(runner.ToolError, "/nowhere/cxml"):
            runner.find_tool("/nowhere/cxml")

    def test_a_cancelled_run_ends_within_a_second(self):
        with tempfile.TemporaryDirectory() as folder:
            never = os.path.join(folder, "never.cxml")
            os.mkfifo(never)
            begun = time.monotonic()
            with self.assertRaises(runner.Cancelled):
                runner.run(os.environ["CXML"], ["check", never], lambda: time.monotonic() - begun > 0.5)
            self.assertLess(time.monotonic() - begun, 2.5)


class InQgis(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.home = tempfile.TemporaryDirectory()
        cls.application = QgsApplication([], True, cls.home.name)
        cls.application.initQgis()
        cls.plugin = Plugin()
        cls.plugin.initProcessing()

    @classmethod
    def tearDownClass(cls):
        cls.plugin.unload()
        cls.application.exitQgis()
        cls.home.cleanup()

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.chart = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", self.chart], check=True, capture_output=True)
        self.addCleanup(QgsProject.instance().clear)

    def layer(self, name="BOYLAT"):
        layer = QgsVectorLayer(f"{self.chart}|layername={name}", name, "ogr")
        self.assertTrue(layer.isValid())
        QgsProject.instance().addMapLayer(layer)
        return layer

    def run_algorithm(self, name, feedback=None, **parameters):
        """Whether it succeeded, its results, and its log."""
        context, feedback = QgsProcessingContext(), feedback or QgsProcessingFeedback()
        context.setProject(QgsProject.instance())
        algorithm = QgsApplication.processingRegistry().createAlgorithmById(f"cxml:{name}")
        results, succeeded = algorithm.run(parameters, context, feedback)
        return succeeded, results, feedback.textLog()

    def rows(self, chart=None):
        done = subprocess.run(["sqlite3", chart or self.chart, "SELECT fid, SYMBOL_C FROM BOYLAT ORDER BY fid"], capture_output=True,
                              text=True, check=False)
        return done.stdout

    def test_every_command_has_an_algorithm_with_words(self):
        provider = QgsApplication.processingRegistry().providerById("cxml")
        self.assertEqual(sorted(algorithm.name() for algorithm in provider.algorithms()), ALGORITHMS)
        for algorithm in provider.algorithms():
            self.assertTrue(algorithm.displayName() and algorithm.shortHelpString(), algorithm.name())

    def test_symbolize_gives_what_the_program_gives_and_reset_takes_it_away(self):
        other = self.folder / "other.gpkg"
        shutil.copy(self.chart, other)
        self.assertEqual(tool("symbolize", DOCUMENT, other, "BOYLAT", "--add-fields").returncode, 0)
        layer = self.layer()
        succeeded, results, log = self.run_algorithm("symbolize", DOCUMENT=DOCUMENT, LAYER=layer)
        self.assertTrue(succeeded, log)
        self.assertEqual(results, {"ROWS": 23, "CHANGED": 23})
        self.assertIn("BOYLAT: 23 rows, 23 changed", log)
        self.assertEqual(self.rows(), self.rows(other))
        self.assertIn("SYMBOL_C", [field.name() for field in layer.fields()])
        again = QgsVectorLayer(f"{self.chart}|layername=BOYLAT", "again", "ogr")
        self.assertEqual(again.renderer().type(), "categorizedSymbol")
        self.assertEqual(self.run_algorithm("symbolize", DOCUMENT=DOCUMENT, LAYER=layer)[1], {"ROWS": 23, "CHANGED": 0})
        self.assertEqual(self.run_algorithm("symbolize", DOCUMENT=DOCUMENT, LAYER=layer, WHERE="fid <= 3")[1], {"ROWS": 3, "CHANGED": 0})
        self.assertEqual(self.run_algorithm("reset", DOCUMENT=DOCUMENT, LAYER=layer)[1], {"ROWS": 23, "CHANGED": 23})
        self.assertEqual(self.rows().count("|\n"), 23)

    def test_a_failed_run_says_why_and_writes_nothing(self):
        succeeded, _, log = self.run_algorithm("symbolize", DOCUMENT=DOCUMENT, LAYER=self.layer(), ADD_FIELDS=False, STYLE=False)
        self.assertFalse(succeeded)
        self.assertIn("which 'cxml symbolize' with --add-fields adds", log)
        self.assertEqual(self.rows(), "")

    def test_check_counts_and_names_the_lines(self):
        document = self.folder / "wrong.cxml"
        document.write_text('<conditionMap name="W"><featureClass name="BOYLAT">\n<condition rulname="A"/></featureClass></conditionMap>', encoding="utf-8")
        succeeded, results, log = self.run_algorithm("check", DOCUMENT=str(document), LAYER=self.layer())
        said = json.loads(tool("check", document, self.chart, "--json").stdout)
        self.assertTrue(succeeded, log)
        severities = [finding["severity"] for finding in said["findings"]]
        self.assertEqual(results, {"ERRORS": severities.count("error"), "WARNINGS": severities.count("warning"),
                                   "NOTES": severities.count("note")})
        self.assertGreater(results["ERRORS"], 0)
        self.assertIn("did you mean 'rulename'?", log)
        self.assertIn(f"{document}:", log)

    def test_explain_style_and_diff(self):
        layer = self.layer()
        self.assertEqual(self.run_algorithm("symbolize", DOCUMENT=DOCUMENT, LAYER=layer, STYLE=False)[0], True)
        _, results, _ = self.run_algorithm("explain", DOCUMENT=DOCUMENT, LAYER=layer, FID=1)
        self.assertEqual(results["EXPLANATION"], tool("explain", DOCUMENT, self.chart, "BOYLAT", "--fid", 1).stdout)
        succeeded, _, log = self.run_algorithm("style", DOCUMENT=DOCUMENT, LAYER=layer)
        self.assertTrue(succeeded, log)
        self.assertIn("symbols", log)
        subprocess.run(["ogrinfo", "-q", self.chart, "-sql", "UPDATE BOYLAT SET SYMBOL_C = 'OLD' WHERE fid = 2"], check=True)
        output = self.folder / "groups.json"
        succeeded, results, log = self.run_algorithm("diff", DOCUMENT=DOCUMENT, LAYER=layer, OUTPUT=str(output))
        self.assertTrue(succeeded, log)
        self.assertEqual((results["ROWS"], results["SAME"]), (23, 22))
        self.assertIn("BOYLAT: 1 row, symbol: OLD -> BOYLAT13 by line 48", log)
        self.assertEqual(len(json.loads(output.read_text(encoding="utf-8"))["groups"]), 1)

    def test_a_cell_is_imported(self):
        subprocess.run([sys.executable, "-B", HARBOUR / "generator", "--cell", self.folder], check=True, capture_output=True)
        output = self.folder / "cell.gpkg"
        succeeded, results, log = self.run_algorithm("import", CELL=str(self.folder / "XX5MERRW.000"), OUTPUT=str(output))
        self.assertTrue(succeeded, log)
        self.assertEqual(results, {"OUTPUT": str(output)})
        self.assertTrue(QgsVectorLayer(f"{output}|layername=LIGHTS", "lights", "ogr").isValid())
        succeeded, _, log = self.run_algorithm("import", CELL=str(self.folder / "XX5MERRW.000"), OUTPUT=str(output))
        self.assertFalse(succeeded)
        self.assertIn("exists", log)

    def test_saved_layers_only_and_none_in_edit_mode(self):
        layer = self.layer()
        self.assertEqual(dataset_and_layer(layer), (str(self.chart), "BOYLAT"))
        self.assertTrue(layer.startEditing())
        succeeded, _, log = self.run_algorithm("symbolize", DOCUMENT=DOCUMENT, LAYER=layer)
        self.assertFalse(succeeded)
        self.assertIn("BOYLAT is being edited: save or discard its changes first", log)
        layer.rollBack()
        self.assertTrue(layer.setSubsetString("fid < 3"))
        with self.assertRaisesRegex(runner.ToolError, "remove its filter"):
            dataset_and_layer(layer)
        memory = QgsVectorLayer("Point?crs=EPSG:4326&field=A:integer", "buoys", "memory")
        with self.assertRaisesRegex(runner.ToolError, "buoys is not a saved layer"):
            dataset_and_layer(memory)

    def test_a_layer_of_a_server_is_named_as_the_program_names_it(self):
        layer = QgsVectorLayer("dbname='charts' host=/run/pg port=5433 user='o\\'hara' key='fid' table=\"office\".\"boylat\" (geom)",
                               "boylat", "postgres")
        self.assertEqual(server(layer), ("PG:host='/run/pg' port='5433' dbname='charts' user='o\\'hara'", "office.boylat"))

    def server(self):
        """The folder of a private server's socket, with a database that has PostGIS."""
        state = self.folder / "server"
        program = [sys.executable, "-B", ROOT / "tests/postgres/server.py"]
        subprocess.run([*program, "start", state], check=True, env={**os.environ, "CXML_TEST_SERVER_SECONDS": "240"})
        said = state.read_text(encoding="utf-8").strip()
        if said.startswith("none: "):
            self.skipTest(said[6:])
        self.addCleanup(subprocess.run, [*program, "stop", state], check=True)
        # PostGIS is in the template of databases.
        for database, command in (("postgres", "CREATE DATABASE charts"), ("charts", "CREATE SCHEMA office")):
            subprocess.run(["psql", "-X", "-q", "-h", said, "-U", "admin", "-d", database, "-c", command], check=True)
        return said

    def test_a_layer_of_a_server_is_symbolized(self):
        folder = self.server()
        place = f"PG:host={folder} dbname=charts user=admin"
        subprocess.run(["ogr2ogr", "-f", "PostgreSQL", place, self.chart, "BOYLAT", "-nln", "office.boylat", "-lco", "FID=fid"], check=True)
        uri = f"host={folder} dbname='charts' user='admin' key='fid' table=\"office\".\"boylat\" (geom)"
        layer = QgsVectorLayer(uri, "Buoys", "postgres")
        self.assertTrue(layer.isValid(), layer.error().message())
        QgsProject.instance().addMapLayer(layer)
        succeeded, _, log = self.run_algorithm("symbolize", DOCUMENT=DOCUMENT, LAYER=layer)
        self.assertFalse(succeeded)
        self.assertIn("there is no table public.layer_styles", log)
        self.assertNotIn("symbol_c", [field.name() for field in QgsVectorLayer(uri, "untouched", "postgres").fields()])
        subtypes = {"SUBTYPE_FIELD": "fcsubtype"}
        succeeded, results, log = self.run_algorithm("symbolize", DOCUMENT=DOCUMENT, LAYER=layer, STYLE_TABLE=True, **subtypes)
        self.assertTrue(succeeded, log)
        self.assertEqual(results, {"ROWS": 23, "CHANGED": 23})
        self.assertEqual(tool("symbolize", DOCUMENT, self.chart, "BOYLAT", "--add-fields").returncode, 0)
        self.assertIn("symbol_c", [field.name() for field in layer.fields()])
        found = "".join(f"{feature['fid']}|{feature['symbol_c']}\n" for feature in sorted(layer.getFeatures(), key=lambda row: row["fid"]))
        self.assertEqual(found, self.rows())
        again = QgsVectorLayer(uri, "again", "postgres")
        self.assertEqual(again.renderer().type(), "categorizedSymbol")
        _, results, _ = self.run_algorithm("explain", DOCUMENT=DOCUMENT, LAYER=layer, FID=2, **subtypes)
        said = tool("explain", DOCUMENT, place, "office.boylat", "--fid", 2, "--subtype-field", "fcsubtype").stdout
        self.assertEqual(results["EXPLANATION"], said)
        self.assertIn("BOYLAT13", said)
        QgsProject.instance().writeEntry(SCOPE, "document", DOCUMENT)
        self.assertEqual(explanation(layer, 2), said)
        self.assertEqual(self.run_algorithm("diff", DOCUMENT=DOCUMENT, LAYER=layer, **subtypes)[1]["SAME"], 23)
        self.assertTrue(self.run_algorithm("check", DOCUMENT=DOCUMENT, LAYER=layer, **subtypes)[0])
        self.assertEqual(self.run_algorithm("reset", DOCUMENT=DOCUMENT, LAYER=layer)[1], {"ROWS": 23, "CHANGED": 23})

    def test_a_cancelled_run_leaves_the_dataset(self):
        document = self.folder / "slow.cxml"
        document.write_text('<conditionMap name="S"><featureClass name="BOYLAT"><condition rulename="A"/><condition type="2" field="LABEL_C">'
                            "<expression>def Generate():\n import time\n time.sleep(0.2)\n return 'x'</expression></condition>"
                            "</featureClass></conditionMap>", encoding="utf-8")
        feedback = QgsProcessingFeedback()
        threading.Timer(1.0, feedback.cancel).start()
        begun = time.monotonic()
        succeeded, _, log = self.run_algorithm("symbolize", feedback, DOCUMENT=str(document), LAYER=self.layer(), STYLE=False)
        self.assertFalse(succeeded)
        self.assertIn("The run was cancelled.", log)
        self.assertLess(time.monotonic() - begun, 4)
        self.assertNotIn("A", self.rows())

    def test_a_click_shows_the_explanation(self):
        layer = self.layer()
        self.assertTrue(self.run_algorithm("symbolize", DOCUMENT=DOCUMENT, LAYER=layer, STYLE=False)[0])
        panel = WhyPanel()
        feature = next(layer.getFeatures(QgsFeatureRequest(1)))
        panel.explain(layer, feature)
        self.assertIn("no rule document", panel.text.toPlainText())
        QgsProject.instance().writeEntry(SCOPE, "document", DOCUMENT)
        panel.explain(layer, feature)
        self.assertEqual(panel.text.toPlainText(), tool("explain", DOCUMENT, self.chart, "BOYLAT", "--fid", 1).stdout)
        pictures = os.environ.get("SYMBOLOGY_PICTURES")
        if pictures:
            panel.resize(700, 300)
            Path(pictures).mkdir(parents=True, exist_ok=True)
            panel.grab().save(str(Path(pictures) / "qgis-why.png"))


class InQgisProcess(unittest.TestCase):
    """The program for scripts, with nothing of a window."""

    def setUp(self):
        # Debian's qgis_process is a script that hands over options of the program with a window.
        self.program = shutil.which("qgis_process.bin") or shutil.which("qgis_process")
        if not self.program:
            self.skipTest("qgis_process is not installed")
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / "home").mkdir(mode=0o700)
        self.assertIn("cxml_symbology", self.process("plugins", "enable", "cxml_symbology").stdout)

    def process(self, *words):
        home = str(self.folder / "home")
        return subprocess.run([self.program, *words], capture_output=True, text=True, check=False, timeout=120,
                              env={**os.environ, "HOME": home, "XDG_RUNTIME_DIR": home, "QGIS_PLUGINPATH": str(ROOT / "plugins" / "qgis")})

    def run_algorithm(self, name, *parameters):
        done = self.process("run", f"cxml:{name}", "--json", "--", *parameters)
        return done.returncode, json.loads(done.stdout)["results"] if done.stdout.startswith("{") else None, done.stderr

    def test_the_algorithms_are_listed(self):
        listed = self.process("list").stdout
        for name in ALGORITHMS:
            self.assertIn(f"cxml:{name}\t", listed)

    def test_a_chart_is_symbolized(self):
        chart, other = self.folder / "harbour.gpkg", self.folder / "other.gpkg"
        subprocess.run([HARBOUR / "build", chart], check=True, capture_output=True)
        shutil.copy(chart, other)
        layer = f"LAYER={chart}|layername=BOYLAT"
        status, results, errors = self.run_algorithm("symbolize", f"DOCUMENT={DOCUMENT}", layer)
        self.assertEqual((status, results), (0, {"ROWS": 23, "CHANGED": 23}), errors)
        self.assertEqual(tool("symbolize", DOCUMENT, other, "BOYLAT", "--add-fields").returncode, 0)
        symbols = [subprocess.run(["sqlite3", file, "SELECT fid, SYMBOL_C FROM BOYLAT ORDER BY fid"], capture_output=True, text=True,
                                  check=True).stdout for file in (chart, other)]
        self.assertEqual(symbols[0], symbols[1])
        _, results, _ = self.run_algorithm("explain", f"DOCUMENT={DOCUMENT}", layer, "FID=1")
        self.assertEqual(results["EXPLANATION"], tool("explain", DOCUMENT, chart, "BOYLAT", "--fid", 1).stdout)

    def test_what_cannot_be_is_told(self):
        chart = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", chart], check=True, capture_output=True)
        status, results, errors = self.run_algorithm("check", "DOCUMENT=/nowhere.cxml", f"LAYER={chart}|layername=BOYLAT")
        self.assertIn("/nowhere.cxml", f"{results}{errors}")
        status, results, errors = self.run_algorithm("explain", f"DOCUMENT={DOCUMENT}", f"LAYER={chart}|layername=BOYLAT", "FID=1")
        self.assertEqual((status, results), (1, None))
        self.assertIn("the layer has no field SYMBOL_C", errors)


class Metadata(unittest.TestCase):
    def test_it_is_complete(self):
        text = (ROOT / "plugins/qgis/cxml_symbology/metadata.txt").read_text(encoding="utf-8")
        for key in ("name", "description", "about", "version", "qgisMinimumVersion", "author", "email", "hasProcessingProvider=yes",
                    "supportsQt6=True"):
            self.assertRegex(text, f"(?m)^{key}")


if __name__ == "__main__":
    signal.alarm(500)  # a session of QGIS that hangs
    unittest.main()
