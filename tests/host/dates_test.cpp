// Dates between ISO 8601 and DATE.
#include "host/geodatabase/objects/dates.h"

#include "host/geodatabase/base/status_error.h"

#include <gtest/gtest.h>

namespace embedded_host {
namespace {

struct DateCase {
    const char* name;
    ColumnType type;
    const char* text;
    DATE date;
};

class DatePairs : public testing::TestWithParam<DateCase> {};

TEST_P(DatePairs, ReadAndWrittenAlike) {
    DATE date = 0;
    ASSERT_TRUE(parseIso(GetParam().type, GetParam().text, date));
    EXPECT_DOUBLE_EQ(date, GetParam().date);
    EXPECT_EQ(isoText(GetParam().type, date), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Dates, DatePairs,
    testing::Values(DateCase{"dayZero", ColumnType::Date, "1899-12-30", 0},
                    DateCase{"beforeDayZero", ColumnType::Date, "1899-12-29", -1},
                    DateCase{"leapDay", ColumnType::Date, "2024-02-29", 45351},
                    DateCase{"firstYear", ColumnType::Date, "0100-01-01", -657434},
                    DateCase{"lastYear", ColumnType::Date, "9999-12-31", 2958465},
                    DateCase{"noon", ColumnType::DateTime, "2024-02-29T12:00:00.000Z", 45351.5},
                    DateCase{"noonBeforeDayZero", ColumnType::DateTime, "1899-12-28T12:00:00.000Z", -2.5},
                    DateCase{"milliseconds", ColumnType::DateTime, "2024-02-29T00:00:00.250Z", 45351 + 0.25 / 86400},
                    DateCase{"timeOnly", ColumnType::Time, "18:00:00.000", 0.75}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Dates, WhatIsNoDateIsNotRead) {
    DATE date = 0;
    EXPECT_FALSE(parseIso(ColumnType::Date, "tomorrow", date));
    EXPECT_FALSE(parseIso(ColumnType::Date, "2023-02-29", date));
    EXPECT_FALSE(parseIso(ColumnType::Date, "", date));
    EXPECT_FALSE(parseIso(ColumnType::Time, "noon", date));
}

TEST(Dates, APartThatTheColumnWouldLoseIsRefused) {
    EXPECT_THROW(isoText(ColumnType::Date, 45351.5), StatusError);
    EXPECT_THROW(isoText(ColumnType::Time, 45351.5), StatusError);
    EXPECT_THROW(isoText(ColumnType::DateTime, 1e9), StatusError);
    EXPECT_THROW(isoText(ColumnType::DateTime, -1e9), StatusError);
}

TEST(Dates, RoundingCarriesIntoTheNextDay) {
    EXPECT_EQ(isoText(ColumnType::DateTime, 1 - 1e-10), "1899-12-31T00:00:00.000Z");
}

}  // namespace
}  // namespace embedded_host
