#include "cxml/condition_map.h"

#include "cxml/document_reader.h"

namespace ConditionalXml {

ConditionMap::ConditionMap() = default;
ConditionMap::~ConditionMap() = default;

bool ConditionMap::load(BSTR path, IXMLDOMDocument* document, IGPMessages* messages) {
    return readDocument(*this, path, document, {.messages = messages});
}

std::shared_ptr<FeatureClassRule> ConditionMap::find(const CComBSTR& upperName) const {
    const auto entry = featureClassRules.find(upperName);
    return entry == featureClassRules.end() ? nullptr : entry->second;
}

std::shared_ptr<FeatureClassRule> ConditionMap::addClass() {
    return classes_.emplace_back(std::make_shared<FeatureClassRule>(*this));
}

}  // namespace ConditionalXml
