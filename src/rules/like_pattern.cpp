#include "rules/like_pattern.h"

namespace ConditionalXml {

LikePattern::LikePattern(WideView pattern) : source_(pattern) {
    constexpr OLECHAR star = OLESTR('*');
    WideString token;
    bool afterStar = false;
    for (const OLECHAR c : pattern) {
        if (!afterStar) {
            if (c == star)
                afterStar = true;
            else
                token.push_back(c);
            continue;
        }
        afterStar = false;
        if (c == star) {  // a doubled asterisk is a literal one
            token.push_back(star);
            continue;
        }
        if (!token.empty()) tokens_.push_back(std::move(token));
        tokens_.emplace_back();
        token.assign(1, c);
    }
    tokens_.push_back(std::move(token));
    if (afterStar) tokens_.emplace_back();
}

bool LikePattern::matches(WideView text) const noexcept {
    std::size_t position = 0;
    bool anchored = true;
    for (const WideString& token : tokens_) {
        if (token.empty()) {
            anchored = false;
            continue;
        }
        if (!anchored) {
            position = text.find(token, position);
            if (position == WideView::npos) return false;
            anchored = true;
        }
        if (text.substr(position, token.size()) != token) return false;
        position += token.size();
    }
    return !anchored || position == text.size();
}

}  // namespace ConditionalXml
