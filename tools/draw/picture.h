// The picture of a symbol, read from a file of somebody's: only what draws is taken over.
#pragma once

#include "tools/draw/style_sheet.h"
#include "tools/draw/styles.h"

#include <map>
#include <string>

namespace cxml {

/// The elements of an SVG file, written anew in millimetres around the symbol's position: shapes and groups with their
/// geometry and paint. Classes that name tokens have become colours.
/// \param colours of the palette, by token.
/// \throws DrawError that says why, without the file's name: it cannot be read, is no picture, or has what points
/// elsewhere, runs or styles.
std::string readPicture(const std::string& file, const std::map<std::string, std::string>& colours);

/// A picture whose view box reaches as far to each side of the position as this says.
struct ImportedPicture {
    std::string elements;
    double halfWidth = 0;
    double halfHeight = 0;
};

/// The same of a picture that has styles: what they declare becomes attributes, and what they do not display is left
/// out.
/// \param classes of its style sheet. \throws DrawError, also when it has no view box.
ImportedPicture importPicture(const std::string& file, const std::map<std::string, Declarations>& classes);

}  // namespace cxml
