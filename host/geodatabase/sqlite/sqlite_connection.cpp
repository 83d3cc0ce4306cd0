// Setting a connection up, and its transactions.
#include "host/geodatabase/sqlite/sqlite_connection.h"

#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <sqlite3.h>
#include <sys/stat.h>

namespace embedded_host {

SqliteConnection::SqliteConnection(sqlite3* handle, ClauseGuard& guard, LockWait& wait, const std::atomic<bool>* stop)
    : handle_(handle), clauseGuard_(guard) {
    // Text between double quotes is a name, never a text: a misspelt field is an error, not a comparison with its name.
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    guard.watch(handle_);
    file_ = fileNow();
    wait.watch(handle_);
    if (stop) endStatementsOn(*stop);
}

SqliteConnection::~SqliteConnection() {
    rollback();
}

bool SqliteConnection::isReadOnly() const noexcept {
    return sqlite3_db_readonly(handle_, "main") == 1;
}

std::optional<SqliteConnection::FileIdentity> SqliteConnection::fileNow() const {
    const char* const name = sqlite3_db_filename(handle_, "main");
    struct stat status{};
    if (!name || stat(name, &status) != 0) return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

bool SqliteConnection::hasItsFile() const {
    return !file_ || fileNow() == file_;
}

void SqliteConnection::endStatementsOn(const std::atomic<bool>& stop) noexcept {
    constexpr int steps = 10'000;  // of SQLite's machine: some tenths of a millisecond
    sqlite3_progress_handler(
        handle_, steps,
        [](void* flag) { return static_cast<const std::atomic<bool>*>(flag)->load(std::memory_order_relaxed) ? 1 : 0; },
        const_cast<std::atomic<bool>*>(&stop));
}

SqliteConnection::State SqliteConnection::state() const noexcept {
    return {transaction(), sqlite3_total_changes(handle_)};
}

bool SqliteConnection::transactionLost() const noexcept {
    return inTransaction_ && sqlite3_get_autocommit(handle_) != 0;
}

void SqliteConnection::setTriggers(bool fire) noexcept {
    if (fire == triggersFire_) return;
    triggersFire_ = fire;
    // A setting of this connection, nothing that the file knows of. SQLite prepares its statements anew.
    sqlite3_db_config(handle_, SQLITE_DBCONFIG_ENABLE_TRIGGER, fire ? 1 : 0, nullptr);
}

void SqliteConnection::openJournal() {
    // A folder where no journal can be made shows now and not at the first row: the file's version is written anew, as
    // it is.
    SqliteStatement version(handle_, "PRAGMA user_version");
    version.step();
    const std::string same = std::to_string(version.integer(0));
    version.reset();
    SqliteStatement(handle_, "PRAGMA user_version = " + same).step();
}

void SqliteConnection::begin() {
    try {
        SqliteStatement(handle_, "BEGIN IMMEDIATE").step();
        inTransaction_ = true;
        ++transactions_;
        changedTables_.clear();
        openJournal();
    } catch (const HostError&) {
        rollback();
        throw;
    }
}

void SqliteConnection::beginReading() {
    SqliteStatement(handle_, "BEGIN").step();
    inTransaction_ = true;
    ++transactions_;
    changedTables_.clear();
}

void SqliteConnection::commit() {
    SqliteStatement(handle_, "COMMIT").step();
    inTransaction_ = false;
    changedTables_.clear();
}

void SqliteConnection::rollback() noexcept {
    if (!inTransaction_) return;
    inTransaction_ = false;
    changedTables_.clear();
    setTriggers(true);
    // It fails when the database has rolled back by itself.
    static_cast<void>(sqlite3_exec(handle_, "ROLLBACK", nullptr, nullptr, nullptr));
}

}  // namespace embedded_host
