// Where the fields of a row stand, and what is said of those that are missing when another cannot be looked up.
#include "memhost/messages.h"
#include "memhost/table.h"
#include "support/loaded_map.h"
#include "symbolize/row_symbolization.h"

#include <gtest/gtest.h>

namespace {

using memhost::describe;
using memhost::FaultScope;
using memhost::make;
using memhost::Messages;
using memhost::Op;
using memhost::Row;
using memhost::Table;
using memhost::TableObject;
using std::string;
using std::vector;

/// A document for the class Buoy and a row of it.
class RowFieldsTest : public testing::Test {
protected:
    void load(std::string_view content) {
        loaded = std::make_unique<LoadedMap>(LoadedMap::ofClass("Buoy", content));
        ASSERT_TRUE(loaded->result);
    }
    bool symbolize(const CComPtr<TableObject>& of) {
        table = of;
        row = table->row(0);
        ConditionalXml::FeatureClassRule& rule = loaded->rule("BUOY");
        return ConditionalXml::RowSymbolization(rule).symbolize(row, -1, messages);
    }
    bool symbolizeBuoy() {
        return symbolize(Table("db.BOYLAT")
                             .alias("Buoy")
                             .symbologyFields()
                             .field("F", VT_I4)
                             .row({nullptr, nullptr, nullptr, nullptr, 1})
                             .build());
    }
    string value(std::string_view field) const { return describe(row->value(field)); }

    std::unique_ptr<LoadedMap> loaded;
    CComPtr<TableObject> table;
    CComPtr<Row> row;
    CComPtr<Messages> messages = make<Messages>();
};

TEST_F(RowFieldsTest, fieldsMayStandAnywhereInTheTable) {
    load("<condition rulename='A' xoffset='1' yoffset='2' angle='3'/>");
    const vector<string> names{"SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C"};
    for (std::size_t first = 0; first < names.size(); ++first) {
        SCOPED_TRACE(names[first] + " at position 0");
        Table fields("x");
        for (std::size_t i = 0; i < names.size(); ++i) {
            const string& name = names[(first + i) % names.size()];
            fields.field(name, name == "SYMBOL_C" ? VT_BSTR : VT_R8);
        }
        EXPECT_TRUE(symbolize(fields.alias("Buoy").row({}).build()));
        EXPECT_EQ(value("SYMBOL_C"), "\"A\"");
        EXPECT_EQ(value("Xoffset_C"), "R8 1");
        EXPECT_EQ(value("Yoffset_C"), "R8 2");
        EXPECT_EQ(value("Rotate_C"), "R8 3");
    }
}

TEST_F(RowFieldsTest, fieldsMissingBeforeALookupThatFailsAreReported) {
    load(
        "<condition rulename='A'><rule type='A' operator='equal' field='ABSENT' value='1'/></condition>"
        "<condition><rule type='A' operator='equal' field='F' fieldValue='GONE'/></condition>");
    const vector<string> before{"Field 'ABSENT' referenced in CXML does not exist on db.BOYLAT."};
    for (const int again : {0, 1}) {
        messages->clear();
        const FaultScope fault({.op = Op::FieldsFindField, .nth = 6});  // F, after the target fields and ABSENT
        EXPECT_FALSE(symbolizeBuoy());
        EXPECT_TRUE(fault.hit());
        EXPECT_EQ(messages->messages(), before) << again;
        EXPECT_FALSE(row->isEdited());
    }
    // A value in front of the missing field that cannot be read ends the row before.
    messages->clear();
    load("<condition><rule type='A' operator='equal' field='F' fieldValue='GONE'/></condition>");
    const FaultScope read({.op = Op::RowGetValue});
    const FaultScope lookup({.op = Op::FieldsFindField, .nth = 7});  // SYMBOL_C, after F and GONE
    EXPECT_FALSE(symbolizeBuoy());
    EXPECT_TRUE(read.hit());
    EXPECT_TRUE(messages->entries().empty());
}

}  // namespace
