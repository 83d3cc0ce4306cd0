// Observers: several observers of one run.
#pragma once

#include "cxml/evaluation_observer.h"

#include <initializer_list>
#include <vector>

namespace cxml {

/// Tells each of them in turn; what one throws, those behind it are not told.
class Observers : public ConditionalXml::EvaluationObserver {
public:
    /// \param observers must outlive this.
    Observers(std::initializer_list<EvaluationObserver*> observers) : all_(observers) {}
    void add(EvaluationObserver* observer) { all_.push_back(observer); }

private:
    using Condition = ConditionalXml::Condition;
    using FeatureClassRule = ConditionalXml::FeatureClassRule;
    using Rule = ConditionalXml::Rule;
    using RowValueMap = ConditionalXml::RowValueMap;

    void beginRow(IRow* row, const FeatureClassRule& rule) override {
        for (auto* const one : all_) one->beginRow(row, rule);
    }
    void onMissingField(const FeatureClassRule& rule, WideView name) override {
        for (auto* const one : all_) one->onMissingField(rule, name);
    }
    void onDecision(const ConditionalXml::RowDecision& decision) override {
        for (auto* const one : all_) one->onDecision(decision);
    }
    void onPut(WideView field, const VARIANT& before, const VARIANT& value, HRESULT status) override {
        for (auto* const one : all_) one->onPut(field, before, value, status);
    }
    void endRow(bool changed, HRESULT status) override {
        for (auto* const one : all_) one->endRow(changed, status);
    }
    void beginCondition(const Condition& condition) override {
        for (auto* const one : all_) one->beginCondition(condition);
    }
    void beginRule(const Rule& rule, const RowValueMap& values) override {
        for (auto* const one : all_) one->beginRule(rule, values);
    }
    void endRule(const Rule& rule, const RowValueMap& values, bool answer) override {
        for (auto* const one : all_) one->endRule(rule, values, answer);
    }
    void beginGenerate(const Condition& condition, const RowValueMap& values) override {
        for (auto* const one : all_) one->beginGenerate(condition, values);
    }
    void endGenerate(const Condition& condition, ConditionalXml::Expression::Outcome outcome) override {
        for (auto* const one : all_) one->endGenerate(condition, outcome);
    }
    void endCondition(const Condition& condition, bool held) override {
        for (auto* const one : all_) one->endCondition(condition, held);
    }
    void onError(const Condition& condition, const char* text) override {
        for (auto* const one : all_) one->onError(condition, text);
    }

    std::vector<EvaluationObserver*> all_;
};

}  // namespace cxml
