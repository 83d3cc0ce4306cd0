#include "text/field_names.h"

namespace ConditionalXml {

bool equalNames(const CComBSTR& name, const OLECHAR* word) {
    return checked(VarBstrCmp(name, CComBSTR(word), LOCALE_USER_DEFAULT, 0)) == VARCMP_EQ;
}

FieldNames::Slot FieldNames::intern(const CComBSTR& name) {
    if (const auto known = find(name)) return *known;
    names_.push_back(name);
    try {
        return slots_.emplace(name, names_.size() - 1).first->second;
    } catch (...) {
        names_.pop_back();  // or the next new name would get a number that is not its place
        throw;
    }
}

std::optional<FieldNames::Slot> FieldNames::find(const CComBSTR& name) const {
    const auto entry = slots_.find(name);
    if (entry == slots_.end()) return std::nullopt;
    return entry->second;
}

}  // namespace ConditionalXml
