// How failures become texts, and where the texts go.
#include "text/failures.h"

#include "symbology/tarn_lib.h"
#include "text/text.h"

#include <charconv>
#include <stdexcept>

namespace ConditionalXml {

namespace {

/// Appends text of the ASCII characters only.
void appendAscii(WideString& target, std::string_view text) {
    for (const char c : text) target.push_back(static_cast<OLECHAR>(c));
}

template <class Number>
void appendNumber(WideString& target, Number number, int base = 10) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, number, base).ptr;
    appendAscii(target, {digits, static_cast<std::size_t>(end - digits)});
}

}  // namespace

void throwText(const std::string& text) {
    throw std::runtime_error(text);
}

void addError(IGPMessages* messages, std::string_view text) {
    if (messages) messages->AddError(E_FAIL, widen(text));
}

void addMessage(IGPMessages* messages, std::string_view text) {
    if (messages) messages->AddMessage(widen(text));
}

void LogComFailure(const OLECHAR* function, HRESULT status, const OLECHAR* sourceFile, ULONG line) noexcept {
    try {
        if (!EventLog::IsEnabled()) return;
        WideString text(OLESTR("SOLVANE: "));
        if (sourceFile && *sourceFile) {
            text += sourceFile;
            text += OLESTR(" Line: ");
            appendNumber(text, static_cast<LONG>(line));
        }
        WideString details(OLESTR("HRESULT = "));
        appendNumber(details, status);
        details += OLESTR(" (0x");
        appendNumber(details, static_cast<ULONG>(status), 16);
        details += OLESTR(')');
        EventLog::Write(EventLog::tagEventType{}, text.c_str(), function, details.c_str(), 0, false);
    } catch (...) {  // NOLINT(bugprone-empty-catch): logging never changes the caller's outcome
    }
}

}  // namespace ConditionalXml
