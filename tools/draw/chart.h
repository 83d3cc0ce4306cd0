// A chart as one SVG document.
#pragma once

#include "tools/draw/features.h"
#include "tools/draw/page.h"
#include "tools/draw/symbol_set.h"

#include <map>
#include <string>
#include <vector>

namespace cxml {

/// How one feature is drawn otherwise than in another dataset.
struct DrawnDifference {
    std::string from;  // names; empty where there is none
    std::string to;
    std::size_t features = 0;
};

struct ChartPicture {
    std::string svg;
    std::map<std::string, std::size_t> withoutPicture;  // names, and how many features have each
    std::vector<DrawnDifference> differences;           // by names
    std::size_t movedOnly = 0;                          // differ in offset or rotation
    double width = 0;                                   // of the whole picture, in millimetres
    double height = 0;
};

/// Draws the areas, then the lines, then the points, each in the features' order; labels are on top. With `against`
/// what is drawn otherwise there is marked. The same features give the same text.
/// \throws DrawError
ChartPicture drawChart(const Features& features, const Features* against, const Page& page, SymbolSet& symbols);

}  // namespace cxml
