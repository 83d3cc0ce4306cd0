// GDAL's own settings.
#pragma once

#include <string>

namespace embedded_host {

/// Sets one of GDAL's configuration options for all datasets that are opened later in this process; it comes before the
/// environment variable of that name. GDAL does not say when it knows none of the name.
/// Not to be called while another thread uses GDAL.
void setGdalOption(const std::string& name, const std::string& value);

}  // namespace embedded_host
