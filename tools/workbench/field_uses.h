// Where a document uses a field.
#pragma once

#include "cxml/feature_class_rule.h"

namespace cxml {

class DocumentPlaces;

/// The line of the first rule or condition of the class that reads the field of the row; 0 when none does.
LONG firstUse(const DocumentPlaces& places, const ConditionalXml::FeatureClassRule& configuration, WideView field);

}  // namespace cxml
