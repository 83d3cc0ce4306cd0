// cxml symbolize and cxml reset on small datasets.
#include "tool_test.h"

namespace {

using nlohmann::json;

json goodDocument() {
    return {{"loaded", true}, {"error", nullptr}, {"messages", json::array()}};
}

json layer(const char* name, bool succeeded, int rows, int changed, json messages = json::array()) {
    return {{"layer", name},
            {"succeeded", succeeded},
            {"rows", rows},
            {"changed", changed},
            {"messages", std::move(messages)}};
}

json report(json layers) {
    return {{"document", goodDocument()}, {"layers", std::move(layers)}};
}

class Symbolize : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
    }
    Outcome run(Arguments more = {}, const char* document = "buoys.cxml") {
        more.insert(more.begin(), {"symbolize", data(document), dataset});
        return cxml(more);
    }
    // Without the ends of the rows, which add up to them.
    json runJson(Arguments more = {}, const char* document = "buoys.cxml", int status = 0) {
        more.insert(more.begin(), {"symbolize", data(document), dataset});
        json said = cxmlJson(more, status);
        for (json& layer : said["layers"]) {
            int sum = 0;
            for (const auto& [end, rows] : layer["ends"].items()) sum += rows.get<int>();
            EXPECT_EQ(sum, layer["rows"]);
            layer.erase("ends");
        }
        return said;
    }
    std::string dataset;
};

TEST_F(Symbolize, SeveralJobsAreNotForAFile) {
    addBuoys(dataset);
    const Outcome outcome = run({"--jobs", "2", "--add-fields"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "cxml: " + dataset +
                               ": --jobs is for databases on a server: a file is written by one process at a time\n");
    EXPECT_EQ(symbols(dataset), "- - - - -");
    EXPECT_EQ(run({"--jobs", "1"}).status, 0);
    EXPECT_EQ(symbols(dataset), "GREEN RED GREEN - RED");
}

TEST_F(Symbolize, WritesSymbolsAndSaysHowMany) {
    addBuoys(dataset);
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "BOYLAT: 5 rows, 4 changed; 4 rule, 1 none\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(symbols(dataset), "GREEN RED GREEN - RED");
    EXPECT_EQ(sql(dataset, "SELECT fid, Xoffset_C, Yoffset_C, Rotate_C FROM BOYLAT ORDER BY fid"),
              "1|1.5||\n2|||90.0\n3|1.5||\n4|||\n5|||90.0");
    expectIntact(dataset);
}

TEST_F(Symbolize, SecondRunChangesNothing) {
    addBuoys(dataset);
    EXPECT_EQ(run().status, 0);
    const std::string before = readFile(dataset);
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "BOYLAT: 5 rows, 0 changed; 4 rule, 1 none\n");
    EXPECT_TRUE(readFile(dataset) == before) << "the file's bytes";
}

TEST_F(Symbolize, JsonIsOneObject) {
    addBuoys(dataset);
    EXPECT_EQ(runJson(), report({layer("BOYLAT", true, 5, 4)}));
    EXPECT_EQ(runJson(), report({layer("BOYLAT", true, 5, 0)}));
}

TEST_F(Symbolize, QuietShowsNoBarAndStillTheResult) {
    addBuoys(dataset);
    const Outcome outcome = run({"--quiet"});
    EXPECT_EQ(outcome.out, "BOYLAT: 5 rows, 4 changed; 4 rule, 1 none\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Symbolize, WithoutLayersRunsThoseWithAConfigurationInTheDatasetsOrder) {
    addBuoys(dataset, "LIGHTS");
    addBuoys(dataset, "DEPARE");
    addBuoys(dataset, "BOYLAT");
    EXPECT_EQ(runJson({}, "two_classes.cxml"), report({layer("LIGHTS", true, 5, 5), layer("BOYLAT", true, 5, 5)}));
    EXPECT_EQ(symbols(dataset, "LIGHTS"), "LIGHT LIGHT LIGHT LIGHT LIGHT");
    EXPECT_EQ(symbols(dataset, "DEPARE"), "- - - - -");
}

TEST_F(Symbolize, NamedLayersRunInTheirOrderEachOnce) {
    addBuoys(dataset, "LIGHTS");
    addBuoys(dataset, "BCNLAT");
    addBuoys(dataset, "BOYLAT");
    EXPECT_EQ(runJson({"BOYLAT", "LIGHTS", "BOYLAT"}, "two_classes.cxml"),
              report({layer("BOYLAT", true, 5, 5), layer("LIGHTS", true, 5, 5)}));
    EXPECT_EQ(symbols(dataset, "BCNLAT"), "- - - - -");
}

TEST_F(Symbolize, NamedLayerWithoutConfigurationIsRunAndFails) {
    addBuoys(dataset, "DEPARE");
    addBuoys(dataset);
    const char* text = "No configuration defined for: 'DEPARE'!";
    EXPECT_EQ(
        runJson({"DEPARE", "BOYLAT"}, "buoys.cxml", 1),
        report({layer("DEPARE", false, 0, 0, {{{"kind", "message"}, {"text", text}}}), layer("BOYLAT", true, 5, 4)}));
    const Outcome outcome = run({"DEPARE"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, std::string("DEPARE: ") + text + "\n");
    EXPECT_EQ(outcome.out, "DEPARE: 0 rows, 0 changed; failed, rolled back\n");
}

TEST_F(Symbolize, TitleIsTheAliasName) {
    addTable(dataset, "t1", "CATLAM MEDIUMINT, SYMBOL_C TEXT", "(CATLAM) VALUES (2)", "boylat");
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT, SYMBOL_C TEXT", "(CATLAM) VALUES (2)", "something else");
    EXPECT_EQ(run().out, "t1: 1 row, 1 changed; 1 rule\n");
    EXPECT_EQ(symbols(dataset, "t1"), "RED");
    EXPECT_EQ(symbols(dataset, "BOYLAT"), "-");
}

TEST_F(Symbolize, LayerWithoutRows) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT, SYMBOL_C TEXT", "");
    EXPECT_EQ(run().out, "BOYLAT: 0 rows, 0 changed\n");
}

TEST_F(Symbolize, WhereLimitsTheRows) {
    addBuoys(dataset);
    EXPECT_EQ(runJson({"--where", "CATLAM = 1 AND fid > 1"}), report({layer("BOYLAT", true, 1, 1)}));
    EXPECT_EQ(symbols(dataset), "- - GREEN - -");
}

TEST_F(Symbolize, WhereIsReadFromAFile) {
    addBuoys(dataset);
    const std::string file = writeFile("rows.sql",
                                       "\xEF\xBB\xBF"
                                       "CATLAM = 1 -- port hand\nAND fid > 1 -- not the first\n");
    EXPECT_EQ(runJson({"--where", "@" + file}), report({layer("BOYLAT", true, 1, 1)}));
    EXPECT_EQ(symbols(dataset), "- - GREEN - -");
    const Outcome outcome = run({"--where", "@" + writeFile("zero.sql", std::string("1\0 = 1", 6))});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("zero.sql: no text"), std::string::npos) << outcome.err;
}

TEST_F(Symbolize, LayersAreNamedByOptionsToo) {
    addBuoys(dataset);
    addTable(dataset, "BCNLAT", "CATLAM MEDIUMINT, SYMBOL_C TEXT", "(CATLAM) VALUES (2)", "boylat");
    addTable(dataset, "[A,B]", "CATLAM MEDIUMINT, SYMBOL_C TEXT", "(CATLAM) VALUES (2)", "BoyLat");
    const std::string document = data("buoys.cxml");
    EXPECT_EQ(cxml({"symbolize", "-l", "BCNLAT", document, dataset}).out, "BCNLAT: 1 row, 1 changed; 1 rule\n");
    const Outcome outcome = cxml({"symbolize", document, dataset, "BCNLAT", "-l", "[A,B]", "--layer=BCNLAT"});
    EXPECT_EQ(outcome.out, "BCNLAT: 1 row, 0 changed; 1 rule\n[A,B]: 1 row, 1 changed; 1 rule\n");
    EXPECT_EQ(symbols(dataset), "- - - - -");
    const Outcome unknown = cxml({"reset", document, dataset, "-l", "BCNLAR"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("there is no layer 'BCNLAR'; similar: BCNLAT"), std::string::npos) << unknown.err;
}

TEST_F(Symbolize, WhereThatNoRowSatisfies) {
    addBuoys(dataset);
    EXPECT_EQ(runJson({"--where", "CATLAM = 99"}), report({layer("BOYLAT", true, 0, 0)}));
}

TEST_F(Symbolize, IdsLimitTheRows) {
    addBuoys(dataset);
    EXPECT_EQ(runJson({"--fids", "5, 1,77"}), report({layer("BOYLAT", true, 2, 2)}));
    EXPECT_EQ(symbols(dataset), "GREEN - - - RED");
}

TEST_F(Symbolize, WhereAndIdsTogetherLimitTheRows) {
    addBuoys(dataset);
    EXPECT_EQ(runJson({"--fids", "1,2,3", "--where", "CATLAM = 2"}), report({layer("BOYLAT", true, 1, 1)}));
    EXPECT_EQ(symbols(dataset), "- RED - - -");
}

TEST_F(Symbolize, BadWhereIsNamedAndChangesNothing) {
    addBuoys(dataset);
    const Outcome outcome = run({"--where", "NOSUCH = = 1"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find("NOSUCH = = 1"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.rfind("BOYLAT: ", 0), 0U) << outcome.err;
    EXPECT_EQ(symbols(dataset), "- - - - -");
}

TEST_F(Symbolize, WhereCannotSmuggleInAStatement) {
    addBuoys(dataset);
    EXPECT_EQ(run({"--where", "1=1; DROP TABLE BOYLAT"}).status, 2);
    EXPECT_EQ(symbols(dataset), "- - - - -");
}

TEST_F(Symbolize, SubtypeFieldPicksTheList) {
    addBuoys(dataset);
    EXPECT_EQ(run({"--subtype-field", "CATLAM"}, "subtypes.cxml").status, 0);
    EXPECT_EQ(symbols(dataset), "PORT STARBOARD PORT OTHER STARBOARD");
}

TEST_F(Symbolize, SubtypeFieldFromTheLayersMetadata) {
    addBuoys(dataset);
    sql(dataset,
        "CREATE TABLE IF NOT EXISTS gpkg_metadata (id INTEGER CONSTRAINT m_pk PRIMARY KEY ASC NOT NULL, md_scope TEXT "
        "NOT NULL DEFAULT 'dataset', md_standard_uri TEXT NOT NULL, mime_type TEXT NOT NULL DEFAULT 'text/xml', "
        "metadata TEXT NOT NULL DEFAULT '');"
        "CREATE TABLE IF NOT EXISTS gpkg_metadata_reference (reference_scope TEXT NOT NULL, table_name TEXT, "
        "column_name TEXT, row_id_value INTEGER, timestamp DATETIME NOT NULL DEFAULT "
        "(strftime('%Y-%m-%dT%H:%M:%fZ','now')), md_file_id INTEGER NOT NULL, md_parent_id INTEGER);"
        "INSERT INTO gpkg_extensions (table_name, extension_name, definition, scope) VALUES ('gpkg_metadata', "
        "'gpkg_metadata', 'http://www.geopackage.org/spec120/#extension_metadata', 'read-write'), "
        "('gpkg_metadata_reference', 'gpkg_metadata', "
        "'http://www.geopackage.org/spec120/#extension_metadata', 'read-write');"
        "INSERT INTO gpkg_metadata (id, md_scope, md_standard_uri, mime_type, metadata) VALUES (100, 'dataset', "
        "'http://gdal.org', 'text/xml', '<GDALMultiDomainMetadata><Metadata><MDI key=\"SUBTYPE_FIELD\">CATLAM</MDI>"
        "</Metadata></GDALMultiDomainMetadata>');"
        "INSERT INTO gpkg_metadata_reference (reference_scope, table_name, md_file_id) VALUES ('table', 'BOYLAT', "
        "100);");
    EXPECT_EQ(run({}, "subtypes.cxml").status, 0);
    EXPECT_EQ(symbols(dataset), "PORT STARBOARD PORT OTHER STARBOARD");
}

TEST_F(Symbolize, WithoutSubtypeFieldUsesTheDefaultList) {
    addBuoys(dataset);
    EXPECT_EQ(run({}, "subtypes.cxml").status, 0);
    EXPECT_EQ(symbols(dataset), "OTHER OTHER OTHER OTHER OTHER");
}

TEST_F(Symbolize, RepeatedTextIsShownOnceAndCounted) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT", "(CATLAM) VALUES (1), (2), (1)");
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 1) << "every row has failed";
    // The missing offset and rotation fields give no text, the missing symbol field gives two.
    EXPECT_NE(outcome.err.find("BOYLAT: Failed to find SYMBOL_C field!\n"), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("Failed to find SYMBOL_C field!"), outcome.err.rfind("Failed to find SYMBOL_C field!"));
    EXPECT_NE(outcome.out.find("BOYLAT: 3 rows, 0 changed; failed, rolled back; "), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("; 3 times: Failed to find SYMBOL_C field!"), std::string::npos) << outcome.out;
    EXPECT_EQ(lineCount(outcome.out), 1U);
}

TEST_F(Symbolize, LayerWhoseEveryRowFailedForWantOfTheSymbolFieldHasFailed) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT", "(CATLAM) VALUES (1), (2)");
    addBuoys(dataset, "LIGHTS");
    const Outcome outcome = run({}, "two_classes.cxml");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("BOYLAT: no row has got a symbol: the layer has no field SYMBOL_C, which 'cxml "
                               "symbolize' with --add-fields adds\n"),
              std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.out.find("LIGHTS: 5 rows, 5 changed; 5 default\n"), std::string::npos)
        << "others go on: " << outcome.out;
    const json said = runJson({"BOYLAT"}, "two_classes.cxml", 1)["layers"][0];
    EXPECT_EQ(said["succeeded"], false);
    EXPECT_EQ(said["rows"], 2);
    EXPECT_EQ(said["messages"].back()["kind"], "error");
    EXPECT_EQ(run({"--add-fields", "BOYLAT"}, "two_classes.cxml").out, "BOYLAT: 2 rows, 2 changed; 2 default\n");
}

TEST_F(Symbolize, WithoutRowsTheSymbolFieldIsNotMissed) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT", "(CATLAM) VALUES (1), (2)");
    const Outcome outcome = run({"--where", "CATLAM = 3"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "BOYLAT: 0 rows, 0 changed\n");
}

TEST_F(Symbolize, ValuesThatColumnsStoreInAnotherFormAreWrittenOnce) {
    addTable(dataset, "BOYLAT", "SYMBOL_C TEXT, DEPTH DOUBLE, CODE MEDIUMINT", "(CODE) VALUES (1), (2), (7)");
    EXPECT_EQ(run({}, "stored_forms.cxml").out, "BOYLAT: 3 rows, 3 changed; 3 default\n");
    EXPECT_EQ(sql(dataset, "SELECT DISTINCT DEPTH, CODE, SYMBOL_C FROM BOYLAT"), "12.5|7|BUOY");
    const std::string before = readFile(dataset);
    EXPECT_EQ(run({}, "stored_forms.cxml").out, "BOYLAT: 3 rows, 0 changed; 3 default\n");
    EXPECT_TRUE(readFile(dataset) == before) << "the file's bytes";
}

TEST_F(Symbolize, JsonListsEveryMessageInOrder) {
    addBuoys(dataset);
    constexpr int line = 4;
    json messages = json::array();
    for (const int row : {1, 2})
        for (const char* text : {"Field 'NOSUCH' referenced in CXML does not exist on BOYLAT.",
                                 "Rule referenced field 'NOSUCH' not found on 'BOYLAT'"})
            messages.push_back({{"kind", "message"}, {"text", text}, {"row", row}, {"line", line}});
    EXPECT_EQ(runJson({"--fids", "1,2"}, "missing_field.cxml"), report({layer("BOYLAT", true, 2, 0, messages)}));
}

TEST_F(Symbolize, MessagesOfTheDocumentComeFirstAndAreInTheReport) {
    addBuoys(dataset);
    const Outcome outcome = run({}, "unknown_operator.cxml");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, data("unknown_operator.cxml") + ": Operator 'eq' not recognized for attribute rule.\n" +
                               data("unknown_operator.cxml") +
                               ": Discarding condition 'X' due to rule parse failure.\n");
    EXPECT_EQ(runJson({}, "unknown_operator.cxml")["document"],
              json::parse(R"({"loaded": true, "error": null, "messages": [
                  {"kind": "message", "text": "Operator 'eq' not recognized for attribute rule."},
                  {"kind": "message", "text": "Discarding condition 'X' due to rule parse failure."}]})"));
}

TEST_F(Symbolize, AddFieldsMakesTheTargetFields) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT, symbol_c TEXT", "(CATLAM) VALUES (1), (2)");
    EXPECT_EQ(run({"--add-fields"}).out, "BOYLAT: 2 rows, 2 changed; 2 rule\n");
    EXPECT_EQ(sql(dataset, "SELECT group_concat(name || ' ' || type, ', ') FROM pragma_table_info('BOYLAT')"),
              "fid INTEGER, CATLAM MEDIUMINT, symbol_c TEXT, Xoffset_C REAL, Yoffset_C REAL, Rotate_C REAL");
    EXPECT_EQ(symbols(dataset), "GREEN RED");
    EXPECT_EQ(run({"--add-fields"}).out, "BOYLAT: 2 rows, 0 changed; 2 rule\n");
}

TEST_F(Symbolize, AddFieldsMakesTheFieldsOfConditionsOfTypeTwo) {
    runJson({"--add-fields"}, "result_fields.cxml");
    EXPECT_EQ(sql(dataset,
                  "SELECT group_concat(name || ' ' || type, ', ') FROM pragma_table_info('MARKS') "
                  "WHERE name LIKE '%\\_C' ESCAPE '\\'"),
              "SYMBOL_C TEXT, Xoffset_C REAL, Yoffset_C REAL, Rotate_C REAL, LABEL_C TEXT, NESTED_C TEXT, "
              "SUBTYPE_C TEXT");
    EXPECT_EQ(sql(dataset, "SELECT count(*) FROM pragma_table_info('MARKS') WHERE name = 'NOT_WRITTEN'"), "0");
}

TEST_F(Symbolize, AddFieldsLeavesOtherLayersAlone) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT", "(CATLAM) VALUES (1)");
    addTable(dataset, "DEPARE", "DRVAL1 DOUBLE", "(DRVAL1) VALUES (1)");
    EXPECT_EQ(run({"--add-fields"}).status, 0);
    EXPECT_EQ(sql(dataset, "SELECT count(*) FROM pragma_table_info('DEPARE')"), "2");
    EXPECT_EQ(sql(dataset, "SELECT count(*) FROM pragma_table_info('MARKS') WHERE name = 'SYMBOL_C'"), "0");
}

TEST_F(Symbolize, RowThatCannotBeWrittenFailsTheLayerAndLeavesItAsItWas) {
    addBuoys(dataset);
    addBuoys(dataset, "LIGHTS");
    sql(dataset,
        "CREATE TRIGGER no BEFORE UPDATE ON BOYLAT WHEN OLD.fid = 4 BEGIN SELECT RAISE(ABORT, 'hands off'); "
        "END");
    const Outcome outcome = run({}, "two_classes.cxml");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("BOYLAT: "), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("hands off"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.out.find("BOYLAT: 5 rows, 0 changed; failed, rolled back\n"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("LIGHTS: 5 rows, 5 changed; 5 default\n"), std::string::npos)
        << "others go on: " << outcome.out;
    EXPECT_EQ(symbols(dataset), "- - - - -");
    EXPECT_EQ(symbols(dataset, "LIGHTS"), "LIGHT LIGHT LIGHT LIGHT LIGHT");
    expectIntact(dataset);

    const json said = runJson({"BOYLAT"}, "two_classes.cxml", 2);
    EXPECT_EQ(said["layers"][0]["succeeded"], false);
    EXPECT_EQ(said["layers"][0]["changed"], 0);
    EXPECT_EQ(said["layers"][0]["messages"][0]["kind"], "error");
}

TEST_F(Symbolize, LineFeedsInADatabasesWordsBreakNoLine) {
    addBuoys(dataset);
    sql(dataset, "CREATE TRIGGER no BEFORE UPDATE ON BOYLAT BEGIN SELECT RAISE(ABORT, 'hands\noff'); END");
    for (const Arguments& more : {Arguments{}, Arguments{"--where", "CATLAM\n> 0"}}) {
        const Outcome outcome = run(more);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, "BOYLAT: " + dataset + ", layer BOYLAT: row 1 cannot be written: hands off\n");
    }
    const Outcome outcome = run({"--where", "CATLAM\n= = 0"});
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_EQ(runJson({}, "buoys.cxml", 2)["layers"][0]["messages"][0]["text"],
              dataset + ", layer BOYLAT: row 1 cannot be written: hands off");
}

TEST_F(Symbolize, TextsAreUtf8FromEndToEnd) {
    addTable(dataset, "Bøyer", "NAVN TEXT, SYMBOL_C TEXT", "(NAVN) VALUES ('Grønn'), ('Rød')");
    const std::string document = writeFile("bøyer.cxml",
                                           "<conditionMap name='x'><featureClass name='bøyer'><condition "
                                           "rulename='★ grønn'><rule type='A' operator='equal' field='NAVN' "
                                           "value='Grønn'/></condition></featureClass></conditionMap>");
    const Outcome outcome = cxml({"symbolize", document, dataset});
    EXPECT_EQ(outcome.out, "B\xC3\xB8yer: 2 rows, 1 changed; 1 rule, 1 none\n") << outcome.err;
    EXPECT_EQ(symbols(dataset, "Bøyer"), "★ grønn -");
}

}  // namespace
