// A rule document of the lists of look-up tables.
#pragma once

#include "tools/lookups/lookup_lists.h"

#include <cstdint>
#include <string>

namespace cxml {

/// How a document tells points, lines and areas of a class apart.
enum class PrimitiveAs : std::uint8_t {
    Rule,    // each condition has a rule over the field PRIM
    Subtype  // the lists are those of subtypes, whose field is to be PRIM
};

/// The field that gets texts.
inline constexpr const char* labelField = "LABEL_C";

/// The document, laid out as all are.
/// \param name of the document, which people see. \param remark what its comment says of where it comes from.
std::string lookupDocument(const LookupLists& lists, PrimitiveAs primitives, const std::string& name,
                           const std::string& remark);

}  // namespace cxml
