"""Documents and data that mean no good, through every command that asks questions: an answer or a clear error, nothing
written, nothing that steers the terminal."""
import hashlib
import json
import os
import re
import sqlite3
import subprocess
import sys
import xml.sax.saxutils

from support import ROOT, TestCase, cxml, main

# Under a sanitizer a run takes ten times as long: fewer of each kind.
STEP = 4 if os.environ.get("SYMBOLOGY_TEST_EDITS") == "5" else 1
DOCUMENTS = ROOT / "tests" / "tool" / "data"
STEERING = re.compile("[\x00-\x08\x0b-\x1f\x7f-\x9f]")
VALUES = ("\x1b[2J\x1b]0;owned\x07", "\u009b31m", "a\x00b", "\u202egnp.exe", "x" * 300_000, "'; DROP TABLE BOYLAT; --",
          '</script><script>alert(1)</script>"', "\r\noverwritten", "|---|\n## Section\n<!-- rows: X -->", "%s %n %99999d",
          "&amp;<b>", "\ufffe\U0010ffff", "", " ", "1,2,,3,", "-0", "1e999", "9" * 400)
NAMES = ('a"b', "a'b", "a]]>b", "a--b", "\x1b[7m", "select", "%s", "a,b", "a|b")


def quoted(name):
    return '"' + name.replace('"', '""') + '"'


class Hostile(TestCase):
    def setUp(self):
        super().setUp()
        self.dataset = self.folder / "hostile.gpkg"
        subprocess.run(["ogr2ogr", self.dataset, DOCUMENTS / "marks.geojson", "-nln", "BOYLAT"], check=True,
                       capture_output=True)
        with sqlite3.connect(self.dataset) as rows:
            for trigger, in rows.execute("SELECT name FROM sqlite_master WHERE type = 'trigger'").fetchall():
                rows.execute(f'DROP TRIGGER "{trigger}"')
            rows.execute("DELETE FROM BOYLAT")
            there = {name.upper() for _, name, *_ in rows.execute('PRAGMA table_info("BOYLAT")')}
            for name in (*NAMES, "NAME", "KIND", "CATLAM", "LABEL_C", "SYMBOL_C"):
                if name.upper() not in there:
                    rows.execute(f"ALTER TABLE BOYLAT ADD COLUMN {quoted(name)} TEXT")
            for value in VALUES:
                rows.execute(f"INSERT INTO BOYLAT (NAME, KIND, CATLAM, SYMBOL_C, {', '.join(map(quoted, NAMES))}) "
                             f"VALUES (?, ?, ?, ?, {', '.join('?' for _ in NAMES)})", [value] * (4 + len(NAMES)))
        self.before = hashlib.sha256(self.dataset.read_bytes()).digest()

    def ask(self, *arguments):
        """Runs a command, and holds it to what no input may change."""
        done = cxml(*arguments)
        told = f"{' '.join(map(str, arguments))}: {done.returncode} {done.stderr[:500]}"
        self.assertIn(done.returncode, (0, 1, 2), told)
        for stream in (done.stdout, done.stderr):
            found = STEERING.search(stream)
            self.assertIsNone(found, f"{told} {found}")
        self.assertNotIn("AddressSanitizer", done.stderr, told)
        if done.returncode == 2:
            self.assertNotEqual(done.stderr, "", told)
        self.assertEqual(hashlib.sha256(self.dataset.read_bytes()).digest(), self.before, told)
        return done

    def questions(self, document):
        other = DOCUMENTS / "buoys.cxml"
        tests = self.folder / "pinned.tests.md"
        tests.unlink(missing_ok=True)
        return (("ledger", document, self.dataset), ("ledger", document, self.dataset, "--json"),
                ("explain", document, self.dataset, "BOYLAT", "--where", "1 = 1", "--limit", 100, "--full"),
                ("explain", document, self.dataset, "BOYLAT", "--fid", self.first(), "--why-not", "\x1b[2J", "--json"),
                ("coverage", document, self.dataset), ("diff", document, self.dataset, "--full"),
                ("diff", document, other, self.dataset), ("diff", other, document, self.dataset, "--json"),
                ("pin", document, self.dataset, "-o", tests), ("test", document, tests))

    def first(self):
        with sqlite3.connect(self.dataset) as rows:
            return rows.execute("SELECT min(fid) FROM BOYLAT").fetchone()[0]

    def test_documents(self):
        documents = sorted(DOCUMENTS.glob("*.cxml"))[::2 * STEP]
        self.assertGreater(len(documents), 3)
        for document in documents:
            with self.subTest(document.name):
                for arguments in self.questions(document):
                    self.ask(*arguments)

    def written(self, content):
        document = self.folder / "hostile.cxml"
        document.write_bytes(content)
        return document

    def test_bytes_that_are_no_document(self):
        for content in (b"", b"\x00", b"\xff\xfe", b"<", b"<conditionMap", b"\x1b[2J<a/>", os.urandom(4096),
                        b"<conditionMap name='\xff'/>", b"<a>" * 100_000, b"SQLite format 3\x00")[::STEP]:
            with self.subTest(content[:20]):
                document = self.written(content)
                for arguments in self.questions(document)[:5]:
                    self.assertEqual(self.ask(*arguments).returncode, 2)

    def test_names_and_operands_that_steer(self):
        for value in (VALUES[1:2] + VALUES[3:4] + VALUES[5:11])[::STEP]:
            if any(ord(character) < 32 and character not in "\r\n\t" for character in value):
                continue
            name = xml.sax.saxutils.quoteattr(value)
            document = self.written((
                f"<conditionMap name={name}><featureClass name=\"BOYLAT\"><condition rulename={name}>"
                f"<rule type=\"A\" field=\"NAME\" operator=\"equal\" value={name}/></condition>"
                f"<condition rulename=\"Q\"><rule type=\"Q\" operator=\"exists\" table={name}><query>NAME = '%s'</query>"
                f"<params><param value=\"NAME\"/></params></rule></condition>"
                f"<condition type=\"2\" field={name}><rule type=\"A\" field={name} operator=\"like\" value={name}/></condition>"
                "</featureClass></conditionMap>").encode())
            with self.subTest(value[:20]):
                for arguments in self.questions(document):
                    self.ask(*arguments)

    def test_fields_with_names_that_mean_something(self):
        for name in NAMES[::STEP]:
            if any(ord(character) < 32 for character in name):
                continue
            field = xml.sax.saxutils.quoteattr(name)
            document = self.written((
                f'<conditionMap name="n"><featureClass name="BOYLAT"><condition rulename="N"><rule type="A" field={field} '
                'operator="notequal" value="NULL"/></condition></featureClass></conditionMap>').encode())
            with self.subTest(name):
                for arguments in self.questions(document)[6:]:
                    self.ask(*arguments)
                done = self.ask("ledger", document, self.dataset, "--json")
                ends = json.loads(done.stdout)["layers"][0]["ends"]
                self.assertEqual(ends["rule"], len(VALUES), f"{name}: {ends}")


if __name__ == "__main__":
    sys.exit(main())
