// Difference: which rows two runs leave otherwise, in groups that people can read.
#pragma once

#include "host/geodatabase/base/run_monitor.h"
#include "row_outcome.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace cxml {

/// What became of a row, the first of these that holds. What counts is what the dataset would hold.
enum class RowChange : std::uint8_t {
    Same,
    Error,   // otherwise, and a failure or an error on one side only
    Lost,    // a symbol on the first side, none on the second
    Gained,  // the other way round
    Symbol,  // another one
    Placement,
    Fields  // computed ones
};
inline constexpr std::array<const char*, 7> rowChangeNames{"same",   "error",     "lost",  "gained",
                                                           "symbol", "placement", "fields"};

/// One side of a change.
struct ChangeSide {
    const ConditionalXml::Condition* by = nullptr;  // null: what the dataset holds
    ShownValue value;                               // of a symbol, or of the first row of the group
};

struct ChangeGroup {
    RowChange change{};
    std::string fields;  // that are otherwise: "SYMBOL_C", or "Xoffset_C, Rotate_C"
    ChangeSide from;
    ChangeSide to;
    embedded_host::RowList rows;
    std::int64_t outside = 0;  // of the rows: not among those that were to change
};

/// The rows of one layer.
class Difference {
public:
    static constexpr std::size_t mostGroups = 10000;  // rows of those beyond are counted only

    /// \param first, second what two runs make of the row, from the same state of it; null: nothing.
    /// \param isInside whether the row was to change.
    /// \throws std::runtime_error when the two have not seen the same row.
    void compare(const RowOutcome* first, const RowOutcome* second, bool isInside);

    /// Told of each row that is otherwise, with its own values in the group's sides; may be empty.
    std::function<void(ObjectId row, const ChangeGroup& change, bool isInside)> onChange;

    std::int64_t rows() const noexcept { return rows_; }
    std::int64_t count(RowChange change) const noexcept { return counts_[static_cast<std::size_t>(change)]; }
    std::int64_t different() const noexcept { return rows_ - count(RowChange::Same); }
    /// Of the rows that are otherwise: those that were not to change.
    std::int64_t outside() const noexcept { return outside_; }
    /// Rows that hold the same, where on one side only an older symbol stays because no condition names one.
    const embedded_host::RowList& kept() const noexcept { return kept_; }
    /// Rows that fail on both sides.
    std::int64_t failed() const noexcept { return failed_; }
    /// Those with most rows first.
    std::vector<ChangeGroup> groups() const;
    /// Rows that no group has.
    std::int64_t ungrouped() const noexcept { return ungrouped_; }

private:
    using Key = std::tuple<RowChange, std::string, const ConditionalXml::Condition*, const ConditionalXml::Condition*,
                           std::string, std::string>;

    std::int64_t rows_ = 0;
    std::array<std::int64_t, rowChangeNames.size()> counts_{};
    std::int64_t outside_ = 0;
    std::int64_t failed_ = 0;
    std::int64_t ungrouped_ = 0;
    embedded_host::RowList kept_;
    std::map<Key, std::size_t> index_;
    std::vector<ChangeGroup> groups_;
};

}  // namespace cxml
