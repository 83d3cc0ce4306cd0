// Symbolizing one row: which conditions decide, what is written, and what keeps a row from being symbolized.
#include "symbolize/row_symbolization.h"
#include "memhost/table.h"
#include "memhost/workspace.h"
#include "support/calling_rule.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <limits>
#include <stdexcept>

namespace {

using memhost::bstr;
using memhost::CallCount;
using memhost::Cell;
using memhost::describe;
using memhost::FaultScope;
using memhost::make;
using memhost::Messages;
using memhost::Op;
using memhost::Out;
using memhost::Row;
using memhost::Table;
using memhost::TableObject;
using std::string;
using std::vector;

/// A document for the class Buoy and a table of it with the target fields, F (I4), G (text) and SUB (I4).
class RowSymbolizationTest : public testing::Test {
protected:
    void load(std::string_view content) {
        loaded = std::make_unique<LoadedMap>(LoadedMap::ofClass("Buoy", content));
        ASSERT_TRUE(loaded->result);
    }
    ConditionalXml::FeatureClassRule& rule() const { return loaded->rule("BUOY"); }

    /// Symbolizes a row that stands alone in its table: SYMBOL_C, Xoffset_C, Yoffset_C, Rotate_C, F, G, SUB.
    bool symbolize(const vector<Cell>& cells, LONG subtypeField = -1) {
        table = Table("db.BOYLAT")
                    .alias("Buoy")
                    .symbologyFields()
                    .field("F", VT_I4)
                    .field("G", VT_BSTR)
                    .field("SUB", VT_I4)
                    .row(cells)
                    .build();
        row = table->row(0);
        return symbolizeAgain(subtypeField);
    }
    bool symbolizeAgain(LONG subtypeField = -1) {
        ConditionalXml::RowSymbolization run(rule());
        const bool changed = run.symbolize(row, subtypeField, messages);
        EXPECT_EQ(rule().changed, changed);
        EXPECT_EQ(rule().currentRow, row.p);
        return changed;
    }
    /// The text of the runtime_error that symbolizing the row throws; the table manager must be empty then.
    string thrown() {
        ConditionalXml::RowSymbolization run(rule());
        try {
            run.symbolize(row, -1, messages);
            return "(nothing)";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(rule().tableManager->workspace.p, nullptr);
            EXPECT_TRUE(rule().tableManager->tables.empty());
            return error.what();
        }
    }
    string value(std::string_view field) const { return describe(row->value(field)); }

    std::unique_ptr<LoadedMap> loaded;
    CComPtr<TableObject> table;
    CComPtr<Row> row;
    CComPtr<Messages> messages = make<Messages>();
};

constexpr LONG subtypeField = 6;

TEST_F(RowSymbolizationTest, noMatchWritesNothing) {
    load("<condition rulename='A' xoffset='1'><rule type='A' operator='equal' field='F' value='1'/></condition>");
    const CallCount puts(Op::RowPutValue);
    EXPECT_FALSE(symbolize({"OLD", 5.0, nullptr, nullptr, 2}));
    EXPECT_EQ(puts(), 0);
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RowSymbolizationTest, classWithoutConditionsWritesNothing) {
    load("");
    EXPECT_FALSE(symbolize({"OLD"}));
    EXPECT_FALSE(row->isEdited());
}

TEST_F(RowSymbolizationTest, lastMatchWins) {
    load(
        "<condition rulename='A'/><condition rulename='B'/>"
        "<condition rulename='C'><rule type='A' operator='equal' field='F' value='1'/></condition>");
    EXPECT_TRUE(symbolize({nullptr, nullptr, nullptr, nullptr, 2}));
    EXPECT_EQ(value("SYMBOL_C"), "\"B\"");
}

TEST_F(RowSymbolizationTest, laterMatchWithoutNameGivesThePlacement) {
    load("<condition rulename='A' xoffset='1' angle='9'/><condition yoffset='2'/>");
    EXPECT_TRUE(symbolize({}));
    EXPECT_EQ(value("SYMBOL_C"), "\"A\"");
    EXPECT_EQ(value("Xoffset_C"), "NULL");
    EXPECT_EQ(value("Yoffset_C"), "R8 2");
    EXPECT_EQ(value("Rotate_C"), "NULL");
}

TEST_F(RowSymbolizationTest, laterMatchWithoutPlacementWritesNone) {
    load("<condition rulename='A' xoffset='1'/><condition rulename='B'/>");
    EXPECT_TRUE(symbolize({nullptr, 7.0}));
    EXPECT_EQ(value("SYMBOL_C"), "\"B\"");
    EXPECT_EQ(value("Xoffset_C"), "R8 7");
}

TEST_F(RowSymbolizationTest, matchWithoutAnyNameLeavesTheSymbol) {
    load("<condition xoffset='1'/>");
    EXPECT_TRUE(symbolize({"OLD", 2.0}));
    EXPECT_EQ(value("SYMBOL_C"), "\"OLD\"");
    EXPECT_EQ(value("Xoffset_C"), "R8 1");
}

TEST_F(RowSymbolizationTest, whatTheRowHoldsIsNotWrittenAgain) {
    load("<condition rulename='A' xoffset='1.5' yoffset='-2' angle='45'/>");
    const CallCount puts(Op::RowPutValue);
    EXPECT_FALSE(symbolize({"A", 1.5, -2.0, 45.0}));
    EXPECT_EQ(puts(), 0);
}

TEST_F(RowSymbolizationTest, placementInAColumnNotOfDoublesAlwaysDiffers) {
    const struct {
        const char* name;
        VARTYPE type;
        Cell cell;
    } columns[] = {{"integer", VT_I4, 2}, {"text", VT_BSTR, "2"}};
    for (const auto& column : columns) {
        SCOPED_TRACE(column.name);
        load("<condition rulename='A' xoffset='2'/>");
        table = Table("x")
                    .alias("Buoy")
                    .field("SYMBOL_C", VT_BSTR)
                    .field("Xoffset_C", column.type)
                    .row({"A", column.cell})
                    .build();
        row = table->row(0);
        const CallCount puts(Op::RowPutValue);
        EXPECT_TRUE(symbolizeAgain());
        EXPECT_EQ(puts(), 1) << "the placement alone";
        EXPECT_EQ(value("Xoffset_C"), "R8 2");
        EXPECT_EQ(value("SYMBOL_C"), "\"A\"");
    }
}

TEST_F(RowSymbolizationTest, onlyWhatDiffersIsWritten) {
    load("<condition rulename='A' xoffset='1.5' yoffset='-2' angle='45'/>");
    const CallCount puts(Op::RowPutValue);
    EXPECT_TRUE(symbolize({"A", 1.5, -2.5, 45.0}));
    EXPECT_EQ(puts(), 1);
    EXPECT_EQ(value("Yoffset_C"), "R8 -2");
}

TEST_F(RowSymbolizationTest, secondPassOverARowChangesNothing) {
    load("<condition rulename='A' xoffset='1.5' angle='45'/>");
    EXPECT_TRUE(symbolize({}));
    EXPECT_FALSE(symbolizeAgain());
    EXPECT_EQ(value("SYMBOL_C"), "\"A\"");
}

TEST_F(RowSymbolizationTest, currentSymbolIsComparedAsText) {
    load("<condition rulename='A'/>");
    const struct {
        const char* name;
        Cell current;
        bool changes;
    } rows[] = {{"null", nullptr, true},
                {"empty text", "", true},
                {"small letter", "a", true},
                {"blank after", "A ", true},
                {"more behind a zero", string("A\0B", 3), true},
                {"the same", "A", false}};
    for (const auto& entry : rows) EXPECT_EQ(symbolize({entry.current}), entry.changes) << entry.name;
}

TEST_F(RowSymbolizationTest, symbolIsWrittenAsText) {
    load("<condition rulename='12'/>");
    EXPECT_TRUE(symbolize({}));
    EXPECT_EQ(value("SYMBOL_C"), "\"12\"");
    EXPECT_TRUE(symbolize({13}));
    EXPECT_FALSE(symbolize({12})) << "a number has the text already";
}

TEST_F(RowSymbolizationTest, zeroPlacementIsNeverWritten) {
    load("<condition rulename='A' xoffset='0' yoffset='2'/>");
    EXPECT_TRUE(symbolize({"A", 5.0, nullptr, nullptr}));
    EXPECT_EQ(value("Xoffset_C"), "R8 5");
    EXPECT_EQ(value("Yoffset_C"), "R8 2");
}

TEST_F(RowSymbolizationTest, negativeZeroIsZero) {
    load("<condition rulename='A' angle='-0'/>");
    EXPECT_FALSE(symbolize({"A", nullptr, nullptr, 5.0}));
    EXPECT_EQ(value("Rotate_C"), "R8 5");
}

TEST_F(RowSymbolizationTest, placementOverNotANumberIsAlwaysWritten) {
    load("<condition rulename='A' angle='45'/>");
    EXPECT_TRUE(symbolize({"A", nullptr, nullptr, std::numeric_limits<double>::quiet_NaN()}));
    EXPECT_EQ(value("Rotate_C"), "R8 45");
}

TEST_F(RowSymbolizationTest, writesComeInTheirOrder) {
    load("<condition rulename='A' xoffset='1' yoffset='2' angle='3'/>");
    EXPECT_TRUE(symbolize({}));
    EXPECT_EQ(row->Store(), S_OK);
    ASSERT_EQ(table->updates.size(), 1U);
    vector<string> fields;
    for (const auto& [field, put] : table->updates[0].values) fields.push_back(field + " " + describe(put));
    EXPECT_EQ(fields, (vector<string>{"SYMBOL_C \"A\"", "Xoffset_C R8 1", "Yoffset_C R8 2", "Rotate_C R8 3"}));
}

TEST_F(RowSymbolizationTest, rowIsNotStored) {
    load("<condition rulename='A'/>");
    EXPECT_TRUE(symbolize({}));
    EXPECT_TRUE(table->updates.empty());
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
}

TEST_F(RowSymbolizationTest, currentSymbolIsThatOfTheStartOfTheRow) {
    load("<condition rulename='A'/>");
    CallingRule::enter(rule(), [this](auto&, auto*) {
        row->put_Value(0, CComVariant(bstr("A")));  // as an expression would
        return true;
    });
    const CallCount puts(Op::RowPutValue);
    EXPECT_TRUE(symbolize({"OLD"}));
    EXPECT_EQ(puts(), 2) << "the symbol is put again: the value read before still says OLD";
    EXPECT_FALSE(symbolizeAgain());
}

TEST_F(RowSymbolizationTest, nestedConditionDecides) {
    load(
        "<condition rulename='A'><rule type='A' operator='equal' field='F' value='1'>"
        "<condition rulename='N' angle='30'><rule type='A' operator='equal' field='G' value='x'/></condition>"
        "</rule></condition>");
    EXPECT_TRUE(symbolize({nullptr, nullptr, nullptr, nullptr, 1, "x"}));
    EXPECT_EQ(value("SYMBOL_C"), "\"A\"");
    EXPECT_EQ(value("Rotate_C"), "R8 30");
}

TEST_F(RowSymbolizationTest, nestedNameStandsWhenTheOuterConditionFailsLater) {
    load(
        "<condition rulename='A' xoffset='1'><rule type='A' operator='equal' field='F' value='1'>"
        "<condition rulename='N' angle='30'/></rule><rule type='A' operator='equal' field='F' value='2'/></condition>");
    EXPECT_TRUE(symbolize({nullptr, nullptr, nullptr, nullptr, 1}));
    EXPECT_EQ(value("SYMBOL_C"), "\"N\"");
    EXPECT_EQ(value("Xoffset_C"), "NULL");
    EXPECT_EQ(value("Rotate_C"), "NULL") << "no condition matched, so none places the symbol";
}

TEST_F(RowSymbolizationTest, conditionsOfTheSubtype) {
    load(
        "<condition rulename='D'/><subtype number='1'><condition rulename='S1'/></subtype>"
        "<subtype number='2'/>");
    const struct {
        const char* name;
        Cell code;
        LONG field;
        const char* symbol;
    } rows[] = {
        {"code with a list", 1, subtypeField, "\"S1\""},
        {"code with an empty list", 2, subtypeField, "NULL"},
        {"code without a list", 3, subtypeField, "\"D\""},
        {"null", nullptr, subtypeField, "\"D\""},
        {"no subtype field", 1, -1, "\"D\""},
        {"text of the code", "1", subtypeField, "\"S1\""},
        {"text that is none", "one", subtypeField, "\"D\""},
        {"real that rounds to it", 1.2, subtypeField, "\"S1\""},
        {"too great", 1e12, subtypeField, "\"D\""},
    };
    for (const auto& entry : rows) {
        symbolize({nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, entry.code}, entry.field);
        EXPECT_EQ(value("SYMBOL_C"), entry.symbol) << entry.name;
    }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RowSymbolizationTest, subtypeThatCannotBeReadLeavesTheRowAlone) {
    load("<condition rulename='D'/><subtype number='1'><condition rulename='S1'/></subtype>");
    const FaultScope fault({.op = Op::RowGetValue, .nth = 2});  // after SYMBOL_C
    EXPECT_FALSE(symbolize({nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 1}, subtypeField));
    EXPECT_TRUE(fault.hit());
    EXPECT_EQ(value("SYMBOL_C"), "NULL");
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RowSymbolizationTest, classWithoutSubtypeListsNeverReadsTheSubtype) {
    load("<condition rulename='D'/>");
    const CallCount reads(Op::RowGetValue);
    EXPECT_TRUE(symbolize({}, subtypeField));
    EXPECT_EQ(reads(), 1) << "SYMBOL_C only";
}

TEST_F(RowSymbolizationTest, missingSymbolFieldFails) {
    load("<condition rulename='A'/>");
    table = Table("x").field("F", VT_I4).row({1}).build();
    row = table->row(0);
    EXPECT_EQ(thrown(), "Failed to find SYMBOL_C field!");
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RowSymbolizationTest, missingPlacementFieldsAreIgnoredWithoutAMessage) {
    load("<condition rulename='A' xoffset='1' yoffset='2' angle='3'/>");
    table = Table("x").field("SYMBOL_C", VT_BSTR).field("Yoffset_C", VT_R8).row({}).build();
    row = table->row(0);
    EXPECT_TRUE(symbolizeAgain());
    EXPECT_EQ(value("SYMBOL_C"), "\"A\"");
    EXPECT_EQ(value("Yoffset_C"), "R8 2");
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RowSymbolizationTest, missingFieldsAreReportedForEveryRow) {
    load(
        "<condition rulename='A' angle='1'><rule type='A' operator='equal' field='ZULU' value='1'/></condition>"
        "<condition><rule type='A' operator='equal' field='ALPHA' fieldValue='\xC3\x98ST'/></condition>");
    const vector<string> expected{"Field 'ALPHA' referenced in CXML does not exist on db.BOYLAT.",
                                  "Field '\xC3\x98ST' referenced in CXML does not exist on db.BOYLAT.",
                                  "Field 'ZULU' referenced in CXML does not exist on db.BOYLAT.",
                                  "Rule referenced field 'ZULU' not found on 'Buoy'",
                                  "Rule referenced field 'ALPHA' not found on 'Buoy'"};
    EXPECT_FALSE(symbolize({}));
    vector<string> got = messages->messages();
    ASSERT_EQ(got.size(), expected.size());
    EXPECT_EQ(vector<string>(got.begin() + 3, got.end()), vector<string>(expected.begin() + 3, expected.end()));
    std::sort(got.begin(), got.begin() + 3);
    vector<string> sorted = expected;
    std::sort(sorted.begin(), sorted.begin() + 3);
    EXPECT_EQ(got, sorted);
    const vector<string> first = messages->messages();
    messages->clear();
    EXPECT_FALSE(symbolizeAgain());
    EXPECT_EQ(messages->messages(), first);
    EXPECT_TRUE(messages->errors().empty());
}

TEST_F(RowSymbolizationTest, missingFieldsWithoutMessages) {
    load("<condition rulename='A'/><condition><rule type='A' operator='equal' field='ZULU' value='1'/></condition>");
    messages.Release();
    EXPECT_TRUE(symbolize({}));
    EXPECT_EQ(value("SYMBOL_C"), "\"A\"");
}

TEST_F(RowSymbolizationTest, fieldsKnownOtherwiseAreNotReported) {
    load("");
    rule().registerReferencedField(bstr("ALIAS[]"));
    rule().registerReferencedField(bstr("KNOWN"));
    rule().registerReferencedField(bstr("VAL[]UE[]"));
    rule().registerReferencedField(bstr("LOST[]"));
    rule().additionalFields.insert(bstr("ALIAS"));
    rule().knownFields[bstr("KNOWN")] = 1;
    rule().additionalFieldValues[bstr("VALUE")] = 1;
    EXPECT_FALSE(symbolize({}));
    EXPECT_EQ(messages->messages(), vector<string>{"Field 'LOST[]' referenced in CXML does not exist on db.BOYLAT."});
}

TEST_F(RowSymbolizationTest, lookupThatFailsEndsTheRowSilently) {
    load("<condition rulename='A'><rule type='A' operator='equal' field='F' value='1'/></condition>");
    for (const long nth : {5L, 6L}) {  // after the four target fields
        symbolize({nullptr, nullptr, nullptr, nullptr, 2});
        const FaultScope fault({.op = Op::FieldsFindField, .nth = nth});
        EXPECT_FALSE(symbolize({nullptr, nullptr, nullptr, nullptr, 1}));
        EXPECT_TRUE(fault.hit());
        EXPECT_FALSE(row->isEdited());
    }
    EXPECT_TRUE(symbolize({nullptr, nullptr, nullptr, nullptr, 1})) << "and the next row asks again";
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RowSymbolizationTest, readThatFailsEndsTheRowSilently) {
    load("<condition rulename='A'><rule type='A' operator='equal' field='F' value='1'/></condition>");
    for (const Out out : {Out::Null, Out::Untouched, Out::Filled})
        for (const long nth : {1L, 2L}) {
            const FaultScope fault({.op = Op::RowGetValue, .nth = nth, .out = out});
            EXPECT_FALSE(symbolize({"OLD", nullptr, nullptr, nullptr, 1}));
            EXPECT_TRUE(fault.hit());
            EXPECT_FALSE(row->isEdited());
        }
    EXPECT_TRUE(symbolize({"OLD", nullptr, nullptr, nullptr, 1}));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RowSymbolizationTest, readThatSaysFalseCounts) {
    load("<condition rulename='A'/>");
    const FaultScope fault({.op = Op::RowGetValue, .status = S_FALSE, .everAfter = true});
    EXPECT_TRUE(symbolize({"A"})) << "no value is another than the symbol";
    load("<condition rulename='D'/><subtype number='0'><condition rulename='S0'/></subtype>");
    EXPECT_TRUE(symbolize({}, subtypeField));
    EXPECT_EQ(value("SYMBOL_C"), "\"S0\"") << "no value is 0 as a number";
}

TEST_F(RowSymbolizationTest, failedWritesNameTheirField) {
    load("<condition rulename='A' xoffset='1' yoffset='2' angle='3'/>");
    const char* texts[] = {"Failed to write value to SYMBOL_C!", "Failed to write value to Xoffset_C!",
                           "Failed to write value to Yoffset_C!", "Failed to write value to Rotate_C!"};
    long nth = 0;
    for (const char* text : texts) {
        symbolize({"A", 1.0, 2.0, 3.0});
        table = Table("x").symbologyFields().row({}).build();
        row = table->row(0);
        const FaultScope fault({.op = Op::RowPutValue, .nth = ++nth});
        EXPECT_EQ(thrown(), text);
        EXPECT_TRUE(rule().changed) << "said before the value is put";
    }
    EXPECT_EQ(value("SYMBOL_C"), "\"A\"") << "what was put before stays in the row object";
    EXPECT_EQ(value("Yoffset_C"), "R8 2");
    EXPECT_EQ(value("Rotate_C"), "NULL");
    EXPECT_TRUE(table->updates.empty());
}

TEST_F(RowSymbolizationTest, tableIsAttachedAnewAfterAFieldError) {
    load("<condition rulename='A'/>");
    symbolize({"A"});
    ConditionalXml::RowSymbolization run(rule());
    {
        const FaultScope fault({.op = Op::RowPutValue});
        table = Table("a.Wreck").symbologyFields().row({}).row({}).build();
        row = table->row(0);
        EXPECT_THROW(run.symbolize(row, -1, messages), std::runtime_error);
    }
    row = table->row(1);
    EXPECT_TRUE(run.symbolize(row, -1, messages));
    EXPECT_EQ(textsOf(rule().tableManager->tables), vector<string>{"A.WRECK"});
    EXPECT_NE(rule().tableManager->workspace.p, nullptr);
}

TEST_F(RowSymbolizationTest, exceptionOfOneConditionBecomesAMessage) {
    load("<condition rulename='A'/><condition rulename='B'/>");
    CallingRule::enter(rule(), [](auto&, auto*) -> bool { throw std::logic_error("broken rule"); });
    EXPECT_TRUE(symbolize({}));
    EXPECT_EQ(value("SYMBOL_C"), "\"B\"");
    const vector<Messages::Entry> expected{{false, 0, "broken rule"}};
    EXPECT_EQ(messages->entries(), expected);
    messages.Release();
    EXPECT_FALSE(symbolizeAgain());
}

TEST_F(RowSymbolizationTest, otherExceptionsLeaveTheRow) {
    load("<condition rulename='A'/>");
    CallingRule::enter(rule(), [](auto&, auto*) -> bool { throw CAtlException(E_OUTOFMEMORY); });
    EXPECT_THROW(symbolize({}), CAtlException);
    EXPECT_FALSE(row->isEdited());
}

TEST_F(RowSymbolizationTest, tableWhoseFieldsChange) {
    load(
        "<condition rulename='A'/><condition rulename='B'><rule type='A' operator='equal' field='NEW' value='NULL'/>"
        "</condition>");
    table = Table("x").symbologyFields().row({}).build();
    row = table->row(0);
    ConditionalXml::RowSymbolization run(rule());
    EXPECT_TRUE(run.symbolize(row, -1, messages));
    EXPECT_EQ(value("SYMBOL_C"), "\"A\"");
    EXPECT_EQ(messages->messages().size(), 2U);
    messages->clear();
    table->addField("NEW", VT_I4);
    EXPECT_TRUE(run.symbolize(row, -1, messages)) << "the row hands out other fields now";
    EXPECT_EQ(value("SYMBOL_C"), "\"B\"");
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RowSymbolizationTest, rowsOfAnotherTableInTurn) {
    load("<condition rulename='A'><rule type='A' operator='equal' field='F' value='1'/></condition>");
    const auto first =
        Table("a").symbologyFields().field("F", VT_I4).row({nullptr, nullptr, nullptr, nullptr, 1}).build();
    const auto second = Table("b").field("F", VT_I4).symbologyFields().row({1}).build();
    const auto firstRow = first->row(0);
    const auto secondRow = second->row(0);
    ConditionalXml::RowSymbolization run(rule());
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(run.symbolize(firstRow, -1, messages), i == 0);
        EXPECT_EQ(run.symbolize(secondRow, -1, messages), i == 0);
    }
    EXPECT_EQ(describe(firstRow->value("SYMBOL_C")), "\"A\"");
    EXPECT_EQ(describe(secondRow->value("SYMBOL_C")), "\"A\"");
    EXPECT_EQ(textsOf(rule().tableManager->tables), (vector<string>{"A", "B"}));
}

TEST_F(RowSymbolizationTest, changedIsOfTheRowAtHand) {
    load("<condition rulename='A'/>");
    EXPECT_TRUE(symbolize({}));
    EXPECT_FALSE(symbolize({"A"}));
    EXPECT_TRUE(symbolize({"B"}));
}

}  // namespace
