// Rows whose values are not of their column's type keep what they had, and are told.
#include "tool_test.h"

namespace {

class Unreadable : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addBuoys(dataset);
        sql(dataset, "UPDATE BOYLAT SET SYMBOL_C = 'OLD'");
    }

    std::string dataset;
};

TEST_F(Unreadable, RowsAreCountedAndNamed) {
    sql(dataset, "UPDATE BOYLAT SET CATLAM = 'none' WHERE fid = 2; UPDATE BOYLAT SET CATLAM = x'00' WHERE fid = 5");
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "BOYLAT: 5 rows, 2 changed; 2 rule, 1 kept, 2 failed; 2 rows with a value that cannot be read: 2, 5\n");
    EXPECT_EQ(symbols(dataset), "GREEN OLD GREEN OLD OLD");
}

TEST_F(Unreadable, OneRowIsCountedOnce) {
    const std::string document = writeFile(
        "twice.cxml",
        "<conditionMap name=\"t\"><featureClass name=\"BOYLAT\"><condition rulename=\"A\"><rule type=\"A\" "
        "operator=\"equal\" field=\"CATLAM\" value=\"1\"/></condition><condition rulename=\"B\"><rule type=\"A\" "
        "operator=\"gt\" field=\"CATLAM\" value=\"7\"/></condition></featureClass></conditionMap>");
    sql(dataset, "UPDATE BOYLAT SET CATLAM = 'none' WHERE fid = 2");
    const nlohmann::json layer = cxmlJson({"symbolize", document, dataset}, 0)["layers"][0];
    EXPECT_EQ(layer["unreadable"], nlohmann::json::parse(R"({"rows": 1, "ids": [2]})"));
    EXPECT_FALSE(layer.contains("refused"));
}

TEST_F(Unreadable, OfManyTheFirstAreNamed) {
    addManyBuoys(newDataset("many.gpkg"), 30);
    const std::string many = inFolder("many.gpkg").string();
    sql(many, "UPDATE BOYLAT SET CATLAM = 'none'");
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), many});
    EXPECT_EQ(outcome.out,
              "BOYLAT: 30 rows, 0 changed; 30 failed; 30 rows with a value that cannot be read: 1, 2, 3, 4, 5, 6, 7, "
              "8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20 and 10 more\n");
}

TEST_F(Unreadable, ValuesThatAFieldDoesNotTakeAreCounted) {
    sql(dataset, "ALTER TABLE BOYLAT ADD COLUMN LABEL_C MEDIUMINT");
    const std::string document = writeFile(
        "label.cxml",
        "<conditionMap name=\"t\"><featureClass name=\"BOYLAT\"><condition rulename=\"A\" type=\"2\" field=\"LABEL_C\">"
        "<expression>def Generate(CATLAM): return 'red' if CATLAM == 2 else '7'</expression>"
        "</condition></featureClass></conditionMap>");
    const nlohmann::json layer = cxmlJson({"symbolize", document, dataset}, 0)["layers"][0];
    EXPECT_EQ(layer["refused"], nlohmann::json::parse(R"({"rows": 2, "ids": [2, 5]})")) << layer;
    sql(dataset, "UPDATE BOYLAT SET SYMBOL_C = NULL");
    EXPECT_EQ(
        cxml({"symbolize", document, dataset}).out.rfind("; 2 rows with a value that its field does not take: 2, 5\n"),
        std::string("BOYLAT: 5 rows, 5 changed; 5 default").size());
}

TEST_F(Unreadable, CheckFindsThem) {
    sql(dataset, "UPDATE BOYLAT SET CATLAM = 'none' WHERE fid IN (2, 4); UPDATE BOYLAT SET COLOUR = x'00'");
    const Outcome outcome = cxml({"check", data("buoys.cxml"), dataset});
    EXPECT_EQ(outcome.status, 0) << "rows are not the document's fault";
    EXPECT_NE(outcome.out.find(dataset + ": warning: layer BOYLAT: field 'CATLAM' holds values that are not of its "
                                         "type, in 2 rows: 2, 4 [value-unreadable]\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(outcome.out.find("COLOUR"), std::string::npos) << "no rule reads it";
}

// A table that the contents of a GeoPackage name and that is gone is not one that never was.
TEST_F(Unreadable, TableThatIsGoneIsSaid) {
    sql(dataset, "DROP TABLE BOYLAT");
    for (const Arguments& command :
         {Arguments{"symbolize", data("buoys.cxml"), dataset},
          Arguments{"symbolize", data("buoys.cxml"), dataset, "BOYLAT"},
          Arguments{"reset", data("buoys.cxml"), dataset}, Arguments{"check", data("buoys.cxml"), dataset}}) {
        SCOPED_TRACE(command.front());
        const Outcome outcome = cxml(command);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(
            outcome.err,
            "cxml: " + dataset + ": the contents name a table 'BOYLAT' that is gone or cannot be shown as they say\n");
    }
}

}  // namespace
