#include "s57_tables.h"

#include "base/gdal_errors.h"

#include <cpl_conv.h>
#include <cpl_vsi.h>
#include <memory>

namespace embedded_host {

std::string readS57Table(const std::string& name) {
    constexpr GIntBig largest = 10'000'000;
    const GdalErrors quiet;  // a table that is not there is no failure
    const char* const folder = CPLGetConfigOption("S57_CSV", nullptr);
    const char* const path = folder ? CPLFormFilename(folder, name.c_str(), nullptr) : CPLFindFile("s57", name.c_str());
    GByte* bytes = nullptr;
    vsi_l_offset size = 0;
    if (!path || !VSIIngestFile(nullptr, path, &bytes, &size, largest)) return {};
    const std::unique_ptr<GByte, decltype(&VSIFree)> content(bytes, &VSIFree);
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)};
}

}  // namespace embedded_host
