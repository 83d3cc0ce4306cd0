// Lines and columns of a text that goes by in pieces.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace symbology_platform::dom {

/// Both from 1; a column counts characters.
struct Position {
    int line = 1;
    int column = 1;
};

/// Keeps what has come and was not yet walked over: the parser drops what it has read, also of the line that it is in.
class Positions {
public:
    void add(std::string_view piece) { ahead_ += piece; }

    /// Of the byte at an offset of the whole text; nothing when that is behind what has come, or before what was asked
    /// last, or is not `expected`.
    std::optional<Position> at(std::uint64_t offset, char expected);

private:
    std::string ahead_;
    std::uint64_t dropped_ = 0;  // bytes of the text before ahead_
    std::size_t walked_ = 0;     // bytes of ahead_ before position_
    Position position_;
};

}  // namespace symbology_platform::dom
