"""What `cxml check` says of a document for a database: layers, fields and their types, the tables of query rules."""
from pg_support import DatabaseTest, main

RULE = '<condition rulename="S">{}</condition>'


def ask(table, query="true", fields=""):
    operator = "fetch" if fields else "exists"
    return RULE.format(f'<rule type="Q" operator="{operator}" table="{table}"><query>{query}</query>{fields}</rule>')


def compare(field, value, kind="A", operator="equal"):
    return RULE.format(f'<rule type="{kind}" field="{field}" operator="{operator}" value="{value}"/>')


class Check(DatabaseTest):
    postgis = True

    def setUp(self):
        super().setUp()
        self.make_buoys(0)

    def findings(self, text, *more, user="admin"):
        status, said = self.run_json("check", self.document(text), self.dataset(user), *more)
        found = [(finding["kind"], finding["text"]) for finding in said["findings"]]
        self.assertEqual(status, 1 if any(finding["severity"] == "error" for finding in said["findings"]) else 0, said)
        self.assertEqual(said["document"]["messages"], [])
        return found

    def of_buoys(self, *conditions, **more):
        return self.findings(f'<featureClass name="BOYLAT">{"".join(conditions)}</featureClass>', **more)

    def test_nothing_to_find(self):
        self.assertEqual(self.of_buoys(compare("CATLAM", 1), compare("Colour", 3, "L", "containsany")), [])

    def test_layers_and_fields(self):
        self.sql("CREATE TABLE lights (id int PRIMARY KEY, geom geometry)")
        self.assertEqual(self.findings(
            f'<featureClass name="BOYLAT">{compare("CATLAN", 1)}</featureClass>'
            f'<featureClass name="BCNLAT">{compare("CATLAM", 1)}</featureClass>'), [
                ("field-missing", "the rule's field 'CATLAN' is no field of layer boylat, and no fetch rule supplies it before it "
                                  "is used"),
                ("configuration-without-layer", "the dataset has no layer for 'BCNLAT'"),
                ("layer-unconfigured", "1 layer without configuration in the document: lights")])

    def test_targets(self):
        self.sql("ALTER TABLE boylat DROP symbol_c, DROP rotate_c")
        self.assertEqual(self.of_buoys('<condition rulename="S" xoffset="1" angle="1"/>'), [
            ("target-missing", "1 layer without fields that a run writes: boylat (SYMBOL_C, Rotate_C)")])

    def test_types_of_operands(self):
        self.sql("CREATE DOMAIN count AS int; CREATE DOMAIN few AS count; CREATE TYPE kind AS ENUM ('red');"
                 "ALTER TABLE boylat ADD n few, ADD kind kind, ADD day date, ADD flags bool, ADD codes int[], ADD n2 numeric(8,2)")
        self.assertEqual(self.of_buoys(*(compare(field, "x") for field in ("N", "KIND", "CODES"))), [
            ("operand-type", "the operand 'x' does not convert to the type of field 'N' of layer boylat: integer")])
        self.assertEqual(self.of_buoys(compare("DAY", "x"), compare("FLAGS", "x"), compare("N2", "x")), [
            ("operand-type", f"the operand 'x' does not convert to the type of field '{field}' of layer boylat: {kind}")
            for field, kind in (("DAY", "date"), ("FLAGS", "boolean"), ("N2", "real"))])
        self.assertEqual(self.of_buoys(compare("CODES", 3, "L", "containsany"), compare("CATLAM", 3, "L", "containsany")), [
            ("list-field-type", "field 'CATLAM' of layer boylat is of type integer: a list attribute rule finds codes in "
                                "texts only")])

    def test_tables_of_query_rules(self):
        """As a run finds them: own ones by any spelling, those of the first feature class's owner, no others."""
        self.sql("CREATE TABLE notes (id int PRIMARY KEY, text text); CREATE VIEW newest AS SELECT max(text) AS text FROM notes;"
                 'CREATE TABLE "Mixed.Case" (id int);'
                 "CREATE SCHEMA anna; CREATE TABLE anna.lights (id int PRIMARY KEY, geom geometry);"
                 "CREATE TABLE anna.notices (id int PRIMARY KEY); CREATE SCHEMA zoe; CREATE TABLE zoe.wrecks (id int)")
        fetch = '<fields><field name="TEXT" alias="N.TEXT"/><field name="TITLE" alias="N.TITLE"/></fields>'
        # The first feature class is anna.lights: what is found is in her schema.
        self.assertEqual(self.of_buoys(*map(ask, ("NOTICES", "Lights", "public.notices", "notes", "anna.notices", "wrecks"))), [
            *(("table-missing", f"the dataset has no table '{table}': the query rule holds for no row")
              for table in ("public.notices", "notes", "anna.notices", "wrecks")),
            ("layer-unconfigured",
             '4 layers without configuration in the document: "Mixed.Case", newest, notes, zoe.wrecks')])
        self.sql("DROP TABLE anna.lights; ALTER TABLE boylat ADD geom geometry; DROP SCHEMA anna, zoe CASCADE")
        self.assertEqual(self.of_buoys(ask("NOTES", fields=fetch), ask("newest", fields=fetch), ask("Mixed.Case"),
                                       ask("nowhere")), [
            ("field-missing", "table 'NOTES' has no field 'TITLE' to fetch"),
            ("field-missing", "table 'newest' has no field 'TITLE' to fetch"),
            ("table-missing", "the dataset has no table 'nowhere': the query rule holds for no row")])

    def test_what_a_role_may_not_read_is_not_there(self):
        self.sql("DO $$ BEGIN CREATE ROLE rita LOGIN; EXCEPTION WHEN duplicate_object OR unique_violation THEN END $$;"
                 "CREATE TABLE hidden (id int); GRANT SELECT (fid, catlam, symbol_c) ON boylat TO rita")
        self.assertEqual(self.of_buoys(compare("CATLAM", 1), compare("COLOUR", 1), user="rita"), [
            ("field-missing", "the rule's field 'COLOUR' is no field of layer boylat, and no fetch rule supplies it before it is "
                              "used")])

    def test_nothing_is_written(self):
        setting = f"ALTER DATABASE {self.database} {{}} default_transaction_read_only"
        self.sql(setting.format("SET") + " = on")
        self.addCleanup(self.administer, setting.format("RESET"))
        self.assertEqual(self.of_buoys(compare("CATLAM", 1)), [])

    def test_what_cannot_be_opened(self):
        status, out, err = self.run_tool("check", self.document('<featureClass name="A"/>'), f"PG:host={self.server} dbname=nowhere")
        self.assertEqual((status, out), (2, ""))
        self.assertIn("cxml: PG: cannot be opened: ", err)


if __name__ == "__main__":
    main()
