// cxml reset on small datasets.
#include "tool_test.h"

namespace {

using nlohmann::json;

class Reset : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
    }
    Outcome symbolize() { return cxml({"symbolize", data("buoys.cxml"), dataset}); }
    Outcome reset(Arguments more = {}) {
        more.insert(more.begin(), {"reset", data("buoys.cxml"), dataset});
        return cxml(more);
    }
    json resetJson(Arguments more, int status) {
        more.insert(more.begin(), {"reset", data("buoys.cxml"), dataset});
        return cxmlJson(more, status)["layers"];
    }
    std::string dataset;
};

TEST_F(Reset, ClearsTheSymbolsAndLeavesThePlacement) {
    addBuoys(dataset);
    EXPECT_EQ(symbolize().status, 0);
    const Outcome outcome = reset();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "BOYLAT: 5 rows, 4 changed\n") << "one had no symbol";
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(symbols(dataset), "- - - - -");
    EXPECT_EQ(sql(dataset, "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C IS NULL AND Xoffset_C = 1.5"), "2");
    EXPECT_EQ(reset().out, "BOYLAT: 5 rows, 0 changed\n");
}

TEST_F(Reset, ClearsThePlacementTooWhenAsked) {
    addBuoys(dataset);
    EXPECT_EQ(symbolize().status, 0);
    sql(dataset, "UPDATE BOYLAT SET Yoffset_C = 3 WHERE fid = 4");
    const Outcome outcome = reset({"--placement"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "BOYLAT: 5 rows, 5 changed\n") << "each row is counted once";
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(sql(dataset,
                  "SELECT count(*) FROM BOYLAT WHERE coalesce(SYMBOL_C, Xoffset_C, Yoffset_C, Rotate_C) "
                  "IS NULL AND CATLAM IS NOT NULL"),
              "4");
    EXPECT_EQ(sql(dataset,
                  "SELECT count(*) FROM BOYLAT WHERE coalesce(SYMBOL_C, Xoffset_C, Yoffset_C, Rotate_C) "
                  "IS NULL"),
              "5");
    EXPECT_EQ(reset({"--placement"}).out, "BOYLAT: 5 rows, 0 changed\n");
}

TEST_F(Reset, ClearsThePlacementOfALayerThatHasNothingElseToClear) {
    addTable(dataset, "BOYLAT", "rotate_c DOUBLE", "(rotate_c) VALUES (90), (NULL), (45)");
    EXPECT_EQ(reset().out, "BOYLAT: 0 rows, 0 changed\n");
    EXPECT_EQ(reset({"--placement"}).out, "BOYLAT: 3 rows, 2 changed\n");
    EXPECT_EQ(sql(dataset, "SELECT count(rotate_c) FROM BOYLAT"), "0");
}

TEST_F(Reset, PlacementThatCannotBeClearedRollsTheLayerBack) {
    for (const char* columns : {"SYMBOL_C TEXT, Rotate_C DOUBLE NOT NULL", "Rotate_C DOUBLE NOT NULL"}) {
        SCOPED_TRACE(columns);
        const std::string file = newDataset(std::string(columns).substr(0, 6) + ".gpkg");
        addTable(file, "BOYLAT", columns, "(Rotate_C) VALUES (90)");
        const Outcome outcome = cxml({"reset", data("buoys.cxml"), file, "--placement"});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_NE(outcome.err.find("NOT NULL constraint failed"), std::string::npos) << outcome.err;
        EXPECT_EQ(sql(file, "SELECT Rotate_C FROM BOYLAT"), "90.0");
    }
}

TEST_F(Reset, JsonIsOneObject) {
    addBuoys(dataset);
    EXPECT_EQ(symbolize().status, 0);
    EXPECT_EQ(resetJson({}, 0), json::parse(R"([{"layer": "BOYLAT", "succeeded": true, "rows": 5, "changed": 4,
                                                "messages": []}])"));
}

TEST_F(Reset, NamedLayerWithoutConfigurationFails) {
    addBuoys(dataset, "DEPARE");
    const Outcome outcome = reset({"DEPARE"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "cxml: DEPARE: no configuration in " + data("buoys.cxml") + " for the class 'DEPARE'\n");
    EXPECT_EQ(resetJson({"DEPARE"}, 1), json::parse(R"([{"layer": "DEPARE", "succeeded": false, "rows": 0, "changed": 0,
                                                        "messages": []}])"));
}

TEST_F(Reset, RowThatCannotBeWrittenRollsTheLayerBack) {
    addBuoys(dataset);
    EXPECT_EQ(symbolize().status, 0);
    sql(dataset,
        "CREATE TRIGGER no BEFORE UPDATE ON BOYLAT WHEN OLD.fid = 5 BEGIN SELECT RAISE(ABORT, 'hands off'); "
        "END");
    const Outcome outcome = reset();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("BOYLAT: Failed to clear symbology field!"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("hands off"), std::string::npos) << outcome.err;
    EXPECT_EQ(symbols(dataset), "GREEN RED GREEN - RED") << "rows cleared before the failure are back";
}

}  // namespace
