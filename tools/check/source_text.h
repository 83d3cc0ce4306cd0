// SourceText: the lines of a file, to be shown with what is found in them.
#pragma once

#include "place.h"

#include <string>
#include <string_view>
#include <vector>

namespace cxml {

/// A file of UTF-8 text. It has no lines when it is no regular file, cannot be read or is encoded otherwise.
class SourceText {
public:
    explicit SourceText(const std::string& path);

    const std::string& text() const noexcept { return text_; }
    /// Without its end; empty when there is none of the number.
    std::string_view line(LONG number) const noexcept;

private:
    std::string text_;
    std::vector<std::size_t> begins_;
};

/// What stands at a place of a line, in characters: an attribute with its value, the beginning of a start tag, or else
/// the rest of the line. At least 1. \param column from 1.
std::size_t widthAt(std::string_view line, LONG column);

/// The bytes before a column.
std::size_t bytesBefore(std::string_view line, LONG column);

/// How many characters a text of UTF-8 has.
std::size_t countCharacters(std::string_view text);

}  // namespace cxml
