"""Finds the CXML examples of a page and the tables of rows that go with them.

An example is an ```xml block. Before it may stand <!-- broken: TEXT -->: loading must say TEXT. After it may stand
<!-- rows: CLASS [subtype FIELD] --> and a table: its columns are the fields of a class ("NAME integer|real|text", or
"before NAME" for what an output field holds at first) and, without a type, the values that symbolizing must give. Right
after that table may stand <!-- beside: TABLE --> and the rows of another table of the dataset.
"""
import dataclasses
import re

EXAMPLE = re.compile(
    r"(?:<!-- broken: (?P<broken>[^\n]*?) -->\n)?```xml\n(?P<xml>.*?)```\n"
    r"(?:<!-- rows: (?P<name>\w+)(?: subtype (?P<subtype>\w+))? -->\n(?P<table>(?:\|[^\n]*\n)+)"
    r"(?:<!-- beside: (?P<beside>\w+) -->\n(?P<others>(?:\|[^\n]*\n)+))?)?", re.DOTALL)
ROOT = re.compile(r"\s*(?:<!DOCTYPE.*?\]>\s*)?<(\w+)", re.DOTALL)

# What stands around an example that shows an inner element only.
FRAMES = {
    "conditionMap": "{}",
    "featureClass": '<conditionMap name="Example">{}</conditionMap>',
    "condition": '<conditionMap name="Example"><featureClass name="BUOY">{}</featureClass></conditionMap>',
    "rule": '<conditionMap name="Example"><featureClass name="BUOY"><condition rulename="MATCH">{}</condition>'
            "</featureClass></conditionMap>",
}


@dataclasses.dataclass
class Column:
    name: str
    kind: str  # integer, real, text; empty for a result
    given: bool


@dataclasses.dataclass
class Example:
    where: str
    document: str
    broken: str
    class_name: str
    subtype: str
    columns: list
    rows: list
    beside: "Table"


@dataclasses.dataclass
class Table:
    name: str
    columns: list
    rows: list


def cells(line):
    return [cell.strip() for cell in line.strip().strip("|").split("|")]


def column(text):
    words = text.split()
    if words[0] == "before":
        return Column(words[1], words[2] if len(words) > 2 else "text", True)
    return Column(words[0], words[1], True) if len(words) == 2 else Column(words[0], "", False)


def value(text, kind):
    if text == "NULL":
        return None
    if text.startswith('"'):
        return text[1:-1]
    return {"integer": int, "real": float}.get(kind, str)(text)


def table(name, text):
    lines = (text or "").splitlines()
    return Table(name, [column(cell) for cell in cells(lines[0])] if lines else [], [cells(line) for line in lines[2:]])


def examples(page):
    text = page.read_text(encoding="utf-8")
    found = list(EXAMPLE.finditer(text))
    if len(found) != text.count("```xml\n"):
        raise ValueError(f"{page}: an example that cannot be read")
    if sum(1 for match in found if match["table"]) != len(re.findall("^<!-- rows:", text, re.M)):
        raise ValueError(f"{page}: a table without an example")
    if sum(1 for match in found if match["broken"]) != text.count("<!-- broken:"):
        raise ValueError(f"{page}: a mark without an example")
    if sum(1 for match in found if match["others"]) != text.count("<!-- beside:"):
        raise ValueError(f"{page}: another table without a table of rows")
    for match in found:
        root = ROOT.match(match["xml"])[1]
        main = table(match["name"], match["table"])
        yield Example(f"{page.name}:{text.count(chr(10), 0, match.start('xml')) + 1}",
                      FRAMES[root].format(match["xml"].strip()), match["broken"] or "", match["name"] or "",
                      match["subtype"] or "", main.columns, main.rows, table(match["beside"], match["others"]))
