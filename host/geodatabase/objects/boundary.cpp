// COM's error object.
#include "host/geodatabase/objects/boundary.h"

#include "host/geodatabase/base/text.h"

namespace embedded_host {

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
