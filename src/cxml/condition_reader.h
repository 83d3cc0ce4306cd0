// From a `condition` element to a Condition.
#pragma once

#include "cxml/feature_class_rule.h"
#include "cxml/reading.h"

namespace ConditionalXml {

/// Reads the element with its rules and expressions. \return null when the condition is discarded; a rule that could
/// not be built is reported to the messages, other reasons are not.
std::shared_ptr<Condition> readCondition(IXMLDOMNode* element, FeatureClassRule& owner, const Reading& reading);

/// Takes over rule name, placement, type and field. \return false when a placement is not a number: what stands behind
/// it is not read then.
bool readAttributes(Condition& condition, IXMLDOMNamedNodeMap* attributes);

/// Puts the source together from the `expression` children and compiles it. \return false when the DOM does not give
/// all of them. \throws std::runtime_error from the compiler; all but the code is kept.
bool readExpressions(Condition& condition, IXMLDOMNode* element, const Reading& reading);

}  // namespace ConditionalXml
