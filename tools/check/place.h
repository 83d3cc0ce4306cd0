// Places: where in a text something stands.
#pragma once

#include "platform/platform.h"

#include <compare>
#include <string>

namespace cxml {

/// A place in the document.
struct Spot {
    LONG line = 0;    // from 1; 0 when unknown
    LONG column = 0;  // in characters from 1; 0 when only the line is known

    auto operator<=>(const Spot&) const = default;
};

/// A place in any file.
struct Place {
    std::string file;
    LONG line = 0;
    LONG column = 0;

    auto operator<=>(const Place&) const = default;
};

}  // namespace cxml
