"""A pooler between the tool and the server, in each of its modes."""
import pathlib
import shutil
import socket
import subprocess
import time
import unittest

import server as private_server
from pg_support import BUOYS, PATIENCE, DatabaseTest, main

ROWS = 2000
ASKING = ('<featureClass name="BOYLAT"><condition rulename="DEFAULT"/><condition rulename="NOTED">'
          '<rule type="Q" operator="exists" table="notes"><query>id = %s</query><params><param value="FID"/></params></rule>'
          '</condition></featureClass>')


def program():
    found = shutil.which("pgbouncer", path="/usr/sbin:/usr/bin:/usr/local/bin")
    if not found:
        raise unittest.SkipTest("no pgbouncer is installed (scripts/setup installs one)")
    return found


class Pooler(DatabaseTest):
    @classmethod
    def setUpClass(cls):
        program()
        super().setUpClass()

    def setUp(self):
        super().setUp()
        self.make_buoys(ROWS)
        self.sql("CREATE TABLE notes (id int PRIMARY KEY); INSERT INTO notes SELECT i * 200 FROM generate_series(1, 5) i")
        self.rules = self.document(BUOYS)

    def pooled(self, mode, sessions=1):
        """Starts a pooler with so many sessions on the server; the tool's dataset behind it."""
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        as_user, account = private_server.unprivileged()
        folder = self.folder / f"pooler-{mode}-{port}"
        folder.mkdir()
        self.folder.chmod(0o755)
        users = folder / "users"
        users.write_text('"admin" ""\n', encoding="utf-8")
        settings = folder / "pgbouncer.ini"
        settings.write_text(f"""[databases]
{self.database} = host={self.server} dbname={self.database}
[pgbouncer]
listen_addr = 127.0.0.1
listen_port = {port}
unix_socket_dir =
auth_type = trust
auth_file = {users}
pool_mode = {mode}
default_pool_size = {sessions}
query_wait_timeout = 5
logfile = {folder}/log
""", encoding="utf-8")
        shutil.chown(folder, account.pw_uid, account.pw_gid)
        pooler = subprocess.Popen([*as_user, program(), "-q", settings], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        def stop():
            pooler.kill()
            pooler.wait()
        self.addCleanup(stop)
        for _ in range(PATIENCE * 50):
            try:
                socket.create_connection(("127.0.0.1", port)).close()
                break
            except ConnectionRefusedError:
                time.sleep(0.02)
        return f"PG:host=127.0.0.1 port={port} dbname={self.database} user=admin"

    def session_settings(self, dataset):
        """What somebody else finds in the session that the pooler lends."""
        out = subprocess.run([private_server.programs() / "psql", "-X", "-A", "-t", "-d", dataset.removeprefix("PG:"), "-c",
                              "SELECT current_setting('lock_timeout'), current_setting('default_transaction_read_only'), "
                              "current_setting('search_path'), current_setting('jit')"],
                             capture_output=True, text=True, check=True)
        return out.stdout

    def test_sessions_and_transactions(self):
        """The same symbols, also when other work gets the sessions between two transactions; nobody finds our settings."""
        for mode in ("session", "transaction"):
            for rules in (self.rules, self.document(ASKING, "asking.cxml")):
                self.sql("UPDATE boylat SET symbol_c = NULL")
                self.assertEqual(self.run_tool("symbolize", rules, self.dataset())[0], 0)
                expected = self.symbols()
                with self.subTest(f"{mode} {rules.name}"):
                    self.sql("UPDATE boylat SET symbol_c = NULL")
                    dataset = self.pooled(mode)
                    before = self.session_settings(dataset)
                    self.assertEqual(self.run_tool("symbolize", rules, f"{dataset} active_schema=public", "--where", "fid > 0"),
                                     (0, f"boylat: {ROWS} rows, {ROWS} changed\n", ""))
                    self.assertEqual(self.symbols(), expected)
                    self.assertEqual(self.session_settings(dataset), before)
                    status, out, err = self.run_tool("check", self.rules, dataset)
                    self.assertEqual((status, err), (0, ""))
                    self.assertIn("note: 1 layer without configuration in the document: notes", out)
                    self.assertEqual(self.session_settings(dataset), before)

    def test_two_runs_share_the_sessions(self):
        """Each keeps its lock timeout, whichever session its transactions get."""
        dataset = self.pooled("transaction", sessions=2)
        other = self.session()
        other.sql("BEGIN; UPDATE boylat SET colour = 'held' WHERE fid = 1")
        runs = [self.start("symbolize", self.rules, dataset, "--lock-timeout", seconds) for seconds in ("0.3", "1")]
        for run in runs:
            out, err = run.communicate(timeout=60)
            self.assertEqual(run.returncode, 1, out)
            self.assertIn("canceling statement due to lock timeout", err)
        other.sql("ROLLBACK")
        self.assertEqual(self.written(), ["0"])

    def test_statements(self):
        """A run needs a transaction: refused before anything changes."""
        dataset = self.pooled("statement")
        for operation in ("symbolize", "reset", "check"):
            status, out, err = self.run_tool(operation, self.rules, dataset)
            self.assertEqual((status, out, len(err.splitlines())), (2, "", 1), err)
            self.assertIn(f"cxml: PG:{self.database}: cannot be opened: ", err)
            self.assertIn("statement pooling", err)
            self.assertIn("the pooler must leave a session to each transaction", err)
        self.assertEqual(self.written(), ["0"])

    def test_no_session_is_free(self):
        dataset = self.pooled("session")
        holder = subprocess.Popen([private_server.programs() / "psql", "-X", "-A", "-t", "-d", dataset.removeprefix("PG:")],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        holder.stdin.write("SELECT 1;\n")
        holder.stdin.flush()
        self.assertEqual(holder.stdout.readline(), "1\n")
        status, out, err = self.run_tool("symbolize", self.rules, dataset)
        self.assertEqual((status, out, len(err.splitlines())), (2, "", 1), err)
        self.assertIn("query_wait_timeout", err)
        holder.communicate("\\q\n")


if __name__ == "__main__":
    main()
