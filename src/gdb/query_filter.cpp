#include "gdb/query_filter.h"

#include "symbology/vel_core.h"
#include "text/failures.h"

namespace GeodatabaseUtilities {

CComPtr<IQueryFilter> createQueryFilter() {
    CComPtr<IUnknown> object;
    if (FAILED(ConditionalXml::checked(VelCreateInstance(CLSID_QueryFilter, nullptr, CLSCTX_ALL, __uuidof(IUnknown),
                                                         reinterpret_cast<void**>(&object)))))
        return nullptr;
    return CComQIPtr<IQueryFilter>(object.p);
}

}  // namespace GeodatabaseUtilities
