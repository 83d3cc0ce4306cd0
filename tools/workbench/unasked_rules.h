// Rules that a run does not come to, because one before them failed.
#pragma once

#include "rules/row_value_map.h"

#include <cstddef>
#include <functional>
#include <optional>

namespace ConditionalXml {
class Condition;
}

namespace cxml {

/// Asks the rules behind the one that failed, in order, which get their operands back. Queries are not asked: that
/// would be work for the database that the run does not have.
/// \param failed its index. \param visit gets what each would answer for the row, nothing where that cannot be told;
///        false ends the asking.
/// \return whether all were asked.
bool askBehind(const ConditionalXml::Condition& condition, std::size_t failed,
               const ConditionalXml::RowValueMap& values, const std::function<bool(std::optional<bool>)>& visit);

}  // namespace cxml
