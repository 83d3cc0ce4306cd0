// Node lists and attribute maps.
#pragma once

#include "platform/portable/dom_tree.h"
#include "platform/portable/msxml.h"

#include <vector>

namespace symbology_platform::dom {

enum class ListUse {
    Selection,  ///< a node that is taken out counts as read
    Walk        ///< it does not
};

/// A list of these nodes, with one reference that the caller owns.
IXMLDOMNodeList* makeNodeList(const std::shared_ptr<Tree>& tree, std::vector<xmlNode*> nodes, ListUse use);

/// The attributes of the element, with one reference that the caller owns.
IXMLDOMNamedNodeMap* makeAttributeMap(const NodeRef& element);

/// Of an element; none of other nodes.
std::vector<xmlNode*> attributesOf(const xmlNode* node);

}  // namespace symbology_platform::dom
