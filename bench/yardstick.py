"""The yardstick: layers of points, a document and the same rules as one SQL UPDATE, with the known answers.

They are made by dataset.py, which is no part of this tree (see run), and kept from run to run.
"""
import array
import contextlib
import dataclasses
import json
import os
import pathlib
import shutil
import sqlite3
import subprocess
import sys

LAYER = "NAVPNT"
TARGETS = '"SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C"'


class Missing(Exception):
    """What the machine lacks to measure at all."""


def python_with_gdal():
    """An interpreter that has GDAL's bindings: this one, or the system's."""
    for python in (sys.executable, "/usr/bin/python3"):
        if subprocess.run([python, "-c", "import osgeo"], stderr=subprocess.DEVNULL, check=False).returncode == 0:
            return python
    raise Missing("no Python with GDAL's bindings: install Debian's python3-gdal")


@dataclasses.dataclass
class Case:
    """One data set: its folder, and what every row must hold in the end."""
    folder: pathlib.Path
    rows: int

    def file(self, name):
        return self.folder / name

    def rules(self):
        """Symbol, x, y and rotation of each condition, by number; None where a value is kept."""
        rules = {}
        for line in self.file("rules.tsv").read_text(encoding="utf-8").splitlines():
            number, symbol, *placement = line.split("\t")
            rules[int(number)] = (symbol, *(float(text) if text else None for text in placement))
        return rules

    def expected(self):
        """The targets of every row, and how many rows differ from what the file holds at the start."""
        deciding = array.array("h", self.file("answers.bin").read_bytes())
        rules = self.rules()
        before = read_targets(self.file("base.gpkg"))
        after = []
        for condition, row in zip(deciding, before, strict=True):
            after.append(tuple(new if new is not None else old for new, old in zip(rules[condition], row))
                         if condition else row)
        return after, sum(map(tuple.__ne__, before, after))


def read_targets(path):
    with contextlib.closing(sqlite3.connect(path)) as file:
        return file.execute(f'SELECT {TARGETS} FROM "{LAYER}" ORDER BY fid').fetchall()


def difference(got, expected):
    """What is wrong with the targets that a run has left; None when nothing is."""
    if len(got) != len(expected):
        return f"{len(got)} rows instead of {len(expected)}"
    wrong = [row for row, (one, other) in enumerate(zip(got, expected), 1) if one != other]
    if not wrong:
        return None
    return f"{len(wrong)} rows differ, first row {wrong[0]}: {got[wrong[0] - 1]} instead of {expected[wrong[0] - 1]}"


class Yardstick:
    """Makes data sets and keeps them in a folder."""

    def __init__(self, program, cache):
        if not program.is_file():
            raise Missing(f"there is no yardstick at {program}: name its dataset.py by --yardstick or "
                          "SYMBOLOGY_YARDSTICK")
        if not shutil.which("sqlite3"):
            raise Missing("there is no sqlite3 shell: install Debian's sqlite3")
        self.program = program
        self.cache = cache

    def case(self, rows, conditions, initial="null"):
        folder = self.cache / f"n{rows}-k{conditions}-{initial}"
        if not self.is_whole(folder, rows):
            python = python_with_gdal()
            print(f"making {folder.name} ...", file=sys.stderr, flush=True)
            shutil.rmtree(folder, ignore_errors=True)
            self.cache.mkdir(parents=True, exist_ok=True)
            subprocess.run([python, self.program, folder, "--rows", str(rows), "--conditions", str(conditions),
                            "--initial", initial], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        return Case(folder, rows)

    @staticmethod
    def is_whole(folder, rows):
        try:  # written last
            return json.loads((folder / "manifest.json").read_text(encoding="utf-8"))["rows"] == rows
        except OSError:
            return False


@dataclasses.dataclass
class Cost:
    """Of one process with all that it started."""
    seconds: float  # of processor time, user's and system's
    kilobytes: int  # at most resident


def run(command, text=None, **options):
    """Runs a program to its end. Returns its cost and what it wrote; a failure ends everything."""
    with subprocess.Popen([str(part) for part in command], stdin=subprocess.PIPE if text is not None else None,
                          stdout=subprocess.PIPE, **options) as process:
        if text is not None:
            process.stdin.write(text)
            process.stdin.close()
        output = process.stdout.read().decode()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise SystemExit(f"{command[0]} failed with status {process.returncode}: {output}")
    return Cost(usage.ru_utime + usage.ru_stime, usage.ru_maxrss), output
