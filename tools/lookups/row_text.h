// The texts of an instruction, TX and TE, as what an expression computes.
#pragma once

#include "tools/lookups/instruction.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

struct RowText {
    std::string value;                // in Python
    std::vector<std::string> fields;  // that it reads, each once

    bool operator==(const RowText&) const = default;
};

/// Nothing when the text is one that no expression can be made of.
std::optional<RowText> rowText(const Piece& piece);

/// How it is set, for people: "3.5 mm right, 3.5 mm up, of 15110, in CHBLK". Of offsets in the size of the body, whose
/// points are 0.351 mm, as tables have them.
std::string textFormat(const Piece& piece);

/// The name of the piece of a document's function library that the expressions need, and its source.
inline constexpr std::string_view textLibrary = "lookups";
std::string_view textLibrarySource();

/// A whole `Generate`: of a text, of a number or an attribute, or of nothing.
std::string generateText(const std::optional<RowText>& text);
std::string generateRotation(const std::optional<Rotation>& rotation);

}  // namespace cxml
