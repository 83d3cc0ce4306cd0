#include "order_witness.h"

#include "cxml/feature_class_rule.h"
#include "text/text.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <map>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::FieldNames;
using ConditionalXml::RowValueMap;
using ConditionalXml::Rule;
using ConditionalXml::view;

namespace {

constexpr std::size_t mostRows = 300;   // that are tried
constexpr std::size_t mostValues = 12;  // of an axis

/// Everything that evaluating the condition asks of the row and of nothing else; false when there is more.
bool collect(const Condition& condition, std::vector<CXAttributeRule*>& rules) {
    return !condition.callsExpression() && std::ranges::all_of(condition.rules, [&](const auto& rule) {
        auto* const attribute = dynamic_cast<CXAttributeRule*>(rule.get());
        if (!attribute) return false;
        rules.push_back(attribute);
        return std::ranges::all_of(rule->nestedConditions, [&](const auto& nested) { return collect(*nested, rules); });
    });
}

std::string inWords(const CComVariant& value) {
    if (value.vt == VT_NULL) return "NULL";
    CComVariant text;
    if (FAILED(text.ChangeType(VT_BSTR, &value))) return "?";
    const std::string shown = oneLine(toUtf8(view(text.bstrVal)));
    return value.vt == VT_BSTR ? '\'' + shown + '\'' : shown;
}

class Witness {
public:
    Witness(const std::vector<MatchStep>& steps, std::size_t step, const std::vector<std::size_t>& by,
            const RowSpace& space)
        : steps_(steps), number_(step), step_(steps[step]), by_(by), space_(space) {
        addTop(step);
        for (const std::size_t later : by) addTop(later);
        for (const Condition* top : tops_) isClosed_ = isClosed_ && collect(*top, rules_);
        for (const CXAttributeRule* rule : rules_) operands_.push_back(rule->values);
    }

    std::optional<std::string> find() {
        if (!isClosed_) return std::nullopt;
        collectValues();
        std::vector<std::size_t> choice(fields_.size(), 0);
        for (std::size_t tried = 0; tried < mostRows; ++tried) {
            if (confirms(choice)) return row(choice);
            std::size_t digit = 0;
            while (digit < choice.size() && ++choice[digit] == fields_[digit].values.size()) choice[digit++] = 0;
            if (digit == choice.size()) break;
        }
        return std::nullopt;
    }

private:
    struct Field {
        FieldNames::Slot slot;
        CComBSTR name;
        std::vector<CComVariant> values;
    };

    void addTop(std::size_t step) {
        if (std::ranges::find(tops_, steps_[step].top) == tops_.end()) tops_.push_back(steps_[step].top);
    }

    // Of each field that these conditions look at, some values that the condition allows.
    void collectValues() {
        std::map<FieldNames::Slot, std::size_t> known;
        for (std::size_t axis = 0; axis < space_.size(); ++axis) {
            const bool isUsed = std::ranges::any_of(
                rules_, [&](const CXAttributeRule* rule) { return rule->fieldSlot() == space_.slotOf(axis); });
            if (!isUsed) continue;
            const auto [entry, isNew] = known.try_emplace(space_.slotOf(axis), fields_.size());
            if (isNew) fields_.push_back({space_.slotOf(axis), space_.fieldOf(axis), {}});
            const CellSet* const own = step_.may.find(axis);
            addValues(axis, own ? *own : space_.universe(axis), fields_[entry->second].values);
        }
        std::erase_if(fields_, [](const Field& field) { return field.values.empty(); });
    }

    // Beside a bound of 18.2 the integer field that holds 18 is not what one thinks of first.
    void addValues(std::size_t axis, const CellSet& cells, std::vector<CComVariant>& values) const {
        const bool hasFraction = isComparedWithFraction(space_.slotOf(axis));
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

    bool isComparedWithFraction(FieldNames::Slot slot) const {
        return std::ranges::any_of(rules_, [&](const CXAttributeRule* rule) {
            return rule->fieldSlot() == slot && std::ranges::any_of(rule->values, [](const CComVariant& operand) {
                       return operand.vt == VT_BSTR && view(operand.bstrVal).find(OLESTR('.')) != WideView::npos;
                   });
        });
    }

    // It holds, one of those that come in its place holds, and in the end another one's name or placement counts that
    // comes later: of conditions that are nested together, what comes behind those may decide.
    bool confirms(const std::vector<std::size_t>& choice) {
        RowValueMap values(step_.condition->featureClassRule->fieldNames);
        for (std::size_t i = 0; i < fields_.size(); ++i) values.append(fields_[i].slot) = fields_[i].values[choice[i]];
        const auto holds = [&](const MatchStep& step) {
            return std::ranges::all_of(step.rules, [&](Rule* rule) { return rule->evaluate(values, nullptr); });
        };
        const bool isConfirmed = holds(step_) &&
                                 std::ranges::any_of(by_, [&](std::size_t later) { return holds(steps_[later]); }) &&
                                 isReplaced(values);
        for (std::size_t i = 0; i < rules_.size(); ++i) rules_[i]->values = operands_[i];
        return isConfirmed;
    }

    bool isReplaced(RowValueMap& values) const {
        BSTR name = nullptr;
        const Condition* matched = nullptr;
        for (Condition* top : tops_) top->evaluate(values, name, matched, nullptr);
        if (!step_.isNamed()) return matched && matched != step_.condition;
        const auto later = steps_.begin() + static_cast<std::ptrdiff_t>(number_) + 1;
        return std::any_of(later, steps_.end(),
                           [&](const MatchStep& other) { return name == other.condition->rulename.m_str; });
    }

    std::string row(const std::vector<std::size_t>& choice) const {
        std::string text;
        for (std::size_t i = 0; i < fields_.size(); ++i)
            text += fmt::format("{}{} = {}", i == 0 ? "" : ", ", oneLine(toUtf8(fields_[i].name)),
                                inWords(fields_[i].values[choice[i]]));
        return text.empty() ? "any row" : text;
    }

    const std::vector<MatchStep>& steps_;
    std::size_t number_;
    const MatchStep& step_;
    const std::vector<std::size_t>& by_;
    const RowSpace& space_;
    std::vector<Condition*> tops_;  // in the order of the list
    std::vector<CXAttributeRule*> rules_;
    std::vector<std::vector<CComVariant>> operands_;
    bool isClosed_ = true;
    std::vector<Field> fields_;
};

}  // namespace

std::optional<std::string> findWitness(const std::vector<MatchStep>& steps, std::size_t step,
                                       const std::vector<std::size_t>& by, const RowSpace& space) {
    return Witness(steps, step, by, space).find();
}

}  // namespace cxml
