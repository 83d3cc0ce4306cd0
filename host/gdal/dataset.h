// An open GDAL dataset with its transaction, shared by the objects that work on it.
#pragma once

#include "host/gdal/clause_guard.h"
#include "host/gdal/gdal_workspace.h"

#include <map>
#include <memory>
#include <set>
#include <string>

class GDALDataset;
class OGRLayer;
struct sqlite3;

namespace embedded_host {

class Table;

class Dataset : public std::enable_shared_from_this<Dataset> {
public:
    using Access = GdalWorkspace::Access;

    /// \throws HostError
    Dataset(std::string name, Access access);
    ~Dataset();
    Dataset(const Dataset&) = delete;
    Dataset& operator=(const Dataset&) = delete;

    const std::string& name() const noexcept { return name_; }
    GDALDataset& gdal() const noexcept { return *gdal_; }
    WorkspaceType type() const noexcept;
    /// GDAL's own connection to the file when it is an SQLite one, else null.
    sqlite3* sqlite() const noexcept { return sqlite_; }
    /// Watches over the connection, when there is one.
    ClauseGuard& clauseGuard() noexcept { return clauseGuard_; }
    /// Whether the dataset itself, not GDAL, evaluates where clauses and SQL.
    bool hasSql() const noexcept { return type() != workspaceFileSystem; }

    /// The layer, by its exact name first; null when there is none.
    OGRLayer* findLayer(const std::string& layer) const;
    /// \throws HostError when there is no such layer.
    std::shared_ptr<Table> table(const std::string& layer);

    void begin();
    void commit();
    void rollback() noexcept;
    /// A number for the transaction that is open, no other's; 0 without one.
    long transaction() const noexcept { return inTransaction_ && !transactionLost() ? transactions_ : 0; }

    /// \throws StatusError when the dataset was opened for reading, or its transaction has been lost.
    void checkWritable() const;
    /// A write of this table reached the dataset; its listing shows it at commit.
    void noteChange(const std::string& table);

    // Null when nobody watches.
    RunMonitor* monitor = nullptr;
    // The COM workspace while it is alive, so that everyone gets the same one.
    IWorkspace* workspaceObject = nullptr;

private:
    bool isGeoPackage() const;
    // A full disk can end the transaction behind our back: nothing may be written after that.
    bool transactionLost() const noexcept;
    void lockForWriting();
    void writeChangeTimes();

    struct Closer {
        void operator()(GDALDataset* dataset) const noexcept;
    };

    std::string name_;
    Access access_;
    ClauseGuard clauseGuard_;  // outlives the connection
    std::unique_ptr<GDALDataset, Closer> gdal_;
    sqlite3* sqlite_ = nullptr;
    bool inTransaction_ = false;
    long transactions_ = 0;  // that were begun
    std::set<std::string> changedTables_;
    std::map<std::string, std::weak_ptr<Table>> tables_;
};

/// Runs one statement that gives no rows. \throws HostError with GDAL's words.
void executeSql(GDALDataset& gdal, const std::string& sql);

}  // namespace embedded_host
