#include "host/arrow/stream_field.h"

#include "host/arrow/arrow_error.h"
#include "host/arrow/iso_text.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

namespace embedded_host {
namespace {

using std::chrono::days;
using std::chrono::milliseconds;
using std::chrono::sys_days;

std::string titleOf(const ArrowSchema& schema) {
    return std::string("column '") + (schema.name ? schema.name : "") + '\'';
}

ArrowSchemaView viewOf(const ArrowSchema& schema, const std::string& title) {
    ArrowSchemaView view{};
    ArrowError error{};
    expect(ArrowSchemaViewInit(&view, &schema, &error), title, error);
    return view;
}

bool isInteger(ArrowType type) {
    switch (type) {
        case NANOARROW_TYPE_BOOL:
        case NANOARROW_TYPE_INT8:
        case NANOARROW_TYPE_UINT8:
        case NANOARROW_TYPE_INT16:
        case NANOARROW_TYPE_UINT16:
        case NANOARROW_TYPE_INT32:
        case NANOARROW_TYPE_UINT32:
        case NANOARROW_TYPE_INT64:
        case NANOARROW_TYPE_UINT64:
            return true;
        default:
            return false;
    }
}

bool isFloat(ArrowType type) {
    return type == NANOARROW_TYPE_HALF_FLOAT || type == NANOARROW_TYPE_FLOAT || type == NANOARROW_TYPE_DOUBLE;
}

bool isText(ArrowType type) {
    return type == NANOARROW_TYPE_STRING || type == NANOARROW_TYPE_LARGE_STRING || type == NANOARROW_TYPE_STRING_VIEW;
}

ColumnType listType(ArrowType item) {
    if (isInteger(item)) return ColumnType::IntegerList;
    if (isFloat(item)) return ColumnType::RealList;
    return isText(item) ? ColumnType::TextList : ColumnType::Unsupported;
}

ColumnType columnType(ArrowType type) {
    if (isText(type)) return ColumnType::Text;
    switch (type) {
        case NANOARROW_TYPE_NA:
            return ColumnType::Text;  // all of it is NULL
        case NANOARROW_TYPE_BOOL:
            return ColumnType::Boolean;
        case NANOARROW_TYPE_INT8:
        case NANOARROW_TYPE_UINT8:
        case NANOARROW_TYPE_INT16:
            return ColumnType::Int16;
        case NANOARROW_TYPE_UINT16:
        case NANOARROW_TYPE_INT32:
            return ColumnType::Integer;
        case NANOARROW_TYPE_UINT32:
        case NANOARROW_TYPE_INT64:
        case NANOARROW_TYPE_UINT64:
            return ColumnType::Integer64;
        case NANOARROW_TYPE_HALF_FLOAT:
        case NANOARROW_TYPE_FLOAT:
            return ColumnType::Float32;
        case NANOARROW_TYPE_DOUBLE:
        case NANOARROW_TYPE_DECIMAL32:
        case NANOARROW_TYPE_DECIMAL64:
        case NANOARROW_TYPE_DECIMAL128:
        case NANOARROW_TYPE_DECIMAL256:
            return ColumnType::Real;
        case NANOARROW_TYPE_DATE32:
        case NANOARROW_TYPE_DATE64:
            return ColumnType::Date;
        case NANOARROW_TYPE_TIME32:
        case NANOARROW_TYPE_TIME64:
            return ColumnType::Time;
        case NANOARROW_TYPE_TIMESTAMP:
            return ColumnType::DateTime;
        default:
            return ColumnType::Unsupported;
    }
}

std::int64_t unitsPerSecond(ArrowTimeUnit unit) {
    switch (unit) {
        case NANOARROW_TIME_UNIT_MILLI:
            return 1000;
        case NANOARROW_TIME_UNIT_MICRO:
            return 1'000'000;
        case NANOARROW_TIME_UNIT_NANO:
            return 1'000'000'000;
        default:
            return 1;
    }
}

constexpr std::int64_t secondsPerDay = 86'400;

std::int64_t floorOf(std::int64_t value, std::int64_t divisor) {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

// A decimal by its digits: the nearest double, however large the decimal.
double realOf(const ArrowArrayView& view, std::int64_t row, const ArrowSchemaView& type) {
    ArrowDecimal decimal;
    ArrowDecimalInit(&decimal, type.decimal_bitwidth, type.decimal_precision, type.decimal_scale);
    ArrowArrayViewGetDecimalUnsafe(&view, row, &decimal);
    nanoarrow::UniqueBuffer digits;
    expect(ArrowDecimalAppendStringToBuffer(&decimal, digits.get()));
    const auto* const first = reinterpret_cast<const char*>(digits->data);
    double value = 0;
    std::from_chars(first, first + digits->size_bytes, value);
    return value;
}

void appendReal(std::string& text, double value) {
    std::array<char, 32> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
    text.append(buffer.data(), end);
}

std::string_view textAt(const ArrowArrayView& view, std::int64_t row) {
    const ArrowStringView text = ArrowArrayViewGetStringUnsafe(&view, row);
    return {text.data, static_cast<std::size_t>(text.size_bytes)};
}

}  // namespace

StreamField::StreamField(const ArrowSchema& schema) : schema_(&schema), isDictionary_(schema.dictionary != nullptr) {
    const std::string title = titleOf(schema);
    viewOf(schema, title);
    values_ = viewOf(isDictionary_ ? *schema.dictionary : schema, title);
    if (isDictionary_ && schema.dictionary->dictionary)
        throw HostError(title + ": a dictionary of dictionaries cannot be read");
    column_ = {schema.name ? schema.name : "", columnType(values_.type)};
    if (values_.type == NANOARROW_TYPE_LIST || values_.type == NANOARROW_TYPE_LARGE_LIST) {
        const ArrowSchema& item = *values_.schema->children[0];
        itemType_ = item.dictionary ? NANOARROW_TYPE_DICTIONARY : viewOf(item, title).type;
        column_.type = listType(itemType_);
    }
}

bool StreamField::isWritable() const noexcept {
    switch (values_.type) {
        case NANOARROW_TYPE_BOOL:
        case NANOARROW_TYPE_INT16:
        case NANOARROW_TYPE_INT32:
        case NANOARROW_TYPE_INT64:
        case NANOARROW_TYPE_FLOAT:
        case NANOARROW_TYPE_DOUBLE:
        case NANOARROW_TYPE_STRING:
        case NANOARROW_TYPE_LARGE_STRING:
        case NANOARROW_TYPE_STRING_VIEW:
        case NANOARROW_TYPE_DATE32:
        case NANOARROW_TYPE_TIMESTAMP:
            return true;
        default:
            return false;
    }
}

std::string StreamField::typeName() const {
    const char* const name = ArrowTypeString(values_.type);
    return (isDictionary_ ? "dictionary of " : "") + std::string(name ? name : "unknown");
}

void StreamField::read(const ArrowArrayView& view, std::int64_t row, Cell& cell) const {
    cell.state = Cell::State::Null;
    if (ArrowArrayViewIsNull(&view, row) != 0) return;
    if (!isDictionary_) return readValue(view, row, cell);
    const std::int64_t position = ArrowArrayViewGetIntUnsafe(&view, row);
    if (ArrowArrayViewIsNull(view.dictionary, position) == 0) readValue(*view.dictionary, position, cell);
}

void StreamField::readValue(const ArrowArrayView& view, std::int64_t row, Cell& cell) const {
    cell.state = Cell::State::Value;
    switch (column_.type) {
        case ColumnType::Text:
            cell.text = textAt(view, row);
            return;
        case ColumnType::Date:
        case ColumnType::Time:
        case ColumnType::DateTime:
            return readMoment(ArrowArrayViewGetIntUnsafe(&view, row), cell);
        case ColumnType::IntegerList:
        case ColumnType::RealList:
        case ColumnType::TextList:
            return readList(view, row, cell);
        case ColumnType::Unsupported:
            cell.state = Cell::State::Foreign;
            cell.text = "a value of type " + typeName();
            return;
        default:
            return readNumber(view, row, cell);
    }
}

void StreamField::readNumber(const ArrowArrayView& view, std::int64_t row, Cell& cell) const {
    if (partOf(column_.type) == CellPart::Integer) {
        cell.integer = ArrowArrayViewGetIntUnsafe(&view, row);
        if (values_.type == NANOARROW_TYPE_UINT64 && cell.integer < 0) {
            cell.state = Cell::State::Foreign;
            cell.text = std::to_string(ArrowArrayViewGetUIntUnsafe(&view, row));
        }
        return;
    }
    cell.real = isFloat(values_.type) ? ArrowArrayViewGetDoubleUnsafe(&view, row) : realOf(view, row, values_);
    // Tables that have no NULLs of their own write them so.
    if (std::isnan(cell.real)) cell.state = Cell::State::Null;
}

void StreamField::readMoment(std::int64_t value, Cell& cell) const {
    cell.text.clear();
    // Days, milliseconds, or units of a second.
    const std::int64_t perSecond = values_.type == NANOARROW_TYPE_DATE64 ? 1000 : unitsPerSecond(values_.time_unit);
    const bool isDays = values_.type == NANOARROW_TYPE_DATE32;
    const std::int64_t seconds = isDays ? 0 : floorOf(value, perSecond);
    const std::int64_t day = isDays ? value : floorOf(seconds, secondsPerDay);
    constexpr std::int64_t manyDays = 4'000'000;  // more than there are up to the year 9999
    const bool isDate = column_.type != ColumnType::Time;
    if (day < -manyDays || day > manyDays || (isDate ? !hasFourDigitYear(sys_days{days{day}}) : day != 0)) {
        cell.state = Cell::State::Foreign;
        cell.text = std::to_string(value);
        return;
    }
    if (isDate) appendDay(cell.text, sys_days{days{day}});
    if (column_.type == ColumnType::Date) return;
    const std::int64_t part = value % perSecond < 0 ? value % perSecond + perSecond : value % perSecond;
    const milliseconds time((seconds - day * secondsPerDay) * 1000 + part * 1000 / perSecond);
    if (isDate) cell.text += 'T';
    appendTime(cell.text, time);
    if (isDate) cell.text += 'Z';
}

void StreamField::readList(const ArrowArrayView& view, std::int64_t row, Cell& cell) const {
    cell.text.clear();
    const ArrowArrayView& items = *view.children[0];
    const std::int64_t begin = ArrowArrayViewListChildOffset(&view, row + view.offset);
    const std::int64_t end = ArrowArrayViewListChildOffset(&view, row + view.offset + 1);
    for (std::int64_t i = begin; i < end; ++i) {
        if (i > begin) cell.text += ',';
        if (ArrowArrayViewIsNull(&items, i) != 0) continue;
        if (column_.type == ColumnType::TextList)
            cell.text += textAt(items, i);
        else if (column_.type == ColumnType::RealList)
            appendReal(cell.text, ArrowArrayViewGetDoubleUnsafe(&items, i));
        else if (itemType_ == NANOARROW_TYPE_UINT64)
            cell.text += std::to_string(ArrowArrayViewGetUIntUnsafe(&items, i));
        else
            cell.text += std::to_string(ArrowArrayViewGetIntUnsafe(&items, i));
    }
}

bool StreamField::append(ArrowArray& array, const Cell& cell) const {
    if (cell.state != Cell::State::Value) {
        expect(ArrowArrayAppendNull(&array, 1));
        return true;
    }
    switch (partOf(column_.type)) {
        case CellPart::Integer:
            expect(ArrowArrayAppendInt(&array, cell.integer));
            return true;
        case CellPart::Real:
            expect(ArrowArrayAppendDouble(&array, cell.real));
            return true;
        default:
            break;
    }
    if (column_.type == ColumnType::Text) {
        const ArrowErrorCode status =
            ArrowArrayAppendString(&array, {cell.text.data(), static_cast<std::int64_t>(cell.text.size())});
        // Strings of one array have 2 GB together.
        if (status == EOVERFLOW) throw HostError(titleOf(*schema_) + ": a batch has more text than its type can hold");
        expect(status);
        return true;
    }
    const std::optional<IsoMoment> moment = parseMoment(cell.text);
    if (!moment) return false;
    const std::int64_t day = moment->day.time_since_epoch().count();
    if (values_.type == NANOARROW_TYPE_DATE32) {
        expect(ArrowArrayAppendInt(&array, day));
        return true;
    }
    const std::int64_t perSecond = unitsPerSecond(values_.time_unit);
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    if (day > most / perSecond / secondsPerDay - 1 || day < -(most / perSecond / secondsPerDay) + 1) return false;
    const std::int64_t time = moment->time.count();
    const std::int64_t part = perSecond >= 1000 ? time * (perSecond / 1000) : time / 1000;
    expect(ArrowArrayAppendInt(&array, day * secondsPerDay * perSecond + part));
    return true;
}

namespace {

// What has to be true before anybody looks behind the array's pointers.
void checkShape(const ArrowArrayView& view, const ArrowArray& array, const std::string& title) {
    constexpr std::int64_t mostRows = std::int64_t{1} << 40U;
    std::int64_t buffers = 0;
    for (const ArrowBufferType type : view.layout.buffer_type) buffers += type == NANOARROW_BUFFER_TYPE_NONE ? 0 : 1;
    // One with sizes follows those that the layout knows.
    constexpr std::int64_t leastOfViews = 3;
    if (view.storage_type == NANOARROW_TYPE_STRING_VIEW || view.storage_type == NANOARROW_TYPE_BINARY_VIEW)
        buffers = leastOfViews;
    if (array.offset < 0 || array.length < 0 || array.offset > mostRows || array.length > mostRows)
        throw HostError(title + ": an array of " + std::to_string(array.length) + " rows from row " +
                        std::to_string(array.offset) + " on cannot be");
    if (array.n_buffers < buffers || (array.n_buffers > 0 && !array.buffers))
        throw HostError(title + ": the array lacks buffers");
    if (array.n_children != view.n_children || (array.n_children > 0 && !array.children))
        throw HostError(title + ": the array lacks children");
    for (std::int64_t i = 0; i < array.n_children; ++i) {
        if (!array.children[i]) throw HostError(title + ": the array lacks children");
        checkShape(*view.children[i], *array.children[i], title);
    }
    if (array.dictionary && view.dictionary) checkShape(*view.dictionary, *array.dictionary, title);
}

// Texts of views lie in buffers that are named one by one.
void checkTextViews(const ArrowArrayView& view, const std::string& title) {
    if (view.storage_type == NANOARROW_TYPE_STRING_VIEW) {
        if (view.n_variadic_buffers < 0 || (view.n_variadic_buffers > 0 && !view.variadic_buffer_sizes))
            throw HostError(title + ": the array lacks the sizes of its buffers");
        for (std::int64_t row = 0; row < view.length; ++row) {
            if (ArrowArrayViewIsNull(&view, row) != 0) continue;
            const ArrowBinaryView& text = view.buffer_views[1].data.as_binary_view[view.offset + row];
            const std::int64_t size = text.inlined.size;
            if (size >= 0 && size <= NANOARROW_BINARY_VIEW_INLINE_SIZE) continue;
            const std::int64_t buffer = text.ref.buffer_index;
            if (size < 0 || buffer < 0 || buffer >= view.n_variadic_buffers || text.ref.offset < 0 ||
                !view.variadic_buffers[buffer] || text.ref.offset + size > view.variadic_buffer_sizes[buffer])
                throw HostError(title + ": row " + std::to_string(row + 1) + " of a batch has its text in no buffer");
        }
    }
    for (std::int64_t i = 0; i < view.n_children; ++i) checkTextViews(*view.children[i], title);
    if (view.dictionary) checkTextViews(*view.dictionary, title);
}

}  // namespace

void setValidated(ArrowArrayView& view, const StreamField& field, const ArrowArray& array) {
    const std::string title = titleOf(field.schema());
    ArrowError error{};
    expect(ArrowArrayViewInitFromSchema(&view, &field.schema(), &error), title, error);
    checkShape(view, array, title);
    expect(ArrowArrayViewSetArray(&view, &array, &error), title, error);
    expect(ArrowArrayViewValidate(&view, NANOARROW_VALIDATION_LEVEL_FULL, &error), title, error);
    checkTextViews(view, title);
}

}  // namespace embedded_host
