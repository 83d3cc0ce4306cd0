#include "arrow/made_stream.h"

#include "host/arrow/stream_field.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

namespace {

void require(ArrowErrorCode status) {
    if (status != NANOARROW_OK) throw std::runtime_error("the test's own stream cannot be made");
}

void append(ArrowArray& array, const MadeValue& value) {
    if (const auto* integer = std::get_if<std::int64_t>(&value))
        require(ArrowArrayAppendInt(&array, *integer));
    else if (const auto* real = std::get_if<double>(&value))
        require(ArrowArrayAppendDouble(&array, *real));
    else if (const auto* text = std::get_if<std::string>(&value))
        require(ArrowArrayAppendString(&array, {text->data(), static_cast<std::int64_t>(text->size())}));
    else
        require(ArrowArrayAppendNull(&array, 1));
}

void setFormat(ArrowSchema& schema, const std::string& format) {
    // Lists are written "+l:item".
    const std::size_t item = format.starts_with("+l:") ? 3 : 0;
    require(ArrowSchemaSetFormat(&schema, item != 0 ? "+l" : format.c_str()));
    if (item == 0) return;
    require(ArrowSchemaAllocateChildren(&schema, 1));
    ArrowSchemaInit(schema.children[0]);
    require(ArrowSchemaSetFormat(schema.children[0], format.substr(item).c_str()));
    require(ArrowSchemaSetName(schema.children[0], "item"));
}

void setType(ArrowSchema& schema, const MadeColumn& column) {
    setFormat(schema, column.isDictionary ? "i" : column.format);
    if (!column.isDictionary) return;
    require(ArrowSchemaAllocateDictionary(&schema));
    ArrowSchemaInit(schema.dictionary);
    setFormat(*schema.dictionary, column.format);
}

// Lists are made of texts: "1,2".
void appendList(ArrowArray& array, const std::string& items, bool isText) {
    for (std::size_t begin = 0; begin < items.size();) {
        std::size_t end = items.find(',', begin);
        if (end == std::string::npos) end = items.size();
        const std::string item = items.substr(begin, end - begin);
        if (isText)
            append(*array.children[0], MadeValue(item));
        else if (item.find('.') != std::string::npos)
            append(*array.children[0], MadeValue(std::stod(item)));
        else
            append(*array.children[0], MadeValue(std::int64_t{std::stoll(item)}));
        begin = end + 1;
    }
    require(ArrowArrayFinishElement(&array));
}

void fill(ArrowArray& array, const MadeColumn& column, std::size_t begin, std::size_t end) {
    const bool isList = column.format.starts_with("+l:");
    for (std::size_t i = begin; i < end; ++i) {
        const MadeValue& value = column.values.at(i);
        const auto* const text = std::get_if<std::string>(&value);
        if (column.isDictionary) {
            const bool isNull = std::holds_alternative<std::monostate>(value);
            append(array, isNull ? null : MadeValue(array.dictionary->length));
            if (!isNull) append(*array.dictionary, value);
        } else if (isList && text) {
            appendList(array, *text, column.format == "+l:u");
        } else {
            append(array, value);
        }
    }
}

}  // namespace

nanoarrow::UniqueSchema schemaOf(const std::vector<MadeColumn>& columns) {
    nanoarrow::UniqueSchema schema;
    ArrowSchemaInit(schema.get());
    require(ArrowSchemaSetTypeStruct(schema.get(), static_cast<std::int64_t>(columns.size())));
    for (std::size_t i = 0; i < columns.size(); ++i) {
        setType(*schema->children[i], columns[i]);
        require(ArrowSchemaSetName(schema->children[i], columns[i].name.c_str()));
    }
    return schema;
}

nanoarrow::UniqueArray batchOf(const std::vector<MadeColumn>& columns, std::size_t begin, std::size_t end) {
    const nanoarrow::UniqueSchema schema = schemaOf(columns);
    nanoarrow::UniqueArray batch;
    require(ArrowArrayInitFromSchema(batch.get(), schema.get(), nullptr));
    require(ArrowArrayStartAppending(batch.get()));
    for (std::size_t i = 0; i < columns.size(); ++i) fill(*batch->children[i], columns[i], begin, end);
    batch->length = static_cast<std::int64_t>(end - begin);
    require(ArrowArrayFinishBuildingDefault(batch.get(), nullptr));
    return batch;
}

nanoarrow::UniqueArrayStream streamOf(const std::vector<MadeColumn>& columns, std::size_t rowsOfABatch) {
    const std::size_t rows = columns.empty() ? 0 : columns.front().values.size();
    if (rowsOfABatch == 0) rowsOfABatch = rows == 0 ? 1 : rows;
    std::vector<nanoarrow::UniqueArray> batches;
    for (std::size_t begin = 0; begin < rows; begin += rowsOfABatch)
        batches.push_back(batchOf(columns, begin, std::min(rows, begin + rowsOfABatch)));
    nanoarrow::UniqueSchema schema = schemaOf(columns);
    nanoarrow::UniqueArrayStream stream;
    nanoarrow::VectorArrayStream(schema.get(), std::move(batches)).ToArrayStream(stream.get());
    return stream;
}

std::vector<std::string> ReadTable::operator[](const std::string& name) const {
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i] == name) return columns[i];
    return {};
}

ReadTable readAll(ArrowArrayStream& stream) {
    using embedded_host::Cell;
    ReadTable table;
    const auto failed = [&](int status) {
        const char* const text = stream.get_last_error(&stream);
        table.status = status;
        table.error = text ? text : "no text";
        return table;
    };
    nanoarrow::UniqueSchema schema;
    if (const int status = stream.get_schema(&stream, schema.get())) return failed(status);
    std::vector<embedded_host::StreamField> fields;
    for (std::int64_t i = 0; i < schema->n_children; ++i) {
        fields.emplace_back(*schema->children[i]);
        table.names.emplace_back(schema->children[i]->name);
    }
    table.columns.resize(fields.size());
    for (;;) {
        nanoarrow::UniqueArray batch;
        if (const int status = stream.get_next(&stream, batch.get())) return failed(status);
        if (!batch->release) return table;
        EXPECT_EQ(batch->n_children, schema->n_children);
        table.batches.push_back(batch->length);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const nanoarrow::UniqueArrayView view;
            setValidated(*const_cast<ArrowArrayView*>(view.get()), fields[i], *batch->children[i]);
            EXPECT_EQ(batch->children[i]->length, batch->length);
            Cell cell;
            for (std::int64_t row = 0; row < batch->length; ++row) {
                fields[i].read(*view.get(), row, cell);
                std::string text = cell.text;
                if (cell.state != Cell::State::Value && cell.state != Cell::State::Foreign)
                    text = "NULL";
                else if (partOf(fields[i].column().type) == embedded_host::CellPart::Integer)
                    text = std::to_string(cell.integer);
                else if (partOf(fields[i].column().type) == embedded_host::CellPart::Real)
                    text = std::to_string(cell.real);
                table.columns[i].push_back(text);
            }
        }
    }
}
