#include "rules/field_names.h"

namespace ConditionalXml {

bool equalNames(const CComBSTR& name, const OLECHAR* word) {
    return VarBstrCmp(name, CComBSTR(word), LOCALE_USER_DEFAULT, 0) == VARCMP_EQ;
}

FieldNames::Slot FieldNames::intern(const CComBSTR& name) {
    const auto [entry, isNew] = slots_.try_emplace(name, names_.size());
    if (isNew) names_.push_back(name);
    return entry->second;
}

std::optional<FieldNames::Slot> FieldNames::find(const CComBSTR& name) const {
    const auto entry = slots_.find(name);
    if (entry == slots_.end()) return std::nullopt;
    return entry->second;
}

}  // namespace ConditionalXml
