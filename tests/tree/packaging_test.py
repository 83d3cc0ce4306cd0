"""The recipes of package managers, the plug-in and the pages name the version that the project has, and what it is built with."""
import json
import re
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts/checks"))
import qgis_plugin  # noqa: E402

PACKAGING = ROOT / "packaging"
# What the build looks for, as the managers call it.
NEEDED = {"CLI11": "cli11", "fmt": "fmt", "GDAL": "gdal", "ICU": "icu", "LibXml2": "libxml2", "nlohmann_json": "nlohmann.json",
          "SQLite3": "sqlite", "libpq": "libpq", "libmd": "libmd"}


def text(path):
    return (ROOT / path).read_text(encoding="utf-8")


def versions():
    """Where a version is written, and which."""
    yield "conda", re.search(r'^  version: "([\d.]+)"$', text("packaging/conda/recipe.yaml"), re.MULTILINE)[1]
    yield "vcpkg", json.loads(text("packaging/vcpkg/vcpkg.json"))["version"]
    yield "homebrew", re.search(r"/symbology-([\d.]+)\.tar\.gz", text("packaging/homebrew/symbology.rb"))[1]
    yield "the plug-in", qgis_plugin.metadata()["version"]


class Packaging(unittest.TestCase):
    def test_one_version(self):
        wanted = qgis_plugin.project_version()
        self.assertRegex(wanted, r"^\d+\.\d+\.\d+$")
        for where, version in versions():
            with self.subTest(where):
                self.assertEqual(version, wanted)

    def test_the_python_package_asks_cmake(self):
        pattern = re.search(r"^regex = '(.*)'$", text("pyproject.toml"), re.MULTILINE)[1]
        self.assertEqual(re.search(pattern, text("CMakeLists.txt"))["value"], qgis_plugin.project_version())

    def test_pages_and_examples_ask_for_it(self):
        minor = qgis_plugin.project_version().rpartition(".")[0]
        found = 0
        for path in (*ROOT.glob("docs/*.md"), *ROOT.glob("examples/*/CMakeLists.txt"), ROOT / "scripts/package"):
            for asked in re.findall(r"find_package\(symbology (\d[\d.]*)", path.read_text(encoding="utf-8")):
                found += 1
                self.assertEqual(asked, minor, path)
        self.assertGreater(found, 5)

    def test_what_the_build_looks_for(self):
        looked_for = set()
        for path in (*ROOT.glob("host/**/CMakeLists.txt"), *ROOT.glob("tools/**/CMakeLists.txt"), *ROOT.glob("platform/**/CMakeLists.txt")):
            content = path.read_text(encoding="utf-8")
            looked_for |= set(re.findall(r"find_package\((\w+)", content)) | set(re.findall(r"pkg_check_modules\((\w+) REQUIRED", content))
        self.assertEqual(looked_for - {"PkgConfig", "Threads", "Python3"}, set(NEEDED))
        for recipe in ("conda/recipe.yaml", "vcpkg/vcpkg.json", "homebrew/symbology.rb"):
            for name in NEEDED.values():
                if (recipe, name) != ("vcpkg/vcpkg.json", "libmd"):  # which it has not
                    self.assertRegex(text(f"packaging/{recipe}"), rf'[" ](lib)?{name}', f"{recipe}: {name}")

    def test_the_licence_is_left_open(self):
        self.assertIsNone(json.loads(text("packaging/vcpkg/vcpkg.json"))["license"])
        for recipe in ("conda/recipe.yaml", "homebrew/symbology.rb"):
            self.assertEqual(re.findall(r"^\s*(#)? *license\b", text(f"packaging/{recipe}"), re.MULTILINE), ["#"])


if __name__ == "__main__":
    unittest.main()
