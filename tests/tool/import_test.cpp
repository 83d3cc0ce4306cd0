// cxml import, and a chart from its cell to its symbols.
#include "tool_test.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <thread>

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
    /// The harbour's cell, which the build makes; its updates are beside it.
    static std::string harbour() { return HARBOUR_CELL "/XX5MERRW.000"; }
    bool nothingIsLeft() const { return fs::is_empty(inFolder(".")); }
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
    const std::string whole = readFile(harbour());
    const std::string cell = writeFile("short.000", whole.substr(0, 1000));
    const Outcome outcome = cxml({"import", cell, inFolder("chart.gpkg").string()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("short.000"), std::string::npos) << outcome.err;
}

TEST_F(Import, DatasetThatCannotBeMadeIsNamed) {
    const std::string dataset = inFolder("no/such/folder.gpkg").string();
    const Outcome outcome = cxml({"import", harbour(), dataset});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find(dataset), std::string::npos) << outcome.err;
}

TEST_F(Import, ExistingDatasetIsNotTouched) {
    const std::string dataset = newDataset();
    const std::string before = readFile(dataset);
    const Outcome outcome = cxml({"import", harbour(), dataset});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find(dataset), std::string::npos) << outcome.err;
    EXPECT_TRUE(readFile(dataset) == before);
}

TEST_F(Import, InterruptLeavesNothing) {
    const std::string dataset = inFolder("chart.gpkg").string();
    ProcessOptions options;
    options.errorsToTerminal = true;
    bool sent = false;
    options.onErrorText = [&](pid_t pid, const std::string& text) {
        if (sent || text.find("importing") == std::string::npos) return;
        sent = true;
        kill(pid, SIGINT);
    };
    const Outcome outcome = cxml({"import", harbour(), dataset}, options);
    EXPECT_TRUE(sent);
    EXPECT_EQ(outcome.status, 130) << outcome.err;
    EXPECT_NE(outcome.err.find("cxml: interrupted\r\n"), std::string::npos) << outcome.err;
    EXPECT_TRUE(nothingIsLeft()) << "neither the dataset nor a part of it";
}

TEST_F(Import, OfTwoToOneNameOneWins) {
    const std::string dataset = inFolder("chart.gpkg").string();
    for (int round = 0; round < 5; ++round) {
        std::array<Outcome, 2> outcomes;
        {
            std::vector<std::jthread> both;
            for (Outcome& outcome : outcomes)
                both.emplace_back([&] { outcome = cxml({"import", harbour(), dataset}); });
        }
        std::ranges::sort(outcomes, {}, &Outcome::status);
        EXPECT_EQ(outcomes[0].status, 0) << outcomes[0].err;
        EXPECT_EQ(outcomes[1].status, 2) << outcomes[1].err;
        EXPECT_EQ(outcomes[1].err, "cxml: " + dataset + ": exists already; only a new file is made\n");
        EXPECT_EQ(sql(dataset, "SELECT count(*) FROM SOUNDG"), "271");
        expectIntact(dataset);
        fs::remove(dataset);
        ASSERT_TRUE(nothingIsLeft()) << round;
    }
}

TEST_F(Import, TwoToTwoNamesDoNotMeet) {
    std::array<Outcome, 2> outcomes;
    {
        std::vector<std::jthread> both;
        for (std::size_t i = 0; i < 2; ++i)
            both.emplace_back(
                [&, i] { outcomes.at(i) = cxml({"import", harbour(), inFolder(i ? "b.gpkg" : "a.gpkg").string()}); });
    }
    EXPECT_EQ(outcomes[0].err + outcomes[1].err, "");
    EXPECT_EQ(readFile(inFolder("a.gpkg")).size(), readFile(inFolder("b.gpkg")).size());
}

TEST_F(Import, WhatAKilledOneLeftIsNobodyElses) {
    const std::string dataset = inFolder("chart.gpkg").string();
    fs::create_directory(dataset + ".partial-aaaaaa");
    const std::string left = writeFile("chart.gpkg.partial-aaaaaa/chart.gpkg", "half");
    EXPECT_EQ(cxml({"import", harbour(), dataset}).status, 0);
    EXPECT_EQ(readFile(left), "half");
}

TEST_F(Import, MakesALayerPerObjectClassAndSaysItsRows) {
    const std::string dataset = inFolder("chart.gpkg").string();
    const Outcome outcome = cxml({"import", harbour(), dataset});
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
    EXPECT_EQ(layers, 23U);
    // Several colours as comma-separated text, soundings one point each with its depth.
    EXPECT_NE(sql(dataset, "SELECT count(*) FROM LIGHTS WHERE COLOUR IS NOT NULL"), "0");
    EXPECT_EQ(sql(dataset, "SELECT DISTINCT typeof(COLOUR) FROM BOYLAT WHERE COLOUR IS NOT NULL"), "text");
    EXPECT_EQ(sql(dataset, "SELECT count(*) FROM SOUNDG"), "271");
}

TEST_F(Import, RealChartFromCellToSymbols) {
    NEED_CELLS();
    const std::string dataset = inFolder("chart.gpkg").string();
    const Outcome imported = cxml({"import", (cells() / "US5OH10M.000").string(), dataset});
    ASSERT_EQ(imported.status, 0) << imported.err;
    EXPECT_EQ(imported.err, "cxml: US5OH10M.000: Attributes PEREND ignored, not in expected schema.\n");
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
