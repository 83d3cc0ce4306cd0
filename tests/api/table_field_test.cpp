// Reading and writing one field of a table's first row.
#include "memhost/table.h"
#include "symbology/symbology_manager.h"

#include <gtest/gtest.h>

namespace {

using Access = SymbologyManagerAccess;
using memhost::describe;
using memhost::FaultScope;
using memhost::Op;
using memhost::Out;
using memhost::Table;

constexpr HRESULT chosen = static_cast<HRESULT>(0x80041234U);

auto twoRows() {
    return Table("META").field("A", VT_I4).field("B", VT_BSTR).row({1, "one"}).row({2, "two"}).build();
}

TEST(TableFieldTest, readsTheFirstRow) {
    const auto table = twoRows();
    CComVariant value;
    EXPECT_EQ(Access::getTableField(table->table(), OLESTR("B"), value), S_OK);
    EXPECT_EQ(describe(value), "\"one\"");
    EXPECT_EQ(Access::getTableField(table->table(), OLESTR("A"), value), S_OK) << "the text before is released";
    EXPECT_EQ(describe(value), "I4 1");
}

TEST(TableFieldTest, writesAndStoresTheFirstRow) {
    const auto table = twoRows();
    SymbologyManager manager;
    CComVariant value(OLESTR("new"));
    EXPECT_EQ(Access::putTableField(manager, table->table(), OLESTR("B"), value), S_OK);
    EXPECT_EQ(describe(value), "\"new\"");
    EXPECT_EQ(table->text(0, "B"), "\"new\"");
    EXPECT_EQ(table->text(1, "B"), "\"two\"");
    ASSERT_EQ(table->updates.size(), 1U);
    EXPECT_EQ(table->updates[0].id, 1);
}

TEST(TableFieldTest, missingFieldIsAFailure) {
    const auto table = twoRows();
    SymbologyManager manager;
    CComVariant value(OLESTR("kept"));
    const memhost::CallCount selections(Op::TableSelect);
    EXPECT_EQ(Access::getTableField(table->table(), OLESTR("b"), value), E_FAIL);
    EXPECT_EQ(Access::putTableField(manager, table->table(), OLESTR("b"), value), E_FAIL);
    EXPECT_EQ(describe(value), "\"kept\"");
    EXPECT_EQ(selections(), 0);
}

TEST(TableFieldTest, tableWithoutRowsIsNoSuccess) {
    const auto table = Table("EMPTY").field("A", VT_I4).build();
    SymbologyManager manager;
    CComVariant value(7);
    EXPECT_NE(Access::getTableField(table->table(), OLESTR("A"), value), S_OK);
    EXPECT_NE(Access::putTableField(manager, table->table(), OLESTR("A"), value), S_OK);
    EXPECT_EQ(describe(value), "I4 7");
}

const Op readSteps[] = {Op::TableGetFields, Op::FieldsFindField, Op::TableSelect, Op::SelectionGetIds,
                        Op::IdsReset,       Op::IdsNext,         Op::TableGetRow};

TEST(TableFieldTest, eachFailingStepGivesItsOwnStatus) {
    SymbologyManager manager;
    for (const Out out : {Out::Null, Out::Untouched, Out::Filled})
        for (const Op step : readSteps) {
            const auto table = twoRows();
            CComVariant value(7);
            const FaultScope fault({.op = step, .status = chosen, .everAfter = true, .out = out});
            EXPECT_EQ(Access::getTableField(table->table(), OLESTR("A"), value), chosen) << static_cast<int>(step);
            EXPECT_EQ(Access::putTableField(manager, table->table(), OLESTR("A"), value), chosen)
                << static_cast<int>(step);
            EXPECT_EQ(fault.hits(), 2);
            EXPECT_TRUE(table->updates.empty());
        }
}

TEST(TableFieldTest, failingReadAndWriteGiveTheirOwnStatus) {
    SymbologyManager manager;
    const auto table = twoRows();
    CComVariant value(7);
    {
        const FaultScope fault({.op = Op::RowGetValue, .status = chosen});
        EXPECT_EQ(Access::getTableField(table->table(), OLESTR("A"), value), chosen);
    }
    {
        const FaultScope fault({.op = Op::RowPutValue, .status = chosen});
        EXPECT_EQ(Access::putTableField(manager, table->table(), OLESTR("A"), value), chosen);
    }
    EXPECT_TRUE(table->updates.empty()) << "a row whose value could not be put must not be stored";
    {
        const FaultScope fault({.op = Op::RowStore, .status = chosen});
        value = CComVariant(7);
        EXPECT_EQ(Access::putTableField(manager, table->table(), OLESTR("A"), value), chosen);
    }
    EXPECT_EQ(table->text(0, "A"), "I4 1");
}

TEST(TableFieldTest, statusOfTheLastCallIsReturnedAsItIs) {
    SymbologyManager manager;
    const auto table = twoRows();
    CComVariant value(7);
    {
        const FaultScope fault({.op = Op::RowGetValue, .status = S_FALSE});
        EXPECT_EQ(Access::getTableField(table->table(), OLESTR("A"), value), S_FALSE);
    }
    {
        const FaultScope fault({.op = Op::RowStore, .status = S_FALSE});
        EXPECT_EQ(Access::putTableField(manager, table->table(), OLESTR("A"), value), S_FALSE);
    }
}

TEST(TableFieldTest, stepsThatSayFalseWithAResultGoOn) {
    for (const Op step : {Op::TableGetFields, Op::FieldsFindField, Op::TableSelect, Op::SelectionGetIds, Op::IdsReset,
                          Op::TableGetRow}) {
        const auto table = twoRows();
        CComVariant value(7);
        const FaultScope fault({.op = step, .status = S_FALSE, .everAfter = true, .out = Out::Filled});
        EXPECT_EQ(Access::getTableField(table->table(), OLESTR("A"), value), S_OK) << static_cast<int>(step);
        EXPECT_EQ(describe(value), "I4 1") << static_cast<int>(step);
        EXPECT_TRUE(fault.hit());
    }
}

TEST(TableFieldTest, stepsThatSucceedWithoutAResultAreNoSuccess) {
    SymbologyManager manager;
    for (const HRESULT status : {S_OK, S_FALSE})
        for (const Op step : {Op::TableGetFields, Op::TableSelect, Op::SelectionGetIds, Op::IdsNext, Op::TableGetRow}) {
            const auto table = twoRows();
            CComVariant value(7);
            const FaultScope fault({.op = step, .status = status, .everAfter = true});
            EXPECT_NE(Access::getTableField(table->table(), OLESTR("A"), value), S_OK) << static_cast<int>(step);
            EXPECT_NE(Access::putTableField(manager, table->table(), OLESTR("A"), value), S_OK)
                << static_cast<int>(step);
        }
}

TEST(TableFieldTest, managerNeedsNoDocument) {
    const auto table = twoRows();
    CComVariant value;
    EXPECT_EQ(Access::getTableField(table->table(), OLESTR("A"), value), S_OK);
}

}  // namespace
