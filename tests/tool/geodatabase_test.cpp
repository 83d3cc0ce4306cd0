// The one call of symbology/geodatabase.h beside the tool: the same rows, all or nothing, and every bad input told.
#include "symbology/geodatabase.h"
#include "host/python/interpreter.h"
#include "tool_test.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <thread>

#include <sqlite3.h>

namespace {

using symbology::LayerOutcome;
using symbology::SymbolizeOptions;

class OneCall : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
    }

    symbology::Outcome run(const char* document = "buoys.cxml", const SymbolizeOptions& options = {}) {
        return symbology::symbolize(dataset, data(document), options, [this](auto source, auto text) {
            heard.push_back(std::string(source) + ": " + std::string(text));
        });
    }
    /// Why the call has run nothing.
    std::string whyNot(const std::string& document, const SymbolizeOptions& options = {}) {
        try {
            symbology::symbolize(dataset, document, options);
        } catch (const symbology::Error& error) {
            return error.what();
        }
        return "it ran";
    }
    std::string refusal(const SymbolizeOptions& options = {}) { return whyNot(data("buoys.cxml"), options); }
    /// RAISE in the middle of BOYLAT's run.
    void forbidRow4() {
        sql(dataset,
            "CREATE TRIGGER no BEFORE UPDATE ON BOYLAT WHEN OLD.fid = 4 BEGIN SELECT RAISE(ABORT, 'hands off'); END");
    }

    std::string dataset;
    std::vector<std::string> heard;
};

TEST_F(OneCall, WritesWhatTheToolWrites) {
    addBuoys(dataset);
    const std::string copy = inFolder("copy.gpkg").string();
    std::filesystem::copy_file(dataset, copy);
    const symbology::Outcome outcome = run();
    ASSERT_EQ(outcome.layers.size(), 1U);
    const LayerOutcome& layer = outcome.layers.front();
    const nlohmann::json own = cxmlJson({"symbolize", data("buoys.cxml"), copy}, 0)["layers"][0];
    EXPECT_EQ(layer.layer, own["layer"].get<std::string>());
    EXPECT_EQ(layer.rows, own["rows"].get<std::int64_t>());
    EXPECT_EQ(layer.changed, own["changed"].get<std::int64_t>());
    EXPECT_EQ(layer.changed, 4);
    EXPECT_FALSE(layer.failed) << layer.why;
    EXPECT_EQ(layer.why, "");
    EXPECT_FALSE(outcome.failed());
    EXPECT_EQ(sql(dataset, "SELECT * FROM BOYLAT"), sql(copy, "SELECT * FROM BOYLAT"));
    EXPECT_EQ(symbols(dataset), "GREEN RED GREEN - RED");
    expectIntact(dataset);
}

TEST_F(OneCall, LayerThatFailsInItsMiddleStaysAsItWasAndTheNextOneRuns) {
    addBuoys(dataset);
    addBuoys(dataset, "LIGHTS");
    forbidRow4();
    const symbology::Outcome outcome = run("two_classes.cxml");
    ASSERT_EQ(outcome.layers.size(), 2U);
    EXPECT_TRUE(outcome.failed());
    EXPECT_TRUE(outcome.layers[0].failed);
    EXPECT_EQ(outcome.layers[0].changed, 0);
    EXPECT_NE(outcome.layers[0].why.find("hands off"), std::string::npos) << outcome.layers[0].why;
    EXPECT_NE(outcome.layers[0].why.find("BOYLAT"), std::string::npos) << outcome.layers[0].why;
    EXPECT_FALSE(outcome.layers[1].failed);
    EXPECT_EQ(outcome.layers[1].changed, 5);
    EXPECT_EQ(symbols(dataset), "- - - - -");
    EXPECT_EQ(symbols(dataset, "LIGHTS"), "LIGHT LIGHT LIGHT LIGHT LIGHT");
    expectIntact(dataset);
}

TEST_F(OneCall, RunsOverTheLayersAndRowsOfItsOptions) {
    addBuoys(dataset);
    addBuoys(dataset, "LIGHTS");
    const symbology::Outcome outcome = run("two_classes.cxml", {.layers = {"BOYLAT"}, .where = "CATLAM = 2"});
    ASSERT_EQ(outcome.layers.size(), 1U);
    EXPECT_EQ(outcome.layers[0].rows, 2);
    EXPECT_EQ(symbols(dataset), "- BUOY - - BUOY");
    EXPECT_EQ(symbols(dataset, "LIGHTS"), "- - - - -");
}

TEST_F(OneCall, AddsFieldsWhenAsked) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT", "(CATLAM) VALUES (1), (2)");
    const symbology::Outcome without = run();
    ASSERT_EQ(without.layers.size(), 1U);
    EXPECT_TRUE(without.failed());
    EXPECT_EQ(without.layers[0].why,
              "no row has got a symbol: the layer has no field SYMBOL_C, and missing fields were not to be added");
    ASSERT_FALSE(without.layers[0].messages.empty());
    EXPECT_EQ(without.layers[0].messages[0].text, "Failed to find SYMBOL_C field!");
    EXPECT_EQ(without.layers[0].messages[0].count, 2U);
    ASSERT_FALSE(heard.empty());
    EXPECT_EQ(heard[0], "BOYLAT: Failed to find SYMBOL_C field!");

    EXPECT_FALSE(run("buoys.cxml", {.addMissingFields = true}).failed());
    EXPECT_EQ(symbols(dataset), "GREEN RED");
    EXPECT_EQ(sql(dataset, "SELECT Rotate_C FROM BOYLAT WHERE fid = 2"), "90.0");
}

TEST_F(OneCall, TakesSubtypesFromTheFieldOfEachLayer) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT, KIND MEDIUMINT, SYMBOL_C TEXT",
             "(CATLAM, KIND) VALUES (1, 2), (9, 1)");
    addTable(dataset, "LIGHTS", "CATLAM MEDIUMINT, SYMBOL_C TEXT", "(CATLAM) VALUES (1), (9)");
    run("subtypes_of_two.cxml", {.subtypeFields = {{"BOYLAT", "KIND"}, {"LIGHTS", "CATLAM"}}});
    EXPECT_EQ(symbols(dataset, "BOYLAT"), "OTHER ONE");
    EXPECT_EQ(symbols(dataset, "LIGHTS"), "ONE OTHER");
}

TEST_F(OneCall, RunsExpressionsInThePythonOfTheProcess) {
    addTable(dataset, "LIGHTS", "LITCHR TEXT, SIGPER REAL, LABEL_C TEXT, SYMBOL_C TEXT",
             "(LITCHR, SIGPER) VALUES ('Fl', 10), ('fail', 2)");
    const embedded_host::PythonInterpreter python;
    const symbology::Outcome outcome = run("expressions.cxml");
    ASSERT_EQ(outcome.layers.size(), 1U);
    EXPECT_EQ(symbols(dataset, "LIGHTS"), "LIGHT LIGHT");
    EXPECT_NE(sql(dataset, "SELECT LABEL_C FROM LIGHTS WHERE fid = 1"), "");
    ASSERT_EQ(outcome.layers[0].messages.size(), 1U);
    EXPECT_NE(outcome.layers[0].messages[0].text.find("no such light"), std::string::npos);
    EXPECT_NE(whyNot(data("syntax_error.cxml")).find("syntax_error.cxml: "), std::string::npos);
}

TEST_F(OneCall, TellsOfALayerWithoutConfiguration) {
    const symbology::Outcome named = run("buoys.cxml", {.layers = {"MARKS"}});
    ASSERT_EQ(named.layers.size(), 1U);
    EXPECT_TRUE(named.failed());
    EXPECT_NE(named.layers[0].why.find("MARKS"), std::string::npos) << named.layers[0].why;
    heard.clear();
    const symbology::Outcome none = run();
    EXPECT_TRUE(none.layers.empty());
    EXPECT_FALSE(none.failed());
    ASSERT_EQ(heard.size(), 1U);
    EXPECT_EQ(heard[0], ": " + dataset + ": no layer has a configuration in " + data("buoys.cxml"));
}

TEST_F(OneCall, RefusesDocumentsThatDoNotLoad) {
    addBuoys(dataset);
    EXPECT_NE(whyNot(inFolder("none.cxml").string()).find("none.cxml: "), std::string::npos);
    const std::string broken = whyNot(writeFile("broken.cxml", "<conditionMap name='x'>\n<featureClass>\n"));
    EXPECT_NE(broken.find("broken.cxml: "), std::string::npos) << broken;
    EXPECT_NE(broken.find("ine "), std::string::npos) << "the line: " << broken;
    EXPECT_NE(whyNot(data("rule_definitions.cxml")).find("rule-definitions"), std::string::npos);
    EXPECT_NE(whyNot(data("no_name.cxml")).find("no attribute 'name'"), std::string::npos);
    EXPECT_EQ(whyNot(std::string()), "the name of the document is empty");
    EXPECT_EQ(symbols(dataset), "- - - - -");
}

TEST_F(OneCall, RefusesDatasetsThatCannotBeWritten) {
    dataset = inFolder("none.gpkg").string();
    EXPECT_NE(refusal().find(dataset), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(dataset));
    dataset = writeFile("text.gpkg", "this is no database");
    EXPECT_NE(refusal().find(dataset), std::string::npos);
    EXPECT_EQ(readFile(dataset), "this is no database");
    dataset = data("marks.geojson");
    EXPECT_NE(refusal().find("ogr2ogr"), std::string::npos) << refusal();
    dataset = "";
    EXPECT_EQ(refusal(), "the name of the dataset is empty");
    dataset = std::string("a\0b", 3);
    EXPECT_EQ(refusal(), "the name of the dataset has a U+0000 in it");
}

TEST_F(OneCall, RefusesOptionsThatMeanNothing) {
    addBuoys(dataset);
    EXPECT_EQ(refusal({.layers = {"BOYLATT"}}), dataset + ": there is no layer 'BOYLATT'; similar: BOYLAT");
    EXPECT_EQ(refusal({.layers = {""}}), "the name of the layer is empty");
    EXPECT_NE(refusal({.subtypeFields = {{"BOYLAT", "NOSUCH"}}}).find("NOSUCH"), std::string::npos);
    EXPECT_NE(refusal({.subtypeFields = {{"NOSUCH", "CATLAM"}}}).find("no layer 'NOSUCH'"), std::string::npos);
    EXPECT_EQ(refusal({.where = "  "}), "the condition for rows is empty");
    EXPECT_EQ(refusal({.lockTimeout = -1}), "the lock time-out -1 is not between 0 and 1000000 seconds");
    EXPECT_EQ(refusal({.lockTimeout = std::numeric_limits<double>::quiet_NaN()}),
              "the lock time-out nan is not between 0 and 1000000 seconds");
    EXPECT_EQ(symbols(dataset), "- - - - -");
}

TEST_F(OneCall, FailsTheLayerWhoseConditionIsNotUnderstood) {
    addBuoys(dataset);
    const symbology::Outcome outcome = run("buoys.cxml", {.where = "NOSUCH = 1; DROP TABLE BOYLAT"});
    ASSERT_EQ(outcome.layers.size(), 1U);
    EXPECT_TRUE(outcome.layers[0].failed);
    EXPECT_NE(outcome.layers[0].why.find("BOYLAT"), std::string::npos) << outcome.layers[0].why;
    EXPECT_EQ(symbols(dataset), "- - - - -");
}

TEST_F(OneCall, WaitsForLocksAsLongAsItIsTold) {
    addBuoys(dataset);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(dataset.c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    const symbology::Outcome outcome = run("buoys.cxml", {.lockTimeout = 0});
    ASSERT_EQ(outcome.layers.size(), 1U);
    EXPECT_NE(outcome.layers[0].why.find("locked"), std::string::npos) << outcome.layers[0].why;
    sqlite3_close(other);
    EXPECT_FALSE(run("buoys.cxml", {.lockTimeout = 0}).failed());
}

TEST_F(OneCall, CountsRowsWithValuesThatCannotBeReadOrPut) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT, SYMBOL_C TEXT(4)", "(CATLAM) VALUES (1), ('many'), (2)");
    const symbology::Outcome outcome = run();
    ASSERT_EQ(outcome.layers.size(), 1U);
    EXPECT_FALSE(outcome.layers[0].failed) << outcome.layers[0].why;
    EXPECT_EQ(outcome.layers[0].unreadable.count, 1);
    EXPECT_EQ(outcome.layers[0].unreadable.ids, std::vector<std::int64_t>{2});
    EXPECT_EQ(outcome.layers[0].refused.count, 1);
    EXPECT_EQ(outcome.layers[0].refused.ids, std::vector<std::int64_t>{1}) << "GREEN is longer than the field";
    EXPECT_EQ(symbols(dataset), "- - RED");
}

TEST_F(OneCall, TellsWhatIsSaidWhileTheDocumentLoads) {
    addBuoys(dataset);
    const symbology::Outcome outcome = run("unknown_operator.cxml");
    ASSERT_FALSE(outcome.documentMessages.empty());
    ASSERT_GE(heard.size(), outcome.documentMessages.size());
    for (std::size_t i = 0; i < outcome.documentMessages.size(); ++i)
        EXPECT_EQ(heard[i], data("unknown_operator.cxml") + ": " + outcome.documentMessages[i].text);
    const auto says = [](const symbology::Message& message) { return message.text.find("eq") != std::string::npos; };
    EXPECT_TRUE(std::ranges::any_of(outcome.documentMessages, says)) << outcome.documentMessages[0].text;
}

TEST_F(OneCall, ListenerThatThrowsEndsTheCallAndTheLayer) {
    addBuoys(dataset, "LIGHTS");
    int calls = 0;
    const auto refuse = [&](std::string_view, std::string_view) {
        ++calls;
        throw std::out_of_range("enough");
    };
    addTable(dataset, "BCNLAT", "CATLAM MEDIUMINT", "(CATLAM) VALUES (1)");
    EXPECT_THROW(symbology::symbolize(dataset, data("two_classes.cxml"), {.layers = {"BCNLAT", "LIGHTS"}}, refuse),
                 std::out_of_range);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(symbols(dataset, "LIGHTS"), "- - - - -") << "no other layer runs";
    EXPECT_FALSE(run("two_classes.cxml", {.layers = {"LIGHTS"}}).failed()) << "and the next call is as good";
}

TEST_F(OneCall, MayBeMadeFromAnyThread) {
    addBuoys(dataset);
    const std::string second = newDataset("second.gpkg");
    addBuoys(second);
    bool failed = true;
    std::thread other([&] { failed = symbology::symbolize(second, data("buoys.cxml"), {}).failed(); });
    EXPECT_FALSE(run().failed());
    other.join();
    EXPECT_FALSE(failed);
    for (const std::string& one : {dataset, second}) EXPECT_EQ(symbols(one), "GREEN RED GREEN - RED");
}

}  // namespace
