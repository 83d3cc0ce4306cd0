"""The seams of the tree: which folder may include which, and where the outer world's headers may stand."""

import re
from pathlib import Path

from sources import code_files, read_text

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)

# What each folder may include, besides itself. Arrows point down, from the folders below to those above them here:
# tools -> host -> include, and api -> symbolize -> cxml -> rules -> gdb, python -> text -> platform.
PLATFORM = {"include", "platform"}
TEXT = PLATFORM | {"src/text"}
RULES = TEXT | {"src/gdb", "src/python", "src/rules"}
GEODATABASE = PLATFORM | {"host", "host/geodatabase/base"}
# The host as others see it.
HOST = {"host", "host/velcore", "host/tarnlib", "host/python", "host/geodatabase", "host/geodatabase/base"}
ARROWS = {
    "platform": set(),
    "include": {"platform"},
    "src/text": PLATFORM,
    "src/gdb": TEXT,
    "src/python": TEXT,
    "src/rules": TEXT | {"src/gdb"},
    "src/cxml": RULES,
    "src/symbolize": RULES | {"src/cxml"},
    "src/api": RULES | {"src/cxml", "src/symbolize"},
    "host": PLATFORM,  # what all of it shares
    "host/velcore": PLATFORM | {"host"},
    "host/tarnlib": PLATFORM | {"host"},
    "host/python": PLATFORM | {"host"},
    "host/geodatabase/base": PLATFORM | {"host"},
    "host/geodatabase/s57": GEODATABASE,
    "host/geodatabase/sqlite": GEODATABASE,
    "host/geodatabase/postgres": GEODATABASE,
    "host/geodatabase/gdal": GEODATABASE | {"host/geodatabase/sqlite", "host/geodatabase/s57"},
    "host/geodatabase/objects": GEODATABASE | {"host/velcore"},
    "host/geodatabase": GEODATABASE | {f"host/geodatabase/{part}" for part in ("s57", "postgres", "gdal", "objects", "sqlite")},
    "host/arrow": GEODATABASE | {"host/geodatabase/objects", "host/geodatabase/sqlite"},
    "tools/text": PLATFORM,
    "tools/s57": PLATFORM | {"host/geodatabase", "tools/text"},
    # The tools look at documents, and at runs, with the library's own parts.
    "tools/places": TEXT | {"src/cxml", "tools/text"},
    "tools/workbench": RULES | {"src/cxml", "src/symbolize", "host", "host/geodatabase/base", "tools/text",
                              "tools/places"},
    # What is shown of documents and runs, without datasets and without a command line.
    "tools/reports": RULES | {"src/cxml", "src/api", "host", "host/velcore", "host/geodatabase/base", "tools/text",
                              "tools/s57", "tools/places", "tools/workbench"},
    "tools/streams": RULES | {"src/cxml", "src/symbolize", "host", "host/arrow", "host/geodatabase/base", "tools/text",
                              "tools/places", "tools/workbench", "tools/reports"},
    "tools/c": {"include", "platform", "host", "tools/streams"},
    # Documents at work on datasets, without a command line.
    "tools/runs": RULES | HOST | {"src/cxml", "tools/text", "tools/places", "tools/reports"},
    "tools/geodatabase": RULES | HOST | {"src/cxml", "src/symbolize", "tools/text", "tools/reports", "tools/runs"},
    "tools/check": RULES | HOST | {"src/cxml", "tools/text", "tools/places", "tools/s57"},
    "tools/format": PLATFORM | {"tools/text", "tools/check"},
    "tools/draw": PLATFORM | HOST | {"tools/text"},
    "tools/style": PLATFORM | HOST | {"tools/text", "tools/draw"},
    "tools/lookups": PLATFORM | {"tools/text", "tools/s57"},
    "tools/pages": PLATFORM | {"tools/text"},
    "tools/cxml": RULES | HOST | {"src/cxml", "src/symbolize", "src/api"} | {
        f"tools/{part}" for part in ("text", "s57", "places", "workbench", "reports", "runs", "check", "format", "draw", "style", "lookups", "pages")},
}


def folder_of(path):
    """The folder as ARROWS names it; None for tests, fuzzers and benchmarks, which may look everywhere."""
    parts = path.parts
    if parts[0] == "host":
        return "/".join(parts[:-1])
    if parts[0] in ("src", "tools") and len(parts) > 2:
        return "/".join(parts[:2])
    return parts[0] if parts[0] in ("platform", "include") else None


def includes_of(root, path):
    """(line number, header as written, quoted?) of each include directive."""
    text = read_text(root / path) or ""
    for match in INCLUDE.finditer(text):
        yield text.count("\n", 0, match.start(2)) + 1, match.group(2), match.group(1) == '"'


def resolve(root, includer, header):
    """The included file of the tree as a relative path; None when it is not one of the tree's."""
    for base in (includer.parent, Path("include"), Path("src"), Path("."), Path("tests")):
        candidate = root / base / header
        if candidate.is_file():
            return candidate.resolve().relative_to(root.resolve())
    return None


def circle_of(arrows):
    """Folders that may include each other in a circle, the first again at the end; empty without one."""
    def walk(folder, path):
        if folder in path:
            return path[path.index(folder):] + [folder]
        return next(filter(None, (walk(target, path + [folder]) for target in sorted(arrows.get(folder, ())))), [])

    return next(filter(None, (walk(folder, []) for folder in sorted(arrows))), [])


def check_arrows(root):
    circle = circle_of(ARROWS)
    problems = [f"the folders are a circle: {' -> '.join(circle)}"] if circle else []
    for path in code_files(root):
        source = folder_of(path)
        for line, header, quoted in includes_of(root, path):
            target = resolve(root, path, header)
            if target is None:
                if quoted and "/" in header:
                    problems.append(f"{path}:{line}: no such file in the tree: {header}")
                continue
            folder = folder_of(target)
            if source is None or folder == source:
                continue
            if folder is None:
                problems.append(f"{path}:{line}: {source} includes {target}, which is not part of the product")
            elif folder not in ARROWS.get(source, set()):
                problems.append(f"{path}:{line}: {source} may not include {target}")
    return problems


# Headers of libraries: a pattern, and the folders that may include them.
LIBRARIES = [
    ("ICU", re.compile(r"^unicode/"), ("platform/portable/",)),
    ("libxml2", re.compile(r"^libxml/"), ("platform/portable/", "tools/style/")),
    ("GDAL", re.compile(r"^(gdal|ogr|cpl_|vrt|gnm)\w*\.h$"), ("host/", "tests/host/", "tests/conformance/")),
    ("libpq", re.compile(r"^libpq"), ("host/geodatabase/postgres/", "tests/postgres/", "tests/conformance/")),
    ("SQLite", re.compile(r"^sqlite3"), ("host/geodatabase/", "host/arrow/", "tests/host/", "tests/tool/", "tests/arrow/",
                                         "tests/conformance/", "bench/", "fuzz/")),
    ("nanoarrow", re.compile(r"^nanoarrow"), ("host/arrow/", "python/", "tests/arrow/", "tests/c/", "tests/conformance/", "fuzz/")),
    ("librsvg", re.compile(r"^(librsvg/|cairo)"), ("tools/draw/",)),
    ("Python", re.compile(r"^(Python\.h|python3\.|pybind11/)"), ("host/python/", "tests/python/", "bench/")),
    ("Windows", re.compile(r"^(windows|windef|winbase|winnls|ole\w*|oa\w+|objbase|unknwn|msxml\w*|comdef\w*|atl\w+)\.h$",
                           re.IGNORECASE), ("platform/", "tests/platform/differential/")),
]
POSIX = re.compile(
    r"^(unistd|fcntl|dlfcn|dirent|pthread|strings|poll|langinfo|iconv|pwd|grp|semaphore|termios|sched|glob|fnmatch"
    r"|libgen|link|execinfo|cxxabi|syslog|regex|wordexp|spawn|endian|byteswap|sys/\w+|arpa/\w+|net\w*/\w+)\.h$")
# Documents are read in one folder of the library, after they were loaded in another.
DOM_READERS = ("src/cxml/", "src/api/")
DOM_TYPE = re.compile(r"\bIXMLDOM\w+")
CONDITIONAL = re.compile(r"^\s*#\s*(if|ifdef|ifndef|elif|elifdef|elifndef)\b((?:[^\\\n]|\\\n|\\.)*)", re.MULTILINE)
SYSTEM_MACRO = re.compile(
    r"\b(_?WIN(32|64)|_WIN(32|64)|WINVER|_WIN32_WINNT|_MSC_VER|_MSVC_LANG|_ATL_VER|__MINGW\w*|__CYGWIN__|__linux\w*|linux"
    r"|__unix\w*|unix|__APPLE__|__ANDROID__|_POSIX\w*|__GNUC\w*|__GLIBC\w*|__GLIBCXX__|__clang\w*|__INTEL_COMPILER"
    r"|__has_(include|builtin|attribute|feature)|_LIBCPP\w*|__x86_64__|_M_X64|_M_IX86|__SIZEOF_\w+)\b")


def check_seams(root):
    problems = []
    for path in code_files(root):
        name = path.as_posix()
        for line, header, _ in includes_of(root, path):
            for library, pattern, allowed in LIBRARIES:
                if pattern.match(header) and not name.startswith(allowed):
                    problems.append(f"{path}:{line}: {library} ({header}) belongs to {' or '.join(allowed)}")
            if POSIX.match(header) and name.startswith(("src/", "platform/")) and \
                    not name.startswith("platform/portable/"):
                problems.append(f"{path}:{line}: {header} is POSIX, which belongs to platform/portable/")
        if name.startswith("src/") and not name.startswith(DOM_READERS):
            problems += dom_uses_of(root, path)
        if not name.startswith("platform/"):
            problems += conditionals_of(root, path)
    return problems


def dom_uses_of(root, path):
    text = read_text(root / path) or ""
    for match in DOM_TYPE.finditer(text):
        line = text.count("\n", 0, match.start()) + 1
        yield f"{path}:{line}: {match.group()}: documents are read in {' and '.join(DOM_READERS)}"


def conditionals_of(root, path):
    text = read_text(root / path) or ""
    for match in CONDITIONAL.finditer(text):
        macro = SYSTEM_MACRO.search(match.group(2))
        if macro:
            line = text.count("\n", 0, match.start(1)) + 1
            yield f"{path}:{line}: #{match.group(1)} {macro.group(0)}: systems and compilers differ in platform/ only"
