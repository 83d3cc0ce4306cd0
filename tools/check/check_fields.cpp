#include "check_fields.h"

#include "cxml/feature_class_rule.h"
#include "rules/list_attribute_rules.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <cmath>

namespace cxml {
namespace {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::CXAttributeRuleBetween;
using ConditionalXml::CXAttributeRuleEqual;
using ConditionalXml::CXAttributeRuleLike;
using ConditionalXml::CXAttributeRuleNotEqual;
using embedded_host::Column;
using embedded_host::ColumnType;
using embedded_host::FieldInfo;

// In the words that people use for columns.
std::string typeName(VARTYPE type) {
    switch (type) {
        case VT_BOOL:
            return "boolean";
        case VT_I2:
        case VT_I4:
        case VT_I8:
            return "integer";
        case VT_R4:
        case VT_R8:
            return "real";
        case VT_DATE:
            return "date";
        default:
            return "text";
    }
}

bool isInteger(VARTYPE type) {
    return type == VT_I2 || type == VT_I4 || type == VT_I8;
}

WideView textOf(const CComVariant& operand) {
    return {operand.bstrVal, SysStringLen(operand.bstrVal)};
}

std::size_t characters(WideView text) {
    const std::string bytes = toUtf8(text);
    return static_cast<std::size_t>(
        std::ranges::count_if(bytes, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

// Whether a rule over whole numbers answers otherwise than it says, because its operand became a whole number.
bool isRounded(CXAttributeRule& rule, std::size_t index, VARTYPE type) {
    const std::vector<CComVariant> written = rule.values;
    CComVariant real;
    if (FAILED(real.ChangeType(VT_R8, &written[index])) || std::trunc(real.dblVal) == real.dblVal) return false;
    const auto asks = [&](const CComVariant& value) {
        if (dynamic_cast<CXAttributeRuleBetween*>(&rule))
            rule.values = written;
        else
            rule.values = {written[index]};
        ConditionalXml::RowValueMap row(rule.featureClassRule->fieldNames);
        row.append(rule.fieldSlot()) = value;
        return rule.evaluate(row, nullptr);
    };
    bool differs = false;
    for (const double whole : {std::floor(real.dblVal), std::ceil(real.dblVal)}) {
        const CComVariant asReal(whole);
        CComVariant asInteger;
        if (SUCCEEDED(asInteger.ChangeType(type, &asReal))) differs = differs || asks(asInteger) != asks(asReal);
    }
    rule.values = written;
    return differs;
}

// A whole number is matched by its digits.
bool fitsNoWholeNumber(WideView pattern) {
    constexpr WideView possible = OLESTR("-0123456789*");
    return pattern.find_first_not_of(possible) != WideView::npos;
}

// Why a value of the column never equals the operand, which has been given the column's type; empty when it may.
std::string whyUnequal(const Column& column, const CComVariant& operand, const CComVariant& converted) {
    if (converted.vt == VT_DATE) {
        const bool hasTime = converted.date != std::floor(converted.date);
        if (column.type == ColumnType::Date && hasTime) return "holds dates without a time";
        if (column.type == ColumnType::Time && std::floor(converted.date) != 0) return "holds times without a date";
    }
    if (column.type != ColumnType::Text || column.width <= 0) return {};
    if (characters(textOf(operand)) <= static_cast<std::size_t>(column.width)) return {};
    return fmt::format("holds {} character{} at most", column.width, column.width == 1 ? "" : "s");
}

}  // namespace

// Asked once: a server has to look it up.
const FieldInfo* FieldCheck::find(const std::string& name) {
    const auto [known, isNew] = fields_.try_emplace(name);
    if (isNew) known->second = dataset_.field(layer_.name, name);
    return known->second ? &*known->second : nullptr;
}

const FieldInfo* FieldCheck::needTarget(const std::string& name) {
    const FieldInfo* const field = find(name);
    if (!field && std::ranges::find(missing_, name) == missing_.end()) missing_.push_back(name);
    return field;
}

std::vector<std::string> FieldCheck::found() const {
    std::vector<std::string> names;
    for (const auto& [name, field] : fields_)
        if (field) names.push_back(name);
    return names;
}

std::string FieldCheck::title(const std::string& field) const {
    return fmt::format("field '{}' of layer {}", field, layer_.name);
}

bool FieldCheck::check(const CheckedRule& rule, const FieldInfo& field) {
    auto& attribute = *rule.as<CXAttributeRule>();
    if (field.type == VT_EMPTY) return false;
    if (attribute.ruleType == 'L') {
        if (field.type == VT_BSTR) return true;
        findings_.add(rule.at, "list-field-type",
                      fmt::format("{} is of type {}: a list attribute rule finds codes in texts only",
                                  title(toUtf8(attribute.fieldName)), typeName(field.type)));
        return false;
    }
    bool isGood = true;
    for (std::size_t i = 0; i < attribute.values.size(); ++i)
        if (attribute.values[i].vt == VT_BSTR) isGood = checkOperand(rule, attribute, i, field) && isGood;
    return isGood;
}

bool FieldCheck::checkOperand(const CheckedRule& rule, CXAttributeRule& attribute, std::size_t index,
                              const FieldInfo& field) {
    const CComVariant& operand = attribute.values[index];
    const std::string shown = oneLine(toUtf8(textOf(operand)));
    const std::string name = toUtf8(attribute.fieldName);
    // Patterns are matched by text.
    if (rule.as<CXAttributeRuleLike>()) {
        if (!isInteger(field.type) || !fitsNoWholeNumber(textOf(operand))) return true;
        findings_.add(operandSpot(rule, index), "operand-never-fits",
                      fmt::format("no value fits the pattern '{}': {} holds whole numbers", shown, title(name)));
        return false;
    }
    CComVariant converted;
    if (field.type != VT_BSTR && FAILED(converted.ChangeType(field.type, &operand))) {
        findings_.add(rule.at, "operand-type",
                      fmt::format("the operand '{}' does not convert to the type of {}: {}", shown, title(name),
                                  typeName(field.type)));
        return false;
    }
    if (isInteger(field.type) && isRounded(attribute, index, field.type)) {
        CComVariant number;
        number.ChangeType(VT_BSTR, &converted);
        findings_
            .add(operandSpot(rule, index), "operand-misread",
                 fmt::format("the operand '{}' is read as {}: {} holds whole numbers", shown, toUtf8(textOf(number)),
                             title(name)))
            .help = "write the whole number that is meant";
        return false;
    }
    if (!rule.as<CXAttributeRuleEqual>() && !rule.as<CXAttributeRuleNotEqual>()) return true;
    return checkFit(rule, index, operand, converted, field);
}

bool FieldCheck::checkFit(const CheckedRule& rule, std::size_t index, const CComVariant& operand,
                          const CComVariant& converted, const FieldInfo& field) {
    const std::string why = whyUnequal(field.column, operand, converted);
    if (why.empty()) return true;
    Finding& finding = findings_.add(operandSpot(rule, index), "operand-never-fits",
                                     fmt::format("no value equals the operand '{}': {} {}",
                                                 oneLine(toUtf8(textOf(operand))), title(field.column.name), why));
    // Files say how long a text may be, and keep longer ones all the same.
    if (converted.vt != VT_DATE && dataset_.type() != workspaceRemoteDatabase) finding.severity = Severity::Warning;
    return false;
}

void FieldCheck::checkTargets(const CheckedCondition& checked) {
    const Condition& condition = *checked.condition;
    const FieldInfo* const symbol = needTarget("SYMBOL_C");
    if (symbol && condition.rulename.Length() != 0)
        if (const auto why = whyNotPut(*symbol, CComVariant(condition.rulename)))
            findings_.add(attributeSpot(checked.element, OLESTR("rulename")), "target-refuses",
                          fmt::format("no row of layer {} takes the symbol: {}", layer_.name, *why));
    const std::pair<const char*, double> placements[] = {
        {"Xoffset_C", condition.xoffset}, {"Yoffset_C", condition.yoffset}, {"Rotate_C", condition.angle}};
    for (const auto& [field, value] : placements)
        if (value != 0) needTarget(field);  // a zero is never written
    if (!condition.callsExpression() || condition.field.Length() == 0) return;
    if (const FieldInfo* const field = needTarget(toUtf8(condition.field))) checkText(checked, *field);
}

// What Generate will return is not known, only that it is a text.
void FieldCheck::checkText(const CheckedCondition& checked, const FieldInfo& field) {
    constexpr std::array texts{OLESTR("x"), OLESTR("1"), OLESTR("2000-01-01"), OLESTR("true")};
    const std::optional<std::string> why = whyNotPut(field, CComVariant(texts.front()));
    if (!why) return;
    const bool takesSome = std::ranges::any_of(
        texts, [&](const OLECHAR* text) { return !whyNotPut(field, CComVariant(text)).has_value(); });
    const Spot at = attributeSpot(checked.element, OLESTR("field"));
    if (!takesSome) {
        findings_.add(at, "target-refuses", fmt::format("layer {} takes no text of Generate: {}", layer_.name, *why));
        return;
    }
    Finding& finding = findings_.add(at, "target-refuses",
                                     fmt::format("{} is of type {}: of Generate's texts it takes no others",
                                                 title(field.column.name), typeName(field.type)));
    finding.severity = Severity::Note;
    finding.help = "Nothing is to be done when Generate returns such texts only.";
}

}  // namespace cxml
