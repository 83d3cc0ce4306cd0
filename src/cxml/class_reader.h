// From a `featureClass` element to a FeatureClassRule.
#pragma once

#include "cxml/condition_map.h"
#include "cxml/reading.h"

namespace ConditionalXml {

/// Reads the element into `map`: into the object that the map holds under the name as written, else into a new one that
/// the map then holds under the upper-case name. \return null when the element is rejected.
std::shared_ptr<FeatureClassRule> readFeatureClass(IXMLDOMNode* element, ConditionMap& map, const Reading& reading);

/// The subtype codes of a `number` attribute; pieces that are no integers are passed over.
std::set<LONG> subtypeCodes(WideView text);

}  // namespace ConditionalXml
