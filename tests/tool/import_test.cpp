// cxml import, and a chart from its cell to its symbols.
#include "tool_test.h"

#include <csignal>
#include <cstdlib>

namespace {

namespace fs = std::filesystem;

class Import : public ToolTest {
protected:
    // The folder with the sample cells; empty when there is none.
    static fs::path cells() {
        const char* named = std::getenv("SYMBOLOGY_SAMPLE_CELLS");
        const fs::path folder = named ? fs::path(named) : fs::path(SOURCE_ROOT).parent_path() / "shared/sample-cells";
        return fs::exists(folder / "US5OH10M.000") ? folder : fs::path();
    }
};

#define NEED_CELLS() \
    if (cells().empty()) GTEST_SKIP() << "no sample cells (SYMBOLOGY_SAMPLE_CELLS names their folder)"

TEST_F(Import, CellThatIsNotThereIsNamed) {
    const std::string dataset = inFolder("chart.gpkg").string();
    const Outcome outcome = cxml({"import", inFolder("none.000").string(), dataset});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find("none.000"), std::string::npos) << outcome.err;
    EXPECT_FALSE(fs::exists(dataset)) << "nothing half made is left";
}

TEST_F(Import, FileThatIsNoCellIsNamed) {
    const std::string dataset = inFolder("chart.gpkg").string();
    const Outcome outcome = cxml({"import", data("buoys.cxml"), dataset});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find("buoys.cxml"), std::string::npos) << outcome.err;
    EXPECT_FALSE(fs::exists(dataset));
}

TEST_F(Import, TruncatedCellIsNamed) {
    NEED_CELLS();
    const std::string whole = readFile(cells() / "US1BS01M.000");
    const std::string cell = writeFile("short.000", whole.substr(0, 1000));
    const Outcome outcome = cxml({"import", cell, inFolder("chart.gpkg").string()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("short.000"), std::string::npos) << outcome.err;
}

TEST_F(Import, DatasetThatCannotBeMadeIsNamed) {
    NEED_CELLS();
    const std::string dataset = inFolder("no/such/folder.gpkg").string();
    const Outcome outcome = cxml({"import", (cells() / "US1BS01M.000").string(), dataset});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find(dataset), std::string::npos) << outcome.err;
}

TEST_F(Import, ExistingDatasetIsNotTouched) {
    NEED_CELLS();
    const std::string dataset = newDataset();
    const std::string before = readFile(dataset);
    const Outcome outcome = cxml({"import", (cells() / "US1BS01M.000").string(), dataset});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find(dataset), std::string::npos) << outcome.err;
    EXPECT_TRUE(readFile(dataset) == before);
}

TEST_F(Import, InterruptLeavesNothing) {
    NEED_CELLS();
    const std::string dataset = inFolder("chart.gpkg").string();
    ProcessOptions options;
    options.errorsToTerminal = true;
    bool sent = false;
    options.onErrorText = [&](pid_t pid, const std::string& text) {
        if (sent || text.find("importing") == std::string::npos) return;
        sent = true;
        kill(pid, SIGINT);
    };
    const Outcome outcome = cxml({"import", (cells() / "US5OH10M.000").string(), dataset}, options);
    EXPECT_TRUE(sent);
    EXPECT_EQ(outcome.status, 130) << outcome.err;
    EXPECT_NE(outcome.err.find("cxml: interrupted\r\n"), std::string::npos) << outcome.err;
    EXPECT_TRUE(fs::is_empty(inFolder("."))) << "neither the dataset nor a part of it";
}

TEST_F(Import, MakesALayerPerObjectClassAndSaysItsRows) {
    NEED_CELLS();
    const std::string dataset = inFolder("chart.gpkg").string();
    const Outcome outcome = cxml({"import", (cells() / "US5OH10M.000").string(), dataset});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    const std::string tables = sql(dataset, "SELECT table_name FROM gpkg_contents ORDER BY table_name");
    std::size_t layers = 0;
    for (std::size_t begin = 0; begin < tables.size(); ++layers) {
        const std::size_t end = std::min(tables.find('\n', begin), tables.size());
        const std::string table = tables.substr(begin, end - begin);
        const std::string rows = sql(dataset, "SELECT count(*) FROM \"" + table + "\"");
        EXPECT_NE(("\n" + outcome.out).find("\n" + table + ": " + rows + (rows == "1" ? " row\n" : " rows\n")),
                  std::string::npos)
            << table << ' ' << rows;
        begin = end + 1;
    }
    EXPECT_EQ(lineCount(outcome.out), layers);
    EXPECT_GT(layers, 50U);
    // Several colours as comma-separated text, soundings one point each with its depth.
    EXPECT_NE(sql(dataset, "SELECT count(*) FROM LIGHTS WHERE COLOUR IS NOT NULL"), "0");
    EXPECT_EQ(sql(dataset, "SELECT DISTINCT typeof(COLOUR) FROM BCNLAT WHERE COLOUR IS NOT NULL"), "text");
    EXPECT_GT(std::stoi(sql(dataset, "SELECT count(*) FROM SOUNDG")), 100);
}

TEST_F(Import, RealChartFromCellToSymbols) {
    NEED_CELLS();
    const std::string dataset = inFolder("chart.gpkg").string();
    ASSERT_EQ(cxml({"import", (cells() / "US5OH10M.000").string(), dataset}).status, 0);
    const Outcome outcome = cxml({"symbolize", data("lake_erie.cxml"), dataset, "--add-fields"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");

    // The same decisions, asked of the database: rows that hold another symbol than they should.
    const auto wrong = [&](const std::string& table, const std::string& symbol) {
        return sql(dataset, "SELECT count(*) FROM " + table + " WHERE SYMBOL_C IS NOT (" + symbol + ")");
    };
    EXPECT_EQ(wrong("BOYLAT",
                    "CASE WHEN OBJNAM GLOB '*Lighted*' THEN 'BOYLAT_LIT' WHEN CATLAM = 2 THEN 'BOYLAT_STBD' "
                    "WHEN CATLAM = 1 THEN 'BOYLAT_PORT' ELSE 'BOYLAT' END"),
              "0");
    EXPECT_EQ(wrong("LIGHTS", "CASE WHEN HEIGHT > 7 THEN 'LIGHTS_HIGH' ELSE 'LIGHTS' END"), "0");
    EXPECT_EQ(wrong("WRECKS", "CASE WHEN CATWRK IN (2, 4) AND WATLEV IS NOT NULL THEN 'WRECKS_DANGER' END"), "0");
    EXPECT_EQ(wrong("LNDMRK", "CASE WHEN CATLMK = '17' THEN 'LNDMRK_TOWER' ELSE 'LNDMRK' END"), "0");
    EXPECT_EQ(sql(dataset, "SELECT count(*) FROM LIGHTS WHERE Rotate_C IS NOT (CASE WHEN HEIGHT > 7 THEN 45.0 END)"),
              "0");
    EXPECT_EQ(sql(dataset,
                  "SELECT group_concat(symbol, ' ') FROM (SELECT DISTINCT SYMBOL_C AS symbol FROM BOYLAT UNION "
                  "SELECT DISTINCT SYMBOL_C FROM LIGHTS UNION SELECT DISTINCT SYMBOL_C FROM WRECKS UNION "
                  "SELECT DISTINCT SYMBOL_C FROM LNDMRK)"),
              "BOYLAT_LIT BOYLAT_PORT BOYLAT_STBD LIGHTS LIGHTS_HIGH LNDMRK LNDMRK_TOWER WRECKS_DANGER")
        << "every decision was met by some row";
    for (const char* table : {"BOYLAT", "LIGHTS", "WRECKS", "LNDMRK"})
        EXPECT_NE(sql(dataset, std::string("SELECT count(*) FROM ") + table), "0") << table;

    const nlohmann::json again = cxmlJson({"symbolize", data("lake_erie.cxml"), dataset}, 0);
    ASSERT_EQ(again["layers"].size(), 4U);
    for (const nlohmann::json& layer : again["layers"]) EXPECT_EQ(layer["changed"], 0) << layer;
    expectIntact(dataset);
}

}  // namespace
