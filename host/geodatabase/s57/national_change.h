// A text in the national language that an update of a cell changes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace embedded_host {

/// A national text of a feature that an update changed; GDAL's reader passes over these.
struct NationalChange {
    std::uint32_t feature = 0;         // RCID
    const char* attribute = nullptr;   // its acronym
    std::optional<std::string> value;  // UTF-8; none: taken away
};

}  // namespace embedded_host
