#include "messages.h"

#include "tools/text/text.h"

#include <atomic>
#include <new>

namespace cxml {
namespace {

class Collection final : public IGPMessages {
public:
    explicit Collection(MessageLog& log) noexcept : log_(log) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid != __uuidof(IUnknown) && iid != __uuidof(IGPMessages)) return E_NOINTERFACE;
        *object = static_cast<IGPMessages*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE AddMessage(BSTR text) override { return add(MessageKind::Message, text); }
    // The library's errors all carry E_FAIL: their code says nothing that their kind does not.
    HRESULT STDMETHODCALLTYPE AddError(LONG /*code*/, BSTR text) override { return add(MessageKind::Error, text); }

private:
    ~Collection() = default;

    HRESULT add(MessageKind kind, BSTR text) noexcept {
        try {
            log_.add(kind, toUtf8(WideView(text, SysStringLen(text))));
            return S_OK;
        } catch (const std::bad_alloc&) {
            log_.lose();
            return E_OUTOFMEMORY;
        } catch (...) {
            log_.lose();
            return E_UNEXPECTED;
        }
    }

    MessageLog& log_;
    std::atomic<ULONG> references_{0};
};

}  // namespace

void MessageLog::add(MessageKind kind, std::string_view text) {
    ++total_;
    last_.assign(text);
    const Origin origin = originOf ? originOf(text) : Origin{};
    auto known = index_.find(text);
    if (known == index_.end()) {
        if (show_ == Show::AsTheyCome) console_.message(source_, text);
        if (keep_ == Keep::Counts && texts_.size() >= distinctLimit) return;
        known = index_.emplace(text, static_cast<std::uint32_t>(texts_.size())).first;
        texts_.push_back({std::string(text), 0});
    }
    ++texts_[known->second].count;
    if (keep_ == Keep::All) entries_.push_back({known->second, kind, origin});
}

CComPtr<IGPMessages> collectInto(MessageLog& log) {
    return {new Collection(log)};
}

}  // namespace cxml
