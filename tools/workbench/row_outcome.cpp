#include "row_outcome.h"

#include "cxml/target_fields.h"
#include "tools/text/text.h"

#include <algorithm>

namespace cxml {

using ConditionalXml::Condition;

bool isPlacementField(std::string_view field) {
    return std::ranges::any_of(ConditionalXml::placements,
                               [&](const auto& placement) { return field == toUtf8(WideView(placement.field)); });
}

const RowOutcome::Put* RowOutcome::findPut(std::string_view field) const noexcept {
    const auto found = std::ranges::find(puts, field, &Put::field);
    return found == puts.end() ? nullptr : &*found;
}

void OutcomeObserver::beginRow(IRow* row, const ConditionalXml::FeatureClassRule& rule) {
    outcome_ = {};
    outcome_.row = row_;
    isDecided_ = false;
    current_ = row;
    evaluation_ = &rule.evaluation;
}

void OutcomeObserver::onDecision(const ConditionalXml::RowDecision& decision) {
    isDecided_ = true;
    outcome_.named = decision.named;
    outcome_.placed = decision.matched && decision.matched->hasPlacement ? decision.matched : nullptr;
}

ShownValue OutcomeObserver::taken(WideView field, const VARIANT& value) {
    const auto [known, isNew] = positions_.try_emplace(WideString(field), -1);
    if (isNew) {
        CComPtr<IFields> fields;
        if (FAILED(current_->get_Fields(&fields)) || !fields ||
            FAILED(fields->FindField(CComBSTR(static_cast<int>(field.size()), field.data()), &known->second)))
            known->second = -1;
    }
    CComVariant held;
    if (known->second < 0 || FAILED(current_->get_Value(known->second, &held))) return shown(&value);
    return shown(&held);
}

const Condition* OutcomeObserver::responsible(std::string_view field) const {
    if (!isDecided_) return evaluation_->condition;  // expressions write while conditions are evaluated
    return isPlacementField(field) ? outcome_.placed : outcome_.named;
}

void OutcomeObserver::onPut(WideView field, const VARIANT& before, const VARIANT& value, HRESULT status) {
    if (FAILED(status)) return;
    const std::string name = toUtf8(field);
    auto known = std::ranges::find(outcome_.puts, name, &RowOutcome::Put::field);
    if (known == outcome_.puts.end())
        known = outcome_.puts.insert(known, {.field = name, .before = shown(&before), .value = {}, .by = nullptr});
    known->value = taken(field, value);
    known->by = responsible(name);
}

void OutcomeObserver::onError(const Condition& /*condition*/, const char* /*text*/) {
    outcome_.hasError = true;
}

void OutcomeObserver::endRow(bool /*changed*/, HRESULT status) {
    current_.Release();
    outcome_.isFailed = !isDecided_ || FAILED(status);
    if (FAILED(status)) outcome_.puts.clear();  // nothing of them is stored
    std::erase_if(outcome_.puts, [](const RowOutcome::Put& put) {
        return put.before.type == put.value.type && put.before.text == put.value.text;
    });
    onRow_(outcome_);
}

}  // namespace cxml
