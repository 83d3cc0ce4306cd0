// A document of every kind of rule over a small chart, for tests in which things fail on the way.
#pragma once

#include "cxml/condition_map.h"
#include "memhost/messages.h"
#include "memhost/query_filter.h"
#include "memhost/table.h"
#include "memhost/workspace.h"
#include "rules/query_rules.h"
#include "support/documents.h"
#include "support/leak_check.h"
#include "support/memory_fault.h"
#include "symbology/symbology_manager.h"

#include <gtest/gtest.h>
#include <functional>
#include <map>
#include <stdexcept>

namespace faults {

using Access = SymbologyManagerAccess;
using memhost::bstr;
using memhost::Fault;
using memhost::FaultScope;
using memhost::make;
using memhost::Messages;
using memhost::Op;
using memhost::Out;
using memhost::Table;
using memhost::TableObject;
using std::string;
using std::vector;

/// A table of buoys in a workspace that has a table of lights, too; a remote workspace has it under its owner's name.
class Chart {
public:
    explicit Chart(WorkspaceType type = workspaceLocalDatabase)
        : workspace_(make<memhost::Workspace>(type)),
          lights_(Table(type == workspaceRemoteDatabase ? "db.Lights" : "Lights")
                      .field("CODE", VT_BSTR)
                      .row({"x"})
                      .row({"y"})
                      .build()) {
        lights_->answerWhere = [](const string& where) {
            return where.starts_with("NAME = 'Anna'") ? vector<ObjectId>{1, 2} : vector<ObjectId>{};
        };
        workspace_->add(datasetTable, lights_);
        workspace_->add(datasetFeatureClass, buoys_);
    }

    TableObject* operator->() const { return buoys_; }
    const TableObject& operator*() const { return *buoys_; }

private:
    CComPtr<memhost::Workspace> workspace_;
    CComPtr<TableObject> lights_;
    CComPtr<TableObject> buoys_ = Table("db.Buoy")
                                      .alias("Buoy")
                                      .symbologyFields()
                                      .field("COLOUR", VT_I4)
                                      .field("NAME", VT_BSTR)
                                      .field("DEPTH", VT_R8)
                                      .field("LIMIT", VT_R8)
                                      .field("KIND", VT_I4)
                                      .field("LABEL", VT_BSTR)
                                      .field("CODES", VT_BSTR)
                                      .subtypes("KIND")
                                      .unfetched(memhost::Unfetched::HasItsValue)
                                      .forgetsUpdates()
                                      .row({nullptr, nullptr, nullptr, nullptr, 3, "Anna", 4.5, 3.0, 1, nullptr, "1,3"})
                                      .row({"OLD", 1.0, 1.0, 1.0, 5, "Bo", 20.0, 3.0, 1, "lab"})
                                      .row({nullptr, nullptr, nullptr, nullptr, 4, "Carl", nullptr, nullptr, 2})
                                      .build();
};

/// What must not be missing of a kept condition: its rules, what they compare with, what the queries among them ask and
/// fetch, and its expression.
inline string signatureOf(const ConditionalXml::Condition& condition) {
    string text = std::to_string(condition.rules.size()) + " rules";
    for (const auto& rule : condition.rules) {
        if (const auto* attribute = dynamic_cast<const ConditionalXml::CXAttributeRule*>(rule.get())) {
            for (const CComVariant& operand : attribute->values) text += ", " + memhost::describe(operand);
            if (attribute->valueFieldName.Length() != 0) text += ", a field";
        }
        if (const auto* query = dynamic_cast<const ConditionalXml::QueryRule*>(rule.get()))
            text += ", " + std::to_string(query->where.pieces().size()) + " pieces";
        if (const auto* fetch = dynamic_cast<const ConditionalXml::QueryRuleFetch*>(rule.get()))
            text += fetch->fetchFields.empty() ? ", no field" : ", fields";  // one that cannot be read is left out
    }
    if (!condition.expressionText.empty()) text += ", an expression";
    return text;
}

/// The whole table for reading, row by row.
inline vector<string> contentOf(const TableObject& table) {
    vector<string> rows(table.rowCount());
    for (std::size_t row = 0; row < rows.size(); ++row)
        for (const char* field : {"SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C", "COLOUR", "NAME", "LABEL"})
            rows[row] += string(field) + '=' + table.text(row, field) + ' ';
    return rows;
}

/// How an attempt ended.
enum class Outcome { True, False, RuntimeError, OutOfMemory };

template <class Body>
Outcome attempt(Body&& body) {
    try {
        return body() ? Outcome::True : Outcome::False;
    } catch (const std::runtime_error&) {
        return Outcome::RuntimeError;
    } catch (const CAtlException& error) {
        EXPECT_EQ(error.m_hr, E_OUTOFMEMORY);
        return Outcome::OutOfMemory;
    }
    // Anything else leaves the test, which fails it.
}

class FaultsTest : public testing::Test {
protected:
    FaultsTest() {
        SymbologyManager manager;
        EXPECT_TRUE(manager.loadCXML(path, nullptr));
        for (const auto& condition : Access::currentMap(manager)->conditions)
            wholeConditions[memhost::utf8(condition->rulename.m_str)] = signatureOf(*condition);
        const Chart table;
        wholeConditions.erase("");
        before = contentOf(*table);
        EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
        wholeRun = contentOf(*table);
    }

    /// The manager must load the document and symbolize with it as if nothing had ever failed.
    void expectUsable(SymbologyManager& manager) const {
        EXPECT_TRUE(manager.loadCXML(path, nullptr));
        const Chart table;
        EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
        EXPECT_EQ(contentOf(*table), wholeRun);
    }

    /// A condition that was kept has all its rules: with fewer it would match rows that it must not match.
    void expectWholeConditions(const SymbologyManager& manager) const {
        if (!Access::currentMap(manager)) return;
        for (const auto& condition : Access::currentMap(manager)->conditions) {
            const auto whole = wholeConditions.find(memhost::utf8(condition->rulename.m_str));
            if (whole == wholeConditions.end()) continue;
            EXPECT_EQ(signatureOf(*condition), whole->second) << whole->first;
        }
    }

    const CComBSTR path = bstr(testFile("api/data/harbour.xml"));
    std::map<string, string> wholeConditions;  // signatures by rule name; without the unnamed ones
    vector<string> before;                     // the table's content
    vector<string> wholeRun;                   // and what a run makes of it
};

/// Calls `body`, which is to run something under a MemoryFault and to answer whether it was hit, with the n-th
/// allocation failing, for n from 1 until there is no n-th one: of texts and of blocks, that one alone and all after.
/// \param least how many allocations of each kind there must be, or the test tests nothing.
inline void withEachAllocationFailing(long least, const std::function<bool(const MemoryPlan&)>& body) {
    for (const Memory memory : {Memory::Texts, Memory::Blocks})
        for (const bool allAfter : {false, true}) {
            SCOPED_TRACE(string(memory == Memory::Texts ? "texts" : "blocks") + (allAfter ? ", all after" : ""));
            long nth = 1;
            for (;; ++nth) {
                SCOPED_TRACE("allocation " + std::to_string(nth));
                const auto before = liveCounts();
                const bool hit = body({memory, nth, allAfter});
                EXPECT_EQ(liveCounts(), before);
                if (testing::Test::HasFailure()) return;
                if (!hit) break;
            }
            EXPECT_GT(nth, least);
        }
}

/// Calls `body` with the n-th call failing, for n from 1 until there is no n-th call, once for each way to fail.
inline void withEachCallFailing(Op op, const std::function<void(const FaultScope&, const Fault&)>& body) {
    for (const HRESULT status : {E_FAIL, E_OUTOFMEMORY, S_FALSE})
        for (const Out out : {Out::Null, Out::Untouched, Out::Filled})
            for (const bool everAfter : {false, true})
                for (long nth = 1;; ++nth) {
                    const Fault fault{.op = op, .status = status, .nth = nth, .everAfter = everAfter, .out = out};
                    const FaultScope scope(fault);
                    body(scope, fault);
                    if (!scope.hit()) break;
                    if (testing::Test::HasFailure()) {
                        ADD_FAILURE() << "call " << nth << " status " << status << " out " << static_cast<int>(out)
                                      << (everAfter ? " and all after" : "");
                        return;
                    }
                }
}

}  // namespace faults
