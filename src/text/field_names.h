// Names of fields and the order that the whole library keeps them in.
#pragma once

#include "text/failures.h"

#include <map>
#include <optional>
#include <vector>

namespace ConditionalXml {

/// Orders texts by VarBstrCmp under the user's default locale with no flags: linguistic and case-sensitive. Texts that
/// compare equal are one key.
struct BstrLess {
    bool operator()(const CComBSTR& left, const CComBSTR& right) const {
        return checked(VarBstrCmp(left, right, LOCALE_USER_DEFAULT, 0)) == VARCMP_LT;
    }
};

/// Whether a name is the given word, compared as BstrLess orders names.
bool equalNames(const CComBSTR& name, const OLECHAR* word);

/// Gives each distinct name a number, from 0 in order of first mention, so that rules find a row's values by number
/// instead of by text. A name keeps its number for the life of the table.
class FieldNames {
public:
    using Slot = std::size_t;

    /// The name's number; a new one when the name is new.
    Slot intern(const CComBSTR& name);
    /// Nothing when the name was never interned.
    std::optional<Slot> find(const CComBSTR& name) const;
    const CComBSTR& name(Slot slot) const { return names_[slot]; }
    std::size_t size() const noexcept { return names_.size(); }

private:
    std::map<CComBSTR, Slot, BstrLess> slots_;
    std::vector<CComBSTR> names_;
};

}  // namespace ConditionalXml
