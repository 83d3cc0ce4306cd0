"""The language is read in one place: a new operator is a line of one table, a new element or attribute is read by one file.

What helps people to spell (tools/check/language.cpp) knows exactly the same words.
"""

import re
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
FAMILIES = {"A": "attribute_rules.cpp", "L": "list_attribute_rules.cpp", "Q": "query_rules.cpp"}


def read(path):
    return path.read_text(encoding="utf-8")


def operators(text):
    """The keywords by which rules are made."""
    return re.findall(r'\{OLESTR\("(\w+)"\), make|\(keyword, OLESTR\("(\w+)"\)\)', text)


def spelling():
    return read(ROOT / "tools/check/language.cpp")


class OneReaderTest(unittest.TestCase):
    def test_operators(self):
        helped = {family: set(re.findall(r'"(\w+)"', words)) for family, words in
                  re.findall(r'\{"([ALQ])",\s*"[\w ]+",\s*\{([^}]*)\}\}', spelling())}
        sources = {path: read(path) for path in (ROOT / "src").rglob("*.cpp")}
        for family, file in FAMILIES.items():
            with self.subTest(family):
                keywords = ["".join(either) for either in operators(sources[ROOT / "src/rules" / file])]
                self.assertGreater(len(keywords), 2)
                self.assertEqual(len(keywords), len(set(keywords)))
                self.assertEqual(set(keywords), helped[family])
        tables = {path.name for path, text in sources.items() if operators(text)}
        self.assertEqual(tables, set(FAMILIES.values()))

    def test_elements_and_attributes(self):
        files = {}
        for path in (ROOT / "src").rglob("*.*"):
            if path.suffix in (".cpp", ".h"):
                for literal in re.findall(r'OLESTR\("([A-Za-z/]+)"\)', read(path)):
                    for word in filter(None, literal.split("/")):
                        files.setdefault(word, set()).add(path.relative_to(ROOT).parts[1])
        elements = re.search(r"elements\(\) \{(.*?)\n\}", spelling(), re.S).group(1)
        words = set(re.findall(r'"(\w+)"', elements))
        self.assertGreater(len(words), 20)
        # A host asks for a document's name and alias before anything of it is read.
        head = {word: ["api", "cxml"] for word in ("conditionMap", "name", "alias")}
        self.assertEqual({word: sorted(files.get(word, ())) for word in words if files.get(word) != {"cxml"}}, head)


if __name__ == "__main__":
    unittest.main()
