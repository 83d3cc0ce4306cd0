// Connection strings and names of tables: what is read out of them, and what is refused.
#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/postgres/pg_names.h"
#include "host/geodatabase/postgres/pg_values.h"

#include <gtest/gtest.h>

namespace {

using embedded_host::HostError;
using embedded_host::parsePgSettings;
using embedded_host::parseTableName;
using embedded_host::PgSettings;
using embedded_host::qualifyTableName;
using embedded_host::StatusError;
using embedded_host::TableName;

struct ParsedName {
    const char* edge;
    const char* name;
    const char* parts;  // database|owner|table, or the failure's text
};

std::string parsed(const std::string& name) {
    try {
        const TableName parts = parseTableName(name);
        return parts.database + '|' + parts.owner + '|' + parts.table;
    } catch (const StatusError& error) {
        EXPECT_EQ(error.status(), E_INVALIDARG);
        return error.what();
    }
}

TEST(Names, Parse) {
    const ParsedName rows[] = {
        {"table", "lights", "||lights"},
        {"owner and table", "enc.lights", "|enc|lights"},
        {"database too", "chart.enc.lights", "chart|enc|lights"},
        {"case stays", "Chart.ENC.Lights", "Chart|ENC|Lights"},
        {"quoted point", "enc.\"li.ghts\"", "|enc|li.ghts"},
        {"quoted quote", "\"a\"\"b\"", "||a\"b"},
        {"blank inside", "enc.my lights", "|enc|my lights"},
        {"empty", "", "'' is not the name of a table"},
        {"empty part", "enc..lights", "'enc..lights' is not the name of a table"},
        {"empty quoted part", "enc.\"\"", "'enc.\"\"' is not the name of a table"},
        {"open quote", "\"lights", "'\"lights' is not the name of a table"},
        {"four parts", "a.b.c.d", "'a.b.c.d' is not the name of a table"},
    };
    for (const ParsedName& row : rows) EXPECT_EQ(parsed(row.name), row.parts) << row.edge;
}

TEST(Names, QualifyQuotesOnlyWhatWouldBeMisread) {
    EXPECT_EQ(qualifyTableName({"chart", "enc", "Lights"}), "chart.enc.Lights");
    EXPECT_EQ(qualifyTableName({"", "e.c", "a\"b"}), "\"e.c\".\"a\"\"b\"");
    EXPECT_EQ(qualifyTableName({"", "", "lights"}), "lights");
    EXPECT_THROW(qualifyTableName({"chart", "enc", ""}), StatusError);
    EXPECT_EQ(qualifyTableName({"", "", std::string(63, 'x')}), std::string(63, 'x'));
    EXPECT_THROW(qualifyTableName({"", "", std::string(64, 'x')}), StatusError);
}

TEST(Names, WhatIsQualifiedIsParsedBack) {
    for (const char* name : {"lights", "Li.ghts", "a\"b", "\"", ".", "my lights"}) {
        const TableName back = parseTableName(qualifyTableName({"chart", "enc", name}));
        EXPECT_EQ(back.table, name);
        EXPECT_EQ(back.owner, "enc");
    }
}

TEST(Settings, WhichDatasetsAreOnAServer) {
    for (const char* name : {"PG:dbname=chart", "pg:", "PGB:dbname=chart", "postgresql://host/chart", "postgres://h"})
        EXPECT_TRUE(embedded_host::isPostgresName(name)) << name;
    for (const char* name : {"chart.gpkg", "PG", "", "PGPORT", "./PG:x"})
        EXPECT_FALSE(embedded_host::isPostgresName(name)) << name;
}

TEST(Settings, AdditionsAreTakenOutOfWhatLibpqIsTold) {
    const PgSettings settings =
        parsePgSettings("PG:dbname='my chart' schemas=enc,Extra active_schema=enc password = 'it\\'s'");
    EXPECT_EQ(settings.connection, "dbname='my chart' password='it\\'s' ");
    EXPECT_EQ(settings.schemas, (std::vector<std::string>{"enc", "Extra"}));
    EXPECT_EQ(settings.activeSchema, "enc");
    EXPECT_EQ(parsePgSettings("postgresql://u@h/d").connection, "postgresql://u@h/d");
    EXPECT_EQ(parsePgSettings("PG:").connection, "");
    EXPECT_THROW(parsePgSettings("PG:dbname='chart"), HostError);
    EXPECT_THROW(parsePgSettings("PG:chart"), HostError);
}

TEST(Values, NumbersOfEveryWidth) {
    using namespace std::string_view_literals;
    EXPECT_EQ(embedded_host::readInt64("\xFF\xFE"sv), -2);
    EXPECT_EQ(embedded_host::readInt64("\x7F\xFF\xFF\xFF"sv), 2147483647);
    EXPECT_EQ(embedded_host::readInt64("\x80\0\0\0\0\0\0\0"sv), INT64_MIN);
    EXPECT_EQ(embedded_host::readInt64("\1"sv), 1);
    EXPECT_EQ(embedded_host::readDouble("\x3F\xC0\0\0"sv), 1.5);
    EXPECT_EQ(embedded_host::readDouble("\xBF\xF8\0\0\0\0\0\0"sv), -1.5);
}

}  // namespace
