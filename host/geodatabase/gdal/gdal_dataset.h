// A dataset that GDAL opens: a GeoPackage or another file.
#pragma once

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/sqlite/clause_guard.h"
#include "host/geodatabase/sqlite/lock_wait.h"

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

class GDALDataset;
class OGRLayer;
struct sqlite3;

namespace embedded_host {

class GdalDataset final : public Dataset {
public:
    /// \throws HostError
    GdalDataset(const std::string& name, Access access, const WorkspaceOptions& options);
    ~GdalDataset() override;

    GDALDataset& gdal() const noexcept { return *gdal_; }
    /// GDAL's own connection to the file when it is an SQLite one, else null.
    sqlite3* sqlite() const noexcept { return sqlite_; }
    /// Watches over the connection, when there is one.
    ClauseGuard& clauseGuard() noexcept { return clauseGuard_; }
    /// Whether the dataset itself, not GDAL, evaluates where clauses and SQL.
    bool hasSql() const noexcept { return type() != workspaceFileSystem; }
    /// The layer, by its exact name first; null when there is none.
    OGRLayer* findLayer(const std::string& layer);

    WorkspaceType type() const noexcept override;
    std::vector<Entry> entries() override;
    std::optional<Entry> find(const std::string& layer) override;
    std::shared_ptr<Table> table(const std::string& layer) override;
    std::int64_t rowCount(const std::string& layer) override;
    void addFields(Table& table, const std::vector<FieldRequest>& requests) override;
    void begin() override;
    void commit() override;
    void rollback() noexcept override;
    /// A number for the transaction that is open, no other's; 0 without one.
    long transaction() const noexcept { return inTransaction_ && !transactionLost() ? transactions_ : 0; }
    void checkWritable() const override;
    /// A write of this table reached the dataset; its listing shows it at commit.
    void noteChange(const std::string& table);
    /// Whether the triggers of the file fire, until the transaction's end; all others' go on doing so.
    void setTriggers(bool fire) noexcept;

private:
    // Device and number of a file: another one may get its name while we have it open.
    struct FileIdentity {
        std::uint64_t device;
        std::uint64_t number;
        bool operator==(const FileIdentity&) const = default;
    };

    // Runs `question`. Whatever GDAL or the database says against it is a failure, of the run too: what cannot be read
    // is not what is not there.
    template <class Question>
    auto described(Question&& question);
    void checkLastStatement() const;
    [[noreturn]] void failForMissing(const std::string& layer);
    void endStatementsOn(const std::atomic<bool>& stop) noexcept;
    // Tables that the contents name and GDAL does not show.
    std::vector<Entry> hiddenEntries();
    bool isGeoPackage() const;
    // The file that now has the name of ours; nothing when there is none.
    std::optional<FileIdentity> fileNow() const;
    // A full disk can end the transaction behind our back: nothing may be written after that.
    bool transactionLost() const noexcept;
    void createFields(Table& table, const std::vector<FieldRequest>& requests);
    void openJournal();
    void writeChangeTimes();

    struct Closer {
        void operator()(GDALDataset* dataset) const noexcept;
    };

    // These outlive the connection.
    LockWait lockWait_;
    ClauseGuard clauseGuard_;
    std::unique_ptr<GDALDataset, Closer> gdal_;
    sqlite3* sqlite_ = nullptr;
    std::optional<FileIdentity> file_;
    bool inTransaction_ = false;
    bool triggersFire_ = true;
    long transactions_ = 0;  // that were begun
    std::set<std::string> changedTables_;
    std::map<std::string, std::weak_ptr<Table>> tables_;
};

/// Runs one statement that gives no rows. \throws HostError with GDAL's words.
void executeSql(GDALDataset& gdal, const std::string& sql);

}  // namespace embedded_host
