// GDAL's messages and COM's error object.
#include "host/geodatabase/base/errors.h"

#include "host/geodatabase/base/text.h"

#include <cpl_error.h>

#include <algorithm>
#include <atomic>

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

std::atomic<void (*)(const char*) noexcept> fatalErrorHandler = nullptr;

}  // namespace

std::string shortLine(std::string_view text) {
    std::size_t end = std::min(text.size(), mostText);
    if (end < text.size())  // not within a character
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    std::string line(text.substr(0, end));
    std::ranges::replace(line, '\n', ' ');
    return line;
}

void tellOfFatalError(const char* message) noexcept {
    if (auto* const handler = fatalErrorHandler.load()) handler(message ? message : "");
}

void onFatalError(void (*handler)(const char* message) noexcept) noexcept {
    fatalErrorHandler = handler;
    // For errors outside of any GdalErrors; what is no end of the process goes the usual way.
    CPLSetErrorHandler([](CPLErr kind, CPLErrorNum number, const char* message) {
        if (kind == CE_Fatal) tellOfFatalError(message);
        CPLDefaultErrorHandler(kind, number, message);
    });
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

void setErrorInfo(std::string_view text) noexcept {
    try {
        CComBSTR description;
        description.Attach(toBstr(text));
        CComPtr<ICreateErrorInfo> created;
        if (FAILED(CreateErrorInfo(&created))) return;
        if (FAILED(created->SetDescription(description))) return;
        const CComQIPtr<IErrorInfo> info(static_cast<IUnknown*>(created.p));
        SetErrorInfo(0, info);
    } catch (...) {
        SetErrorInfo(0, nullptr);  // no text is better than that of an earlier failure
    }
}

}  // namespace embedded_host
