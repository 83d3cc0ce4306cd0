"""symbolize --jobs: layers at the same time are what they are one after the other."""
import os
import signal
import time

from pg_support import DatabaseTest, main

WAITING = "SELECT count(*) FROM pg_stat_activity WHERE datname = current_database() AND wait_event_type = 'Lock'"
LAYERS = ("boylat", "lights", "soundg", "wrecks")


def layer(name, extra=""):
    return f'<featureClass name="{name.upper()}">{extra}<condition rulename="{name.upper()}"/>' \
           f'<condition rulename="PORT"><rule type="A" field="CATLAM" operator="equal" value="1"/></condition></featureClass>'


class Jobs(DatabaseTest):
    def setUp(self):
        super().setUp()
        for number, table in enumerate(LAYERS):
            self.make_buoys(300 * (1 + number), table)
        self.rules = self.document("".join(map(layer, LAYERS)))

    def forget(self):
        for table in LAYERS:
            self.sql(f"UPDATE {table} SET symbol_c = NULL")

    def state(self):
        return {table: self.symbols(table) for table in LAYERS}

    def processes_of(self, process):
        """All that the tool has started."""
        found, rest = [], [process.pid]
        while rest:
            pid = rest.pop()
            with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as file:
                children = list(map(int, file.read().split()))
            found += children
            rest += children
        return found

    def hold(self, table):
        """Somebody who keeps a row of the layer locked."""
        holder = self.session()
        holder.sql(f"BEGIN; SELECT fid FROM {table} WHERE fid = 1 FOR UPDATE")
        return holder

    def test_as_without(self):
        expected = {}
        for jobs in (1, 2, 3, 64):
            for form in ((), ("--json",)):
                with self.subTest(jobs=jobs, form=form):
                    self.forget()
                    process = self.start("symbolize", self.rules, self.dataset(), "--jobs", jobs, *form)
                    out, err = process.communicate(timeout=120)
                    self.assertEqual((process.returncode, err), (0, ""))
                    self.assertEqual((out, self.state()), expected.setdefault(form, (out, self.state())))
        self.assertEqual([line.split(",")[0] for line in expected[()][0].splitlines()],
                         ["boylat: 300 rows", "lights: 600 rows", "soundg: 900 rows", "wrecks: 1200 rows"])
        self.assertEqual(expected[()][1]["lights"][:3], ["PORT", "LIGHTS", "LIGHTS"])

    def test_they_do_run_at_the_same_time(self):
        """Two layers wait for somebody's lock together, a third gets its turn when one of them has ended."""
        holders = {table: self.hold(table) for table in LAYERS[:3]}
        process = self.start("symbolize", self.rules, self.dataset(), "--jobs", 2, "--lock-timeout", 0)
        self.wait_for(WAITING, ["2"])
        self.assertEqual(len(self.processes_of(process)), 4)  # each is watched by one
        holders["lights"].sql("ROLLBACK")
        self.wait_for("SELECT count(symbol_c) FROM lights", ["600"])
        self.wait_for(WAITING, ["2"])
        for table in ("boylat", "soundg"):
            holders[table].sql("ROLLBACK")
        out, err = process.communicate(timeout=120)
        self.assertEqual((process.returncode, err, len(out.splitlines())), (0, "", 4))

    def test_one_that_fails_leaves_the_others(self):
        self.sql("ALTER TABLE lights ADD CONSTRAINT known CHECK (symbol_c IS NULL)")
        status, out, err = self.run_tool("symbolize", self.rules, self.dataset(), "--jobs", 2)
        self.assertEqual(status, 1)
        self.assertIn("lights: ", err)
        self.assertIn("violates check constraint", err)
        self.assertRegex(out, "lights: .* failed, rolled back")
        self.assertEqual([self.written(table) for table in LAYERS], [["300"], ["0"], ["900"], ["1200"]])
        status, said = self.run_json("symbolize", self.rules, self.dataset(), "--jobs", 2)
        self.assertEqual((status, [one["succeeded"] for one in said["layers"]]), (1, [True, False, True, True]))

    def test_a_process_that_ends_in_its_middle(self):
        """By an expression: the others go on, and the command does not end well."""
        rules = self.document(layer("boylat") + layer("lights").replace(
            "</featureClass>", '<condition type="2" field="COLOUR" rulename="L"><expression><![CDATA['
            "import os\ndef Generate():\n    os.kill(os.getpid(), 9)]]></expression></condition></featureClass>") + layer("soundg"))
        for form in ((), ("--json",)):
            with self.subTest(form):
                self.forget()
                process = self.start("symbolize", rules, self.dataset(), "--jobs", 2, *form)
                out, err = process.communicate(timeout=120)
                self.assertEqual(process.returncode, 1)
                self.assertEqual(err, "cxml: the run was ended by a signal: Killed\n")
                self.assertEqual([self.written(table) for table in LAYERS[:3]], [["300"], ["0"], ["900"]])
                if form:
                    self.assertIn('{"layer": "lights", "succeeded": false, "rows": 0, "changed": 0, "messages": '
                                  '[{"kind": "error", "text": "the run was ended in its middle"}]}', out)

    def test_interrupt(self):
        """One Ctrl-C reaches every process; nothing of their layers is changed, no later one begins."""
        holders = [self.hold(table) for table in LAYERS[:2]]
        process = self.start("symbolize", self.rules, self.dataset(), "--jobs", 2)
        self.wait_for(WAITING, ["2"])
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, err), (130, "cxml: interrupted\n"))
        self.assertNotIn("soundg", out)
        for holder in holders:
            holder.sql("ROLLBACK")
        self.assertEqual([self.written(table) for table in LAYERS], [["0"]] * 4)

    def test_no_process_outlives_the_command(self):
        holders = [self.hold(table) for table in LAYERS[:2]]
        process = self.start("symbolize", self.rules, self.dataset(), "--jobs", 2, "--lock-timeout", 0)
        self.wait_for(WAITING, ["2"])
        started = self.processes_of(process)
        self.assertEqual(len(started), 4)
        process.kill()
        for _ in range(500):
            left = [pid for pid in started if os.path.exists(f"/proc/{pid}") and
                    open(f"/proc/{pid}/stat", encoding="ascii").read().rpartition(")")[2].split()[0] != "Z"]
            if not left:
                break
            time.sleep(0.02)
        self.assertEqual(left, [])
        for holder in holders:
            holder.sql("ROLLBACK")

    def test_fields_are_added_before(self):
        self.sql("ALTER TABLE soundg DROP symbol_c; ALTER TABLE wrecks DROP rotate_c")
        status, out, err = self.run_tool("symbolize", self.rules, self.dataset(), "--jobs", 3, "--add-fields")
        self.assertEqual((status, err), (0, ""), out)
        self.assertEqual(self.written("soundg"), ["900"])
        self.assertEqual(self.sql("SELECT count(*) FROM information_schema.columns WHERE table_name = 'wrecks' "
                                  "AND column_name = 'rotate_c'"), ["1"])

    def test_rows_and_subtype_fields(self):
        """What is chosen is chosen for each layer, also a field that some of them lack."""
        self.sql("ALTER TABLE soundg ADD kind int; UPDATE soundg SET kind = 5; ALTER TABLE lights ADD sort int; UPDATE lights SET sort = 5")
        subtype = '<subtype number="5"><condition rulename="FIVE"/></subtype>'
        rules = self.document(layer("boylat") + layer("lights").replace("</featureClass>", subtype + "</featureClass>") +
                              layer("soundg").replace("</featureClass>", subtype + "</featureClass>"))
        arguments = ("symbolize", rules, self.dataset(), "--where", "fid <= 2", "--subtype-field", "kind", "--subtype-field", "lights=sort")
        one = self.run_tool(*arguments)
        expected = self.state()
        self.forget()
        several = self.run_tool(*arguments, "--jobs", 2)
        self.assertEqual((several[:2], self.state()), (one[:2], expected))
        self.assertEqual(sorted(several[2].splitlines()), sorted(one[2].splitlines()))
        self.assertEqual((expected["lights"][:3], expected["soundg"][:3]), (["FIVE", "FIVE", "-"], ["FIVE", "FIVE", "-"]))

    def test_what_a_document_says_is_said_once(self):
        rules = self.document(layer("boylat", '<condition rulename="X"><rule type="Z" field="A" operator="equal" value="1"/></condition>') +
                              layer("lights") + layer("soundg"))
        for form in ((), ("--json",)):
            self.forget()
            one = self.run_tool("symbolize", rules, self.dataset(), *form)
            self.forget()
            several = self.run_tool("symbolize", rules, self.dataset(), "--jobs", 3, *form)
            self.assertEqual(several, one)
        self.assertEqual(one[2].count(str(rules)), one[2].count("\n"))

    def test_strict(self):
        rules = self.document(layer("boylat", '<condition rulename="X"><rule type="A" field="NOWHERE" operator="equal" value="1"/></condition>') +
                              layer("lights"))
        self.assertEqual([self.run_tool("symbolize", rules, self.dataset(), "--jobs", 2, *more)[0] for more in ((), ("--strict",))], [0, 1])

    def test_what_is_refused(self):
        pipe = self.folder / "pipe.cxml"
        os.mkfifo(pipe)
        cases = ((self.rules, self.folder / "none.gpkg", (), "none.gpkg"),
                 (pipe, self.dataset(), (), "pipe.cxml: with --jobs the document has to be a file"),
                 (self.folder / "none.cxml", self.dataset(), (), "none.cxml"),
                 (self.rules, self.dataset(), ("nolayer",), "nolayer"),
                 (self.rules, self.dataset(), ("--subtype-field", "nofield"), "nofield"),
                 (self.rules, self.dataset(), ("--ledger", "x.json"), "--ledger"),
                 (self.rules, self.dataset(), ("--log", "x.log"), "--log"))
        for document, dataset, more, text in cases:
            with self.subTest(text):
                status, out, err = self.run_tool("symbolize", document, dataset, "--jobs", 2, *more)
                self.assertIn(status, (1, 2))
                self.assertEqual((out, err.count("\n")), ("", 1), err)
                self.assertIn(text, err)
        self.assertEqual([self.written(table) for table in LAYERS], [["0"]] * 4)


if __name__ == "__main__":
    main()
