// S-57 cells become a GeoPackage.
#pragma once

#include "host/geodatabase/base/layer_info.h"

#include <functional>
#include <string>
#include <vector>

namespace embedded_host {

/// Imports S-57 cells (each with its update files) into a new GeoPackage: a layer per object class, list attributes as
/// comma-separated text, soundings split, text as UTF-8, field widths not limited. Every feature has its cell's name in
/// the column DSNM; the table DSID has a row for each cell.
/// \param progress called with the share done, 0 to 1; may be empty; what it throws ends the import and leaves it.
/// \param message called with what was imported otherwise than it is in the cell, one line; may be empty.
/// \return names of the layers and their row counts.
/// \throws HostError naming the cell, its update or the dataset; a dataset that could not be finished is removed.
std::vector<LayerInfo> importCells(const std::vector<std::string>& cells, const std::string& dataset,
                                   const std::function<void(double)>& progress,
                                   const std::function<void(const std::string&)>& message = {});

/// The same into a file that the caller gives its name; both functions are called.
void makeOfCells(const std::vector<std::string>& cells, const std::string& file,
                 const std::function<void(double)>& progress, const std::function<void(const std::string&)>& message);

}  // namespace embedded_host
