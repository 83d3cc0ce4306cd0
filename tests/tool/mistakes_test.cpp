// Mistakes that people make in documents: each one finding, with the way out.
#include "tool_test.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>

namespace {

using nlohmann::json;

// The documents of data/mistakes; what is shown of NAME.cxml is in NAME.expected. Those whose name begins with "data_"
// are checked with a dataset, with "rows_" with one that has rows, with "subtypes_" with the subtype field named too,
// with "symbols_" with a folder of pictures; those with "tables_" where GDAL's tables of S-57 are not installed.
std::vector<std::string> mistakes() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(SOURCE_ROOT "/tests/tool/data/mistakes"))
        if (entry.path().extension() == ".cxml") names.push_back(entry.path().stem().string());
    std::ranges::sort(names);
    return names;
}

class Mistake : public ToolTest, public testing::WithParamInterface<std::string> {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        if (GetParam().starts_with("tables_")) setenv("S57_CSV", inFolder("none").c_str(), 1);
    }
    void TearDown() override {
        unsetenv("S57_CSV");
        ToolTest::TearDown();
    }

    std::string folderOfPictures() const {
        std::filesystem::create_directory(inFolder("pictures"));
        for (const char* const name : {"WRECKS01", "WRECKS04"})
            std::ofstream(inFolder("pictures") / (std::string(name) + ".svg")) << "<svg/>";
        std::ofstream(inFolder("pictures") / "styles.json")
            << R"({"palettes": {"day": {"ink": "#000000"}, "dusk": {"ink": "#000000"}, "night": {"ink": "#000000"}},)"
               R"("lines": {"DASHED": {"stroke": "ink", "width": 0.3, "dash": [1, 1]}}, "areas": {}, "figures": {}})";
        return inFolder("pictures").string();
    }

    std::string datasetWithRows() const {
        const std::string dataset = newDataset();
        addTable(dataset, "BOYLAT",
                 "CATLAM MEDIUMINT, COLOUR TEXT, OBJNAM TEXT, NATION TEXT(2), BUILT DATE, PHOTO BLOB, "
                 "FCSUBTYPE MEDIUMINT, SYMBOL_C TEXT(8)",
                 "(CATLAM, COLOUR, OBJNAM, FCSUBTYPE) VALUES (1, '3,4', 'Nore', 1), (2, '06', NULL, 2), (NULL, NULL, "
                 "'', NULL)");
        return dataset;
    }

    Arguments arguments() const {
        Arguments arguments{"check", data("mistakes/" + GetParam() + ".cxml")};
        if (GetParam().starts_with("symbols_")) {
            arguments.insert(arguments.end(), {"--symbols", folderOfPictures()});
            return arguments;
        }
        const bool hasSubtypes = GetParam().starts_with("subtypes_");
        if (GetParam().starts_with("rows_") || hasSubtypes) {
            arguments.push_back(datasetWithRows());
            if (hasSubtypes) arguments.insert(arguments.end(), {"--subtype-field", "BOYLAT=FCSUBTYPE"});
            return arguments;
        }
        if (!GetParam().starts_with("data_")) return arguments;
        const std::string dataset = newDataset();
        addTable(dataset, "WRECKS", "CATWRK MEDIUMINT, VALSOU REAL, OBJNAM TEXT, SYMBOL_C TEXT", "");
        addTable(dataset, "LIGHTS", "OBJNAM TEXT, COLOUR TEXT, SYMBOL_C TEXT", "");
        arguments.push_back(dataset);
        return arguments;
    }
};

TEST_P(Mistake, IsOneFinding) {
    const Outcome outcome = cxml(arguments());
    EXPECT_EQ(outcome.err, "");
    std::string shown = outcome.out;
    for (const std::string& folder : {data("mistakes/"), inFolder("").string()})
        for (std::size_t at = shown.find(folder); at != std::string::npos; at = shown.find(folder, at))
            shown.erase(at, folder.size());
    EXPECT_EQ(shown, readFile(data("mistakes/" + GetParam() + ".expected")));
    const bool isError = shown.find(": error: ") != std::string::npos;
    EXPECT_EQ(outcome.status, isError ? 1 : 0);
    const json findings = cxmlJson(arguments(), outcome.status)["findings"];
    const auto isAboveNote = [](const json& finding) { return finding["severity"] != "note"; };
    EXPECT_LE(std::ranges::count_if(findings, isAboveNote), 1) << findings;
    EXPECT_GE(findings.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(All, Mistake, testing::ValuesIn(mistakes()), [](const auto& tested) { return tested.param; });

}  // namespace
