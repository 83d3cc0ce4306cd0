"""Each check of scripts/checks finds what is planted for it in a small tree, and nothing in a clean one."""

import contextlib
import io
import sys
import tempfile
import unittest
from pathlib import Path
from unittest import mock

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts" / "checks"))

import includes  # noqa: E402
import texts  # noqa: E402
import tree  # noqa: E402

CLEAN = {
    "include/symbology/api.h": '#include "platform/platform.h"\n',
    "platform/platform.h": "#ifdef _WIN32\n#include <windows.h>\n#endif\n",
    "platform/portable/nls.cpp": "#include <unicode/coll.h>\n#include <libxml/tree.h>\n#include <unistd.h>\n",
    "src/text/failures.h": '#include "platform/platform.h"\n#include "symbology/api.h"\n',
    "src/gdb/names.h": '#include "symbology/api.h"\n',
    "src/gdb/names.cpp": '#include "text/failures.h"\n#include "gdb/names.h"\n',
    "src/rules/rule.h": '#include "gdb/names.h"\n',
    "src/cxml/map.h": '#include "rules/rule.h"\n#include <string>\n',
    "src/symbolize/run.h": '#include "cxml/map.h"\n',
    "src/api/manager.cpp": '#include "symbolize/run.h"\n',
    "host/geodatabase/table.cpp": '#include "symbology/api.h"\n#include <gdal_priv.h>\n#include <sqlite3.h>\n',
    "host/geodatabase/base/table.h": "#pragma once\n",
    "host/geodatabase/gdal/a.h": '#include "host/geodatabase/base/table.h"\n',
    "host/geodatabase/roof.h": '#include "host/geodatabase/gdal/a.h"\n',
    "tools/text/text.h": "#pragma once\n",
    "tools/cxml/main.cpp": '#include "host/geodatabase/base/table.h"\n#include "tools/check/model.h"\n#include <unistd.h>\n',
    "tools/check/model.h": '#include "rules/rule.h"\n#include "host/geodatabase/base/table.h"\n#include "tools/text/text.h"\n',
    "tests/rules/rule_test.cpp": '#include "rules/rule.h"\n#include "host/geodatabase/base/table.h"\n#if TEST_COUNT > 1\n#endif\n',
    "docs/page.md": "# A page\n[other](other.md#second-part), [top](#a-page), `[no](link.md)`\n",
    "docs/other.md": '# Other\n## Second part\n<x xmlns="http://www.w3.org/2000/xmlns/"/> //root/child /root/child\n',
}


def plant(root, files):
    for name, text in files.items():
        path = root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")


class ChecksTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        plant(self.root, CLEAN)

        self.enterContext(contextlib.redirect_stdout(io.StringIO()))
        self.enterContext(contextlib.redirect_stderr(io.StringIO()))

    def expect(self, check, name, text, problem):
        """The clean tree passes; with one file more the check reports that file, and just it."""
        self.assertEqual(check(self.root), [])
        former = CLEAN.get(name)
        plant(self.root, {name: text})
        found = check(self.root)
        self.assertEqual(len(found), 1, found)
        self.assertIn(name, found[0])
        self.assertIn(problem, found[0])
        if former is None:
            (self.root / name).unlink()
        else:
            plant(self.root, {name: former})

    def test_arrows(self):
        for name, text, problem in [
            ("src/gdb/up.cpp", '#include "rules/rule.h"\n', "src/gdb may not include src/rules/rule.h"),
            ("src/text/up.cpp", '#include "gdb/names.h"\n', "src/text may not include src/gdb"),
            ("src/python/up.cpp", '#include "cxml/map.h"\n', "src/python may not include src/cxml"),
            ("src/rules/up.cpp", '#include "cxml/map.h"\n', "src/rules may not include src/cxml"),
            ("src/rules/back.cpp", '#include "api/manager.cpp"\n', "src/rules may not include src/api"),
            ("src/cxml/run.cpp", '#include "symbolize/run.h"\n', "src/cxml may not include src/symbolize"),
            ("src/cxml/host.cpp", '#include "host/geodatabase/base/table.h"\n', "src/cxml may not include host/geodatabase"),
            ("src/api/angles.cpp", "#include <host/geodatabase/base/table.h>\n", "src/api may not include host/geodatabase"),
            ("src/api/relative.cpp", '#include "../../tools/cxml/main.cpp"\n', "src/api may not include tools/cxml"),
            ("platform/up.h", '  #  include "symbology/api.h"\n', "platform may not include include/symbology"),
            ("platform/log.cpp", '#include "text/failures.h"\n', "platform may not include src/text"),
            ("include/symbology/in.h", '#include "rules/rule.h"\n', "include may not include src/rules/rule.h"),
            ("host/geodatabase/in.cpp", '#include "rules/rule.h"\n', "host/geodatabase may not include src/rules/rule.h"),
            ("host/geodatabase/base/up.h", '#include "host/geodatabase/roof.h"\n', "base may not include host/geodatabase/roof"),
            ("host/geodatabase/sqlite/up.h", '#include "host/geodatabase/gdal/a.h"\n', "sqlite may not include host"),
            ("tools/check/in.cpp", '#include "symbolize/run.h"\n', "tools/check may not include src/symbolize/run.h"),
            ("tools/check/up.cpp", '#include "tools/cxml/main.cpp"\n', "tools/check may not include tools/cxml"),
            ("tools/text/up.cpp", '#include "tools/check/model.h"\n', "tools/text may not include tools/check"),
            ("src/rules/test.cpp", '#include "tests/rules/rule_test.cpp"\n', "not part of the product"),
            ("src/rules/lost.cpp", '#include "rules/no_such.h"\n', "no such file in the tree"),
        ]:
            with self.subTest(name):
                self.expect(includes.check_arrows, name, text, problem)

    def test_arrows_that_are_a_circle(self):
        self.assertEqual(includes.circle_of(includes.ARROWS), [])
        self.assertEqual(includes.circle_of({"a": {"b", "c"}, "b": {"c"}, "c": set()}), [])
        self.assertEqual(includes.circle_of({"a": {"b"}, "b": {"c"}, "c": {"d", "b"}, "d": set()}), ["b", "c", "b"])
        with mock.patch.dict(includes.ARROWS, {"src/text": {"src/api"}}):
            self.assertIn("circle", includes.check_arrows(self.root)[0])

    def test_seams(self):
        for name, text, problem in [
            ("src/rules/icu.cpp", "#include <unicode/ucol.h>\n", "ICU (unicode/ucol.h)"),
            ("host/geodatabase/icu.cpp", "#include <unicode/ucol.h>\n", "ICU (unicode/ucol.h)"),
            ("src/cxml/xml.cpp", "#include <libxml/parser.h>\n", "libxml2 (libxml/parser.h)"),
            ("src/gdb/gdal.cpp", "#include <ogrsf_frmts.h>\n", "GDAL (ogrsf_frmts.h)"),
            ("tools/cxml/gdal.cpp", "#include <cpl_conv.h>\n", "GDAL (cpl_conv.h)"),
            ("src/rules/dom.cpp", "bool read(IXMLDOMNode* element);\n", "IXMLDOMNode: documents are read in src/cxml/"),
            ("src/rules/python.cpp", "#include <Python.h>\n", "Python (Python.h)"),
            ("src/python/python.cpp", "#include <Python.h>\n", "Python (Python.h)"),
            ("src/api/windows.cpp", "#include <Windows.h>\n", "Windows (Windows.h)"),
            ("src/gdb/posix.cpp", "#include <sys/stat.h>\n", "POSIX"),
            ("platform/posix.h", "#include <dlfcn.h>\n", "POSIX"),
            ("src/rules/system.cpp", "#ifdef _WIN32\n#endif\n", "_WIN32"),
            ("host/geodatabase/system.cpp", "# if defined(X) && \\\n  defined(__linux__)\n# endif\n", "__linux__"),
            ("tests/rules/compiler.cpp", "#if 0\n#elif __GNUC__ > 12\n#endif\n", "__GNUC__"),
        ]:
            with self.subTest(name):
                self.expect(includes.check_seams, name, text, problem)

    def test_words(self):
        slash = "/"
        for name, text, problem in [
            ("docs/home.md", f"see {slash}home/someone/file", "a path of one machine"),
            ("scripts/run", f"cd {slash}tmp/build", "a path of one machine"),
            ("scripts/cache", f"cd {slash}root/.cache", "a path of one machine"),
            ("docs/windows.md", "C:" + "\\Users\\someone", "a path of one machine"),
            ("scripts/pip", "https:" + "//packages.somewhere.test/simple", "a host: packages.somewhere.test"),
            ("scripts/apt", "deb http:" + "//user@debian.somewhere.test/debian", "a host: debian.somewhere.test"),
            ("docs/merged.md", "one\n" + "<" * 7 + " HEAD\n", "docs/merged.md:2: a merge was not finished"),
            ("scripts/bare", "index = files.py" + "pi.somewhere.org", "a package host"),
        ]:
            with self.subTest(name):
                self.expect(texts.check_words, name, text, problem)

    def test_size(self):
        self.expect(texts.check_size, "src/rules/long.cpp", "\n" * 501, "501 lines")
        plant(self.root, {"src/rules/full.cpp": "\n" * 500, "tests/rules/data/long.h": "\n" * 501})
        self.assertEqual(texts.check_size(self.root), [])

    def test_links(self):
        for name, text, problem in [
            ("README.md", "[page](docs/none.md)", "no such file: docs/none.md"),
            ("docs/picture.md", "![chart](chart.png)", "no such file: chart.png"),
            ("docs/heading.md", "[page](page.md#no-such)", "no such heading: page.md#no-such"),
            ("docs/own.md", "# One\n[two](#two)", "no such heading: #two"),
            ("docs/reference.md", "[a]: none.md", "no such file: none.md"),
        ]:
            with self.subTest(name):
                self.expect(texts.check_links, name, text, problem)

    def test_the_program_fails_with_its_findings(self):
        self.assertEqual(tree.main(["arrows", str(self.root)]), 0)
        plant(self.root, {"src/gdb/up.cpp": '#include "rules/rule.h"\n'})
        self.assertEqual(tree.main(["arrows", str(self.root)]), 1)

    def test_no_files_is_no_success(self):
        with tempfile.TemporaryDirectory() as empty:
            self.assertEqual(tree.main(["words", empty]), 2)


if __name__ == "__main__":
    unittest.main()
