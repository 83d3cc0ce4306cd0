#include "diff_rows.h"

#include "host/geodatabase/shapes.h"

#include <memory>
#include <vector>

namespace cxml {
namespace {

using embedded_host::ColumnType;
using embedded_host::RowTable;
using Value = RowTable::Value;

Value valueOf(const ShownValue& value) {
    return value.text.empty() ? Value() : Value(value.text);
}

Value lineOf(const ChangeSide& side, const Document* document) {
    return side.by && document ? Value(std::int64_t{document->places.lineOf(*side.by)}) : Value();
}

Value addressOf(const ChangeSide& side, const Document* document) {
    return side.by && document ? Value(document->places.addressOf(*side.by)) : Value();
}

const std::vector<RowTable::Field> fields{
    {"change", ColumnType::Text},       {"fields", ColumnType::Text},       {"from_value", ColumnType::Text},
    {"from_line", ColumnType::Integer}, {"from_address", ColumnType::Text}, {"to_value", ColumnType::Text},
    {"to_line", ColumnType::Integer},   {"to_address", ColumnType::Text},   {"outside", ColumnType::Integer}};

}  // namespace

DiffRows::DiffRows(const std::string& file, bool replaces)
    : table_(file, replaces, "cxml_diff", fields, RowTable::Shapes::Degrees) {}

void DiffRows::add(const std::string& layer, ObjectId row, const ChangeGroup& change, bool isInside,
                   const Document* first, const Document& second) {
    table_.add(layer, row,
               {rowChangeNames[static_cast<std::size_t>(change.change)], change.fields, valueOf(change.from.value),
                lineOf(change.from, first), addressOf(change.from, first), valueOf(change.to.value),
                lineOf(change.to, &second), addressOf(change.to, &second), std::int64_t{isInside ? 0 : 1}});
}

void DiffRows::finish(const std::string& dataset, const embedded_host::WorkspaceOptions& options) {
    const std::unique_ptr<embedded_host::ShapeSource> source = embedded_host::ShapeSource::open(dataset, options);
    table_.setShapes([&](const std::string& layer, ObjectId row) { return source->wellKnownBinary(layer, row); });
    table_.finish();
}

}  // namespace cxml
