// Runs while memory runs out, in a rule or in the host: nobody may take that for an answer.
#include "api/faults.h"
#include "gdb/table_manager.h"
#include "support/calling_rule.h"
#include "support/loaded_manager.h"

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

/// Neither that it holds nor that it does not: what is compared could not be had.
TEST(RuleMemoryTest, outOfMemoryInWhatARuleComparesEndsTheRun) {
    const struct {
        const char* name;
        const char* rule;
    } rows[] = {
        {"number like a text", "<rule type='A' operator='like' field='NUMBER' value='4*'/>"},
        {"text and the number of another field",
         "<rule type='A' operator='equal' field='LENGTH' fieldValue='NUMBER'/>"},
        {"list of numbers", "<rule type='L' operator='containsany' field='CODES' value='7'/>"},
        {"number in a where clause",
         "<rule type='Q' operator='exists' table='Lights'><query>HEIGHT = %s</query><params>"
         "<param value='NUMBER'/></params></rule>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        faults::withEachAllocationFailing(1, [&](const MemoryPlan& plan) {
            SymbologyManager manager =
                managerOf("<conditionMap name='m'><featureClass name='Buoy'><condition rulename='R'>" +
                          std::string(row.rule) + "</condition></featureClass></conditionMap>");
            const auto lights = Table("Lights").field("HEIGHT", VT_R8).row({4.5}).build();
            lights->answerWhere = [](const std::string& where) {
                return where == "HEIGHT = 4.5" ? std::vector<ObjectId>{1} : std::vector<ObjectId>{};
            };
            const auto table = Table("Buoy")
                                   .symbologyFields()
                                   .field("NUMBER", VT_R8)
                                   .field("LENGTH", VT_BSTR)
                                   .field("CODES", VT_BSTR)
                                   .row({nullptr, nullptr, nullptr, nullptr, 4.5, "4.5", " 3,7.0,x"})
                                   .build();
            const auto workspace = make<memhost::Workspace>(workspaceLocalDatabase);
            workspace->add(datasetTable, lights);
            workspace->add(datasetFeatureClass, table);
            faults::Outcome outcome{};
            bool hit = false;
            {
                const MemoryFault fault(plan);
                outcome = faults::attempt([&] { return manager.symbolize(table->featureClass(), nullptr, nullptr); });
                hit = fault.hit();
            }
            if (onPortablePlatform()) {
                EXPECT_EQ(outcome, hit ? faults::Outcome::OutOfMemory : faults::Outcome::True);
            }
            if (outcome == faults::Outcome::True) {
                EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
            }
            return hit;
        });
    }
}

}  // namespace
