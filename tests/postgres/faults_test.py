"""A server, or the way to it, that fails anywhere: a layer is all old or all new, one line says what has failed, and nothing
waits for ever. What the server holds is looked at afterwards, over a way that works."""
import os
import re
import signal
import subprocess
import tempfile
import time

import server as private_server
from pg_support import BUOYS, OwnServerTest, main, without_ends
from wire import CLIENT, CUT, HALF, SERVER, STALL, Fault, Wire

ROWS = 1500
# How many of the points at which a connection can fail are tried with each operation.
POINTS = int(os.environ.get("CXML_TEST_FAULTS", "8"))
QUESTIONS = ('<featureClass name="BOYLAT"><condition rulename="DEFAULT"/>'
             '<condition rulename="NOTED"><rule type="Q" operator="exists" table="notes"><query>id = %s</query>'
             '<params><param value="FID"/></params></rule></condition></featureClass>'
             '<featureClass name="BOYCAR"><condition rulename="SOUTH">'
             '<rule type="A" field="CATLAM" operator="equal" value="1"/></condition></featureClass>')
TARGETS = ("symbol_c", "xoffset_c", "yoffset_c", "rotate_c")
# A connection string's words for a test that does not want to wait: a server that says nothing is asked after 3 * 2 s.
SOON = "connect_timeout=2"
AT_LONGEST = 25  # seconds: three times that, and what a busy machine takes


def workers_of(process):
    """The processes that it has started: a run is watched from the one that was called. None of one that has ended."""
    try:
        with open(f"/proc/{process.pid}/task/{process.pid}/children", encoding="ascii") as children:
            return [int(number) for number in children.read().split()]
    except (FileNotFoundError, ProcessLookupError):
        return []


class FaultTest(OwnServerTest):
    def sessions(self):
        return self.sql("SELECT count(*) FROM pg_stat_activity WHERE backend_type = 'client backend' "
                        "AND pid <> pg_backend_pid()")

    def expect_no_sessions(self):
        self.wait_for("SELECT count(*) FROM pg_stat_activity WHERE backend_type = 'client backend' "
                      "AND pid <> pg_backend_pid()", ["0"])
        self.assertEqual(self.sql("SELECT count(*) FROM pg_prepared_xacts"), ["0"])

    def timed(self, *arguments):
        began = time.monotonic()
        process = self.start(*arguments)
        try:
            out, err = process.communicate(timeout=120)
        except subprocess.TimeoutExpired:
            self.fail(f"{arguments} still waits")
        return process.returncode, out, err, time.monotonic() - began


class Wires(FaultTest):
    """Symbolize with questions to the server, reset, check, a selection and new fields, at each point of the conversation."""

    def setUp(self):
        super().setUp()
        self.sql("CREATE TABLE notes (id int PRIMARY KEY); INSERT INTO notes SELECT i * 31 FROM generate_series(1, 9) i")
        self.make_buoys(12)
        self.make_buoys(ROWS, "boycar")
        self.rules = self.document(QUESTIONS)

    def state(self):
        """What a run may change: fields, and values."""
        found = {}
        for table in ("boycar", "boylat"):
            columns = self.sql(f"SELECT attname FROM pg_attribute WHERE attrelid = '{table}'::regclass AND attnum > 0 "
                               "AND NOT attisdropped ORDER BY attnum")
            written = [f"coalesce({name}::text, '-')" for name in TARGETS if name in columns]
            found[table] = columns, self.sql(f"SELECT {' || '.join(written)} FROM {table} ORDER BY fid") if written else []
        return found

    def put_back(self, before):
        for table, (columns, _) in before.items():
            self.sql(f"UPDATE {table} SET symbol_c = {self.first}" if "symbol_c" in columns else
                     f"ALTER TABLE {table} " + ", ".join(f"DROP IF EXISTS {name}" for name in TARGETS))

    def points(self, operation):
        """The faults to try, from what an undisturbed run says."""
        with Wire(self.server) as wire:
            status, out, err, _ = self.timed(operation[0], self.rules, self.over(wire), *operation[1:])
            self.assertEqual((status, err), (0, ""), out)
            self.assertEqual(len(wire.messages), 1)
            sent = dict(wire.messages[0])
        points = [Fault(kind, sender, at) for sender, count in sent.items() for at in range(count) for kind in (CUT, HALF)]
        return [points[i * len(points) // POINTS] for i in range(POINTS)] if len(points) > POINTS else points

    def over(self, wire):
        return f"PG:{wire.settings()} dbname={self.database} user=admin {SOON}"

    def attack(self, operation, faults, before, after):
        """Returns how often the run failed."""
        failed = 0
        for fault in faults:
            with self.subTest(str(fault)), Wire(self.server, fault) as wire:
                status, out, err, seconds = self.timed(operation[0], self.rules, self.over(wire), *operation[1:])
                self.assertTrue(wire.struck.is_set() or status == 0, "the run did not come so far")
                self.assertLess(seconds, AT_LONGEST)
                found = self.state()
                for table, (columns, values) in found.items():
                    # Fields come one by one and stay; values come with their layer's commit or not at all.
                    old, new = before[table], after[table]
                    self.assertEqual(columns, new[0][:max(len(columns), len(old[0]))])
                    if set("".join(values)) - {"-"}:
                        self.assertIn((columns, values), (old, new))
                wire.close()  # a server cannot know that nobody is behind a way that stalls
                lines = err.splitlines()
                if status == 0:
                    self.assertEqual((found, lines), (after, []))
                else:
                    failed += 1
                    self.assertIn(status, (1, 2))
                    self.assertTrue(lines)
                    # Each failure is told once and names the database, or the way to it.
                    self.assertEqual(len(set(lines)), len(lines), err)
                    for line in lines:
                        self.assertRegex(line, r"^(cxml|boycar|boylat): PG:")
                self.expect_no_sessions()
                if found != before:
                    self.put_back(before)
                    self.assertEqual(self.state(), before)
        return failed

    def attack_all(self, operation, faults=None):
        before = self.state()
        faults = faults or self.points(operation)
        if not faults:
            self.fail("nothing to try")
        after = self.after(operation)
        self.put_back(before)
        self.assertEqual(self.state(), before)
        failed = self.attack(operation, faults, before, after)
        # Only what comes after the last word that matters may be lost without a failure.
        self.assertGreater(failed, len(faults) * 2 // 3)
        print(f"{operation[0]} {' '.join(operation[1:])}: {len(faults)} faults, {failed} runs failed")

    def after(self, operation):
        status, _, err = self.run_tool(operation[0], self.rules, self.dataset(), *operation[1:])
        self.assertEqual((status, err), (0, ""))
        return self.state()

    first = "NULL"

    def test_symbolize(self):
        self.attack_all(("symbolize",))

    def test_reset(self):
        self.first = "'OLD'"
        self.sql("UPDATE boylat SET symbol_c = 'OLD'; UPDATE boycar SET symbol_c = 'OLD'")
        self.attack_all(("reset",))

    def test_a_selection(self):
        self.attack_all(("symbolize", "boycar", "--where", "catlam > 0"))

    def test_new_fields(self):
        self.sql("ALTER TABLE boylat DROP symbol_c, DROP xoffset_c, DROP yoffset_c, DROP rotate_c")
        self.attack_all(("symbolize", "boylat", "--add-fields"))

    def test_check(self):
        """Nothing is found missing that is there."""
        before = self.state()
        found = self.run_tool("check", self.rules, self.dataset())[:2]
        self.assertEqual(found, (0, ""))
        faults = self.points(("check",))
        for fault in faults:
            with self.subTest(str(fault)), Wire(self.server, fault) as wire:
                status, out, err, _ = self.timed("check", self.rules, self.over(wire))
                self.assertTrue(wire.struck.is_set())
                # Only after its last question nothing is lost.
                self.assertIn((status, out, len(err.splitlines())), ((*found, 0), (2, "", 1)), err)
        self.assertEqual(self.state(), before)
        print(f"check: {len(faults)} faults")

    def test_a_way_that_stalls(self):
        """The connection stays open and says nothing more: the tool finds out."""
        with Wire(self.server) as wire:
            self.timed("symbolize", self.rules, self.over(wire))
            sent = dict(wire.messages[0])
        self.sql("UPDATE boylat SET symbol_c = NULL; UPDATE boycar SET symbol_c = NULL")
        self.attack_all(("symbolize",), [Fault(STALL, sender, int(count * part))
                                         for sender, count in sent.items() for part in (0.5,)])

    def test_a_server_that_does_not_answer(self):
        """From the first message on, of the connection itself."""
        for sender in (CLIENT, SERVER):
            with self.subTest(sender), Wire(self.server, Fault(STALL, sender, 0)) as wire:
                for operation in ("symbolize", "check"):
                    status, out, err, seconds = self.timed(operation, self.rules, self.over(wire))
                    self.assertEqual((status, out), (2, ""))
                    self.assertRegex(err, r"^cxml: PG: cannot be opened: .*timeout expired\n$")
                    self.assertLess(seconds, AT_LONGEST)
                    wire.fault = Fault(STALL, sender, 0, connection=1)


class Faults(FaultTest):
    def setUp(self):
        super().setUp()
        self.make_buoys(ROWS)
        self.rules = self.document(BUOYS)

    def expect_failed(self, process, *texts, status=1, table="boylat"):
        """One line, which names the database and what is told; nothing written; no session left."""
        out, err = process.communicate(timeout=120)
        self.assertEqual((process.returncode, len(err.splitlines())), (status, 1), (out, err))
        for text in ("PG:postgres", *texts):
            self.assertIn(text, err)
        self.expect_no_sessions()
        self.assertEqual(self.written(table), ["0"])

    def expect_works(self, *more):
        self.assertEqual(self.run_tool("symbolize", self.rules, self.dataset(), *more),
                         (0, f"boylat: {ROWS} rows, {ROWS} changed\n", ""))

    def hold(self, sql):
        other = self.session()
        other.sql(f"BEGIN; {sql}")
        return other

    # --- the server goes

    def test_a_server_that_is_killed_and_comes_back(self):
        """While it writes, and while it commits."""
        # What was committed before the kill is to be there after it.
        self.sql("ALTER DATABASE postgres SET synchronous_commit = on; SET synchronous_commit = on; CREATE FUNCTION wait() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
                 "PERFORM pg_advisory_xact_lock(7); RETURN NEW; END $$")
        for when, trigger in (("writing", "CREATE TRIGGER wait BEFORE UPDATE"),
                              ("committing", "CREATE CONSTRAINT TRIGGER wait AFTER UPDATE")):
            with self.subTest(when):
                late = "DEFERRABLE INITIALLY DEFERRED" if when == "committing" else ""
                self.sql(f"DROP TRIGGER IF EXISTS wait ON boylat; {trigger} ON boylat {late} FOR EACH ROW EXECUTE FUNCTION wait()")
                holder = self.session()
                holder.sql("SELECT pg_advisory_lock(7)")
                process = self.start("symbolize", self.rules, self.dataset())
                self.wait_for_lock_wait()
                self.addCleanup(self.start_server)  # for the tests after this one, also when this one fails
                self.kill_server()
                out, err = process.communicate(timeout=60)
                self.assertEqual((process.returncode, len(err.splitlines())), (1, 1), (out, err))
                self.assertIn("boylat: PG:postgres", err)
                # What it had sent and the server had not read yet makes it a reset.
                self.assertRegex(err, "server closed the connection unexpectedly|Connection reset by peer")
                self.assertEqual("whether the changes are in the database is not known" in err, when == "committing")
                # A server that is not there is said at once.
                status, _, err = self.run_tool("symbolize", self.rules, self.dataset())
                self.assertEqual((status, len(err.splitlines())), (2, 1), err)
                self.start_server()
                self.assertEqual(self.written(), ["0"])
        self.sql("DROP TRIGGER wait ON boylat")
        self.expect_works()

    def test_a_server_that_freezes(self):
        """Its machine is there, and nothing answers: neither the statement nor the question whether it goes on."""
        other = self.hold(f"UPDATE boylat SET colour = 'held' WHERE fid = {ROWS}")
        process = self.start("symbolize", self.rules, self.dataset(more=SOON))
        self.wait_for_lock_wait()
        first, others = self.processes()
        stopped = [first, *others]
        try:
            for number in stopped:
                os.kill(number, signal.SIGSTOP)
            began = time.monotonic()
            out, err = process.communicate(timeout=60)
            self.assertLess(time.monotonic() - began, AT_LONGEST)
        finally:
            for number in stopped:
                os.kill(number, signal.SIGCONT)
        self.assertEqual((process.returncode, len(err.splitlines())), (1, 1), (out, err))
        self.assertRegex(err, r"boylat: PG:postgres, layer boylat: .*the server has not answered for \d+ seconds")
        other.sql("ROLLBACK")
        other.close()
        self.wait_for("SELECT count(*) FROM pg_stat_activity WHERE backend_type = 'client backend' "
                      "AND pid <> pg_backend_pid() AND state <> 'idle'", ["0"])
        self.assertEqual(self.written(), ["0"])

    def test_a_statement_that_takes_long_is_waited_for(self):
        """Also when nothing is heard for longer than it takes to ask."""
        other = self.hold(f"UPDATE boylat SET colour = 'held' WHERE fid = {ROWS}")
        process = self.start("symbolize", self.rules, self.dataset(more=SOON))
        self.wait_for_lock_wait()
        time.sleep(9)
        self.assertIsNone(process.poll())
        other.sql("ROLLBACK")
        out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, without_ends(out), err), (0, f"boylat: {ROWS} rows, {ROWS} changed\n", ""))

    def test_a_run_that_is_killed_leaves_no_session(self):
        """Though its statement would take long."""
        process = self.start("symbolize", self.rules, self.dataset(), "--where", "pg_sleep(1000) IS NULL")
        self.wait_for("SELECT count(*) FROM pg_stat_activity WHERE wait_event = 'PgSleep'", ["1"])
        process.kill()
        process.wait()
        began = time.monotonic()
        self.expect_no_sessions()
        print(f"the session ended after {time.monotonic() - began:.1f} s")

    # --- the server has too little

    def test_a_disk_that_is_full(self):
        if os.geteuid() != 0:
            self.skipTest("mounting a small disk needs root")
        place = tempfile.mkdtemp(prefix="cxml-disk-", dir="/tmp")
        self.addCleanup(os.rmdir, place)
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=2m,mode=777", "tmpfs", place], capture_output=True,
                                 text=True, check=False)
        if mounted.returncode != 0:
            self.skipTest(f"no disk can be mounted here: {mounted.stderr.strip()}")
        self.addCleanup(subprocess.run, ["umount", "-l", place], check=True)
        _, account = private_server.unprivileged()
        os.chown(place, account.pw_uid, account.pw_gid)
        self.sql("DROP TABLESPACE IF EXISTS small")
        self.sql(f"CREATE TABLESPACE small LOCATION '{place}'")
        self.addCleanup(lambda: (self.sql("ALTER TABLE boylat SET TABLESPACE pg_default"), self.sql("DROP TABLESPACE small")))
        self.sql("INSERT INTO boylat (catlam, colour) SELECT i % 3, repeat('x', 80) FROM generate_series(1, 8000) i;"
                 "ALTER TABLE boylat SET TABLESPACE small")
        self.expect_failed(self.start("symbolize", self.rules, self.dataset()), "layer boylat: rows ",
                           "ERROR: could not extend file", "No space left on device")
        subprocess.run(["mount", "-o", "remount,size=40m", place], check=True)
        self.assertEqual(self.run_tool("symbolize", self.rules, self.dataset())[::2], (0, ""))

    def limit(self, what, size):
        """Of the process of the server that works for the tool's run, which waits for a lock."""
        (number,) = self.sql("SELECT pid FROM pg_stat_activity WHERE wait_event_type = 'Lock'")
        as_its_user, _ = private_server.unprivileged()
        subprocess.run([*as_its_user, "prlimit", f"--pid={number}", f"--{what}={size}"], check=True)
        return int(number)

    def test_a_file_that_may_not_grow(self):
        other = self.hold("UPDATE boylat SET colour = 'held' WHERE fid = 1")
        process = self.start("symbolize", self.rules, self.dataset())
        self.wait_for_lock_wait()
        self.limit("fsize", 16384)
        other.sql("ROLLBACK")
        other.close()
        self.expect_failed(process, "layer boylat: rows ", "ERROR: could not extend file", "File too large")
        self.expect_works()

    def test_a_server_without_memory(self):
        """A question that it has no memory for is not a false one."""
        self.sql("CREATE TABLE notes (id int PRIMARY KEY); INSERT INTO notes VALUES (1);"
                 "CREATE FUNCTION much() RETURNS int LANGUAGE sql AS $$ SELECT length(repeat('x', 600000000)) $$")
        rules = self.document('<featureClass name="BOYLAT"><condition rulename="DEFAULT"/><condition rulename="NOTED">'
                              '<rule type="Q" operator="exists" table="notes"><query>much() &gt; 0</query></rule>'
                              '</condition></featureClass>', "asking.cxml")
        other = self.hold("LOCK TABLE notes")
        process = self.start("symbolize", rules, self.dataset())
        self.wait_for_lock_wait()
        (number,) = self.sql("SELECT pid FROM pg_stat_activity WHERE wait_event_type = 'Lock'")
        with open(f"/proc/{number}/statm", encoding="ascii") as sizes:
            self.limit("as", int(sizes.read().split()[0]) * 4096 + 50_000_000)
        other.sql("ROLLBACK")
        other.close()
        self.expect_failed(process, "ERROR: out of memory")

    # --- the server has had enough

    def limits(self, **settings):
        for name, value in settings.items():
            self.sql(f"ALTER DATABASE postgres SET {name} = '{value}'")
            self.addCleanup(lambda name=name: self.sql(f"ALTER DATABASE postgres RESET {name}"))

    def test_statement_timeout(self):
        self.limits(statement_timeout="300ms")
        said = "ERROR: canceling statement due to statement timeout"
        with self.subTest("a selection"):
            self.expect_failed(self.start("symbolize", self.rules, self.dataset(), "--where", "pg_sleep(60) IS NULL"),
                               "layer boylat: ", said, status=2)
        with self.subTest("rows"):
            other = self.hold("UPDATE boylat SET colour = 'held' WHERE fid = 1")
            process = self.start("symbolize", self.rules, self.dataset())
            self.wait_for_lock_wait()
            out, err = process.communicate(timeout=60)
            self.assertEqual((process.returncode, len(err.splitlines())), (1, 1), (out, err))
            self.assertIn(said, err)
            other.sql("ROLLBACK")
            other.close()
            self.assertEqual(self.written(), ["0"])
        with self.subTest("a question"):
            self.sql("CREATE TABLE notes (id int PRIMARY KEY); INSERT INTO notes VALUES (1)")
            rules = self.document('<featureClass name="BOYLAT"><condition rulename="DEFAULT"/><condition rulename="NOTED">'
                                  '<rule type="Q" operator="exists" table="notes"><query>pg_sleep(60) IS NULL</query></rule>'
                                  '</condition></featureClass>', "asking.cxml")
            self.expect_failed(self.start("symbolize", rules, self.dataset()), said)
        with self.subTest("a new field"):
            self.sql("ALTER TABLE boylat DROP xoffset_c")
            other = self.hold("SELECT FROM boylat")
            process = self.start("symbolize", self.rules, self.dataset(), "--add-fields")
            out, err = process.communicate(timeout=60)
            other.close()
            self.assertEqual((process.returncode, err), (2, "cxml: PG:postgres, layer boylat: cannot add field Xoffset_C: "
                                                            f"{said}\n"), out)

    def thinking(self, seconds):
        """A document that thinks about each row."""
        return self.document('<featureClass name="BOYLAT"><condition rulename="S"/><condition rulename="L" type="2" field="COLOUR">'
                             "<expression>def Generate(CATLAM):\n    import time\n"
                             f"    time.sleep({seconds})\n    return 'a'</expression></condition></featureClass>", "slow.cxml")

    def test_a_transaction_that_is_idle_for_too_long(self):
        self.sql("DELETE FROM boylat WHERE fid > 100")
        self.limits(idle_in_transaction_session_timeout="300ms")
        self.expect_failed(self.start("symbolize", self.thinking(0.05), self.dataset()), "layer boylat: ",
                           "FATAL: terminating connection due to idle-in-transaction timeout")

    def test_a_session_that_is_idle_for_too_long(self):
        """Because the tool is held up between two transactions."""
        self.limits(idle_session_timeout="100ms")
        for operation in ("symbolize", "check"):
            with self.subTest(operation):
                self.assertTrue(any(self.ended_by_the_server(operation) for _ in range(40)))

    def ended_by_the_server(self, operation):
        """Whether the tool was held up where it has no transaction."""
        process = self.start(operation, self.rules, self.dataset())
        began = "SELECT count(*) FROM pg_stat_activity WHERE backend_type = 'client backend' AND pid <> pg_backend_pid() AND query <> ''"
        while self.sql(began) == ["0"] and process.poll() is None:
            pass
        held = [process.pid, *workers_of(process)]
        for number in held:
            os.kill(number, signal.SIGSTOP)
        time.sleep(0.4)
        ended = self.sessions() == ["0"]
        for number in held:
            os.kill(number, signal.SIGCONT)
        out, err = process.communicate(timeout=60)
        if not ended or not err:
            self.sql("UPDATE boylat SET symbol_c = NULL")
            return False
        self.assertIn(process.returncode, (1, 2), (out, err))
        self.assertEqual(len(err.splitlines()), 1, err)
        self.assertIn("PG:postgres", err)
        self.assertRegex(err, "FATAL: +terminating connection due to idle-session timeout")
        self.assertEqual(self.written(), ["0"])
        return True

    # --- Ctrl-C

    def interrupt(self, process):
        """Within a second, and what the server was doing for it ends, too."""
        began = time.monotonic()
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=60)
        seconds = time.monotonic() - began
        self.assertEqual((process.returncode, err), (130, "cxml: interrupted\n"), out)
        self.assertLess(seconds, 1.5)
        return seconds

    def test_interrupts(self):
        """Wherever the server works long."""
        self.sql("CREATE TABLE notes (id int PRIMARY KEY); INSERT INTO notes VALUES (1);"
                 "CREATE FUNCTION sleep() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN PERFORM pg_sleep(60); RETURN NEW; END $$")
        asking = self.document('<featureClass name="BOYLAT"><condition rulename="DEFAULT"/><condition rulename="NOTED">'
                               '<rule type="Q" operator="exists" table="notes"><query>pg_sleep(60) IS NULL</query></rule>'
                               '</condition></featureClass>', "asking.cxml")
        trigger = "DROP TRIGGER IF EXISTS sleep ON boylat; CREATE {} UPDATE ON boylat {} FOR EACH ROW EXECUTE FUNCTION sleep()"
        for place, before, rules, more in (
                ("a selection", "", self.rules, ("--where", "pg_sleep(60) IS NULL")),
                ("a question", "", asking, ()),
                ("writing", trigger.format("TRIGGER sleep BEFORE", ""), self.rules, ()),
                ("committing", trigger.format("CONSTRAINT TRIGGER sleep AFTER", "DEFERRABLE INITIALLY DEFERRED"),
                 self.rules, ())):
            with self.subTest(place):
                self.sql(before or "SELECT")
                process = self.start("symbolize", rules, self.dataset(), *more)
                self.wait_for("SELECT count(*) FROM pg_stat_activity WHERE wait_event = 'PgSleep'", ["1"])
                seconds = self.interrupt(process)
                self.expect_no_sessions()
                self.assertEqual(self.written(), ["0"])
                print(f"{place}: {seconds:.2f} s")
        with self.subTest("a lock before a new field"):
            self.sql("DROP TRIGGER sleep ON boylat; ALTER TABLE boylat DROP yoffset_c")
            other = self.hold("SELECT FROM boylat")
            process = self.start("symbolize", self.rules, self.dataset(), "--add-fields")
            self.wait_for_lock_wait()
            print(f"a lock before a new field: {self.interrupt(process):.2f} s")
            other.sql("ROLLBACK")
            other.close()
            self.expect_no_sessions()

    def test_an_interrupt_when_the_server_does_not_answer(self):
        for operation in ("symbolize", "check"):
            with self.subTest(operation), Wire(self.server, Fault(STALL, SERVER, 40)) as wire:
                process = self.start(operation, self.rules, f"PG:{wire.settings()} dbname=postgres user=admin")
                self.assertTrue(wire.struck.wait(60))
                time.sleep(0.5)
                print(f"{operation} without an answer: {self.interrupt(process):.2f} s")
        self.expect_no_sessions()
        self.assertEqual(self.written(), ["0"])


if __name__ == "__main__":
    main()
