// What a chart of a document's classes is drawn of.
#pragma once

#include "cxml/condition_map.h"
#include "tools/draw/features.h"

#include <string>
#include <vector>

namespace cxml {

/// The fields that its conditions compute and that are labels: a rotation that is computed is none.
std::vector<std::string> labelFields(const ConditionalXml::FeatureClassRule& configuration);

/// The classes of the document in its order.
std::vector<ClassOrder> chartOrderOf(const ConditionalXml::ConditionMap& map);

/// Room around what is there, and for a single point, too.
embedded_host::Bounds withMargin(const embedded_host::Bounds& bounds);

}  // namespace cxml
