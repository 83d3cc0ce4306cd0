"""The QGIS plug-in: its zip, its version, and that its Python is that of Qt 5 and Qt 6 alike."""

import ast
import re
import shutil
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts/checks"))

import qgis_plugin  # noqa: E402

# Enumerations of Qt 6 have their values in a scope of their own; those of Qt 5 may be written so.
QT_CLASS = re.compile(r"Q(t|(gs)?[A-Z]\w+)$")


def faults_of_qt6(source):
    """Lines that run with one of the two only, each with what is wrong."""
    found = []
    for node in ast.walk(ast.parse(source)):
        if isinstance(node, (ast.Import, ast.ImportFrom)):
            names = [node.module or ""] if isinstance(node, ast.ImportFrom) else [name.name for name in node.names]
            found += [(node.lineno, f"{name} is of one Qt only") for name in names if re.match(r"(PyQt|PySide)\d", name)]
        elif isinstance(node, ast.Attribute):
            if node.attr in ("exec_", "print_"):
                found.append((node.lineno, f"{node.attr} is gone"))
            # QFont.TypeWriter, but not QFont.StyleHint.TypeWriter nor a function, which has small initials.
            elif isinstance(node.value, ast.Name) and QT_CLASS.match(node.value.id) and node.attr[0].isupper():
                found.append((node.lineno, f"{node.value.id}.{node.attr}"))
    scoped = {(node.lineno, f"{node.value.value.id}.{node.value.attr}") for node in ast.walk(ast.parse(source))
              if isinstance(node, ast.Attribute) and isinstance(node.value, ast.Attribute) and isinstance(node.value.value, ast.Name)}
    return [one for one in found if one not in scoped]


class BothQts(unittest.TestCase):
    def test_the_plugin_has_nothing_of_one_qt_only(self):
        files = sorted(qgis_plugin.FOLDER.glob("*.py"))
        self.assertGreater(len(files), 5)
        for file in files:
            with self.subTest(file.name):
                self.assertEqual(faults_of_qt6(file.read_text(encoding="utf-8")), [])

    def test_what_has_is_found(self):
        for source, fault in (("from PyQt5.QtGui import QFont", "PyQt5.QtGui is of one Qt only"), ("import PyQt6.QtCore", "PyQt6.QtCore is of one Qt only"),
                              ("a.exec_()", "exec_ is gone"), ("f(Qt.RightDockWidgetArea)", "Qt.RightDockWidgetArea"),
                              ("x = QFont.TypeWriter", "QFont.TypeWriter"), ("QgsProcessing.TypeVector", "QgsProcessing.TypeVector")):
            self.assertEqual(faults_of_qt6(source), [(1, fault)])
        self.assertEqual(faults_of_qt6("from qgis.PyQt.QtGui import QFont\nQFont.StyleHint.TypeWriter\nQgsProject.instance()\nb.exec()"), [])


class Zip(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.copy = self.folder / "cxml_symbology"
        shutil.copytree(qgis_plugin.FOLDER, self.copy)

    def change(self, old, new):
        file = self.copy / "metadata.txt"
        text = file.read_text(encoding="utf-8")
        self.assertEqual(text.count(old), 1)
        file.write_text(text.replace(old, new), encoding="utf-8")

    def test_the_version_is_the_projects(self):
        self.assertEqual(qgis_plugin.metadata()["version"], qgis_plugin.project_version())
        self.assertRegex(qgis_plugin.project_version(), r"^\d+\.\d+\.\d+$")
        with self.assertRaisesRegex(qgis_plugin.Unfit, "the project 7.8.9"):
            qgis_plugin.check(version="7.8.9")

    def test_it_is_for_qt_5_and_qt_6(self):
        said = qgis_plugin.metadata()
        self.assertEqual((said["supportsQt6"], said["qgisMaximumVersion"]), ("True", "4.99"))

    def test_it_has_one_folder_and_the_same_bytes_again(self):
        left = qgis_plugin.check()
        self.assertLessEqual(set(left), {"repository", "tracker", "LICENSE"})
        for name in ("a.zip", "b.zip"):
            qgis_plugin.write(self.folder / name)
        self.assertEqual((self.folder / "a.zip").read_bytes(), (self.folder / "b.zip").read_bytes())
        with zipfile.ZipFile(self.folder / "a.zip") as packed:
            self.assertIsNone(packed.testzip())
            names = packed.namelist()
        self.assertEqual({name.split("/")[0] for name in names}, {"cxml_symbology"})
        self.assertLessEqual({"cxml_symbology/__init__.py", "cxml_symbology/metadata.txt", "cxml_symbology/runner.py"}, set(names))
        self.assertEqual({Path(name).suffix for name in names}, {".py", ".txt"})

    def test_what_it_may_not_have_is_refused(self):
        for name in ("libx.so", "a.pyd", ".hidden.py", "tool.exe", "noending"):
            (self.copy / name).write_bytes(b"x")
            with self.assertRaisesRegex(qgis_plugin.Unfit, re.escape(name)):
                qgis_plugin.check(self.copy)
            (self.copy / name).unlink()
        self.change("author=the symbology project\n", "author=\n")
        with self.assertRaisesRegex(qgis_plugin.Unfit, "author"):
            qgis_plugin.check(self.copy)

    def test_what_only_the_owner_can_say_is_named(self):
        self.change("category=Analysis\n", "category=Analysis\nrepository=R\ntracker=T\n")
        self.assertEqual(qgis_plugin.check(self.copy), ["LICENSE"])
        (self.copy / "LICENSE").write_text("words", encoding="utf-8")
        self.assertEqual(qgis_plugin.check(self.copy), [])


if __name__ == "__main__":
    unittest.main()
