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
    EXPECT_EQ(again.out, "BOYLAT: 200000 rows, 200000 changed; 200000 rule\n");
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
    EXPECT_NE(outcome.out.find("LIGHTS: 5 rows, 5 changed; 5 default\n"), std::string::npos) << outcome.out;
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

// What an expression does to the dataset's file in the middle of the run.
struct Replacement {
    const char* name;
    const char* python;  // FILE stands for the dataset, OTHER for another one
};

void PrintTo(const Replacement& replacement, std::ostream* out) {
    *out << replacement.name;
}

class ReplacedDataset : public ToolTest, public testing::WithParamInterface<Replacement> {};

TEST_P(ReplacedDataset, IsNoticedAtTheEnd) {
    const std::string dataset = newDataset();
    const std::string other = newDataset("other.gpkg");
    addBuoys(dataset);
    addBuoys(other);
    std::string python = GetParam().python;
    for (const auto& [word, path] : {std::pair("OTHER", other), std::pair("FILE", dataset)})
        for (std::size_t at = python.find(word); at != std::string::npos; at = python.find(word))
            python.replace(at, std::string(word).size(), "'" + path + "'");
    const std::string document = writeFile("replace.cxml",
                                           "<conditionMap name='x'><featureClass name='BOYLAT'><condition "
                                           "rulename='NEW' type='2' field='COLOUR'><expression><![CDATA["
                                           "import os\ndef Generate(CATLAM):\n    if os.path.exists('" +
                                               other + "'):\n        " + python +
                                               "\n    return 'x'\n]]></expression></condition></featureClass>"
                                               "</conditionMap>");
    const Outcome outcome = cxml({"symbolize", document, dataset});
    EXPECT_EQ(outcome.status, 2) << outcome.err;
    EXPECT_EQ(outcome.out, "BOYLAT: 5 rows, 0 changed; failed, rolled back\n");
    EXPECT_EQ(outcome.err,
              "BOYLAT: " + dataset +
                  ": cannot commit: another file has taken the place of the one that was opened, or it has "
                  "been removed\n");
    if (std::filesystem::exists(dataset)) {
        EXPECT_EQ(symbols(dataset), "- - - - -");
    }
}

const Replacement replacements[] = {
    {"Renamed", "os.replace(OTHER, FILE)"},
    {"Removed", "os.remove(FILE); os.remove(OTHER)"},
    {"RemovedAndMadeAnew", "os.remove(FILE); os.rename(OTHER, FILE)"},
};

INSTANTIATE_TEST_SUITE_P(Transaction, ReplacedDataset, testing::ValuesIn(replacements),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
