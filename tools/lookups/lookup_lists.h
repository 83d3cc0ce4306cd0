// The rows of look-up tables as lists in which the first one that holds decides, and what is lost on the way.
#pragma once

#include "tools/lookups/attribute_test.h"
#include "tools/lookups/instruction.h"
#include "tools/lookups/lookup_tables.h"
#include "tools/lookups/losses.h"
#include "tools/lookups/row_text.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

/// The symbol of a row that names none, and takes the place of others.
inline constexpr const char* noSymbol = "NO_SYMBOL";

struct LookupCondition {
    std::vector<AttributeTest> tests;  // all of which have to hold
    std::string symbol;                // empty when there is none
    std::optional<Rotation> rotation;
    std::optional<RowText> text;
};

struct LookupList {
    Primitive primitive;
    std::vector<LookupCondition> conditions;  // the first one that holds decides
};

struct LookupClass {
    std::string name;
    std::vector<LookupList> lists;  // of each primitive that has conditions, in their order
};

struct LookupLists {
    std::vector<LookupClass> classes;  // in the order of the tables
    std::vector<RowReport> reports;    // of each row of the tables that were asked for, by line
    std::size_t otherRows = 0;         // of other tables

    std::size_t conditions() const;
};

struct LookupChoice {
    LookupTable points = LookupTable::Paper;
    LookupTable areas = LookupTable::Plain;
    /// The document that does what a conditional procedure does; empty when there is none.
    std::function<std::string(const std::string&)> replacementOf;
};

LookupLists makeLists(const LookupTables& tables, const LookupChoice& choice);

}  // namespace cxml
