"""The tests beside the documents of the examples: they pass, hold what happens in the harbour, and hold as much as the docs say."""
import re
import shutil
import subprocess
import sys

from support import ROOT, TestCase, cxml, cxml_json, main

HARBOUR = ROOT / "examples" / "harbour"
DOCUMENTS = {"harbour": HARBOUR / "harbour.cxml", "enc": ROOT / "examples" / "enc" / "enc.cxml"}


class Beside(TestCase):
    def test_they_pass(self):
        for document in DOCUMENTS.values():
            with self.subTest(document.name):
                status, said = cxml_json("test", document)
                self.assertEqual((status, said["failed"]), (0, 0))
                self.assertGreater(said["passed"], 50)

    def harbour(self):
        dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", dataset], check=True)
        return dataset

    def cell(self):
        subprocess.run([sys.executable, "-B", HARBOUR / "generator", "--cell", self.folder], check=True)
        dataset = self.folder / "cell.gpkg"
        self.assertEqual(cxml("import", self.folder / "XX5MERRW.000", dataset).returncode, 0)
        return dataset

    def test_they_cover_the_harbour(self):
        for name, document in DOCUMENTS.items():
            with self.subTest(name):
                dataset = self.harbour() if name == "harbour" else self.cell()
                self.assertEqual(cxml("symbolize", document, dataset, "--add-fields").returncode, 0)
                tests = self.folder / f"{name}.tests.md"
                shutil.copy(document.with_suffix(".tests.md"), tests)
                status, said = cxml_json("pin", document, dataset, "-o", tests)
                self.assertEqual((status, said["pinned"], said["changes"], said["remarks"]), (0, 0, [], []))

    def test_the_docs_tell_what_they_hold(self):
        page = (ROOT / "docs" / "cxml-tool.md").read_text(encoding="utf-8")
        told = {name: (int(made), int(killed)) for name, made, killed in
                re.findall(r"^\| (harbour|enc) \| (\d+) \| (\d+) \|", page, re.MULTILINE)}
        held = {}
        for name, document in DOCUMENTS.items():
            status, said = cxml_json("test", document, "--mutate")
            self.assertEqual(status, 0)
            held[name] = (said["mutants"]["made"], said["mutants"]["killed"])
        self.assertEqual(told, held)


if __name__ == "__main__":
    main()
