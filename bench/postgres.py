"""The same rows on a private PostgreSQL server, the one that the tests use."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

import yardstick

ROOT = pathlib.Path(__file__).resolve().parents[1]
SERVER = ROOT / "tests" / "postgres" / "server.py"


class Server:
    """A server with one data set; every run works on a fresh copy of it."""

    def __init__(self, case):
        for program, package in (("psql", "postgresql-client"), ("ogr2ogr", "gdal-bin")):
            if not shutil.which(program):
                raise yardstick.Missing(f"there is no {program}: install Debian's {package}")
        self.state = pathlib.Path(tempfile.mkdtemp(prefix="cxml-bench-")) / "server"
        self.case = case

    def __enter__(self):
        subprocess.run([sys.executable, "-B", SERVER, "start", self.state], check=True)
        self.folder = self.state.read_text(encoding="utf-8")
        if self.folder.startswith("none: "):
            raise yardstick.Missing(self.folder[6:])
        self.sql("postgres", "CREATE DATABASE base")
        subprocess.run(["ogr2ogr", "-q", "-f", "PostgreSQL", self.connection("base"), self.case.file("base.gpkg"),
                        "-lco", "LAUNDER=NO", "-lco", "FID=fid", "-preserve_fid", "--config", "PG_USE_COPY", "YES"],
                       check=True)
        self.sql("base", "VACUUM ANALYZE")
        return self

    def __exit__(self, *_):
        subprocess.run([sys.executable, "-B", SERVER, "stop", self.state], check=True)
        shutil.rmtree(self.state.parent, ignore_errors=True)

    def connection(self, database):
        return f"PG:host={self.folder} dbname={database} user=admin"

    def psql(self, database):
        return ["psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-h", self.folder, "-U", "admin", "-d", database]

    def sql(self, database, text):
        return subprocess.run([*self.psql(database), "-c", text], check=True, stdout=subprocess.PIPE, text=True).stdout

    def copy(self):
        self.sql("postgres", "DROP DATABASE IF EXISTS run")
        self.sql("postgres", "CREATE DATABASE run TEMPLATE base")
        self.sql("postgres", "CHECKPOINT")

    def seconds(self):
        """Processor time of the server's connections that have ended."""
        process = (pathlib.Path(self.folder) / "data" / "postmaster.pid").read_text(encoding="utf-8").split()[0]
        fields = pathlib.Path(f"/proc/{process}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()
        return sum(map(int, fields[13:15])) / os.sysconf("SC_CLK_TCK")

    def targets(self):
        lines = self.sql("run", f'SELECT {yardstick.TARGETS} FROM "{yardstick.LAYER}" ORDER BY fid').splitlines()
        rows = []
        for line in lines:
            symbol, *placement = line.split("|")
            rows.append((symbol or None, *(float(text) if text else None for text in placement)))
        return rows
