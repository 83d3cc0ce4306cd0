// One Ctrl-C ends what takes long within a second: a statement of the database, and the loading of a document.
#include "tool_test.h"

#include <sys/stat.h>
#include <chrono>

namespace {

using namespace std::chrono_literals;

// Gives rows without end.
const std::string endless =
    "(SELECT count(*) FROM (WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n))";

class Interrupt : public ToolTest {
protected:
    // One Ctrl-C after a while.
    Outcome interrupted(Arguments arguments) {
        Arguments command{"timeout", "--foreground", "--preserve-status", "-s", "INT", "-k", "30", "2", CXML_PROGRAM};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const auto start = std::chrono::steady_clock::now();
        Outcome outcome = runProcess(command);
        took = std::chrono::steady_clock::now() - start;
        return outcome;
    }
    void expectEnded(const Outcome& outcome) const {
        EXPECT_EQ(outcome.status, 130) << outcome.err;
        EXPECT_EQ(outcome.err, "cxml: interrupted\n");
        EXPECT_GE(took, 1900ms) << "it was done before";
        EXPECT_LT(took, 3500ms);
    }

    std::chrono::steady_clock::duration took{};
};

TEST_F(Interrupt, EndsAWhereClause) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    const Outcome outcome = interrupted({"symbolize", data("buoys.cxml"), dataset, "--where", "fid > " + endless});
    expectEnded(outcome);
    EXPECT_EQ(outcome.out, "BOYLAT: 0 rows, 0 changed; interrupted, rolled back\n");
    EXPECT_EQ(symbols(dataset), "- - - - -");
    expectIntact(dataset);
}

TEST_F(Interrupt, EndsAQueryRule) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    const std::string document =
        writeFile("query.cxml",
                  "<conditionMap name=\"q\"><featureClass name=\"BOYLAT\"><condition rulename=\"X\">"
                  "<rule type=\"Q\" operator=\"exists\" table=\"MARKS\"><query>fid = " +
                      endless + "</query></rule></condition></featureClass></conditionMap>");
    const Outcome outcome = interrupted({"symbolize", document, dataset});
    expectEnded(outcome);
    EXPECT_EQ(symbols(dataset), "- - - - -");
    expectIntact(dataset);
}

TEST_F(Interrupt, EndsATrigger) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    sql(dataset, "CREATE TRIGGER slow AFTER UPDATE ON BOYLAT BEGIN SELECT " + endless + "; END");
    const Outcome outcome = interrupted({"symbolize", data("buoys.cxml"), dataset});
    expectEnded(outcome);
    EXPECT_EQ(symbols(dataset), "- - - - -");
    expectIntact(dataset);
}

// A pipe that nobody writes to is a document that takes for ever.
TEST_F(Interrupt, EndsTheLoadingOfADocument) {
    const std::string dataset = newDataset();
    const std::string pipe = inFolder("pipe.cxml").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const Arguments& command : {Arguments{"symbolize", pipe, dataset}, Arguments{"reset", pipe, dataset},
                                     Arguments{"check", pipe, dataset}, Arguments{"check", pipe}}) {
        SCOPED_TRACE(command.front());
        const Outcome outcome = interrupted(command);
        expectEnded(outcome);
        EXPECT_EQ(outcome.out, "");
    }
}

TEST_F(Interrupt, LeavesAnObjectForPrograms) {
    const std::string dataset = newDataset();
    const std::string pipe = inFolder("pipe.cxml").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const Arguments& command :
         {Arguments{"symbolize", pipe, dataset, "--json"}, Arguments{"check", pipe, "--json"}}) {
        SCOPED_TRACE(command.front());
        const Outcome outcome = interrupted(command);
        expectEnded(outcome);
        const nlohmann::json parsed = nlohmann::json::parse(outcome.out, nullptr, false);
        ASSERT_FALSE(parsed.is_discarded()) << outcome.out;
        EXPECT_EQ(parsed["document"]["loaded"], false);
        EXPECT_TRUE(parsed[command.front() == "check" ? "findings" : "layers"].empty());
    }
}

}  // namespace
