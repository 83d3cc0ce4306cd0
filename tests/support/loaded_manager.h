// A manager that has loaded a document given as text.
#pragma once

#include "cxml/condition_map.h"
#include "support/documents.h"
#include "symbology/symbology_manager.h"

#include <stdexcept>
#include <string_view>

/// \throws std::runtime_error when the document does not load.
inline SymbologyManager managerOf(std::string_view xml) {
    const TemporaryFolder folder;
    SymbologyManager manager;
    if (!manager.loadCXML(memhost::bstr(folder.write("document.xml", xml)), nullptr))
        throw std::runtime_error("The test's document does not load");
    return manager;
}

/// The configuration that the manager's document has under an upper-case name.
inline ConditionalXml::FeatureClassRule& ruleOf(const SymbologyManager& manager, std::string_view upperName) {
    const auto rule = SymbologyManagerAccess::currentMap(manager)->find(memhost::bstr(upperName));
    if (!rule) throw std::runtime_error("The map has no class " + std::string(upperName));
    return *rule;
}
