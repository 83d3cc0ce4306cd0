"""examples/enterprise/in_parts: a layer in parts is what it is in one run, also when the server goes in between."""
import os
import subprocess
import sys
import threading

import server as private_server
from pg_support import BUOYS, ROOT, OwnServerTest, main

PROGRAM = ROOT / "examples" / "enterprise" / "in_parts"
ROWS = 1500


class Parts(OwnServerTest):
    def setUp(self):
        super().setUp()
        self.make_buoys(ROWS)
        self.sql("DELETE FROM boylat WHERE fid BETWEEN 200 AND 700")
        self.rules = self.document(BUOYS)

    def in_parts(self, *arguments):
        environment = {**os.environ, "PSQL": str(private_server.programs() / "psql")}
        process = subprocess.Popen([sys.executable, "-B", PROGRAM, self.rules, self.dataset(), *arguments], env=environment,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        return process

    def expected(self):
        """What one run writes; the rows are as before then."""
        self.assertEqual(self.run_tool("symbolize", self.rules, self.dataset())[0], 0)
        symbols = self.symbols()
        self.sql("UPDATE boylat SET symbol_c = NULL")
        return symbols

    def test_parts_are_the_whole(self):
        expected = self.expected()
        for parts, workers in ((1, 1), (7, 2), (4, 4)):
            with self.subTest(parts=parts):
                self.sql("UPDATE boylat SET symbol_c = NULL")
                out, err = self.in_parts("boylat", "--parts", str(parts), "--workers", str(workers)).communicate(timeout=120)
                self.assertEqual((out, err), (f"boylat: {parts} parts, {len(expected)} rows, {len(expected)} changed\n", ""))
                self.assertEqual(self.symbols(), expected)

    def test_a_layer_without_rows(self):
        self.sql("DELETE FROM boylat")
        self.assertEqual(self.in_parts("boylat").communicate(timeout=60), ("boylat: 0 parts, 0 rows, 0 changed\n", ""))

    def test_a_server_that_goes_and_comes_back(self):
        expected = self.expected()
        self.sql("ALTER DATABASE postgres SET synchronous_commit = on; SET synchronous_commit = on; CREATE FUNCTION wait() RETURNS trigger "
                 "LANGUAGE plpgsql AS $$ BEGIN PERFORM pg_advisory_xact_lock(7); RETURN NEW; END $$;"
                 "CREATE TRIGGER wait BEFORE UPDATE ON boylat FOR EACH ROW WHEN (NEW.fid = 1000) EXECUTE FUNCTION wait()")
        holder = self.session()
        holder.sql("SELECT pg_advisory_lock(7)")
        process = self.in_parts("boylat", "--parts", "4", "--workers", "1", "--retries", "8")
        self.wait_for_lock_wait()
        self.addCleanup(self.start_server)
        self.kill_server()
        threading.Timer(3, self.start_server).start()
        out, err = process.communicate(timeout=120)
        self.assertEqual(process.returncode, 0, err)
        self.assertIn("once more", err)
        self.assertEqual(out, f"boylat: 4 parts, {len(expected)} rows, {len(expected)} changed\n")
        self.assertEqual(self.symbols(), expected)

    def test_a_part_that_goes_on_failing_is_named(self):
        expected = self.expected()
        self.sql("ALTER TABLE boylat ADD CONSTRAINT known CHECK (fid <> 1000 OR symbol_c IS NULL)")
        process = self.in_parts("boylat", "--parts", "4", "--retries", "1")
        out, err = process.communicate(timeout=120)
        self.assertEqual(process.returncode, 1)
        self.assertRegex(err, r'in_parts: boylat: "fid" >= \d+ AND "fid" < \d+: not symbolized: .*violates check constraint')
        self.assertRegex(out, r"^boylat: 4 parts, \d+ rows, \d+ changed, 1 parts failed\n$")
        symbols = self.symbols()
        self.assertTrue(0 < symbols.count("-") < len(expected))

    def test_what_will_not_pass_is_not_tried_again(self):
        for layer, key in (("nolayer", "fid"), ("boylat", "nokey")):
            with self.subTest(layer):
                process = self.in_parts(layer, "--key", key)
                out, err = process.communicate(timeout=60)
                self.assertEqual((process.returncode, out), (1, ""))
                self.assertIn("the keys cannot be read", err)
        process = self.in_parts("boylat", "--", "--where", "1 = 1")
        out, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 1)
        self.assertNotIn("once more", err)


if __name__ == "__main__":
    main()
