// Mistakes that people make in documents: each one finding, with the way out.
#include "tool_test.h"

#include <algorithm>
#include <filesystem>
#include <ostream>

namespace {

using nlohmann::json;

// The documents of data/mistakes; what is shown of NAME.cxml is in NAME.expected. Those whose name begins with "data_"
// are checked with a dataset.
std::vector<std::string> mistakes() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(SOURCE_ROOT "/tests/tool/data/mistakes"))
        if (entry.path().extension() == ".cxml") names.push_back(entry.path().stem().string());
    std::ranges::sort(names);
    return names;
}

class Mistake : public ToolTest, public testing::WithParamInterface<std::string> {
protected:
    Arguments arguments() const {
        Arguments arguments{"check", data("mistakes/" + GetParam() + ".cxml")};
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
