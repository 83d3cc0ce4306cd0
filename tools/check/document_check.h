// What a run would trip over in a document, found without a run.
#pragma once

#include "finding.h"

#include <string>

namespace embedded_host {
class GdalWorkspace;
}

namespace cxml {

/// A dataset to hold a document against.
struct CheckedDataset {
    embedded_host::GdalWorkspace* workspace;
    std::string name;  // for findings
};

/// Adds what of a document nothing has read so far.
void checkUnread(IXMLDOMDocument* document, Findings& findings);

/// Adds the findings of a document that was read, also of one that the library then did not load. Python must be there;
/// no expression is run. What is looked at counts as read in the tree.
/// \param findings knows the document's path, as the library got it. \param dataset may be null.
/// \throws embedded_host::HostError when the dataset cannot be read.
void checkDocument(IXMLDOMDocument* document, const CheckedDataset* dataset, Findings& findings);

}  // namespace cxml
