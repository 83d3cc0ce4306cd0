// Rows that are made up from what documents say, to tell two of them apart without data.
#pragma once

#include "cxml/condition_map.h"
#include "host/geodatabase/memory_dataset.h"

#include <cstddef>
#include <string>
#include <vector>

namespace cxml {

/// Rows of one class.
struct MadeUpRows {
    embedded_host::MemoryDataset::Table table;  // its name is the class's
    std::size_t given = 0;                      // of its fields: the first ones, which rules read
    std::string subtypeField;                   // empty where no document has subtypes
    bool isComplete = false;  // every combination of the values is there; else as many as there is room for
    bool hasQueries = false;  // which nobody answers
    bool hasExpressions = false;
};

inline constexpr std::size_t mostMadeUpRows = 20000;  // of a class

/// The values are those that the rules of both documents name, their neighbours, NULL and something else. A field holds
/// integers where its rules name nothing else, numbers where they name only such, else texts. The same for the same
/// documents.
std::vector<MadeUpRows> makeUpRows(const ConditionalXml::ConditionMap& first,
                                   const ConditionalXml::ConditionMap& second);

}  // namespace cxml
