"""The QGIS plug-in's way of running cxml, and of naming a layer's dataset. CXML names the program."""

import importlib.util
import os
import sys
import tempfile
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "plugins" / "qgis"))

from cxml_symbology import runner  # noqa: E402


class Runner(unittest.TestCase):
    def test_a_document_is_checked(self):
        status, said, _ = runner.run(os.environ["CXML"], ["check", str(ROOT / "examples/harbour/harbour.cxml")])
        self.assertEqual(status, 0)
        self.assertIsInstance(said, dict)

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
            self.assertLess(time.monotonic() - begun, 1.5)


@unittest.skipUnless(importlib.util.find_spec("qgis"), "QGIS's Python modules are not installed")
class Source(unittest.TestCase):
    def test_saved_layers_only_and_none_in_edit_mode(self):
        os.environ["QT_QPA_PLATFORM"] = "offscreen"
        from qgis.core import QgsApplication, QgsVectorFileWriter, QgsVectorLayer
        from cxml_symbology.source import dataset_and_layer
        application = QgsApplication([], False)
        application.initQgis()
        self.addCleanup(application.exitQgis)
        memory = QgsVectorLayer("Point?crs=EPSG:4326&field=A:integer", "buoys", "memory")
        with self.assertRaisesRegex(runner.ToolError, "buoys is not a saved layer"):
            dataset_and_layer(memory)
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "chart.gpkg")
            options = QgsVectorFileWriter.SaveVectorOptions()
            options.layerName = "BOYLAT"
            QgsVectorFileWriter.writeAsVectorFormatV3(memory, path, application_context(), options)
            for uri in (path, path + "|layername=BOYLAT"):
                layer = QgsVectorLayer(uri, "b", "ogr")
                self.assertEqual(dataset_and_layer(layer), (path, "BOYLAT"))
            self.assertTrue(layer.startEditing())
            with self.assertRaisesRegex(runner.ToolError, "being edited"):
                dataset_and_layer(layer)
            layer.rollBack()


def application_context():
    from qgis.core import QgsProject
    return QgsProject.instance().transformContext()


if __name__ == "__main__":
    unittest.main()
