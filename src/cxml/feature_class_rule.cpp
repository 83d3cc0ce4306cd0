#include "cxml/feature_class_rule.h"

#include "cxml/target_fields.h"
#include "gdb/table_manager.h"
#include "text/text.h"

namespace ConditionalXml {

FeatureClassRule::FeatureClassRule(ConditionMap& map)
    : owner(&map),
      name(makeBstr({})),
      tableManager(std::make_shared<CXTableManager>()),
      fieldNames(std::make_shared<FieldNames>()) {
    referencedFields.insert(CComBSTR(symbolField));
}

FeatureClassRule::~FeatureClassRule() = default;

RuleOwner FeatureClassRule::ruleOwner() noexcept {
    return {owner, this, std::addressof(name), tableManager.get()};
}

void FeatureClassRule::registerReferencedField(const CComBSTR& fieldName) {
    if (view(fieldName).find(OLESTR('.')) != WideView::npos) return;
    if (knownFields.contains(fieldName)) return;
    referencedFields.insert(fieldName);
}

}  // namespace ConditionalXml
