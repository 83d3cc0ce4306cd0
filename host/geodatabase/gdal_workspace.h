// GdalWorkspace: a dataset that GDAL opens or that is on a PostgreSQL server, as the tools of the embedded host see it.
// The library sees the same dataset through the COM interfaces of host_interfaces.h, which the objects handed out here
// implement.
#pragma once

#include "host/host_error.h"
#include "symbology/host_interfaces.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace embedded_host {

/// Rows that have something in common: how many, and the first ids.
struct RowList {
    static constexpr std::size_t mostIds = 20;

    std::int64_t rows = 0;
    std::vector<ObjectId> ids;  // at most `mostIds`

    void add(ObjectId id) {
        ++rows;
        if (ids.size() < mostIds) ids.push_back(id);
    }
};

/// What the update cursors of a workspace tell about the run that uses them. The library ignores some failures of its
/// host (a row that could not be written back, a read error in mid-run); they are kept here so that nothing is lost.
struct RunMonitor {
    std::int64_t rows = 0;     // rows that cursors gave
    std::int64_t changed = 0;  // rows that were written back
    std::string failure;       // the first read or write that failed, with GDAL's words; empty when none did
    RowList unreadable;        // rows with a value that was asked for and is not of its field's type
    RowList refused;           // rows with a value that was put and that its field does not take
    const std::atomic<bool>* stop = nullptr;            // when it turns true, NextRow answers E_ABORT
    std::function<void(std::int64_t rows)> onProgress;  // called every few thousand rows
    // Called with each row before a cursor gives it; what it puts is written with the row. It may throw HostError.
    std::function<void(IRow* row)> onRow;
};

struct LayerInfo {
    std::string name;   // the table's name
    std::string alias;  // its title where it has one, else its name
    bool spatial;
    std::int64_t rowCount;  // -1 when counting it is not cheap
};

struct WorkspaceOptions {
    // Seconds to wait for what someone else has locked, all waits together; on a server each, and 0 is for ever.
    std::optional<double> lockTimeout;
    const std::atomic<bool>* stop = nullptr;  // when it turns true, what takes long ends
};

enum class FieldKind { Text, Real };

struct FieldRequest {
    std::string name;
    FieldKind kind;
};

/// One open dataset. Used from one thread. COM objects that it handed out keep what they need of it alive, but cursors
/// must be released before commit() or rollback().
class GdalWorkspace {
public:
    enum class Access { Read, Update };

    /// \param dataset a path or a GDAL connection string. \throws HostError
    static std::shared_ptr<GdalWorkspace> open(const std::string& dataset, Access access,
                                               const WorkspaceOptions& options = {});

    virtual ~GdalWorkspace() = default;

    /// The dataset in messages: its path, or the database without anything secret.
    virtual const std::string& name() const = 0;
    virtual WorkspaceType type() const = 0;

    /// All tables of the dataset, spatial or not, in the dataset's order.
    virtual std::vector<LayerInfo> layers() = 0;

    /// What layers() calls the layer that someone means with a name: on a server it may have its owner, quotes and
    /// another case; elsewhere, and for a name that means none, it is the name. \throws HostError
    virtual std::string layerName(const std::string& name) = 0;

    /// \param subtypeField the class's subtype field; without one the layer's metadata item SUBTYPE_FIELD, if any.
    /// \throws HostError when there is no such layer or it has no such field.
    virtual CComPtr<IFeatureClass> openFeatureClass(const std::string& layer,
                                                    const std::optional<std::string>& subtypeField) = 0;

    /// The rows that satisfy an SQL where clause and, when ids are given, have one of them.
    /// \throws HostError when the clause is not understood. Ids without a row are left out.
    virtual CComPtr<ISelectionSet> select(const std::string& layer, const std::optional<std::string>& where,
                                          const std::optional<std::vector<ObjectId>>& ids) = 0;

    /// The names of the layer's fields, in order, without key and geometry.
    virtual std::vector<std::string> fieldNames(const std::string& layer) = 0;

    /// The type of the values that rows give for the field (VT_EMPTY when it cannot be read), found as rows find it:
    /// the exact name first, then the name without regard to case. Nothing when the layer has no such field.
    /// \throws HostError when there is no such layer.
    virtual std::optional<VARTYPE> fieldType(const std::string& layer, const std::string& field) = 0;

    /// Reads all rows. Those whose value of a field cannot be read, for each of the fields where there are any; fields
    /// that the layer does not have are passed over. A server's columns hold only what is of their type: none are read.
    /// \throws HostError
    virtual std::vector<std::pair<std::string, RowList>> unreadableValues(const std::string& layer,
                                                                          const std::vector<std::string>& fields) = 0;

    /// Adds those of the fields that the layer does not have (names compared without regard to case), all or none.
    /// \return how many were added. \throws HostError
    virtual std::size_t addFields(const std::string& layer, const std::vector<FieldRequest>& fields) = 0;

    /// All changes from begin() on reach the dataset together, at commit(). \throws HostError
    virtual void begin() = 0;
    virtual void commit() = 0;
    /// Never throws; the dataset is as it was at begin(). Does nothing outside a transaction.
    virtual void rollback() noexcept = 0;

    /// Cursors opened from now on report to `monitor` (null: to nobody). It must outlive them.
    virtual void watch(RunMonitor* monitor) = 0;

    /// The dataset as the library sees it.
    virtual CComPtr<IWorkspace> workspace() = 0;
};

/// Imports S-57 cells (each with its update files) into a new GeoPackage: a layer per object class, list attributes as
/// comma-separated text, soundings split, text as UTF-8, field widths not limited. Every feature has its cell's name in
/// the column DSNM; the table DSID has a row for each cell.
/// \param progress called with the share done, 0 to 1; may be empty; what it throws ends the import and leaves it.
/// \param message called with what was imported otherwise than it is in the cell, one line; may be empty.
/// \return names of the layers and their row counts.
/// \throws HostError naming the cell, its update or the dataset; a dataset that could not be finished is removed.
std::vector<LayerInfo> importCells(const std::vector<std::string>& cells, const std::string& dataset,
                                   const std::function<void(double)>& progress,
                                   const std::function<void(const std::string&)>& message = {});

/// COM objects of the embedded host that are alive. For tests.
std::size_t liveObjects();

/// \param handler is told, on whatever thread that happens, when GDAL cannot go on and would end the process (it does
/// when the handler returns): as a rule it has found no memory. The handler allocates nothing.
void onFatalError(void (*handler)(const char* message) noexcept) noexcept;

}  // namespace embedded_host
