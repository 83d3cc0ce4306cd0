// Why a row does not have a symbol, and the smallest change of its values by which it would.
#pragma once

#include "explanation.h"

#include "cxml/condition_map.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

class DocumentPlaces;

struct Change {
    std::string field;
    CComVariant value;
    CComVariant before;  // once it was tried
};

/// Explains the row as it would be with other values; nothing when it does not take them. The values become what the
/// row makes of them.
using Trial = std::function<std::optional<RowExplanation>(std::vector<Change>&)>;

/// What there is to know of a row besides its explanation.
struct TriedRow {
    const RowExplanation& explanation;
    std::shared_ptr<const ConditionalXml::FeatureClassRule> configuration;  // of the row's class
    std::string subtypeField;                                               // empty without one
    Trial trial;
};

/// Why one of the conditions that were asked about does not decide the row's symbol.
struct WhyNot {
    const ConditionalXml::Condition* condition = nullptr;  // null where no row of the class can come to it
    LONG line = 0;
    /// Of the closed list: not-configured class-replaced other-list rule-false not-reached rule-error replaced
    /// outer-name discarded no-such-name expression-failed. Empty for the condition that decides.
    std::vector<std::string> reasons;
    std::string detail;
    std::vector<const WalkedRule*> rules;       // that were false, or broke off; of the row's own explanation
    std::optional<std::vector<Change>> change;  // confirmed by a trial; nothing when none was found
    bool isSearched = false;                    // whether a change was looked for
    std::optional<RowExplanation> evaluated;    // the row with the change
};

inline constexpr std::size_t mostChangedFields = 3;

/// One answer for each condition that `wanted` names: by its name, its line, or its address. Without a trial no change
/// is looked for.
std::vector<WhyNot> whyNot(const TriedRow& row, const std::string& wanted, const DocumentPlaces& places);

}  // namespace cxml
