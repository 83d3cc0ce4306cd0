// The fields that runs write, in layers that lack them.
#pragma once

#include "cxml/feature_class_rule.h"
#include "host/geodatabase/gdal_workspace.h"

#include <string>

namespace cxml {

/// Adds those that the layer does not have, all or none. \throws embedded_host::HostError
void addTargetFields(embedded_host::GdalWorkspace& workspace, const std::string& layer,
                     const ConditionalXml::FeatureClassRule& configuration);

}  // namespace cxml
