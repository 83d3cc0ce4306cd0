// The connection that GDAL has open to an SQLite file, and its transaction.
#pragma once

#include "host/geodatabase/sqlite/clause_guard.h"
#include "host/geodatabase/sqlite/lock_wait.h"

#include <atomic>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

struct sqlite3;

namespace embedded_host {

/// Transactions are the connection's own: GDAL counts its own and is not told when one ends by itself.
class SqliteConnection {
public:
    /// Sets the connection up. \param guard, wait outlive it, and so does `stop` (null: nothing ends statements).
    SqliteConnection(sqlite3* handle, ClauseGuard& guard, LockWait& wait, const std::atomic<bool>* stop);
    /// A transaction that nobody finished did not happen.
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    sqlite3* handle() const noexcept { return handle_; }
    ClauseGuard& clauseGuard() const noexcept { return clauseGuard_; }
    bool isReadOnly() const noexcept;
    /// False when the file's name has become another file's since the connection was set up, or nobody's.
    bool hasItsFile() const;

    /// What the connection has done so far: two states are equal when no row changed between them.
    struct State {
        long transaction = 0;
        int changes = 0;
        bool operator==(const State&) const = default;
    };
    State state() const noexcept;

    /// Takes the write lock before anything is read: what has been read already is no longer waited for.
    /// \throws HostError with SQLite's words; there is no transaction then.
    void begin();
    /// Begins a transaction that only reads: it sees one state of the file. \throws HostError with SQLite's words
    void beginReading();
    /// Writes what has changed. \throws HostError; the transaction is open then.
    void commit();
    /// Never throws. Does nothing outside a transaction.
    void rollback() noexcept;
    bool inTransaction() const noexcept { return inTransaction_; }
    /// A number for the transaction that is open, no other's; 0 without one.
    long transaction() const noexcept { return inTransaction_ && !transactionLost() ? transactions_ : 0; }
    /// A full disk can end the transaction behind our back: nothing may be written after that.
    bool transactionLost() const noexcept;

    /// A write of this table reached the connection.
    void noteChange(const std::string& table) { changedTables_.insert(table); }
    /// The tables that changed since begin().
    const std::set<std::string>& changedTables() const noexcept { return changedTables_; }
    /// Whether the triggers of the file fire, until the transaction's end; all others' go on doing so.
    void setTriggers(bool fire) noexcept;

private:
    // Device and number of a file: another one may get its name while we have it open.
    struct FileIdentity {
        std::uint64_t device;
        std::uint64_t number;
        bool operator==(const FileIdentity&) const = default;
    };

    // The file that now has the name of ours; nothing when there is none.
    std::optional<FileIdentity> fileNow() const;
    void endStatementsOn(const std::atomic<bool>& stop) noexcept;
    void openJournal();

    sqlite3* handle_;
    ClauseGuard& clauseGuard_;
    std::optional<FileIdentity> file_;
    bool inTransaction_ = false;
    bool triggersFire_ = true;
    long transactions_ = 0;  // that were begun
    std::set<std::string> changedTables_;
};

}  // namespace embedded_host
