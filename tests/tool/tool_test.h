// What the tests of the tool share: a folder of their own, datasets built and looked at with other programs, and the
// built tool.
#pragma once

#include "process.h"

#include <gtest/gtest.h>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

class ToolTest : public testing::Test {
public:
    using Arguments = std::vector<std::string>;

protected:
    void SetUp() override;
    void TearDown() override;

    /// Runs the tool.
    static Outcome cxml(Arguments arguments, const ProcessOptions& options = {});
    /// Runs it with --json and reads what it wrote.
    static nlohmann::json cxmlJson(Arguments arguments, int expectedStatus);

    std::filesystem::path inFolder(const std::string& name) const { return folder_ / name; }
    std::string writeFile(const std::string& name, const std::string& text) const;
    static std::string data(const std::string& name);
    static std::string readFile(const std::filesystem::path& path);

    /// A GeoPackage with one point layer MARKS of two rows, no target fields.
    std::string newDataset(const std::string& name = "chart.gpkg") const;
    /// Adds a table: `columns` as SQL after the key, `rows` as the text after INSERT INTO table.
    static void addTable(const std::string& dataset, const std::string& table, const std::string& columns,
                         const std::string& rows, const std::string& title = {});
    /// The usual layer: lateral buoys with CATLAM 1, 2, 1, NULL, 2 under the keys 1 to 5, and all target fields.
    static void addBuoys(const std::string& dataset, const std::string& table = "BOYLAT");
    /// `count` buoys.
    static void addManyBuoys(const std::string& dataset, int count);
    /// What the sqlite3 shell answers, columns separated by |, without the last line feed.
    static std::string sql(const std::string& dataset, const std::string& query);
    /// SYMBOL_C of every row in key order, "-" for NULL, joined by blanks.
    static std::string symbols(const std::string& dataset, const std::string& table = "BOYLAT");
    /// Also that no journal is left beside it.
    static void expectIntact(const std::string& dataset);

private:
    std::filesystem::path folder_;
};

/// How many lines a text has.
std::size_t lineCount(const std::string& text);
