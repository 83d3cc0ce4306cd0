// The import of S-57 cells. The cells are not part of this tree: SYMBOLOGY_SAMPLE_CELLS names their folder, else they
// are looked for beside the checkout.
#include "host/chart.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace host_test {
namespace {

using embedded_host::importCells;
using embedded_host::LayerInfo;

std::filesystem::path cellFolder() {
    if (const char* folder = std::getenv("SYMBOLOGY_SAMPLE_CELLS")) return folder;
    return (std::filesystem::path(TEST_DATA_DIR) / "../../../../shared/sample-cells").lexically_normal();
}

class Import : public ChartTest {
protected:
    static std::string cell(const char* name) { return (cellFolder() / name).string(); }
    static bool missing() { return !std::filesystem::exists(cellFolder() / "US5OH10M.000"); }
    static std::int64_t rowsOf(const std::vector<LayerInfo>& layers) {
        std::int64_t rows = 0;
        for (const LayerInfo& layer : layers) rows += layer.rowCount;
        return rows;
    }
    static const LayerInfo* find(const std::vector<LayerInfo>& layers, const std::string& name) {
        const auto found = std::ranges::find_if(layers, [&](const auto& l) { return l.name == name; });
        return found == layers.end() ? nullptr : &*found;
    }
    std::string failing(const std::vector<std::string>& cells) {
        try {
            importCells(cells, path_, {});
            return "imported";
        } catch (const HostError& error) {
            return error.what();
        }
    }
};

#define SKIP_WITHOUT_CELLS() \
    if (missing()) GTEST_SKIP() << "no cells in " << cellFolder() << "; SYMBOLOGY_SAMPLE_CELLS names their folder"

TEST_F(Import, OneCellBecomesALayerPerObjectClass) {
    SKIP_WITHOUT_CELLS();
    std::vector<double> shares;
    const std::vector<LayerInfo> layers =
        importCells({cell("US5OH10M.000")}, path_, [&](double done) { shares.push_back(done); });
    EXPECT_EQ(rowsOf(layers), 3889);
    ASSERT_TRUE(find(layers, "BOYLAT"));
    EXPECT_TRUE(find(layers, "BOYLAT")->spatial);
    ASSERT_FALSE(shares.empty());
    EXPECT_TRUE(std::ranges::is_sorted(shares));
    EXPECT_DOUBLE_EQ(shares.back(), 1.0);
    // Lists as text, soundings split with their depths, no widths.
    EXPECT_NE(sqlite(path_, "SELECT max(length(COLOUR) - length(replace(COLOUR, ',', ''))) FROM BOYLAT").front(),
              "NULL");
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM SOUNDG WHERE DEPTH IS NULL").front(), "0");
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM pragma_table_info('BOYLAT') WHERE type LIKE '%(%'").front(), "0");
    EXPECT_FALSE(std::filesystem::exists(path_ + ".partial.gpkg"));
}

TEST_F(Import, SeveralCellsShareTheirLayers) {
    SKIP_WITHOUT_CELLS();
    const std::string first = folder_.file("first.gpkg");
    const std::string second = folder_.file("second.gpkg");
    const auto ofFirst = importCells({cell("US5OH10M.000")}, first, {});
    const auto ofSecond = importCells({cell("US1BS01M.000")}, second, {});
    const auto ofBoth = importCells({cell("US5OH10M.000"), cell("US1BS01M.000")}, path_, {});
    EXPECT_EQ(rowsOf(ofBoth), rowsOf(ofFirst) + rowsOf(ofSecond));
    for (const LayerInfo& layer : ofSecond) {
        const LayerInfo* both = find(ofBoth, layer.name);
        ASSERT_TRUE(both) << layer.name;
        const LayerInfo* one = find(ofFirst, layer.name);
        EXPECT_EQ(both->rowCount, layer.rowCount + (one ? one->rowCount : 0)) << layer.name;
    }
}

TEST_F(Import, AnExistingDatasetIsNeverTouched) {
    SKIP_WITHOUT_CELLS();
    makeChart(path_, 3);
    EXPECT_EQ(failing({cell("US5OH10M.000")}), path_ + ": exists already; an import makes a new dataset");
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM BOYLAT").front(), "3");
}

TEST_F(Import, TheCallerMayStopIt) {
    SKIP_WITHOUT_CELLS();
    EXPECT_THROW(importCells({cell("US5OH10M.000")}, path_, [](double) { throw std::runtime_error("stop"); }),
                 std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(Import, ABadCellAfterAGoodOneIsNamedAndNothingIsLeft) {
    SKIP_WITHOUT_CELLS();
    const std::string broken = folder_.file("broken.000");
    std::filesystem::copy_file(cell("US1BS01M.000"), broken);
    std::filesystem::permissions(broken, std::filesystem::perms::owner_write, std::filesystem::perm_options::add);
    std::filesystem::resize_file(broken, std::filesystem::file_size(broken) / 2);
    const std::string text = failing({cell("US5OH10M.000"), broken});
    EXPECT_TRUE(text.starts_with(broken + ": ")) << text;
    EXPECT_FALSE(std::filesystem::exists(path_));
    EXPECT_FALSE(std::filesystem::exists(path_ + ".partial.gpkg"));
}

TEST_F(Import, WhatIsNoCellIsNamed) {
    const std::string missingCell = folder_.file("nowhere.000");
    const std::string text = failing({missingCell});
    EXPECT_TRUE(text.starts_with(missingCell + ": not an S-57 cell that can be read: ")) << text;
    const std::string other = folder_.file("other.000");
    FILE* file = std::fopen(other.c_str(), "w");
    std::fputs("this is no cell", file);
    std::fclose(file);
    EXPECT_TRUE(failing({other}).starts_with(other + ": not an S-57 cell")) << failing({other});
    EXPECT_EQ(failing({}), path_ + ": there are no cells to import");
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(Import, AFolderThatIsNotThereIsNamed) {
    SKIP_WITHOUT_CELLS();
    path_ = folder_.file("nowhere/chart.gpkg");
    const std::string text = failing({cell("US5OH10M.000")});
    EXPECT_NE(text.find("nowhere"), std::string::npos) << text;
}

}  // namespace
}  // namespace host_test
