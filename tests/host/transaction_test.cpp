// A layer's run is one transaction: all of its changes reach the dataset or none.
#include "host/chart.h"
#include "host/child.h"

#include <sqlite3.h>
#include <sys/resource.h>
#include <csignal>
#include <fstream>
#include <iterator>

namespace host_test {
namespace {

class Transactions : public ChartTest {
protected:
    static void symbolizeAll(GdalWorkspace& workspace, const std::string& symbol, RunMonitor* monitor = nullptr) {
        workspace.watch(monitor);
        const CComPtr<ITable> table = as<ITable>(workspace.openFeatureClass("BOYLAT", std::nullopt));
        CComPtr<ICursor> cursor;
        if (FAILED(table->Update(filter({"SYMBOL_C"}), VARIANT_FALSE, &cursor))) throw HostError(errorText());
        CComPtr<IRow> row;
        while (cursor->NextRow(&row) == S_OK) {
            row->put_Value(fieldIndex(row, "SYMBOL_C"), variant(symbol));
            cursor->UpdateRow(row);  // as the library does: its status is not looked at
            row.Release();
        }
        workspace.watch(nullptr);
    }
    std::string changedRows() { return sqlite(path_, "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C <> 'old'").front(); }
    std::string integrity() { return sqlite(path_, "PRAGMA integrity_check").front(); }
};

TEST_F(Transactions, CommitMakesTheChangesStay) {
    open(10);
    workspace_->begin();
    symbolizeAll(*workspace_, "new");
    EXPECT_EQ(changedRows(), "0");
    workspace_->commit();
    EXPECT_EQ(changedRows(), "10" /* with the rows that had none */);
    workspace_->begin();
    workspace_->commit();
}

TEST_F(Transactions, CommitTellsTheGeoPackageWhenItsLayerChanged) {
    open(1);
    const std::string sql = "SELECT last_change FROM gpkg_contents WHERE table_name = 'BOYLAT'";
    sqlite(path_, "UPDATE gpkg_contents SET last_change = '2000-01-01T00:00:00.000Z'");
    workspace_->begin();
    symbolizeAll(*workspace_, "new");
    workspace_->commit();
    EXPECT_NE(sqlite(path_, sql).front(), "2000-01-01T00:00:00.000Z");
    EXPECT_EQ(sqlite(path_, "SELECT last_change FROM gpkg_contents WHERE table_name = 'NOTES'").front(),
              "2000-01-01T00:00:00.000Z");
}

TEST_F(Transactions, RollbackTakesThemBack) {
    open(10);
    workspace_->begin();
    symbolizeAll(*workspace_, "new");
    workspace_->rollback();
    EXPECT_EQ(changedRows(), "0");
    workspace_->rollback();
    symbolizeAll(*workspace_, "new");
    EXPECT_EQ(changedRows(), "10");
}

TEST_F(Transactions, ARunThatChangesNothingLeavesEveryByte) {
    const auto bytes = [&] {
        std::ifstream file(path_, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    makeChart(path_, 10);
    const std::string before = bytes();
    workspace_ = GdalWorkspace::open(path_, Access::Update);
    workspace_->begin();
    for (CComPtr<ICursor> cursor = update(); next(cursor);) continue;
    workspace_->commit();
    workspace_.reset();
    EXPECT_TRUE(bytes() == before);
}

TEST_F(Transactions, AWorkspaceThatIsDroppedRollsBack) {
    open(10);
    workspace_->begin();
    symbolizeAll(*workspace_, "new");
    const CComPtr<IWorkspace> held = workspace_->workspace();
    workspace_.reset();
    EXPECT_EQ(changedRows(), "0");
}

TEST_F(Transactions, AreBegunAndEndedInPairs) {
    open(1);
    EXPECT_THROW(workspace_->commit(), HostError);
    workspace_->begin();
    EXPECT_THROW(workspace_->begin(), HostError);
    workspace_->commit();
    EXPECT_THROW(GdalWorkspace::open(path_, Access::Read)->begin(), HostError);
}

TEST_F(Transactions, AnotherWriterIsNoticedAtBegin) {
    open(1);
    const auto other = GdalWorkspace::open(path_, Access::Update);
    other->begin();
    symbolizeAll(*other, "other");
    try {
        workspace_->begin();
        ADD_FAILURE();
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(), path_ + ": cannot be written: database is locked");
    }
    other->commit();
    workspace_->begin();
    workspace_->commit();
}

TEST_F(Transactions, ACommitThatFailsIsRolledBackAndTheNextOneWorks) {
    makeChart(path_, 10);
    sqlite(path_, "UPDATE BOYLAT SET SYMBOL_C = 'old'");
    workspace_ = GdalWorkspace::open(path_, Access::Update, {.lockTimeout = 0.1});
    sqlite3* reader = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &reader), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT * FROM NOTES", nullptr, nullptr, nullptr), SQLITE_OK);
    workspace_->begin();
    symbolizeAll(*workspace_, "new");
    try {
        workspace_->commit();
        ADD_FAILURE() << "a reader was there";
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(), path_ + ": cannot commit: database is locked");
    }
    sqlite3_close(reader);
    EXPECT_EQ(changedRows(), "0");
    workspace_->begin();
    symbolizeAll(*workspace_, "new");
    workspace_->commit();
    EXPECT_EQ(changedRows(), "10");
}

TEST_F(Transactions, AfterAKillInMidRunTheFileHoldsNoneOfTheChanges) {
    makeChart(path_, 20000);
    sqlite(path_, "UPDATE BOYLAT SET SYMBOL_C = 'old'");
    const ChildResult result = killedWhenReady([&](const std::function<void()>& ready) {
        const auto workspace = GdalWorkspace::open(path_, Access::Update);
        workspace->begin();
        // Long enough that pages reach the file before the end of the transaction.
        symbolizeAll(*workspace, std::string(500, 'n'));
        ready();
    });
    ASSERT_EQ(result.output, "ready");
    ASSERT_EQ(result.signal, SIGKILL);
    // The journal that the killed process left is what the next reader recovers from.
    EXPECT_EQ(access((path_ + "-journal").c_str(), F_OK), 0);
    EXPECT_EQ(changedRows(), "0");
    EXPECT_EQ(integrity(), "ok");
    workspace_ = GdalWorkspace::open(path_, Access::Update);
    workspace_->begin();
    symbolizeAll(*workspace_, "new");
    workspace_->commit();
    EXPECT_EQ(changedRows(), "20000");
}

TEST_F(Transactions, AFullDiskLeavesNothingHalfWritten) {
    makeChart(path_, 20000);
    sqlite(path_, "UPDATE BOYLAT SET SYMBOL_C = 'old'");
    const ChildResult result = inChild([&]() -> std::string {
        std::signal(SIGXFSZ, SIG_IGN);
        const auto workspace = GdalWorkspace::open(path_, Access::Update);
        constexpr rlim_t size = 6 * 1024 * 1024;
        const rlimit limit{size, size};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return "no limit";
        workspace->begin();
        RunMonitor monitor;
        symbolizeAll(*workspace, std::string(2000, 'n'), &monitor);
        if (monitor.failure.empty()) return "no failure noticed";
        try {
            workspace->commit();
            return "committed";
        } catch (const HostError& error) {
            return monitor.failure + "|" + error.what();
        }
    });
    EXPECT_TRUE(result.output.starts_with(path_ + ", layer BOYLAT: row ")) << result.output;
    EXPECT_NE(result.output.find("cannot be written: "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("|" + path_ + ": cannot commit: "), std::string::npos) << result.output;
    EXPECT_EQ(changedRows(), "0");
    EXPECT_EQ(integrity(), "ok");
}

TEST_F(Transactions, ADiskThatIsFullAtTheCommitLeavesNothingHalfWritten) {
    makeChart(path_, 2000);
    sqlite(path_, "UPDATE BOYLAT SET SYMBOL_C = 'old'");
    const ChildResult result = inChild([&]() -> std::string {
        std::signal(SIGXFSZ, SIG_IGN);
        const auto workspace = GdalWorkspace::open(path_, Access::Update);
        workspace->begin();
        symbolizeAll(*workspace, std::string(100, 'n'));
        const rlimit limit{8192, 8192};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return "no limit";
        workspace->commit();
        return "committed";
    });
    EXPECT_TRUE(result.output.starts_with("exception: " + path_ + ": cannot commit: ")) << result.output;
    EXPECT_EQ(changedRows(), "0");
    EXPECT_EQ(integrity(), "ok");
}

}  // namespace
}  // namespace host_test
