// What a person at a terminal sees.
#include "tool_test.h"

#include <gmock/gmock.h>
#include <sstream>

namespace {

// What stands on the lines of a terminal that was sent `text`: carriage returns overwrite.
std::vector<std::string> screen(const std::string& text) {
    std::vector<std::string> lines(1);
    std::size_t column = 0;
    for (const char c : text) {
        if (c == '\n') {
            lines.emplace_back();
        } else if (c == '\r') {
            column = 0;
        } else {
            lines.back().resize(std::max(lines.back().size(), column + 1), ' ');
            lines.back()[column++] = c;
        }
    }
    for (std::string& line : lines) line.erase(line.find_last_not_of(' ') + 1);
    return lines;
}

class Terminal : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        options.errorsToTerminal = true;
    }
    std::string dataset;
    ProcessOptions options;
};

TEST_F(Terminal, ShowsProgressWithRateAndTimeLeft) {
    addManyBuoys(dataset, 1'000'000);  // a rate is shown once there has been time to measure it
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset}, options);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "BOYLAT: 1000000 rows, 1000000 changed; 1000000 rule\n");
    EXPECT_THAT(outcome.err, testing::ContainsRegex("\rBOYLAT \\[#+\\.+\\] +[0-9]+ %  [0-9]+ of 1000000 rows  "
                                                    "[0-9]+ rows/s  [0-9]+:[0-9][0-9] left"));
    EXPECT_EQ(screen(outcome.err), std::vector<std::string>{""}) << "the bar is gone at the end";
}

TEST_F(Terminal, NarrowTerminalIsNeverOverflowed) {
    addManyBuoys(dataset, 100'000);
    options.columns = 24;
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset}, options);
    EXPECT_EQ(outcome.status, 0);
    ASSERT_NE(outcome.err.find("BOYLAT"), std::string::npos);
    std::istringstream frames(outcome.err);
    for (std::string frame; std::getline(frames, frame, '\r');) EXPECT_LT(frame.size(), 24U) << frame;
}

TEST_F(Terminal, MessagesAreNotTornByTheBar) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT, SYMBOL_C TEXT",
             "(CATLAM) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100000) SELECT 1 FROM "
             "n");
    const Outcome outcome = cxml({"symbolize", data("missing_field.cxml"), dataset}, options);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(screen(outcome.err),
              (std::vector<std::string>{"BOYLAT: Field 'NOSUCH' referenced in CXML does not exist on BOYLAT.",
                                        "BOYLAT: Rule referenced field 'NOSUCH' not found on 'BOYLAT'", ""}));
    EXPECT_EQ(outcome.out,
              "BOYLAT: 100000 rows, 0 changed; 100000 none; 100000 times: Field 'NOSUCH' referenced in CXML does not "
              "exist on BOYLAT.; 100000 times: Rule referenced field 'NOSUCH' not found on 'BOYLAT'\n");
}

TEST_F(Terminal, QuietAndJsonShowNoBar) {
    addManyBuoys(dataset, 20'000);
    for (const char* option : {"--quiet", "--json"}) {
        const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset, option}, options);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "") << option;
    }
}

TEST_F(Terminal, WithoutTerminalThereIsNoBar) {
    addManyBuoys(dataset, 20'000);
    EXPECT_EQ(cxml({"symbolize", data("buoys.cxml"), dataset}).err, "");
}

}  // namespace
