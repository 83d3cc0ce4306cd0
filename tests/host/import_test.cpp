// The import of S-57 cells: the harbour's, which the build makes. Real cells are not part of this tree:
// SYMBOLOGY_SAMPLE_CELLS names their folder, else they are looked for beside the checkout.
#include "host/chart.h"
#include "host/geodatabase/import_cells.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

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
    static std::string real(const char* name) { return (cellFolder() / name).string(); }
    static bool missing() { return !std::filesystem::exists(cellFolder() / "US5OH10M.000"); }
    static std::string harbour() { return HARBOUR_CELL "/XX5MERRW.000"; }
    /// The harbour's base cell without its updates, under another name of the same length.
    std::string otherCell(const std::string& name = "XX5OTHER") const {
        std::ifstream from(harbour(), std::ios::binary);
        std::string bytes{std::istreambuf_iterator<char>(from), std::istreambuf_iterator<char>()};
        bytes.replace(bytes.find("XX5MERRW"), name.size(), name);
        const std::string path = folder_.file(name + ".000");
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }
    static std::int64_t rowsOf(const std::vector<LayerInfo>& layers) {
        std::int64_t rows = 0;
        for (const LayerInfo& layer : layers) rows += layer.rowCount;
        return rows;
    }
    static const LayerInfo* find(const std::vector<LayerInfo>& layers, const std::string& name) {
        const auto found = std::ranges::find_if(layers, [&](const auto& l) { return l.name == name; });
        return found == layers.end() ? nullptr : &*found;
    }
    std::vector<LayerInfo> import(const std::vector<std::string>& cells) {
        return importCells(cells, path_, {}, [&](const std::string& text) { messages_.push_back(text); });
    }
    std::string failing(const std::vector<std::string>& cells) {
        try {
            importCells(cells, path_, {});
            return "imported";
        } catch (const HostError& error) {
            return error.what();
        }
    }
    std::vector<std::string> messages_;
};

#define SKIP_WITHOUT_CELLS() \
    if (missing()) GTEST_SKIP() << "no cells in " << cellFolder() << "; SYMBOLOGY_SAMPLE_CELLS names their folder"

TEST_F(Import, OneCellBecomesALayerPerObjectClass) {
    std::vector<double> shares;
    const std::vector<LayerInfo> layers = importCells({harbour()}, path_, [&](double done) { shares.push_back(done); });
    EXPECT_EQ(rowsOf(layers), 485);
    ASSERT_TRUE(find(layers, "BOYLAT"));
    EXPECT_TRUE(find(layers, "BOYLAT")->spatial);
    ASSERT_FALSE(shares.empty());
    EXPECT_TRUE(std::ranges::is_sorted(shares));
    EXPECT_DOUBLE_EQ(shares.back(), 1.0);
    // Lists as text, soundings split with their depths, no widths.
    EXPECT_EQ(sqlite(path_, "SELECT DISTINCT COLOUR FROM BOYISD").front(), "2,3,2");
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM SOUNDG WHERE DEPTH IS NOT NULL").front(), "271");
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM pragma_table_info('BOYLAT') WHERE type LIKE '%(%'").front(), "0");
    EXPECT_EQ(std::ranges::distance(std::filesystem::directory_iterator(folder_.path())), 1) << "nothing else is left";
}

TEST_F(Import, RealCellBecomesALayerPerObjectClass) {
    SKIP_WITHOUT_CELLS();
    const std::vector<LayerInfo> layers = import({real("US5OH10M.000")});
    EXPECT_EQ(rowsOf(layers), 3889);
    ASSERT_TRUE(find(layers, "BOYLAT"));
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM SOUNDG WHERE DEPTH IS NULL").front(), "0");
    EXPECT_EQ(messages_,
              (std::vector<std::string>{"US5OH10M.000: Attributes PEREND ignored, not in expected schema."}));
}

TEST_F(Import, SeveralCellsShareTheirLayers) {
    SKIP_WITHOUT_CELLS();
    const std::string first = folder_.file("first.gpkg");
    const std::string second = folder_.file("second.gpkg");
    const auto ofFirst = importCells({real("US5OH10M.000")}, first, {});
    const auto ofSecond = importCells({real("US1BS01M.000")}, second, {});
    const auto ofBoth = importCells({real("US5OH10M.000"), real("US1BS01M.000")}, path_, {});
    EXPECT_EQ(rowsOf(ofBoth), rowsOf(ofFirst) + rowsOf(ofSecond));
    for (const LayerInfo& layer : ofSecond) {
        const LayerInfo* both = find(ofBoth, layer.name);
        ASSERT_TRUE(both) << layer.name;
        const LayerInfo* one = find(ofFirst, layer.name);
        EXPECT_EQ(both->rowCount, layer.rowCount + (one ? one->rowCount : 0)) << layer.name;
    }
}

TEST_F(Import, FeaturesKnowTheirCell) {
    const std::vector<LayerInfo> layers = import({harbour(), otherCell()});
    ASSERT_EQ(messages_, std::vector<std::string>());
    // Without its updates, the other cell lacks a light and five soundings and has a wreck more.
    EXPECT_EQ(rowsOf(layers), 485 + 480);
    for (const LayerInfo& layer : layers) {
        if (layer.name == "DSID") continue;
        EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM \"" + layer.name + "\" WHERE DSNM IS NULL").front(), "0")
            << layer.name;
        EXPECT_EQ(sqlite(path_, "SELECT count(DISTINCT DSNM) FROM \"" + layer.name + "\"").front(), "2") << layer.name;
    }
    EXPECT_EQ(sqlite(path_, "SELECT DSNM || ' ' || count(*) FROM LIGHTS GROUP BY DSNM"),
              (std::vector<std::string>{"XX5MERRW.000 37", "XX5OTHER.000 36"}));
    EXPECT_EQ(sqlite(path_, "SELECT DSID_DSNM || ' ' || DSID_EDTN || ' ' || DSID_UPDN || ' ' || DSID_ISDT FROM DSID"),
              (std::vector<std::string>{"XX5MERRW.000 3 2 20240603", "XX5OTHER.000 3 0 20240501"}));
}

TEST_F(Import, OneCellIsImportedOnce) {
    const std::string other = otherCell("xx5merrw");
    EXPECT_EQ(failing({harbour(), other}), other + ": the cell XX5MERRW is in this import already, from " + harbour());
}

TEST_F(Import, AnExistingDatasetIsNeverTouched) {
    makeChart(path_, 3);
    EXPECT_EQ(failing({harbour()}), path_ + ": exists already; only a new file is made");
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM BOYLAT").front(), "3");
}

TEST_F(Import, ADatasetThatAppearsMeanwhileIsNeverTouched) {
    bool made = false;
    EXPECT_THROW(importCells({harbour()}, path_,
                             [&](double) {
                                 if (!std::exchange(made, true)) makeChart(path_, 3);
                             }),
                 HostError);
    EXPECT_TRUE(made);
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM BOYLAT").front(), "3");
    EXPECT_EQ(std::ranges::distance(std::filesystem::directory_iterator(folder_.path())), 1) << "nothing else is left";
}

TEST_F(Import, TheCallerMayStopIt) {
    EXPECT_THROW(importCells({harbour()}, path_, [](double) { throw std::runtime_error("stop"); }), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(Import, ABadCellAfterAGoodOneIsNamedAndNothingIsLeft) {
    const std::string broken = otherCell();
    std::filesystem::resize_file(broken, std::filesystem::file_size(broken) / 2);
    const std::string text = failing({harbour(), broken});
    EXPECT_TRUE(text.starts_with(broken + ": ")) << text;
    std::filesystem::remove(broken);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
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
    path_ = folder_.file("nowhere/chart.gpkg");
    const std::string text = failing({harbour()});
    EXPECT_NE(text.find("nowhere"), std::string::npos) << text;
}

}  // namespace
}  // namespace host_test
