"""The page about embedding has the identifiers of the header that hosts include."""

import re
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
IDENTIFIER = r"[0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12}"


class EmbeddingPageTest(unittest.TestCase):
    def test_identifiers(self):
        header = (ROOT / "include/symbology/host_interfaces.h").read_text(encoding="utf-8")
        page = (ROOT / "docs/embedding.md").read_text(encoding="utf-8")
        declared = re.findall(rf'(?:SYMBOLOGY_INTERFACE\(|GUID )(\w+)(?:, | = .*)"({IDENTIFIER})"', header)
        self.assertEqual(len(declared), len(re.findall(IDENTIFIER, header)))
        self.assertEqual(sorted(declared), sorted(re.findall(rf"\| `(\w+)` \| `({IDENTIFIER})` \|", page)))
        self.assertGreater(len(declared), 15)


if __name__ == "__main__":
    unittest.main()
