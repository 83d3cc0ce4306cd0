// GDAL's messages and COM's error object.
#include "host/gdal/errors.h"

#include "host/gdal/text.h"

#include <cpl_error.h>

namespace embedded_host {

namespace {

// GDAL ends some messages with a line break; ours are one line.
void append(std::string& all, std::string_view message) {
    while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.remove_suffix(1);
    if (message.empty() || all.find(message) != std::string::npos) return;
    if (!all.empty()) all += "; ";
    for (const char c : message) all += c == '\n' ? ' ' : c;
}

}  // namespace

void GdalErrors::collect(int kind, int /*number*/, const char* message) noexcept {
    if (kind < CE_Warning || !message) return;  // debug output is nobody's failure
    try {
        auto* self = static_cast<GdalErrors*>(CPLGetErrorHandlerUserData());
        append(kind == CE_Warning ? self->warnings_ : self->failures_, message);
    } catch (...) {  // out of memory: the failure itself still travels, its words are lost
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
    } catch (...) {  // no memory for the text: the status alone has to do
    }
}

}  // namespace embedded_host
