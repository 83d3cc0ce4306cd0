#!/usr/bin/env python3
"""Fills a folder with documents and rows for all hosts, see rows_file.h: random ones by fixed seeds, the harbour, and a real cell where
there is one.

    corpus.py FOLDER [--random N]
"""

import argparse
import contextlib
import os
import pathlib
import random
import shutil
import sqlite3
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))
import random_documents  # noqa: E402

CELLS = pathlib.Path(os.environ.get("SYMBOLOGY_SAMPLE_CELLS") or ROOT.parent / "shared" / "sample-cells")
CELL = "US5OH10M.000"
TYPES = {"SMALLINT": "small", "MEDIUMINT": "integer", "INTEGER": "big", "REAL": "real", "DOUBLE": "real", "FLOAT": "float",
         "TEXT": "text", "BOOLEAN": "boolean", "DATE": "date", "DATETIME": "moment"}
ESCAPES = str.maketrans({"\\": "\\\\", "\t": "\\t", "\n": "\\n", "\r": "\\r"})


def word(value):
    return "\\N" if value is None else str(value).translate(ESCAPES)


def lines_of(name, title, subtype_field, fields, rows):
    """A table as lines; `fields` are pairs of name and type."""
    yield "\t".join(["table", name, title, *([subtype_field] if subtype_field else [])])
    for field in fields:
        yield "\t".join(["field", *field])
    for row in rows:
        yield "\t".join(["row", *map(word, row)])


def write(path, lines):
    path.write_text("\n".join(lines) + "\n", encoding="utf-8")


def tables_of(dataset, subtype_field=None):
    """The lines of a GeoPackage's tables, without what is no plain value."""
    with contextlib.closing(sqlite3.connect(dataset)) as connection:
        for name, title in connection.execute("SELECT table_name, identifier FROM gpkg_contents ORDER BY rowid").fetchall():
            columns = connection.execute(f'PRAGMA table_info("{name}")').fetchall()
            fields = [(column[1], TYPES[column[2].split("(")[0]]) for column in columns
                      if column[5] == 0 and column[2].split("(")[0] in TYPES]
            key = next(column[1] for column in columns if column[5])
            names = ", ".join(f'"{field}"' for field, _ in fields)
            rows = connection.execute(f'SELECT {names} FROM "{name}" ORDER BY "{key}"').fetchall() if fields else []
            subtypes = subtype_field if any(field == subtype_field for field, _ in fields) else None
            yield from lines_of(name, title, subtypes, fields, rows)


def write_random(folder, number):
    for seed in range(number):
        chance = random.Random(seed)
        made = random_documents.Maker(chance)
        (folder / f"random{seed:04}.cxml").write_text(made.document(), encoding="utf-8")
        lines = []
        for layer in ("MARKS", "OTHERS"):
            lines += lines_of(layer, layer, "KIND" if layer == "MARKS" else None, random_documents.FIELDS,
                              [made.row() for _ in range(40)])
        write(folder / f"random{seed:04}.rows", lines)


def write_harbour(folder):
    harbour = ROOT / "examples" / "harbour"
    with tempfile.TemporaryDirectory() as work:
        chart = pathlib.Path(work) / "harbour.gpkg"
        subprocess.run([harbour / "build", chart], check=True, stdout=subprocess.DEVNULL)
        write(folder / "harbour.rows", tables_of(chart, "FCSUBTYPE"))
    for name in ("harbour.cxml", "light_character.py"):
        shutil.copy(harbour / name, folder)


def write_cell(folder):
    found = sorted(CELLS.rglob(CELL)) if CELLS.exists() else []
    if not found:
        (folder / "none").write_text(f"there is no {CELL} in {CELLS.name}; SYMBOLOGY_SAMPLE_CELLS names another folder\n", encoding="utf-8")
        return
    with tempfile.TemporaryDirectory() as work:
        dataset = pathlib.Path(work) / "cell.gpkg"
        subprocess.run([os.environ["CXML"], "import", found[0], dataset], check=True, stdout=subprocess.DEVNULL)
        write(folder / "enc.rows", tables_of(dataset))
    shutil.copy(ROOT / "examples" / "enc" / "enc.cxml", folder)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--random", type=int, default=100)
    arguments = parser.parse_args()
    shutil.rmtree(arguments.folder, ignore_errors=True)
    folders = {name: arguments.folder / name for name in ("random", "harbour", "cell")}
    for folder in folders.values():
        folder.mkdir(parents=True)
    write_random(folders["random"], arguments.random)
    write_harbour(folders["harbour"])
    write_cell(folders["cell"])


if __name__ == "__main__":
    main()
