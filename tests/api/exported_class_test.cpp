// The library as a host has it: through the exported class of the shared library, nothing else of it in reach.
#include "memhost/messages.h"
#include "memhost/table.h"
#include "support/allocation_fault.h"
#include "support/documents.h"
#include "symbology/symbology_manager.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using Access = SymbologyManagerAccess;
using memhost::bstr;
using memhost::make;
using memhost::Messages;
using memhost::Table;
using memhost::utf8;
using std::string;
using std::vector;

constexpr const char* document = R"(<conditionMap name='Harbour' alias='Havn'><featureClass name='Buoy'>
  <condition rulename='R' xoffset='1.5'><rule type='A' operator='equal' field='COLOUR' value='3'/></condition>
</featureClass></conditionMap>)";

Table buoys() {
    Table table("Boylat");
    return table.alias("Buoy").symbologyFields().field("COLOUR", VT_I4);
}

class ExportedClassTest : public testing::Test {
protected:
    bool load(std::string_view xml) { return manager.loadCXML(bstr(folder.write("document.xml", xml)), messages); }

    TemporaryFolder folder;
    CComPtr<Messages> messages = make<Messages>();
    SymbologyManager manager;
};

TEST_F(ExportedClassTest, symbolizesAClass) {
    ASSERT_TRUE(load(document));
    const auto table =
        buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).row({"X", nullptr, nullptr, nullptr, 4}).build();
    EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, messages));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
    EXPECT_EQ(table->text(0, "Xoffset_C"), "R8 1.5");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "\"X\"");
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(ExportedClassTest, symbolizesASelectionAndARow) {
    ASSERT_TRUE(load(document));
    const auto table =
        buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    EXPECT_TRUE(manager.symbolize(table->featureClass(), table->select({2}), messages));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "\"R\"");
    bool changed = false;
    const auto row = table->row(0);
    EXPECT_TRUE(manager.symbolize(row.p, &changed, messages));
    EXPECT_TRUE(changed);
    EXPECT_EQ(row->Store(), S_OK);
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
}

TEST_F(ExportedClassTest, resets) {
    ASSERT_TRUE(load(document));
    const auto table = buoys().row({"R", 1.5, nullptr, nullptr, 3}).build();
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
    EXPECT_EQ(table->text(0, "Xoffset_C"), "R8 1.5");
    manager.resetXmls();
    EXPECT_FALSE(manager.resetReps(table->featureClass()));
    EXPECT_FALSE(manager.symbolize(table->featureClass(), nullptr, messages));
}

TEST_F(ExportedClassTest, exceptionsCrossTheBorderOfTheLibrary) {
    try {
        load("<conditionMap name='x'>");
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(string(error.what()).find("Failed to parse CXML: "), 0U) << error.what();
    }
    EXPECT_THROW(load("<conditionMap name='m'><functionLibrary><expression name='f'/><expressionFile name='f'/>"
                      "</functionLibrary></conditionMap>"),
                 std::runtime_error);
    ASSERT_TRUE(load(document));
    const auto table = buoys().row({}).build();
    const memhost::FaultScope fault({.op = memhost::Op::CursorUpdateRow});
    EXPECT_THROW(manager.resetReps(table->featureClass()), std::runtime_error);
}

TEST_F(ExportedClassTest, runningOutOfMemoryCrossesItToo) {
    ASSERT_TRUE(load(document));
    const CComBSTR path = bstr(folder.path() + "/document.xml");
    const AllocationFault fault(1, true);
    try {
        manager.loadCXML(path, nullptr);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const CAtlException& error) {
        EXPECT_EQ(error.m_hr, E_OUTOFMEMORY);
    }
}

TEST_F(ExportedClassTest, failuresBecomeMessages) {
    ASSERT_TRUE(load(document));
    const auto beacons = buoys().alias("Beacon").build();
    EXPECT_FALSE(manager.symbolize(beacons->featureClass(), nullptr, messages));
    const auto table = buoys().row({}).build();
    const memhost::FaultScope fault({.op = memhost::Op::TableUpdate, .description = "locked"});
    EXPECT_FALSE(manager.symbolize(table->featureClass(), nullptr, messages));
    EXPECT_EQ(messages->messages(), (vector<string>{"No configuration defined for: 'BEACON'!", "locked"}));
}

TEST_F(ExportedClassTest, copiesShareTheDocument) {
    ASSERT_TRUE(load(document));
    SymbologyManager copy(manager);
    SymbologyManager assigned;
    assigned = copy;
    manager.resetXmls();
    for (SymbologyManager* holder : {&copy, &assigned}) {
        const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
        EXPECT_TRUE(holder->symbolize(table->featureClass(), nullptr, messages));
        EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
        EXPECT_EQ(utf8(Access::documentName(*holder)), "Harbour");
    }
}

TEST_F(ExportedClassTest, tableHelpers) {
    const auto table = buoys().row({"R"}).build();
    CComVariant value;
    EXPECT_EQ(Access::getTableField(table->table(), OLESTR("SYMBOL_C"), value), S_OK);
    EXPECT_EQ(memhost::describe(value), "\"R\"");
    value = CComVariant(OLESTR("S"));
    EXPECT_EQ(Access::putTableField(manager, table->table(), OLESTR("SYMBOL_C"), value), S_OK);
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"S\"");
    EXPECT_EQ(Access::getTableField(table->table(), OLESTR("ABSENT"), value), E_FAIL);
}

}  // namespace
