// Which names the rules and expressions of a class look up in the values of a row, and which of them queries supply.
#pragma once

#include "document_model.h"

#include <functional>

namespace cxml {

/// A name that something looks up.
struct NameUse {
    Spot at;
    bool isArgument;   // of Generate; else a rule's
    std::string what;  // "the argument", "the rule's field" ...
    std::string name;

    /// Qualified names are not taken from the row's fields.
    bool isQualified() const { return name.find('.') != std::string::npos; }
};

/// Calls `report` for each use of a name that no fetch rule evaluated before it in the same list supplies. Arguments
/// that cannot be names are left out.
void forEachUnfetched(const CheckedClass& checked, const std::function<void(const NameUse&)>& report);

/// Whether the argument can be the name of a field: what the library cuts at commas may also be a default, an
/// annotation or a star.
bool isFieldName(const ConditionalXml::ExpressionSource::Argument& argument);

}  // namespace cxml
