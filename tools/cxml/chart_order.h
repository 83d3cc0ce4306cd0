// What a chart of a document's classes is drawn of.
#pragma once

#include "cxml/condition_map.h"
#include "tools/draw/features.h"

#include <vector>

namespace cxml {

/// The classes of the document in its order.
std::vector<ClassOrder> chartOrderOf(const ConditionalXml::ConditionMap& map);

/// Room around what is there, and for a single point, too.
embedded_host::Bounds withMargin(const embedded_host::Bounds& bounds);

}  // namespace cxml
