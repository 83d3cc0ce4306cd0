#include "class_configurations.h"

#include "text.h"

#include <algorithm>
#include <optional>

namespace cxml {
namespace {

bool sameText(const CComBSTR& a, const CComBSTR& b) {
    return VarBstrCmp(a, b, LOCALE_USER_DEFAULT, 0) == VARCMP_EQ;
}

std::optional<CComVariant> attribute(IXMLDOMNode* element, const OLECHAR* name) {
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    CComPtr<IXMLDOMNode> node;
    CComVariant value;
    if (element->get_attributes(&attributes) != S_OK || !attributes) return std::nullopt;
    if (attributes->getNamedItem(CComBSTR(name), &node) != S_OK || !node) return std::nullopt;
    if (FAILED(node->get_nodeTypedValue(&value))) return std::nullopt;
    return value;
}

std::optional<CComBSTR> textAttribute(IXMLDOMNode* element, const OLECHAR* name) {
    std::optional<CComVariant> value = attribute(element, name);
    if (!value) return std::nullopt;
    if (value->vt != VT_BSTR && FAILED(value->ChangeType(VT_BSTR))) return CComBSTR();
    return CComBSTR(static_cast<int>(SysStringLen(value->bstrVal)), value->bstrVal);
}

template <class Body>
void forEachSelected(IXMLDOMNode* node, const OLECHAR* xpath, const Body& body) {
    CComPtr<IXMLDOMNodeList> nodes;
    if (FAILED(node->selectNodes(CComBSTR(xpath), &nodes)) || !nodes) return;
    for (;;) {
        CComPtr<IXMLDOMNode> next;
        if (nodes->nextNode(&next) != S_OK || !next) return;
        body(next.p);
    }
}

bool writesResult(IXMLDOMNode* condition) {
    std::optional<CComVariant> type = attribute(condition, OLESTR("type"));
    return type && SUCCEEDED(VariantChangeTypeEx(&*type, &*type, 0, 0, VT_I4)) && type->lVal == 2;
}

void collectResultFields(IXMLDOMNode* parent, const OLECHAR* xpath, std::vector<std::string>& fields) {
    forEachSelected(parent, xpath, [&](IXMLDOMNode* condition) {
        if (writesResult(condition)) {
            const std::optional<CComBSTR> field = textAttribute(condition, OLESTR("field"));
            std::string name = field ? toUtf8(*field) : std::string();
            if (!name.empty() && std::ranges::find(fields, name) == fields.end()) fields.push_back(std::move(name));
        }
        collectResultFields(condition, OLESTR("rule/condition"), fields);
    });
}

bool everySubtypeHasNumber(IXMLDOMNode* featureClass) {
    bool complete = true;
    forEachSelected(featureClass, OLESTR("subtype"), [&](IXMLDOMNode* subtype) {
        if (!attribute(subtype, OLESTR("number"))) complete = false;
    });
    return complete;
}

}  // namespace

ClassConfigurations ClassConfigurations::read(IXMLDOMDocument* document) {
    ClassConfigurations result;
    forEachSelected(document, OLESTR("/conditionMap/featureClass"), [&](IXMLDOMNode* node) { result.add(node); });
    return result;
}

void ClassConfigurations::add(IXMLDOMNode* featureClass) {
    const std::optional<CComBSTR> name = textAttribute(featureClass, OLESTR("name"));
    if (!name) return;
    ClassConfiguration* target = findKey(*name);
    if (!target) {
        if (!everySubtypeHasNumber(featureClass)) return;
        const CComBSTR key = upperCase(*name);
        target = findKey(key);
        if (!target) target = &classes_.emplace_back();
        *target = {key, {}};
    }
    collectResultFields(featureClass, OLESTR("condition | subtype/condition"), target->resultFields);
}

ClassConfiguration* ClassConfigurations::findKey(const CComBSTR& key) {
    const auto found = std::ranges::find_if(classes_, [&](const auto& c) { return sameText(c.key, key); });
    return found == classes_.end() ? nullptr : &*found;
}

const ClassConfiguration* ClassConfigurations::find(const std::string& alias) const {
    const CComBSTR key = upperCase(toBstr(alias));
    const auto found = std::ranges::find_if(classes_, [&](const auto& c) { return sameText(c.key, key); });
    return found == classes_.end() ? nullptr : &*found;
}

}  // namespace cxml
