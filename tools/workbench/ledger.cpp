#include "ledger.h"

#include "field_uses.h"
#include "text/text.h"
#include "tools/places/places.h"
#include "tools/text/text.h"

#include <algorithm>
#include <utility>

namespace cxml {

using ConditionalXml::RowDecision;
using ConditionalXml::RowValueMap;
using ConditionalXml::Rule;

namespace {

bool isEmpty(const VARIANT* value) {
    return !value || value->vt == VT_NULL || value->vt == VT_EMPTY ||
           (value->vt == VT_BSTR && SysStringLen(value->bstrVal) == 0);
}

}  // namespace

void Ledger::beginRow(IRow* /*row*/, const ConditionalXml::FeatureClassRule& rule) {
    ++rows_;
    isDecided_ = hasError_ = hasSymbol_ = false;
    named_ = placed_ = nullptr;
    missingFieldLine_ = 0;
    evaluation_ = &rule.evaluation;
    if (!onRowReport) return;
    symbol_.clear();
    rowWrites_.clear();
    rowMessages_.clear();
}

void Ledger::onMissingField(const ConditionalXml::FeatureClassRule& rule, WideView name) {
    const auto [known, isNew] = fieldLines_.try_emplace(WideString(name), 0);
    if (isNew) known->second = firstUse(places_, rule, name);
    missingFieldLine_ = known->second;
}

void Ledger::onDecision(const RowDecision& decision) {
    isDecided_ = true;
    named_ = decision.named;
    placed_ = decision.matched && decision.matched->hasPlacement ? decision.matched : nullptr;
    hasSymbol_ = !isEmpty(decision.symbol);
    if (!onRowReport) return;
    if (named_)
        symbol_ = toUtf8(named_->rulename);
    else if (CComVariant text; hasSymbol_ && SUCCEEDED(text.ChangeType(VT_BSTR, decision.symbol)))
        symbol_ = toUtf8(ConditionalXml::view(text.bstrVal));
}

void Ledger::onPut(WideView field, const VARIANT& /*before*/, const VARIANT& /*value*/, HRESULT status) {
    if (FAILED(status)) return;
    auto write = std::ranges::find(writes_, field, [](const Write& known) { return WideView(known.field); });
    if (write == writes_.end()) write = writes_.insert(write, {WideString(field), toUtf8(field), 0});
    if (onRowReport) rowWrites_.push_back(write->name);
    ++write->count;
}

std::map<std::string, std::int64_t> Ledger::writes() const {
    std::map<std::string, std::int64_t> counts;
    for (const Write& write : writes_) counts[write.name] += write.count;
    return counts;
}

RowEnd Ledger::endOf(HRESULT status) {
    if (!isDecided_ || FAILED(status)) return RowEnd::Failed;
    if (named_) {
        const auto [decider, isNew] = deciders_.try_emplace(named_);
        if (isNew) decider->second.isFallback = places_.isFallback(*named_);
        decider->second.rows.add(*row_);
        return decider->second.isFallback ? RowEnd::Default : RowEnd::Rule;
    }
    if (hasError_) return RowEnd::Failed;
    return hasSymbol_ ? RowEnd::Kept : RowEnd::None;
}

void Ledger::endRow(bool /*changed*/, HRESULT status) {
    const RowEnd end = endOf(status);
    ends_[static_cast<std::size_t>(end)].add(*row_);
    if (onRowReport) onRowReport({*row_, end, named_, placed_, symbol_, rowWrites_, rowMessages_});
}

void Ledger::endRule(const Rule& rule, const RowValueMap& /*values*/, bool /*answer*/) {
    if (rule.ruleType != 'Q') return;
    const auto& query = static_cast<const QueryRule&>(rule);
    using Outcome = QueryRule::Outcome;
    if (query.outcome() == Outcome::Answered || query.outcome() == Outcome::NotAsked) return;
    const auto [known, isNew] = unanswered_.try_emplace({&query, query.outcome()});
    if (isNew) known->second = {query.outcome(), toUtf8(query.clause()), {}};
    known->second.rows.add(*row_);
}

void Ledger::onError(const Condition& /*condition*/, const char* /*text*/) {
    hasError_ = true;
}

LONG Ledger::onMessage(std::string_view text) {
    ++messageCount_;
    const LONG line = responsibleLine();
    missingFieldLine_ = 0;
    if (onRowReport) rowMessages_.emplace_back(text);
    auto known = messageIndex_.find(text);
    if (known == messageIndex_.end()) {
        if (messages_.size() >= distinctMessages) return line;
        known = messageIndex_.try_emplace(std::string(text)).first;
    }
    auto same = std::ranges::find(known->second, line, [this](std::size_t index) { return messages_[index].line; });
    if (same == known->second.end()) {
        messages_.push_back({std::string(text), line, {}});
        known->second.push_back(messages_.size() - 1);
        same = known->second.end() - 1;
    }
    if (rows_ > 0) messages_[*same].rows.add(*row_);
    return line;
}

LONG Ledger::responsibleLine() const {
    if (missingFieldLine_ != 0 || !evaluation_) return missingFieldLine_;
    if (evaluation_->rule) return places_.lineOf(*evaluation_->rule);
    return evaluation_->condition ? places_.lineOf(*evaluation_->condition) : 0;
}

bool Ledger::isBalanced() const noexcept {
    std::int64_t sum = 0;
    for (const RowList& end : ends_) sum += end.rows;
    return sum == rows_;
}

std::vector<std::pair<const Ledger::Condition*, const Ledger::RowList*>> Ledger::decided() const {
    std::vector<std::pair<const Condition*, const RowList*>> all;
    all.reserve(deciders_.size());
    for (const auto& [condition, decider] : deciders_) all.emplace_back(condition, &decider.rows);
    std::ranges::sort(all, {}, [this](const auto& entry) { return places_.orderOf(*entry.first); });
    return all;
}

std::vector<std::pair<LONG, const Ledger::Question*>> Ledger::unanswered() const {
    std::vector<std::pair<LONG, const Question*>> all;
    all.reserve(unanswered_.size());
    for (const auto& [key, question] : unanswered_) all.emplace_back(places_.lineOf(*key.first), &question);
    std::ranges::sort(all, {}, [](const auto& entry) { return std::pair(entry.first, entry.second->outcome); });
    return all;
}

}  // namespace cxml
