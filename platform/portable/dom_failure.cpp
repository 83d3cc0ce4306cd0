#include "platform/portable/dom_failure.h"

#include "platform/portable/dom_text.h"

#include <algorithm>

namespace symbology_platform::dom {

namespace {

/// MSXML numbers its parse errors from here; which one it is only the text tells.
constexpr HRESULT notWellFormed = hresultFrom(0xC00CE500U);

// Bounds in bytes: the texts are put into messages of limited size, so both must leave room for the rest.
constexpr std::size_t longestReason = 400;
constexpr std::size_t shownBefore = 100;
constexpr std::size_t shownAfter = 60;

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// The document itself, whatever entity the parser is in.
const xmlParserInput* documentInput(const xmlParserCtxt* context) {
    return context->inputNr > 0 && context->inputTab ? context->inputTab[0] : nullptr;
}

/// The part of the input that the parser still holds, and where it stands in it.
struct Window {
    std::string_view text;
    std::size_t at;
};

Window windowOf(const xmlParserInput* input) {
    if (!input || !input->base || input->cur < input->base || input->end < input->cur) return {{}, 0};
    return {{reinterpret_cast<const char*>(input->base), static_cast<std::size_t>(input->end - input->base)},
            static_cast<std::size_t>(input->cur - input->base)};
}

/// Without the quotations of the text that follow in further lines, and without the names of the parser's functions.
std::string_view essence(std::string_view reason) {
    if (reason.starts_with("xmlParseEntityRef: no name"))
        return "An ampersand is not followed by the name of an entity";
    reason = reason.substr(0, reason.find('\n'));
    const std::size_t colon = reason.find(": ");
    const bool named = reason.starts_with("xml") && reason.find(' ') > colon;
    return named && colon != std::string_view::npos ? reason.substr(colon + 2) : reason;
}

std::string sentence(std::string_view reason) {
    std::string text;
    reason = essence(reason);
    for (const char c : reason) {
        const bool blank = static_cast<unsigned char>(c) <= ' ';
        if (!blank)
            text += c;
        else if (!text.empty() && text.back() != ' ')
            text += ' ';
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == '.')) text.pop_back();
    if (text.size() > longestReason) {
        std::size_t end = longestReason;
        while (end > 0 && isContinuation(text[end])) --end;
        text.resize(end);
        text += "..";
    }
    if (text.empty()) text = "The document is not well formed";
    if (text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text + '.';
}

}  // namespace

bool isAtEnd(const xmlParserCtxt* context) {
    constexpr std::size_t longestToken = 64;
    const auto [text, at] = windowOf(documentInput(context));
    return text.size() - at <= longestToken;
}

ParseFailure describeFailure(std::string_view reason, const xmlParserCtxt* context) {
    ParseFailure failure{notWellFormed, toUtf16(sentence(reason)), {}, 0, 0};
    const xmlParserInput* input = documentInput(context);
    if (!input) return failure;
    failure.line = std::max(input->line, 1);
    failure.position = std::max(input->col, 1);

    const auto [text, at] = windowOf(input);
    // A line's end belongs to the line; the parser may stand behind it.
    std::size_t begin = at == 0 ? 0 : text.rfind('\n', at - 1);
    const bool lineBegins = begin != std::string_view::npos || input->consumed == 0;
    begin = begin == std::string_view::npos || at == 0 ? 0 : begin + 1;
    if (lineBegins) failure.position = static_cast<LONG>(toUtf16(text.substr(begin, at - begin)).size()) + 1;
    if (at - begin > shownBefore) begin = at - shownBefore;
    while (begin < at && isContinuation(text[begin])) ++begin;
    std::size_t end = std::min({text.find_first_of("\r\n", at), text.size(), at + shownAfter});
    while (end > at && end < text.size() && isContinuation(text[end])) --end;
    failure.sourceLine = toUtf16(text.substr(begin, end - begin));
    return failure;
}

}  // namespace symbology_platform::dom
