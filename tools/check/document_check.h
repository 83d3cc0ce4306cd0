// What a run would trip over in a document, found without a run.
#pragma once

#include "finding.h"

#include <map>
#include <string>
#include <vector>

namespace embedded_host {
class GdalWorkspace;
}

namespace cxml {

/// A dataset to hold a document against.
struct CheckedDataset {
    embedded_host::GdalWorkspace* workspace;
    std::string name;                                    // for findings
    std::map<std::string, std::string> subtypeFields{};  // by layer, where somebody names one
};

/// The symbols that there are pictures of.
struct CheckedSymbols {
    std::string folder;              // for findings
    std::vector<std::string> names;  // ascending
};

/// What a document is held against, and what is told that is no mistake.
struct CheckScope {
    const CheckedDataset* dataset = nullptr;
    const CheckedSymbols* symbols = nullptr;
    bool neighbours = false;  // whether the order of each two matters
};

/// Adds what of a document nothing has read so far.
void checkUnread(IXMLDOMDocument* document, Findings& findings);

/// Adds the findings of a document that was read, also of one that the library then did not load. Python must be there;
/// no expression is run. What is looked at counts as read in the tree.
/// \param findings knows the document's path, as the library got it.
/// \throws embedded_host::HostError when the dataset cannot be read.
void checkDocument(IXMLDOMDocument* document, const CheckScope& scope, Findings& findings);

}  // namespace cxml
