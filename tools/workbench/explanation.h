// Explanation: how one row came to what it gets, condition by condition and rule by rule.
#pragma once

#include "cxml/evaluation_observer.h"
#include "rules/query_rules.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cxml {

class DocumentPlaces;

/// A value as people are shown it.
struct ShownValue {
    std::string type;  // integer, real, text, date, null, missing (the row has no such field), empty, other
    std::string text;  // without quotes; empty where there is none

    bool isText() const { return type == "text"; }
};

/// \param value null where the row has no such field.
ShownValue shown(const VARIANT* value);
/// "3", "\"3\"", "NULL", "no such field".
std::string inWords(const ShownValue& value);

struct WalkedCondition;

/// A rule of a condition, with what it was asked.
struct WalkedRule {
    const ConditionalXml::Rule* rule = nullptr;
    bool isAsked = false;
    bool answer = false;
    ShownValue seen{};                             // of an attribute or list rule: the row's value
    std::optional<ShownValue> other;               // the second field's
    std::vector<ShownValue> operands;              // as they were compared
    bool isComparable = true;                      // false when no operand is of the value's type
    ConditionalXml::QueryRule::Outcome outcome{};  // of a query
    std::string clause;
    LONG rows = 0;
    std::vector<WalkedCondition> nested;
};

struct WalkedCondition {
    enum class End {
        Decides,    // the symbol is its name
        Places,     // it names no symbol, its placement counts
        Writes,     // neither, but it has computed a value
        Replaced,   // its name gave way to that of `by`
        OuterName,  // the same, and `by` is the condition that it stands in
        Held,
        No,
        Error
    };

    const ConditionalXml::Condition* condition = nullptr;
    bool held = false;
    End end = End::No;
    const ConditionalXml::Condition* by = nullptr;
    std::vector<WalkedRule> rules;
    std::optional<ConditionalXml::Expression::Outcome> generated;            // when Generate was called and returned
    std::vector<std::pair<std::string, std::vector<ShownValue>>> arguments;  // of the call
    std::string error;                                                       // that broke it off

    /// Whether it holds and has an expression that was not compiled: the document was loaded without them.
    bool isNotRun() const;
};

/// "decides", "outer-name" and so on: words that stay.
const char* nameOf(WalkedCondition::End end);

/// "answered", "no table" and so on: words that stay.
const char* nameOf(ConditionalXml::QueryRule::Outcome outcome);

struct RowExplanation {
    struct Put {
        std::string field;
        ShownValue before;
        ShownValue value;
        bool isTaken;
    };
    struct Message {
        std::string text;
        LONG line;
    };

    ObjectId row = 0;
    bool isDecided = false;  // not when a value, the subtype or "SYMBOL_C" could not be had
    bool isStored = true;    // or would be, where nothing is
    std::optional<LONG> subtype;
    const ConditionalXml::FeatureClassRule* configuration = nullptr;
    const ConditionalXml::FeatureClassRule::ConditionList* list = nullptr;
    const ConditionalXml::Condition* named = nullptr;
    const ConditionalXml::Condition* placed = nullptr;  // whose placement counts, if it has any
    ShownValue symbol{};                                // before
    std::vector<WalkedCondition> conditions;            // of the list, in order
    std::vector<Put> puts;
    std::vector<Message> messages;
};

/// The walked condition; null when the row's list does not have it, or an outer rule kept it from being walked.
const WalkedCondition* findWalked(const std::vector<WalkedCondition>& conditions,
                                  const ConditionalXml::Condition& condition);

/// Attached to runs that evaluate everything: explains each row.
class Explainer : public ConditionalXml::EvaluationObserver {
public:
    using Condition = ConditionalXml::Condition;
    using Rule = ConditionalXml::Rule;
    using RowValueMap = ConditionalXml::RowValueMap;

    /// \param onRow takes each explanation. \param places of the document. Both must outlive this.
    Explainer(const DocumentPlaces& places, std::function<void(RowExplanation&&)> onRow)
        : places_(places), onRow_(std::move(onRow)) {}

    /// To be told of each message of the run as it comes. \return the responsible line; 0 when none is.
    LONG onMessage(std::string_view text);

private:
    void beginRow(IRow* row, const ConditionalXml::FeatureClassRule& rule) override;
    void onMissingField(const ConditionalXml::FeatureClassRule& rule, WideView name) override;
    void onDecision(const ConditionalXml::RowDecision& decision) override;
    void onPut(WideView field, const VARIANT& before, const VARIANT& value, HRESULT status) override;
    void endRow(bool changed, HRESULT status) override;
    void beginCondition(const Condition& condition) override;
    void beginRule(const Rule& rule, const RowValueMap& values) override;
    void endRule(const Rule& rule, const RowValueMap& values, bool answer) override;
    void beginGenerate(const Condition& condition, const RowValueMap& values) override;
    void endGenerate(const Condition& condition, ConditionalXml::Expression::Outcome outcome) override;
    void endCondition(const Condition& condition, bool held) override;
    void onError(const Condition& condition, const char* text) override;

    struct Open {
        WalkedCondition walked;
        std::size_t rule = 0;  // the one that is asked, or was last
        bool isAsking = false;
    };

    void close();
    void setEnds(std::vector<WalkedCondition>& conditions) const;

    const DocumentPlaces& places_;
    std::function<void(RowExplanation&&)> onRow_;
    RowExplanation row_;
    const Condition* matched_ = nullptr;
    LONG missingFieldLine_ = 0;
    std::vector<Open> open_;
};

}  // namespace cxml
