// Loading the configuration of a feature class.
#include "cxml/feature_class_rule.h"

#include "api/failures.h"
#include "cxml/condition_map.h"
#include "cxml/dom.h"
#include "rules/row_binding.h"
#include "symbolize/table_manager.h"

namespace ConditionalXml {

std::set<LONG> subtypeCodes(WideView text) {
    std::set<LONG> codes;
    while (!text.empty()) {
        const std::size_t comma = text.find(OLESTR(','));
        const WideView piece = text.substr(0, comma);
        CComVariant code(makeBstr(piece));
        if (!piece.empty() && SUCCEEDED(checked(VariantChangeTypeEx(&code, &code, 0, 0, VT_I4))))
            codes.insert(code.lVal);
        text = comma == WideView::npos ? WideView{} : text.substr(comma + 1);
    }
    return codes;
}

FeatureClassRule::FeatureClassRule(ConditionMap& map)
    : owner(&map),
      name(makeBstr({})),
      tableManager(std::make_shared<CXTableManager>()),
      fieldNames(std::make_shared<FieldNames>()),
      binding_(std::make_unique<RowBinding>(*this)) {
    referencedFields.insert(CComBSTR(OLESTR("SYMBOL_C")));
}

FeatureClassRule::~FeatureClassRule() = default;

std::shared_ptr<FeatureClassRule> FeatureClassRule::load(IXMLDOMNode* node, ConditionMap& map, IGPMessages* messages) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(node);
    if (!attributes) return nullptr;
    const auto name = attributeText(attributes, OLESTR("name"));
    if (!name) return nullptr;

    // The keys are upper-case: only a name that is written so is found here and merged into.
    if (const auto existing = map.find(*name)) {
        existing->loadSubtypes(node, messages);
        return existing;
    }
    auto created = map.addClass();
    if (!created->loadSubtypes(node, messages)) return nullptr;
    created->name = *name;
    CComBSTR key = *name;
    if (key.Length() != 0) CharUpperBuffW(key.m_str, key.Length());
    map.featureClassRules.insert_or_assign(std::move(key), created);
    return created;
}

bool FeatureClassRule::loadSubtypes(IXMLDOMNode* node, IGPMessages* messages) {
    enabled = true;
    const CComPtr<IXMLDOMNodeList> subtypes = selectNodes(node, OLESTR("subtype"));
    if (!subtypes) return false;
    if (!forEachNode(subtypes, [&](IXMLDOMNode* subtype) { return loadSubtype(subtype, messages); })) return false;
    loadConditions(node, defaultConditions, messages);
    return true;
}

bool FeatureClassRule::loadSubtype(IXMLDOMNode* node, IGPMessages* messages) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(node);
    if (!attributes) return false;
    const auto number = attributeText(attributes, OLESTR("number"));
    if (!number) return false;
    ConditionList loaded;
    loadConditions(node, loaded, messages);
    for (const LONG code : subtypeCodes(view(*number))) {
        ConditionList& conditions = subtypeConditions[code];
        conditions.insert(conditions.end(), loaded.begin(), loaded.end());
    }
    return true;
}

void FeatureClassRule::loadConditions(IXMLDOMNode* node, ConditionList& target, IGPMessages* messages) {
    const CComPtr<IXMLDOMNodeList> nodes = selectNodes(node, OLESTR("condition"));
    if (!nodes) return;
    forEachNode(nodes, [&](IXMLDOMNode* conditionNode) {
        if (auto condition = Condition::build(conditionNode, *this, messages)) {
            target.push_back(condition);
            owner->conditions.push_back(std::move(condition));
        }
        return true;
    });
}

void FeatureClassRule::registerReferencedField(const CComBSTR& fieldName) {
    if (view(fieldName).find(OLESTR('.')) != WideView::npos) return;
    if (knownFields.contains(fieldName)) return;
    referencedFields.insert(fieldName);
}

void FeatureClassRule::endRun() noexcept {
    tableManager->reset();
    binding_->release();
    currentRow = nullptr;
}

}  // namespace ConditionalXml
