// Runs over single rows.
#include "symbolize/run_fixture.h"
#include "symbolize/runs.h"

#include <stdexcept>

namespace {

using memhost::FaultScope;
using memhost::Op;
using memhost::Out;
using memhost::Table;

class SingleRowTest : public RunTest {
protected:
    bool run(IRow* row) {
        return ConditionalXml::symbolizeSingleRow(*SymbologyManagerAccess::currentMap(manager), row);
    }
};

TEST_F(SingleRowTest, answersWhetherTheRowChanged) {
    const auto table =
        buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).row({"R", nullptr, nullptr, 30.0, 3}).build();
    EXPECT_TRUE(run(table->row(0)));
    EXPECT_FALSE(run(table->row(1)));
    EXPECT_TRUE(table->updates.empty());
    expectEmptyTableManager();
}

TEST_F(SingleRowTest, subtypeOfTheRow) {
    const auto table = buoys().subtypes("KIND").row({nullptr, nullptr, nullptr, nullptr, 3, 7}).build();
    const auto row = table->row(0);
    EXPECT_TRUE(run(row));
    EXPECT_EQ(memhost::describe(row->value("SYMBOL_C")), "\"S\"");
}

TEST_F(SingleRowTest, tablesWithoutConfigurationAreFalse) {
    const auto other = buoys().alias("Beacon").row({}).build();
    EXPECT_FALSE(run(other->row(0)));
    const auto plain = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    plain->hide<IObjectClass>();
    EXPECT_FALSE(run(plain->row(0)));
}

TEST_F(SingleRowTest, hostThatFailsIsFalse) {
    const auto table = buoys().row({nullptr, nullptr, nullptr, nullptr, 3}).build();
    for (const Op op : {Op::RowGetTable, Op::ClassGetAliasName, Op::RowGetFields, Op::RowGetValue})
        for (const Out out : {Out::Null, Out::Untouched, Out::Filled}) {
            const FaultScope fault({.op = op, .out = out});
            EXPECT_FALSE(run(table->row(0))) << static_cast<int>(op);
            EXPECT_TRUE(fault.hit());
            expectEmptyTableManager();
        }
}

TEST_F(SingleRowTest, fieldErrorLeavesWithAnEmptyTableManager) {
    const auto table = Table("x").alias("Buoy").field("COLOUR", VT_I4).row({3}).build();
    EXPECT_THROW(run(table->row(0)), std::runtime_error);
    expectEmptyTableManager();
}

}  // namespace
