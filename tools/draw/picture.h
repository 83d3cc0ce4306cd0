// The picture of a symbol, read from a file of somebody's: only what draws is taken over.
#pragma once

#include "tools/draw/style_sheet.h"
#include "tools/draw/styles.h"

#include <map>
#include <string>

namespace cxml {

/// SVG elements in millimetres around the symbol's position, which a view box that reaches as far to each side as this
/// says has in its middle.
struct Picture {
    std::string elements;
    std::string title;
    double halfWidth = 0;  // 0 of a file without a view box
    double halfHeight = 0;
};

/// A picture of a file, its elements written anew: shapes and groups with their geometry and paint. Classes that name
/// tokens have become colours.
/// \param colours of the palette, by token.
/// \throws DrawError that says why, without the file's name: it cannot be read, is no picture, or has what points
/// elsewhere, runs or styles.
Picture readPicture(const std::string& file, const std::map<std::string, std::string>& colours);

/// The same of a picture that has styles: what they declare becomes attributes, and what they do not display is left
/// out.
/// \param classes of its style sheet. \throws DrawError, also when it has no view box.
Picture importPicture(const std::string& file, const std::map<std::string, Declarations>& classes);

/// The picture as a file of its own.
std::string pictureFile(const Picture& picture);

}  // namespace cxml
