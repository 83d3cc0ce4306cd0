// Short of memory: a run that is as with enough of it, or a line, and layers as they were.
#include "tool_test.h"

#include <csignal>
#include <filesystem>
#include <string>

namespace {

constexpr unsigned long mebibyte = 1024UL * 1024UL;

class Memory : public ToolTest, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = inFolder("copy.gpkg").string();
        fresh = newDataset();
        addManyBuoys(fresh, 2000);
        addBuoys(fresh, "LIGHTS");
        if (GetParam() != std::string("reset")) return;
        ASSERT_EQ(cxml({"symbolize", data("every_rule.cxml"), fresh}).status, 0);
    }
    /// The command over a new copy of the dataset.
    Outcome run(unsigned long room) {
        std::filesystem::copy_file(fresh, dataset, std::filesystem::copy_options::overwrite_existing);
        std::filesystem::remove(dataset + "-journal");
        return cxml({GetParam(), data("every_rule.cxml"), dataset}, within(room));
    }
    static ProcessOptions within(unsigned long room) {
        ProcessOptions options;
        options.addressSpaceLimit = room;
        return options;
    }
    std::string rowsOf(const std::string& of) const {
        return sql(of, "SELECT count(*), count(SYMBOL_C), sum(length(COLOUR)), min(COLOUR), max(SYMBOL_C) FROM BOYLAT");
    }

    std::string fresh;
    std::string dataset;
};

// Every step of 128 KB below what it needs, then coarser ones: down to where it does not start. GDAL and Python may
// crash where there is no memory; they did so while they start, when nobody has touched the dataset.
TEST_P(Memory, ThatEndsLeavesTheLayerAsItWas) {
    unsigned long enough = 4096 * mebibyte;
    const Outcome intact = run(enough);
    const std::string before = rowsOf(fresh);
    const std::string after = rowsOf(dataset);
    ASSERT_EQ(intact.status, 0) << intact.err;
    ASSERT_NE(before, after);
    for (unsigned long step = enough / 2; step >= mebibyte / 2; step /= 2)
        if (run(enough - step).status == 0) enough -= step;
    const std::string untouched = readFile(fresh);
    int refused = 0;
    int crashed = 0;
    for (unsigned long less = 0, step = mebibyte / 8; less < enough * 3 / 4; less += step) {
        if (less >= 3 * mebibyte) step = less / 3;
        const Outcome outcome = run(enough - less);
        SCOPED_TRACE(std::to_string(less) + " bytes less: " + outcome.out + outcome.err);
        if (outcome.status > 2 && cxml({"--version"}, within(enough - less)).status != 0) break;  // it does not start
        const bool touched = std::filesystem::exists(dataset + "-journal") || readFile(dataset) != untouched;
        const std::string rows = rowsOf(dataset);
        // Python that finds no memory is the expression's failure, which is said.
        if (outcome.err.find("error processing Python") != std::string::npos) continue;
        if (outcome.status == 0) {
            EXPECT_EQ(rows, after);
            continue;
        }
        if (outcome.signalled && outcome.status == 128 + SIGSEGV && outcome.out.empty() && !touched) {
            ++crashed;
            continue;
        }
        ++refused;
        EXPECT_FALSE(outcome.signalled) << outcome.status;
        EXPECT_TRUE(outcome.status == 1 || outcome.status == 2) << outcome.status;
        EXPECT_NE(outcome.err, "");
        EXPECT_EQ(rows, before);
    }
    EXPECT_GT(refused, 5);
    EXPECT_LT(crashed, refused);
}

INSTANTIATE_TEST_SUITE_P(Commands, Memory, testing::Values("symbolize", "reset"),
                         [](const auto& command) { return std::string(command.param); });

}  // namespace
