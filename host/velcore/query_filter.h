// How the host reads the query filters that its clients fill.
#pragma once

#include "symbology/host_interfaces.h"

/// The reading side of a query filter; every object of CLSID_QueryFilter offers it.
SYMBOLOGY_INTERFACE(IQueryFilterSource, "5D3C0101-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_FieldCount(LONG* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_FieldName(LONG index, BSTR* name) = 0;
    /// Empty when no clause was set.
    virtual HRESULT STDMETHODCALLTYPE get_WhereClause(BSTR* clause) = 0;
};
