// RowOutcome: what a run makes of a row, as far as the dataset and people can tell.
#pragma once

#include "explanation.h"

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace cxml {

struct RowOutcome {
    /// A value that the row has taken and that is not what it held.
    struct Put {
        std::string field;
        ShownValue before;
        ShownValue value;  // as the row gives it back
        const ConditionalXml::Condition* by = nullptr;
    };

    ObjectId row = 0;
    bool isFailed = false;  // it could not be read, decided or stored
    bool hasError = false;  // an error has broken a condition off
    const ConditionalXml::Condition* named = nullptr;
    const ConditionalXml::Condition* placed = nullptr;  // whose placement counts; null without any
    std::vector<Put> puts;                              // each field once

    const Put* findPut(std::string_view field) const noexcept;
};

/// Whether it is one of the fields that conditions' placements go to.
bool isPlacementField(std::string_view field);

/// Attached to the run of one layer: tells what became of each row.
class OutcomeObserver : public ConditionalXml::EvaluationObserver {
public:
    /// \param row the id of the row that the run is at. \param onRow takes each outcome, which it may move away. Both
    ///        must outlive this.
    OutcomeObserver(const ObjectId& row, std::function<void(RowOutcome&)> onRow)
        : row_(row), onRow_(std::move(onRow)) {}

private:
    void beginRow(IRow* row, const ConditionalXml::FeatureClassRule& rule) override;
    void onDecision(const ConditionalXml::RowDecision& decision) override;
    void onPut(WideView field, const VARIANT& before, const VARIANT& value, HRESULT status) override;
    void endRow(bool changed, HRESULT status) override;
    void onError(const ConditionalXml::Condition& condition, const char* text) override;

    ShownValue taken(WideView field, const VARIANT& value);
    const ConditionalXml::Condition* responsible(std::string_view field) const;

    const ObjectId& row_;
    std::function<void(RowOutcome&)> onRow_;
    CComPtr<IRow> current_;
    const ConditionalXml::Evaluation* evaluation_ = nullptr;
    std::unordered_map<WideString, LONG> positions_;  // of the fields that were put, the same for all rows
    bool isDecided_ = false;
    RowOutcome outcome_;
};

}  // namespace cxml
