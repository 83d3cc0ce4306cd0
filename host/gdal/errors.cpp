// GDAL's messages and COM's error object.
#include "host/gdal/errors.h"

#include "host/gdal/text.h"

#include <cpl_error.h>

namespace embedded_host {

namespace {

// A full disk makes GDAL quote every statement that it then cannot run: the first failures say it all.
constexpr std::size_t mostText = 500;

// Ends within `text`, not within a character.
std::string_view cut(std::string_view text) {
    if (text.size() <= mostText) return text;
    std::size_t end = mostText;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    return text.substr(0, end);
}

// GDAL ends some messages with a line break; ours are one line.
void append(std::string& all, std::string_view message) {
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.remove_suffix(1);
    if (message.empty() || all.find(message) != std::string::npos) return;
    if (!all.empty() && all.size() + message.size() > mostText) return;
    if (!all.empty()) all += "; ";
    for (const char c : cut(message)) all += c == '\n' ? ' ' : c;
}

}  // namespace

void GdalErrors::collect(int kind, int /*number*/, const char* message) noexcept {
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
