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

    def test_clauses_are_prepared_and_not_run(self):
        self.sql("CREATE TABLE notes (id uuid, day date, text text, n int); CREATE SEQUENCE asked")
        self.sql("ALTER TABLE boylat ADD built date, ADD n int")

        def clause(text, *fields):
            params = "".join(f'<param value="{field}"/>' for field in fields)
            params = f"<params>{params}</params>" if fields else ""
            return RULE.format(f'<rule type="Q" operator="exists" table="notes"><query>{text}</query>'
                               f'{params}</rule>')

        refused = "the dataset refuses the where clause: ERROR: "
        for text, fields, why in [
                ("text LIEK '%s'", ["COLOUR"], 'syntax error at or near "LIEK"'),
                ("titel = '%s'", ["COLOUR"], 'column "titel" does not exist'),
                ("text = %s", ["COLOUR"], "operator does not exist: text = integer; No operator matches the given name and "
                                          "argument types. You might need to add explicit type casts."),
                ("no_function(n)", [], "function no_function(integer) does not exist; No function matches the given name and "
                                       "argument types. You might need to add explicit type casts."),
                ("day = 'soon'", [], 'invalid input syntax for type date: "soon"')]:
            with self.subTest(text):
                self.assertEqual(self.of_buoys(clause(text, *fields)), [("clause-refused", refused + why)])
        # What a row's value brings about is the row's.
        taken = [clause("text = '%s' AND n = %s", "COLOUR", "CATLAM"), clause("day = '%s' AND n IN (%s)", "BUILT", "COLOUR"),
                 clause("id = '%s'", "COLOUR"), clause("day = '%s'", "COLOUR"), clause("nextval('asked') > 0")]
        self.assertEqual(self.of_buoys(*taken), [])
        self.assertEqual(self.sql("SELECT is_called FROM asked"), ["f"])
        self.assertEqual(self.sql("SELECT count(*) FROM pg_prepared_statements"), ["0"])

    def test_values_and_subtypes_that_no_row_has(self):
        self.sql("INSERT INTO boylat (catlam, colour) VALUES (1, '3,4'), (2, NULL);"
                 "ALTER TABLE boylat ADD fcsubtype int, ADD nation varchar(2)")
        subtypes = '<subtype number="1"><condition rulename="S"/></subtype>'
        self.assertEqual(self.of_buoys(compare("CATLAM", 1), compare("CATLAM", 3), compare("COLOUR", 4, "L", "containsany"),
                                       compare("COLOUR", 6, "L", "containsany")), [
            ("code-without-row", "no row of layer boylat has CATLAM 3, nor COLOUR 6")])
        self.assertEqual(self.of_buoys(subtypes), [
            ("subtype-field-missing", "layer boylat has no subtype field: all its rows get the default list")])
        self.sql("COMMENT ON TABLE boylat IS 'SUBTYPE_FIELD=fcsubtype'")
        self.assertEqual(self.of_buoys(subtypes), [("subtype-without-row", "no row of layer boylat has the subtype 1")])
        self.sql("UPDATE boylat SET fcsubtype = 1 WHERE fid = 2")
        self.assertEqual(self.of_buoys(subtypes), [])
        self.assertEqual(self.of_buoys(compare("NATION", "DEU")), [
            ("operand-never-fits", "no value equals the operand 'DEU': field 'nation' of layer boylat holds 2 characters at most")])
        # What has no key cannot be run over, and is not read.
        self.sql("CREATE VIEW few AS SELECT catlam, symbol_c FROM boylat; DROP TABLE IF EXISTS notes")
        self.assertNotIn("code-without-row", dict(self.findings(
            f'<featureClass name="FEW">{compare("CATLAM", 7)}</featureClass>')))

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
