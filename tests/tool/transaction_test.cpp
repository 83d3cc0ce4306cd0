// A layer's run is all or nothing, whatever ends it.
#include "tool_test.h"

#include <csignal>

namespace {

constexpr int manyRows = 200'000;

class Transaction : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addManyBuoys(dataset, manyRows);
    }
    // Has the run meet `signal` when its progress line shows that rows were done.
    ProcessOptions signalInTheMiddle(int signal) {
        ProcessOptions options;
        options.errorsToTerminal = true;
        options.onErrorText = [this, signal](pid_t pid, const std::string& text) {
            // The first line of the layer has no rows yet, the second one has.
            const std::string rows = " of " + std::to_string(manyRows) + " rows";
            const std::size_t first = text.find(rows);
            if (sent || first == std::string::npos || text.find(rows, first + 1) == std::string::npos) return;
            sent = true;
            kill(pid, signal);
        };
        return options;
    }
    std::string written() { return sql(dataset, "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C IS NOT NULL"); }

    std::string dataset;
    bool sent = false;
};

TEST_F(Transaction, KillInTheMiddleLeavesNothingOfTheLayer) {
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset}, signalInTheMiddle(SIGKILL));
    ASSERT_TRUE(sent) << outcome.err;
    EXPECT_TRUE(outcome.signalled);
    EXPECT_EQ(written(), "0");
    EXPECT_EQ(sql(dataset, "PRAGMA integrity_check"), "ok");

    const Outcome again = cxml({"symbolize", data("buoys.cxml"), dataset});
    EXPECT_EQ(again.out, "BOYLAT: 200000 rows, 200000 changed\n");
    EXPECT_EQ(written(), "200000");
    expectIntact(dataset);
}

TEST_F(Transaction, InterruptRollsBackAndKeepsFinishedLayers) {
    addBuoys(dataset, "LIGHTS");
    const Outcome outcome =
        cxml({"symbolize", data("two_classes.cxml"), dataset, "LIGHTS", "BOYLAT"}, signalInTheMiddle(SIGINT));
    ASSERT_TRUE(sent) << outcome.err;
    EXPECT_EQ(outcome.status, 130);
    EXPECT_FALSE(outcome.signalled);
    EXPECT_NE(outcome.out.find("LIGHTS: 5 rows, 5 changed\n"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find(" 0 changed; interrupted, rolled back\n"), std::string::npos) << outcome.out;
    EXPECT_EQ(written(), "0");
    EXPECT_EQ(symbols(dataset, "LIGHTS"), "LIGHT LIGHT LIGHT LIGHT LIGHT");
    expectIntact(dataset);
}

TEST_F(Transaction, InterruptReachesARunThatTheShellStartedInTheBackground) {
    ProcessOptions options = signalInTheMiddle(SIGINT);
    options.interruptIgnored = true;
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset}, options);
    ASSERT_TRUE(sent) << outcome.err;
    EXPECT_EQ(outcome.status, 130);
    EXPECT_EQ(written(), "0");
}

TEST_F(Transaction, InterruptRollsResetBack) {
    ASSERT_EQ(cxml({"symbolize", data("buoys.cxml"), dataset}).status, 0);
    const Outcome outcome = cxml({"reset", data("buoys.cxml"), dataset}, signalInTheMiddle(SIGINT));
    ASSERT_TRUE(sent) << outcome.err;
    EXPECT_EQ(outcome.status, 130);
    EXPECT_EQ(written(), "200000");
}

TEST_F(Transaction, FullDiskLeavesNothingOfTheLayerAndSaysSo) {
    ProcessOptions options;
    // Room for a few pages more than the file has: a run over all rows needs much more.
    options.fileSizeLimit = std::filesystem::file_size(dataset) + 64 * 1024;
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset}, options);
    EXPECT_EQ(outcome.status, 2) << outcome.err;
    EXPECT_FALSE(outcome.signalled) << "the limit's signal must not end the program";
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_EQ(outcome.err.rfind("BOYLAT: ", 0), 0U) << outcome.err;
    EXPECT_EQ(written(), "0");
    expectIntact(dataset);
}

}  // namespace
