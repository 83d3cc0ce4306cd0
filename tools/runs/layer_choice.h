// Which layers of a dataset a command runs over.
#pragma once

#include "host/geodatabase/gdal_workspace.h"
#include "tools/reports/configurations.h"

#include <string>
#include <vector>

namespace cxml {

/// The layers of `names`, in that order, each once; without names those whose alias has a configuration, in the
/// dataset's order.
/// \throws embedded_host::HostError that names the first unknown layer and says which there are.
std::vector<embedded_host::LayerInfo> chooseLayers(std::vector<embedded_host::LayerInfo> available,
                                                   const std::vector<std::string>& names,
                                                   const ConditionalXml::ConditionMap& map, const std::string& dataset);

/// The layer with this name. \throws embedded_host::HostError that says which there are.
const embedded_host::LayerInfo& findLayer(const std::vector<embedded_host::LayerInfo>& available,
                                          const std::string& name, const std::string& dataset);

/// What to say of a run over the layer in which no row can get a symbol, though the library has said so for each of its
/// rows and calls it no failure; empty when they can.
std::string whyNoSymbols(embedded_host::GdalWorkspace& workspace, const std::string& layer);

/// Names for a message: "A, B and 3 more".
std::string listOf(const std::vector<std::string>& names);

}  // namespace cxml
