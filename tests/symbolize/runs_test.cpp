// Runs over a feature class or a selection of it: what the host is asked for, and its failures.
#include "host/velcore/class_registry.h"
#include "memhost/query_filter.h"
#include "memhost/workspace.h"
#include "support/calling_rule.h"
#include "support/loaded_map.h"
#include "symbolize/run_fixture.h"

#include <gtest/gtest.h>

namespace {

using memhost::bstr;
using memhost::CallCount;
using memhost::Fault;
using memhost::FaultScope;
using memhost::FilterClassScope;
using memhost::make;
using memhost::Messages;
using memhost::Op;
using memhost::Out;
using memhost::Table;
using memhost::TableObject;
using memhost::Workspace;
using std::string;
using std::vector;

CComPtr<Workspace> workspaceOf(TableObject* table) {
    auto workspace = make<Workspace>(workspaceFileSystem);
    workspace->add(datasetFeatureClass, table);
    return workspace;
}

TEST_F(RunTest, changedRowsAreWrittenBackThroughTheCursor) {
    const auto table = buoys()
                           .row({nullptr, nullptr, nullptr, nullptr, 3})
                           .row({nullptr, nullptr, nullptr, nullptr, 4})
                           .row({"R", nullptr, nullptr, 30.0, 3})
                           .row({"OLD", nullptr, nullptr, 5.0, 3})
                           .build();
    const CallCount stores(Op::RowStore);
    const CallCount fetches(Op::TableGetRow);
    EXPECT_TRUE(run(table));
    ASSERT_EQ(table->updates.size(), 2U);
    EXPECT_EQ(table->updates[0].id, 1);
    EXPECT_EQ(table->updates[1].id, 4);
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
    EXPECT_EQ(table->text(0, "Rotate_C"), "R8 30");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "NULL");
    EXPECT_EQ(table->text(3, "Rotate_C"), "R8 30");
    EXPECT_EQ(stores(), 0);
    EXPECT_EQ(fetches(), 0);
    EXPECT_TRUE(messages->entries().empty());
    expectEmptyTableManager();
    EXPECT_TRUE(run(table));
    EXPECT_EQ(table->updates.size(), 2U) << "a second run changes nothing";
}

TEST_F(RunTest, onlyReferencedFieldsAreFetched) {
    const auto table = buoys().row({}).build();
    EXPECT_TRUE(run(table));
    EXPECT_TRUE(table->lastRequest.hasFilter);
    EXPECT_EQ(table->lastRequest.fields, (vector<string>{"COLOUR", "Rotate_C", "SYMBOL_C"}));
    EXPECT_EQ(table->lastRequest.where, "");
    EXPECT_FALSE(table->lastRequest.recycling);
    EXPECT_FALSE(table->lastRequest.ofSelection);
    EXPECT_EQ(table->unfetchedReads, 0);
}

TEST_F(RunTest, classWithoutRows) {
    EXPECT_TRUE(run(buoys().build()));
}

TEST_F(RunTest, selectionLimitsTheRows) {
    const auto table = buoys()
                           .row({nullptr, nullptr, nullptr, nullptr, 3})
                           .row({nullptr, nullptr, nullptr, nullptr, 3})
                           .row({nullptr, nullptr, nullptr, nullptr, 3})
                           .build();
    const CallCount whole(Op::TableUpdate);
    EXPECT_TRUE(run(table, table->select({3, 1})));
    EXPECT_EQ(whole(), 0);
    EXPECT_TRUE(table->lastRequest.ofSelection);
    EXPECT_FALSE(table->lastRequest.recycling);
    EXPECT_EQ(table->lastRequest.fields, (vector<string>{"COLOUR", "Rotate_C", "SYMBOL_C"}));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "NULL");
    EXPECT_EQ(table->text(2, "SYMBOL_C"), "\"R\"");
}

TEST_F(RunTest, emptySelectionTouchesNoRow) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    EXPECT_TRUE(run(table, table->select({})));
    EXPECT_TRUE(table->updates.empty());
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RunTest, subtypeFieldOfTheClassReachesEveryRow) {
    const auto table = buoys()
                           .subtypes("KIND")
                           .row({nullptr, nullptr, nullptr, nullptr, 3, 7})
                           .row({nullptr, nullptr, nullptr, nullptr, 3, 8})
                           .row({nullptr, nullptr, nullptr, nullptr, 4, 7})
                           .build();
    const CallCount names(Op::SubtypesGetFieldName);
    EXPECT_TRUE(run(table));
    EXPECT_EQ(names(), 1) << "once a run";
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"S\"");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "\"R\"");
    EXPECT_EQ(table->text(2, "SYMBOL_C"), "\"S\"");
}

TEST_F(RunTest, nameOfTheSubtypeFieldDecidesNothing) {
    for (const Out out : {Out::Null, Out::Untouched, Out::Filled}) {
        const auto table = buoys().subtypes("KIND").row({nullptr, nullptr, nullptr, nullptr, 3, 7}).build();
        const FaultScope fault({.op = Op::SubtypesGetFieldName, .out = out});
        EXPECT_TRUE(run(table));
        EXPECT_TRUE(fault.hit());
        EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"S\"");
    }
}

TEST_F(RunTest, classWithoutSubtypesUsesTheDefaults) {
    const auto table =
        buoys().row({"7", nullptr, nullptr, nullptr, 3, 7}).build();  // not the first field's value either
    const CallCount names(Op::SubtypesGetFieldName);
    const CallCount positions(Op::SubtypesGetFieldIndex);
    EXPECT_TRUE(run(table));
    EXPECT_EQ(names(), 0);
    EXPECT_EQ(positions(), 0);
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
}

TEST_F(RunTest, subtypesThatCannotBeReadAreNone) {
    for (const Fault& fault : {Fault{.op = Op::SubtypesGetHasSubtype}, Fault{.op = Op::SubtypesGetFieldIndex},
                               Fault{.op = Op::SubtypesGetFieldIndex, .status = S_OK, .out = Out::Untouched}}) {
        const auto table = buoys().subtypes("KIND").row({"7", nullptr, nullptr, nullptr, 3, 7}).build();
        const FaultScope scope(fault);
        EXPECT_TRUE(run(table));
        EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"") << static_cast<int>(fault.op) << ' ' << fault.status;
    }
    const auto table = buoys().subtypes("KIND").row({nullptr, nullptr, nullptr, nullptr, 3, 7}).build();
    table->hide<ISubtypes>();
    EXPECT_TRUE(run(table));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
}

TEST_F(RunTest, tableManagerKnowsTheClassDuringTheRun) {
    const auto table = buoys().row({}).build();
    const auto workspace = workspaceOf(table);
    int calls = 0;
    CallingRule::enter(rule(), [&](auto&, auto*) {
        ++calls;
        EXPECT_EQ(textsOf(rule().tableManager->tables), (vector<string>{"BUOY", "DB.BOYLAT"}));
        EXPECT_EQ(rule().tableManager->getTable(bstr("BUOY")), table->table());
        EXPECT_EQ(rule().tableManager->workspace.p, workspace.p);
        return false;
    });
    EXPECT_TRUE(run(table));
    bool changed = false;
    EXPECT_TRUE(manager.symbolize(table->row(0).p, &changed, messages));
    EXPECT_EQ(calls, 2);
    expectEmptyTableManager();
    EXPECT_EQ(workspace->references(), 1U);
}

TEST_F(RunTest, workspaceIsThatOfTheClassWhenRowsDoNotTellTheirTable) {
    const auto table = buoys().row({}).build();
    const auto workspace = workspaceOf(table);
    int calls = 0;
    CallingRule::enter(rule(), [&](auto&, auto*) {
        ++calls;
        EXPECT_EQ(textsOf(rule().tableManager->tables), vector<string>{"BUOY"});
        EXPECT_EQ(rule().tableManager->workspace.p, workspace.p);
        return false;
    });
    const FaultScope fault({.op = Op::RowGetTable, .everAfter = true});
    EXPECT_TRUE(run(table));
    EXPECT_EQ(calls, 1);
    expectEmptyTableManager();
}

TEST_F(RunTest, classThatIsNoDatasetHasNoWorkspace) {
    const auto table = buoys().row({}).build();
    table->hide<IDataset>();
    CallingRule::enter(rule(), [&](auto&, auto*) {
        EXPECT_EQ(rule().tableManager->workspace.p, nullptr);
        return true;
    });
    EXPECT_TRUE(run(table));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
}

TEST_F(RunTest, failedRowIsReportedOnceAndTheRunGoesOn) {
    const auto table = buoys()
                           .row({nullptr, nullptr, nullptr, nullptr, 3})
                           .row({nullptr, nullptr, nullptr, nullptr, 3})
                           .row({nullptr, nullptr, nullptr, nullptr, 3})
                           .build();
    const FaultScope fault({.op = Op::RowPutValue, .nth = 3});  // the symbol of the second row
    EXPECT_TRUE(run(table));
    EXPECT_EQ(messages->messages(), vector<string>{"Failed to write value to SYMBOL_C!"});
    EXPECT_TRUE(messages->errors().empty());
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "NULL");
    EXPECT_EQ(table->text(2, "SYMBOL_C"), "\"R\"");
    EXPECT_EQ(table->updates.size(), 2U);
    expectEmptyTableManager();
}

TEST_F(RunTest, rowThatFailsHalfWayIsNotStored) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    const FaultScope fault({.op = Op::RowPutValue, .nth = 2});
    EXPECT_TRUE(run(table));
    EXPECT_EQ(messages->messages(), vector<string>{"Failed to write value to Rotate_C!"});
    EXPECT_TRUE(table->updates.empty());
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
}

TEST_F(RunTest, everyRowOfATableWithoutSymbolFieldFails) {
    const auto table = Table("x").alias("Buoy").field("COLOUR", VT_I4).row({3}).row({4}).build();
    EXPECT_TRUE(run(table));
    EXPECT_EQ(messages->messages(),
              (vector<string>{"Failed to find SYMBOL_C field!", "Failed to find SYMBOL_C field!"}));
    EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
}

TEST_F(RunTest, failedUpdateIsIgnored) {
    const auto table =
        buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    const FaultScope fault({.op = Op::CursorUpdateRow});
    EXPECT_TRUE(run(table));
    EXPECT_TRUE(messages->entries().empty());
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "\"R\"");
}

TEST_F(RunTest, rowsEndAtTheFirstAnswerOtherThanARow) {
    for (const HRESULT status : {E_FAIL, S_FALSE, S_OK}) {  // S_OK: says yes and gives no row
        const auto table =
            buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).row({nullptr, nullptr, nullptr, nullptr, 3}).build();
        const FaultScope fault({.op = Op::CursorNextRow, .status = status, .nth = 2});
        EXPECT_TRUE(run(table)) << status;
        EXPECT_EQ(table->updates.size(), 1U);
        EXPECT_TRUE(messages->entries().empty());
        expectEmptyTableManager();
    }
}

TEST_F(RunTest, failedNextRowThatGivesARowAllTheSame) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    const FaultScope fault({.op = Op::CursorNextRow, .out = Out::Filled});
    EXPECT_TRUE(run(table));
    EXPECT_TRUE(table->updates.empty());
}

TEST_F(RunTest, cursorThatCannotBeOpenedSpeaksWithTheHostsWords) {
    for (const bool ofSelection : {false, true}) {
        const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
        const auto selection = table->select({1});
        const Op op = ofSelection ? Op::SelectionUpdate : Op::TableUpdate;
        for (const Out out : {Out::Null, Out::Untouched, Out::Filled}) {
            messages->clear();
            const FaultScope fault({.op = op, .out = out, .description = "Table 'Boylat' is locked (S\xC3\xB8ren)."});
            EXPECT_FALSE(run(table, ofSelection ? selection.p : nullptr));
            EXPECT_EQ(messages->messages(), vector<string>{"Table 'Boylat' is locked (S\xC3\xB8ren)."});
            EXPECT_TRUE(table->updates.empty());
            expectEmptyTableManager();
        }
        CComPtr<IErrorInfo> left;
        EXPECT_EQ(GetErrorInfo(0, &left), S_FALSE) << "the error was taken from the thread";
    }
}

/// What the library says itself when the host gave no reason.
const vector<string> noFilter{"Failed to create query filter for: 'BUOY'!"};
const vector<string> noCursor{"Failed to open update cursor for: 'BUOY'!"};

TEST_F(RunTest, cursorThatCannotBeOpenedWithoutAReason) {
    const auto table = buoys().row({}).build();
    const struct {
        const char* name;
        Fault fault;
    } rows[] = {{"no error information", {.op = Op::TableUpdate}},
                {"empty description", {.op = Op::TableUpdate, .description = ""}},
                {"success without a cursor", {.op = Op::TableUpdate, .status = S_OK}},
                {"S_FALSE without a cursor", {.op = Op::TableUpdate, .status = S_FALSE}}};
    for (const auto& entry : rows) {
        SCOPED_TRACE(entry.name);
        messages->clear();
        const FaultScope fault(entry.fault);
        EXPECT_FALSE(run(table));
        EXPECT_EQ(messages->messages(), noCursor);
        expectEmptyTableManager();
    }
}

TEST_F(RunTest, oldErrorInformationIsNotTakenForThisFailure) {
    const auto table = buoys().row({}).build();
    memhost::setErrorDescription("an earlier failure of another call");
    const FaultScope fault({.op = Op::TableUpdate});
    EXPECT_FALSE(run(table));
    EXPECT_EQ(messages->messages(), noCursor);
}

TEST_F(RunTest, selectionThatGivesNoCursors) {
    const auto table = buoys().row({}).build();
    struct Plain final : memhost::Object<ISelectionSet> {  // no ISelectionSet2
        HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override {
            *count = 0;
            return S_OK;
        }
        HRESULT STDMETHODCALLTYPE get_IDs(IEnumIDs** ids) override {
            *ids = nullptr;
            return E_NOTIMPL;
        }
    };
    EXPECT_FALSE(run(table, make<Plain>()));
    EXPECT_EQ(messages->messages(), noCursor);
}

TEST_F(RunTest, classThatIsNoTable) {
    const auto table = buoys().row({}).build();
    table->hide<ITable>();
    EXPECT_FALSE(run(table));
    EXPECT_EQ(messages->messages(), noCursor);
}

TEST_F(RunTest, filterThatCannotBeCreated) {
    const auto table = buoys().row({}).build();
    const CallCount cursors(Op::TableUpdate);
    const VelClassFactory factories[] = {
        [](DWORD, REFIID, void** object) -> HRESULT {
            *object = nullptr;
            return E_ACCESSDENIED;
        },
        [](DWORD, REFIID, void** object) -> HRESULT {  // says yes and gives nothing
            *object = nullptr;
            return S_OK;
        },
        [](DWORD, REFIID iid, void** object) -> HRESULT {  // gives something that is no filter
            return make<Messages>()->QueryInterface(iid, object);
        },
    };
    for (const VelClassFactory factory : factories) {
        messages->clear();
        const FilterClassScope filters(factory);
        EXPECT_FALSE(run(table));
        EXPECT_EQ(messages->messages(), noFilter);
        expectEmptyTableManager();
    }
    {
        messages->clear();
        const FilterClassScope filters([](DWORD, REFIID, void** object) -> HRESULT {
            *object = nullptr;
            memhost::setErrorDescription("The filter class is not installed.");
            return E_FAIL;
        });
        EXPECT_FALSE(run(table));
        EXPECT_EQ(messages->messages(), vector<string>{"The filter class is not installed."});
    }
    EXPECT_EQ(cursors(), 0);
}

TEST_F(RunTest, filterThatRefusesAFieldIsNone) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    const FilterClassScope filters;
    const CallCount cursors(Op::TableUpdate);
    for (const long nth : {1L, 3L}) {
        messages->clear();
        const FaultScope fault({.op = Op::FilterAddField, .nth = nth});
        EXPECT_FALSE(run(table));
        EXPECT_EQ(messages->messages(), noFilter);
        expectEmptyTableManager();
    }
    {
        messages->clear();
        const FaultScope fault({.op = Op::FilterAddField, .description = "The field cannot be fetched."});
        EXPECT_FALSE(run(table));
        EXPECT_EQ(messages->messages(), vector<string>{"The field cannot be fetched."});
    }
    EXPECT_EQ(cursors(), 0) << "rows would come without a field that the rules ask for";
}

TEST_F(RunTest, emptyNameIsAFieldThatThereIsNot) {
    manager = managerOf(
        "<conditionMap name='m'><featureClass name='Buoy'><condition rulename='A'/><condition rulename='B'>"
        "<rule type='A' operator='equal' field='' value='3'/></condition></featureClass></conditionMap>");
    const auto table = buoys().row({}).build();
    EXPECT_TRUE(run(table));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"A\"");
    EXPECT_EQ(messages->messages(), (vector<string>{"Field '' referenced in CXML does not exist on db.Boylat.",
                                                    "Rule referenced field '' not found on 'Buoy'"}));
}

TEST_F(RunTest, filterIsAskedForAsTheHostsObjectFactoryWants) {
    const auto table = buoys().row({}).build();
    static int made;
    made = 0;
    const FilterClassScope filters([](DWORD context, REFIID iid, void** object) -> HRESULT {
        ++made;
        EXPECT_EQ(context, DWORD{CLSCTX_ALL});
        EXPECT_TRUE(iid == __uuidof(IUnknown));
        return FilterClassScope::createFilter(context, iid, object);
    });
    const CallCount fields(Op::FilterAddField);
    const CallCount clauses(Op::FilterPutWhereClause);
    EXPECT_TRUE(run(table));
    EXPECT_EQ(made, 1);
    EXPECT_EQ(fields(), 3);
    EXPECT_EQ(clauses(), 0);
}

TEST_F(RunTest, workspaceThatCannotBeReadStopsNothing) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    const FaultScope fault({.op = Op::DatasetGetWorkspace, .everAfter = true});
    EXPECT_TRUE(run(table));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"R\"");
}

TEST_F(RunTest, classThatDoesNotTellItsAliasNameHasNone) {
    const auto table = buoys().alias("Buoy").row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    for (const Out out : {Out::Null, Out::Untouched, Out::Filled}) {
        messages->clear();
        const FaultScope fault({.op = Op::ClassGetAliasName, .everAfter = true, .out = out});
        EXPECT_FALSE(run(table));
        EXPECT_EQ(messages->messages(), vector<string>{"No configuration defined for: ''!"});
        EXPECT_FALSE(manager.resetReps(table->featureClass()));
    }
}

TEST_F(RunTest, documentMayGoWhileARunGoesOn) {
    const auto table =
        buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    CallingRule::enter(rule(), [this](auto&, auto*) {
        manager.resetXmls();
        return true;
    });
    EXPECT_TRUE(run(table));
    EXPECT_EQ(table->updates.size(), 2U);
    EXPECT_EQ(SymbologyManagerAccess::currentMap(manager), nullptr);
}

TEST_F(RunTest, classWhoseConfigurationWasWrittenInSmallLetters) {
    manager = managerOf(
        "<conditionMap name='m'><featureClass name='buoy'><condition rulename='A'/></featureClass>"
        "</conditionMap>");
    const auto table = buoys().alias("bUoY").row({}).build();
    EXPECT_TRUE(run(table));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"A\"");
}

}  // namespace
