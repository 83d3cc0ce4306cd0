// Pictures of somebody's portrayal catalogue, made into ones that charts are drawn with.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace cxml {

struct ImportedSymbols {
    std::size_t pictures = 0;
    std::vector<std::string> refused;  // files, each with the reason
};

/// Reads the pictures in `catalogue` (or in its folder Symbols) with the style sheet there whose name begins with the
/// palette's, and writes each into the new or empty folder: the style sheet's declarations are attributes, what it does
/// not display is gone, and the position is in the middle.
/// \throws DrawError
ImportedSymbols importSymbols(const std::string& catalogue, const std::string& folder, const std::string& palette);

}  // namespace cxml
