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
      growing_(schema.fields().size()) {
    if (array_->length < 0 || array_->offset < 0)
        throw HostError("a batch of " + std::to_string(array_->length) + " rows cannot be");
    if (!std::cmp_equal(array_->n_children, schema.givenCount()) || (array_->n_children > 0 && !array_->children))
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

StreamBatch::Growing& StreamBatch::growing(std::size_t column) {
    std::optional<Growing>& growing = growing_[column];
    if (!growing) {
        growing.emplace();
        ArrowError error{};
        const std::string title = "column '" + schema_.fields()[column].column().name + '\'';
        expect(ArrowArrayInitFromSchema(growing->array.get(), schema_.result().children[column], &error), title, error);
        expect(ArrowArrayStartAppending(growing->array.get()));
    }
    return *growing;
}

void StreamBatch::append(std::size_t column, Growing& growing, const Cell& cell) {
    const StreamField& field = schema_.fields()[column];
    if (!field.append(*growing.array.get(), cell))
        throw HostError("column '" + field.column().name + "': '" + cell.text + "' is no value of its type");
    ++growing.rows;
}

// Takes the rows up to this one as they came.
void StreamBatch::growTo(std::size_t column, Growing& growing, std::int64_t row) {
    if (column >= schema_.givenCount()) {
        if (row > growing.rows) expect(ArrowArrayAppendNull(growing.array.get(), row - growing.rows));
        growing.rows = row;
        return;
    }
    while (growing.rows < row) {
        read(column, growing.rows, came_);
        append(column, growing, came_);
    }
}

void StreamBatch::put(std::size_t column, std::int64_t row, const Cell& cell) {
    if (!schema_.isWritten(column))
        throw HostError("column '" + schema_.fields()[column].column().name + "' is not one that the run writes");
    Growing& growing = this->growing(column);
    if (row < growing.rows)
        throw HostError("column '" + schema_.fields()[column].column().name + "' was written for this row already");
    growTo(column, growing, row);
    append(column, growing, cell);
}

bool StreamBatch::mustGrow(std::size_t column) const {
    // Dictionaries that are written become plain columns, in every batch.
    return column >= schema_.givenCount() || growing_[column] ||
           (schema_.isWritten(column) && schema_.fields()[column].isDictionary());
}

nanoarrow::UniqueArray StreamBatch::finish() {
    nanoarrow::UniqueArray result;
    expect(ArrowArrayInitFromType(result.get(), NANOARROW_TYPE_STRUCT));
    const std::size_t count = schema_.fields().size();
    expect(ArrowArrayAllocateChildren(result.get(), static_cast<std::int64_t>(count)));
    // What can fail comes first: a batch is given up whole, or not at all.
    for (std::size_t i = 0; i < count; ++i) {
        if (!mustGrow(i)) continue;
        Growing& growing = this->growing(i);
        growTo(i, growing, rows_);
        ArrowError error{};
        expect(ArrowArrayFinishBuilding(growing.array.get(), NANOARROW_VALIDATION_LEVEL_MINIMAL, &error),
               "column '" + schema_.fields()[i].column().name + '\'', error);
    }
    views_.clear();
    for (std::size_t i = 0; i < count; ++i)
        ArrowArrayMove(growing_[i] ? growing_[i]->array.get() : array_->children[i], result->children[i]);
    result->length = rows_;
    result->null_count = 0;
    array_.reset();
    return result;
}

}  // namespace embedded_host
