// Batches of streams whose content is anything: each is read and written without a look outside of its buffers, or
// refused.
#include "fuzz/input.h"
#include "host/arrow/stream_batch.h"
#include "host/arrow/stream_schema.h"
#include "host/host_error.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace {

using embedded_host::Cell;
using embedded_host::FieldKind;
using embedded_host::HostError;
using embedded_host::StreamBatch;
using embedded_host::StreamSchema;

// What a column's buffers are made of; a buffer is as long as its array says, and not a byte longer.
struct Type {
    const char* format;
    std::size_t bytesOfValue;  // of the second buffer
    std::size_t moreValues;    // that it has beyond its rows
    bool hasText;              // a third buffer, as long as the last value of the second
};
constexpr std::array types{Type{"u", 4, 1, true},        Type{"U", 8, 1, true},        Type{"i", 4, 0, false},
                           Type{"l", 8, 0, false},       Type{"L", 8, 0, false},       Type{"g", 8, 0, false},
                           Type{"e", 2, 0, false},       Type{"tdD", 4, 0, false},     Type{"tdm", 8, 0, false},
                           Type{"ttu", 8, 0, false},     Type{"tsn:UTC", 8, 0, false}, Type{"tss:", 8, 0, false},
                           Type{"d:38,4", 16, 0, false}, Type{"s", 2, 0, false},       Type{"b", 1, 0, false}};

struct Column {
    std::vector<std::unique_ptr<std::uint8_t[]>> memory;
    std::vector<const void*> buffers;
    std::unique_ptr<ArrowArray> dictionary;
    std::unique_ptr<Column> values;
};

// Takes bytes off the front; zeros when there are no more.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}
    void take(void* target, std::size_t count) {
        const std::size_t here = std::min(count, left_);
        if (here != 0) std::memcpy(target, data_, here);
        std::memset(static_cast<std::uint8_t*>(target) + here, 0, count - here);
        data_ += here;
        left_ -= here;
    }
    std::uint8_t byte() {
        std::uint8_t one = 0;
        take(&one, 1);
        return one;
    }

private:
    const std::uint8_t* data_;
    std::size_t left_;
};

void add(Column& column, std::size_t size, Bytes& bytes) {
    column.memory.push_back(std::make_unique<std::uint8_t[]>(size));
    bytes.take(column.memory.back().get(), size);
    column.buffers.push_back(column.memory.back().get());
}

// An array as a producer would make it that counts right, and has anything in its buffers.
void fill(ArrowArray& array, Column& column, const Type& type, std::int64_t rows, Bytes& bytes) {
    const auto count = static_cast<std::size_t>(rows);
    const std::uint8_t shape = bytes.byte();
    if ((shape & 1U) != 0)
        add(column, (count + 7) / 8, bytes);
    else
        column.buffers.push_back(nullptr);
    add(column, (count + type.moreValues) * type.bytesOfValue, bytes);
    if (type.hasText) {
        // The last offset is all that says how long the text is: it is kept small.
        std::uint8_t* const last = column.memory.back().get() + count * type.bytesOfValue;
        std::int64_t end = last[0] % 64;
        std::memset(last, 0, type.bytesOfValue);
        std::memcpy(last, &end, 1);
        add(column, static_cast<std::size_t>(end), bytes);
    }
    array.length = rows;
    array.null_count = (shape & 1U) != 0 ? -1 : 0;
    array.n_buffers = static_cast<std::int64_t>(column.buffers.size());
    array.buffers = column.buffers.data();
    array.private_data = nullptr;
    array.release = [](ArrowArray* self) { self->release = nullptr; };
}

void run(Bytes bytes) {
    const Type& type = types.at(bytes.byte() % types.size());
    const bool isDictionary = bytes.byte() % 3 == 0;
    const std::int64_t rows = bytes.byte() % 16;

    nanoarrow::UniqueSchema schema;
    ArrowSchemaInit(schema.get());
    fuzzing::require(ArrowSchemaSetTypeStruct(schema.get(), 1) == NANOARROW_OK, "there is memory");
    ArrowSchema& field = *schema->children[0];
    fuzzing::require(ArrowSchemaSetFormat(&field, isDictionary ? "i" : type.format) == NANOARROW_OK &&
                         ArrowSchemaSetName(&field, "F") == NANOARROW_OK,
                     "there is memory");
    Column column;
    ArrowArray child{};
    if (isDictionary) {
        fuzzing::require(ArrowSchemaAllocateDictionary(&field) == NANOARROW_OK, "there is memory");
        ArrowSchemaInit(field.dictionary);
        fuzzing::require(ArrowSchemaSetFormat(field.dictionary, type.format) == NANOARROW_OK, "there is memory");
        column.values = std::make_unique<Column>();
        column.dictionary = std::make_unique<ArrowArray>();
        fill(*column.dictionary, *column.values, type, bytes.byte() % 8, bytes);
        fill(child, column, {"i", 4, 0, false}, rows, bytes);
        child.dictionary = column.dictionary.get();
    } else {
        fill(child, column, type, rows, bytes);
    }
    nanoarrow::UniqueArray batch;
    fuzzing::require(ArrowArrayInitFromType(batch.get(), NANOARROW_TYPE_STRUCT) == NANOARROW_OK &&
                         ArrowArrayAllocateChildren(batch.get(), 1) == NANOARROW_OK,
                     "there is memory");
    ArrowArrayMove(&child, batch->children[0]);
    batch->offset = bytes.byte() % 4;
    batch->length = rows - batch->offset;

    try {
        const bool isWritten = bytes.byte() % 2 == 0;
        const StreamSchema read(std::move(schema), isWritten
                                                       ? std::vector{embedded_host::FieldRequest{"F", FieldKind::Text}}
                                                       : std::vector<embedded_host::FieldRequest>{});
        StreamBatch rowsOf(read, std::move(batch));
        Cell cell;
        for (std::int64_t row = 0; row < rowsOf.rows(); ++row) {
            rowsOf.read(0, row, cell);
            if (isWritten && bytes.byte() % 4 == 0) rowsOf.put(0, row, {.state = Cell::State::Null, .text = {}});
        }
        const nanoarrow::UniqueArray result = rowsOf.finish();
        fuzzing::require(result->children[0]->length == result->length, "every row goes out");
    } catch (const HostError&) {
        return;  // it said what is wrong
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    run(Bytes(data, size));
    return 0;
}
