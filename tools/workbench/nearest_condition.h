// NearestCondition: of a row that no condition names a symbol for, the one that lacked least.
#pragma once

#include "cxml/evaluation_observer.h"

#include <cstddef>
#include <vector>

namespace cxml {

/// Attached to runs that evaluate everything.
class NearestCondition : public ConditionalXml::EvaluationObserver {
public:
    using Condition = ConditionalXml::Condition;

    /// Of the last row: the condition that names a symbol, or has one in it that does, of which the fewest rules did
    /// not hold; the first of several. Null when the row's list has none.
    const Condition* nearest() const noexcept { return nearest_; }

private:
    using Rule = ConditionalXml::Rule;
    using RowValueMap = ConditionalXml::RowValueMap;

    struct Open {
        const Condition* condition;
        std::size_t rule = 0;     // the one that is asked, or will be next
        std::size_t lacking = 0;  // rules that do not hold, or cannot be told
    };

    void beginRow(IRow* row, const ConditionalXml::FeatureClassRule& rule) override;
    void beginCondition(const Condition& condition) override;
    void endRule(const Rule& rule, const RowValueMap& values, bool answer) override;
    void endCondition(const Condition& condition, bool held) override;
    void onError(const Condition& condition, const char* text) override;

    std::vector<Open> open_;
    const Condition* nearest_ = nullptr;
    std::size_t lacking_ = 0;
};

}  // namespace cxml
