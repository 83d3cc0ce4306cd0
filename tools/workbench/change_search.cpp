#include "change_search.h"

#include "rules/rule.h"
#include "text/text.h"
#include "tools/places/places.h"
#include "tools/text/text.h"

#include <algorithm>
#include <set>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::Rule;
using ConditionalXml::view;

bool stands(const Condition& condition, const FeatureClassRule::ConditionList& list) {
    return std::ranges::any_of(list, [&](const auto& other) {
        return other.get() == &condition || std::ranges::any_of(other->rules, [&](const auto& rule) {
                   return stands(condition, rule->nestedConditions);
               });
    });
}

namespace {

CComVariant null() {
    CComVariant value;
    value.vt = VT_NULL;
    return value;
}

CComVariant textValue(const std::string& text) {
    CComVariant value(toBstr(text));
    return value;
}

/// A field with the values to try.
struct Candidate {
    std::string field;
    std::vector<CComVariant> values;

    void add(const CComVariant& value) {
        if (values.size() == mostTrials) return;  // more cannot be tried
        const ShownValue wanted = shown(&value);
        const auto isSame = [&](const CComVariant& other) {
            const ShownValue known = shown(&other);
            return known.type == wanted.type && known.text == wanted.text;
        };
        if (std::ranges::none_of(values, isSame)) values.push_back(value);
    }
};

/// The number beside an operand that is one.
std::optional<CComVariant> shifted(const CComVariant& operand, double by) {
    CComVariant number;
    if (operand.vt == VT_NULL || FAILED(number.ChangeType(VT_R8, &operand))) return std::nullopt;
    number.dblVal += by;
    CComVariant text;
    if (FAILED(text.ChangeType(VT_BSTR, &number))) return std::nullopt;
    return text;
}

class Search {
public:
    Search(const TriedRow& row, const Condition& wanted, const DocumentPlaces& places)
        : row_(row), wanted_(wanted), places_(places), conditions_(places.conditionsOf(*row.configuration)) {
        constexpr std::size_t fewest = 50;
        trialsLeft_ = std::clamp(mostConditions / std::max<std::size_t>(conditions_.size(), 1), fewest, mostTrials);
        collect();
    }

    std::optional<FoundChange> run() {
        for (std::size_t fields = 1; fields <= mostChangedFields; ++fields)
            if (choose(0, fields)) return std::move(found_);
        return std::nullopt;
    }

private:
    Candidate& candidateOf(const std::string& field) {
        const auto known = std::ranges::find(candidates_, field, &Candidate::field);
        return known != candidates_.end() ? *known : candidates_.emplace_back(Candidate{field, {}});
    }

    // The list that the condition stands in, its own rules and those around it, then what may come after it.
    void collect() {
        addSubtype();
        for (const Condition* condition = &wanted_; condition; condition = places_.outerOf(*condition))
            for (const auto& rule : condition->rules) addRule(*rule, true);
        for (const Condition* condition : conditions_) {
            const bool mayReplace = condition->rulename.Length() != 0 && condition != &wanted_ &&
                                    places_.listOf(*condition) == places_.listOf(wanted_) &&
                                    places_.orderOf(*condition) > places_.orderOf(wanted_);
            if (!mayReplace) continue;
            for (const Condition* around = condition; around; around = places_.outerOf(*around))
                for (const auto& rule : around->rules) addRule(*rule, false);
        }
    }

    void addSubtype() {
        if (row_.subtypeField.empty() || row_.configuration->subtypeConditions.empty()) return;
        Candidate& candidate = candidateOf(row_.subtypeField);
        for (const auto& [code, list] : row_.configuration->subtypeConditions)
            if (stands(wanted_, list)) candidate.add(CComVariant(code));
        if (stands(wanted_, row_.configuration->defaultConditions)) candidate.add(null());
    }

    void addRule(const Rule& rule, bool isOwn) {
        const auto* attribute = dynamic_cast<const CXAttributeRule*>(&rule);
        if (!attribute || attribute->fieldName.Length() == 0) return;
        Candidate& candidate = candidateOf(toUtf8(attribute->fieldName));
        if (attribute->valueFieldName.Length() != 0) return;
        if (rule.ruleType == 'L') addList(candidate, *attribute);
        for (const CComVariant& operand : attribute->values) {
            if (operand.vt == VT_BSTR && toUtf8(view(operand.bstrVal)).find('*') != std::string::npos) {
                addPattern(candidate, toUtf8(view(operand.bstrVal)));
                continue;
            }
            candidate.add(operand);
            for (const double by : {-1.0, 1.0})
                if (const auto number = shifted(operand, by)) candidate.add(*number);
        }
        candidate.add(null());
        if (isOwn) candidate.add(textValue(""));
    }

    // All of the codes, and all with one more: some operators count.
    static void addList(Candidate& candidate, const CXAttributeRule& rule) {
        std::string codes;
        for (const CComVariant& operand : rule.values) {
            CComVariant text;
            if (operand.vt == VT_NULL || FAILED(text.ChangeType(VT_BSTR, &operand))) continue;
            codes += (codes.empty() ? "" : ",") + toUtf8(view(text.bstrVal));
        }
        if (!codes.empty()) candidate.add(textValue(codes));
        candidate.add(textValue("1,2"));
    }

    // What the stars stand for is the shortest: nothing; of two, one asterisk.
    static void addPattern(Candidate& candidate, const std::string& pattern) {
        std::string shortest;
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            if (pattern[i] != '*') {
                shortest += pattern[i];
            } else if (i + 1 < pattern.size() && pattern[i + 1] == '*') {
                shortest += '*';
                ++i;
            }
        }
        candidate.add(textValue(shortest));
        candidate.add(textValue("x"));
    }

    // Every choice of `more` fields from the candidates behind `first`, with every value of each.
    bool choose(std::size_t first, std::size_t more) {
        if (more == 0) return evaluate();
        for (std::size_t i = first; i + more <= candidates_.size(); ++i)
            for (const CComVariant& value : candidates_[i].values) {
                changes_.push_back({candidates_[i].field, value, CComVariant()});
                const bool isFound = choose(i + 1, more - 1);
                changes_.pop_back();
                if (isFound) return true;
                if (trialsLeft_ == 0) return false;
            }
        return false;
    }

    bool evaluate() {
        if (trialsLeft_ == 0) return false;
        --trialsLeft_;
        std::vector<Change> tried = changes_;
        std::optional<RowExplanation> evaluated = row_.trial(tried);
        if (!evaluated || evaluated->named != &wanted_) return false;
        found_ = FoundChange{std::move(tried), std::move(*evaluated)};
        return true;
    }

    const TriedRow& row_;
    const Condition& wanted_;
    const DocumentPlaces& places_;
    std::vector<const Condition*> conditions_;  // of the class
    std::vector<Candidate> candidates_;
    std::vector<Change> changes_;
    std::size_t trialsLeft_ = 0;
    std::optional<FoundChange> found_;
};

}  // namespace

std::optional<FoundChange> findChange(const TriedRow& row, const Condition& condition, const DocumentPlaces& places) {
    return Search(row, condition, places).run();
}

}  // namespace cxml
