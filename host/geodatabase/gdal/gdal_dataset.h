// A dataset that GDAL opens: a GeoPackage or another file.
#pragma once

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/gdal/dataset_description.h"
#include "host/geodatabase/gdal/gdal_open.h"
#include "host/geodatabase/sqlite/clause_guard.h"
#include "host/geodatabase/sqlite/lock_wait.h"
#include "host/geodatabase/sqlite/sqlite_connection.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class GDALDataset;
class OGRLayer;
struct sqlite3;

namespace embedded_host {

/// Read through GDAL, or on GDAL's own connection where it is an SQLite file. Only those are written.
class GdalDataset final : public Dataset {
public:
    /// \throws HostError
    GdalDataset(const std::string& name, Access access, const WorkspaceOptions& options);
    ~GdalDataset() override;

    GDALDataset& gdal() const noexcept { return *gdal_; }
    /// GDAL's own connection to the file when it is an SQLite one, else null.
    sqlite3* sqlite() const noexcept { return connection_ ? connection_->handle() : nullptr; }
    /// Watches over the connection, when there is one.
    ClauseGuard& clauseGuard() noexcept { return clauseGuard_; }
    /// Whether the dataset itself, not GDAL, evaluates where clauses and SQL.
    bool hasSql() const noexcept { return type() != workspaceFileSystem; }

    WorkspaceType type() const noexcept override;
    std::vector<Entry> entries() override { return description_.entries(); }
    std::optional<Entry> find(const std::string& layer) override { return description_.find(layer); }
    std::shared_ptr<Table> table(const std::string& layer) override;
    std::int64_t rowCount(const std::string& layer) override { return description_.rowCount(layer); }
    void addFields(Table& table, const std::vector<FieldRequest>& requests) override;
    void expectStyles(bool createTable) override;
    ShapeValues shapeValues(const std::string& layer, const std::string& field) override;
    std::vector<KeptDefault> writeStyles(const std::vector<StyledLayer>& layers) override;
    void begin() override;
    void commit() override;
    void rollback() noexcept override;
    void checkWritable() const override;
    /// A write of this table reached the dataset, which is open for update; its listing shows it at commit.
    void noteChange(const std::string& table) { connection_->noteChange(table); }

private:
    std::shared_ptr<Table> makeTable(OGRLayer& layer);
    void createFields(Table& table, const std::vector<FieldRequest>& requests);
    void writeChangeTimes();
    std::string geometryColumn(const std::string& layer) const;

    // These outlive the connection.
    LockWait lockWait_;
    ClauseGuard clauseGuard_;
    GdalHandle gdal_;
    DatasetDescription description_;
    std::optional<SqliteConnection> connection_;  // of an SQLite file; ends before GDAL closes it
    std::map<std::string, std::weak_ptr<Table>> tables_;
};

/// Runs one statement that gives no rows. \throws HostError with GDAL's words.
void executeSql(GDALDataset& gdal, const std::string& sql);

}  // namespace embedded_host
