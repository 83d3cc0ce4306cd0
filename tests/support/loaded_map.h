// A document loaded into the library's own map, for tests that look inside.
#pragma once

#include "cxml/condition_map.h"
#include "gdb/table_manager.h"
#include "memhost/messages.h"
#include "support/documents.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// Loads as the exported class does, from text.
struct LoadedMap {
    explicit LoadedMap(std::string_view xml, std::string_view path = "folder/document.xml") : LoadedMap() {
        result = map->load(memhost::bstr(path), parseDocument(xml), messages);
    }
    /// A map with one feature class of that name, whose element holds `content`.
    static LoadedMap ofClass(std::string_view name, std::string_view content) {
        return LoadedMap("<conditionMap name='test'><featureClass name='" + std::string(name) + "'>" +
                         std::string(content) + "</featureClass></conditionMap>");
    }

    /// The configuration under an upper-case name. \throws std::runtime_error when there is none.
    ConditionalXml::FeatureClassRule& rule(std::string_view upperName) const {
        const auto found = map->find(memhost::bstr(upperName));
        if (!found) throw std::runtime_error("The map has no class " + std::string(upperName));
        return *found;
    }

    std::shared_ptr<ConditionalXml::ConditionMap> map = std::make_shared<ConditionalXml::ConditionMap>();
    CComPtr<memhost::Messages> messages = memhost::make<memhost::Messages>();
    bool result = false;

private:
    LoadedMap() = default;
};

/// The rule names of conditions, in order.
template <class Conditions>
std::vector<std::string> ruleNames(const Conditions& conditions) {
    std::vector<std::string> names;
    for (const auto& condition : conditions) names.push_back(memhost::utf8(condition->rulename.m_str));
    return names;
}

/// The texts of a set of names, or the keys of a map, in its order.
template <class Names>
std::vector<std::string> textsOf(const Names& names) {
    std::vector<std::string> texts;
    for (const auto& name : names) {
        if constexpr (requires { name.first; })
            texts.push_back(memhost::utf8(name.first.m_str));
        else
            texts.push_back(memhost::utf8(name.m_str));
    }
    return texts;
}
