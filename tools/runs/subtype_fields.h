// The fields that --subtype-field names.
#pragma once

#include "symbology/host_interfaces.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

struct SubtypeFields {
    std::optional<std::string> ofAll;            // of every layer that has it and is not named below
    std::map<std::string, std::string> byLayer;  // names of layers as they were written
};

/// Reads "FIELD" and "LAYER=FIELD", which may be given several times; a layer's name may have a '=' in it, a field's
/// not.
/// \throws std::invalid_argument with a text for the user.
SubtypeFields readSubtypeFields(const std::vector<std::string>& options);

/// The field that has the class's subtypes; empty without one.
std::string subtypeFieldOf(IFeatureClass* featureClass);

}  // namespace cxml
