#!/usr/bin/env python3
"""Runs the tool again and again, each time with one of its calls into the system failing: it either does what it does
without faults, or says that it failed and leaves every layer as it was. Nothing in between.

    faults.py CXML INJECTION [--seconds N] [--only TEXT]
"""
import argparse
import itertools
import os
import pathlib
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field

from make_chart import make_chart

HERE = pathlib.Path(__file__).resolve().parent
DOCUMENT = HERE / "chart.cxml"
PATIENCE = 40  # seconds that no run may take
EIO, EAGAIN, ENOSPC, ENOMEM = 5, 11, 28, 12

# What is said of a dataset that lacks something. This one lacks nothing.
ABSENCE = re.compile(r"no layer has a configuration|no configuration|Failed to find|does not exist|has no field|"
                     r"no field of layer|has no table|no layer for|no such (layer|table|field|dataset)|not found|"
                     r"there is no (layer|subtype|row)|the dataset has no layers|no such dataset")


@dataclass
class Scenario:
    """A command over a chart in a certain state; without a state, the chart is to be made."""
    name: str
    arguments: list
    chart: str = ""
    journal: str = ""

    def command(self, cxml, chart):
        places = {CHART: chart, CELL: chart.parent / CELL_FILE}
        return [cxml, *(places.get(argument, argument) for argument in self.arguments)]


@dataclass
class Fault:
    scenario: Scenario
    calls: str
    at: int
    ever: bool
    error: int

    def __str__(self):
        return (f"{self.scenario.name}: {self.calls} {self.at}{' and all later' if self.ever else ''} "
                f"fails with {os.strerror(self.error)}")


@dataclass
class Outcome:
    status: int
    out: str
    err: str
    rows: dict
    calls: dict = field(default_factory=dict)
    left: list = field(default_factory=list)  # files that nobody asked for


@dataclass
class Tally:
    possible: int = 0
    tried: int = 0
    same: int = 0
    refused: int = 0
    fell: list = field(default_factory=list)


KINDS = ["read", "lock", "write", "memory"]
CHART, CELL = object(), object()
CELL_FILE = "XX5MERRW.000"
# Few retries: what someone else has locked for good is given up soon.
LOCKS = ["--lock-timeout", "0.1"]


def scenarios():
    for journal in ("delete", "wal"):
        yield Scenario(f"symbolize, {journal}", ["symbolize", DOCUMENT, CHART, *LOCKS], "fresh", journal)
        yield Scenario(f"symbolize --add-fields, {journal}", ["symbolize", DOCUMENT, CHART, "--add-fields", *LOCKS],
                       "bare", journal)
        yield Scenario(f"reset, {journal}", ["reset", DOCUMENT, CHART, *LOCKS], "done", journal)
        yield Scenario(f"check, {journal}", ["check", DOCUMENT, CHART], "fresh", journal)
    yield Scenario("import", ["import", CELL, CHART])


def faults_of(scenario, calls, count):
    errors = {"read": [EIO], "lock": [EAGAIN, EIO], "write": [EIO, ENOSPC], "memory": [ENOMEM]}[calls]
    # SQLite by itself asks for ten seconds again and again, for each statement, where the locks of a write-ahead log
    # fail for good; docs/reliability.md says so.
    lasting = (False,) if calls == "lock" and scenario.journal == "wal" else (False, True)
    for at, ever, error in itertools.product(range(1, count + 1), lasting, errors):
        yield Fault(scenario, calls, at, ever, error)


def rows_of(chart):
    """What every layer holds: its columns' names and its rows. Opening it rolls back what was left unfinished."""
    if not chart.exists():
        return {}
    with_rows = sqlite3.connect(chart)
    try:
        layers = {}
        for (layer,) in with_rows.execute("SELECT table_name FROM gpkg_contents ORDER BY table_name").fetchall():
            rows = with_rows.execute(f'SELECT * FROM "{layer}"')
            layers[layer] = ([column[0] for column in rows.description], rows.fetchall())
        (intact,), *more = with_rows.execute("PRAGMA integrity_check").fetchall()
        if intact != "ok" or more:
            layers["integrity"] = intact
        return layers
    finally:
        with_rows.close()


def widened(layer, columns):
    """The layer as it is with columns added that hold nothing."""
    names, rows = layer
    added = tuple(None for name in columns if name not in names)
    return columns, [row + added for row in rows]


class Laboratory:
    """Runs the tool over copies of charts."""

    def __init__(self, cxml, injection, folder):
        self.cxml = cxml
        self.injection = injection
        self.folder = folder
        self.charts = {}
        self.numbers = itertools.count()
        self.cells = folder / "cells"
        self.cells.mkdir()
        subprocess.run([sys.executable, "-B", HERE.parents[1] / "examples/harbour/generator", "--cell", self.cells],
                       check=True, capture_output=True)

    def chart(self, scenario):
        key = (scenario.chart, scenario.journal)
        if key not in self.charts:
            path = self.folder / f"{'-'.join(key)}.gpkg"
            make_chart(path, targets=scenario.chart != "bare", journal=scenario.journal)
            if scenario.chart == "done":
                subprocess.run([self.cxml, "symbolize", DOCUMENT, path], check=True, capture_output=True)
            self.charts[key] = path
        return self.charts[key]

    def run(self, scenario, **plan):
        place = self.folder / str(next(self.numbers))
        place.mkdir()
        chart = place / "chart.gpkg"
        if scenario.chart:
            shutil.copyfile(self.chart(scenario), chart)
        else:
            shutil.copytree(self.cells, place, dirs_exist_ok=True)
        given = set(place.iterdir()) | {chart}
        report = self.folder / f"report-{place.name}"
        environment = {**os.environ, "LD_PRELOAD": str(self.injection), "FAULT_PATH": f"{self.folder.name}/{place.name}/",
                       "FAULT_REPORT": str(report)}
        environment |= {f"FAULT_{name.upper()}": str(value) for name, value in plan.items()}
        try:
            done = subprocess.run(scenario.command(self.cxml, chart), env=environment, capture_output=True, text=True,
                                  errors="replace", timeout=PATIENCE, check=False)
            status, out, err = done.returncode, done.stdout, done.stderr
        except subprocess.TimeoutExpired:
            status, out, err = None, "", ""
        try:
            counted = dict(zip(KINDS, map(int, report.read_text().split()))) if report.exists() else {}
            left = sorted(path.name for path in set(place.iterdir()) - given if not scenario.chart)
            return Outcome(status, out.replace(str(place), ""), err.replace(str(place), ""), rows_of(chart), counted,
                           left)
        finally:
            shutil.rmtree(place)


def layers_wrong(outcome, before, intact):
    """The layers that are neither as they were nor as a run leaves them."""
    if outcome.rows in (before, intact.rows):
        return []
    if set(outcome.rows) != set(before):
        return sorted(set(outcome.rows) ^ set(before))
    return [layer for layer, found in outcome.rows.items()
            if found not in (before[layer], intact.rows[layer], widened(before[layer], intact.rows[layer][0]))]


OURS = re.compile(r"(cxml|MARKS|BOYLAT): \S")


def what_is_wrong(outcome, before, intact, calls):
    """Why the outcome of a run with a fault may not be; None when it may."""
    err = outcome.err
    if calls == "memory":  # of which libraries may complain by themselves, even when they then go on
        err = "".join(line for line in err.splitlines(True) if OURS.match(line))
    if outcome.status is None:
        return "it hangs"
    if calls == "memory" and outcome.status == -signal.SIGSEGV and not before:
        return f"half written: {', '.join(outcome.rows)}" if outcome.rows else None  # GDAL's reader of cells
    if outcome.status not in (0, 1, 2):
        return f"it ends with status {outcome.status}"
    if outcome.left:
        return f"it leaves {', '.join(outcome.left)} behind"
    if wrong := layers_wrong(outcome, before, intact):
        return f"half written: {', '.join(wrong)}"
    if outcome.status == intact.status and (outcome.out, err) == (intact.out, intact.err):
        return None if outcome.rows == intact.rows else "it says that all is well, and rows are missing"
    if outcome.status == 0:
        return "status 0, but it does not say what a run without faults says"
    if absent := ABSENCE.search(outcome.out + err):
        return f"it says '{absent.group()}'"
    lines = err.splitlines()
    if not lines or not all(map(OURS.match, lines)):
        return "it says nothing clear"
    # One for each of the two layers, and what the library itself says of a row.
    if len(lines) > 3 or any(len(line) > 700 for line in lines):
        return "it says too much"
    return None


def show(fault, outcome, why):
    print(f"--- {fault}\n    {why} (status {outcome.status})")
    for line in (outcome.out + outcome.err).splitlines()[:6]:
        print(f"    | {line[:300]}")


def parse():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("cxml", type=pathlib.Path)
    parser.add_argument("injection", type=pathlib.Path)
    parser.add_argument("--seconds", type=float, default=110, help="how long the faults may take together")
    parser.add_argument("--only", default="", help="only scenarios and calls with this in their name")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 2)
    return parser.parse_args()


def main():
    options = parse()
    fell = 0
    with tempfile.TemporaryDirectory(prefix="symbology-faults-") as folder:
        laboratory = Laboratory(options.cxml.resolve(), options.injection.resolve(), pathlib.Path(folder))
        intact, before, tallies, faults = {}, {}, {}, []
        for scenario, calls in itertools.product(scenarios(), KINDS):
            name = f"{scenario.name}, {calls}"
            if options.only not in name:
                continue
            tallies[scenario.name, calls] = tally = Tally()
            if scenario.name not in intact:
                intact[scenario.name] = laboratory.run(scenario)
                before[scenario.name] = rows_of(laboratory.chart(scenario)) if scenario.chart else {}
            found = list(faults_of(scenario, calls, intact[scenario.name].calls[calls]))
            tally.possible = len(found)
            faults.append(found)
        if not any(faults):
            sys.exit("no call was counted: is the injection preloaded?")

        # A first few tell how long one takes on this machine.
        deadline = time.monotonic() + options.seconds

        def attempt(fault):
            if time.monotonic() > deadline:
                return None
            plan = {"calls": fault.calls, "at": fault.at, "error": fault.error} | ({"ever": 1} if fault.ever else {})
            return fault, laboratory.run(fault.scenario, **plan)

        # Every list in an order of its own, all lists in turn: when the time is up, all were tried alike.
        shuffled = [random.Random(1).sample(found, len(found)) for found in faults]
        in_turn = [fault for row in itertools.zip_longest(*shuffled) for fault in row if fault]
        with ThreadPoolExecutor(options.jobs) as pool:
            for result in pool.map(attempt, in_turn):
                if not result:
                    continue
                fault, outcome = result
                tally = tallies[fault.scenario.name, fault.calls]
                tally.tried += 1
                why = what_is_wrong(outcome, before[fault.scenario.name], intact[fault.scenario.name], fault.calls)
                if why:
                    tally.fell.append(fault)
                    show(fault, outcome, why)
                elif outcome.status == intact[fault.scenario.name].status:
                    tally.same += 1
                else:
                    tally.refused += 1
    print(f"{'':<42} {'tried':>6} {'of':>6} {'no harm':>8} {'refused':>8} {'fell':>5}")
    for (scenario, calls), tally in tallies.items():
        print(f"{scenario + ', ' + calls:<42} {tally.tried:>6} {tally.possible:>6} {tally.same:>8} {tally.refused:>8} "
              f"{len(tally.fell):>5}")
        fell += len(tally.fell)
    print(f"{sum(tally.tried for tally in tallies.values())} runs, {fell} fell")
    return 1 if fell else 0


if __name__ == "__main__":
    sys.exit(main())
