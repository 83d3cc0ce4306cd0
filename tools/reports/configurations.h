// Which feature classes a document configures, and what their conditions write.
#pragma once

#include "cxml/condition_map.h"

#include <array>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

/// The configuration of the class with this alias name; null when there is none.
std::shared_ptr<ConditionalXml::FeatureClassRule> findConfiguration(const ConditionalXml::ConditionMap& map,
                                                                    const std::string& alias);

/// What a run writes of every class: a text, then numbers.
inline constexpr std::array<std::string_view, 4> targetFields{"SYMBOL_C", "Xoffset_C", "Yoffset_C", "Rotate_C"};
/// Whether a field is one of them, in whatever case.
bool isTargetField(std::string_view name);

/// The fields that conditions of type 2 write, each once: those of the default list, then of the subtypes' by code;
/// those of nested conditions follow that of the condition that they are in.
std::vector<std::string> resultFields(const ConditionalXml::FeatureClassRule& configuration);

/// All that a run of the class writes: targetFields, then those others that conditions of type 2 write.
std::vector<std::string> writtenFields(const ConditionalXml::FeatureClassRule& configuration);

/// The symbols that its conditions name, ascending.
std::set<std::string> symbolNames(const ConditionalXml::FeatureClassRule& configuration);

}  // namespace cxml
