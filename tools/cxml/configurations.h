// Which feature classes a document configures, and what their conditions write.
#pragma once

#include "cxml/condition_map.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace cxml {

/// The configuration of the class with this alias name; null when there is none.
std::shared_ptr<ConditionalXml::FeatureClassRule> findConfiguration(const ConditionalXml::ConditionMap& map,
                                                                    const std::string& alias);

/// The fields that conditions of type 2 write, each once: those of the default list, then of the subtypes' by code;
/// those of nested conditions follow that of the condition that they are in.
std::vector<std::string> resultFields(const ConditionalXml::FeatureClassRule& configuration);

/// The symbols that its conditions name, ascending.
std::set<std::string> symbolNames(const ConditionalXml::FeatureClassRule& configuration);

}  // namespace cxml
