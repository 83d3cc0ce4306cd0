#include "target_fields.h"

#include "tools/reports/configurations.h"

#include <vector>

namespace cxml {

using embedded_host::FieldKind;
using embedded_host::FieldRequest;

void addTargetFields(embedded_host::GdalWorkspace& workspace, const std::string& layer,
                     const ConditionalXml::FeatureClassRule& configuration) {
    std::vector<FieldRequest> fields;
    for (const std::string& field : writtenFields(configuration)) {
        const bool isPlacement = isTargetField(field) && field != targetFields.front();
        fields.push_back({field, isPlacement ? FieldKind::Real : FieldKind::Text});
    }
    workspace.addFields(layer, fields);
}

}  // namespace cxml
