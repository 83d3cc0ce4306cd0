// Cross-reads: queries of a document that may read what a run with it writes.
#pragma once

#include "cxml/condition_map.h"

#include <string>
#include <vector>

namespace cxml {

class DocumentPlaces;

/// A layer that a run writes into.
struct WrittenLayer {
    std::string table;
    std::vector<std::string> fields;  // that may be written
    const ConditionalXml::FeatureClassRule* configuration;
};

struct CrossRead {
    LONG line;          // of the rule
    std::string table;  // that it asks
    std::string field;  // that is written
};

/// Found by names: a query reads a field when its clause as the document has it, or what it fetches, has the field's
/// name as a word, and it asks the layer itself, a table that does not run (which may be a view of the layer) or more
/// by an inner query. It may say yes where there is nothing. \param layers all that run.
std::vector<CrossRead> crossReads(const std::vector<WrittenLayer>& layers, const DocumentPlaces& places);

}  // namespace cxml
