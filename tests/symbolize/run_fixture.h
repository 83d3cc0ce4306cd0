// What tests of runs begin with.
#pragma once

#include "gdb/table_manager.h"
#include "memhost/messages.h"
#include "memhost/table.h"
#include "support/loaded_manager.h"

#include <gtest/gtest.h>

/// Symbol R for COLOUR 3, turned by 30; by subtype 7 symbol S.
inline constexpr const char* runDocument = R"(<conditionMap name='m'><featureClass name='Buoy'>
  <condition rulename='R' angle='30'><rule type='A' operator='equal' field='COLOUR' value='3'/></condition>
  <subtype number='7'><condition rulename='S'/></subtype>
</featureClass></conditionMap>)";

class RunTest : public testing::Test {
protected:
    memhost::Table buoys() const {
        memhost::Table table("db.Boylat");
        return table.alias("buoy").symbologyFields().field("COLOUR", VT_I4).field("KIND", VT_I4).field("NOTE", VT_BSTR);
    }
    bool run(memhost::TableObject* table, ISelectionSet* selection = nullptr) {
        return manager.symbolize(table->featureClass(), selection, messages);
    }
    ConditionalXml::FeatureClassRule& rule() const { return ruleOf(manager, "BUOY"); }
    void expectEmptyTableManager() const {
        EXPECT_EQ(rule().tableManager->workspace.p, nullptr);
        EXPECT_TRUE(rule().tableManager->tables.empty());
    }

    SymbologyManager manager = managerOf(runDocument);
    CComPtr<memhost::Messages> messages = memhost::make<memhost::Messages>();
};
