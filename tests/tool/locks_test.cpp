// A dataset that someone else has locked: waited for as long as was asked, all waits together, and nothing half done.
#include "tool_test.h"

#include <sqlite3.h>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// Another program at the dataset.
class OtherProgram {
public:
    explicit OtherProgram(const std::string& dataset) {
        if (sqlite3_open(dataset.c_str(), &connection_) != SQLITE_OK) throw std::runtime_error(dataset);
        // Even a transaction that has written nothing needs a moment without readers to commit.
        sqlite3_busy_timeout(connection_, 30'000);
    }
    ~OtherProgram() { sqlite3_close(connection_); }
    OtherProgram(const OtherProgram&) = delete;
    OtherProgram& operator=(const OtherProgram&) = delete;

    void run(const std::string& sql) {
        if (sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(connection_));
    }
    // Ends its transaction after a while.
    std::thread endAfter(std::chrono::milliseconds time) {
        return std::thread([this, time] {
            std::this_thread::sleep_for(time);
            run("COMMIT");
        });
    }

private:
    sqlite3* connection_ = nullptr;
};

class Locks : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addBuoys(dataset);
        addBuoys(dataset, "LIGHTS");
    }
    // Both layers without any target field.
    void dropTargets() {
        for (const char* layer : {"BOYLAT", "LIGHTS"})
            for (const char* field : {"SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C"})
                sql(dataset, "ALTER TABLE " + std::string(layer) + " DROP COLUMN " + field);
    }
    Outcome timed(const Arguments& arguments) {
        const auto start = Clock::now();
        Outcome outcome = cxml(arguments);
        took = Clock::now() - start;
        return outcome;
    }

    std::string dataset;
    Clock::duration took{};
};

struct Writer {
    const char* name;
    const char* journal;
    const char* lock;
    std::vector<std::string> command;  // "DATASET" stands for it
    bool bare = false;                 // no target fields yet
};

class OtherWriter : public Locks, public testing::WithParamInterface<Writer> {};

TEST_P(OtherWriter, IsWaitedFor) {
    const Writer& row = GetParam();
    if (row.bare) dropTargets();
    if (row.command.front() == "reset")
        sql(dataset, "UPDATE BOYLAT SET SYMBOL_C = 'A'; UPDATE LIGHTS SET SYMBOL_C = 'A'");
    sql(dataset, std::string("PRAGMA journal_mode = ") + row.journal);
    Arguments arguments{row.command.front(), data("two_classes.cxml"), dataset, "--lock-timeout", "30"};
    arguments.insert(arguments.end(), row.command.begin() + 1, row.command.end());
    OtherProgram other(dataset);
    other.run(row.lock);
    std::thread end = other.endAfter(1s);
    const Outcome outcome = timed(arguments);
    end.join();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::string ends = row.command.front() == "reset" ? "\n" : "; 5 default\n";
    EXPECT_EQ(outcome.out, "BOYLAT: 5 rows, 5 changed" + ends + "LIGHTS: 5 rows, 5 changed" + ends);
    EXPECT_GE(took, 900ms) << "nothing was waited for";
}

INSTANTIATE_TEST_SUITE_P(
    Locks, OtherWriter,
    testing::Values(Writer{"symbolize_delete", "delete", "BEGIN IMMEDIATE", {"symbolize"}},
                    Writer{"symbolize_wal", "wal", "BEGIN IMMEDIATE", {"symbolize"}},
                    Writer{"symbolize_where_delete", "delete", "BEGIN IMMEDIATE", {"symbolize", "--where", "fid > 0"}},
                    Writer{"reset_delete", "delete", "BEGIN IMMEDIATE", {"reset"}},
                    Writer{"reset_wal", "wal", "BEGIN IMMEDIATE", {"reset"}},
                    Writer{"add_fields_delete", "delete", "BEGIN IMMEDIATE", {"symbolize", "--add-fields"}, true},
                    Writer{"add_fields_wal", "wal", "BEGIN IMMEDIATE", {"symbolize", "--add-fields"}, true},
                    Writer{"all_to_itself_delete", "delete", "BEGIN EXCLUSIVE", {"symbolize"}},
                    Writer{
                        "all_to_itself_add_fields", "delete", "BEGIN EXCLUSIVE", {"symbolize", "--add-fields"}, true}),
    [](const auto& row) { return row.param.name; });

TEST_F(Locks, TwoRunsAtOnceBothEndWell) {
    addManyBuoys(newDataset("many.gpkg"), 20000);
    for (const char* journal : {"delete", "wal"}) {
        SCOPED_TRACE(journal);
        const std::string many = inFolder("many.gpkg").string();
        sql(many, std::string("UPDATE BOYLAT SET SYMBOL_C = NULL; PRAGMA journal_mode = ") + journal);
        const Arguments run{"symbolize", data("buoys.cxml"), many, "--lock-timeout", "60"};
        auto first = std::async(std::launch::async, [&] { return cxml(run); });
        const Outcome second = cxml(run);
        EXPECT_EQ(first.get().status, 0);
        EXPECT_EQ(second.status, 0) << second.err;
        EXPECT_EQ(sql(many, "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C IS NULL"), "0");
    }
}

// Opening and the layers' runs would each wait by themselves.
TEST_F(Locks, AllWaitsTogetherTakeNoLongerThanWasAsked) {
    for (const char* lock : {"BEGIN EXCLUSIVE", "BEGIN IMMEDIATE"}) {
        SCOPED_TRACE(lock);
        OtherProgram other(dataset);
        other.run(lock);
        const Outcome outcome = timed({"symbolize", data("two_classes.cxml"), dataset, "--lock-timeout", "1.5"});
        EXPECT_EQ(outcome.status, 2) << outcome.out;
        EXPECT_NE(outcome.err.find("database is locked"), std::string::npos) << outcome.err;
        EXPECT_GE(took, 1400ms);
        EXPECT_LT(took, 2900ms) << "twice as long would be 3 seconds";
    }
}

TEST_F(Locks, NoTimeIsNoWait) {
    OtherProgram other(dataset);
    other.run("BEGIN EXCLUSIVE");
    const Outcome outcome = timed({"symbolize", data("two_classes.cxml"), dataset, "--lock-timeout", "0"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_LT(took, 1500ms);
}

// A reader lets a writer write and not commit.
TEST_F(Locks, ALayerThatCannotBeCommittedDoesNotKeepTheNextOneFromRunning) {
    OtherProgram other(dataset);
    other.run("BEGIN; SELECT count(*) FROM BOYLAT");
    std::thread end = other.endAfter(2500ms);
    // The first layer's commit fails in time, the second one's waits no longer.
    const Outcome refused = cxml({"symbolize", data("two_classes.cxml"), dataset, "--lock-timeout", "0.2"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err, "BOYLAT: " + dataset + ": cannot commit: database is locked\n" + "LIGHTS: " + dataset +
                               ": cannot commit: database is locked\n");
    end.join();
    EXPECT_EQ(symbols(dataset), "- - - - -");
    const Outcome outcome = cxml({"symbolize", data("two_classes.cxml"), dataset});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    expectIntact(dataset);
}

}  // namespace
