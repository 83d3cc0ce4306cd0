// The list of row ids on a command line.
#pragma once

#include "symbology/host_interfaces.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

/// Reads "12,7,9"; nothing when a piece is not a whole number of 64 bits. Blanks around a number are allowed.
std::optional<std::vector<ObjectId>> parseObjectIds(std::string_view text);

/// Names the piece that cannot be read; empty when there is none.
std::string whyNotObjectIds(std::string_view text);

/// The first rows of a selection. \throws embedded_host::HostError when they cannot be listed.
std::vector<ObjectId> firstIds(ISelectionSet* selection, std::size_t limit);

}  // namespace cxml
