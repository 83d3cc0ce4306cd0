// Finding what a document holds and nothing looks at.
#pragma once

#include "platform/platform.h"

#include <string>
#include <vector>

namespace cxml {

/// An element or attribute that was not read while the document loaded.
struct UnreadNode {
    bool attribute;
    LONG line;         // from 1; 0 when unknown
    std::string name;  // as written
    std::string path;  // "/conditionMap/featureClass[2]/condition[1]/@fild"
};

/// The unread nodes in document order. Of an unread element its content is not listed: it goes unread with it. An
/// element whose descendant was read counts as read. Namespace declarations and attributes of XML itself (xml:space)
/// are the reader's business and are left out.
std::vector<UnreadNode> findUnread(IXMLDOMDocument* document);

}  // namespace cxml
