#include "tried_rows.h"

#include "cxml/condition.h"
#include "text/text.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <set>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::FieldNames;
using ConditionalXml::RowValueMap;
using ConditionalXml::view;

namespace {

constexpr std::size_t mostRows = 300;   // that are tried
constexpr std::size_t mostValues = 12;  // of an axis

std::string inWords(const CComVariant& value) {
    if (value.vt == VT_NULL) return "NULL";
    CComVariant text;
    if (FAILED(text.ChangeType(VT_BSTR, &value))) return "?";
    const std::string shown = oneLine(toUtf8(view(text.bstrVal)));
    return value.vt == VT_BSTR ? '\'' + shown + '\'' : shown;
}

bool isComparedWithFraction(FieldNames::Slot slot, const std::vector<CXAttributeRule*>& rules) {
    return std::ranges::any_of(rules, [&](const CXAttributeRule* rule) {
        return rule->fieldSlot() == slot && std::ranges::any_of(rule->values, [](const CComVariant& operand) {
                   return operand.vt == VT_BSTR && view(operand.bstrVal).find(OLESTR('.')) != WideView::npos;
               });
    });
}

}  // namespace

bool collectRules(const Condition& condition, std::vector<CXAttributeRule*>& rules) {
    return !condition.callsExpression() && std::ranges::all_of(condition.rules, [&](const auto& rule) {
        auto* const attribute = dynamic_cast<CXAttributeRule*>(rule.get());
        if (!attribute) return false;
        rules.push_back(attribute);
        return std::ranges::all_of(rule->nestedConditions,
                                   [&](const auto& nested) { return collectRules(*nested, rules); });
    });
}

TriedRows::TriedRows(const RowSpace& space, const std::vector<CXAttributeRule*>& rules,
                     const std::vector<CXAttributeRule*>& first, const Box& within)
    : space_(space) {
    addFields(first, within, false);
    addFields(rules, within, true);
}

void TriedRows::addFields(const std::vector<CXAttributeRule*>& rules, const Box& within, bool nullFirst) {
    const std::size_t known = fields_.size();
    std::set<FieldNames::Slot> asked;
    for (const CXAttributeRule* rule : rules) asked.insert(rule->fieldSlot());
    for (const Field& field : fields_) asked.erase(field.slot);
    for (std::size_t axis = 0; axis < space_.size(); ++axis) {
        if (!asked.contains(space_.slotOf(axis))) continue;
        const auto begin = fields_.begin() + static_cast<std::ptrdiff_t>(known);
        auto field = std::find_if(begin, fields_.end(), [&](const Field& f) { return f.slot == space_.slotOf(axis); });
        if (field == fields_.end())
            field = fields_.insert(fields_.end(), {space_.slotOf(axis), space_.fieldOf(axis), {}});
        const CellSet* const own = within.find(axis);
        addValues(axis, own ? *own : space_.universe(axis), rules, field->values);
        std::vector<CComVariant>& values = field->values;
        const auto null = std::ranges::find(values, VT_NULL, &CComVariant::vt);
        if (nullFirst && null != values.end()) std::rotate(values.begin(), null, null + 1);
    }
    std::erase_if(fields_, [](const Field& field) { return field.values.empty(); });
}

// Beside a bound of 18.2 the integer field that holds 18 is not what one thinks of first.
void TriedRows::addValues(std::size_t axis, const CellSet& cells, const std::vector<CXAttributeRule*>& rules,
                          std::vector<CComVariant>& values) const {
    const bool hasFraction = isComparedWithFraction(space_.slotOf(axis), rules);
    std::size_t added = 0;
    for (const bool isFirst : {true, false})
        for (const auto& [begin, end] : cells.runs())
            for (CellSet::Cell cell = begin; cell < end && added < mostValues; ++cell) {
                const CComVariant* const value = space_.valueAt(axis, cell);
                if (!value || isFirst != (!hasFraction || value->vt == VT_R8)) continue;
                values.push_back(*value);
                ++added;
            }
}

bool TriedRows::next() {
    if (++tried_ == 1) return true;
    if (tried_ > mostRows) return false;
    for (Field& field : fields_) {
        if (++field.chosen < field.values.size()) return true;
        field.chosen = 0;
    }
    return false;
}

void TriedRows::fill(RowValueMap& values) const {
    for (const Field& field : fields_) values.append(field.slot) = field.values[field.chosen];
}

std::string TriedRows::inWords() const {
    std::string text;
    for (const Field& field : fields_)
        text += fmt::format("{}{} = {}", text.empty() ? "" : ", ", oneLine(toUtf8(field.name)),
                            cxml::inWords(field.values[field.chosen]));
    return text.empty() ? "any row" : text;
}

KeptOperands::KeptOperands(const std::vector<CXAttributeRule*>& rules) {
    kept_.reserve(rules.size());
    for (CXAttributeRule* rule : rules) kept_.emplace_back(rule, rule->values);
}

void KeptOperands::putBack() const {
    for (const auto& [rule, operands] : kept_) rule->values = operands;
}

}  // namespace cxml
