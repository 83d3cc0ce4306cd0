#include "nearest_condition.h"

#include "unasked_rules.h"

#include "cxml/condition.h"

#include <algorithm>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::RowValueMap;
using ConditionalXml::Rule;

namespace {

bool hasName(const Condition& condition) {
    return condition.rulename.Length() != 0 || std::ranges::any_of(condition.rules, [](const auto& rule) {
               return std::ranges::any_of(rule->nestedConditions, [](const auto& nested) { return hasName(*nested); });
           });
}

}  // namespace

void NearestCondition::beginRow(IRow* /*row*/, const FeatureClassRule& /*rule*/) {
    open_.clear();
    nearest_ = nullptr;
}

void NearestCondition::beginCondition(const Condition& condition) {
    open_.push_back({&condition});
}

void NearestCondition::onError(const Condition& /*condition*/, const char* /*text*/) {
    open_.clear();
}

void NearestCondition::endRule(const Rule& /*rule*/, const RowValueMap& values, bool answer) {
    if (open_.empty()) return;
    Open& open = open_.back();
    const std::size_t index = open.rule++;
    if (answer) return;
    ++open.lacking;
    askBehind(*open.condition, index, values, [&](std::optional<bool> more) {
        if (more != true) ++open.lacking;
        return true;
    });
}

void NearestCondition::endCondition(const Condition& condition, bool held) {
    const std::size_t lacking = open_.back().lacking;
    open_.pop_back();
    // Those inside one that holds have been looked at by themselves.
    if (held || lacking == 0 || !hasName(condition)) return;
    if (nearest_ && lacking_ <= lacking) return;
    nearest_ = &condition;
    lacking_ = lacking;
}

}  // namespace cxml
