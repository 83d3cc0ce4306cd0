// Opening datasets with GDAL.
#pragma once

#include "host/geodatabase/base/workspace_options.h"
#include "host/geodatabase/sqlite/lock_wait.h"

#include <memory>
#include <string>

class GDALDataset;

namespace embedded_host {

/// Closes without a word.
struct GdalCloser {
    void operator()(GDALDataset* dataset) const noexcept;
};
using GdalHandle = std::unique_ptr<GDALDataset, GdalCloser>;

/// Opens a dataset as a whole: what opens with complaints is refused. Waits for locks.
/// \throws HostError
GdalHandle openGdal(const std::string& name, Access access, LockWait& wait);

/// Throws HostError.
/// What is said of a dataset that does not open.
std::string whyNotOpened(const std::string& name, Access access, const std::string& why);

/// A text as a shell reads it as one word.
std::string shellWord(const std::string& text);

}  // namespace embedded_host
