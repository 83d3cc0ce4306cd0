// Shapes on the paper.
#pragma once

#include "tools/draw/page.h"

#include <string>
#include <vector>

namespace cxml {

using Outline = std::vector<std::vector<PagePoint>>;  // parts, or rings

/// The shape in millimetres. Places that fall together on the paper are one.
Outline onPaper(const embedded_host::Shape& shape, const Page& page);

/// Two numbers with two digits behind the point, "x,y": a hundredth of a millimetre.
void appendPlace(std::string& text, const PagePoint& place);

/// Path data: a line for each part, closed for rings.
std::string pathData(const Outline& outline, bool isClosed);

/// Where to put what stands for the whole shape: the first of some points, half way along the longest line, in the
/// widest part of an area, as much of it as the page shows.
PagePoint anchorOf(const Outline& outline, embedded_host::ShapeKind kind, const Page& page);

}  // namespace cxml
