// Rows by their place.
#pragma once

#include "host/geodatabase/shapes.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

/// Reads "-81.5,41.9": degrees of longitude and latitude on WGS 84. Nothing when the text is no position.
std::optional<embedded_host::Position> parsePosition(std::string_view text);

/// Degrees of latitude from the position to the shape; 0 inside of an area. Infinite without a shape.
double distanceTo(const embedded_host::Shape& shape, const embedded_host::Position& position);

/// The ids of the rows that are nearest, at most so many, the nearest first; rows without a shape are none.
/// \throws embedded_host::HostError
std::vector<ObjectId> nearestRows(const std::string& dataset, const embedded_host::WorkspaceOptions& options,
                                  const std::string& layer, const std::optional<std::string>& where,
                                  const embedded_host::Position& position, std::size_t limit);

}  // namespace cxml
