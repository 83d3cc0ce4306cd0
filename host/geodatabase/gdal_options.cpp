#include "gdal_options.h"

#include <cpl_conv.h>

namespace embedded_host {

void setGdalOption(const std::string& name, const std::string& value) {
    CPLSetConfigOption(name.c_str(), value.c_str());
}

}  // namespace embedded_host
