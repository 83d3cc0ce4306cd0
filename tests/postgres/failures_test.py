"""What can go wrong on a server in the middle of a run: each provoked, each with a clear end and nothing half written."""
import signal

import pg_support
from pg_support import BUOYS, DatabaseTest, main, without_ends

ROWS = 3000


class Failures(DatabaseTest):
    def setUp(self):
        super().setUp()
        self.make_buoys(ROWS)
        self.rules = self.document(BUOYS)

    def hold_row(self, fid=ROWS):
        """Another session changes a row and does not commit."""
        other = self.session()
        other.sql(f"BEGIN; UPDATE boylat SET colour = 'held' WHERE fid = {fid}")
        return other

    def expect_failure(self, process, *parts, status=1):
        out, err = process.communicate(timeout=120)
        self.assertEqual(process.returncode, status, (out, err))
        lines = [line for line in err.splitlines() if line.startswith("boylat: ")]
        self.assertEqual(len(lines), 1, err)
        for part in (f"PG:{self.database}", *parts):
            self.assertIn(part, lines[0])
        self.assertIn("boylat: ", out)
        self.assertIn(" 0 changed", out)
        return lines[0]

    def test_a_row_that_stays_locked_ends_the_run_after_the_time_given(self):
        self.hold_row()
        self.expect_failure(self.start("symbolize", self.rules, self.dataset(), "--lock-timeout", "0.3"),
                            "layer boylat: rows ", "cannot be written: ERROR: canceling statement due to lock timeout")
        self.assertEqual(self.written(), ["0"])

    def test_a_lock_that_is_given_up_in_time_is_waited_for(self):
        other = self.hold_row()
        process = self.start("symbolize", self.rules, self.dataset())
        self.wait_for_lock_wait()
        other.sql("ROLLBACK")
        out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, without_ends(out), err), (0, f"boylat: {ROWS} rows, {ROWS} changed\n", ""))

    def test_a_row_that_someone_else_changes_meanwhile_ends_the_run(self):
        other = self.hold_row()
        process = self.start("symbolize", self.rules, self.dataset())
        self.wait_for_lock_wait()
        other.sql("COMMIT")
        self.expect_failure(process, "layer boylat: rows ",
                            "ERROR: could not serialize access due to concurrent update")
        self.assertEqual(self.written(), ["0"])

    def test_a_connection_that_is_cut(self):
        self.hold_row()
        process = self.start("symbolize", self.rules, self.dataset())
        self.wait_for_lock_wait()
        self.cut()
        self.expect_failure(process, "layer boylat: rows ",
                            "FATAL: terminating connection due to administrator command")
        self.assertEqual(self.written(), ["0"])

    def test_layers_that_were_finished_before_stay(self):
        self.make_buoys(10, "aaa")
        self.hold_row()
        rules = self.document('<featureClass name="AAA"><condition rulename="A"/></featureClass>' + BUOYS)
        process = self.start("symbolize", rules, self.dataset(), "--lock-timeout", "0.3")
        self.expect_failure(process, "lock timeout")
        self.assertEqual((self.written("aaa"), self.written()), (["10"], ["0"]))

    def test_a_column_that_is_dropped_before_it_is_read(self):
        # The run has seen the column when it begins to wait for whoever is dropping it.
        other = self.session()
        other.sql("BEGIN; ALTER TABLE boylat DROP COLUMN catlam")
        process = self.start("symbolize", self.rules, self.dataset())
        self.wait_for_lock_wait()
        other.sql("COMMIT")
        self.expect_failure(process, "layer boylat: cannot be read: ERROR: column \"catlam\" does not exist")
        self.assertEqual(self.written(), ["0"])

    def test_a_column_cannot_be_dropped_from_under_a_run(self):
        other = self.hold_row()
        process = self.start("symbolize", self.rules, self.dataset())
        self.wait_for_lock_wait()
        dropper = self.session()
        dropper.process.stdin.write("ALTER TABLE boylat DROP COLUMN symbol_c;\n")
        dropper.process.stdin.flush()
        self.wait_for("SELECT count(*) FROM pg_stat_activity WHERE datname = current_database() "
                      "AND wait_event_type = 'Lock'", ["2"])
        other.sql("ROLLBACK")
        out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, err), (0, ""), out)

    def test_no_right_to_write(self):
        self.role("reader", "GRANT SELECT ON boylat TO reader")
        self.expect_failure(self.start("symbolize", self.rules, self.dataset("reader")),
                            "layer boylat: rows ", "ERROR: permission denied for table boylat")
        self.assertEqual(self.written(), ["0"])

    def test_a_right_to_write_that_is_taken_away_meanwhile(self):
        self.role("editor", "GRANT SELECT, UPDATE ON boylat TO editor")
        other = self.hold_row(1)
        process = self.start("symbolize", self.rules, self.dataset("editor"))
        self.wait_for_lock_wait()
        # The statement that waits has its rights; the next one has them no more.
        self.sql("REVOKE UPDATE ON boylat FROM editor")
        other.sql("ROLLBACK")
        self.expect_failure(process, "ERROR: permission denied for table boylat")
        self.assertEqual(self.written(), ["0"])

    def test_a_right_to_ask_that_is_taken_away_meanwhile(self):
        self.role("editor", "GRANT SELECT, UPDATE ON boylat TO editor; CREATE TABLE notes (id int PRIMARY KEY);"
                            "GRANT SELECT ON notes TO editor")
        other = self.session()
        other.sql("BEGIN; LOCK TABLE notes")
        process = self.start("symbolize", self.asking("id = 1"), self.dataset("editor"))
        self.wait_for_lock_wait()
        other.sql("REVOKE SELECT ON notes FROM editor; COMMIT")
        self.expect_failure(process, "ERROR: permission denied for table notes")
        self.assertEqual(self.written(), ["0"])

    def test_a_question_that_the_server_does_not_understand_is_only_false(self):
        # Also not when the next block of rows was on its way.
        self.sql("CREATE TABLE notes (id int PRIMARY KEY); DELETE FROM boylat WHERE fid > 1000")
        status, out, err = self.run_tool("symbolize", self.asking("id = 'O'Brien'"), self.dataset())
        self.assertEqual((status, out, err), (0, "boylat: 1000 rows, 1000 changed\n", ""))
        self.assertEqual(set(self.symbols()), {"DEFAULT"})

    def asking(self, clause):
        return self.document(f'<featureClass name="BOYLAT"><condition rulename="DEFAULT"/><condition rulename="NOTED">'
                             f'<rule type="Q" operator="exists" table="notes"><query>{clause}</query></rule>'
                             f'</condition></featureClass>', "asking.cxml")

    def test_a_constraint(self):
        self.sql("ALTER TABLE boylat ADD CONSTRAINT known CHECK (symbol_c <> 'PORT')")
        self.expect_failure(self.start("symbolize", self.rules, self.dataset()),
                            'violates check constraint "known"', "Failing row contains")
        self.assertEqual(self.written(), ["0"])

    def test_a_constraint_that_waits_for_the_end(self):
        self.sql("CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RAISE 'not today'; END $$;"
                 "CREATE CONSTRAINT TRIGGER late AFTER UPDATE ON boylat DEFERRABLE INITIALLY DEFERRED "
                 "FOR EACH ROW EXECUTE FUNCTION refuse()")
        self.expect_failure(self.start("symbolize", self.rules, self.dataset()), "cannot commit: ERROR: not today")
        self.assertEqual(self.written(), ["0"])

    def test_interrupt_while_it_waits(self):
        self.hold_row()
        process = self.start("symbolize", self.rules, self.dataset())
        self.wait_for_lock_wait()
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=30)
        self.assertEqual(process.returncode, 130, (out, err))
        self.assertEqual((self.written(), err), (["0"], "cxml: interrupted\n"))

    def test_kill(self):
        other = self.hold_row()
        process = self.start("symbolize", self.rules, self.dataset())
        self.wait_for_lock_wait()
        process.kill()
        process.wait()
        other.sql("ROLLBACK")
        self.wait_for("SELECT count(*) FROM pg_stat_activity WHERE datname = current_database() "
                      "AND pid <> pg_backend_pid() AND state <> 'idle'", ["0"])
        self.assertEqual(self.written(), ["0"])

    def test_what_cannot_be_opened(self):
        for dataset, text in ((f"PG:host={self.server} dbname=nowhere user=admin password=secret", "does not exist"),
                              (f"PG:host={self.folder} dbname=x user=x password=secret", "failed: No such file"),
                              ("PG:nonsense=1 password=secret", "invalid connection option"),
                              ("PG:secret", "has no value in the connection string")):
            status, out, err = self.run_tool("symbolize", self.rules, dataset)
            self.assertEqual((status, out), (2, ""), err)
            self.assertIn("cxml: PG: ", err)
            self.assertIn(text, err)
            self.assertNotIn("password", err)

    def test_a_password_is_not_shown(self):
        status, _, err = self.run_tool("symbolize", self.rules, self.dataset(more="password=secret"), "nowhere")
        self.assertEqual((status, err), (2, f"cxml: PG:{self.database}: there is no layer 'nowhere'; "
                                            "available: boylat\n"))

    def test_a_finding_names_the_database_alone(self):
        self.sql("CREATE TABLE notes (id int PRIMARY KEY)")
        status, out, err = self.run_tool("check", self.rules, self.dataset(more="password=secret"))
        self.assertEqual((status, err), (0, ""))
        self.assertTrue(out.startswith(f"PG:{self.database}: note: 1 layer without configuration in the document: notes"), out)
        self.assertNotIn("secret", out)

    def test_a_where_clause_that_is_wrong_changes_nothing(self):
        status, _, err = self.run_tool("symbolize", self.rules, self.dataset(), "--where", "nothing = 1")
        self.assertEqual(status, 2)
        self.assertIn('layer boylat: where clause "nothing = 1": ERROR: column "nothing" does not exist', err)


class ServerThatStops(pg_support.OwnServerTest):
    def test_a_server_that_stops(self):
        self.make_buoys(ROWS)
        other = self.session()
        other.sql(f"BEGIN; UPDATE boylat SET colour = 'held' WHERE fid = {ROWS}")
        process = self.start("symbolize", self.document(BUOYS), self.dataset())
        self.wait_for_lock_wait()
        self.stop()
        out, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1, (out, err))
        self.assertIn("boylat: PG:postgres, layer boylat: rows ", err)
        self.assertRegex(err, "server closed the connection unexpectedly|terminating connection")
        self.assertEqual(len(err.splitlines()), 1)


if __name__ == "__main__":
    main()
