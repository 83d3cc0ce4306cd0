#!/usr/bin/env python3
"""Symbolizes, resets and checks one GeoPackage and one PostgreSQL database at random, for as long as it is told, while
another program reads both: with kills, Ctrl-C, other people's locks, two runs at once and a server whose machine fails.
At any moment a layer has the answers of one run or none; at the end it has those of one run, and nothing is left over.

    soak.py [--minutes M] [--seed N] [--cxml PROGRAM]

Exit status: 0 all held, 1 something fell, 77 no server is installed.
"""
import argparse
import collections
import hashlib
import json
import os
import pathlib
import random
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "postgres"))
import server as private_server  # noqa: E402

ROWS = 400
LAYERS = ("boylat", "boycar")
FIELDS = ("symbol_c", "xoffset_c", "yoffset_c", "rotate_c", "label_c")
LONGEST = 120  # seconds for a command
MEMORY = 16_000  # kilobytes that the reader may grow after its first minute

CONFIGURATION = """<featureClass name="{}"><condition rulename="DEFAULT"/>
  <condition rulename="PORT" xoffset="1.5" angle="45"><rule type="A" field="CATLAM" operator="equal" value="1"/></condition>
  <condition rulename="NOTED"><rule type="Q" operator="exists" table="NOTES"><query>ID = %s AND %s &lt; 90</query>
    <params><param value="CATLAM"/><param value="NUMBER"/></params></rule></condition>
  <condition type="2" field="LABEL_C"><rule type="A" field="CATLAM" operator="gt" value="7"/>
    <expression>def Generate(NUMBER, CATLAM): return f'{{CATLAM}}/{{NUMBER}}'</expression></condition>
</featureClass>"""

TABLE = "CREATE TABLE {table} ({key}, catlam {int}, number {int}, {targets})"


def table_sql(table, key, whole, text, real):
    types = (text, real, real, real, text)
    return TABLE.format(table=table, key=key, int=whole, targets=", ".join(map(" ".join, zip(FIELDS, types))))


def rows(table):
    """The same in both datasets."""
    chance = random.Random(table)
    return [(i, chance.randrange(10), i) for i in range(1, ROWS + 1)]


class Dataset:
    def state(self, layer):
        return hashlib.sha256("\n".join(self.values(layer)).encode()).hexdigest()


class File(Dataset):
    """The GeoPackage."""

    def __init__(self, folder):
        self.path = folder / "chart.gpkg"
        self.name = str(self.path)

    def make(self):
        start = self.path.with_name("start.csv")
        start.write_text("ID,TEXT\n1,a\n2,b\n3,c\n", encoding="utf-8")
        subprocess.run(["ogr2ogr", "-q", "-f", "GPKG", self.path, start, "-nln", "notes", "-oo", "AUTODETECT_TYPE=YES"], check=True)
        start.unlink()
        connection = sqlite3.connect(self.path)
        with connection:
            for table in LAYERS:
                connection.execute(table_sql(table, "fid INTEGER PRIMARY KEY", "MEDIUMINT", "TEXT", "DOUBLE"))
                connection.executemany(f"INSERT INTO {table} (fid, catlam, number) VALUES (?, ?, ?)", rows(table))
                connection.execute("INSERT INTO gpkg_contents (table_name, data_type, identifier) VALUES (?, 'attributes', ?)",
                                   (table, table))
        connection.close()

    def values(self, layer):
        connection = sqlite3.connect(self.path, timeout=LONGEST)
        try:
            found = connection.execute(f"SELECT {', '.join(FIELDS)} FROM {layer} ORDER BY fid").fetchall()
        finally:
            connection.close()
        return ["|".join("-" if value is None else f"{value:g}" if isinstance(value, float) else str(value) for value in row)
                for row in found]

    def hold(self, seconds):
        """Somebody else's lock, for a while."""
        connection = sqlite3.connect(self.path, timeout=LONGEST)
        try:
            connection.execute(random.choice(("BEGIN IMMEDIATE", "BEGIN EXCLUSIVE")))
            time.sleep(seconds)
            connection.rollback()
        finally:
            connection.close()

    def leftovers(self):
        connection = sqlite3.connect(self.path)
        (sound,) = connection.execute("PRAGMA integrity_check").fetchone()
        connection.close()
        files = sorted(path.name for path in self.path.parent.iterdir() if path.name.startswith(self.path.name))
        return [*([] if sound == "ok" else [f"the file is damaged: {sound}"]),
                *(f"file {name}" for name in files if name != self.path.name)]


class Away(Exception):
    """The server is not there."""


class Database(Dataset):
    def __init__(self, folder):
        self.folder = folder
        self.name = f"PG:host={folder} dbname=postgres user=admin connect_timeout=5"
        self.psql = [private_server.programs() / "psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-h", folder, "-U", "admin",
                     "-d", "postgres"]

    def sql(self, text):
        done = subprocess.run([*self.psql, "-c", text], capture_output=True, text=True, check=False)
        if done.returncode == 2:  # the connection
            raise Away(done.stderr)
        if done.returncode != 0:
            raise RuntimeError(done.stderr)
        return done.stdout.splitlines()

    def make(self):
        self.sql("CREATE TABLE notes (id int PRIMARY KEY); INSERT INTO notes VALUES (1), (2), (3)")
        for table in LAYERS:
            self.sql(table_sql(table, "fid int PRIMARY KEY", "int", "text", "float8"))
            values = ", ".join(map(str, rows(table)))
            subprocess.run(self.psql, input=f"INSERT INTO {table} (fid, catlam, number) VALUES {values}", text=True, check=True)

    def values(self, layer):
        shown = " || '|' || ".join(f"coalesce({name}::text, '-')" for name in FIELDS)
        return self.sql(f"SELECT {shown} FROM {layer} ORDER BY fid")

    def hold(self, seconds):
        self.sql(f"BEGIN; UPDATE {random.choice(LAYERS)} SET catlam = catlam WHERE fid = {random.randint(1, ROWS)}; "
                 f"SELECT pg_sleep({seconds}); ROLLBACK")

    def kill(self):
        (self.folder / "down").touch()

    def start(self):
        time.sleep(0.3)
        (self.folder / "down").unlink(missing_ok=True)
        private_server.wait_until_ready(self.folder, private_server.programs())

    def leftovers(self):
        for _ in range(100):  # the server notices within a second or two that nobody is there
            sessions = self.sql("SELECT pid || ' ' || state FROM pg_stat_activity WHERE backend_type = 'client backend' "
                                "AND pid <> pg_backend_pid()")
            if not sessions:
                break
            time.sleep(0.1)
        transactions = self.sql("SELECT gid FROM pg_prepared_xacts")
        temporary = [str(path) for path in (self.folder / "data").rglob("pgsql_tmp*/*")]
        return [*(f"session {line}" for line in sessions), *(f"prepared transaction {line}" for line in transactions),
                *(f"file {name}" for name in temporary)]


def read(folder, server, allowed):
    """The other program: reads a layer at random, until standard input ends. One line for each answer that may not be."""
    datasets = File(folder), Database(server)
    os.set_blocking(0, False)
    answers = 0
    while sys.stdin.buffer.raw.read(1) != b"":
        dataset, layer = random.choice(datasets), random.choice(LAYERS)
        try:
            state = dataset.state(layer)
        except Away:
            time.sleep(0.05)
            continue
        answers += 1
        if state not in allowed[layer]:
            print(f"{dataset.name}: layer {layer} is torn", flush=True)
        time.sleep(0.02)
    print(f"answers {answers}", flush=True)


class Soak:
    def __init__(self, options, folder, server):
        self.options = options
        self.folder = folder
        self.file, self.database = File(folder), Database(server)
        self.rules = folder / "rules.cxml"
        self.fallen = []
        self.counts = collections.Counter()
        self.statuses = collections.Counter()
        self.temporary = folder / "tmp"
        self.takes = {}  # seconds of an undisturbed run

    def start(self, *arguments):
        return subprocess.Popen([self.options.cxml, *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                text=True, env={**os.environ, "TMPDIR": str(self.temporary)})

    def command(self, dataset, *more):
        return self.start(random.choice(("symbolize", "reset")), self.rules, dataset.name, *more)

    def fell(self, text):
        self.fallen.append(text)
        print(f"FELL: {text}", flush=True)

    def finish(self, process, allowed):
        """Waits; the status is one of those allowed, and what is not 0 says why."""
        try:
            out, err = process.communicate(timeout=LONGEST)
        except subprocess.TimeoutExpired:
            process.kill()
            out, err = process.communicate()
            return self.fell(f"{process.args} did not end: {out} {err}")
        self.statuses[process.returncode] += 1
        if process.returncode not in allowed or (process.returncode > 0) != bool(err):
            self.fell(f"{process.args}: status {process.returncode}: {out} {err}")
        return process.returncode

    # --- what happens

    def undisturbed(self, dataset):
        self.finish(self.command(dataset), {0})

    def checked(self, dataset):
        process = self.start("check", self.rules, dataset.name)
        out, err = process.communicate(timeout=LONGEST)
        if (process.returncode, out, err) != (0, "", ""):
            self.fell(f"check of {dataset.name}: status {process.returncode}: {out} {err}")

    def signalled(self, dataset, number, allowed):
        process = self.command(dataset)
        time.sleep(random.uniform(0, 1.1 * self.takes[dataset]))
        if process.poll() is None:
            process.send_signal(number)
        self.finish(process, allowed)

    def killed(self, dataset):
        self.signalled(dataset, signal.SIGKILL, {0, -signal.SIGKILL})

    def interrupted(self, dataset):
        # Before its handler stands the signal ends the process like any other.
        self.signalled(dataset, signal.SIGINT, {0, 130, -signal.SIGINT})

    def locked(self, dataset):
        process = self.command(dataset, "--lock-timeout", "1")
        time.sleep(random.uniform(0, 0.5 * self.takes[dataset]))
        dataset.hold(random.choice((0.1, 0.5, 3)))
        self.finish(process, {0, 1, 2})

    def two(self, dataset):
        for process in [self.command(dataset) for _ in range(2)]:
            self.finish(process, {0, 1} if dataset is self.database else {0, 1, 2})

    def server_killed(self, _):
        process = self.command(self.database)
        time.sleep(random.uniform(0, self.takes[self.database]))
        self.database.kill()
        self.finish(process, {0, 1, 2})
        self.database.start()

    def look(self):
        for dataset in (self.file, self.database):
            for layer in LAYERS:
                if dataset.state(layer) not in self.allowed[layer]:
                    self.fell(f"{dataset.name}: layer {layer} is torn")

    # --- from the beginning to the end

    def prepare(self):
        self.temporary.mkdir()
        self.rules.write_text('<?xml version="1.0" encoding="UTF-8"?>\n<conditionMap name="Soak">\n'
                              + "\n".join(CONFIGURATION.format(layer.upper()) for layer in LAYERS) + "\n</conditionMap>\n",
                              encoding="utf-8")
        answers = []
        for dataset in (self.file, self.database):
            dataset.make()
            states = []
            for command in ("symbolize", "reset", "symbolize", "reset"):
                began = time.monotonic()
                self.finish(self.start(command, self.rules, dataset.name), {0})
                self.takes[dataset] = time.monotonic() - began
                states.append({layer: dataset.state(layer) for layer in LAYERS})
            if states[:2] != states[2:]:
                raise SystemExit(f"a run that is repeated gives different answers: {states}")
            answers.append(states[:2])
        if answers[0] != answers[1] or answers[0][0] == answers[0][1]:
            raise SystemExit(f"one run gives different answers in both datasets, or none: {answers}")
        self.all, self.none = answers[0]
        self.allowed = {layer: (self.none[layer], self.all[layer]) for layer in LAYERS}

    def run(self):
        self.prepare()
        size = self.file.path.stat().st_size
        reader = subprocess.Popen([sys.executable, "-B", __file__, "--reader", self.folder, self.database.folder, json.dumps(self.allowed)],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        began = time.monotonic()
        memory = None
        actions = (self.undisturbed, self.undisturbed, self.checked, self.killed, self.killed, self.interrupted, self.locked,
                   self.two, self.server_killed)
        while (passed := time.monotonic() - began) < self.options.minutes * 60 and len(self.fallen) < 20:
            action = random.choice(actions)
            dataset = self.database if action == self.server_killed else random.choice((self.file, self.database))
            self.counts[f"{action.__name__} {'server' if dataset is self.database else 'file'}"] += 1
            action(dataset)
            self.look()
            if memory is None and passed > min(60, self.options.minutes * 20):
                memory = self.memory(reader)
        seconds = time.monotonic() - began
        grown = self.memory(reader) - (memory or 0)
        said = reader.communicate(timeout=LONGEST)[0].splitlines()
        for line in said[:-1]:
            self.fell(f"the reader: {line}")
        if reader.returncode != 0 or not said or not said[-1].startswith("answers "):
            self.fell(f"the reader ended with {reader.returncode}: {said}")
        if memory is not None and grown > MEMORY:
            self.fell(f"the reader has grown by {grown} kB")
        self.end(size)
        commands = sum(self.statuses.values()) + sum(self.counts[f"checked {kind}"] for kind in ("file", "server"))
        print(f"seed {self.options.seed}, {seconds / 60:.1f} minutes, {commands} commands, "
              f"{said[-1].split()[-1] if said else 0} answers read by the other program, which grew by {grown} kB")
        print("what happened: " + ", ".join(f"{name} {count}" for name, count in sorted(self.counts.items())))
        print("statuses: " + ", ".join(f"{status}: {count}" for status, count in sorted(self.statuses.items())))
        print(f"fell: {len(self.fallen)}")
        return 1 if self.fallen else 0

    def end(self, size):
        """The answers of one run, and nothing left over."""
        for dataset in (self.file, self.database):
            self.finish(self.start("symbolize", self.rules, dataset.name), {0})
            for layer in LAYERS:
                if dataset.state(layer) != self.all[layer]:
                    self.fell(f"{dataset.name}: layer {layer} has not the answers of one run at the end")
            for left in dataset.leftovers():
                self.fell(f"{dataset.name}: left over: {left}")
        for path in self.temporary.iterdir():
            self.fell(f"left over: file {path}")
        if self.file.path.stat().st_size > 2 * size:
            self.fell(f"the file has grown from {size} to {self.file.path.stat().st_size} bytes")

    @staticmethod
    def memory(process):
        text = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="utf-8")
        return int(text.partition("VmRSS:")[2].split()[0])


def main():
    if sys.argv[1:2] == ["--reader"]:
        return read(pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]), json.loads(sys.argv[4]))
    parser = argparse.ArgumentParser(description=__doc__.partition("\n\n")[0])
    parser.add_argument("--minutes", type=float, default=1)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1_000_000))
    parser.add_argument("--cxml", default=os.environ.get("CXML", ROOT / "build" / "release" / "bin" / "cxml"))
    options = parser.parse_args()
    random.seed(options.seed)
    print(f"seed {options.seed}", flush=True)
    with tempfile.TemporaryDirectory(prefix="cxml-soak-") as folder:
        state = pathlib.Path(folder) / "server"
        lifetime = {**os.environ, "CXML_TEST_SERVER_SECONDS": str(int(options.minutes * 60 + 600))}
        subprocess.run([sys.executable, "-B", private_server.__file__, "start", state, "bare"], check=True, env=lifetime)
        place = state.read_text(encoding="utf-8")
        if place.startswith("none: "):
            print(place[6:])
            return 77
        try:
            return Soak(options, pathlib.Path(folder), pathlib.Path(place)).run()
        finally:
            subprocess.run([sys.executable, "-B", private_server.__file__, "stop", state], check=True)


if __name__ == "__main__":
    sys.exit(main())
