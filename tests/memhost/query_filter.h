// A query filter whose calls can fail, to be put in the place of the host's own with VelRegisterClass.
#pragma once

#include "host/velcore/class_registry.h"
#include "host/velcore/query_filter.h"
#include "memhost/object.h"
#include "memhost/text.h"

#include <vector>

namespace memhost {

class QueryFilter final : public Object<IQueryFilter, IQueryFilterSource> {
public:
    HRESULT STDMETHODCALLTYPE AddField(BSTR name) override;
    HRESULT STDMETHODCALLTYPE put_WhereClause(BSTR clause) override;
    HRESULT STDMETHODCALLTYPE get_FieldCount(LONG* count) override;
    HRESULT STDMETHODCALLTYPE get_FieldName(LONG index, BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_WhereClause(BSTR* clause) override;

private:
    std::vector<CComBSTR> fields_;
    CComBSTR where_;
};

/// What a filter asks for, as any filter of the host's tells it.
struct FilterContent {
    std::vector<std::string> fields;
    std::string where;
};

/// \return E_INVALIDARG when the object is no filter of this host's.
HRESULT readFilter(IQueryFilter* filter, FilterContent& content);

/// Has the object factory make memhost's filters, or whatever `factory` makes, for as long as it lives.
class FilterClassScope {
public:
    explicit FilterClassScope(VelClassFactory factory = createFilter) { VelRegisterClass(CLSID_QueryFilter, factory); }
    ~FilterClassScope() { VelRegisterClass(CLSID_QueryFilter, nullptr); }
    FilterClassScope(const FilterClassScope&) = delete;
    FilterClassScope& operator=(const FilterClassScope&) = delete;

    static HRESULT createFilter(DWORD context, REFIID iid, void** object);
};

}  // namespace memhost
