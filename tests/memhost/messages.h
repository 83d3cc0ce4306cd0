// A message collection that remembers what it was given.
#pragma once

#include "memhost/object.h"
#include "memhost/text.h"
#include "symbology/host_interfaces.h"

#include <string>
#include <vector>

namespace memhost {

class Messages final : public Object<IGPMessages> {
public:
    struct Entry {
        bool isError;
        LONG code;  // of an error; 0 for a message
        std::string text;
        bool operator==(const Entry&) const = default;
    };

    HRESULT STDMETHODCALLTYPE AddMessage(BSTR text) override {
        return call(Op::AddMessage, [&] { return add({false, 0, utf8(text)}); });
    }
    HRESULT STDMETHODCALLTYPE AddError(LONG code, BSTR text) override {
        return call(Op::AddError, [&] { return add({true, code, utf8(text)}); });
    }

    const std::vector<Entry>& entries() const noexcept { return entries_; }
    /// The texts of the plain messages, in order.
    std::vector<std::string> messages() const { return texts(false); }
    /// The texts of the errors, in order.
    std::vector<std::string> errors() const { return texts(true); }
    void clear() { entries_.clear(); }

private:
    HRESULT add(Entry entry) {
        entries_.push_back(std::move(entry));
        return S_OK;
    }
    std::vector<std::string> texts(bool errors) const {
        std::vector<std::string> found;
        for (const Entry& entry : entries_)
            if (entry.isError == errors) found.push_back(entry.text);
        return found;
    }

    std::vector<Entry> entries_;
};

}  // namespace memhost
