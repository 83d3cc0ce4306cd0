#include "row_verdicts.h"

#include "tools/text/text.h"

namespace cxml {

void RowVerdicts::onMessage(std::string_view text) {
    // The row tells of a missing field before its message; a rule says the same in these words.
    const bool isAboutField = isAboutField_ || text.starts_with("Rule referenced field '");
    isAboutField_ = false;
    if (!hasBegun_)
        messages_.emplace_back(text);
    else if (!isAboutField)
        rows_[row_].messages.emplace_back(text);
}

const RowVerdict& RowVerdicts::of(ObjectId row) const {
    static const RowVerdict unseen;
    const auto known = rows_.find(row);
    return known == rows_.end() ? unseen : known->second;
}

void RowVerdicts::beginRow(IRow* /*row*/, const ConditionalXml::FeatureClassRule& /*rule*/) {
    hasBegun_ = true;
    isAboutField_ = false;
    rows_[row_] = {};
}

void RowVerdicts::onMissingField(const ConditionalXml::FeatureClassRule& /*rule*/, WideView name) {
    isAboutField_ = true;
    rows_[row_].missingFields.push_back(toUtf8(name));
}

void RowVerdicts::onDecision(const ConditionalXml::RowDecision& decision) {
    RowVerdict& row = rows_[row_];
    row.isDecided = true;
    row.named = decision.named;
}

void RowVerdicts::endRow(bool /*changed*/, HRESULT status) {
    rows_[row_].isStored = SUCCEEDED(status);
}

}  // namespace cxml
