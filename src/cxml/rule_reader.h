// From a `rule` element to a Rule with its nested conditions.
#pragma once

#include "cxml/feature_class_rule.h"
#include "cxml/reading.h"

namespace ConditionalXml {

/// \return null when the element makes no rule; only an unknown operator is reported, to the messages.
std::shared_ptr<Rule> readRule(IXMLDOMNode* element, FeatureClassRule& owner, const Reading& reading);

/// The same as a run's document is read, without anyone who is told.
std::shared_ptr<Rule> createRule(IXMLDOMNode* ruleElement, FeatureClassRule& owner, IGPMessages* messages);

/// Reads `fieldValue`, `value` or the child `value` elements, the first of these that is there. A field named by
/// `fieldValue` is registered with the owner. \return false when the element's attributes or children cannot be had.
bool readValues(CXAttributeRule& rule, IXMLDOMNode* element);

/// Reads `field` and registers it with the owner. \return false when it is absent.
bool readField(CXAttributeRule& rule, IXMLDOMNode* element);

/// Turns the text of an operand into its value: quoted text, NULL, or plain text.
CComVariant makeOperand(WideView text);

}  // namespace ConditionalXml
