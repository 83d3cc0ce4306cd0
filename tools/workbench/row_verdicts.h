// RowVerdicts: what decided each row of a small run.
#pragma once

#include "cxml/evaluation_observer.h"
#include "symbology/host_interfaces.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

struct RowVerdict {
    bool isDecided = false;  // else it could not be read
    bool isStored = true;    // what was put into it, or there was nothing to store
    const ConditionalXml::Condition* named = nullptr;
    std::vector<std::string> missingFields;  // that the document uses and the row does not have
    std::vector<std::string> messages;       // but those about missing fields
};

/// Attached to the run of one table, keeps a verdict for every row: for the few rows of tests.
class RowVerdicts : public ConditionalXml::EvaluationObserver {
public:
    /// \param row the id of the row that the run is at; must outlive this.
    explicit RowVerdicts(const ObjectId& row) : row_(row) {}

    /// To be told of each message of the run as it comes.
    void onMessage(std::string_view text);

    /// Of a row that the run did not come to: one that is not decided.
    const RowVerdict& of(ObjectId row) const;
    /// Messages that came before the first row.
    const std::vector<std::string>& messages() const noexcept { return messages_; }

private:
    void beginRow(IRow* row, const ConditionalXml::FeatureClassRule& rule) override;
    void onMissingField(const ConditionalXml::FeatureClassRule& rule, WideView name) override;
    void onDecision(const ConditionalXml::RowDecision& decision) override;
    void endRow(bool changed, HRESULT status) override;

    const ObjectId& row_;
    std::map<ObjectId, RowVerdict> rows_;
    std::vector<std::string> messages_;
    bool hasBegun_ = false;
    bool isAboutField_ = false;
};

}  // namespace cxml
