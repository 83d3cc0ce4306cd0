#include "memhost/query_filter.h"

namespace memhost {

std::size_t liveObjects() {
    return detail::live;
}

HRESULT QueryFilter::AddField(BSTR name) {
    return call(Op::FilterAddField, [&] {
        fields_.push_back(bstr(utf8(name)));
        return S_OK;
    });
}

HRESULT QueryFilter::put_WhereClause(BSTR clause) {
    return call(Op::FilterPutWhereClause, [&] {
        where_ = bstr(utf8(clause));
        return S_OK;
    });
}

HRESULT QueryFilter::get_FieldCount(LONG* count) {
    *count = static_cast<LONG>(fields_.size());
    return S_OK;
}

HRESULT QueryFilter::get_FieldName(LONG index, BSTR* name) {
    return give(name, fields_[static_cast<std::size_t>(index)]);
}

HRESULT QueryFilter::get_WhereClause(BSTR* clause) {
    return give(clause, where_);
}

HRESULT readFilter(IQueryFilter* filter, FilterContent& content) {
    const CComQIPtr<IQueryFilterSource> source(filter);
    if (!source) return E_INVALIDARG;
    LONG count = 0;
    HRESULT hr = source->get_FieldCount(&count);
    for (LONG i = 0; SUCCEEDED(hr) && i < count; ++i) {
        CComBSTR name;
        hr = source->get_FieldName(i, &name);
        content.fields.push_back(utf8(name));
    }
    CComBSTR where;
    if (SUCCEEDED(hr)) hr = source->get_WhereClause(&where);
    content.where = utf8(where);
    return hr;
}

HRESULT FilterClassScope::createFilter(DWORD, REFIID iid, void** object) {
    return make<QueryFilter>()->QueryInterface(iid, object);
}

}  // namespace memhost
