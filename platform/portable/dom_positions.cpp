#include "platform/portable/dom_positions.h"

namespace symbology_platform::dom {

std::optional<Position> Positions::at(std::uint64_t offset, char expected) {
    if (offset < dropped_ + walked_ || offset - dropped_ >= ahead_.size()) return std::nullopt;
    const auto target = static_cast<std::size_t>(offset - dropped_);
    for (; walked_ < target; ++walked_) {
        const char c = ahead_[walked_];
        if (c == '\n') {
            ++position_.line;
            position_.column = 1;
        } else if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80U) {
            ++position_.column;
        }
    }
    // Moving what is left pays once it is the smaller part.
    if (walked_ > ahead_.size() / 2) {
        ahead_.erase(0, walked_);
        dropped_ += walked_;
        walked_ = 0;
    }
    if (ahead_[static_cast<std::size_t>(offset - dropped_)] != expected) return std::nullopt;
    return position_;
}

}  // namespace symbology_platform::dom
