#include "explanation.h"

#include "field_uses.h"
#include "text/text.h"
#include "tools/places/places.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>

namespace cxml {

bool WalkedCondition::isNotRun() const {
    return held && condition->callsExpression() && !condition->compiledExpression && !condition->expressionText.empty();
}

using ConditionalXml::CXAttributeRule;
using ConditionalXml::Expression;
using ConditionalXml::QueryRule;
using ConditionalXml::RowDecision;
using ConditionalXml::view;

ShownValue shown(const VARIANT* value) {
    if (!value) return {"missing", {}};
    switch (value->vt) {
        case VT_NULL:
            return {"null", {}};
        case VT_EMPTY:
            return {"empty", {}};
        case VT_BSTR:
            return {"text", toUtf8(view(value->bstrVal))};
        case VT_R4:
            return {"real", fmt::format("{}", value->fltVal)};
        case VT_R8:
            return {"real", fmt::format("{}", value->dblVal)};
        default:
            break;
    }
    CComVariant text;
    const bool hasText = SUCCEEDED(text.ChangeType(VT_BSTR, value));
    const std::string shownText = hasText ? toUtf8(view(text.bstrVal)) : std::string();
    switch (value->vt) {
        case VT_I1:
        case VT_I2:
        case VT_I4:
        case VT_I8:
        case VT_UI1:
        case VT_UI2:
        case VT_UI4:
        case VT_UI8:
        case VT_INT:
        case VT_UINT:
            return {"integer", shownText};
        case VT_DATE:
            return {"date", shownText};
        default:
            return {"other", shownText};
    }
}

std::string inWords(const ShownValue& value) {
    if (value.type == "missing") return "no such field";
    if (value.type == "null") return "NULL";
    if (value.type == "empty") return "no value";
    return value.isText() ? '"' + value.text + '"' : value.text;
}

const char* nameOf(WalkedCondition::End end) {
    using End = WalkedCondition::End;
    switch (end) {
        case End::Decides:
            return "decides";
        case End::Places:
            return "places";
        case End::Writes:
            return "writes";
        case End::Replaced:
            return "replaced";
        case End::OuterName:
            return "outer-name";
        case End::Held:
            return "held";
        case End::No:
            return "no";
        case End::Error:
            break;
    }
    return "error";
}

const char* nameOf(QueryRule::Outcome outcome) {
    switch (outcome) {
        case QueryRule::Outcome::NotAsked:
            return "not asked";
        case QueryRule::Outcome::NoFilter:
            return "no filter";
        case QueryRule::Outcome::NoTable:
            return "no table";
        case QueryRule::Outcome::Refused:
            return "refused";
        case QueryRule::Outcome::Answered:
            break;
    }
    return "answered";
}

const WalkedCondition* findWalked(const std::vector<WalkedCondition>& conditions,
                                  const ConditionalXml::Condition& condition) {
    for (const WalkedCondition& walked : conditions) {
        if (walked.condition == &condition) return &walked;
        for (const WalkedRule& rule : walked.rules)
            if (const WalkedCondition* found = findWalked(rule.nested, condition)) return found;
    }
    return nullptr;
}

void Explainer::beginRow(IRow* /*row*/, const ConditionalXml::FeatureClassRule& rule) {
    row_ = {};
    row_.configuration = &rule;
    matched_ = nullptr;
    open_.clear();
}

void Explainer::onDecision(const RowDecision& decision) {
    row_.isDecided = true;
    row_.subtype = decision.subtype;
    row_.list = &decision.list;
    row_.named = decision.named;
    matched_ = decision.matched;
    row_.placed = matched_ && matched_->hasPlacement ? matched_ : nullptr;
    row_.symbol = shown(decision.symbol);
}

void Explainer::onPut(WideView field, const VARIANT& before, const VARIANT& value, HRESULT status) {
    row_.puts.push_back({toUtf8(field), shown(&before), shown(&value), SUCCEEDED(status)});
}

void Explainer::endRow(bool /*changed*/, HRESULT status) {
    row_.isStored = SUCCEEDED(status);
    setEnds(row_.conditions);
    onRow_(std::move(row_));
}

void Explainer::beginCondition(const Condition& condition) {
    Open& open = open_.emplace_back();
    open.walked.condition = &condition;
    open.walked.rules.reserve(condition.rules.size());
    for (const auto& rule : condition.rules) open.walked.rules.emplace_back().rule = rule.get();
}

void Explainer::beginRule(const Rule& rule, const RowValueMap& /*values*/) {
    Open& open = open_.back();
    open.rule = static_cast<std::size_t>(std::ranges::find(open.walked.rules, &rule, &WalkedRule::rule) -
                                         open.walked.rules.begin());
    open.isAsking = true;
}

void Explainer::endRule(const Rule& rule, const RowValueMap& values, bool answer) {
    Open& open = open_.back();
    open.isAsking = false;
    WalkedRule& walked = open.walked.rules.at(open.rule);
    walked.isAsked = true;
    walked.answer = answer;
    if (const auto* attribute = dynamic_cast<const CXAttributeRule*>(&rule)) {
        const VARIANT* value = attribute->lookupField(values);
        walked.seen = shown(value);
        if (attribute->valueFieldName.Length() != 0) walked.other = shown(values.first(attribute->valueFieldSlot()));
        const VARTYPE type = rule.ruleType == 'L' ? VARTYPE{VT_I4} : value ? value->vt : VARTYPE{VT_EMPTY};
        walked.isComparable = attribute->values.empty() || !value || value->vt == VT_NULL;
        for (const CComVariant& operand : attribute->values) {
            walked.operands.push_back(shown(&operand));
            walked.isComparable = walked.isComparable || operand.vt == type || operand.vt == VT_NULL;
        }
    } else if (const auto* query = dynamic_cast<const QueryRule*>(&rule)) {
        walked.outcome = query->outcome();
        walked.clause = toUtf8(query->clause());
        walked.rows = query->rowsFound();
    }
}

void Explainer::beginGenerate(const Condition& condition, const RowValueMap& values) {
    WalkedCondition& walked = open_.back().walked;
    walked.held = true;  // its name is taken before the call
    for (const auto& [name, isList] : condition.generateArguments) {
        auto& shownValues = walked.arguments.emplace_back(toUtf8(name), std::vector<ShownValue>()).second;
        const auto slot = values.names().find(name);
        for (const CComVariant& value : slot ? values.values(*slot) : std::span<const CComVariant>()) {
            shownValues.push_back(shown(&value));
            if (!isList) break;
        }
    }
}

void Explainer::endGenerate(const Condition& /*condition*/, Expression::Outcome outcome) {
    open_.back().walked.generated = outcome;
}

void Explainer::endCondition(const Condition& /*condition*/, bool held) {
    open_.back().walked.held = held;
    close();
}

void Explainer::onError(const Condition& /*condition*/, const char* text) {
    for (bool isInnermost = true; !open_.empty(); isInnermost = false) {
        WalkedCondition& walked = open_.back().walked;
        walked.error = isInnermost ? text : "a condition in it was broken off";
        close();
    }
}

/// The innermost condition takes its place in the one that it stands in, or in the list.
void Explainer::close() {
    WalkedCondition walked = std::move(open_.back().walked);
    open_.pop_back();
    if (open_.empty())
        row_.conditions.push_back(std::move(walked));
    else
        open_.back().walked.rules.at(open_.back().rule).nested.push_back(std::move(walked));
}

void Explainer::setEnds(std::vector<WalkedCondition>& conditions) const {
    using End = WalkedCondition::End;
    const auto endOf = [this](WalkedCondition& walked) {
        const Condition& condition = *walked.condition;
        if (&condition == row_.named) return End::Decides;
        if (!walked.error.empty()) return End::Error;
        if (!walked.held) return End::No;
        if (condition.rulename.Length() != 0) {
            walked.by = row_.named;
            for (const Condition* outer = places_.outerOf(condition); outer; outer = places_.outerOf(*outer))
                if (outer == row_.named) return End::OuterName;
            return End::Replaced;
        }
        if (&condition == row_.placed) return End::Places;
        return walked.generated == Expression::Outcome::Accepted ? End::Writes : End::Held;
    };
    for (WalkedCondition& walked : conditions) {
        walked.end = endOf(walked);
        for (WalkedRule& rule : walked.rules) setEnds(rule.nested);
    }
}

void Explainer::onMissingField(const ConditionalXml::FeatureClassRule& rule, WideView name) {
    missingFieldLine_ = firstUse(places_, rule, name);
}

LONG Explainer::onMessage(std::string_view text) {
    LONG line = std::exchange(missingFieldLine_, 0);
    if (!open_.empty()) {
        const Open& open = open_.back();
        line = open.isAsking ? places_.lineOf(*open.walked.rules.at(open.rule).rule)
                             : places_.lineOf(*open.walked.condition);
    }
    row_.messages.push_back({std::string(text), line});
    return line;
}

}  // namespace cxml
