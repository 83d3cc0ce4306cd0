// Ledger: how each row of a layer's run ended, and what the run had to say of which row.
#pragma once

#include "cxml/evaluation_observer.h"
#include "host/geodatabase/base/run_monitor.h"
#include "rules/query_rules.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace cxml {

class DocumentPlaces;

/// What a row's symbol comes from.
enum class RowEnd : std::uint8_t {
    Rule,     // a condition that not every row satisfies
    Default,  // one that has no rules and stands in none
    Kept,     // no condition named a symbol, and the row has an older one, which stays
    None,     // the same without an older one
    Failed  // the row could not be read, decided or stored; or an error broke a condition off, and none named a symbol
};
inline constexpr std::array<const char*, 5> rowEndNames{"rule", "default", "kept", "none", "failed"};

/// One row, for whoever wants them all. Borrowed for the call.
struct RowReport {
    ObjectId row;
    RowEnd end;
    const ConditionalXml::Condition* decided;  // null when none named a symbol
    const ConditionalXml::Condition* placed;   // whose placement counts; null without any
    const std::string& symbol;                 // that was decided, or stays; empty without one
    const std::vector<std::string>& writes;    // the fields that values were put into
    const std::vector<std::string>& messages;
};

/// Attached to the run of one layer. Memory does not grow with rows: there are counters, and the first ids.
class Ledger : public ConditionalXml::EvaluationObserver {
public:
    using Condition = ConditionalXml::Condition;
    using QueryRule = ConditionalXml::QueryRule;
    using RowList = embedded_host::RowList;

    struct Message {
        std::string text;
        LONG line;  // of the document's part that is responsible; 0 when none is
        RowList rows;
    };
    struct Question {
        QueryRule::Outcome outcome;
        std::string clause;  // of the first of them
        RowList rows;
    };
    static constexpr std::size_t distinctMessages = 10000;  // those beyond are counted only

    /// \param places of the document; must outlive this. \param row the id of the row that the run is at; must be there
    ///        until endRun().
    Ledger(const DocumentPlaces& places, const ObjectId& row) : places_(places), row_(&row) {}
    void endRun() noexcept {
        row_ = nullptr;
        evaluation_ = nullptr;
    }

    /// To be told of each message of the run as it comes. \return the responsible line; 0 when none is.
    LONG onMessage(std::string_view text);

    /// Called at the end of each row; to be set before the run.
    std::function<void(const RowReport&)> onRowReport;

    std::int64_t rows() const noexcept { return rows_; }
    std::int64_t count(RowEnd end) const noexcept { return of(end).rows; }
    const RowList& of(RowEnd end) const noexcept { return ends_[static_cast<std::size_t>(end)]; }
    /// Whether every row that began has come to an end.
    bool isBalanced() const noexcept;
    /// The conditions that named the symbols, in the document's order.
    std::vector<std::pair<const Condition*, const RowList*>> decided() const;
    /// How many values were put, by field.
    std::map<std::string, std::int64_t> writes() const;
    /// In the order of their first coming.
    const std::vector<Message>& messages() const noexcept { return messages_; }
    std::int64_t messageCount() const noexcept { return messageCount_; }
    /// What could not be asked, by line.
    std::vector<std::pair<LONG, const Question*>> unanswered() const;

private:
    struct Decider {
        bool isFallback;
        RowList rows;
    };

    void beginRow(IRow* row, const ConditionalXml::FeatureClassRule& rule) override;
    void onMissingField(const ConditionalXml::FeatureClassRule& rule, WideView name) override;
    void onDecision(const ConditionalXml::RowDecision& decision) override;
    void onPut(WideView field, const VARIANT& before, const VARIANT& value, HRESULT status) override;
    void endRow(bool changed, HRESULT status) override;
    void endRule(const ConditionalXml::Rule& rule, const ConditionalXml::RowValueMap& values, bool answer) override;
    void onError(const Condition& condition, const char* text) override;

    LONG responsibleLine() const;
    RowEnd endOf(HRESULT status);

    const DocumentPlaces& places_;
    const ObjectId* row_;

    std::int64_t rows_ = 0;
    std::array<RowList, rowEndNames.size()> ends_;
    std::unordered_map<const Condition*, Decider> deciders_;
    struct Write {
        WideString field;
        std::string name;
        std::int64_t count;
    };
    std::vector<Write> writes_;  // a handful: the same fields row by row
    std::vector<Message> messages_;
    std::map<std::string, std::vector<std::size_t>, std::less<>> messageIndex_;  // of a text, with different lines
    std::int64_t messageCount_ = 0;
    std::map<std::pair<const QueryRule*, QueryRule::Outcome>, Question> unanswered_;

    // Of the row.
    bool isDecided_ = false;
    bool hasError_ = false;
    const Condition* named_ = nullptr;
    const Condition* placed_ = nullptr;
    bool hasSymbol_ = false;
    std::string symbol_;
    std::vector<std::string> rowWrites_;
    std::vector<std::string> rowMessages_;
    LONG missingFieldLine_ = 0;
    std::map<WideString, LONG> fieldLines_;  // of missing fields, which every row lacks
    const ConditionalXml::Evaluation* evaluation_ = nullptr;
};

}  // namespace cxml
