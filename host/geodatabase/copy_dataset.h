// Any dataset that GDAL reads becomes a GeoPackage.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace embedded_host {

/// Copies all tables of a dataset with their rows, ids where the format has some, titles and metadata; what begins as
/// an S-57 cell is imported as importCells() does it. Lists become text with commas. The input is only read.
/// \param openOptions GDAL's for the input's format, NAME=VALUE.
/// \param file a GeoPackage that is not there yet; what is there after a failure is no whole one.
/// \param progress called with the share done, 0 to 1; what it throws ends the copy and leaves it.
/// \param message called with what was copied otherwise than it is in the input, one line.
/// \throws HostError naming the input and its layer.
void copyDataset(const std::string& input, const std::vector<std::string>& openOptions, const std::string& file,
                 const std::function<void(double)>& progress, const std::function<void(const std::string&)>& message);

}  // namespace embedded_host
