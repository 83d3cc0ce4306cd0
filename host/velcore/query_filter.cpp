// The query filter: the fields and the where clause that a client asks for, kept until the host reads them.
#include "host/velcore/query_filter.h"

#include "host/com_object.h"
#include "host/velcore/filter_object.h"

#include <climits>
#include <new>
#include <utility>
#include <vector>

namespace {

struct FilterCounter {
    static std::atomic<std::size_t> live;
};
std::atomic<std::size_t> FilterCounter::live{0};

// The edge between exceptions and statuses.
template <class Body>
HRESULT atBoundary(Body&& body) noexcept {
    try {
        return body();
    } catch (const CAtlException& failure) {
        return failure;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

CComBSTR copyOf(BSTR text) {
    return {static_cast<int>(SysStringLen(text)), text};
}

class QueryFilter final : public embedded_host::ComObject<FilterCounter, IQueryFilter, IQueryFilterSource> {
public:
    HRESULT STDMETHODCALLTYPE AddField(BSTR name) override {
        return atBoundary([&] {
            if (!name || fields_.size() >= LONG_MAX) return E_INVALIDARG;
            fields_.push_back(copyOf(name));
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE put_WhereClause(BSTR clause) override {
        return atBoundary([&] {
            clause_ = copyOf(clause);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE get_FieldCount(LONG* count) override {
        if (!count) return E_POINTER;
        *count = static_cast<LONG>(fields_.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_FieldName(LONG index, BSTR* name) override {
        if (!name) return E_POINTER;
        *name = nullptr;
        if (index < 0 || static_cast<std::size_t>(index) >= fields_.size()) return E_INVALIDARG;
        return fields_[static_cast<std::size_t>(index)].CopyTo(name);
    }
    HRESULT STDMETHODCALLTYPE get_WhereClause(BSTR* clause) override { return clause_.CopyTo(clause); }

private:
    std::vector<CComBSTR> fields_;
    CComBSTR clause_;
};

}  // namespace

HRESULT createQueryFilter(REFIID iid, void** object) noexcept {
    return atBoundary([&] {
        const CComPtr<IQueryFilter> filter(new QueryFilter);
        return filter->QueryInterface(iid, object);
    });
}

std::size_t liveQueryFilters() noexcept {
    return FilterCounter::live.load(std::memory_order_relaxed);
}
