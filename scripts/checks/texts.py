"""What files may say: nothing of the machine they were written on, not too much at once, and no link to nowhere."""

import re
from urllib.parse import unquote

from sources import read_text, own_files

# Absolute paths of somebody's machine. (An XPath such as /root/child is not one.)
MACHINE_PATH = re.compile(r"(?<![\w.$}~/*-])/(?:home|Users|tmp|work|mnt)/[\w.]|(?<![\w.$}~/*-])/root/\.|\b[A-Z]:\\+Users\\")
# Hosts stand in files as names of XML namespaces and of standards only. Where packages come from is the machine's
# own setting.
URL_HOST = re.compile(r"\b(?:https?|ftp|git|ssh)://(?:[^\s/@\"'<>]*@)?([\w.-]*\w)")
KNOWN_HOSTS = re.compile(r"(^|\.)(w3\.org|geopackage\.org|gdal\.org|opengis\.net|opengeospatial\.org|example|example\.(com|org|net)|localhost)$")
PACKAGE_HOST = re.compile(r"\b(?:[\w-]+\.)*[\w-]*(?:mirror|registry|pypi|artifact)[\w-]*(?:\.[\w-]+)*"
                          r"\.(?:com|dev|internal|io|net|org)\b", re.IGNORECASE)

# What a merge leaves where it found two answers.
MERGE_MARK = re.compile(r"^(<{7}|>{7}|\|{7}) ")


def check_words(root):
    problems = []
    for path in own_files(root):
        text = read_text(root / path)
        if text is None:
            continue
        for number, line in enumerate(text.splitlines(), 1):
            if MERGE_MARK.match(line):
                problems.append(f"{path}:{number}: a merge was not finished")
            for match in MACHINE_PATH.finditer(line):
                problems.append(f"{path}:{number}: a path of one machine: {match.group(0)}...")
            for match in URL_HOST.finditer(line):
                if not KNOWN_HOSTS.search(match.group(1)):
                    problems.append(f"{path}:{number}: a host: {match.group(1)}")
            for match in PACKAGE_HOST.finditer(line):
                problems.append(f"{path}:{number}: a package host: {match.group(0)}")
    return problems


MOST_LINES = 500
WRITTEN_BY_HAND = {".cpp", ".h", ".py", ".cmake", ".sh", ""}


def check_size(root):
    problems = []
    for path in own_files(root):
        if path.suffix not in WRITTEN_BY_HAND and path.name != "CMakeLists.txt" or "data" in path.parts:
            continue
        lines = (read_text(root / path) or "").count("\n")
        if lines > MOST_LINES:
            problems.append(f"{path}: {lines} lines; above {MOST_LINES} a file is split along a seam that has a name")
    return problems


LINK = re.compile(r"!?\[[^\]]*\]\(\s*<?([^)\s>]+)>?(?:\s+\"[^\"]*\")?\s*\)|^\[[^\]]+\]:\s*(\S+)", re.MULTILINE)
FENCE = re.compile(r"^(```|~~~).*?^\1\s*$", re.MULTILINE | re.DOTALL)
CODE_SPAN = re.compile(r"`[^`\n]*`")
HEADING = re.compile(r"^#+\s+(.*?)\s*#*$", re.MULTILINE)


def anchors_of(text):
    """The anchors that the headings of a page get."""
    anchors = set()
    for heading in HEADING.findall(FENCE.sub("", text)):
        slug = re.sub(r"[^\w\- ]", "", re.sub(r"[`*]", "", heading).lower()).replace(" ", "-")
        number = 1
        unique = slug
        while unique in anchors:
            unique = f"{slug}-{number}"
            number += 1
        anchors.add(unique)
    return anchors


def check_links(root):
    problems = []
    for path in own_files(root):
        if path.suffix != ".md":
            continue
        text = read_text(root / path) or ""
        prose = CODE_SPAN.sub("", FENCE.sub("", text))
        for inline, reference in LINK.findall(prose):
            link = inline or reference
            if re.match(r"[a-z][a-z0-9+.-]*:", link):
                continue
            target, _, anchor = link.partition("#")
            page = root / path.parent / unquote(target) if target else root / path
            if not page.exists():
                problems.append(f"{path}: no such file: {link}")
            elif anchor and page.suffix == ".md" and anchor not in anchors_of(page.read_text(encoding="utf-8")):
                problems.append(f"{path}: no such heading: {link}")
    return problems
