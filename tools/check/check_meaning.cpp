// What rules say without anybody wanting to say it.
#include "checks.h"
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "rules/query_rules.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <unordered_map>

namespace cxml {
namespace {

using ConditionalXml::CXAttributeRule;
using ConditionalXml::CXAttributeRuleEqual;
using ConditionalXml::CXAttributeRuleLike;
using ConditionalXml::CXAttributeRuleNotEqual;
using ConditionalXml::ListAttributeRule;

bool isDigits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c) != 0; });
}

// The pieces between commas; none when something else than digits stands there.
std::vector<std::string_view> digitPieces(std::string_view text) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::size_t comma = text.find(',');
        pieces.push_back(text.substr(0, comma));
        if (!isDigits(pieces.back())) return {};
        if (comma == std::string_view::npos) return pieces;
        text.remove_prefix(comma + 1);
    }
}

bool groupsThousands(const std::vector<std::string_view>& pieces) {
    return pieces.front().size() <= 3 &&
           std::all_of(pieces.begin() + 1, pieces.end(), [](std::string_view piece) { return piece.size() == 3; });
}

std::string textOf(const CComVariant& operand) {
    return toUtf8(WideView(operand.bstrVal, SysStringLen(operand.bstrVal)));
}

// As the library converts it; empty when it does not.
std::string readAs(const CComVariant& operand, VARTYPE type) {
    CComVariant number;
    CComVariant text;
    if (FAILED(number.ChangeType(type, &operand)) || FAILED(text.ChangeType(VT_BSTR, &number))) return {};
    return textOf(text);
}

void checkOperand(const CheckedRule& rule, const CComVariant& operand, std::size_t index, Findings& findings) {
    if (operand.vt != VT_BSTR) return;
    const std::string text = textOf(operand);
    const std::vector<std::string_view> pieces = digitPieces(text);
    if (pieces.size() < 2) return;
    if (rule.as<ListAttributeRule>()) {
        const std::string code = readAs(operand, VT_I4);
        if (code.empty()) return;
        findings.add(operandSpot(rule, index), "operand-misread", fmt::format("'{}' is the one code {}", text, code))
            .help = "write a <value> for each code";
        return;
    }
    if (rule.as<CXAttributeRuleLike>()) return;
    const std::string number = readAs(operand, VT_R8);
    const bool isEquality = rule.as<CXAttributeRuleEqual>() || rule.as<CXAttributeRuleNotEqual>();
    if (isEquality && !pieces.back().starts_with('0'))
        findings
            .add(operandSpot(rule, index), "list-compared",
                 fmt::format("'{}' is compared with the whole text of the field, in this order{}", text,
                             number.empty() ? "" : "; in a field of numbers it is " + number))
            .help = "to ask for members of a list use a list attribute rule: type=\"L\" with a <value> for each code";
    else if (!number.empty() && !groupsThousands(pieces))
        findings
            .add(operandSpot(rule, index), "operand-misread",
                 fmt::format("'{}' is the number {} where the field holds numbers: the comma separates thousands", text,
                             number))
            .help = "write a decimal point";
}

// Whether evaluating the condition cannot end otherwise than with a choice, or none, of symbol and placement.
bool onlyChooses(const CheckedCondition& checked) {
    return !checked.condition->callsExpression() && std::ranges::all_of(checked.rules, [](const CheckedRule& rule) {
        return std::ranges::all_of(
            rule.nested, [](const CheckedCondition& nested) { return !nested.isKept || onlyChooses(nested); });
    });
}

// The outer name is taken when all rules hold, so after what is nested in the last one nothing keeps it from being.
void checkOuterName(const CheckedCondition& condition, Findings& findings) {
    if (condition.condition->rulename.Length() == 0 || condition.rules.empty()) return;
    const std::vector<CheckedCondition>& nested = condition.rules.back().nested;
    const auto isNamed = [](const CheckedCondition& inner) {
        return inner.isKept && inner.condition->rulename.Length() != 0;
    };
    const auto first = std::ranges::find_if(nested, isNamed);
    if (first == nested.end()) return;
    if (!std::ranges::all_of(nested, [](const auto& inner) { return !inner.isKept || onlyChooses(inner); })) return;
    Finding& finding = findings.add(
        attributeSpot(condition.element, OLESTR("rulename")), "outer-rulename",
        fmt::format("no row can keep the symbol of a nested condition: {} replaces it", condition.title()));
    finding.other = Remark{{findings.document(), first->at.line, first->at.column}, {}, first->title() + " is nested"};
    finding.help = "remove the outer rulename; for rows that match none, nest a condition with that name first";
    finding.condition = condition.condition.get();
    finding.within = {condition.at};
}

// An element as text, attributes in the order of their names: equal for elements that say the same.
void append(IXMLDOMNode* element, std::string& text) {
    CComBSTR name;
    element->get_nodeName(&name);
    text += '<' + toUtf8(name);
    const CComQIPtr<INodeTrace> trace(element);
    if (!trace) return;
    std::map<std::string, std::string> attributes;
    for (const CComPtr<IXMLDOMNode>& attribute : listed(trace, &INodeTrace::get_allAttributes)) {
        CComBSTR attributeName;
        CComBSTR value;
        attribute->get_nodeName(&attributeName);
        attribute->get_text(&value);
        attributes[toUtf8(attributeName)] = toUtf8(value);
    }
    for (const auto& [attribute, value] : attributes) text += fmt::format(" {}='{}'", attribute, value);
    const std::vector<CComPtr<IXMLDOMNode>> children = listed(trace, &INodeTrace::get_childElements);
    CComBSTR content;
    if (children.empty() && SUCCEEDED(element->get_text(&content))) text += '>' + toUtf8(content);
    for (const CComPtr<IXMLDOMNode>& child : children) append(child, text);
    text += "</>";
}

template <class List>
void checkRepeated(const List& list, std::set<const CheckedCondition*>& reported, Findings& findings) {
    std::unordered_map<std::string, const CheckedCondition*> known;
    for (const CheckedCondition* condition : list) {
        std::string text;
        append(condition->element, text);
        const auto [earlier, isNew] = known.try_emplace(std::move(text), condition);
        if (isNew || !reported.insert(condition).second) continue;
        Finding& finding = findings.add(condition->at, "condition-repeated",
                                        fmt::format("{} says what an earlier one says", condition->title()));
        finding.other =
            Remark{{findings.document(), earlier->second->at.line, earlier->second->at.column}, {}, "the earlier one"};
        finding.condition = condition->condition.get();
        finding.within = {condition->at};
    }
}

}  // namespace

void checkMeaning(const DocumentModel& model, Findings& findings) {
    std::set<const CheckedCondition*> repeated;
    for (const CheckedClass& checked : model.classes())
        if (checked.isKept)
            for (const CheckedClass::List* list : checked.lists()) checkRepeated(*list, repeated, findings);
    model.forEachCondition([&](const CheckedCondition& condition) {
        for (const CheckedRule& rule : condition.rules)
            if (auto* const attribute = rule.as<CXAttributeRule>())
                for (std::size_t i = 0; i < attribute->values.size(); ++i)
                    checkOperand(rule, attribute->values[i], i, findings);
        if (!condition.isKept) return;
        checkOuterName(condition, findings);
    });
}

}  // namespace cxml
