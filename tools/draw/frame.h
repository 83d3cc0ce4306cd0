// What stands around the map: its frame with degrees, the scale, and what there is to say about the picture.
#pragma once

#include "tools/draw/page.h"
#include "tools/draw/styles.h"

#include <string>
#include <vector>

namespace cxml {

/// Millimetres between the map and the edge of the picture.
constexpr double frameMargin = 12;

struct FramedSize {
    double width;
    double height;
};

/// \param remarks how many lines stand below.
FramedSize framedSize(const Page& page, std::size_t remarks);

/// The frame; 0,0 is the upper left corner of the picture.
void writeFrame(std::string& svg, const Page& page, const Styles& styles, const std::vector<std::string>& remarks);

/// "20 000"
std::string grouped(double number);

}  // namespace cxml
