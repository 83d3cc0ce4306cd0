// The pattern language: a pattern, a line feed, a text.
#include "fuzz/input.h"
#include "memhost/text.h"
#include "rules/like_pattern.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::Input input(data, size);
    const fuzzing::NothingLeft check;
    const CComBSTR pattern = memhost::bstr(input.line());
    const CComBSTR text = memhost::bstr(input.rest());
    const WideView patternView(pattern.m_str, pattern.Length());
    const WideView textView(text.m_str, text.Length());

    const ConditionalXml::LikePattern like(patternView);
    const bool matched = like.matches(textView);
    fuzzing::require(like.matches(textView) == matched, "matching changes nothing");
    if (patternView.find(OLESTR('*')) == WideView::npos && !patternView.empty())
        fuzzing::require(matched == (patternView == textView), "a pattern without asterisks matches just its own text");
    fuzzing::require(ConditionalXml::LikePattern(OLESTR("*")).matches(textView), "an asterisk matches every text");
    return 0;
}
