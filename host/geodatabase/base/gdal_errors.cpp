// GDAL's messages.
#include "host/geodatabase/base/gdal_errors.h"

#include "host/geodatabase/base/fatal_errors.h"

#include <cpl_error.h>

#include <algorithm>

namespace embedded_host {

namespace {

// A full disk makes GDAL quote every statement that it then cannot run: the first failures say it all.
constexpr std::size_t mostText = 500;

// GDAL ends some messages with a line break; ours are one line.
void append(std::string& all, std::string_view message) {
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.remove_suffix(1);
    if (message.empty() || all.find(message) != std::string::npos) return;
    if (!all.empty() && all.size() + message.size() > mostText) return;
    if (!all.empty()) all += "; ";
    all += shortLine(message);
}

}  // namespace

std::string shortLine(std::string_view text) {
    std::size_t end = std::min(text.size(), mostText);
    if (end < text.size())  // not within a character
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    std::string line(text.substr(0, end));
    std::ranges::replace(line, '\n', ' ');
    return line;
}

void GdalErrors::collect(int kind, int /*number*/, const char* message) noexcept {
    if (kind == CE_Fatal) tellOfFatalError(message);
    if (kind < CE_Warning || !message) return;  // debug output is nobody's failure
    auto* self = static_cast<GdalErrors*>(CPLGetErrorHandlerUserData());
    std::string& texts = kind == CE_Warning ? self->warnings_ : self->failures_;
    try {
        append(texts, message);
    } catch (...) {
        texts = "out of memory";  // short enough to need none: a failure is never lost with its words
    }
}

GdalErrors::GdalErrors() {
    CPLPushErrorHandlerEx([](CPLErr kind, CPLErrorNum number, const char* message) { collect(kind, number, message); },
                          this);
}

GdalErrors::~GdalErrors() {
    CPLPopErrorHandler();
    CPLErrorReset();
}

std::string GdalErrors::text(std::string_view otherwise) const {
    if (!failures_.empty()) return failures_;
    return warnings_.empty() ? std::string(otherwise) : warnings_;
}

}  // namespace embedded_host
