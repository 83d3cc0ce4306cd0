// Counts the COM objects of the host over GDAL.
#pragma once

#include "host/com_object.h"
#include "symbology/host_interfaces.h"

namespace embedded_host {

struct HostCounter {
    static std::atomic<std::size_t> live;
};

template <>
struct ExtendedInterface<IRow> {
    using Type = IRowBuffer;
};
template <>
struct ExtendedInterface<IFeatureClass> {
    using Type = IObjectClass;
};
template <>
struct ExtendedInterface<ISelectionSet2> {
    using Type = ISelectionSet;
};

}  // namespace embedded_host
