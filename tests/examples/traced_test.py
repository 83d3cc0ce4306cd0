"""Looking at a document runs nothing of it: by the system calls of `cxml check` and of what else asks without Python."""
import os
import pathlib
import re
import shutil
import subprocess

from support import ROOT, TestCase, cxml, main

DATA = ROOT / "tests" / "tool" / "data"
STEP = 4 if os.environ.get("SYMBOLOGY_TEST_EDITS") == "5" else 1  # under a sanitizer a run takes ten times as long
CALLS = ("execve execveat fork vfork socket connect bind sendto open openat openat2 creat unlink unlinkat rename renameat renameat2 "
         "mkdir mkdirat rmdir symlink symlinkat link linkat truncate chmod fchmodat mknod mknodat").split()
OPENING = {"open", "openat", "openat2", "creat"}
# "PID openat(AT_FDCWD</folder>, "name", ...": the call, the folder that a name is relative to, and the first name
LINE = re.compile(r'^\d+ +(?P<call>\w+)\((?:\w*<(?P<base>[^>]*)>, )?(?:"(?P<path>(?:[^"\\]|\\.)*)")?')

# Python that does something wherever it is run: while the source is, while Generate is defined, while it is called.
AT_ONCE = """import os, socket, subprocess
os.system("touch {folder}/mark")
subprocess.run(["touch", "{folder}/mark"])
open("{folder}/mark", "w").close()
open("{folder}/secret").read()
try: socket.create_connection(("localhost", 9))
except OSError: pass
"""
IN_DEFINITION = """def mark(*any):
    __import__("os").system("touch {folder}/mark")
    return lambda function: function
@mark()
class Deed(metaclass=lambda *any: mark()): deed = mark()
def Generate(OBJNAM: mark() = mark()) -> mark(): return "%s" % mark()
"""
IN_CALL = """def Generate(OBJNAM):
    __import__("os").system("touch {folder}/mark")
    return OBJNAM
"""
HARMLESS = "def Generate(OBJNAM):\n    return OBJNAM\n"

LIBRARY = '<functionLibrary><expression name="piece"><![CDATA[{}]]></expression>{}</functionLibrary>'
CLASS = ('<featureClass name="{name}"><condition rulename="{symbol}"/>'
         '<condition type="2" field="LABEL"><rule type="A" field="OBJNAM" operator="notequal" value="NULL"/>'
         '<expression library="{piece}"><![CDATA[{python}]]></expression></condition>'
         '<condition rulename="Q"><rule type="Q" operator="exists" table="{table}"><query>{query}</query></rule></condition>'
         "</featureClass>")


def document(before="", library="x = 1\n", file="", python=HARMLESS, name="BOYLAT", symbol="BOYDEF03", piece="piece",
             table="BOYLAT", query="OBJNAM = 'No 1'"):
    beside = f'<expressionFile name="file">{file}</expressionFile>' if file else ""
    inside = CLASS.format(name=name, symbol=symbol, piece="file" if file else piece, python=python, table=table, query=query)
    return before + '<conditionMap name="hostile">' + LIBRARY.format(library, beside) + inside + "</conditionMap>"


CLAUSES = ("load_extension('{folder}/evil.so')", "1 = 1; ATTACH DATABASE '{folder}/mark' AS other",
           "OBJNAM = readfile('{folder}/secret')", "writefile('{folder}/mark', 'x')", "1 = 1) OR load_extension('evil'",
           "edit('x', 'touch {folder}/mark')", "fts3_tokenizer('x', x'0000')", "1 = 1; VACUUM INTO '{folder}/mark'",
           "pg_read_file('{folder}/secret')", "EXISTS (SELECT * FROM pragma_module_list)")
PATHS = ("{folder}/secret", "../secret", "/vsicurl/http://localhost:9/x", "/vsizip/{folder}/secret", "PG:host=localhost",
         "http://localhost:9/x", "|touch {folder}/mark", "$(touch {folder}/mark)", "file:///{folder}/secret")
DOCUMENTS = {
    "python at once": document(python=AT_ONCE + HARMLESS), "python in a definition": document(python=IN_DEFINITION),
    "python in a call": document(python=IN_CALL), "python of the library": document(library=AT_ONCE),
    "python of a file": document(file="hostile.py"), "python that does not compile": document(python=AT_ONCE + "def Generate(:"),
    "a coding of its own": document(python="# -*- coding: hostile_coding -*-\n" + HARMLESS, file="hostile.py"),
    "modules beside the document": document(python="import ast, re, hostile_module\nfrom hostile_module import *\n" + HARMLESS),
    "an entity of a file": document('<!DOCTYPE conditionMap [<!ENTITY e SYSTEM "file://{folder}/secret">]>', symbol="&amp;e;")
    .replace("&amp;e;", "&e;"),
    "an entity of a file as text": document('<!DOCTYPE conditionMap [<!ENTITY e SYSTEM "{folder}/secret">]>', query="&e;"),
    "an entity of the network": document('<!DOCTYPE conditionMap [<!ENTITY e SYSTEM "http://localhost:9/x">]>', query="&e;"),
    "a parameter entity": document('<!DOCTYPE conditionMap [<!ENTITY % e SYSTEM "file://{folder}/secret"> %e;]>'),
    "a DTD in a file": document('<!DOCTYPE conditionMap SYSTEM "secret.dtd">'),
    "a DTD of the network": document('<!DOCTYPE conditionMap PUBLIC "-//X//Y" "http://localhost:9/x.dtd">'),
    "a style sheet": document('<?xml version="1.0"?><?xml-stylesheet href="file://{folder}/secret" type="text/xsl"?>'),
    "an inclusion": document(query='<xi:include xmlns:xi="http://www.w3.org/2001/XInclude" href="secret" parse="text"/>'),
    "a schema": document().replace("<conditionMap ", '<conditionMap xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" '
                                   'xsi:noNamespaceSchemaLocation="http://localhost:9/x.xsd" '),
    **{f"the clause {clause}": document(query=clause) for clause in CLAUSES},
    **{f"the name {path}": document(name=path, symbol=path, table=path, piece=path) for path in PATHS},
}


class Traced(TestCase):
    def setUp(self):
        super().setUp()
        self.dataset = self.folder / "marks.gpkg"
        subprocess.run(["ogr2ogr", self.dataset, DATA / "marks.geojson", "-nln", "BOYLAT"], check=True, capture_output=True)
        self.assertEqual(cxml("symbolize", self.written(document()), self.dataset, "--add-fields", "--where", "1 = 0").returncode, 0)
        (self.folder / "secret").write_text("secret", encoding="utf-8")
        (self.folder / "secret.dtd").write_text('<!ENTITY e "secret">', encoding="utf-8")
        for name in ("ast", "re", "os", "socket", "sitecustomize", "usercustomize", "hostile_module", "hostile_coding", "hostile"):
            self.written(AT_ONCE + HARMLESS, f"{name}.py")
        if not shutil.which("strace"):
            self.skipTest("there is no strace")
        probe = subprocess.run(["strace", "-f", "-o", self.folder / "probe", "-e", "trace=execve", "true"], capture_output=True,
                               text=True, check=False)
        if probe.returncode != 0:
            self.skipTest(f"processes cannot be traced here: {probe.stderr.strip()}")
        (self.folder / "probe").unlink()

    def written(self, text, name="document.cxml"):
        file = self.folder / name
        file.write_text(text.replace("{folder}", str(self.folder)), encoding="utf-8")
        return file

    def trace(self, *arguments):
        """The calls of the tool, (name, path or empty), without the one that starts it; in a trace's order."""
        log = self.folder.parent / f"{self.folder.name}.trace"
        self.addCleanup(lambda: log.unlink(missing_ok=True))
        # Leaks cannot be looked for in a process that is traced.
        environment = {**os.environ, "HOME": "/nonexistent",
                       "ASAN_OPTIONS": os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"}
        done = subprocess.run(["strace", "-f", "-y", "-qq", "-e", "trace=" + ",".join("?" + call for call in CALLS), "-e",
                               "signal=none", "-o", log, pathlib.Path(os.environ["CXML"]).resolve(), *map(str, arguments)], capture_output=True,
                              text=True, check=False, cwd=self.folder, env=environment)
        self.assertIn(done.returncode, (0, 1, 2), done.stderr)
        calls = []
        for line in log.read_text(encoding="utf-8", errors="replace").splitlines():
            if "resumed>" in line or (found := LINE.match(line)) is None:
                continue
            path = os.path.normpath(pathlib.Path(found["base"] or self.folder) / found["path"]) if found["path"] else line
            calls.append((found["call"], path))
        self.assertEqual(calls[0][0], "execve")
        return calls[1:]

    def content(self):
        return {file.name: (file.stat().st_mtime_ns, file.read_bytes()) for file in self.folder.iterdir()}

    def opened(self, calls):
        """What was opened, in the test's folder and elsewhere."""
        paths = {path for call, path in calls if call in OPENING}
        own = {path for path in paths if pathlib.Path(path).is_relative_to(self.folder)}
        return {os.path.relpath(path, self.folder) for path in own}, paths - own

    def commands(self, file):
        return {"check": ("check", file), "check with data": ("check", file, self.dataset), "fmt": ("fmt", "--check", file),
                "fmt --diff": ("fmt", "--diff", file),
                "explain": ("explain", file, self.dataset, "BOYLAT", "--where", "1 = 1", "--no-python", "--full")}

    def test_nothing_is_run_and_nothing_else_is_opened(self):
        """Outside of its own folder a hostile document has no file opened that a harmless one has not."""
        file = self.written(document(file="harmless.py"))
        self.written(HARMLESS, "harmless.py")
        traces = {name: self.trace(*arguments) for name, arguments in self.commands(file).items()}
        harmless = {name: self.opened(calls) for name, calls in traces.items()}
        # Some GDALs take away what they would have noted beside a dataset, which is not there.
        aside = {call for calls in traces.values() for call in calls if call[0] == "unlink" and call[1].endswith(".aux.xml")}
        # A tool that is not installed looks for its libraries in the current folder, too; some GDALs look for more beside a
        # dataset.
        usual = {entry for own, _ in harmless.values() for entry in own if ".so" in entry or entry.lower().endswith(".aux")}
        for what, text in list(DOCUMENTS.items())[::STEP]:
            self.written(text)
            before = self.content()
            for name, arguments in self.commands(file).items():
                with self.subTest(what, command=name):
                    calls = self.trace(*arguments)
                    own, elsewhere = self.opened(calls)
                    expected = {"document.cxml"}
                    if "hostile.py" in text and not name.startswith("fmt"):
                        expected.add("hostile.py")
                    if self.dataset in arguments:
                        expected.add("marks.gpkg")
                    if "def Generate(:" in text and name.startswith("check"):
                        expected.add("CalcFields")  # in vain: Python looks for the line in a file of the module's name
                    own = {entry for entry in own - usual if not entry.startswith("marks.gpkg-")}
                    if name == "explain" and "<!DOCTYPE" in text:  # may not load, and then there is nothing to ask
                        expected.discard("marks.gpkg")
                        own.discard("marks.gpkg")
                    self.assertEqual(own, expected)
                    self.assertLessEqual(elsewhere, harmless[name][1])
                    self.assertEqual([call for call in calls if call[0] not in OPENING and call not in aside], [])
                    self.assertEqual(self.content(), before)

    def test_schema_reads_nothing_here(self):
        calls = self.trace("schema")
        self.assertEqual({entry for entry in self.opened(calls)[0] if ".so" not in entry}, set())
        self.assertEqual([call for call in calls if call[0] not in OPENING], [])

    def test_the_trace_sees_what_a_run_does(self):
        """These documents do what they say, when they are run."""
        for what in ("python at once", "python in a definition", "python in a call", "python of a file"):
            with self.subTest(what):
                calls = self.trace("symbolize", self.written(DOCUMENTS[what]), self.dataset)
                self.assertIn(("execve", "/bin/sh"), calls)
                self.assertIn("mark", self.opened(calls)[0])
                if what == "python at once":
                    self.assertIn("secret", self.opened(calls)[0])
                    self.assertIn("connect", [call for call, _ in calls])
                (self.folder / "mark").unlink()


if __name__ == "__main__":
    main()
