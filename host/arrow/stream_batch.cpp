#include "host/arrow/stream_batch.h"

#include "host/arrow/arrow_error.h"

#include <string>
#include <utility>

namespace embedded_host {

namespace {

// Gives the children the batch's own slice, so that columns can be exchanged one by one.
void sliceChildren(ArrowArray& array, const StreamSchema& schema) {
    for (std::size_t i = 0; i < schema.givenCount(); ++i) {
        ArrowArray* const child = array.children[i];
        const std::string title = "column '" + schema.fields()[i].column().name + '\'';
        if (!child || !child->release) throw HostError(title + ": a batch lacks it");
        if (child->offset < 0 || child->length < 0 || child->length - array.offset < array.length)
            throw HostError(title + ": a batch of " + std::to_string(array.length) + " rows has " +
                            std::to_string(child->length) + " values of it");
        if (array.offset != 0) {
            child->offset += array.offset;
            child->null_count = -1;
        } else if (child->length != array.length) {
            child->null_count = -1;
        }
        child->length = array.length;
    }
    array.offset = 0;
}

}  // namespace

StreamBatch::StreamBatch(const StreamSchema& schema, nanoarrow::UniqueArray array)
    : schema_(schema),
      array_(std::move(array)),
      rows_(array_->length),
      views_(schema.fields().size()),
      changes_(schema.fields().size()) {
    if (array_->length < 0 || array_->offset < 0)
        throw HostError("a batch of " + std::to_string(array_->length) + " rows cannot be");
    if (array_->n_children != static_cast<std::int64_t>(schema.givenCount()) ||
        (array_->n_children > 0 && !array_->children))
        throw HostError("a batch has " + std::to_string(array_->n_children) + " columns, the stream " +
                        std::to_string(schema.givenCount()));
    if (array_->null_count > 0) throw HostError("a batch has rows that are NULL as a whole");
    sliceChildren(*array_.get(), schema);
}

const ArrowArrayView& StreamBatch::viewOf(std::size_t column) {
    std::optional<nanoarrow::UniqueArrayView>& view = views_[column];
    if (!view) {
        view.emplace();
        setValidated(*view->get(), schema_.fields()[column], *array_->children[column]);
    }
    return *view->get();
}

void StreamBatch::read(std::size_t column, std::int64_t row, Cell& cell) {
    if (column < schema_.givenCount())
        schema_.fields()[column].read(viewOf(column), row, cell);
    else
        cell.state = Cell::State::Null;
}

void StreamBatch::put(std::size_t column, std::int64_t row, const Cell& cell) {
    if (!schema_.isWritten(column))
        throw HostError("column '" + schema_.fields()[column].column().name + "' is not one that the run writes");
    Changes& changes = changes_[column];
    if (changes.rows.empty() || changes.rows.back() != row) {
        changes.rows.push_back(row);
        changes.cells.emplace_back();
    }
    changes.cells.back() = cell;
}

bool StreamBatch::mustBuild(std::size_t column) const {
    // Dictionaries that are written become plain columns, in every batch.
    return column >= schema_.givenCount() || !changes_[column].rows.empty() ||
           (schema_.isWritten(column) && schema_.fields()[column].isDictionary());
}

void StreamBatch::build(std::size_t column, ArrowArray& result) {
    const StreamField& field = schema_.fields()[column];
    ArrowError error{};
    const std::string title = "column '" + field.column().name + '\'';
    expect(ArrowArrayInitFromSchema(&result, schema_.result().children[column], &error), title, error);
    expect(ArrowArrayStartAppending(&result));
    const Changes& changes = changes_[column];
    if (changes.rows.empty() && column >= schema_.givenCount()) {
        expect(ArrowArrayAppendNull(&result, rows_));
    } else {
        std::size_t next = 0;
        Cell came;
        for (std::int64_t row = 0; row < rows_; ++row) {
            const bool isPut = next < changes.rows.size() && changes.rows[next] == row;
            if (!isPut) read(column, row, came);
            if (!field.append(result, isPut ? changes.cells[next] : came))
                throw HostError(title + ": '" + (isPut ? changes.cells[next] : came).text +
                                "' is no value of its type");
            next += isPut ? 1 : 0;
        }
    }
    expect(ArrowArrayFinishBuilding(&result, NANOARROW_VALIDATION_LEVEL_MINIMAL, &error), title, error);
}

nanoarrow::UniqueArray StreamBatch::finish() {
    nanoarrow::UniqueArray result;
    expect(ArrowArrayInitFromType(result.get(), NANOARROW_TYPE_STRUCT));
    const std::size_t count = schema_.fields().size();
    expect(ArrowArrayAllocateChildren(result.get(), static_cast<std::int64_t>(count)));
    // What can fail comes first: a batch is given up whole, or not at all.
    for (std::size_t i = 0; i < count; ++i)
        if (mustBuild(i)) build(i, *result->children[i]);
    views_.clear();
    for (std::size_t i = 0; i < count; ++i)
        if (!mustBuild(i)) ArrowArrayMove(array_->children[i], result->children[i]);
    result->length = rows_;
    result->null_count = 0;
    array_.reset();
    return result;
}

}  // namespace embedded_host
