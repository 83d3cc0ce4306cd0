// The two symbolize methods: null arguments, configurations by alias name, and what becomes of failures.
#include "memhost/messages.h"
#include "memhost/table.h"
#include "support/calling_rule.h"
#include "support/loaded_manager.h"

#include <gtest/gtest.h>
#include <new>
#include <stdexcept>

namespace {

using memhost::FaultScope;
using memhost::make;
using memhost::Messages;
using memhost::Op;
using memhost::Table;
using testing::Test;

constexpr const char* document =
    "<conditionMap name='m'><featureClass name='Buoy'>"
    "<condition rulename='BOY01'><rule type='A' field='COLOUR' operator='equal' value='3'/></condition>"
    "</featureClass></conditionMap>";

Table buoys() {
    Table table("DB.OWNER.BOYLAT");
    table.alias("Buoy").symbologyFields().field("COLOUR", VT_I4);
    return table;
}

std::vector<std::string> texts(std::initializer_list<const char*> list) {
    return {list.begin(), list.end()};
}

class SymbolizeClassTest : public Test {
protected:
    SymbologyManager manager = managerOf(document);
    CComPtr<Messages> messages = make<Messages>();
};

TEST_F(SymbolizeClassTest, nullClassIsFalseAndSilent) {
    EXPECT_FALSE(manager.symbolize(static_cast<IFeatureClass*>(nullptr), nullptr, messages));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(SymbolizeClassTest, withoutDocumentIsFalse) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    SymbologyManager empty;
    EXPECT_FALSE(empty.symbolize(table->featureClass(), nullptr, messages));
    manager.resetXmls();
    EXPECT_FALSE(manager.symbolize(table->featureClass(), nullptr, messages));
    EXPECT_TRUE(table->updates.empty());
}

TEST_F(SymbolizeClassTest, aliasNameInUpperCaseFindsTheConfiguration) {
    for (const char* alias : {"Buoy", "BUOY", "buoy", "bUOY"}) {
        const auto table = buoys().alias(alias).row({nullptr, nullptr, nullptr, nullptr, 3}).build();
        EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, messages)) << alias;
        EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"BOY01\"") << alias;
    }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(SymbolizeClassTest, datasetNameDoesNotCount) {
    const auto table = Table("BUOY").alias("Beacon").symbologyFields().field("COLOUR", VT_I4).build();
    EXPECT_FALSE(manager.symbolize(table->featureClass(), nullptr, messages));
    EXPECT_EQ(messages->messages(), texts({"No configuration defined for: 'BEACON'!"}));
    EXPECT_TRUE(messages->errors().empty());
}

TEST_F(SymbolizeClassTest, missingConfigurationWithoutMessages) {
    const auto table = buoys().alias("Beacon").build();
    EXPECT_FALSE(manager.symbolize(table->featureClass(), nullptr, nullptr));
}

TEST_F(SymbolizeClassTest, emptyAliasName) {
    const auto table = buoys().alias("").build();
    EXPECT_FALSE(manager.symbolize(table->featureClass(), nullptr, messages));
    EXPECT_EQ(messages->messages(), texts({"No configuration defined for: ''!"}));
}

TEST_F(SymbolizeClassTest, aliasBeyondAsciiIsUpperCased) {
    const auto table = buoys().alias("B\xC3\xB8je").build();
    EXPECT_FALSE(manager.symbolize(table->featureClass(), nullptr, messages));
    EXPECT_EQ(messages->messages(), texts({"No configuration defined for: 'B\xC3\x98JE'!"}));
}

TEST_F(SymbolizeClassTest, standardExceptionOfTheRunBecomesAMessage) {
    const auto table = buoys().build();
    const FaultScope fault({.op = Op::TableUpdate, .description = "The table is locked by J\xC3\xB8rgen."});
    EXPECT_FALSE(manager.symbolize(table->featureClass(), nullptr, messages));
    const std::vector<Messages::Entry> expected{{false, 0, "The table is locked by J\xC3\xB8rgen."}};
    EXPECT_EQ(messages->entries(), expected);
}

TEST_F(SymbolizeClassTest, outOfMemoryLeavesAsAnException) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    CallingRule::enter(ruleOf(manager, "BUOY"), [](auto&, auto*) -> bool { throw CAtlException(E_OUTOFMEMORY); });
    try {
        manager.symbolize(table->featureClass(), nullptr, messages);
        FAIL() << "nothing was thrown";
    } catch (const CAtlException& error) {
        EXPECT_EQ(error.m_hr, E_OUTOFMEMORY);
    }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(SymbolizeClassTest, exceptionsThatAreNotStandardPassThrough) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    CallingRule::enter(ruleOf(manager, "BUOY"), [](auto&, auto*) -> bool { throw 42; });
    EXPECT_THROW(manager.symbolize(table->featureClass(), nullptr, messages), int);
}

class SymbolizeRowTest : public SymbolizeClassTest {
protected:
    bool changed = false;
};

TEST_F(SymbolizeRowTest, nullArgumentsAreFalse) {
    const auto table = buoys().row({}).build();
    const auto row = table->row(0);
    EXPECT_FALSE(manager.symbolize(static_cast<IRow*>(nullptr), &changed, messages));
    EXPECT_FALSE(manager.symbolize(row.p, static_cast<bool*>(nullptr), messages));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(SymbolizeRowTest, changedRowIsReportedAndNotStored) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    const auto row = table->row(0);
    EXPECT_TRUE(manager.symbolize(row.p, &changed, messages));
    EXPECT_TRUE(changed);
    EXPECT_EQ(memhost::describe(row->value("SYMBOL_C")), "\"BOY01\"");
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
    EXPECT_TRUE(table->updates.empty());
}

TEST_F(SymbolizeRowTest, changedAccumulates) {
    const auto table = buoys()
                           .row({nullptr, nullptr, nullptr, nullptr, 3})
                           .row({"BOY01", nullptr, nullptr, nullptr, 3})
                           .row({nullptr, nullptr, nullptr, nullptr, 4})
                           .build();
    EXPECT_TRUE(manager.symbolize(table->row(1).p, &changed, messages));
    EXPECT_FALSE(changed) << "the row has its symbol already";
    EXPECT_TRUE(manager.symbolize(table->row(0).p, &changed, messages));
    EXPECT_TRUE(changed);
    EXPECT_TRUE(manager.symbolize(table->row(1).p, &changed, messages));
    EXPECT_TRUE(changed) << "a later row that does not change must not set it back";
    EXPECT_TRUE(manager.symbolize(table->row(2).p, &changed, messages));
    EXPECT_TRUE(changed);
}

TEST_F(SymbolizeRowTest, plainTableNeedsNothing) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    table->hide<IObjectClass>();
    const auto row = table->row(0);
    for (const bool before : {false, true}) {
        changed = before;
        EXPECT_TRUE(manager.symbolize(row.p, &changed, messages));
        EXPECT_EQ(changed, before);
    }
    EXPECT_FALSE(row->isEdited());
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(SymbolizeRowTest, rowThatDoesNotTellItsTableNeedsNothing) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    const struct {
        const char* name;
        memhost::Fault fault;
    } rows[] = {{"it fails", {.op = Op::RowGetTable}},
                {"it fails and gives one", {.op = Op::RowGetTable, .out = memhost::Out::Filled}},
                {"it gives none", {.op = Op::RowGetTable, .status = S_OK}}};
    for (const auto& entry : rows)
        for (const bool before : {false, true}) {
            SCOPED_TRACE(entry.name);
            const auto row = table->row(0);
            const FaultScope fault(entry.fault);
            changed = before;
            EXPECT_TRUE(manager.symbolize(row.p, &changed, messages));
            EXPECT_EQ(changed, before);
            EXPECT_FALSE(row->isEdited());
        }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(SymbolizeRowTest, missingConfigurationIsSilent) {
    const auto table = buoys().alias("Beacon").row({}).build();
    for (const bool before : {false, true}) {
        changed = before;
        EXPECT_TRUE(manager.symbolize(table->row(0).p, &changed, messages));
        EXPECT_EQ(changed, before);
    }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(SymbolizeRowTest, withoutDocumentIsFalse) {
    const auto table = buoys().row({}).build();
    manager.resetXmls();
    EXPECT_FALSE(manager.symbolize(table->row(0).p, &changed, messages));
    EXPECT_FALSE(changed);
}

TEST_F(SymbolizeRowTest, runtimeErrorBecomesAMessage) {
    const auto table = Table("x").alias("Buoy").field("COLOUR", VT_I4).row({3}).build();
    for (const bool before : {false, true}) {
        changed = before;
        EXPECT_FALSE(manager.symbolize(table->row(0).p, &changed, messages));
        EXPECT_EQ(changed, before);
    }
    EXPECT_EQ(messages->messages(), texts({"Failed to find SYMBOL_C field!", "Failed to find SYMBOL_C field!"}));
    EXPECT_FALSE(manager.symbolize(table->row(0).p, &changed, nullptr));
}

TEST_F(SymbolizeRowTest, failureAfterAWriteKeepsChanged) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    const FaultScope fault({.op = Op::RowPutValue});
    EXPECT_FALSE(manager.symbolize(table->row(0).p, &changed, messages));
    EXPECT_FALSE(changed) << "the caller's flag follows the answer of the run, not the attempt";
    EXPECT_EQ(messages->messages(), texts({"Failed to write value to SYMBOL_C!"}));
}

TEST_F(SymbolizeRowTest, outOfMemoryIsFalse) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    bool standard = false;
    CallingRule::enter(ruleOf(manager, "BUOY"), [&](auto&, auto*) -> bool {
        if (standard) throw std::bad_alloc();
        throw CAtlException(E_OUTOFMEMORY);
    });
    for (const bool before : {false, true})
        for (const bool ofTheStandardLibrary : {false, true}) {
            changed = before;
            standard = ofTheStandardLibrary;
            EXPECT_FALSE(manager.symbolize(table->row(0).p, &changed, messages));
            EXPECT_EQ(changed, before);
        }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(SymbolizeRowTest, anyOtherExceptionIsFalse) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    CallingRule::enter(ruleOf(manager, "BUOY"), [](auto&, auto*) -> bool { throw 42; });
    EXPECT_FALSE(manager.symbolize(table->row(0).p, &changed, messages));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(SymbolizeRowTest, messagesOfTheRowAreNotPassedOn) {
    manager = managerOf(
        "<conditionMap name='m'><featureClass name='Buoy'>"
        "<condition rulename='X'><rule type='A' field='ABSENT' operator='equal' value='3'/></condition>"
        "</featureClass></conditionMap>");
    const auto table = buoys().row({}).build();
    EXPECT_TRUE(manager.symbolize(table->row(0).p, &changed, messages));
    EXPECT_TRUE(messages->entries().empty());
    EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, messages));
    EXPECT_EQ(messages->messages(), texts({"Field 'ABSENT' referenced in CXML does not exist on DB.OWNER.BOYLAT.",
                                           "Rule referenced field 'ABSENT' not found on 'Buoy'"}));
}

TEST_F(SymbolizeRowTest, copySharesTheDocument) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    SymbologyManager copy(manager);
    manager.resetXmls();
    EXPECT_TRUE(copy.symbolize(table->row(0).p, &changed, messages));
    EXPECT_TRUE(changed);
}

}  // namespace
