"""The library's one call over a server, as the examples in C++ and C make it: it adds fields, and each layer is a transaction."""
import os
import subprocess

from pg_support import DatabaseTest, main

BUOYS = """<featureClass name="buoys">
  <condition rulename="GREEN"><rule type="A" operator="equal" field="kind" value="1"/></condition>
  <condition rulename="RED"><rule type="A" operator="equal" field="kind" value="2"/></condition>
</featureClass>
<featureClass name="lights"><condition rulename="LIGHT"/></featureClass>"""


class OneCall(DatabaseTest):
    program = os.environ["ONE_CALL"]

    def call(self, *arguments):
        done = subprocess.run([self.program, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              encoding="utf-8", check=False)
        return done.returncode, done.stdout, done.stderr

    def setUp(self):
        super().setUp()
        self.rules = self.document(BUOYS)
        for table in ("buoys", "lights"):
            self.sql(f"CREATE TABLE {table} (id integer PRIMARY KEY, kind integer)")
            self.sql(f"INSERT INTO {table} VALUES (1, 1), (2, 2), (3, NULL)")

    def symbols(self, table):
        return self.sql(f"SELECT coalesce(symbol_c, '-') FROM {table} ORDER BY id")

    def test_layers_are_symbolized(self):
        self.assertEqual(self.call(self.rules, self.dataset()),
                         (0, "buoys: 3 rows, 2 changed\nlights: 3 rows, 3 changed\n", ""))
        self.assertEqual(self.symbols("buoys"), ["GREEN", "RED", "-"])
        self.assertEqual(self.symbols("lights"), ["LIGHT"] * 3)
        self.assertEqual(self.call(self.rules, self.dataset(), "public.buoys"), (0, "buoys: 3 rows, 0 changed\n", ""))

    def test_layer_that_fails_stays_as_it_was(self):
        self.sql("CREATE FUNCTION no() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN "
                 "IF OLD.id = 2 THEN RAISE 'hands off'; END IF; RETURN NEW; END $$")
        self.sql("CREATE TRIGGER no BEFORE UPDATE ON buoys FOR EACH ROW EXECUTE FUNCTION no()")
        status, out, _ = self.call(self.rules, self.dataset())
        self.assertEqual(status, 1)
        buoys, lights = out.splitlines()
        self.assertRegex(buoys, "^buoys: [0-9]+ rows, 0 changed; failed: .*hands off")
        self.assertEqual(lights, "lights: 3 rows, 3 changed")
        self.assertEqual(self.symbols("buoys"), ["-"] * 3)
        self.assertEqual(self.symbols("lights"), ["LIGHT"] * 3)

    def test_what_cannot_be_done_is_told_without_the_password(self):
        status, out, err = self.call(self.rules, self.dataset(user="nobody_here", more="password=secret"))
        self.assertEqual((status, out), (2, ""))
        self.assertIn("nobody_here", err)
        self.assertNotIn("secret", err)
        self.assertEqual(self.call(self.rules, self.dataset(), "beacons")[0], 2)


class OneCallInC(OneCall):
    program = os.environ["DATASET_C"]


if __name__ == "__main__":
    main()
