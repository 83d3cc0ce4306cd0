#include "tool_test.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

void ToolTest::SetUp() {
    std::string pattern = (fs::temp_directory_path() / "cxml-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    fs::permissions(folder_, fs::perms::owner_all | fs::perms::group_all | fs::perms::others_all);
}

void ToolTest::TearDown() {
    if (!folder_.empty()) fs::remove_all(folder_);
}

Outcome ToolTest::cxml(Arguments arguments, const ProcessOptions& options) {
    arguments.insert(arguments.begin(), CXML_PROGRAM);
    Outcome outcome = runProcess(arguments, options);
    EXPECT_FALSE(outcome.timedOut);
    return outcome;
}

nlohmann::json ToolTest::cxmlJson(Arguments arguments, int expectedStatus) {
    arguments.emplace_back("--json");
    const Outcome outcome = cxml(arguments);
    EXPECT_EQ(outcome.status, expectedStatus) << outcome.err;
    nlohmann::json parsed = nlohmann::json::parse(outcome.out, nullptr, false);
    EXPECT_FALSE(parsed.is_discarded()) << outcome.out;
    return parsed;
}

std::string ToolTest::writeFile(const std::string& name, const std::string& text) const {
    const fs::path path = inFolder(name);
    std::ofstream(path, std::ios::binary) << text;
    return path.string();
}

std::string ToolTest::data(const std::string& name) {
    return std::string(TEST_DATA_DIR) + "/" + name;
}

std::string ToolTest::readFile(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::string ToolTest::newDataset(const std::string& name) const {
    const std::string path = inFolder(name).string();
    const Outcome made = runProcess({"ogr2ogr", "-f", "GPKG", path, data("marks.geojson"), "-nln", "MARKS"});
    EXPECT_EQ(made.status, 0) << made.err;
    return path;
}

void ToolTest::addTable(const std::string& dataset, const std::string& table, const std::string& columns,
                        const std::string& rows, const std::string& title) {
    const std::string identifier = title.empty() ? table : title;
    sql(dataset, "BEGIN; CREATE TABLE \"" + table + "\" (fid INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, " + columns +
                     "); INSERT INTO gpkg_contents (table_name, data_type, identifier) VALUES ('" + table +
                     "', 'attributes', '" + identifier + "');" +
                     (rows.empty() ? "" : "INSERT INTO \"" + table + "\" " + rows + ";") +
                     "INSERT INTO gpkg_ogr_contents (table_name, feature_count) SELECT '" + table +
                     "', count(*) FROM \"" + table + "\";" + "COMMIT;");
}

namespace {
const char* const buoyColumns =
    "CATLAM MEDIUMINT, COLOUR TEXT, SYMBOL_C TEXT, Xoffset_C DOUBLE, Yoffset_C DOUBLE, Rotate_C DOUBLE";
}

void ToolTest::addBuoys(const std::string& dataset, const std::string& table) {
    addTable(dataset, table, buoyColumns, "(CATLAM) VALUES (1), (2), (1), (NULL), (2)");
}

void ToolTest::addManyBuoys(const std::string& dataset, int count) {
    addTable(dataset, "BOYLAT", buoyColumns,
             "(CATLAM, COLOUR) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                 std::to_string(count) + ") SELECT 1 + i % 2, '3,4' FROM n");
}

std::string ToolTest::sql(const std::string& dataset, const std::string& query) {
    Outcome answer = runProcess({"sqlite3", "-bail", "-batch", dataset, query});
    EXPECT_EQ(answer.status, 0) << query << '\n' << answer.err;
    while (!answer.out.empty() && answer.out.back() == '\n') answer.out.pop_back();
    return answer.out;
}

std::string ToolTest::symbols(const std::string& dataset, const std::string& table) {
    return sql(dataset, "SELECT group_concat(coalesce(SYMBOL_C, '-'), ' ') FROM (SELECT SYMBOL_C FROM \"" + table +
                            "\" ORDER BY fid)");
}

void ToolTest::expectIntact(const std::string& dataset) {
    EXPECT_EQ(sql(dataset, "PRAGMA integrity_check"), "ok");
    for (const char* ending : {"-journal", "-wal"}) EXPECT_FALSE(fs::exists(dataset + ending)) << ending;
}

std::size_t lineCount(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}
