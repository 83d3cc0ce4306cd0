// Rules made by a test, to be put into a loaded document.
#pragma once

#include "cxml/feature_class_rule.h"
#include "rules/rule.h"

#include <functional>
#include <memory>
#include <utility>

/// Answers with what a function of the test answers, or throws what it throws.
class CallingRule : public ConditionalXml::Rule {
public:
    using Body = std::function<bool(ConditionalXml::RowValueMap&, IGPMessages*)>;

    CallingRule(ConditionalXml::FeatureClassRule& owner, Body body) : Rule(owner.ruleOwner()), body_(std::move(body)) {}
    bool evaluate(ConditionalXml::RowValueMap& values, IGPMessages* messages) override {
        return body_(values, messages);
    }

    /// Puts such a rule in front of the rules of the first default condition of the class.
    static void enter(ConditionalXml::FeatureClassRule& owner, Body body) {
        auto& rules = owner.defaultConditions.at(0)->rules;
        rules.insert(rules.begin(), std::make_shared<CallingRule>(owner, std::move(body)));
    }

private:
    Body body_;
};
