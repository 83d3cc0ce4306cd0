#include "subtype_fields.h"

#include "tools/text/text.h"

#include <fmt/format.h>
#include <stdexcept>

namespace cxml {
namespace {

void checkName(const std::string& name, const std::string& given) {
    if (name.empty()) throw std::invalid_argument(fmt::format("'{}' is neither FIELD nor LAYER=FIELD", given));
}

}  // namespace

SubtypeFields readSubtypeFields(const std::vector<std::string>& options) {
    SubtypeFields fields;
    for (const std::string& given : options) {
        const std::size_t equals = given.rfind('=');
        checkName(equals == std::string::npos ? given : given.substr(equals + 1), given);
        if (equals == std::string::npos) {
            if (fields.ofAll) throw std::invalid_argument("given twice for all layers");
            fields.ofAll = given;
            continue;
        }
        const std::string layer = given.substr(0, equals);
        checkName(layer, given);
        if (!fields.byLayer.emplace(layer, given.substr(equals + 1)).second)
            throw std::invalid_argument(fmt::format("given twice for the layer '{}'", layer));
    }
    return fields;
}

std::string subtypeFieldOf(IFeatureClass* featureClass) {
    const CComQIPtr<ISubtypes> subtypes(featureClass);
    VARIANT_BOOL has = VARIANT_FALSE;
    CComBSTR name;
    if (!subtypes || FAILED(subtypes->get_HasSubtype(&has)) || has == VARIANT_FALSE) return {};
    return SUCCEEDED(subtypes->get_SubtypeFieldName(&name)) ? toUtf8(name) : std::string();
}

}  // namespace cxml
