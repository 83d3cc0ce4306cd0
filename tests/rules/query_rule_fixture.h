// What tests of query rules begin with.
#pragma once

#include "cxml/rule_reader.h"
#include "memhost/query_filter.h"
#include "memhost/table.h"
#include "memhost/workspace.h"
#include "rules/query_rules.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

inline constexpr const char* existsElement =
    "<rule type='Q' operator='exists' table='LIGHTS'><query>NAME = '%s' AND KIND = %s</query>"
    "<params><param value=\"'X'\"/><param value='CAT'/></params></rule>";

inline std::string fetchElement(std::string_view attributes = "") {
    return "<rule type='Q' operator='fetch' table='LIGHTS' " + std::string(attributes) +
           "><query>OWNER = %s</query><params><param value='CAT'/></params>"
           "<fields><field name='HEIGHT' alias='LightHeight'/><field name='LITCHR' alias='LightChar'/></fields></rule>";
}

/// A class Buoy in a workspace with a table LIGHTS of three lights; rules ask of it, the test answers where clauses.
class QueryRuleTest : public testing::Test {
protected:
    QueryRuleTest() {
        lights = memhost::Table("LIGHTS")
                     .field("HEIGHT", VT_R8)
                     .field("LITCHR", VT_BSTR)
                     .row({1.5, "F"})
                     .row({2.5, "Fl"})
                     .row({nullptr, "Oc"})
                     .build();
        lights->answerWhere = [this](const std::string&) { return found; };
        workspace->add(datasetTable, lights);
        workspace->add(datasetFeatureClass, buoys);
        owner.name = memhost::bstr("Buoy");
        owner.tableManager->prepare(workspace.p, buoys->table(), memhost::bstr("BUOY"));
        put("CAT", 3);
    }

    std::shared_ptr<ConditionalXml::Rule> create(std::string_view element) {
        const auto document = parseDocument(element);
        return ConditionalXml::createRule(selectNode(document, "/rule"), owner, messages);
    }
    bool holds(std::string_view element) {
        const auto rule = create(element);
        if (!rule) throw std::runtime_error("The element makes no rule");
        return rule->evaluate(values, messages);
    }
    void put(const char* field, const memhost::Cell& cell) { values.append(memhost::bstr(field), cell.value); }
    /// The values under a name of the row's.
    std::vector<std::string> valuesOf(const char* name) const {
        std::vector<std::string> texts;
        if (const auto slot = values.names().find(memhost::bstr(name)))
            for (const CComVariant& value : values.values(*slot)) texts.push_back(memhost::describe(value));
        return texts;
    }

    ConditionalXml::ConditionMap map;
    ConditionalXml::FeatureClassRule owner{map};
    CComPtr<memhost::Messages> messages = memhost::make<memhost::Messages>();
    CComPtr<memhost::Workspace> workspace = memhost::make<memhost::Workspace>(workspaceLocalDatabase);
    CComPtr<memhost::TableObject> buoys = memhost::Table("BUOY").symbologyFields().build();
    CComPtr<memhost::TableObject> lights;
    std::vector<ObjectId> found;  // what every where clause selects
    ConditionalXml::RowValueMap values{owner.fieldNames};
};
