// StreamTable: the rows of a stream as a table of the embedded host.
#pragma once

#include "host/arrow/stream_batch.h"
#include "host/arrow/stream_schema.h"
#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/base/table.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace embedded_host {

/// Where batches come from and go to.
class BatchFlow {
public:
    virtual ~BatchFlow() = default;
    /// \return nothing at the end. \throws HostError
    virtual std::optional<nanoarrow::UniqueArray> next() = 0;
    /// \throws HostError when nobody wants more.
    virtual void give(nanoarrow::UniqueArray batch) = 0;
};

/// The dataset that a stream's table is in: that table, and the related ones of another dataset. Nothing of it can be
/// rolled back; batches that are given away stay given.
class StreamDataset final : public Dataset {
public:
    /// \param related where other tables are; null for none.
    StreamDataset(std::string layer, std::shared_ptr<Dataset> related);

    const std::shared_ptr<Dataset>& related() const noexcept { return related_; }
    /// The one table; the caller keeps it.
    void setTable(const std::shared_ptr<Table>& table) noexcept { table_ = table; }

    WorkspaceType type() const noexcept override { return workspaceLocalDatabase; }
    std::vector<Entry> entries() override;
    std::optional<Entry> find(const std::string& layer) override;
    std::shared_ptr<Table> table(const std::string& layer) override;
    std::int64_t rowCount(const std::string& /*layer*/) override { return -1; }
    void addFields(Table& table, const std::vector<FieldRequest>& requests) override;
    void expectStyles(bool createTable) override;
    ShapeValues shapeValues(const std::string& layer, const std::string& field) override;
    std::vector<KeptDefault> writeStyles(const std::vector<StyledLayer>& layers) override;
    void begin() override {}
    void commit() override {}
    void rollback() noexcept override {}
    void checkWritable() const override {}

private:
    bool isLayer(const std::string& name) const;

    std::string layer_;
    std::shared_ptr<Dataset> related_;
    std::weak_ptr<Table> table_;
};

/// Rows are numbered from 1. They are read once, in order, and a row can be written until the next one is read.
/// Questions about the table itself are asked of a related table of its name, whose rows have the same numbers: they
/// see the rows as they came.
class StreamTable final : public Table {
public:
    /// \param schema, flow must outlive this.
    StreamTable(const std::shared_ptr<StreamDataset>& dataset, const std::string& layer, const StreamSchema& schema,
                BatchFlow& flow);

    void refresh() override {}
    ObjectIds select(const std::string& where, bool onlyOne, const ColumnSet& ahead) override;
    std::optional<Refusal> whyRefused(const std::string& where) override;
    ObjectIds restrict(const ObjectIds& ids, const std::string& where) override;
    std::unique_ptr<RowReader> read(const ColumnSet& columns, SharedIds ids) override;
    bool fetch(ObjectId id, const ColumnSet& columns, Cells& cells) override;
    bool update(ObjectId id, const ColumnSet& columns, const Cells& cells) override;

private:
    class Reader;

    /// The next row is the current one. \return false at the end. \throws HostError
    bool advance();
    void readCell(std::size_t column, ObjectId id, Cell& cell);
    std::shared_ptr<Table> itself() const;
    /// The same, for a question; a run without it fails.
    std::shared_ptr<Table> asked() const;

    StreamDataset& streams_;  // that of dataset()
    const StreamSchema& streamSchema_;
    BatchFlow& flow_;
    std::optional<StreamBatch> batch_;
    std::int64_t row_ = -1;    // within the batch
    std::int64_t before_ = 0;  // rows of the batches before it
    bool isRead_ = false;
};

}  // namespace embedded_host
