// What values of Arrow's types become.
#include "arrow/made_stream.h"
#include "host/arrow/stream_batch.h"
#include "host/arrow/stream_schema.h"
#include "host/host_error.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <utility>

namespace {

using embedded_host::Cell;
using embedded_host::ColumnType;
using embedded_host::FieldKind;
using embedded_host::HostError;
using embedded_host::StreamBatch;
using embedded_host::StreamSchema;

struct FieldCase {
    const char* name;
    const char* format;
    MadeValue value;
    ColumnType type;
    std::string expected;  // NULL, or text, or the number; "!" before what cannot be read
    bool isDictionary = false;
};

void PrintTo(const FieldCase& field, std::ostream* out) {
    *out << field.name;
}

std::string shown(ColumnType type, const Cell& cell) {
    if (cell.state == Cell::State::Null) return "NULL";
    if (cell.state == Cell::State::Foreign) return "!" + cell.text;
    if (partOf(type) == embedded_host::CellPart::Integer) return std::to_string(cell.integer);
    if (partOf(type) == embedded_host::CellPart::Real) return std::to_string(cell.real);
    return cell.text;
}

class Fields : public testing::TestWithParam<FieldCase> {};

TEST_P(Fields, BecomeCells) {
    const FieldCase& field = GetParam();
    const std::vector<MadeColumn> columns{{"F", field.format, {null, field.value}, field.isDictionary}};
    const StreamSchema schema(schemaOf(columns), {});
    EXPECT_EQ(schema.fields().at(0).column().type, field.type);
    EXPECT_EQ(schema.fields().at(0).column().name, "F");
    StreamBatch batch(schema, batchOf(columns, 0, 2));
    Cell cell;
    batch.read(0, 0, cell);
    EXPECT_EQ(shown(field.type, cell), "NULL");
    batch.read(0, 1, cell);
    EXPECT_EQ(shown(field.type, cell), field.expected);
}

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Types, Fields,
    testing::Values(FieldCase{"null", "n", null, ColumnType::Text, "NULL"},
                    FieldCase{"boolean", "b", std::int64_t{1}, ColumnType::Boolean, "1"},
                    FieldCase{"int8", "c", std::int64_t{-128}, ColumnType::Int16, "-128"},
                    FieldCase{"uint8", "C", std::int64_t{255}, ColumnType::Int16, "255"},
                    FieldCase{"int16", "s", std::int64_t{-32768}, ColumnType::Int16, "-32768"},
                    FieldCase{"uint16", "S", std::int64_t{65535}, ColumnType::Integer, "65535"},
                    FieldCase{"int32", "i", std::int64_t{-5}, ColumnType::Integer, "-5"},
                    FieldCase{"uint32", "I", std::int64_t{4294967295}, ColumnType::Integer64, "4294967295"},
                    FieldCase{"int64", "l", std::int64_t{1} << 60, ColumnType::Integer64, "1152921504606846976"},
                    FieldCase{"uint64", "L", std::int64_t{7}, ColumnType::Integer64, "7"},
                    FieldCase{"half", "e", 1.5, ColumnType::Float32, "1.500000"},
                    FieldCase{"float", "f", 2.5, ColumnType::Float32, "2.500000"},
                    FieldCase{"double", "g", -3.25, ColumnType::Real, "-3.250000"},
                    FieldCase{"double_not_a_number", "g", nan, ColumnType::Real, "NULL"},
                    FieldCase{"string", "u", std::string("St\xC3\xB8v"), ColumnType::Text, "St\xC3\xB8v"},
                    FieldCase{"empty_string", "u", std::string(), ColumnType::Text, ""},
                    FieldCase{"large_string", "U", std::string("a"), ColumnType::Text, "a"},
                    FieldCase{"string_view_short", "vu", std::string("short"), ColumnType::Text, "short"},
                    FieldCase{"string_view_long", "vu", std::string(100, 'x'), ColumnType::Text, std::string(100, 'x')},
                    FieldCase{"dictionary_of_strings", "u", std::string("BOYLAT"), ColumnType::Text, "BOYLAT", true},
                    FieldCase{"dictionary_of_integers", "l", std::int64_t{9}, ColumnType::Integer64, "9", true},
                    FieldCase{"date32", "tdD", std::int64_t{19844}, ColumnType::Date, "2024-05-01"},
                    FieldCase{"date32_before_1970", "tdD", std::int64_t{-1}, ColumnType::Date, "1969-12-31"},
                    FieldCase{"date32_beyond_9999", "tdD", std::int64_t{3'000'000}, ColumnType::Date, "!3000000"},
                    FieldCase{"date64", "tdm", std::int64_t{1714521600000}, ColumnType::Date, "2024-05-01"},
                    FieldCase{"time32_seconds", "tts", std::int64_t{3661}, ColumnType::Time, "01:01:01.000"},
                    FieldCase{"time64_microseconds", "ttu", std::int64_t{1'500'000}, ColumnType::Time, "00:00:01.500"},
                    FieldCase{"time_beyond_a_day", "tts", std::int64_t{90000}, ColumnType::Time, "!90000"},
                    FieldCase{"timestamp_seconds", "tss:", std::int64_t{1714563900}, ColumnType::DateTime,
                              "2024-05-01T11:45:00.000Z"},
                    FieldCase{"timestamp_milliseconds_before_1970", "tsm:", std::int64_t{-1}, ColumnType::DateTime,
                              "1969-12-31T23:59:59.999Z"},
                    FieldCase{"timestamp_nanoseconds_with_zone", "tsn:Europe/Oslo", std::int64_t{1714563900123456789},
                              ColumnType::DateTime, "2024-05-01T11:45:00.123Z"},
                    FieldCase{"timestamp_least_nanoseconds", "tsn:", std::numeric_limits<std::int64_t>::min(),
                              ColumnType::DateTime, "1677-09-21T00:12:43.145Z"},
                    FieldCase{"timestamp_greatest_seconds", "tss:", std::numeric_limits<std::int64_t>::max(),
                              ColumnType::DateTime, "!9223372036854775807"},
                    FieldCase{"list_of_strings", "+l:u", std::string("3,4"), ColumnType::TextList, "3,4"},
                    FieldCase{"list_of_integers", "+l:i", std::string("1,5,2"), ColumnType::IntegerList, "1,5,2"},
                    FieldCase{"list_of_doubles", "+l:g", std::string("1.5,2.25"), ColumnType::RealList, "1.5,2.25"},
                    FieldCase{"empty_list", "+l:u", std::string(), ColumnType::TextList, ""}),
    [](const auto& test) { return test.param.name; });

// Numbers that no signed integer holds, and decimals, whose digits the builder takes another way.
TEST(FieldValues, Uint64ThatDoesNotFitCannotBeRead) {
    const std::vector<MadeColumn> columns{{"F", "L", {std::int64_t{-1}}}};  // all bits set
    const StreamSchema schema(schemaOf(columns), {});
    nanoarrow::UniqueArray array = batchOf({{"F", "l", {std::int64_t{-1}}}}, 0, 1);
    StreamBatch batch(schema, std::move(array));
    Cell cell;
    batch.read(0, 0, cell);
    EXPECT_EQ(cell.state, Cell::State::Foreign);
    EXPECT_EQ(cell.text, "18446744073709551615");
}

TEST(FieldValues, DecimalsAreTheNearestDoubles) {
    const std::vector<MadeColumn> columns{{"F", "d:10,2", {}}};
    const StreamSchema schema(schemaOf(columns), {});
    nanoarrow::UniqueArray array;
    ASSERT_EQ(ArrowArrayInitFromSchema(array.get(), schemaOf(columns).get(), nullptr), NANOARROW_OK);
    ASSERT_EQ(ArrowArrayStartAppending(array.get()), NANOARROW_OK);
    ArrowDecimal decimal;
    ArrowDecimalInit(&decimal, 128, 10, 2);
    ArrowDecimalSetInt(&decimal, -1250);
    ASSERT_EQ(ArrowArrayAppendDecimal(array->children[0], &decimal), NANOARROW_OK);
    array->length = 1;
    ASSERT_EQ(ArrowArrayFinishBuildingDefault(array.get(), nullptr), NANOARROW_OK);
    EXPECT_EQ(schema.fields().at(0).column().type, ColumnType::Real);
    StreamBatch batch(schema, std::move(array));
    Cell cell;
    batch.read(0, 0, cell);
    EXPECT_EQ(cell.real, -12.5);
}

// A batch that is a slice of greater arrays.
TEST(FieldValues, SlicesAreRespected) {
    const std::vector<MadeColumn> columns{{"F", "u", {std::string("a"), std::string("b"), null, std::string("d")}}};
    const StreamSchema schema(schemaOf(columns), {});
    nanoarrow::UniqueArray array = batchOf(columns, 0, 4);
    array->offset = 1;
    array->length = 2;
    StreamBatch batch(schema, std::move(array));
    ASSERT_EQ(batch.rows(), 2);
    Cell cell;
    batch.read(0, 0, cell);
    EXPECT_EQ(cell.text, "b");
    batch.read(0, 1, cell);
    EXPECT_EQ(cell.state, Cell::State::Null);
    const nanoarrow::UniqueArray result = batch.finish();
    EXPECT_EQ(result->offset, 0);
    EXPECT_EQ(result->length, 2);
    EXPECT_EQ(result->children[0]->length, 2);
    EXPECT_EQ(result->children[0]->offset, 1);
}

struct WriteCase {
    const char* name;
    const char* format;
    MadeValue before;
    Cell value;
    std::string expected;
    bool isDictionary = false;
};

void PrintTo(const WriteCase& test, std::ostream* out) {
    *out << test.name;
}

class Writes : public testing::TestWithParam<WriteCase> {};

TEST_P(Writes, ReplaceOneRow) {
    const WriteCase& test = GetParam();
    const std::vector<MadeColumn> columns{{"F", test.format, {test.before, test.before, null}, test.isDictionary}};
    const StreamSchema schema(schemaOf(columns), {{"f", FieldKind::Text}});
    StreamBatch batch(schema, batchOf(columns, 0, 3));
    batch.put(0, 1, test.value);
    nanoarrow::UniqueArray result = batch.finish();
    nanoarrow::UniqueSchema out;
    ASSERT_EQ(ArrowSchemaDeepCopy(&schema.result(), out.get()), NANOARROW_OK);
    std::vector<nanoarrow::UniqueArray> batches;
    batches.push_back(std::move(result));
    nanoarrow::UniqueArrayStream stream;
    nanoarrow::VectorArrayStream(out.get(), std::move(batches)).ToArrayStream(stream.get());
    const ReadTable table = readAll(*stream.get());
    ASSERT_EQ(table.error, "");
    ASSERT_EQ(table["F"].size(), 3U);
    EXPECT_EQ(table["F"][1], test.expected);
    EXPECT_EQ(table["F"][2], "NULL");
    EXPECT_NE(table["F"][0], "NULL");
    EXPECT_NE(table["F"][0], test.expected);
}

Cell textCell(const std::string& text) {
    return {.state = Cell::State::Value, .text = text};
}
Cell integerCell(std::int64_t value) {
    return {.state = Cell::State::Value, .integer = value, .text = {}};
}
Cell realCell(double value) {
    return {.state = Cell::State::Value, .real = value, .text = {}};
}

INSTANTIATE_TEST_SUITE_P(
    Types, Writes,
    testing::Values(WriteCase{"boolean", "b", std::int64_t{1}, integerCell(0), "0"},
                    WriteCase{"int16", "s", std::int64_t{1}, integerCell(-7), "-7"},
                    WriteCase{"int32", "i", std::int64_t{1}, integerCell(70000), "70000"},
                    WriteCase{"int64", "l", std::int64_t{1}, integerCell(1LL << 40), "1099511627776"},
                    WriteCase{"float", "f", 1.0, realCell(2.5), "2.500000"},
                    WriteCase{"double", "g", 1.0, realCell(90), "90.000000"},
                    WriteCase{"double_to_null", "g", 1.0, Cell{.state = Cell::State::Null, .text = {}}, "NULL"},
                    WriteCase{"string", "u", std::string("old"), textCell("BOYLAT13"), "BOYLAT13"},
                    WriteCase{"large_string", "U", std::string("old"), textCell("BOYLAT13"), "BOYLAT13"},
                    WriteCase{"string_view", "vu", std::string("old"), textCell(std::string(40, 'y')),
                              std::string(40, 'y')},
                    WriteCase{"dictionary", "u", std::string("old"), textCell("new"), "new", true},
                    WriteCase{"date", "tdD", std::int64_t{1}, textCell("2024-05-01"), "2024-05-01"},
                    WriteCase{"timestamp", "tsu:", std::int64_t{1}, textCell("2024-05-01T11:45:00.250Z"),
                              "2024-05-01T11:45:00.250Z"}),
    [](const auto& test) { return test.param.name; });

struct RefusedCase {
    const char* format;
    const char* type;
};

TEST(StreamSchemas, ColumnsThatCannotBeWrittenAreNamed) {
    for (const auto& [format, type] :
         {RefusedCase{"z", "binary"}, RefusedCase{"c", "int8"}, RefusedCase{"tts", "time32"},
          RefusedCase{"+l:u", "list"}, RefusedCase{"d:10,2", "decimal128"}}) {
        const std::vector<MadeColumn> columns{{"symbol_c", format, {}}};
        try {
            const StreamSchema schema(schemaOf(columns), {{"SYMBOL_C", FieldKind::Text}});
            ADD_FAILURE() << type << " was taken";
        } catch (const HostError& error) {
            EXPECT_NE(std::string(error.what())
                          .find("column 'symbol_c' cannot be written: it is of type " + std::string(type)),
                      std::string::npos)
                << error.what();
        }
    }
}

TEST(StreamSchemas, FieldsThatLackAreAddedOnceAndBehind) {
    const StreamSchema schema(
        schemaOf({{"A", "i", {}}}),
        {{"SYMBOL_C", FieldKind::Text}, {"Rotate_C", FieldKind::Real}, {"symbol_c", FieldKind::Text}});
    ASSERT_EQ(schema.result().n_children, 3);
    EXPECT_STREQ(schema.result().children[1]->name, "SYMBOL_C");
    EXPECT_STREQ(schema.result().children[1]->format, "u");
    EXPECT_STREQ(schema.result().children[2]->name, "Rotate_C");
    EXPECT_STREQ(schema.result().children[2]->format, "g");
    EXPECT_EQ(schema.givenCount(), 1U);
}

}  // namespace
