// A table of a dataset: its description, and reading and writing its rows by object id. What the COM objects work on.
#pragma once

#include "host/geodatabase/base/cell.h"
#include "host/geodatabase/base/refusal.h"
#include "host/geodatabase/base/table_schema.h"
#include "symbology/host_interfaces.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace embedded_host {

class Dataset;

using ObjectIds = std::vector<ObjectId>;
using SharedIds = std::shared_ptr<const ObjectIds>;

/// Rows in ascending object id. No change made while it reads makes it give a row twice or miss one.
class RowReader {
public:
    virtual ~RowReader() = default;
    /// Fills the reader's columns of `cells` (as many as the schema has). \return false at the end.
    virtual bool next(ObjectId& id, Cells& cells) = 0;
    /// Has the rows to come read with these columns.
    virtual void setColumns(const ColumnSet& columns) = 0;
};

/// What a table is called and has.
struct TableDescription {
    std::string name;      // the layer's name
    std::string fullName;  // as the dataset names it, with database and owner on a server
    std::string alias;     // its title where it has one, else its name
    std::string subtypeMetadata;
    bool spatial = false;
    std::shared_ptr<const TableSchema> schema;
};

class Table : public std::enable_shared_from_this<Table> {
public:
    Table(std::shared_ptr<Dataset> dataset, TableDescription description)
        : dataset_(std::move(dataset)), description_(std::move(description)) {}
    virtual ~Table() = default;
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    Dataset& dataset() const noexcept { return *dataset_; }
    const std::string& name() const noexcept { return description_.name; }
    const std::string& fullName() const noexcept { return description_.fullName; }
    const std::string& alias() const noexcept { return description_.alias; }
    /// Whether rows have ids that stay theirs, by which all can be read.
    virtual bool hasKey() const noexcept { return true; }
    bool isSpatial() const noexcept { return description_.spatial; }
    std::shared_ptr<const TableSchema> schema() const noexcept { return description_.schema; }
    /// The layer's metadata item SUBTYPE_FIELD; empty when it has none.
    const std::string& subtypeMetadata() const noexcept { return description_.subtypeMetadata; }
    /// Reads the fields anew, after some were added.
    virtual void refresh() = 0;

    /// The name that begins this table's failures: dataset and layer.
    std::string title() const;

    /// Ascending ids of the rows that satisfy `where` (all when empty), at most one when `onlyOne`.
    /// \param ahead columns that these rows will be fetched with next; empty when they will not be.
    /// \throws HostError for a clause that is not understood.
    virtual ObjectIds select(const std::string& where, bool onlyOne, const ColumnSet& ahead) = 0;
    /// Has the dataset prepare what select() would ask, and asks nothing. Not within a transaction.
    /// \return nothing when it is taken. \throws HostError when that cannot be told.
    virtual std::optional<Refusal> whyRefused(const std::string& where) = 0;
    /// Those of the ascending `ids` that have a row which satisfies `where`.
    virtual ObjectIds restrict(const ObjectIds& ids, const std::string& where) = 0;
    /// The rows of `ids`, all rows when it is null; ids without a row are passed over.
    virtual std::unique_ptr<RowReader> read(const ColumnSet& columns, SharedIds ids) = 0;
    /// Fills `columns` of one row. \return false when there is no such row.
    virtual bool fetch(ObjectId id, const ColumnSet& columns, Cells& cells) = 0;
    /// Writes `columns` of one row and nothing else of it. \return whether that changes the row: not when it stores
    /// these values already, in whatever form. A server may find that out later and then corrects the run's monitor.
    /// \throws HostError, also when there is no such row.
    virtual bool update(ObjectId id, const ColumnSet& columns, const Cells& cells) = 0;

protected:
    void setSchema(std::shared_ptr<const TableSchema> schema) noexcept { description_.schema = std::move(schema); }
    /// Begins every write. \throws HostError when the dataset may not be written.
    void checkWritable() const;
    /// Begins every use of a where clause: what follows a zero would be cut off. \throws HostError
    void checkClause(const std::string& where) const;
    [[noreturn]] void fail(const std::string& why) const;

private:
    std::shared_ptr<Dataset> dataset_;
    TableDescription description_;
};

}  // namespace embedded_host
