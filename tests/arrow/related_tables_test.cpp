// Tables that rules ask about.
#include "host/arrow/related_tables.h"
#include "arrow/made_stream.h"
#include "host/geodatabase/base/table.h"
#include "host/host_error.h"

#include <gtest/gtest.h>

namespace {

using embedded_host::Cells;
using embedded_host::HostError;
using embedded_host::ObjectIds;
using embedded_host::RelatedTables;

TEST(RelatedTables, AnswerWhereClauses) {
    RelatedTables tables;
    nanoarrow::UniqueArrayStream stream =
        streamOf({{"fid", "i", {std::int64_t{7}, std::int64_t{8}, null}},
                  {"NAME", "u", {std::string("a"), std::string("b"), std::string("a")}},
                  {"shape", "z", {null, null, null}},
                  {"SEEN", "tdD", {std::int64_t{0}, null, null}},
                  {"HIGH", "L", {std::int64_t{1}, std::int64_t{2}, std::int64_t{3}}}},
                 2);
    tables.add("Lights", *stream.get());
    EXPECT_EQ(stream->release, nullptr);
    const auto dataset = tables.dataset();
    ASSERT_TRUE(dataset->find("LIGHTS"));
    EXPECT_EQ(dataset->rowCount("lights"), 3);
    const auto table = dataset->table("LIGHTS");
    EXPECT_EQ(table->select("NAME = 'a'", false, {}), (ObjectIds{1, 3}));
    EXPECT_EQ(table->select("\"fid\" = 8 AND HIGH = 2", true, {}), (ObjectIds{2}));
    EXPECT_EQ(table->select("SEEN = '1970-01-01'", false, {}), (ObjectIds{1}));
    EXPECT_EQ(table->schema()->find(OLESTR("shape")), -1);
    Cells cells(table->schema()->columns.size());
    ASSERT_TRUE(table->fetch(2, {1}, cells));
    EXPECT_EQ(cells[1].text, "b");
    EXPECT_THROW(table->select("NOSUCH = 1", false, {}), HostError);
    EXPECT_THROW(table->update(1, {1}, cells), HostError);
    EXPECT_THROW(dataset->table("TOPMAR"), HostError);
}

TEST(RelatedTables, OfOneNameAreRefused) {
    RelatedTables tables;
    nanoarrow::UniqueArrayStream stream = streamOf({{"A", "i", {}}});
    tables.add("T", *stream.get());
    stream = streamOf({{"A", "i", {}}});
    try {
        tables.add("t", *stream.get());
        FAIL();
    } catch (const HostError& error) {
        EXPECT_STREQ(error.what(), "related table 't': there is such a table already");
    }
    EXPECT_THROW(tables.add("used", *stream.get()), HostError);
    EXPECT_EQ(tables.dataset()->entries().size(), 1U);
}

TEST(RelatedTables, ThatCannotBeReadLeaveNothing) {
    RelatedTables tables;
    nanoarrow::UniqueArrayStream stream = streamOf({{"A", "i", {}}, {"a", "i", {}}});
    EXPECT_THROW(tables.add("T", *stream.get()), HostError);  // SQL knows one name for both
    EXPECT_TRUE(tables.dataset()->entries().empty());
    stream = streamOf({{"A", "i", {std::int64_t{1}}}});
    tables.add("T", *stream.get());
    EXPECT_EQ(tables.dataset()->rowCount("T"), 1);
}

}  // namespace
