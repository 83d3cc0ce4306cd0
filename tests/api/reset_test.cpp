// SymbologyManager::resetReps: which fields of which rows become NULL.
#include "memhost/table.h"
#include "support/loaded_manager.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using memhost::CallCount;
using memhost::describe;
using memhost::FaultScope;
using memhost::Op;
using memhost::Table;

/// One that computes NOTE and LABEL for buoys (LABEL in a nested condition, NOTE twice) and TEXT for lights.
constexpr const char* document = R"(<conditionMap name='m'>
  <featureClass name='Buoy'>
    <condition rulename='A' type='2' field='NOTE'/>
    <condition rulename='B' type='2' field='NOTE'/>
    <condition rulename='C' type='1' field='PLAIN'/>
    <condition rulename='D' type='3' field='PLAIN'/>
    <condition rulename='E' type='2' field=''/>
    <condition rulename='F' type='2'/>
    <condition rulename='G' type='2' field='ABSENT'/>
    <condition><rule type='A' field='COLOUR' operator='equal' value='1'>
      <condition type='2' field='LABEL'/>
    </rule></condition>
  </featureClass>
  <featureClass name='Light'><condition type='2' field='TEXT'/></featureClass>
</conditionMap>)";

Table buoys() {
    Table table("BOYLAT");
    table.alias("Buoy").field("NOTE", VT_BSTR).symbologyFields().field("LABEL", VT_BSTR).field("PLAIN", VT_BSTR);
    return table.field("TEXT", VT_BSTR).field("COLOUR", VT_I4);
}

std::string thrownBy(SymbologyManager& manager, IFeatureClass* featureClass) {
    try {
        manager.resetReps(featureClass);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return {};
}

TEST(ResetTest, symbolAndComputedFieldsBecomeNull) {
    SymbologyManager manager = managerOf(document);
    const auto table = buoys()
                           .row({"n", "S", 1.0, 2.0, 3.0, "l", "p", "t", 4})
                           .row({nullptr, nullptr, 1.0, 2.0, 3.0, nullptr, "p", "t", 4})
                           .build();
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    for (std::size_t row = 0; row < 2; ++row) {
        for (const char* field : {"NOTE", "SYMBOL_C", "LABEL"}) EXPECT_EQ(table->text(row, field), "NULL") << field;
        EXPECT_EQ(table->text(row, "Xoffset_C"), "R8 1");
        EXPECT_EQ(table->text(row, "Yoffset_C"), "R8 2");
        EXPECT_EQ(table->text(row, "Rotate_C"), "R8 3");
        EXPECT_EQ(table->text(row, "PLAIN"), "\"p\"");
        EXPECT_EQ(table->text(row, "TEXT"), "\"t\"") << "another class computes it";
        EXPECT_EQ(table->text(row, "COLOUR"), "I4 4");
    }
}

TEST(ResetTest, fieldsAreClearedOnceInTheOrderOfTheTable) {
    SymbologyManager manager = managerOf(document);
    const auto table = buoys().row({}).build();
    const CallCount puts(Op::RowPutValue);
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_EQ(puts(), 3);
    ASSERT_EQ(table->updates.size(), 1U);
    std::vector<std::string> fields;
    for (const auto& [field, value] : table->updates[0].values) {
        fields.push_back(field);
        EXPECT_EQ(describe(value), "NULL");
    }
    EXPECT_EQ(fields, (std::vector<std::string>{"NOTE", "SYMBOL_C", "LABEL"}));
}

TEST(ResetTest, cursorIsOverAllRowsWithoutFilterAndWithoutRecycling) {
    SymbologyManager manager = managerOf(document);
    const auto table = buoys().row({}).row({}).build();
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_FALSE(table->lastRequest.hasFilter);
    EXPECT_FALSE(table->lastRequest.recycling);
    EXPECT_EQ(table->updates.size(), 2U);
}

TEST(ResetTest, classWithoutSuchFieldsIsLeftAlone) {
    SymbologyManager manager = managerOf(document);
    const auto table = Table("x").alias("buoy").field("COLOUR", VT_I4).row({1}).build();
    const CallCount cursors(Op::TableUpdate);
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_EQ(cursors(), 0);
    EXPECT_TRUE(table->updates.empty());
}

TEST(ResetTest, classWithoutSymbolFieldStillLosesItsComputedFields) {
    SymbologyManager manager = managerOf(document);
    const auto table = Table("x").alias("Buoy").field("LABEL", VT_BSTR).row({"l"}).build();
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_EQ(table->text(0, "LABEL"), "NULL");
}

TEST(ResetTest, nothingToDoIsFalse) {
    SymbologyManager manager = managerOf(document);
    const auto table = buoys().alias("Beacon").row({"n", "S"}).build();
    EXPECT_FALSE(manager.resetReps(table->featureClass())) << "no configuration";
    EXPECT_FALSE(manager.resetReps(nullptr));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"S\"");
    manager.resetXmls();
    EXPECT_FALSE(manager.resetReps(buoys().build()->featureClass())) << "no document";
    EXPECT_FALSE(SymbologyManager().resetReps(buoys().build()->featureClass()));
}

TEST(ResetTest, cursorThatCannotBeOpened) {
    SymbologyManager manager = managerOf(document);
    const auto table = buoys().row({"n", "S"}).build();
    {
        const FaultScope fault({.op = Op::TableUpdate, .description = "not this text"});
        EXPECT_EQ(thrownBy(manager, table->featureClass()), "Failed to clear symbology field!");
    }
    {
        const FaultScope fault({.op = Op::TableUpdate, .status = S_FALSE});
        EXPECT_EQ(thrownBy(manager, table->featureClass()), "Failed to clear symbology field!") << "no cursor came";
    }
    table->hide<ITable>();
    EXPECT_EQ(thrownBy(manager, table->featureClass()), "Failed to clear symbology field!");
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"S\"");
}

TEST(ResetTest, rowsBeforeAFailedUpdateStayCleared) {
    SymbologyManager manager = managerOf(document);
    const auto table = buoys().row({"n", "S"}).row({"n", "S"}).row({"n", "S"}).build();
    const FaultScope fault({.op = Op::CursorUpdateRow, .nth = 2});
    EXPECT_EQ(thrownBy(manager, table->featureClass()), "Failed to clear symbology field!");
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "\"S\"");
    EXPECT_EQ(table->text(2, "SYMBOL_C"), "\"S\"");
}

TEST(ResetTest, updateThatSaysFalseIsNoFailure) {
    SymbologyManager manager = managerOf(document);
    const auto table = buoys().row({"n", "S"}).row({"n", "S"}).build();
    const FaultScope fault({.op = Op::CursorUpdateRow, .status = S_FALSE});
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "NULL");
}

TEST(ResetTest, fieldThatRefusesNullFails) {
    SymbologyManager manager = managerOf(document);
    const auto table = buoys().row({"n", "S"}).build();
    const FaultScope fault({.op = Op::RowPutValue});
    EXPECT_EQ(thrownBy(manager, table->featureClass()), "Failed to clear symbology field!");
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"S\"");
}

TEST(ResetTest, fieldsOfAReplacedClassStay) {
    SymbologyManager manager = managerOf(
        "<conditionMap name='m'><featureClass name='Buoy'><condition type='2' field='PLAIN'/></featureClass>"
        "<featureClass name='Buoy'><condition type='2' field='TEXT'/></featureClass></conditionMap>");
    const auto table = buoys().row({"n", "S", 1.0, 2.0, 3.0, "l", "p", "t", 4}).build();
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_EQ(table->text(0, "PLAIN"), "\"p\"");
    EXPECT_EQ(table->text(0, "TEXT"), "NULL");
}

/// The lights have a NOTE too, and the document has nothing that would write it. A class that the document does not
/// keep has conditions that do.
TEST(ResetTest, fieldsOfAClassThatIsNotKeptStay) {
    const struct {
        const char* name;
        const char* buoy;
    } rows[] = {
        {"condition for no subtype", "<subtype number='one'><condition type='2' field='NOTE'/></subtype><subtype/>"},
        {"condition for one subtype", "<subtype number='1'><condition type='2' field='NOTE'/></subtype><subtype/>"},
        {"nested condition for no subtype",
         "<subtype number=''><condition><rule type='A' field='COLOUR' operator='equal' value='1'>"
         "<condition type='2' field='NOTE'/></rule></condition></subtype><subtype/>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        SymbologyManager manager =
            managerOf("<conditionMap name='m'><featureClass name='Buoy'>" + std::string(row.buoy) +
                      "</featureClass><featureClass name='Light'/></conditionMap>");
        const auto table = Table("Light")
                               .alias("Light")
                               .symbologyFields()
                               .field("NOTE", VT_BSTR)
                               .row({"S", 1.0, 2.0, 3.0, "n"})
                               .build();
        EXPECT_TRUE(manager.resetReps(table->featureClass()));
        EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
        EXPECT_EQ(table->text(0, "NOTE"), "\"n\"");
    }
}

TEST(ResetTest, fieldOfAConditionForNoSubtypeIsCleared) {
    SymbologyManager manager = managerOf(
        "<conditionMap name='m'><featureClass name='Light'><subtype number='one'><condition type='2' field='NOTE'/>"
        "</subtype></featureClass></conditionMap>");
    const auto table = Table("Light").symbologyFields().field("NOTE", VT_BSTR).row({"S", 1.0, 2.0, 3.0, "n"}).build();
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_EQ(table->text(0, "NOTE"), "NULL") << "the class is kept, and so is the condition";
}

TEST(ResetTest, rowsEndAtTheFirstAnswerOtherThanARow) {
    SymbologyManager manager = managerOf(document);
    for (const HRESULT status : {E_FAIL, S_FALSE, S_OK}) {  // S_OK: says yes and gives no row
        const auto table = buoys().row({"n", "S"}).row({"n", "S"}).build();
        const FaultScope fault({.op = Op::CursorNextRow, .status = status, .nth = 2});
        EXPECT_TRUE(manager.resetReps(table->featureClass()));
        EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
        EXPECT_EQ(table->text(1, "SYMBOL_C"), "\"S\"");
    }
}

TEST(ResetTest, documentIsNotChangedByAReset) {
    SymbologyManager manager = managerOf(document);
    const auto table = buoys().row({"n", "S"}).build();
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_EQ(table->updates.size(), 2U) << "every row is written, cleared before or not";
}

}  // namespace
