// What differs between two texts, as patch and git apply take it.
#pragma once

#include <string>
#include <string_view>

namespace cxml {

/// With three lines of context; empty when they are the same. \param name of the file.
std::string unifiedDiff(std::string_view before, std::string_view after, const std::string& name);

}  // namespace cxml
