// Runs while memory runs out, in a rule or in the host: nobody may take that for an answer.
#include "memhost/messages.h"
#include "memhost/query_filter.h"
#include "memhost/table.h"
#include "support/calling_rule.h"
#include "support/loaded_manager.h"
#include "symbolize/table_manager.h"

#include <gtest/gtest.h>
#include <new>

namespace {

using memhost::FaultScope;
using memhost::make;
using memhost::Messages;
using memhost::Op;
using memhost::Table;
using memhost::TableObject;

constexpr const char* document = R"(<conditionMap name='m'><featureClass name='Buoy'>
  <condition rulename='R' angle='30'><rule type='A' operator='equal' field='COLOUR' value='3'/></condition>
  <subtype number='7'><condition rulename='S'/></subtype>
</featureClass></conditionMap>)";

class RunMemoryTest : public testing::Test {
protected:
    Table buoys() const {
        Table table("Buoy");
        return table.symbologyFields().field("COLOUR", VT_I4).field("KIND", VT_I4);
    }
    bool run(TableObject* table) { return manager.symbolize(table->featureClass(), nullptr, messages); }
    ConditionalXml::FeatureClassRule& rule() const { return ruleOf(manager, "BUOY"); }
    void expectEmptyTableManager() const {
        EXPECT_EQ(rule().tableManager->workspace.p, nullptr);
        EXPECT_TRUE(rule().tableManager->tables.empty());
    }

    SymbologyManager manager = managerOf(document);
    CComPtr<Messages> messages = make<Messages>();
};

TEST_F(RunMemoryTest, outOfMemoryInARowEndsTheRunAndEmptiesTheTableManager) {
    const struct {
        const char* name;
        bool (*evaluate)();
    } rows[] = {{"of a text", []() -> bool { throw CAtlException(E_OUTOFMEMORY); }},
                {"of the standard library", []() -> bool { throw std::bad_alloc(); }},
                {"of an array that is too long", []() -> bool { throw std::bad_array_new_length(); }}};
    for (const auto& entry : rows) {
        SCOPED_TRACE(entry.name);
        manager = managerOf(document);
        const auto table = buoys().row({}).row({}).build();
        int calls = 0;
        CallingRule::enter(rule(), [&](auto&, auto*) {
            ++calls;
            return entry.evaluate();
        });
        try {
            run(table);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const CAtlException& error) {
            EXPECT_EQ(error.m_hr, E_OUTOFMEMORY);
        }
        EXPECT_EQ(calls, 1);
        EXPECT_TRUE(messages->entries().empty());
        expectEmptyTableManager();
    }
}

/// Whatever the host was asked for: it did not say no, it could not say anything.
TEST_F(RunMemoryTest, outOfMemoryInTheHostEndsTheRun) {
    const memhost::FilterClassScope filters;
    for (const Op op : {Op::ClassGetAliasName, Op::DatasetGetWorkspace, Op::SubtypesGetHasSubtype,
                        Op::SubtypesGetFieldName, Op::SubtypesGetFieldIndex, Op::FilterAddField, Op::TableUpdate,
                        Op::CursorNextRow, Op::RowGetTable, Op::DatasetGetName, Op::RowGetFields, Op::FieldsFindField,
                        Op::RowGetValue, Op::RowPutValue, Op::CursorUpdateRow}) {
        SCOPED_TRACE(static_cast<int>(op));
        const auto table = buoys().subtypes("KIND").row({nullptr, nullptr, nullptr, nullptr, 3}).build();
        const FaultScope fault({.op = op, .status = E_OUTOFMEMORY});
        EXPECT_THROW(run(table), CAtlException);
        EXPECT_TRUE(fault.hit());
        EXPECT_TRUE(table->updates.empty());
        EXPECT_TRUE(messages->entries().empty());
        expectEmptyTableManager();
    }
}

}  // namespace
