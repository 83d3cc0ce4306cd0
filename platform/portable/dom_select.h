// Finding nodes by path.
#pragma once

#include "platform/portable/dom_tree.h"

#include <string_view>
#include <vector>

namespace symbology_platform::dom {

/// The nodes that `path` selects from `node`, in document order; with `firstOnly` at most the first of them.
/// XPath 1.0, but for names: they are compared as written, prefix included, whatever namespaces are declared.
/// \return S_OK, or E_FAIL for what is not such a path.
HRESULT select(xmlNode* node, std::u16string_view path, bool firstOnly, std::vector<xmlNode*>& found);

}  // namespace symbology_platform::dom
