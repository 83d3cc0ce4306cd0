// Query rules over a host that fails or runs out of memory.
#include "rules/query_rule_fixture.h"

#include <gtest/gtest.h>

namespace {

using memhost::bstr;
using memhost::FaultScope;
using memhost::Op;
using memhost::Out;
using std::string;

struct FailingCall {
    const char* name;
    Op op;
    bool fetches;
};

TEST_F(QueryRuleTest, failuresOfTheHostAreFalse) {
    found = {1};
    const FailingCall rows[] = {
        {"exists: select", Op::TableSelect, false}, {"exists: count", Op::SelectionGetCount, false},
        {"fetch: select", Op::TableSelect, true},   {"fetch: ids", Op::SelectionGetIds, true},
        {"fetch: reset", Op::IdsReset, true},       {"fetch: next", Op::IdsNext, true},
        {"fetch: row", Op::TableGetRow, true},      {"exists: open", Op::OpenTable, false},
        {"fetch: open", Op::OpenTable, true},       {"exists: where clause", Op::FilterPutWhereClause, false},
        {"fetch: field", Op::FilterAddField, true}, {"fetch: where clause", Op::FilterPutWhereClause, true}};
    const memhost::FilterClassScope filters;
    for (const FailingCall& row : rows)
        for (const Out out : {Out::Null, Out::Untouched}) {
            owner.tableManager->prepare(workspace.p, buoys->table(), bstr("BUOY"));
            owner.tableManager->tables.erase(bstr("LIGHTS"));
            const FaultScope fault({.op = row.op, .everAfter = true, .out = out});
            EXPECT_FALSE(holds(row.fetches ? fetchElement() : existsElement)) << row.name;
            EXPECT_TRUE(fault.hit()) << row.name;
        }
    EXPECT_TRUE(messages->entries().empty());
    EXPECT_TRUE(holds(existsElement)) << "and the next row is asked for again";
}

TEST_F(QueryRuleTest, callsThatSucceedWithoutAnObjectAreFalse) {
    found = {1};
    for (const Op op : {Op::TableSelect, Op::SelectionGetIds, Op::TableGetRow}) {
        const FaultScope fault({.op = op, .status = S_OK, .everAfter = true});
        EXPECT_FALSE(holds(fetchElement()));
        EXPECT_TRUE(fault.hit());
    }
}

TEST_F(QueryRuleTest, filterThatRefusesWhatItIsGivenAsksForNothing) {
    found = {1};
    const memhost::FilterClassScope filters;
    const struct {
        const char* name;
        Op op;
        long nth;
        string element;
    } rows[] = {{"exists: where clause", Op::FilterPutWhereClause, 1, existsElement},
                {"fetch: first field", Op::FilterAddField, 1, fetchElement()},
                {"fetch: last field", Op::FilterAddField, 2, fetchElement()},
                {"fetch: where clause", Op::FilterPutWhereClause, 1, fetchElement()}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const FaultScope fault({.op = row.op, .nth = row.nth});
        EXPECT_FALSE(holds(row.element));
        EXPECT_TRUE(fault.hit());
    }
    EXPECT_TRUE(lights->selects.empty());
    EXPECT_TRUE(valuesOf("LightHeight").empty());
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(QueryRuleTest, memoryThatRunsOutInTheHostIsNoAnswer) {
    found = {1};
    const memhost::FilterClassScope filters;
    const FailingCall rows[] = {{"exists: where clause", Op::FilterPutWhereClause, false},
                                {"exists: open", Op::OpenTable, false},
                                {"exists: select", Op::TableSelect, false},
                                {"exists: count", Op::SelectionGetCount, false},
                                {"fetch: field", Op::FilterAddField, true},
                                {"fetch: ids", Op::SelectionGetIds, true},
                                {"fetch: reset", Op::IdsReset, true},
                                {"fetch: next", Op::IdsNext, true},
                                {"fetch: row", Op::TableGetRow, true},
                                {"fetch: fields", Op::RowGetFields, true},
                                {"fetch: position", Op::FieldsFindField, true},
                                {"fetch: value", Op::RowGetValue, true}};
    for (const FailingCall& row : rows) {
        SCOPED_TRACE(row.name);
        owner.tableManager->tables.erase(bstr("LIGHTS"));
        const FaultScope fault({.op = row.op, .status = E_OUTOFMEMORY});
        try {
            holds(row.fetches ? fetchElement() : existsElement);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const CAtlException& error) {
            EXPECT_EQ(error.m_hr, E_OUTOFMEMORY);
        }
        EXPECT_TRUE(fault.hit());
    }
    {
        SCOPED_TRACE("filter");
        const memhost::FilterClassScope none([](DWORD, REFIID, void** object) -> HRESULT {
            *object = nullptr;
            return E_OUTOFMEMORY;
        });
        EXPECT_THROW(holds(existsElement), CAtlException);
    }
}

TEST_F(QueryRuleTest, withoutAFilterTheWholeTableIsAsked) {
    const memhost::FilterClassScope none([](DWORD, REFIID, void** object) -> HRESULT {
        *object = nullptr;
        return E_FAIL;
    });
    EXPECT_TRUE(holds(existsElement));
    ASSERT_EQ(lights->selects.size(), 1U);
    EXPECT_FALSE(lights->selects[0].hasFilter);
}

}  // namespace
