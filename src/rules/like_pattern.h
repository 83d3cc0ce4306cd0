// The pattern language of the `like` operators.
#pragma once

#include "platform/platform.h"

#include <vector>

namespace ConditionalXml {

/// A pattern cut into its pieces once, matched against many texts.
class LikePattern {
public:
    /// The empty pattern, which matches every text.
    LikePattern() : LikePattern(WideView{}) {}
    explicit LikePattern(WideView pattern);

    /// Case-sensitive by code unit. Each piece is looked for once, at its first occurrence: there is no going back, so
    /// "*AB" does not match "ABAB".
    bool matches(WideView text) const noexcept;

    /// The text that the pattern was cut from.
    const WideString& source() const noexcept { return source_; }

private:
    WideString source_;
    std::vector<WideString> tokens_;  // an empty one stands for any text
};

}  // namespace ConditionalXml
