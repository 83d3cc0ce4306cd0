#include "host/arrow/stream_table.h"

#include "host/geodatabase/base/text.h"
#include "host/host_error.h"

#include <utility>

namespace embedded_host {

StreamDataset::StreamDataset(std::string layer, std::shared_ptr<Dataset> related)
    : Dataset("stream", Access::Update), layer_(std::move(layer)), related_(std::move(related)) {}

bool StreamDataset::isLayer(const std::string& name) const {
    return upperCased(toWide(name)) == upperCased(toWide(layer_));
}

std::vector<Dataset::Entry> StreamDataset::entries() {
    std::vector<Entry> all{{layer_, layer_, false}};
    if (related_)
        for (Entry& entry : related_->entries())
            if (!isLayer(entry.name)) all.push_back(std::move(entry));
    return all;
}

std::optional<Dataset::Entry> StreamDataset::find(const std::string& layer) {
    if (isLayer(layer)) return Entry{layer_, layer_, false};
    return related_ ? related_->find(layer) : std::nullopt;
}

std::shared_ptr<Table> StreamDataset::table(const std::string& layer) {
    if (isLayer(layer))
        if (std::shared_ptr<Table> table = table_.lock()) return table;
    if (!related_) throw HostError(name() + ": there is no table '" + layer + "'");
    return related_->table(layer);
}

void StreamDataset::addFields(Table& table, const std::vector<FieldRequest>& /*requests*/) {
    throw HostError(table.title() + ": fields are added before the run");
}

void StreamDataset::expectStyles(bool /*createTable*/) {
    throw HostError(name() + ": a stream keeps no styles");
}

ShapeValues StreamDataset::shapeValues(const std::string& /*layer*/, const std::string& /*field*/) {
    expectStyles(false);
    return {};
}

std::vector<KeptDefault> StreamDataset::writeStyles(const std::vector<StyledLayer>& /*layers*/) {
    expectStyles(false);
    return {};
}

class StreamTable::Reader final : public RowReader {
public:
    Reader(std::shared_ptr<StreamTable> table, ColumnSet columns)
        : table_(std::move(table)), columns_(std::move(columns)) {}

    bool next(ObjectId& id, Cells& cells) override {
        if (!table_->advance()) return false;
        id = table_->before_ + table_->row_ + 1;
        for (const std::size_t column : columns_) table_->readCell(column, id, cells[column]);
        return true;
    }
    void setColumns(const ColumnSet& columns) override { columns_ = columns; }

private:
    std::shared_ptr<StreamTable> table_;
    ColumnSet columns_;
};

StreamTable::StreamTable(const std::shared_ptr<StreamDataset>& dataset, const std::string& layer,
                         const StreamSchema& schema, BatchFlow& flow)
    : Table(dataset,
            {.name = layer, .fullName = layer, .alias = layer, .subtypeMetadata = {}, .schema = schema.table()}),
      streams_(*dataset),
      streamSchema_(schema),
      flow_(flow) {}

void StreamTable::readCell(std::size_t column, ObjectId id, Cell& cell) {
    if (column < streamSchema_.fields().size()) return batch_->read(column, id - before_ - 1, cell);
    cell.state = Cell::State::Value;  // the key
    cell.integer = id;
}

bool StreamTable::advance() {
    ++row_;
    while (!batch_ || row_ >= batch_->rows()) {
        if (batch_) {
            before_ += batch_->rows();
            flow_.give(batch_->finish());
            batch_.reset();
        }
        std::optional<nanoarrow::UniqueArray> next = flow_.next();
        if (!next) return false;
        batch_.emplace(streamSchema_, std::move(*next));
        row_ = 0;
    }
    return true;
}

std::shared_ptr<Table> StreamTable::itself() const {
    if (!streams_.related() || !streams_.related()->find(name()))
        fail("a rule asks about the layer's own rows, which are a stream; give them as a related table, too");
    return streams_.related()->table(name());
}

ObjectIds StreamTable::select(const std::string& where, bool onlyOne, const ColumnSet& /*ahead*/) {
    // Which of its failures are the run's, the table that is asked tells itself: a wrong clause is not.
    return asked()->select(where, onlyOne, {});
}

std::shared_ptr<Table> StreamTable::asked() const {
    try {
        return itself();
    } catch (const HostError& error) {
        dataset().noteFailure(error.what());
        throw;
    }
}

std::optional<Refusal> StreamTable::whyRefused(const std::string& where) {
    return itself()->whyRefused(where);
}

ObjectIds StreamTable::restrict(const ObjectIds& /*ids*/, const std::string& /*where*/) {
    fail("rows of a stream cannot be chosen");
}

std::unique_ptr<RowReader> StreamTable::read(const ColumnSet& columns, SharedIds ids) {
    if (ids) fail("rows of a stream cannot be chosen");
    if (std::exchange(isRead_, true)) fail("a stream is read once");
    return std::make_unique<Reader>(std::static_pointer_cast<StreamTable>(shared_from_this()), columns);
}

bool StreamTable::fetch(ObjectId id, const ColumnSet& columns, Cells& cells) {
    if (batch_ && id > before_ && id <= before_ + batch_->rows()) {
        for (const std::size_t column : columns) readCell(column, id, cells[column]);
        return true;
    }
    // A row that a question about the layer itself has found.
    const std::shared_ptr<Table> table = itself();
    const std::shared_ptr<const TableSchema> there = table->schema();
    Cells found(there->columns.size());
    for (const std::size_t column : columns) {
        const LONG position = there->find(toWide(schema()->columns[column].name));
        if (position < 0 || column == schema()->keyPosition()) {
            cells[column].state = Cell::State::Null;
            continue;
        }
        const auto from = static_cast<std::size_t>(position);
        if (!table->fetch(id, {from}, found)) return false;
        std::swap(cells[column], found[from]);
    }
    return true;
}

bool StreamTable::update(ObjectId id, const ColumnSet& columns, const Cells& cells) {
    if (!batch_ || id != before_ + row_ + 1) fail("row " + std::to_string(id) + " has gone on already");
    try {
        for (const std::size_t column : columns) batch_->put(column, row_, cells[column]);
    } catch (const HostError& error) {
        fail("row " + std::to_string(id) + ": " + error.what());
    }
    return true;
}

}  // namespace embedded_host
