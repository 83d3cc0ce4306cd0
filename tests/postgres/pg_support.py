"""What the tests of the tool on a PostgreSQL server share: the tool, a database of a test's own, other people's sessions."""
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import server as private_server

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "support"))
from unittest_main import main  # noqa: E402, F401: the tests end with it

PATIENCE = 60  # seconds for what should happen at once


def server_folder():
    """The folder of the private server's socket."""
    state = pathlib.Path(os.environ["CXML_TEST_SERVER"]).read_text(encoding="utf-8").strip()
    if state.startswith("none: "):
        raise unittest.SkipTest(state[6:])
    return state


def texts(layer):
    return [message["text"] for message in layer["messages"]]


class Session:
    """Somebody else's connection: statements take effect one by one, and a transaction stays open between them."""

    def __init__(self, server, database, user="admin"):
        self.process = subprocess.Popen(
            [private_server.programs() / "psql", "-X", "-q", "-A", "-t", "-v", "ON_ERROR_STOP=1", "-h", server, "-U", user, "-d", database],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, encoding="utf-8")

    def sql(self, text):
        """Runs SQL; the answer's lines."""
        self.process.stdin.write(f"{text};\n\\echo --done--\n")
        self.process.stdin.flush()
        lines = []
        while (line := self.process.stdout.readline()) != "--done--\n":
            if not line:
                raise AssertionError(f"{text}: {self.process.stderr.read()}")
            lines.append(line.rstrip("\n"))
        return lines

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()
        self.process.stderr.close()


def without_ends(summary):
    """Summary lines without what the symbols of their rows came from."""
    end = r"\d+ (?:rule|default|kept|none|failed)"
    return re.sub(rf" changed; {end}(?:, {end})*(?:; \d+ questions? not answered)?", " changed", summary)


# Everything in a database that no extension has brought.
CLEAN = """
SELECT pg_terminate_backend(pid, 5000) FROM pg_stat_activity
WHERE datname = current_database() AND pid <> pg_backend_pid();
DO $$ DECLARE thing text; BEGIN
  FOREACH thing IN ARRAY ARRAY(
    SELECT format('SCHEMA IF EXISTS %I', nspname) FROM pg_namespace WHERE nspname !~ '^(pg_|(information_schema|public)$)'
    UNION ALL
    SELECT format('%s IF EXISTS %s', CASE relkind WHEN 'v' THEN 'VIEW' WHEN 'S' THEN 'SEQUENCE' ELSE 'TABLE' END, oid::regclass)
    FROM pg_class c WHERE relnamespace = 'public'::regnamespace AND relkind IN ('r', 'v', 'S')
      AND NOT EXISTS (SELECT FROM pg_depend WHERE objid = c.oid AND deptype IN ('e', 'a', 'i'))
    UNION ALL
    SELECT 'FUNCTION IF EXISTS ' || oid::regprocedure FROM pg_proc p WHERE pronamespace = 'public'::regnamespace
      AND NOT EXISTS (SELECT FROM pg_depend WHERE objid = p.oid AND deptype = 'e')
    UNION ALL
    SELECT 'TYPE IF EXISTS ' || oid::regtype FROM pg_type t WHERE typnamespace = 'public'::regnamespace AND typtype IN ('d', 'e')
      AND NOT EXISTS (SELECT FROM pg_depend WHERE objid = t.oid AND deptype = 'e'))
  LOOP EXECUTE 'DROP ' || thing || ' CASCADE'; END LOOP;
END $$"""


class DatabaseTest(unittest.TestCase):
    """A test with a folder of its own and an empty database, which the tests of a class use one after the other."""

    maxDiff = None
    postgis = False

    @classmethod
    def setUpClass(cls):
        cls.server = server_folder()
        cls.database = f"p{os.getpid()}_{cls.__name__.lower()}"
        cls.administer(f"CREATE DATABASE {cls.database} TEMPLATE {'template1' if cls.postgis else 'template0'}")

    @classmethod
    def tearDownClass(cls):
        cls.administer(f"DROP DATABASE {cls.database} WITH (FORCE)")

    @classmethod
    def administer(cls, text):
        session = Session(cls.server, "postgres")
        session.sql(text)
        session.close()

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="cxml-postgres-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.admin = self.session()
        self.sql = self.admin.sql
        self.sql(CLEAN)

    def session(self, database=None, user="admin"):
        session = Session(self.server, database or self.database, user)
        self.addCleanup(session.close)
        return session

    def role(self, name, grants):
        """Somebody else, with these rights in the test's database. Roles are the server's, and tests run beside each other: they stay."""
        self.sql(f"DO $$ BEGIN CREATE ROLE {name} LOGIN; EXCEPTION WHEN duplicate_object OR unique_violation THEN END $$")
        self.sql(grants)

    def make_reader(self):
        """Somebody who may read what the test's database has by now, and may not write: `reader`."""
        self.role("reader", "GRANT SELECT ON ALL TABLES IN SCHEMA public TO reader; GRANT USAGE ON SCHEMA public TO reader")

    def dataset(self, user="admin", more=""):
        return f"PG:host={self.server} dbname={self.database} user={user} {more}"

    def document(self, text, name="rules.cxml"):
        path = self.folder / name
        path.write_text(f'<?xml version="1.0" encoding="UTF-8"?>\n<conditionMap name="Test">{text}</conditionMap>\n',
                        encoding="utf-8")
        return path

    def start(self, *arguments):
        """Starts the tool and does not wait."""
        process = subprocess.Popen([os.environ["CXML"], *map(str, arguments)], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, encoding="utf-8")

        def end():
            if process.poll() is None:
                process.kill()
            process.communicate()
        self.addCleanup(end)
        return process

    def run_tool(self, *arguments):
        """Runs the tool; (exit status, summary without how rows ended, standard error)."""
        process = self.start(*arguments)
        out, err = process.communicate(timeout=300)
        return process.returncode, without_ends(out), err

    def run_json(self, *arguments):
        status, out, err = self.run_tool(*arguments, "--json")
        self.assertTrue(out.startswith("{"), (arguments, status, out, err))
        return status, json.loads(out)

    def wait_for(self, sql, wanted):
        """Until a query has the answer."""
        for _ in range(PATIENCE * 50):
            if (answer := self.sql(sql)) == wanted:
                return
            time.sleep(0.02)
        raise AssertionError(f"{sql}: {answer} instead of {wanted}")

    def wait_for_lock_wait(self):
        """Until the tool's connection waits for somebody's lock."""
        self.wait_for("SELECT count(*) FROM pg_stat_activity WHERE datname = current_database() "
                      "AND wait_event_type = 'Lock'", ["1"])

    def cut(self):
        """Ends the tool's connection as an administrator does: the one that waits for a lock."""
        self.sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE datname = current_database() "
                 "AND wait_event_type = 'Lock'")

    def make_buoys(self, rows, table="boylat"):
        self.sql(f"CREATE TABLE {table} (fid serial PRIMARY KEY, catlam int, colour text, symbol_c text, "
                 f"xoffset_c float8, yoffset_c float8, rotate_c float8);"
                 f"INSERT INTO {table} (catlam, colour) SELECT i % 3, '3,' || i % 5 FROM generate_series(1, {rows}) AS i")

    def symbols(self, table="boylat"):
        return self.sql(f"SELECT coalesce(symbol_c, '-') FROM {table} ORDER BY fid")

    def written(self, table="boylat"):
        return self.sql(f"SELECT count(symbol_c) FROM {table}")


class OwnServerTest(DatabaseTest):
    """With a server that only the tests of the class have, and may kill."""

    @classmethod
    def setUpClass(cls):
        server_folder()  # skips where none is installed
        with tempfile.TemporaryDirectory() as folder:
            state = pathlib.Path(folder) / "server"
            subprocess.run([sys.executable, "-B", private_server.__file__, "start", state, "bare"], check=True,
                           env={**os.environ, "CXML_TEST_SERVER_SECONDS": "900"})
            cls.server = state.read_text(encoding="utf-8")
        cls.database = "postgres"

    @classmethod
    def tearDownClass(cls):
        cls.stop()

    @classmethod
    def stop(cls):
        guard = pathlib.Path(cls.server) / "guard"
        if guard.exists():
            os.kill(int(guard.read_text(encoding="utf-8")), signal.SIGTERM)
            for _ in range(PATIENCE * 50):
                if not guard.exists():
                    return
                time.sleep(0.02)

    def processes(self):
        """Of the server: the first, and those of its connections."""
        first = (pathlib.Path(self.server) / "data" / "postmaster.pid").read_text(encoding="utf-8").split()[0]
        return int(first), list(map(int, self.sql("SELECT pid FROM pg_stat_activity WHERE backend_type = 'client backend' "
                                                  "AND pid <> pg_backend_pid()")))

    def kill_server(self):
        """All of it, as when its machine fails. It stays away until start_server()."""
        first, _ = self.processes()
        (pathlib.Path(self.server) / "down").touch()
        for _ in range(PATIENCE * 50):
            if private_server.started(first) is None:
                return
            time.sleep(0.02)
        raise AssertionError(f"process {first} is still there")

    def start_server(self):
        (pathlib.Path(self.server) / "down").unlink(missing_ok=True)
        private_server.wait_until_ready(pathlib.Path(self.server), private_server.programs())
        self.admin = self.session()
        self.sql = self.admin.sql


BUOYS = ('<featureClass name="BOYLAT"><condition rulename="DEFAULT"/>'
         '<condition rulename="PORT"><rule type="A" field="CATLAM" operator="equal" value="1"/></condition>'
         '</featureClass>')
